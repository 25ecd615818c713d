// The walk over a whole line list: map types, delay-storage descriptors,
// delays, dispatch to the rule of each delay type, identifiers, delay groups,
// and the running verdict.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "dtm_check_lines.h"
#include "dtm_gen.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

std::string too_many(int n) {
  return line_text("Bad DMF file: One DMF line has too many map types (line ", n);
}
std::string invalid_map(int n) {
  return line_text("Bad DMF file: One DMF line contains invalid map types (line ", n);
}
std::string no_descriptors(int n) {
  return line_text("Bad DMF file: One DMF line does not contains delay-storage descriptors (line ",
                   n);
}
std::string no_delays(int n) {
  return line_text("Bad DMF file: DMF line should contain at least one delay descriptor (line ", n);
}
std::string no_type(int n) {
  return line_text("Bad DMF file: One DMF line has no delay-type specified (line ", n);
}
std::string conflict(int n) {
  return line_text("Bad DMF file: Conflicting delay information found.  (line ", n,
                   ")  Need to use bin/version differentiation");
}
std::string same_ids(int other, int self) {
  return line_text("Bad DMF file: Two DMF lines have the same identifiers (lines ", other,
                   ", " + std::to_string(self) + ")");
}
std::string illegal_id(int n) {
  return line_text("Bad DMF file: One DMF line has an illegal identifier (line ", n);
}

const std::string k_good = "5 || DTM_MAP_DEVICE || DTM_MICRO TCO_DELAY";
const std::string k_map = "DTM_MAP_DEVICE ";

std::string repeat(const std::string& word, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) {
    text += word;
  }
  return text;
}

struct WALK_CASE {
  std::string m_label;
  std::vector<std::string> m_lines;  // numbered 1, 2, ...
  bool m_legal;
  std::vector<std::string> m_texts;
};

