// Text input at the edges, through the whole build (reader, checks,
// conversion, dump): every line of the examples cut at every character, DOS
// line ends, no final line end, NUL and 0xFF bytes at every position. None may
// crash or leak; cuts and line ends that change nothing must change nothing in
// the model. A last line without a line end is not read (docs/dmf-reader.md).
#include <gtest/gtest.h>

#include <cctype>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "dtm_gen.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"
#include "test_files.h"

namespace {

using NODE_PTR = std::unique_ptr<DTM_NODE>;

struct SOURCE {
  const char* m_file;
  std::optional<std::string> m_device;
};

const SOURCE k_sources[] = {
    {"examples/plain.dmf", {}},
    {"examples/family.dmf", "KX20"},
    {"tests/data/dmf/every_type.dmf", {}},
    {"tests/data/dmf/bad_lines.dmf", {}},
    {"tests/data/dmf/duplicates.dmf", {}},
};

std::vector<std::string> split_lines(const std::string& content) {
  std::vector<std::string> lines;
  std::string::size_type from = 0;
  while (from < content.size()) {
    const std::string::size_type end = content.find('\n', from);
    if (end == std::string::npos) {
      lines.push_back(content.substr(from));
      break;
    }
    lines.push_back(content.substr(from, end - from));
    from = end + 1;
  }
  return lines;
}

std::string join(const std::vector<std::string>& lines, const std::string& line_end) {
  std::string content;
  for (const std::string& line : lines) {
    content += line + line_end;
  }
  return content;
}

struct OUTCOME {
  bool m_built = false;
  std::string m_dump;
  std::vector<std::string> m_reports;
  bool m_memory_returned = false;
};

// Builds `content` (for the source's device, if any), dumps the model and
// destroys it.
OUTCOME build(const TEST_DIR& dir, const SOURCE& source, const std::string& content) {
  const std::string file = dir.write("input.dmf", content);
  const std::size_t live = MEM_MANAGER::get_counters().m_live_objects;
  OUTCOME outcome;
  {
    MSG_CAPTURE capture;
    const NODE_PTR root(DTM_FACTORY().build_nodes(
        file.c_str(), source.m_device ? &*source.m_device : nullptr, false, false));
    outcome.m_built = root != nullptr;
    if (root) {
      std::ostringstream dump;
      root->dump_tree(dump, std::string());
      root->dump_tree_in_dmf_format(dump, std::string_view());
      outcome.m_dump = dump.str();
    }
    outcome.m_reports = capture.get_texts();
  }
  outcome.m_memory_returned = MEM_MANAGER::get_counters().m_live_objects == live;
  return outcome;
}

std::string read_source(const SOURCE& source) {
  return TEST_DIR::read(std::string(KESTREL_SOURCE_DIR) + "/" + source.m_file);
}

void PrintTo(const SOURCE& source, std::ostream* os) { *os << source.m_file; }

class DTM_GEN_EDGES : public testing::TestWithParam<SOURCE> {};

TEST_P(DTM_GEN_EDGES, EveryLineCutAtEveryCharacter) {
  const TEST_DIR dir;
  const std::vector<std::string> lines = split_lines(read_source(GetParam()));
  ASSERT_FALSE(lines.empty());
  const OUTCOME whole = build(dir, GetParam(), join(lines, "\n"));
  ASSERT_TRUE(whole.m_built);
  std::size_t cases = 0;
  for (std::size_t index = 0; index < lines.size(); ++index) {
    std::vector<std::string> without = lines;
    without.erase(without.begin() + static_cast<std::ptrdiff_t>(index));
    const std::string reference = build(dir, GetParam(), join(without, "\n")).m_dump;
    for (std::size_t cut = 0; cut <= lines[index].size(); ++cut) {
      std::vector<std::string> cut_lines = lines;
      cut_lines[index] = lines[index].substr(0, cut);
      // The cut line last and without a line end, as a file that ends mid-line.
      std::vector<std::string> tail = without;
      tail.push_back(cut_lines[index]);
      std::string ends_mid_line = join(tail, "\n");
      ends_mid_line.pop_back();
      const OUTCOME in_place = build(dir, GetParam(), join(cut_lines, "\n"));
      SCOPED_TRACE(GetParam().m_file + std::string(": line ") + std::to_string(index + 1) +
                   " cut at " + std::to_string(cut));
      ASSERT_TRUE(in_place.m_memory_returned);
      const OUTCOME unterminated = build(dir, GetParam(), ends_mid_line);
      ASSERT_TRUE(unterminated.m_memory_returned);
      ASSERT_EQ(unterminated.m_dump, reference);
      if (lines[index].find_first_not_of(" \t\r") >= cut) {
        // Nothing but blanks left: the line is gone.
        ASSERT_EQ(in_place.m_dump, reference);
      }
      if (cut == lines[index].size()) {
        ASSERT_EQ(in_place.m_dump, whole.m_dump);
      }
      ++cases;
    }
  }
  EXPECT_GT(cases, lines.size());
}

TEST_P(DTM_GEN_EDGES, LineEndsChangeNothing) {
  const TEST_DIR dir;
  const std::vector<std::string> lines = split_lines(read_source(GetParam()));
  const OUTCOME unix_ends = build(dir, GetParam(), join(lines, "\n"));
  struct VARIANT {
    const char* m_name;
    std::string m_content;
  };
  const VARIANT variants[] = {
      {"dos line ends", join(lines, "\r\n")},
      {"blank lines between", join(lines, "\n\n")},
  };
  for (const VARIANT& variant : variants) {
    SCOPED_TRACE(variant.m_name);
    const OUTCOME outcome = build(dir, GetParam(), variant.m_content);
    EXPECT_TRUE(outcome.m_memory_returned);
    EXPECT_EQ(outcome.m_dump, unix_ends.m_dump);
    if (std::string(variant.m_name) != "blank lines between") {
      // Same lines, same numbers: the same reports.
      EXPECT_EQ(outcome.m_reports, unix_ends.m_reports);
    }
  }
  // Without its final line end the last line is not read.
  std::string no_final_end = join(lines, "\n");
  no_final_end.pop_back();
  const std::vector<std::string> all_but_last(lines.begin(), lines.end() - 1);
  EXPECT_EQ(build(dir, GetParam(), no_final_end).m_dump,
            build(dir, GetParam(), join(all_but_last, "\n")).m_dump);
}

TEST_P(DTM_GEN_EDGES, NulAndFfBytesAtEveryPosition) {
  const TEST_DIR dir;
  const std::string content = read_source(GetParam());
  ASSERT_FALSE(content.empty());
  for (const char byte : {'\0', '\xff'}) {
    for (std::size_t position = 0; position < content.size(); ++position) {
      std::string changed = content;
      changed[position] = byte;
      const OUTCOME outcome = build(dir, GetParam(), changed);
      ASSERT_TRUE(outcome.m_memory_returned)
          << "byte " << static_cast<int>(static_cast<unsigned char>(byte)) << " at " << position;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sources, DTM_GEN_EDGES, testing::ValuesIn(k_sources),
                         [](const testing::TestParamInfo<SOURCE>& info) {
                           std::string name;
                           for (const char* c = info.param.m_file; *c != '\0'; ++c) {
                             name += std::isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
                           }
                           return name;
                         });

}  // namespace
