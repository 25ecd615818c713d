// Robustness of the DMF reader on arbitrary bytes: random files built from the
// format's own pieces and stray bytes, and mutations of the bundled examples,
// go through every reader. Nothing may leak, every report must be one of the
// reader's input messages, and the records must be consistent. Run under the
// sanitizers, this also proves the absence of memory errors on these inputs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "dtm_gen.h"
#include "line_record_view.h"
#include "msg_sys.h"
#include "test_files.h"

namespace {

const std::string k_stars(40, '*');

class RANDOM {
 public:
  explicit RANDOM(std::uint32_t seed) : m_engine(seed) {}
  std::size_t below(std::size_t bound) { return bound == 0 ? 0 : m_engine() % bound; }
  bool one_in(std::size_t n) { return below(n) == 0; }
  char byte() { return static_cast<char>(m_engine() & 0xff); }

 private:
  std::mt19937 m_engine;
};

const std::vector<std::string>& pieces() {
  static const std::vector<std::string> list = {
      k_stars + "DEVICE_LISTING DEVA DEVB",
      k_stars + "DEVICE_LISTING",
      k_stars + "START_COMMON",
      k_stars + "END_COMMON",
      k_stars + "START_DEVA",
      k_stars + "END_DEVA",
      k_stars + "START_DEVB",
      k_stars + "END_DEVB",
      k_stars + "START_DEVAX",
      k_stars + "END_",
      k_stars + "START_",
      "***DEVICE_LISTING",
      "||",
      ";;",
      "::",
      "scaler",
      "offset",
      "bin",
      "version",
      "error",
      "ERROR",
      "\"",
      "\"Fast corner\"",
      "%",
      "*",
      "$",
      "[+ A 5]",
      "T1",
      "5",
      "DEVA",
      "COMMON",
      std::string(1, '\0'),
      "\r",
      "\t",
      " ",
      "  ",
      "\n",
      "\r\n",
  };
  return list;
}

// A random DMF-like text: pieces of the format, stray bytes and, now and
// then, runs long enough to cross the line-length limit.
std::string random_file(RANDOM& random) {
  std::string file;
  const std::size_t items = random.below(120);
  for (std::size_t i = 0; i < items; ++i) {
    switch (random.below(10)) {
      case 0:
        file += random.byte();
        break;
      case 1:
        if (random.one_in(8)) {
          const std::size_t lengths[] = {297, 298, 299, 300, 301, 600, 70000};
          file += std::string(lengths[random.below(7)], random.one_in(2) ? 'x' : ' ');
        } else {
          file += '\n';
        }
        break;
      default:
        file += pieces()[random.below(pieces().size())];
        if (random.one_in(2)) {
          file += ' ';
        }
        break;
    }
  }
  return file;
}

std::string mutated(RANDOM& random, std::string file) {
  const std::size_t edits = 1 + random.below(8);
  for (std::size_t i = 0; i < edits && !file.empty(); ++i) {
    const std::size_t at = random.below(file.size());
    switch (random.below(6)) {
      case 0:
        file[at] = random.byte();
        break;
      case 1:
        file.insert(at, pieces()[random.below(pieces().size())]);
        break;
      case 2:
        file.erase(at, random.below(40));
        break;
      case 3: {
        const std::size_t length = random.below(200);
        file.insert(at, file.substr(at, length));
        break;
      }
      case 4:
        file.resize(at);
        break;
      default:
        file.insert(at, std::string(random.below(400), file[at]));
        break;
    }
  }
  return file;
}

bool is_number(const std::string& text) {
  std::size_t from = text.starts_with("-") ? 1 : 0;
  return from < text.size() && std::all_of(text.begin() + static_cast<long>(from), text.end(),
                                           [](char c) { return c >= '0' && c <= '9'; });
}

// The reader reports nothing but input errors: never a failed invariant.
bool is_input_message(const std::string& text) {
  static const std::set<std::string> fixed = {
      "Input buffer too small for DMF file",
      "Bad DMF file:  Found start of section COMMON inside another section.",
      "Bad DMF file:  Found end of section COMMON, but not in that section.",
      "Bad DMF file:  Found beginning of a section inside another.",
      "Bad DMF file:  Found end of a section, but not in that section.",
      "Bad DMF file:  Couldn't find one or both of the required sections.",
      "Device listing not found in DMF file"};
  if (fixed.count(text) != 0) {
    return true;
  }
  const std::string head = "Bad DMF file: Line ";
  for (const std::string tail : {" is invalid", " contains an error"}) {
    if (text.starts_with(head) && text.ends_with(tail) && text.size() > head.size() + tail.size() &&
        is_number(text.substr(head.size(), text.size() - head.size() - tail.size()))) {
      return true;
    }
  }
  return false;
}

// Checks a list (and frees it): links, increasing line numbers within the
// file, accessors and dump without a report. Returns a failure text or "".
std::string check_and_free(DTM_LINE_NODE* head, std::size_t physical_lines) {
  std::string failure;
  {
    MSG_CAPTURE capture;
    int last_line = 0;
    const DTM_LINE_NODE* before = nullptr;
    std::ostringstream dump;
    for (const DTM_LINE_NODE* node = head; node != nullptr; node = node->get_next()) {
      const LINE_VIEW view = view_of(*node);
      node->dump_node(dump);
      if (node->get_prev() != before) {
        failure = "broken m_prev";
      } else if (view.m_line_number <= last_line ||
                 static_cast<std::size_t>(view.m_line_number) > physical_lines) {
        failure = "line number " + std::to_string(view.m_line_number) + " out of order";
      }
      last_line = view.m_line_number;
      before = node;
    }
    if (failure.empty() && capture.get_count() != 0) {
      failure = "reading back a record reported " + capture.get_texts()[0];
    }
  }
  DTM_LINE_NODE::delete_list(head);
  return failure;
}

// Runs every reader over one file; returns a failure text or "".
std::string read_every_way(const TEST_DIR& dir, const std::string& content) {
  const std::string file = dir.write("fuzz.dmf", content);
  const std::size_t physical_lines =
      static_cast<std::size_t>(std::count(content.begin(), content.end(), '\n'));
  const DTM_FACTORY factory;
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  MSG_CAPTURE capture;
  std::string failure = check_and_free(factory.parse_file(file.c_str()), physical_lines);
  for (const std::string device : {"DEVA", "DEVB", "COMMON", ""}) {
    if (failure.empty()) {
      failure = check_and_free(factory.parse_file_advanced(file.c_str(), &device), physical_lines);
    }
  }
  std::vector<std::string> devices;
  factory.get_device_listing(file.c_str(), devices);
  for (const std::string& device : devices) {
    if (device.empty() || device.find(' ') != std::string::npos || device.size() > 299) {
      failure = "bad device name in the listing";
    }
  }
  // Every line again, straight through the line parser.
  std::istringstream in(content);
  DTM_LINE_NODE* current = nullptr;
  DTM_SHORT number = 0;
  for (std::string line; std::getline(in, line);) {
    current = factory.parse_a_line(current, line.data(), ++number);
  }
  while (current != nullptr && current->get_prev() != nullptr) {
    current = current->get_prev();
  }
  if (failure.empty()) {
    failure = check_and_free(current, physical_lines + 1);
  } else {
    DTM_LINE_NODE::delete_list(current);
  }
  for (const std::string& text : capture.get_texts()) {
    if (failure.empty() && !is_input_message(text)) {
      failure = "unexpected report: " + text;
    }
  }
  const MEM_COUNTERS& now = MEM_MANAGER::get_counters();
  if (failure.empty() &&
      (now.m_live_objects != start.m_live_objects || now.m_live_bytes != start.m_live_bytes)) {
    failure = "memory not returned";
  }
  return failure;
}

std::string printable(const std::string& content) {
  std::ostringstream out;
  for (const char c : content.substr(0, 400)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte == '\n' || (byte >= 32 && byte < 127)) {
      out << c;
    } else {
      out << "\\x" << std::hex << static_cast<int>(byte) << std::dec;
    }
  }
  return out.str();
}