std::vector<WALK_CASE> walk_cases() {
  return {
      {"a good line", {k_good}, true, {}},
      {"10 map types", {"5 || " + repeat(k_map, 10) + "|| DTM_MICRO TCO_DELAY"}, true, {}},
      // Too many map types: reported, then each map type still sets the verdict.
      {"11 known map types",
       {"5 || " + repeat(k_map, 11) + "|| DTM_MICRO TCO_DELAY"},
       true,
       {too_many(1)}},
      {"11 map types, the last unknown",
       {"5 || " + repeat(k_map, 10) + "NOPE || DTM_MICRO TCO_DELAY"},
       false,
       {too_many(1), invalid_map(1)}},
      {"unknown map types, one message each, the last one known",
       {"5 || NOPE DTM_MAP_DEVICE dtm_map_device DTM_MAP_LUT || DTM_MICRO TCO_DELAY"},
       true,
       {invalid_map(1), invalid_map(1)}},
      {"unknown last map type",
       {"5 || DTM_MAP_DEVICE NOPE || DTM_MICRO TCO_DELAY"},
       false,
       {invalid_map(1)}},
      {"delay types as map types: one message for all",
       {"5 || DTM_P2P DTM_TABLE DTM_FLOAT_TABLE DTM_MICRO DTM_RC DTM_RE || DTM_MICRO TCO_DELAY",
        "5 || DTM_RE_TABLE DTM_FF DTM_OUTPUT_PORT_RE DTM_RE_INPUT_PORT || DTM_MICRO TCO_DELAY",
        "5 || DTM_GENERAL_PARAM DTM_INTEGER DTM_NODE_MAX_ENUM || DTM_MICRO TCO_DELAY",
        "5 || DTM_MAP_DEVICE DTM_NODE_MAX_ENUM DTM_MAP_LUT || DTM_MICRO TCO_DELAY"},
       false,
       {invalid_map(1), invalid_map(2), invalid_map(3), invalid_map(4)}},
      {"unknown and delay-type map types",
       {"5 || NOPE DTM_RC || DTM_MICRO TCO_DELAY"},
       false,
       {invalid_map(1), invalid_map(1)}},
      {"57 to 59 and the other non-delay node types are map types",
       {"5 || DTM_MAP_RC_NETWORK DTM_MAP_RC_SEGMENT DTM_MAP_RC_LOAD || DTM_RC DFF TCO_DELAY",
        "5 || DTM_ROOT DTM_P2P_IN_BURIED DTM_P2P_IN_OUT DTM_P2P_BURIED_OUT DTM_P2P_BURIED_BURIED "
        "|| DTM_MICRO TCO_DELAY"},
       true,
       {}},
      {"a line without map types", {"5 || || DTM_MICRO TCO_DELAY"}, true, {}},
      {"no delay-storage descriptors", {"5 || DTM_MAP_DEVICE"}, false, {no_descriptors(1)}},
      {"no delay-storage descriptors after the parents' bar",
       {"5 || DTM_MAP_DEVICE ||"},
       false,
       {no_descriptors(1)}},
      {"description lines pass steps 6 to 8",
       {"\"Fast corner\"", "\"Slow\" DTM_MAP_DEVICE", "\"Rc\" DTM_MAP_DEVICE || DTM_RC",
        "\"x\" || DTM_NODE_MAX_ENUM"},
       true,
       {}},
      {"description lines check their map types",
       {"\"Fast\" NOPE DTM_MICRO || DTM_RC"},
       false,
       {invalid_map(1), invalid_map(1)}},
      // Delay types without a rule: reported, the verdict left alone.
      {"138 as delay type", {"5 || DTM_MAP_DEVICE || DTM_NODE_MAX_ENUM"}, true, {no_type(1)}},
      {"unknown delay type", {"5 || DTM_MAP_DEVICE || NOPE TCO_DELAY"}, true, {no_type(1)}},
      {"map types and node-type 0 as delay type",
       {"5 || DTM_MAP_DEVICE || DTM_MAP_RC_NETWORK", "5 || DTM_MAP_DEVICE || DTM_MAP_DEVICE",
        "5 || DTM_MAP_DEVICE || DTM_NODE_NONE", "5 || DTM_MAP_DEVICE || DTM_ROOT"},
       true,
       {no_type(1), no_type(2), no_type(3), no_type(4)}},
      {"no delay type keeps a false verdict",
       {"5 || DTM_MAP_DEVICE NOPE || DTM_NODE_MAX_ENUM"},
       false,
       {invalid_map(1), no_type(1)}},
      // The running verdict.
      {"a bad line, then a good one: the map types set it back",
       {"5 || DTM_MAP_DEVICE", k_good},
       true,
       {no_descriptors(1)}},
      {"a good line, then a bad one", {k_good, "5 || DTM_MAP_DEVICE"}, false, {no_descriptors(2)}},
      {"a bad line, then one without map types",
       {"5 || DTM_MAP_DEVICE", "5 || || DTM_MICRO TCO_DELAY"},
       false,
       {no_descriptors(1)}},
      {"a bad line, then a description without map types",
       {"5 || NOPE || DTM_MICRO TCO_DELAY", "\"text\""},
       false,
       {invalid_map(1)}},
      {"a bad map type, then a description with a map type",
       {"5 || NOPE || DTM_MICRO TCO_DELAY", "\"text\" DTM_MAP_LUT"},
       true,
       {invalid_map(1)}},
      {"a failing rule does not change the verdict",
       {k_good, "5 || DTM_MAP_DEVICE || DTM_RC NOPE"},
       true,
       {line_text("Bad DMF file: One DMF line is an invalid rc-type (line ", 2),
        "check_rc_legality(temp)"}},
      {"descriptors missing, then map types reset within the same line",
       {"5 || DTM_MAP_DEVICE", "5 || DTM_MAP_DEVICE || DTM_NODE_MAX_ENUM"},
       true,
       {no_descriptors(1), no_type(2)}},
  };
}

TEST(DtmGenCheckWalk, MapTypesDescriptorsDelayTypesAndTheRunningVerdict) {
  const DTM_FACTORY factory;
  for (const WALK_CASE& c : walk_cases()) {
    SCOPED_TRACE(c.m_label);
    LINE_LIST lines;
    for (const std::string& text : c.m_lines) {
      lines.add(text);
    }
    ASSERT_EQ(lines.size(), c.m_lines.size());
    MSG_CAPTURE capture;
    EXPECT_EQ(factory.check_legality(lines.head()), c.m_legal);
    EXPECT_EQ(capture.get_texts(), c.m_texts);
  }
}

