#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dtm_gen.h"
#include "line_record_view.h"
#include "msg_sys.h"
#include "test_files.h"

namespace {

constexpr DTM_SHORT k_line = 12;
const std::string k_invalid = "Bad DMF file: Line 12 is invalid";
const std::string k_error = "Bad DMF file: Line 12 contains an error";

struct LINE_CASE {
  const char* m_name;
  std::string m_text;
  bool m_makes_record;
  LINE_VIEW m_record;  // m_line_number is filled in by the test
  std::vector<std::string> m_reports;
};

// Parses `text` (a writable copy) behind `prev` and returns what parse_a_line returned.
DTM_LINE_NODE* parse(DTM_LINE_NODE* prev, std::string text, DTM_SHORT line = k_line) {
  return DTM_FACTORY().parse_a_line(prev, text.data(), line);
}

const std::vector<LINE_CASE>& line_cases() {
  static const std::vector<LINE_CASE> cases = {
      // The examples of the format.
      {"identifier, scaler, two delays",
       "T1 :: scaler 2 || 10 20 || PA PB || MX",
       true,
       LINE_VIEW()
           .id("T1")
           .delays({{"10", "20"}})
           .scalers({{"2"}})
           .parents({"PA", "PB"})
           .modifiers({"MX"}),
       {}},
      {"two groups, offset in the second",
       "5 ;; offset 1 || 7 || PA",
       true,
       LINE_VIEW().delays({{"5"}, {"7"}}).offsets({{}, {"1"}}).parents({"PA"}),
       {}},
      {"description with parents and modifiers",
       "\"Fast corner\" PA PB || MX",
       true,
       LINE_VIEW().description("Fast corner").parents({"PA", "PB"}).modifiers({"MX"}),
       {}},
      {"no closing || is invalid",
       "4 5 PA",
       true,
       LINE_VIEW().delays({{"4", "5", "PA"}}),
       {k_invalid}},

      // Identifiers.
      {"identifier needs :: as second word",
       "A:: 3 || P",
       true,
       LINE_VIEW().delays({{"A::", "3"}}).parents({"P"}),
       {}},
      {":: later in the line is a delay word",
       "3 :: 4 || P",
       true,
       LINE_VIEW().id("3").delays({{"4"}}).parents({"P"}),
       {}},
      {"identifier then || is a delay word",
       "A :: || P",
       true,
       LINE_VIEW().id("A").delays({{"||", "P"}}),
       {k_invalid}},
      {"identifier and one delay, nothing after",
       "A :: 5",
       true,
       LINE_VIEW().id("A").delays({{"5"}}),
       {k_invalid}},
      {"identifier alone", "A ::", true, LINE_VIEW().id("A"), {k_invalid}},

      // Optional lists, in their order and out of it.
      {"all four lists in order",
       "scaler 1 2 || offset 3 || bin 4 || version 5 6 || 9 || P || M",
       true,
       LINE_VIEW()
           .delays({{"9"}})
           .scalers({{"1", "2"}})
           .offsets({{"3"}})
           .bins({{"4"}})
           .versions({{"5", "6"}})
           .parents({"P"})
           .modifiers({"M"}),
       {}},
      {"bin and version only",
       "bin 4 || version 5 || 9 || P ||",
       true,
       LINE_VIEW().delays({{"9"}}).bins({{"4"}}).versions({{"5"}}).parents({"P"}),
       {}},
      {"empty list", "scaler || 9 || P", true, LINE_VIEW().delays({{"9"}}).parents({"P"}), {}},
      {"scaler after offset is a delay word",
       "offset 1 || scaler 2 || 9 || P ||",
       true,
       LINE_VIEW().delays({{"scaler", "2"}}).offsets({{"1"}}).parents({"9"}).modifiers({"P", "||"}),
       {}},
      {"a second scaler is a delay word",
       "scaler 1 || scaler 2 || 9 || P",
       true,
       LINE_VIEW().delays({{"scaler", "2"}}).scalers({{"1"}}).parents({"9"}).modifiers({"P"}),
       {}},
      {"version before bin",
       "version 1 || bin 2 || 3 || P",
       true,
       LINE_VIEW().delays({{"bin", "2"}}).versions({{"1"}}).parents({"3"}).modifiers({"P"}),
       {}},
      {"keywords are case-sensitive",
       "Scaler 2 || 5 || P",
       true,
       LINE_VIEW().delays({{"Scaler", "2"}}).parents({"5"}).modifiers({"P"}),
       {}},
      {"keyword as a later delay word",
       "5 scaler 2 || P",
       true,
       LINE_VIEW().delays({{"5", "scaler", "2"}}).parents({"P"}),
       {}},
      {"list never closed", "scaler 1 2", true, LINE_VIEW().scalers({{"1", "2"}}), {k_invalid}},
      {"keyword alone", "scaler", true, {}, {k_invalid}},
      {"list closed, no delay", "scaler 1 ||", true, LINE_VIEW().scalers({{"1"}}), {k_invalid}},
      {"later list never closed",
       "scaler 1 || offset 2",
       true,
       LINE_VIEW().scalers({{"1"}}).offsets({{"2"}}),
       {k_invalid}},

      // Delay groups.
      {"three groups, lists per group",
       "scaler 1 || 5 ;; 6 7 ;; bin 2 || 8 || P || M",
       true,
       LINE_VIEW()
           .delays({{"5"}, {"6", "7"}, {"8"}})
           .scalers({{"1"}})
           .bins({{}, {}, {"2"}})
           .parents({"P"})
           .modifiers({"M"}),
       {}},
      {"lists restart in every group",
       "version 1 || 5 ;; version 2 || 6 || P",
       true,
       LINE_VIEW().delays({{"5"}, {"6"}}).versions({{"1"}, {"2"}}).parents({"P"}),
       {}},
      {";; as first word of a group is a delay word",
       "5 ;; ;; 6 || P",
       true,
       LINE_VIEW().delays({{"5"}, {";;", "6"}}).parents({"P"}),
       {}},
      {"|| as first word of a group is a delay word",
       "5 ;; || P",
       true,
       LINE_VIEW().delays({{"5"}, {"||", "P"}}),
       {k_invalid}},
      {"line ends after ;;", "5 ;;", true, LINE_VIEW().delays({{"5"}}), {k_invalid}},
      {"last group never closed", "5 ;; 6", true, LINE_VIEW().delays({{"5"}, {"6"}}), {k_invalid}},
      {"list of a later group never closed",
       "5 ;; offset 1 ||",
       true,
       LINE_VIEW().delays({{"5"}}).offsets({{}, {"1"}}),
       {k_invalid}},

      // Parents and modifiers.
      {"no parents, no modifiers", "5 ||", true, LINE_VIEW().delays({{"5"}}), {}},
      {"empty parent list", "5 || || M", true, LINE_VIEW().delays({{"5"}}).modifiers({"M"}), {}},
      {"further || is a modifier",
       "5 || P || M || N ||",
       true,
       LINE_VIEW().delays({{"5"}}).parents({"P"}).modifiers({"M", "||", "N", "||"}),
       {}},
      {";; after the delay part is a parent",
       "5 || P ;; Q",
       true,
       LINE_VIEW().delays({{"5"}}).parents({"P", ";;", "Q"}),
       {}},

      // Error lines.
      {"error line",
       "error 5 || P || M",
       true,
       LINE_VIEW().delays({{"error", "5"}}).parents({"P"}).modifiers({"M"}),
       {k_error}},
      {"ERROR line",
       "ERROR 5 || P",
       true,
       LINE_VIEW().delays({{"ERROR", "5"}}).parents({"P"}),
       {k_error}},
      {"Error with identifier",
       "Error :: 5 || P",
       true,
       LINE_VIEW().id("Error").delays({{"5"}}).parents({"P"}),
       {k_error}},
      {"error alone", "error", true, {}, {k_error, k_invalid}},
      {"errors is no error word",
       "errors 5 || P",
       true,
       LINE_VIEW().delays({{"errors", "5"}}).parents({"P"}),
       {}},
      {"error as second word",
       "5 error || P",
       true,
       LINE_VIEW().delays({{"5", "error"}}).parents({"P"}),
       {}},

      // Description lines.
      {"only a quoted word", "\"only\"", true, LINE_VIEW().description("only"), {}},
      {"empty quotes make nothing", "\"\"", false, {}, {}},
      {"one quote makes nothing", "\"", false, {}, {}},
      {"quotes and the rest", "\"\" PA || M", true, LINE_VIEW().description(" PA || M"), {}},
      {"unclosed quote takes the rest",
       "\"open text PA",
       true,
       LINE_VIEW().description("open text PA"),
       {}},
      {"inner blanks kept",
       "\"  two  blanks \" P",
       true,
       LINE_VIEW().description("  two  blanks ").parents({"P"}),
       {}},
      {"parents right behind the quote",
       "\"d\"PA || M",
       true,
       LINE_VIEW().description("d").parents({"PA"}).modifiers({"M"}),
       {}},
      {"description takes no delay grammar",
       "\"d\" scaler 1 || 5 ;; || x",
       true,
       LINE_VIEW().description("d").parents({"scaler", "1"}).modifiers({"5", ";;", "||", "x"}),
       {}},
      {"a blank before the quote makes a delay line",
       " \"d\" P || M",
       true,
       LINE_VIEW().delays({{"\"d\"", "P"}}).parents({"M"}),
       {}},
      {"description text error is no error line",
       "\"error\" P",
       true,
       LINE_VIEW().description("error").parents({"P"}),
       {}},

      // Blank lines, separators, carriage returns.
      {"empty line", "", false, {}, {}},
      {"blanks only", "   ", false, {}, {}},
      {"tabs and carriage return only", "\t \r\t", false, {}, {}},
      {"tabs separate words",
       "A\t::\t5\t||\tP\t||\tM",
       true,
       LINE_VIEW().id("A").delays({{"5"}}).parents({"P"}).modifiers({"M"}),
       {}},
      {"carriage return at the end",
       "5 || P || M\r",
       true,
       LINE_VIEW().delays({{"5"}}).parents({"P"}).modifiers({"M"}),
       {}},
      {"carriage return separates words",
       "5\r||\rP",
       true,
       LINE_VIEW().delays({{"5"}}).parents({"P"}),
       {}},
      {"carriage return after a description",
       "\"d\" P\r",
       true,
       LINE_VIEW().description("d").parents({"P"}),
       {}},
      {"leading and repeated blanks",
       "   5    6  ||  P  ",
       true,
       LINE_VIEW().delays({{"5", "6"}}).parents({"P"}),
       {}},
      {"other control characters are word characters",
       "5\v6 || P\f",
       true,
       LINE_VIEW().delays({{"5\v6"}}).parents({"P\f"}),
       {}},
      {"one word", "5", true, {}, {k_invalid}},
  };
  return cases;
}

TEST(DtmGenParseLine, GrammarTable) {
  for (const LINE_CASE& c : line_cases()) {
    SCOPED_TRACE(std::string(c.m_name) + ": " + c.m_text);
    MEMORY_GUARD memory;
    MSG_CAPTURE capture;
    DTM_LINE_NODE* node = parse(nullptr, c.m_text);
    EXPECT_EQ(capture.get_texts(), c.m_reports);
    for (const MSG_REPORT& report : capture.get_reports()) {
      EXPECT_EQ(report.m_source, "dtm_gen");
      EXPECT_EQ(report.m_module, "DTM");
    }
    if (!c.m_makes_record) {
      EXPECT_EQ(node, nullptr);
      continue;
    }
    ASSERT_NE(node, nullptr);
    LINE_VIEW expected = c.m_record;
    expected.m_line_number = k_line;
    EXPECT_EQ(view_of(*node), expected);
    EXPECT_EQ(node->get_prev(), nullptr);
    EXPECT_EQ(node->get_next(), nullptr);
    EXPECT_FALSE(node->get_marked());
    DTM_LINE_NODE::delete_list(node);
  }
}

TEST(DtmGenParseLine, RecordsAreLinkedBehindPrevAndBlankLinesKeepTheChain) {
  MEMORY_GUARD memory;
  MSG_CAPTURE capture;
  DTM_LINE_NODE* first = parse(nullptr, "1 || P", 1);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(parse(first, "   ", 2), first);
  EXPECT_EQ(parse(first, "\"\"", 3), first);
  DTM_LINE_NODE* second = parse(first, "\"d\" P ||", 4);
  ASSERT_NE(second, nullptr);
  DTM_LINE_NODE* third = parse(second, "error", 5);
  ASSERT_NE(third, nullptr);
  EXPECT_EQ(first->get_next(), second);
  EXPECT_EQ(second->get_prev(), first);
  EXPECT_EQ(second->get_next(), third);
  EXPECT_EQ(third->get_prev(), second);
  EXPECT_EQ(third->get_next(), nullptr);
  EXPECT_EQ(line_numbers_of(views_of_list(first)), (std::vector<int>{1, 4, 5}));
  EXPECT_EQ(capture.get_texts(), (std::vector<std::string>{"Bad DMF file: Line 5 contains an error",
                                                           "Bad DMF file: Line 5 is invalid"}));
  DTM_LINE_NODE::delete_list(first);
}

TEST(DtmGenParseLine, LineNumberIsWrittenInDecimalInTheMessages) {
  MSG_CAPTURE capture;
  MEMORY_GUARD memory;
  for (DTM_SHORT line : {DTM_SHORT{1}, DTM_SHORT{32767}, DTM_SHORT{-5}}) {
    DTM_LINE_NODE::delete_list(parse(nullptr, "ERROR", line));
  }
  EXPECT_EQ(capture.get_texts(),
            (std::vector<std::string>{
                "Bad DMF file: Line 1 contains an error", "Bad DMF file: Line 1 is invalid",
                "Bad DMF file: Line 32767 contains an error", "Bad DMF file: Line 32767 is invalid",
                "Bad DMF file: Line -5 contains an error", "Bad DMF file: Line -5 is invalid"}));
}

TEST(DtmGenParseLine, NullLineIsReportedAndPrevReturned) {
  MSG_CAPTURE capture;
  DTM_LINE_NODE prev;
  EXPECT_EQ(DTM_FACTORY().parse_a_line(&prev, nullptr, 3), &prev);
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"line != 0"});
  EXPECT_EQ(prev.get_next(), nullptr);
}

