// The rule of each delay type for a line's modifiers, called directly.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "dtm_check_lines.h"
#include "dtm_gen.h"
#include "msg_sys.h"

namespace {

using RULE = bool (DTM_FACTORY::*)(const DTM_LINE_NODE*) const;

struct RULE_INFO {
  const char* m_name;
  RULE m_rule;
  const char* m_message;  // text before the line number
};

const RULE_INFO k_rc = {"rc", &DTM_FACTORY::check_rc_legality,
                        "Bad DMF file: One DMF line is an invalid rc-type (line "};
const RULE_INFO k_re = {"re", &DTM_FACTORY::check_re_legality,
                        "Bad DMF file: One DMF line is an invalid re-type (line "};
const RULE_INFO k_table = {"table", &DTM_FACTORY::check_table_legality,
                           "Bad DMF file: One DMF line is an invalid table-type (line "};
const RULE_INFO k_float_table = {
    "float_table", &DTM_FACTORY::check_float_table_legality,
    "Bad DMF file: One DMF line is an invalid float_table-type (line "};
const RULE_INFO k_integer = {"integer", &DTM_FACTORY::check_integer_legality,
                             "Bad DMF file: One DMF line is an invalid integer-type (line "};
const RULE_INFO k_re_table = {"re_table", &DTM_FACTORY::check_re_table_legality,
                              "Bad DMF file: One DMF line is an invalid re_table-type (line "};
const RULE_INFO k_re_input_port = {
    "re_input_port", &DTM_FACTORY::check_re_input_port_legality,
    "Bad DMF file: One DMF line is an invalid re->inputport type (line "};
const RULE_INFO k_output_port_re = {
    "output_port_re", &DTM_FACTORY::check_output_port_re_legality,
    "Bad DMF file: One DMF line is an invalid outputport->re type (line "};
const RULE_INFO k_ff = {"ff", &DTM_FACTORY::check_ff_legality,
                        "Bad DMF file: One DMF line is an invalid ff-type (line "};
const RULE_INFO k_micro = {"micro", &DTM_FACTORY::check_micro_legality,
                           "Bad DMF file: One DMF line is an invalid micro-type (line "};

struct RULE_CASE {
  const RULE_INFO* m_info;
  const char* m_modifiers;  // the words after the parents' "||"
  bool m_legal;
};

// Modifier 0 is the delay type; the rules never look at it, so a few cases
// use another word there. Names: TCO_DELAY, RC_RISE are descriptors; DFF,
// LATCH register elements (ILLEGAL_TYPE names the illegal one); LCELL_DATAA
// an input port, LCELL_COMBOUT an output port, CLK_SPINE a buried port, REG_D
// an input and a buried port, REG_Q an output and a buried port.
const RULE_CASE k_cases[] = {
    // rc: 3 or 4; 2 descriptor, 1 register element, 3 (with 4) descriptor.
    {&k_rc, "DTM_RC DFF TCO_DELAY", true},
    {&k_rc, "DTM_RC LATCH TCO_DELAY RC_RISE", true},
    {&k_rc, "ANY_TYPE DFF TCO_DELAY", true},
    {&k_rc, "DTM_RC", false},
    {&k_rc, "DTM_RC DFF", false},
    {&k_rc, "DTM_RC DFF TCO_DELAY RC_RISE RC_RISE", false},
    {&k_rc, "DTM_RC DFF NOPE", false},
    {&k_rc, "DTM_RC NOPE TCO_DELAY", false},
    {&k_rc, "DTM_RC NOPE NOPE", false},
    {&k_rc, "DTM_RC ILLEGAL_TYPE TCO_DELAY", false},
    {&k_rc, "DTM_RC DFF DTM_NONE", false},
    {&k_rc, "DTM_RC DFF TCO_DELAY NOPE", false},
    {&k_rc, "DTM_RC TCO_DELAY DFF", false},
    {&k_rc, "DTM_RC dff TCO_DELAY", false},
    // re: exactly 2; 1 register element.
    {&k_re, "DTM_RE DFF", true},
    {&k_re, "DTM_RE LATCH", true},
    {&k_re, "DTM_RE", false},
    {&k_re, "DTM_RE DFF DFF", false},
    {&k_re, "DTM_RE TCO_DELAY", false},
    // table and float table: exactly 3; 1 and 2 descriptors.
    {&k_table, "DTM_TABLE TCO_DELAY RC_RISE", true},
    {&k_table, "DTM_TABLE TCO_DELAY", false},
    {&k_table, "DTM_TABLE TCO_DELAY RC_RISE RC_RISE", false},
    {&k_table, "DTM_TABLE NOPE RC_RISE", false},
    {&k_table, "DTM_TABLE TCO_DELAY NOPE", false},
    {&k_float_table, "DTM_FLOAT_TABLE TCO_DELAY RC_RISE", true},
    {&k_float_table, "DTM_FLOAT_TABLE TCO_DELAY", false},
    {&k_float_table, "DTM_FLOAT_TABLE DFF RC_RISE", false},
    {&k_float_table, "DTM_FLOAT_TABLE TCO_DELAY DFF", false},
    // integer: with 2, 1 is a number of at most 1024 (as unsigned); with 3, 1
    // is a descriptor and 2 the number.
    {&k_integer, "DTM_INTEGER 1024", true},
    {&k_integer, "DTM_INTEGER 0", true},
    {&k_integer, "DTM_INTEGER +7", true},
    {&k_integer, "DTM_INTEGER -0", true},
    {&k_integer, "DTM_INTEGER abc", true},
    {&k_integer, "DTM_INTEGER 12abc", true},
    {&k_integer, "DTM_INTEGER 1025", false},
    {&k_integer, "DTM_INTEGER -5", false},
    {&k_integer, "DTM_INTEGER -1", false},
    {&k_integer, "DTM_INTEGER 4294967296", false},
    {&k_integer, "DTM_INTEGER 99999999999999999999999", false},
    {&k_integer, "DTM_INTEGER TCO_DELAY 1024", true},
    {&k_integer, "DTM_INTEGER TCO_DELAY text", true},
    {&k_integer, "DTM_INTEGER TCO_DELAY 1025", false},
    {&k_integer, "DTM_INTEGER TCO_DELAY -5", false},
    {&k_integer, "DTM_INTEGER NOPE 5", false},
    {&k_integer, "DTM_INTEGER 5 5", false},
    {&k_integer, "DTM_INTEGER", false},
    {&k_integer, "DTM_INTEGER TCO_DELAY 5 5", false},
    // re-table: 3 or 4; 1 and 2 register elements; 3 never checked.
    {&k_re_table, "DTM_RE_TABLE DFF LATCH", true},
    {&k_re_table, "DTM_RE_TABLE DFF LATCH anything at all", false},
    {&k_re_table, "DTM_RE_TABLE DFF LATCH anything", true},
    {&k_re_table, "DTM_RE_TABLE DFF LATCH 12", true},
    {&k_re_table, "DTM_RE_TABLE DFF", false},
    {&k_re_table, "DTM_RE_TABLE NOPE LATCH", false},
    {&k_re_table, "DTM_RE_TABLE DFF NOPE", false},
    {&k_re_table, "DTM_RE_TABLE DFF NOPE anything", false},
    // register element to input port: exactly 3; 1 register element, 2 input port.
    {&k_re_input_port, "DTM_RE_INPUT_PORT DFF LCELL_DATAA", true},
    {&k_re_input_port, "DTM_RE_INPUT_PORT DFF REG_D", true},
    {&k_re_input_port, "DTM_RE_INPUT_PORT DFF CLK_SPINE", false},
    {&k_re_input_port, "DTM_RE_INPUT_PORT LCELL_DATAA DFF", false},
    {&k_re_input_port, "DTM_RE_INPUT_PORT DFF", false},
    {&k_re_input_port, "DTM_RE_INPUT_PORT DFF LCELL_DATAA LCELL_DATAA", false},
    // output port to register element: exactly 3; 1 output port, 2 register element.
    {&k_output_port_re, "DTM_OUTPUT_PORT_RE LCELL_COMBOUT DFF", true},
    {&k_output_port_re, "DTM_OUTPUT_PORT_RE REG_Q LATCH", true},
    {&k_output_port_re, "DTM_OUTPUT_PORT_RE CLK_SPINE DFF", false},
    {&k_output_port_re, "DTM_OUTPUT_PORT_RE LCELL_COMBOUT NOPE", false},
    {&k_output_port_re, "DTM_OUTPUT_PORT_RE LCELL_COMBOUT", false},
    // ff: exactly 3; 1 buried port, 2 descriptor.
    {&k_ff, "DTM_FF CLK_SPINE TCO_DELAY", true},
    {&k_ff, "DTM_FF REG_D TCO_DELAY", true},
    {&k_ff, "DTM_FF LCELL_COMBOUT TCO_DELAY", false},
    {&k_ff, "DTM_FF CLK_SPINE NOPE", false},
    {&k_ff, "DTM_FF CLK_SPINE", false},
    {&k_ff, "DTM_FF CLK_SPINE TCO_DELAY TCO_DELAY", false},
    // micro: exactly 2; 1 descriptor.
    {&k_micro, "DTM_MICRO TCO_DELAY", true},
    {&k_micro, "DTM_MICRO RC_RISE", true},
    {&k_micro, "DTM_MICRO", false},
    {&k_micro, "DTM_MICRO NOPE", false},
    {&k_micro, "DTM_MICRO TCO_DELAY TCO_DELAY", false},
};

TEST(DtmGenCheckRules, CountAndPositionsGiveOneMessageOnTheFirstFailure) {
  const DTM_FACTORY factory;
  for (const RULE_CASE& c : k_cases) {
    SCOPED_TRACE(std::string(c.m_info->m_name) + ": " + c.m_modifiers);
    LINE_LIST lines;
    const DTM_LINE_NODE* line =
        lines.add(std::string("5 || DTM_MAP_DEVICE || ") + c.m_modifiers, 12);
    ASSERT_NE(line, nullptr);
    MSG_CAPTURE capture;
    EXPECT_EQ((factory.*c.m_info->m_rule)(line), c.m_legal);
    const std::vector<std::string> expected =
        c.m_legal ? std::vector<std::string>{}
                  : std::vector<std::string>{line_text(c.m_info->m_message, 12)};
    EXPECT_EQ(capture.get_texts(), expected);
    for (const MSG_REPORT& report : capture.get_reports()) {
      EXPECT_EQ(report.m_module, "DTM");
      EXPECT_EQ(report.m_source, "dtm_gen");
    }
  }
}

TEST(DtmGenCheckRules, EveryRuleRefusesANullLineAndNumbersItsMessageAsASignedValue) {
  const DTM_FACTORY factory;
  const RULE_INFO* const rules[] = {&k_rc,      &k_re,       &k_table,         &k_float_table,
                                    &k_integer, &k_re_table, &k_re_input_port, &k_output_port_re,
                                    &k_ff,      &k_micro};
  for (const RULE_INFO* info : rules) {
    SCOPED_TRACE(info->m_name);
    {
      MSG_CAPTURE capture;
      EXPECT_FALSE((factory.*info->m_rule)(nullptr));
      EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"temp != 0"});
    }
    // No rule accepts a line with the delay type alone; line numbers are
    // signed 16-bit values.
    LINE_LIST lines;
    const DTM_LINE_NODE* line = lines.add("5 || DTM_MAP_DEVICE || DTM_ANY", -32768);
    MSG_CAPTURE capture;
    EXPECT_FALSE((factory.*info->m_rule)(line));
    EXPECT_EQ(capture.get_texts(), std::vector<std::string>{line_text(info->m_message, -32768)});
  }
  MSG_CAPTURE capture;
  EXPECT_FALSE(factory.check_p2p_legality(nullptr));
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"temp != 0"});
}