// Each delay type goes to its own rule; a failing rule is followed by the
// assertion named after it.
TEST(DtmGenCheckWalk, EachDelayTypeGoesToItsRule) {
  struct DISPATCH {
    const char* m_modifiers;
    std::string m_message;  // empty when the rule reports nothing itself
    const char* m_assertion;
  };
  const DISPATCH cases[] = {
      {"DTM_P2P LCELL_DATAA NOPE", "Bad DMF file: Line 1 has an illegal P2P output: NOPE",
       "check_p2p_legality(temp)"},
      {"DTM_TABLE TCO_DELAY",
       line_text("Bad DMF file: One DMF line is an invalid table-type (line ", 1),
       "check_table_legality(temp)"},
      {"DTM_FLOAT_TABLE TCO_DELAY",
       line_text("Bad DMF file: One DMF line is an invalid float_table-type (line ", 1),
       "check_float_table_legality(temp)"},
      {"DTM_MICRO NOPE", line_text("Bad DMF file: One DMF line is an invalid micro-type (line ", 1),
       "check_micro_legality(temp)"},
      {"DTM_RC DFF", line_text("Bad DMF file: One DMF line is an invalid rc-type (line ", 1),
       "check_rc_legality(temp)"},
      {"DTM_RE NOPE", line_text("Bad DMF file: One DMF line is an invalid re-type (line ", 1),
       "check_re_legality(temp)"},
      {"DTM_RE_TABLE DFF NOPE",
       line_text("Bad DMF file: One DMF line is an invalid re_table-type (line ", 1),
       "check_re_table_legality(temp)"},
      {"DTM_FF TCO_DELAY TCO_DELAY",
       line_text("Bad DMF file: One DMF line is an invalid ff-type (line ", 1),
       "check_ff_legality(temp)"},
      {"DTM_OUTPUT_PORT_RE DFF DFF",
       line_text("Bad DMF file: One DMF line is an invalid outputport->re type (line ", 1),
       "check_output_port_re_legality(temp)"},
      {"DTM_RE_INPUT_PORT DFF DFF",
       line_text("Bad DMF file: One DMF line is an invalid re->inputport type (line ", 1),
       "check_re_input_port_legality(temp)"},
      {"DTM_GENERAL_PARAM TCO_DELAY", "", "temp->get_num_modifiers() == 1"},
      {"DTM_INTEGER 1025",
       line_text("Bad DMF file: One DMF line is an invalid integer-type (line ", 1),
       "check_integer_legality(temp)"},
  };
  const DTM_FACTORY factory;
  for (const DISPATCH& c : cases) {
    SCOPED_TRACE(c.m_modifiers);
    LINE_LIST bad{std::string("5 || DTM_MAP_DEVICE || ") + c.m_modifiers};
    MSG_CAPTURE capture;
    EXPECT_TRUE(factory.check_legality(bad.head()));
    std::vector<std::string> expected;
    if (!c.m_message.empty()) {
      expected.push_back(c.m_message);
    }
    expected.push_back(c.m_assertion);
    EXPECT_EQ(capture.get_texts(), expected);
  }
  // The passing forms of the same types report nothing.
  const char* const passing[] = {"DTM_P2P LCELL_DATAA LCELL_COMBOUT",
                                 "DTM_TABLE TCO_DELAY RC_RISE",
                                 "DTM_FLOAT_TABLE TCO_DELAY RC_RISE",
                                 "DTM_MICRO TCO_DELAY",
                                 "DTM_RC DFF TCO_DELAY",
                                 "DTM_RE DFF",
                                 "DTM_RE_TABLE DFF LATCH",
                                 "DTM_FF CLK_SPINE TCO_DELAY",
                                 "DTM_OUTPUT_PORT_RE REG_Q DFF",
                                 "DTM_RE_INPUT_PORT DFF REG_D",
                                 "DTM_GENERAL_PARAM",
                                 "DTM_INTEGER 1024"};
  for (const char* modifiers : passing) {
    SCOPED_TRACE(modifiers);
    LINE_LIST good{std::string("5 || DTM_MAP_DEVICE || ") + modifiers};
    MSG_CAPTURE capture;
    EXPECT_TRUE(factory.check_legality(good.head()));
    EXPECT_EQ(capture.get_count(), 0u);
  }
}

