#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "dtm_gen.h"
#include "expr_test_support.h"
#include "line_record_view.h"
#include "msg_sys.h"

namespace {

constexpr std::int32_t k_max = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t k_min = std::numeric_limits<std::int32_t>::min();
constexpr double k_inf = std::numeric_limits<double>::infinity();
constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();

using REPORTS = std::vector<std::string>;

void expect_same_double(double expected, double actual, const std::string& context) {
  if (std::isnan(expected)) {
    EXPECT_TRUE(std::isnan(actual)) << context << ": got " << actual;
  } else {
    EXPECT_DOUBLE_EQ(expected, actual) << context;
  }
}

// One delay field, evaluated from position 0 by extract_long and by
// extract_float on the line "T1 :: <field> || P || M" (line 12).
struct VALUE_CASE {
  const char* m_field;
  std::int32_t m_long;
  double m_float;
  DTM_SHORT m_position;                                   // written back by both
  REPORTS m_reports;                                      // of each evaluation
  std::optional<REPORTS> m_float_reports = std::nullopt;  // when they differ
};

const std::vector<VALUE_CASE>& value_cases() {
  static const std::vector<VALUE_CASE> cases = {
      // Numbers.
      {"5", 5, 5.0, 1, {}},
      {"+12", 12, 12.0, 1, {}},
      {"-40", -40, -40.0, 1, {}},
      {"12abc", 12, 12.0, 1, {}},
      {"abc", 0, 0.0, 1, {}},
      {"1e3", 1, 1000.0, 1, {}},
      {"2.75", 2, 2.75, 1, {}},
      // Arithmetic, one bracket per operation.
      {"( 2 + 3 )", 5, 5.0, 5, {}},
      {"( ( 2 * 3 ) - 1 )", 5, 5.0, 9, {}},
      {"( 2 - 5 )", -3, -3.0, 5, {}},
      {"( 1 - ( 2 - 3 ) )", 2, 2.0, 9, {}},
      {"( 7 / 2 )", 3, 3.5, 5, {}},
      {"( -7 / 2 )", -3, -3.5, 5, {}},
      {"( 7 / -2 )", -3, -3.5, 5, {}},
      {"( 0.5 + 0.25 )", 0, 0.75, 5, {}},
      {"( 1.9 * 2 )", 2, 3.8, 5, {}},
      // Conditionals.
      {"( if ( 1 < 2 ) then 10 else 20 )", 10, 10.0, 12, {}},
      {"( if ( 2 <= 1 ) then 10 else 20 )", 20, 20.0, 12, {}},
      {"( if ( 1 != 2 ) then 10 else 20 )", 20, 20.0, 12, {k_illegal_if}},
      {"( if ( ( 1 + 1 ) == 2 ) then ( if ( 3 > 4 ) then 1 else 2 ) else 3 )", 2, 2.0, 27, {}},
      {"( if ( 1 >= 2 ) then 1 else ( if ( 2 >= 2 ) then 4 else 5 ) )", 4, 4.0, 23, {}},
      {"( ( if ( 1 > 0 ) then 6 else 0 ) * ( if ( 0 > 1 ) then 0 else 7 ) )", 42, 42.0, 27, {}},
      // The condition compares integers in an integer field, doubles in a float one.
      {"( if ( 0.25 < 0.5 ) then 1 else 2 )", 2, 1.0, 12, {}},
      // Both branches are evaluated whatever the condition says.
      {"( if ( 1 < 2 ) then 1 else ( 1 / 0 ) )", 1, 1.0, 16, {k_divide_by_zero}},
      // 32-bit wrap-around of integers; doubles are exact.
      {"( 2147483647 + 1 )", k_min, 2147483648.0, 5, {}},
      {"( -2147483648 - 1 )", k_max, -2147483649.0, 5, {}},
      {"( 65536 * 65536 )", 0, 4294967296.0, 5, {}},
      {"( 65537 * 65537 )", 131073, 4295098369.0, 5, {}},
      {"( -2147483648 / -1 )", k_min, 2147483648.0, 5, {}},
      {"-2147483648", k_min, -2147483648.0, 1, {}},
      {"4294967301", 5, 4294967301.0, 1, {}},
      {"100000000000000000000005", -159383547, 1e23, 1, {}},
      {"-100000000000000000000005", 159383547, -1e23, 1, {}},
      // Division by zero is reported and carried out.
      {"( 5 / 0 )", k_max, k_inf, 5, {k_divide_by_zero}},
      {"( -5 / 0 )", k_min, -k_inf, 5, {k_divide_by_zero}},
      {"( 0 / 0 )", DTM_ILLEGAL_DELAY, k_nan, 5, {k_divide_by_zero}},
      {"( 0.5 / 0 )", DTM_ILLEGAL_DELAY, k_inf, 5, {k_divide_by_zero}},
      {"( 1 / 0.5 )", k_max, 2.0, 5, {k_divide_by_zero}, REPORTS{}},
      // Identifiers: the line's own one is a cycle; any other word is no number.
      {"T1", 0, 0.0, 1, {k_cycle}},
      {"( T1 + 1 )", 1, 1.0, 5, {k_cycle}},
      {"T2", 0, 0.0, 1, {}},
      {"t1", 0, 0.0, 1, {}},
      // Tokens after a complete field are left to the caller.
      {"( 1 + 2 ) 7", 3, 3.0, 5, {}},
      {"( if ( 1 < 2 ) then 10 else 20 ) 99", 10, 10.0, 12, {}},
      // Malformed fields: every message in its order, evaluation going on.
      {"( 1 ^ 2 )", DTM_ILLEGAL_DELAY, DTM_ILLEGAL_FLOAT, 5, {k_illegal}},
      {"( 2 3 )", DTM_ILLEGAL_DELAY, DTM_ILLEGAL_FLOAT, 4, {k_token_check, k_illegal, k_illegal}},
      {"( 2 + 3", 5, 5.0, 4, {k_token_check, k_illegal}},
      {"( 2 + )", 2, 2.0, 4, {k_token_check, k_illegal}},
      {"( 2 + 3 ]", 5, 5.0, 5, {k_illegal}},
      {"(",
       DTM_ILLEGAL_DELAY,
       DTM_ILLEGAL_FLOAT,
       1,
       {k_token_check, k_illegal, k_token_check, k_token_check, k_illegal, k_token_check,
        k_token_check, k_illegal, k_illegal}},
      {"( if ( 1 < 2 ) 10 else 20 )",
       0,
       0.0,
       11,
       {k_illegal_if, k_illegal_if, k_token_check, k_illegal}},
      {"( if ( 1 < 2 ) then 10 20 )", 10, 10.0, 11, {k_illegal_if, k_token_check, k_illegal}},
      {"( if ( 1 < 2 ) then 10 else 20", 10, 10.0, 11, {k_token_check, k_illegal}},
      {"( if 1 then 10 else 20 )",
       DTM_ILLEGAL_DELAY,
       DTM_ILLEGAL_FLOAT,
       8,
       {k_illegal_if, k_illegal, k_illegal_if, k_illegal_if, k_illegal, k_token_check,
        k_token_check, k_illegal_if, k_illegal, k_token_check, k_token_check, k_illegal}},
      {"( if ( 1 < 2 ) then ( 3 % 4 ) else 5 )",
       DTM_ILLEGAL_DELAY,
       DTM_ILLEGAL_FLOAT,
       16,
       {k_illegal}},
  };
  return cases;
}

TEST(DtmGenExpr, FieldsEvaluateToTheirValueMessagesAndPosition) {
  for (const VALUE_CASE& c : value_cases()) {
    SCOPED_TRACE(c.m_field);
    MEMORY_GUARD memory;
    LINE line = parse_line(std::string("T1 :: ") + c.m_field + " || P || M");
    ASSERT_NE(line, nullptr);
    const DTM_FACTORY factory;
    {
      MSG_CAPTURE capture;
      DTM_SHORT position = 0;
      EXPECT_EQ(factory.extract_long(line.get(), &position, 0), c.m_long);
      EXPECT_EQ(position, c.m_position) << "extract_long";
      EXPECT_EQ(capture.get_texts(), c.m_reports) << "extract_long";
    }
    {
      MSG_CAPTURE capture;
      DTM_SHORT position = 0;
      expect_same_double(c.m_float, factory.extract_float(line.get(), &position, 0),
                         "extract_float");
      EXPECT_EQ(position, c.m_position) << "extract_float";
      EXPECT_EQ(capture.get_texts(), c.m_float_reports.value_or(c.m_reports)) << "extract_float";
    }
  }
}

// One condition, evaluated from position 0 by extract_bool.
struct CONDITION_CASE {
  const char* m_field;
  bool m_integer_operands;
  bool m_holds;
  DTM_SHORT m_position;
  REPORTS m_reports;
};

TEST(DtmGenExpr, ConditionsCompareIntegersOrDoubles) {
  const std::vector<CONDITION_CASE> cases = {
      {"( 1 < 2 )", true, true, 5, {}},
      {"( 2 < 2 )", true, false, 5, {}},
      {"( 2 <= 2 )", true, true, 5, {}},
      {"( 3 <= 2 )", true, false, 5, {}},
      {"( 2 == 2 )", true, true, 5, {}},
      {"( 2 == 3 )", true, false, 5, {}},
      {"( 3 >= 3 )", true, true, 5, {}},
      {"( 2 >= 3 )", true, false, 5, {}},
      {"( 3 > 2 )", true, true, 5, {}},
      {"( 3 > 3 )", true, false, 5, {}},
      {"( ( 1 + 1 ) == 2 )", true, true, 9, {}},
      {"( ( 7 / 2 ) == 3 )", true, true, 9, {}},
      {"( ( 7 / 2 ) == 3 )", false, false, 9, {}},
      {"( 0.25 < 0.5 )", true, false, 5, {}},
      {"( 0.25 < 0.5 )", false, true, 5, {}},
      {"( 0.5 == 0.7 )", true, true, 5, {}},
      {"( 0.5 == 0.7 )", false, false, 5, {}},
      {"( ( 0 / 0 ) == ( 0 / 0 ) )", false, false, 13, {k_divide_by_zero, k_divide_by_zero}},
      {"( 1 != 2 )", true, false, 5, {k_illegal_if}},
      {"( 1 =< 2 )", false, false, 5, {k_illegal_if}},
      {"( 1 < 2", true, true, 4, {k_token_check, k_illegal}},
      {"[ 1 < 2 )", true, true, 5, {k_illegal_if}},
      {"1",
       true,
       false,
       1,
       {k_illegal_if, k_illegal, k_token_check, k_token_check, k_illegal, k_token_check,
        k_token_check, k_illegal, k_illegal_if}},
  };
  const DTM_FACTORY factory;
  for (const CONDITION_CASE& c : cases) {
    SCOPED_TRACE(std::string(c.m_field) + (c.m_integer_operands ? " (integers)" : " (doubles)"));
    MEMORY_GUARD memory;
    LINE line = parse_line(std::string(c.m_field) + " || P");
    MSG_CAPTURE capture;
    DTM_SHORT position = 0;
    EXPECT_EQ(factory.extract_bool(line.get(), &position, c.m_integer_operands, 0), c.m_holds);
    EXPECT_EQ(position, c.m_position);
    EXPECT_EQ(capture.get_texts(), c.m_reports);
  }
}

TEST(DtmGenExpr, PositionIsReadAtEntryAndWrittenBack) {
  MEMORY_GUARD memory;
  const DTM_FACTORY factory;
  LINE line = parse_line("1 ( 2 * 3 ) 4 || P");
  MSG_CAPTURE capture;
  DTM_SHORT position = 0;
  EXPECT_EQ(factory.extract_long(line.get(), &position, 0), 1);
  EXPECT_EQ(position, 1);
  EXPECT_EQ(factory.extract_long(line.get(), &position, 0), 6);
  EXPECT_EQ(position, 6);
  EXPECT_DOUBLE_EQ(factory.extract_float(line.get(), &position, 0), 4.0);
  EXPECT_EQ(position, 7);
  EXPECT_EQ(capture.get_count(), 0u);

  // Past the end: the field ended too early, and the read is refused.
  EXPECT_EQ(factory.extract_long(line.get(), &position, 0), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(position, 7);
  EXPECT_EQ(capture.get_texts(), (REPORTS{k_illegal, k_token_check}));

  // A negative position is no token.
  capture.clear();
  position = -1;
  EXPECT_DOUBLE_EQ(factory.extract_float(line.get(), &position, 0), DTM_ILLEGAL_FLOAT);
  EXPECT_EQ(position, -1);
  EXPECT_EQ(capture.get_texts(), REPORTS{k_token_check});
}

TEST(DtmGenExpr, GroupIndexMustNameAGroup) {
  MEMORY_GUARD memory;
  const DTM_FACTORY factory;
  LINE line = parse_line("5 ;; ( 3 + 4 ) || P");
  struct INDEX_CASE {
    DTM_SHORT m_vec_index;
    std::int32_t m_value;
    DTM_SHORT m_position;
    REPORTS m_reports;
  };
  const std::vector<INDEX_CASE> cases = {
      {0, 5, 1, {}},
      {1, 7, 5, {}},
      {2, DTM_ILLEGAL_DELAY, 0, {out_of_range(2, 2), k_group_check}},
      {3, DTM_ILLEGAL_DELAY, 0, {out_of_range(3, 2), k_group_check}},
      {-1, DTM_ILLEGAL_DELAY, 0, {k_group_check}},
  };
  for (const INDEX_CASE& c : cases) {
    SCOPED_TRACE(c.m_vec_index);
    const double float_value = c.m_value == DTM_ILLEGAL_DELAY ? DTM_ILLEGAL_FLOAT : c.m_value;
    {
      MSG_CAPTURE capture;
      DTM_SHORT position = 0;
      EXPECT_EQ(factory.extract_long(line.get(), &position, c.m_vec_index), c.m_value);
      EXPECT_EQ(position, c.m_position);
      EXPECT_EQ(capture.get_texts(), c.m_reports);
    }
    {
      MSG_CAPTURE capture;
      DTM_SHORT position = 0;
      EXPECT_DOUBLE_EQ(factory.extract_float(line.get(), &position, c.m_vec_index), float_value);
      EXPECT_EQ(position, c.m_position);
      EXPECT_EQ(capture.get_texts(), c.m_reports);
    }
  }
  // extract_bool checks the group the same way.
  MSG_CAPTURE capture;
  DTM_SHORT position = 0;
  EXPECT_FALSE(factory.extract_bool(line.get(), &position, true, 2));
  EXPECT_EQ(position, 0);
  EXPECT_EQ(capture.get_texts(), (REPORTS{out_of_range(2, 2), k_group_check}));
}

TEST(DtmGenExpr, EmptyGroupEndsAtOnce) {
  MEMORY_GUARD memory;
  LINE line = line_of_tokens({"9"}, 1);  // group 0 exists but is empty
  MSG_CAPTURE capture;
  DTM_SHORT position = 0;
  EXPECT_EQ(DTM_FACTORY().extract_long(line.get(), &position, 0), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(position, 0);
  EXPECT_EQ(capture.get_texts(), (REPORTS{k_illegal, k_token_check}));
}

TEST(DtmGenExpr, NullArgumentsAreAssertions) {
  MEMORY_GUARD memory;
  const DTM_FACTORY factory;
  LINE line = parse_line("5 || P");
  MSG_CAPTURE capture;
  DTM_SHORT position = 0;
  EXPECT_EQ(factory.extract_long(nullptr, &position, 0), DTM_ILLEGAL_DELAY);
  EXPECT_DOUBLE_EQ(factory.extract_float(nullptr, &position, 0), DTM_ILLEGAL_FLOAT);
  EXPECT_FALSE(factory.extract_bool(nullptr, &position, true, 0));
  EXPECT_EQ(position, 0);
  EXPECT_EQ(capture.get_texts(), (REPORTS{"node != 0", "node != 0", "node != 0"}));
  capture.clear();
  EXPECT_EQ(factory.extract_long(line.get(), nullptr, 0), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(capture.get_texts(), REPORTS{"position != 0"});
}

TEST(DtmGenExpr, MarkedLineIsACycleAtEveryValue) {
  MEMORY_GUARD memory;
  const DTM_FACTORY factory;
  LINE line = parse_line("( 2 + 3 ) ;; ( 1 < 2 ) || P");
  line->set_marked(true);
  {
    MSG_CAPTURE capture;
    DTM_SHORT position = 0;
    EXPECT_EQ(factory.extract_long(line.get(), &position, 0), 5);
    EXPECT_EQ(capture.count_text(k_cycle), 3u);  // the bracket and both operands
    EXPECT_EQ(capture.get_count(), 3u);
  }
  {
    // A condition makes no cycle test of its own; its operands do.
    MSG_CAPTURE capture;
    DTM_SHORT position = 0;
    EXPECT_TRUE(factory.extract_bool(line.get(), &position, true, 1));
    EXPECT_EQ(capture.get_texts(), (REPORTS{k_cycle, k_cycle}));
  }
  EXPECT_TRUE(line->get_marked()) << "the evaluator only reads the flag";
  line->set_marked(false);
  MSG_CAPTURE capture;
  DTM_SHORT position = 0;
  EXPECT_EQ(factory.extract_long(line.get(), &position, 0), 5);
  EXPECT_EQ(capture.get_count(), 0u);
}

TEST(DtmGenExpr, OwnIdentifierIsACycleWhereverItStands) {
  MEMORY_GUARD memory;
  LINE line = parse_line("SELF :: ( if ( SELF < 1 ) then SELF else 2 ) || P");
  MSG_CAPTURE capture;
  DTM_SHORT position = 0;
  EXPECT_EQ(DTM_FACTORY().extract_long(line.get(), &position, 0), 0);
  EXPECT_EQ(capture.get_texts(), (REPORTS{k_cycle, k_cycle}));
}

TEST(DtmGenExpr, LineWithoutIdentifierHasNoCycle) {
  MEMORY_GUARD memory;
  LINE line = line_of_tokens({""});  // an empty word equals the empty identifier
  MSG_CAPTURE capture;
  DTM_SHORT position = 0;
  EXPECT_EQ(DTM_FACTORY().extract_long(line.get(), &position, 0), 0);
  EXPECT_EQ(position, 1);
  EXPECT_EQ(capture.get_count(), 0u);
}

TEST(DtmGenExpr, MessagesNameTheLineNumber) {
  MEMORY_GUARD memory;
  LINE line = line_of_tokens({"(", "1", "^", "2", ")"});
  line->set_line_number(-3);  // line numbers are 16-bit and wrap in long files
  MSG_CAPTURE capture;
  DTM_SHORT position = 0;
  DTM_FACTORY().extract_long(line.get(), &position, 0);
  EXPECT_EQ(capture.get_texts(), REPORTS{"Bad DMF file: Line -3 has an illegal expression"});
  EXPECT_EQ(capture.get_reports().at(0).m_source, "dtm_gen");
  EXPECT_EQ(capture.get_reports().at(0).m_module, "DTM");
}

// ( ( ... ( 1 + 1 ) + 1 ... ) + 1 ) with `levels` brackets: the value is
// levels + 1 and the deepest value sits at depth levels + 1.
std::vector<std::string> nested_sum(int levels) {
  std::vector<std::string> tokens(static_cast<std::size_t>(levels), "(");
  tokens.emplace_back("1");
  for (int i = 0; i < levels; ++i) {
    tokens.insert(tokens.end(), {"+", "1", ")"});
  }
  return tokens;
}

TEST(DtmGenExpr, NestingUpToTheLimitEvaluates) {
  MEMORY_GUARD memory;
  const int levels = DTM_FACTORY::DTM_MAX_EXPRESSION_DEPTH - 1;
  LINE line = line_of_tokens(nested_sum(levels));
  MSG_CAPTURE capture;
  DTM_SHORT position = 0;
  EXPECT_EQ(DTM_FACTORY().extract_long(line.get(), &position, 0), levels + 1);
  EXPECT_EQ(position, 4 * levels + 1);
  EXPECT_EQ(capture.get_count(), 0u);
}

TEST(DtmGenExpr, NestingBeyondTheLimitIsReportedOnce) {
  struct DEEP_CASE {
    const char* m_name;
    std::vector<std::string> m_tokens;
  };
  const std::vector<DEEP_CASE> cases = {
      {"one level too deep", nested_sum(DTM_FACTORY::DTM_MAX_EXPRESSION_DEPTH)},
      {"a group of nothing but brackets", std::vector<std::string>(32767, "(")},
      {"conditions nested in conditions",
       [] {
         std::vector<std::string> tokens{"("};
         for (int i = 0; i < 200; ++i) {
           tokens.insert(tokens.end(), {"(", "if", "("});
         }
         return tokens;
       }()},
  };
  const DTM_FACTORY factory;
  for (const DEEP_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    MEMORY_GUARD memory;
    LINE line = line_of_tokens(c.m_tokens);
    const auto end = static_cast<DTM_SHORT>(c.m_tokens.size());
    {
      MSG_CAPTURE capture;
      DTM_SHORT position = 0;
      EXPECT_EQ(factory.extract_long(line.get(), &position, 0), DTM_ILLEGAL_DELAY);
      EXPECT_EQ(position, end);
      EXPECT_EQ(capture.get_texts(), REPORTS{k_illegal});
    }
    {
      MSG_CAPTURE capture;
      DTM_SHORT position = 0;
      EXPECT_DOUBLE_EQ(factory.extract_float(line.get(), &position, 0), DTM_ILLEGAL_FLOAT);
      EXPECT_EQ(position, end);
      EXPECT_EQ(capture.get_texts(), REPORTS{k_illegal});
    }
    {
      MSG_CAPTURE capture;
      DTM_SHORT position = 0;
      EXPECT_FALSE(factory.extract_bool(line.get(), &position, false, 0));
      EXPECT_EQ(position, end);
      EXPECT_EQ(capture.get_texts(), REPORTS{k_illegal});
    }
  }
}

TEST(DtmGenExpr, LongestFileLineNeverReachesTheLimit) {
  // A 298-character line of one-character words holds at most 149 of them.
  MEMORY_GUARD memory;
  std::string text;
  while (text.size() + 2 <= DTM_FACTORY::DTM_MAX_LINE_LENGTH - 5) {
    text += "( ";
  }
  text += "1 || P";
  ASSERT_LE(text.size(), DTM_FACTORY::DTM_MAX_LINE_LENGTH);
  LINE line = parse_line(text);
  const DTM_SHORT tokens = line->get_num_delays(0);
  ASSERT_LT(tokens, DTM_FACTORY::DTM_MAX_EXPRESSION_DEPTH);
  MSG_CAPTURE capture;
  DTM_SHORT position = 0;
  DTM_FACTORY().extract_long(line.get(), &position, 0);
  // Evaluated all the way down (every level reports), not abandoned at once.
  EXPECT_GT(capture.count_text(k_illegal), static_cast<std::size_t>(tokens));
  EXPECT_EQ(position, tokens);
}

}  // namespace