TEST(DtmGenFuzz, RandomFilesReadSafely) {
  TEST_DIR dir;
  MEMORY_GUARD memory;
  RANDOM random(20240611u);
  for (int round = 0; round < 2500; ++round) {
    const std::string content = random_file(random);
    const std::string failure = read_every_way(dir, content);
    ASSERT_EQ(failure, "") << "round " << round << ", file:\n" << printable(content);
  }
}

TEST(DtmGenFuzz, MutatedExamplesReadSafely) {
  TEST_DIR dir;
  MEMORY_GUARD memory;
  RANDOM random(7u);
  const std::vector<std::string> seeds = {TEST_DIR::read(KESTREL_EXAMPLES_DIR "/plain.dmf"),
                                          TEST_DIR::read(KESTREL_EXAMPLES_DIR "/family.dmf")};
  ASSERT_FALSE(seeds[0].empty());
  ASSERT_FALSE(seeds[1].empty());
  for (int round = 0; round < 2500; ++round) {
    const std::string content = mutated(random, seeds[random.below(seeds.size())]);
    const std::string failure = read_every_way(dir, content);
    ASSERT_EQ(failure, "") << "round " << round << ", file:\n" << printable(content);
  }
}

TEST(DtmGenFuzz, TheCheckerCatchesForeignReports) {
  // The oracle itself: input messages pass, invariant texts do not.
  EXPECT_TRUE(is_input_message("Bad DMF file: Line 12 is invalid"));
  EXPECT_TRUE(is_input_message("Bad DMF file: Line -3 contains an error"));
  EXPECT_TRUE(is_input_message("Device listing not found in DMF file"));
  EXPECT_FALSE(is_input_message("Bad DMF file: Line  is invalid"));
  EXPECT_FALSE(is_input_message("Bad DMF file: Line 1x is invalid"));
  EXPECT_FALSE(is_input_message("string != 0"));
  EXPECT_FALSE(is_input_message("this->get_num_delays(j) > 0"));
}

}  // namespace
