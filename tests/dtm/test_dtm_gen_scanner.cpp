#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dtm_gen.h"
#include "line_record_view.h"
#include "msg_sys.h"
#include "test_files.h"

namespace {

const std::string k_stars(40, '*');
const std::string k_listing = k_stars + "DEVICE_LISTING";
const std::string k_too_long = "Input buffer too small for DMF file";
const std::string k_common_inside =
    "Bad DMF file:  Found start of section COMMON inside another section.";
const std::string k_common_end =
    "Bad DMF file:  Found end of section COMMON, but not in that section.";
const std::string k_section_inside = "Bad DMF file:  Found beginning of a section inside another.";
const std::string k_section_end = "Bad DMF file:  Found end of a section, but not in that section.";
const std::string k_not_found =
    "Bad DMF file:  Couldn't find one or both of the required sections.";
const std::string k_no_listing = "Device listing not found in DMF file";

std::string start(const std::string& name) { return k_stars + "START_" + name; }
std::string end(const std::string& name) { return k_stars + "END_" + name; }

// Every line followed by a line end.
std::string lines(const std::vector<std::string>& text) {
  std::string file;
  for (const std::string& line : text) {
    file += line + '\n';
  }
  return file;
}

// A delay line "5 || P P ... " of exactly `length` characters.
std::string line_of_length(std::size_t length) {
  std::string line = "5 ||";
  while (line.size() + 2 <= length) {
    line += " P";
  }
  if (line.size() < length) {
    line += 'Q';
  }
  return line;
}

std::vector<std::string> ids_of(const std::vector<LINE_VIEW>& views) {
  std::vector<std::string> ids;
  for (const LINE_VIEW& view : views) {
    ids.push_back(view.m_id);
  }
  return ids;
}

// What one scanner run gave: the records as id and line number, and the reports.
struct SCAN {
  bool m_null = true;
  std::vector<std::string> m_ids;
  std::vector<int> m_lines;
  std::vector<std::string> m_reports;
};

SCAN scan_plain(const std::string& file) {
  MSG_CAPTURE capture;
  SCAN scan;
  DTM_LINE_NODE* head = DTM_FACTORY().parse_file(file.c_str());
  scan.m_null = head == nullptr;
  const std::vector<LINE_VIEW> views = views_of_list(head);
  scan.m_ids = ids_of(views);
  scan.m_lines = line_numbers_of(views);
  DTM_LINE_NODE::delete_list(head);
  scan.m_reports = capture.get_texts();
  return scan;
}

SCAN scan_device(const std::string& file, const std::string& device) {
  MSG_CAPTURE capture;
  SCAN scan;
  DTM_LINE_NODE* head = DTM_FACTORY().parse_file_advanced(file.c_str(), &device);
  scan.m_null = head == nullptr;
  const std::vector<LINE_VIEW> views = views_of_list(head);
  scan.m_ids = ids_of(views);
  scan.m_lines = line_numbers_of(views);
  DTM_LINE_NODE::delete_list(head);
  scan.m_reports = capture.get_texts();
  return scan;
}

// ---- parse_file ---------------------------------------------------------

struct PLAIN_CASE {
  const char* m_name;
  std::string m_content;
  std::vector<std::string> m_ids;
  std::vector<int> m_lines;
  std::vector<std::string> m_reports;
};

TEST(DtmGenScanner, PlainFiles) {
  const std::vector<PLAIN_CASE> cases = {
      {"comments, blank lines and markers count as lines",
       lines({"% comment", "\"Desc\" P ||", "", "T :: 5 || P || M", "% another", "4 5 P",
              start("DEVA"), "E :: error 1 || P", "   ", "L :: 7 || P"}),
       {"", "T", "", "", "E", "L"},
       {2, 4, 6, 7, 8, 10},
       {"Bad DMF file: Line 6 is invalid", "Bad DMF file: Line 7 is invalid"}},
      {"a last line without a line end is not read", "A :: 5 || P\nB :: 6 || Q", {"A"}, {1}, {}},
      {"a last line with a line end is read", "A :: 5 || P\nB :: 6 || Q\n", {"A", "B"}, {1, 2}, {}},
      {"a comment later in the line is ordinary text", "A :: 5 % 6 || P\n", {"A"}, {1}, {}},
      {"only comments", lines({"% one", "%", "%% three"}), {}, {}, {}},
      {"only comments and blank lines", lines({"% one", "", " \t", "% four"}), {}, {}, {}},
      {"empty file", "", {}, {}, {}},
      {"only line ends", "\n\n\n", {}, {}, {}},
      {"dos line ends", "A :: 5 || P\r\n\r\nB :: 6 || Q || M\r\n", {"A", "B"}, {1, 3}, {}},
      {"a NUL ends the line's text",
       std::string("A :: 5 || P\0 :: x\nB :: 6 || Q\n", 30),
       {"A", "B"},
       {1, 2},
       {}},
      {"a NUL first makes no record",
       std::string("\0A :: 5 || P\nB :: 6 || Q\n", 25),
       {"B"},
       {2},
       {}},
      {"line 298 accepted", lines({line_of_length(298), "B :: 6 || Q"}), {"", "B"}, {1, 2}, {}},
      {"line 299 reported and dropped",
       lines({"A :: 1 ||", line_of_length(299), "B :: 6 || Q"}),
       {"A", "B"},
       {1, 3},
       {k_too_long}},
      {"very long line reported once and dropped whole",
       lines({line_of_length(100000), "B :: 6 || Q", line_of_length(301), "C :: 7 ||"}),
       {"B", "C"},
       {2, 4},
       {k_too_long, k_too_long}},
      {"over-long comment is reported too",
       lines({"%" + std::string(300, 'x'), "B :: 6 || Q"}),
       {"B"},
       {2},
       {k_too_long}},
      {"over-long last line without line end is not read",
       "B :: 6 || Q\n" + line_of_length(5000),
       {"B"},
       {1},
       {}},
  };
  TEST_DIR dir;
  for (const PLAIN_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    MEMORY_GUARD memory;
    const SCAN scan = scan_plain(dir.write("plain.dmf", c.m_content));
    EXPECT_EQ(scan.m_null, c.m_ids.empty());
    EXPECT_EQ(scan.m_ids, c.m_ids);
    EXPECT_EQ(scan.m_lines, c.m_lines);
    EXPECT_EQ(scan.m_reports, c.m_reports);
  }
}

TEST(DtmGenScanner, PlainFileRecordsHoldTheirWords) {
  TEST_DIR dir;
  MEMORY_GUARD memory;
  MSG_CAPTURE capture;
  const std::string file = dir.write(
      "words.dmf", lines({"\"Fast corner\" PA PB || MX", "T1 :: scaler 2 || 10 20 || PA PB || MX",
                          "5 ;; offset 1 || 7 || PA", line_of_length(298)}));
  DTM_LINE_NODE* head = DTM_FACTORY().parse_file(file.c_str());
  const std::vector<LINE_VIEW> views = views_of_list(head);
  ASSERT_EQ(views.size(), 4u);
  LINE_VIEW description = LINE_VIEW().description("Fast corner").parents({"PA", "PB"});
  description.modifiers({"MX"}).m_line_number = 1;
  EXPECT_EQ(views[0], description);
  LINE_VIEW delays = LINE_VIEW().id("T1").delays({{"10", "20"}}).scalers({{"2"}});
  delays.parents({"PA", "PB"}).modifiers({"MX"}).m_line_number = 2;
  EXPECT_EQ(views[1], delays);
  LINE_VIEW groups = LINE_VIEW().delays({{"5"}, {"7"}}).offsets({{}, {"1"}}).parents({"PA"});
  groups.m_line_number = 3;
  EXPECT_EQ(views[2], groups);
  EXPECT_EQ(views[3].m_parents.size(), 147u);
  EXPECT_EQ(views[3].m_parents.back(), "P");
  EXPECT_EQ(capture.get_count(), 0u);
  DTM_LINE_NODE::delete_list(head);
}

TEST(DtmGenScanner, LinesAcrossReadBlocksAreWhole) {
  // Far more text than one read block, with lines of every length mod 7.
  TEST_DIR dir;
  MEMORY_GUARD memory;
  std::string content;
  std::vector<std::string> expected;
  for (int i = 0; i < 6000; ++i) {
    std::string id = "D";
    id.append(std::to_string(i)).append(static_cast<std::size_t>(i % 7), 'x');
    content.append(id).append(" :: ").append(std::to_string(i));
    content.append(" || P").append(std::to_string(i)).append("\n");
    expected.push_back(id);
  }
  const SCAN scan = scan_plain(dir.write("big.dmf", content));
  EXPECT_EQ(scan.m_ids, expected);
  ASSERT_EQ(scan.m_lines.size(), 6000u);
  EXPECT_EQ(scan.m_lines.back(), 6000);
  EXPECT_TRUE(scan.m_reports.empty());
}

TEST(DtmGenScanner, LineNumbersBeyondSixteenBitsWrapAndReadingGoesOn) {
  // Line numbers are 16-bit: line 32768 is numbered -32768, line 40000 -25536.
  TEST_DIR dir;
  MEMORY_GUARD memory;
  std::string content;
  for (int i = 1; i <= 40000; ++i) {
    content.append(i == 32768 || i == 40000 ? "4 5 P\n" : "5 || P\n");
  }
  const SCAN scan = scan_plain(dir.write("long.dmf", content));
  ASSERT_EQ(scan.m_lines.size(), 40000u);
  EXPECT_EQ(scan.m_lines[32766], 32767);
  EXPECT_EQ(scan.m_lines[32767], -32768);
  EXPECT_EQ(scan.m_lines.back(), -25536);
  EXPECT_EQ(scan.m_reports, (std::vector<std::string>{"Bad DMF file: Line -32768 is invalid",
                                                      "Bad DMF file: Line -25536 is invalid"}));
}

TEST(DtmGenScanner, UnreadableFilesGiveEmptyResults) {
  TEST_DIR dir;
  MEMORY_GUARD memory;
  const DTM_FACTORY factory;
  for (const std::string& file : {dir.path("missing.dmf"), dir.path("")}) {
    SCOPED_TRACE(file);
    EXPECT_EQ(scan_plain(file).m_reports, std::vector<std::string>{});
    EXPECT_TRUE(scan_plain(file).m_null);
    const SCAN device = scan_device(file, "DEVA");
    EXPECT_TRUE(device.m_null);
    EXPECT_EQ(device.m_reports, std::vector<std::string>{k_not_found});
  }
  MSG_CAPTURE capture;
  std::vector<std::string> devices = {"OLD"};
  factory.get_device_listing(dir.path("missing.dmf").c_str(), devices);
  EXPECT_EQ(devices, std::vector<std::string>{"OLD"});
  EXPECT_EQ(capture.get_count(), 0u);
}

TEST(DtmGenScanner, NullArgumentsAreReported) {
  TEST_DIR dir;
  MEMORY_GUARD memory;
  MSG_CAPTURE capture;
  const DTM_FACTORY factory;
  const std::string device = "DEVA";
  const std::string file = dir.write("f.dmf", lines({start("DEVA"), "A :: 1 ||", end("DEVA")}));
  std::vector<std::string> devices;
  EXPECT_EQ(factory.parse_file(nullptr), nullptr);
  EXPECT_EQ(factory.parse_file_advanced(nullptr, &device), nullptr);
  EXPECT_EQ(factory.parse_file_advanced(file.c_str(), nullptr), nullptr);
  EXPECT_EQ(factory.parse_file_advanced(nullptr, nullptr), nullptr);
  factory.get_device_listing(nullptr, devices);
  EXPECT_TRUE(devices.empty());
  EXPECT_EQ(capture.get_texts(),
            (std::vector<std::string>{"in_file != 0", "in_file != 0", "device_name != 0",
                                      "in_file != 0", "device_name != 0", "in_file != 0"}));
}

// ---- parse_file_advanced --------------------------------------------------

struct SECTION_CASE {
  const char* m_name;
  std::vector<std::string> m_lines;  // each ended by a line end
  std::string m_device;
  std::vector<std::string> m_ids;  // empty: a null result
  std::vector<int> m_line_numbers;
  std::vector<std::string> m_reports;
};

TEST(DtmGenScanner, Sections) {
  const std::vector<std::string> common_first = {
      k_listing + " DEVA DEVB", start("COMMON"), "C1 :: 1 || P", end("COMMON"),  start("DEVA"),
      "A1 :: 2 || P",           end("DEVA"),     start("DEVB"),  "B1 :: 3 || P", end("DEVB")};
  const std::vector<std::string> common_between = {
      k_listing + " DEVA DEVB", start("DEVA"), "A1 :: 2 || P", end("DEVA"),    start("COMMON"),
      "C1 :: 1 || P",           end("COMMON"), start("DEVB"),  "B1 :: 3 || P", end("DEVB")};
  const std::vector<SECTION_CASE> cases = {
      {"common before the device", common_first, "DEVA", {"C1", "A1"}, {3, 6}, {}},
      {"common before the other device", common_first, "DEVB", {"C1", "B1"}, {3, 9}, {}},
      {"common after the device is not read", common_between, "DEVA", {"A1"}, {3}, {}},
      {"common between the devices", common_between, "DEVB", {"C1", "B1"}, {6, 9}, {}},
      {"no common section is no error",
       {start("DEVA"), "A1 :: 1 ||", end("DEVA")},
       "DEVA",
       {"A1"},
       {2},
       {}},
      {"comments, blank lines and markers count as lines",
       {"% header", k_listing + " DEVA", "", start("DEVA"), "% inside", "A1 :: 1 ||", "", "4 5 P",
        end("DEVA")},
       "DEVA",
       {"A1", ""},
       {6, 8},
       {"Bad DMF file: Line 8 is invalid"}},
      {"lines outside every section are ignored",
       {"X1 :: 1 ||", start("DEVA"), "A1 :: 1 ||", end("DEVA"), "error"},
       "DEVA",
       {"A1"},
       {3},
       {}},
      {"reading stops at the device's end marker",
       {start("DEVA"), "A1 :: 1 ||", end("DEVA"), start("COMMON"), "error", end("COMMON")},
       "DEVA",
       {"A1"},
       {2},
       {}},
      {"listing line inside a section is ignored",
       {start("DEVA"), k_listing + " DEVA", "A1 :: 1 ||", end("DEVA")},
       "DEVA",
       {"A1"},
       {3},
       {}},
      {"lines beginning with asterisks are lines inside a section",
       {start("DEVA"), "*** :: 1 ||", "***START_DEVB", end("DEVA")},
       "DEVA",
       {"***", ""},
       {2, 3},
       {"Bad DMF file: Line 3 is invalid"}},
      {"a section inside another",
       {start("DEVA"), "A1 :: 1 || P", start("DEVB"), "B1 :: 2 || P", end("DEVB"), end("DEVA"),
        "Z1 :: 3 || P"},
       "DEVA",
       {"A1", "B1"},
       {2, 4},
       {k_section_inside, k_section_end}},
      {"the inner section of a nesting error is never entered",
       {start("DEVA"), "A1 :: 1 || P", start("DEVB"), "B1 :: 2 || P", end("DEVB"), end("DEVA"),
        "Z1 :: 3 || P"},
       "DEVB",
       {},
       {},
       {k_section_inside, k_section_end, k_not_found}},
      {"common inside the device section",
       {start("DEVA"), "A1 :: 1 ||", start("COMMON"), "C1 :: 2 ||", end("COMMON"), "A2 :: 3 ||",
        end("DEVA")},
       "DEVA",
       {},
       {},
       {k_common_inside, k_section_end, k_not_found}},
      {"common inside common",
       {start("COMMON"), "C1 :: 1 ||", start("COMMON"), "C2 :: 2 ||", end("COMMON"), start("DEVA"),
        "A1 :: 3 ||", end("DEVA")},
       "DEVA",
       {"C1", "C2", "A1"},
       {2, 4, 7},
       {k_common_inside}},
      {"end of common outside or in another section",
       {end("COMMON"), start("DEVA"), end("COMMON"), "A1 :: 1 ||", end("DEVA")},
       "DEVA",
       {"A1"},
       {4},
       {k_common_end, k_common_end}},
      {"end of common must repeat the common section's name",
       {start("COMMON_EXTRA"), "C1 :: 1 ||", end("COMMON"), end("COMMON_EXTRA"), start("DEVA"),
        "A1 :: 2 ||", end("DEVA")},
       "DEVA",
       {"C1", "A1"},
       {2, 6},
       {k_common_end}},
      {"end of a section outside and with another name",
       {end("DEVA"), start("DEVA"), "A1 :: 1 ||", end("DEVAX"), "A2 :: 2 ||", end("DEVA")},
       "DEVA",
       {"A1", "A2"},
       {3, 5},
       {k_section_end, k_section_end}},
      {"end marker must repeat trailing blanks",
       {start("DEVA "), "A1 :: 1 ||", end("DEVA"), end("DEVA ")},
       "DEVA",
       {"A1"},
       {2},
       {k_section_end}},
      {"device name is a prefix of the section name",
       {start("DEVAX"), "X1 :: 1 ||", end("DEVAX"), start("DEVA"), "A1 :: 2 ||", end("DEVA")},
       "DEVA",
       {"X1"},
       {2},
       {}},
      {"device name inside the section name does not select it",
       {start("XDEVA"), "X1 :: 1 ||", end("XDEVA"), start("DEVB_DEVA"), "B1 :: 2 ||",
        end("DEVB_DEVA"), start("DEVA"), "A1 :: 3 ||", end("DEVA")},
       "DEVA",
       {"A1"},
       {8},
       {}},
      {"end marker with fewer asterisks does not close",
       {start("DEVA"), "A1 :: 1 ||", "***END_DEVA"},
       "DEVA",
       {},
       {},
       {"Bad DMF file: Line 3 is invalid", k_not_found}},
      {"device section missing, common read and freed",
       {start("COMMON"), "C1 :: 1 ||", "C2 :: 2 ||", end("COMMON"), start("DEVB"), end("DEVB")},
       "DEVA",
       {},
       {},
       {k_not_found}},
      {"device section never closed",
       {start("DEVA"), "A1 :: 1 ||", "A2 :: 2 ||"},
       "DEVA",
       {},
       {},
       {k_not_found}},
      {"empty device name selects nothing",
       {start("DEVA"), "A1 :: 1 ||", end("DEVA")},
       "",
       {},
       {},
       {k_not_found}},
      {"over-long lines are reported in skipped sections too",
       {start("DEVB"), line_of_length(299), end("DEVB"), start("DEVA"), line_of_length(298),
        line_of_length(299), "A1 :: 1 ||", end("DEVA")},
       "DEVA",
       {"", "A1"},
       {5, 7},
       {k_too_long, k_too_long}},
      {"empty section", {start("DEVA"), end("DEVA")}, "DEVA", {}, {}, {}},
  };
  TEST_DIR dir;
  for (const SECTION_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    MEMORY_GUARD memory;
    const SCAN scan = scan_device(dir.write("family.dmf", lines(c.m_lines)), c.m_device);
    const bool found = c.m_reports.empty() || c.m_reports.back() != k_not_found;
    EXPECT_EQ(scan.m_null, c.m_ids.empty());
    EXPECT_EQ(scan.m_ids, c.m_ids);
    EXPECT_EQ(scan.m_lines, c.m_line_numbers);
    EXPECT_EQ(scan.m_reports, c.m_reports);
    EXPECT_TRUE(found || scan.m_null);
  }
}

TEST(DtmGenScanner, SectionEndWithoutLineEndIsNotRead) {
  TEST_DIR dir;
  MEMORY_GUARD memory;
  const std::string body = lines({start("DEVA"), "A1 :: 1 ||"});
  EXPECT_EQ(scan_device(dir.write("cut.dmf", body + end("DEVA")), "DEVA").m_reports,
            std::vector<std::string>{k_not_found});
  const SCAN closed = scan_device(dir.write("whole.dmf", body + end("DEVA") + "\n"), "DEVA");
  EXPECT_EQ(closed.m_ids, std::vector<std::string>{"A1"});
  EXPECT_TRUE(closed.m_reports.empty());
}

TEST(DtmGenScanner, BundledFamilyExample) {
  MEMORY_GUARD memory;
  const std::string file = std::string(KESTREL_EXAMPLES_DIR) + "/family.dmf";
  std::vector<std::string> devices;
  MSG_CAPTURE capture;
  DTM_FACTORY().get_device_listing(file.c_str(), devices);
  EXPECT_EQ(devices, (std::vector<std::string>{"KX10", "KX20", "KX40"}));
  // Every device reads the 28 records of COMMON first (lines 12 to 48, with
  // comments and blank lines between), then its own section.
  const std::vector<int> common = {12, 13, 14, 15, 16, 17, 18, 19, 22, 23, 24, 25, 26, 27,
                                   30, 31, 32, 33, 34, 35, 38, 39, 40, 41, 42, 45, 46, 48};
  struct DEVICE {
    const char* m_name;
    std::vector<std::string> m_ids;
    std::vector<int> m_lines;
  };
  const std::vector<DEVICE> expected = {
      {"KX10",
       {"TCO", "TSU", "TH", "TPD", "ROUTE_R1", "ROUTE_R2", "IO_IN_REG"},
       {51, 52, 53, 54, 55, 56, 57}},
      {"KX20",
       {"TCO", "TSU", "TH", "ROUTE_R1", "ROUTE_R2", "ROUTE_R3", "IO_IN_REG", "IO_OUT_REG"},
       {60, 61, 62, 63, 64, 65, 66, 67}},
      {"KX40",
       {"", "TCO", "TSU", "TH", "ROUTE_R1", "ROUTE_R2", "IO_IN_REG", "DSP_MULT"},
       {70, 71, 72, 73, 74, 75, 76, 77}},
  };
  for (const DEVICE& device : expected) {
    SCOPED_TRACE(device.m_name);
    const SCAN scan = scan_device(file, device.m_name);
    ASSERT_EQ(scan.m_lines.size(), common.size() + device.m_lines.size());
    EXPECT_EQ(std::vector<int>(scan.m_lines.begin(), scan.m_lines.begin() + 28), common);
    EXPECT_EQ(std::vector<int>(scan.m_lines.begin() + 28, scan.m_lines.end()), device.m_lines);
    EXPECT_EQ(std::vector<std::string>(scan.m_ids.begin() + 28, scan.m_ids.end()), device.m_ids);
    EXPECT_EQ(scan.m_ids[0], "");          // the first description
    EXPECT_EQ(scan.m_ids[8], "LUT_A");     // the first delay line of COMMON
    EXPECT_EQ(scan.m_ids[27], "GENERAL");  // its last line
    EXPECT_TRUE(scan.m_reports.empty());
  }
  EXPECT_EQ(capture.get_count(), 0u);
}

// ---- get_device_listing ---------------------------------------------------

struct LISTING_CASE {
  const char* m_name;
  std::string m_content;
  std::vector<std::string> m_devices;  // after the "OLD" already in the vector
  std::vector<std::string> m_reports;
};

TEST(DtmGenScanner, DeviceListing) {
  const std::string long_words = [] {
    std::string words;
    for (int i = 0; words.size() < 400; ++i) {
      words += " DEV" + std::to_string(1000 + i);
    }
    return words;
  }();
  // The first 299 characters of the listing line, split.
  const std::string listing_400 = (k_listing + long_words).substr(0, 400);
  std::vector<std::string> words_299;
  {
    const std::string kept = listing_400.substr(0, 299);
    std::size_t from = k_listing.size() + 1;
    while (from < kept.size()) {
      const std::size_t blank = kept.find(' ', from);
      words_299.push_back(kept.substr(from, blank - from));
      from = blank == std::string::npos ? kept.size() : blank + 1;
    }
  }
  const std::string line_298 = k_listing + " " + std::string(298 - k_listing.size() - 1, 'D');
  const std::string line_299 = line_298 + "E";
  const std::vector<LISTING_CASE> cases = {
      {"two devices", lines({k_listing + " DEVA DEVB", start("COMMON")}), {"DEVA", "DEVB"}, {}},
      {"two blanks between devices", lines({k_listing + " DEVA  DEVB"}), {"DEVA", "DEVB"}, {}},
      {"leading, trailing and repeated blanks", lines({k_listing + "   DEVA   "}), {"DEVA"}, {}},
      {"a tab is part of a word", lines({k_listing + " DEVA\tDEVB"}), {"DEVA\tDEVB"}, {}},
      {"a carriage return is part of a word",
       "" + k_listing + " DEVA DEVB\r\n",
       {"DEVA", "DEVB\r"},
       {}},
      {"only the first line is read",
       lines({k_listing + " DEVA", k_listing + " DEVB"}),
       {"DEVA"},
       {}},
      {"a first line without a line end is read", k_listing + " DEVA", {"DEVA"}, {}},
      {"no device", lines({k_listing}), {}, {}},
      {"the marker as a later word is skipped",
       lines({k_listing + " DEVA " + k_listing + "X DEVB"}),
       {"DEVA", "DEVB"},
       {}},
      {"the marker glued to a word is skipped", lines({k_listing + "DEVA DEVB"}), {"DEVB"}, {}},
      {"not a listing: reported, words still taken",
       lines({"% DEVA DEVB", k_listing + " DEVC"}),
       {"%", "DEVA", "DEVB"},
       {k_no_listing}},
      {"a blank before the marker", lines({" " + k_listing + " DEVA"}), {"DEVA"}, {k_no_listing}},
      {"fewer asterisks",
       lines({"***DEVICE_LISTING DEVA"}),
       {"***DEVICE_LISTING", "DEVA"},
       {k_no_listing}},
      {"empty file", "", {}, {k_no_listing}},
      {"empty first line", lines({"", k_listing + " DEVA"}), {}, {k_no_listing}},
      {"line of 298 characters",
       lines({line_298}),
       {std::string(298 - k_listing.size() - 1, 'D')},
       {}},
      {"line of 299 characters",
       lines({line_299}),
       {std::string(298 - k_listing.size() - 1, 'D') + "E"},
       {k_too_long}},
      {"longer line: its first 299 characters", lines({listing_400, "x"}), words_299, {k_too_long}},
  };
  TEST_DIR dir;
  for (const LISTING_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    MEMORY_GUARD memory;
    MSG_CAPTURE capture;
    std::vector<std::string> devices = {"OLD"};
    DTM_FACTORY().get_device_listing(dir.write("listing.dmf", c.m_content).c_str(), devices);
    std::vector<std::string> expected = {"OLD"};
    expected.insert(expected.end(), c.m_devices.begin(), c.m_devices.end());
    EXPECT_EQ(devices, expected);
    EXPECT_EQ(capture.get_texts(), c.m_reports);
  }
}

}  // namespace