// ---- Point-to-point lines -------------------------------------------------------

struct P2P_CASE {
  const char* m_modifiers;
  bool m_legal;
  std::vector<std::string> m_texts;  // "#" stands for "Bad DMF file: Line 9"
};

const char* const k_index_check =
    "(index < static_cast<DTM_SHORT>(m_modifiers.size())) && (index >= 0)";

const P2P_CASE k_p2p_cases[] = {
    {"DTM_P2P LCELL_DATAA LCELL_COMBOUT", true, {}},
    {"DTM_P2P REG_D REG_Q", true, {}},
    // Buried ports on either side.
    {"DTM_P2P CLK_SPINE LCELL_COMBOUT", true, {}},
    {"DTM_P2P LCELL_DATAA CLK_SPINE", true, {}},
    {"DTM_P2P CLK_SPINE CLK_SPINE", true, {}},
    // The input is reported but does not count.
    {"DTM_P2P NOPE LCELL_COMBOUT", true, {"# has an illegal P2P input: NOPE"}},
    {"DTM_P2P LCELL_COMBOUT LCELL_COMBOUT", true, {"# has an illegal P2P input: LCELL_COMBOUT"}},
    {"DTM_P2P LCELL_DATAA NOPE", false, {"# has an illegal P2P output: NOPE"}},
    {"DTM_P2P LCELL_DATAA LCELL_DATAA", false, {"# has an illegal P2P output: LCELL_DATAA"}},
    {"DTM_P2P NOPE NOPE",
     false,
     {"# has an illegal P2P input: NOPE", "# has an illegal P2P output: NOPE"}},
    // The index: only INDEX_ALL is illegal, and it overwrites the output's verdict.
    {"DTM_P2P LCELL_DATAA LCELL_COMBOUT INDEX_0", true, {}},
    {"DTM_P2P LCELL_DATAA LCELL_COMBOUT UNKNOWN_INDEX", true, {}},
    {"DTM_P2P LCELL_DATAA LCELL_COMBOUT INDEX_ALL",
     false,
     {"# had an illegal P2P index: INDEX_ALL"}},
    {"DTM_P2P LCELL_DATAA NOPE INDEX_0", true, {"# has an illegal P2P output: NOPE"}},
    {"DTM_P2P LCELL_DATAA NOPE INDEX_ALL",
     false,
     {"# has an illegal P2P output: NOPE", "# had an illegal P2P index: INDEX_ALL"}},
    {"DTM_P2P NOPE NOPE INDEX_ALL",
     false,
     {"# has an illegal P2P input: NOPE", "# has an illegal P2P output: NOPE",
      "# had an illegal P2P index: INDEX_ALL"}},
    // Wrong counts: reported, and the rule goes on.
    {"DTM_P2P LCELL_DATAA LCELL_COMBOUT INDEX_ALL EXTRA",
     true,
     {"# has wrong number of P2P inputs"}},
    {"DTM_P2P LCELL_DATAA NOPE INDEX_ALL EXTRA",
     false,
     {"# has wrong number of P2P inputs", "# has an illegal P2P output: NOPE"}},
    {"DTM_P2P LCELL_DATAA",
     false,
     {"# has wrong number of P2P inputs", k_index_check, "# has an illegal P2P output: "}},
    {"DTM_P2P",
     false,
     {"# has wrong number of P2P inputs", k_index_check,
      "# has an illegal P2P input: ", k_index_check, "# has an illegal P2P output: "}},
};