// Shapes the parser never makes, built field by field.
TEST(DtmGenCheckWalk, RecordsWithoutDelaysOrWithOddGroups) {
  const DTM_FACTORY factory;
  {
    LINE_LIST lines;
    DTM_LINE_NODE* record = lines.add_record(4);
    record->add_parent("DTM_MAP_DEVICE");
    record->add_modifier("DTM_MICRO");
    record->add_modifier("TCO_DELAY");
    MSG_CAPTURE capture;
    EXPECT_FALSE(factory.check_legality(lines.head()));
    EXPECT_EQ(capture.get_texts(), std::vector<std::string>{no_delays(4)});
  }
  {
    // A bare record: no parents, no modifiers, no delays.
    LINE_LIST lines;
    lines.add_record(2);
    MSG_CAPTURE capture;
    EXPECT_FALSE(factory.check_legality(lines.head()));
    EXPECT_EQ(capture.get_texts(), (std::vector<std::string>{no_descriptors(2), no_delays(2)}));
  }
  {
    // A description record with delays is still a description.
    LINE_LIST lines;
    DTM_LINE_NODE* record = lines.add_record(6);
    record->set_is_description(true);
    record->add_delay("5", 0);
    record->add_modifier("NOPE");
    MSG_CAPTURE capture;
    EXPECT_TRUE(factory.check_legality(lines.head()));
    EXPECT_EQ(capture.get_count(), 0u);
  }
  {
    // Empty groups, and bin and version lists longer than the delay groups.
    LINE_LIST lines;
    DTM_LINE_NODE* record = lines.add_record(8);
    record->add_delay("5", 2);
    record->add_bin("B", 3);
    record->add_version("V", 4);
    record->add_parent("DTM_MAP_DEVICE");
    record->add_modifier("DTM_MICRO");
    record->add_modifier("TCO_DELAY");
    MSG_CAPTURE capture;
    EXPECT_TRUE(factory.check_legality(lines.head()));
    // Groups 0, 1, 2 have no bins and no versions: all three pairs conflict.
    EXPECT_EQ(capture.get_texts(),
              (std::vector<std::string>{conflict(8), conflict(8), conflict(8)}));
  }
}

TEST(DtmGenCheckWalk, ABadStartIsAnAssertionAndNothingIsChecked) {
  const DTM_FACTORY factory;
  const char* const assertion = "(begin != 0) && (begin->get_prev() == 0)";
  {
    MSG_CAPTURE capture;
    EXPECT_FALSE(factory.check_legality(nullptr));
    EXPECT_EQ(capture.get_texts(), std::vector<std::string>{assertion});
  }
  LINE_LIST lines{"5 || NOPE || DTM_MICRO TCO_DELAY", "5 || NOPE || DTM_MICRO TCO_DELAY"};
  MSG_CAPTURE capture;
  EXPECT_FALSE(factory.check_legality(lines.at(1)));
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{assertion});
}

// Per line: identifier, delay groups, map types, descriptors, delays, rule.
TEST(DtmGenCheckWalk, FindingsComeInWalkOrder) {
  const DTM_FACTORY factory;
  LINE_LIST lines;
  lines.add("7A :: 5 ;; 6 || NOPE DTM_RC || DTM_RC NOPE", 3);
  lines.add("\"d\" NOPE", 4);
  lines.add("7A :: bin X || 5 ;; bin Y || 6 || DTM_MAP_DEVICE || DTM_NODE_MAX_ENUM", 5);
  MSG_CAPTURE capture;
  // The last line's map type sets the verdict back to true.
  EXPECT_TRUE(factory.check_legality(lines.head()));
  const std::vector<std::string> expected = {
      same_ids(5, 3),
      illegal_id(5),
      "check_exp_legality(temp)",
      conflict(3),
      invalid_map(3),
      invalid_map(3),
      line_text("Bad DMF file: One DMF line is an invalid rc-type (line ", 3),
      "check_rc_legality(temp)",
      invalid_map(4),
      same_ids(3, 5),
      illegal_id(3),
      "check_exp_legality(temp)",
      no_type(5),
  };
  EXPECT_EQ(capture.get_texts(), expected);
  for (const MSG_REPORT& report : capture.get_reports()) {
    EXPECT_EQ(report.m_module, "DTM");
    EXPECT_EQ(report.m_source, "dtm_gen");
  }
}