TEST(DtmGenParseLine, ARecordIsOneAllocation) {
  // The record, its identifier or description and all its words are written
  // in one piece; only a text too long for a string's inline buffer adds one.
  struct CASE {
    const char* m_line;
    long m_allocations;
  };
  const CASE cases[] = {
      {"scaler 1 2 3 || 4 5 6 7 ;; bin 8 9 10 || 11 12 13 || P Q R || M N O S", 1},
      {"5 ||", 1},
      {"T1 :: 5 || P || M", 1},
      {"\"Fast corner\" P || M", 1},
      {"\"a description longer than fifteen\" P", 2},
  };
  for (const CASE& c : cases) {
    SCOPED_TRACE(c.m_line);
    MEMORY_GUARD memory;
    const std::size_t before = MEM_MANAGER::get_counters().m_total_objects;
    DTM_LINE_NODE* node = parse(nullptr, c.m_line);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(memory.live_objects_gained(), c.m_allocations);
    // Two more for the parser's word buffers, freed before it returns.
    EXPECT_EQ(MEM_MANAGER::get_counters().m_total_objects - before,
              static_cast<std::size_t>(c.m_allocations) + 2);
    DTM_LINE_NODE::delete_list(node);
  }
}

TEST(DtmGenParseLine, AFileReadsIntoAFewChunksNotOneAllocationPerRecord) {
  // Every record of a read is carved from the reader's arenas; texts longer
  // than a string's inline buffer are the only allocations of their own.
  TEST_DIR dir;
  std::string text;
  std::vector<LINE_VIEW> expected;
  for (int i = 0; i < 3000; ++i) {
    const std::string delay = std::to_string(i);
    if (i % 500 == 0) {
      text += "\"block " + delay + " with a description past the inline buffer\" P ||\n";
      expected.push_back(
          LINE_VIEW()
              .description("block " + delay + " with a description past the inline buffer")
              .parents({"P"}));
    } else {
      text +=
          "ID" + delay + " :: " + delay + " ;; bin B || 7 || PA PB || DTM_MICRO K" + delay + "\n";
      expected.push_back(LINE_VIEW()
                             .id("ID" + delay)
                             .delays({{delay}, {"7"}})
                             .bins({{}, {"B"}})
                             .parents({"PA", "PB"})
                             .modifiers({"DTM_MICRO", "K" + delay}));
    }
    expected.back().m_line_number = static_cast<DTM_SHORT>(i + 1);
  }
  const std::string file = dir.write("many.dmf", text);
  MEMORY_GUARD memory;
  MSG_CAPTURE capture;
  const std::size_t before = MEM_MANAGER::get_counters().m_total_objects;
  DTM_LINE_NODE* head = DTM_FACTORY().parse_file(file.c_str());
  const std::size_t allocations = MEM_MANAGER::get_counters().m_total_objects - before;
  EXPECT_LT(allocations, expected.size() / 20);
  EXPECT_EQ(views_of_list(head), expected);
  EXPECT_EQ(capture.get_count(), 0u);
  DTM_LINE_NODE::delete_list(head);
}

TEST(DtmGenParseLine, LongestLineOfWordsKeepsEveryWord) {
  // 149 one-letter words: the most a 298-character line can hold.
  MEMORY_GUARD memory;
  MSG_CAPTURE capture;
  std::string text = "5 ||";
  WORD_LIST parents;
  while (text.size() + 2 <= 298) {
    text += " P";
    parents.push_back("P");
  }
  ASSERT_EQ(text.size(), 298u);
  DTM_LINE_NODE* node = parse(nullptr, text);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(view_of(*node).m_parents, parents);
  EXPECT_EQ(capture.get_count(), 0u);
  DTM_LINE_NODE::delete_list(node);
}

}  // namespace