TEST(DtmGenCheckRules, PointToPointReportsEachFindingAndTakesItsVerdictFromOutputThenIndex) {
  const DTM_FACTORY factory;
  for (const P2P_CASE& c : k_p2p_cases) {
    SCOPED_TRACE(c.m_modifiers);
    LINE_LIST lines;
    const DTM_LINE_NODE* line =
        lines.add(std::string("5 || DTM_MAP_DEVICE || ") + c.m_modifiers, 9);
    ASSERT_NE(line, nullptr);
    MSG_CAPTURE capture;
    EXPECT_EQ(factory.check_p2p_legality(line), c.m_legal);
    std::vector<std::string> expected;
    for (const std::string& text : c.m_texts) {
      expected.push_back(text[0] == '#' ? "Bad DMF file: Line 9" + text.substr(1) : text);
    }
    EXPECT_EQ(capture.get_texts(), expected);
  }
}

TEST(DtmGenCheckRules, RulesLeaveTheLineAsItWas) {
  const DTM_FACTORY factory;
  LINE_LIST lines;
  const DTM_LINE_NODE* line = lines.add("T :: bin B || 5 || DTM_MAP_DEVICE || DTM_RC NOPE NOPE", 3);
  ASSERT_NE(line, nullptr);
  std::ostringstream before;
  line->dump_node(before);
  MSG_CAPTURE capture;
  EXPECT_FALSE(factory.check_rc_legality(line));
  EXPECT_FALSE(factory.check_p2p_legality(line));
  std::ostringstream after;
  line->dump_node(after);
  EXPECT_EQ(after.str(), before.str());
}

}  // namespace