TEST(DtmGenCheckWalk, TheWalkChangesNoLineAndFreesItsIndex) {
  const DTM_FACTORY factory;
  LINE_LIST lines{"A :: 5 || NOPE || DTM_RC", "A :: bin 1 || 5 ;; bin 1 || 6 || DTM_MAP_DEVICE ||",
                  "\"d\" DTM_MAP_DEVICE || DTM_MICRO", "B :: 5 || NOPE || DTM_MICRO X"};
  std::ostringstream before;
  for (const DTM_LINE_NODE* line = lines.head(); line != nullptr; line = line->get_next()) {
    line->dump_node(before);
  }
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  {
    MSG_CAPTURE capture;
    EXPECT_FALSE(factory.check_legality(lines.head()));
    EXPECT_GT(capture.get_count(), 5u);
  }
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, start.m_live_bytes);
  std::ostringstream after;
  for (const DTM_LINE_NODE* line = lines.head(); line != nullptr; line = line->get_next()) {
    line->dump_node(after);
  }
  EXPECT_EQ(after.str(), before.str());
}

// ---- Delay groups ---------------------------------------------------------------------

struct GROUP_CASE {
  const char* m_groups;  // the delay part of the line, before the parents' "||"
  int m_conflicts;
};

const GROUP_CASE k_group_cases[] = {
    {"5", 0},
    {"5 ;; 6", 1},
    {"5 ;; 6 ;; 7", 3},
    {"bin A || 5 ;; bin B || 6", 0},
    {"bin A || 5 ;; bin A || 6", 1},
    // An absent list on the later side counts as empty.
    {"bin A || 5 ;; 6", 0},
    {"5 ;; bin A || 6", 0},
    {"scaler 2 || 5 ;; offset 3 || 6", 1},
    {"bin A B || 5 ;; bin A || 6", 0},
    {"bin A B || 5 ;; bin A C || 6", 0},
    {"bin A B || 5 ;; bin B A || 6", 0},
    {"bin A B || 5 ;; bin A B || 6", 1},
    {"bin a || 5 ;; bin A || 6", 0},
    {"bin A || version V || 5 ;; bin A || version W || 6", 0},
    {"bin A || version V || 5 ;; bin A || version V || 6", 1},
    {"version V || 5 ;; 6", 0},
    {"5 ;; version V || 6", 0},
    {"version V || 5 ;; version V || 6", 1},
    // Group i is compared up to its first differing group only.
    {"bin A || 5 ;; bin B || 6 ;; bin A || 7", 0},
    {"bin A || 5 ;; bin A || 6 ;; bin A || 7", 3},
    {"bin A || 5 ;; bin A || 6 ;; bin B || 7 ;; bin A || 8", 1},
    {"bin A || 5 ;; bin B || 6 ;; bin B || 7 ;; bin A || 8", 1},
    {"5 ;; bin B || 6 ;; 7 ;; 8", 1},
};

TEST(DtmGenCheckWalk, DelayGroupsMustDifferInBinsOrVersions) {
  const DTM_FACTORY factory;
  for (const GROUP_CASE& c : k_group_cases) {
    SCOPED_TRACE(c.m_groups);
    LINE_LIST lines;
    const DTM_LINE_NODE* line =
        lines.add(std::string(c.m_groups) + " || DTM_MAP_DEVICE || DTM_MICRO TCO_DELAY", -7);
    ASSERT_NE(line, nullptr);
    {
      MSG_CAPTURE capture;
      EXPECT_TRUE(factory.check_delay_info_legality(line));
      EXPECT_EQ(capture.get_texts(), std::vector<std::string>(c.m_conflicts, conflict(-7)));
    }
    // The walk reports the same and does not count them in its verdict.
    MSG_CAPTURE capture;
    EXPECT_TRUE(factory.check_legality(lines.head()));
    EXPECT_EQ(capture.get_texts(), std::vector<std::string>(c.m_conflicts, conflict(-7)));
  }
  MSG_CAPTURE capture;
  EXPECT_FALSE(factory.check_delay_info_legality(nullptr));
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"node != 0"});
}

}  // namespace
