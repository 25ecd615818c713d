// Test helpers for the delay-expression evaluator and the group choice: line
// records made by the line parser or word by word, freed at scope exit, and
// the exact texts of the evaluator's reports (for line 12).
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "dtm_gen.h"
#include "msg_sys.h"

inline constexpr DTM_SHORT k_expr_line = 12;

inline const std::string k_illegal = "Bad DMF file: Line 12 has an illegal expression";
inline const std::string k_illegal_if =
    "Bad DMF file: Line 12 has an illegal if-then-else expression";
inline const std::string k_cycle =
    "Bad DMF file: Line 12 has an illegal expression.  A cyclical dependency was found.";
inline const std::string k_token_check =
    "(index < static_cast<DTM_SHORT>(m_delays[vec_index].size())) && (index >= 0)";
inline const std::string k_group_check =
    "(vec_index < static_cast<DTM_SHORT>(m_delays.size())) && (vec_index >= 0)";
inline const std::string k_divide_by_zero = "Can't divide by zero";

inline std::string out_of_range(int vec_index, int groups) {
  return "Bad DMF file: Line 12 does not meet version/bin requirements; " +
         std::to_string(vec_index) + " is not in range 0 -> " + std::to_string(groups);
}

struct LINE_LIST_DELETER {
  void operator()(DTM_LINE_NODE* head) const { DTM_LINE_NODE::delete_list(head); }
};
using LINE = std::unique_ptr<DTM_LINE_NODE, LINE_LIST_DELETER>;

// A DMF line read by the line parser as line 12; the parser must accept it.
inline LINE parse_line(std::string text) {
  MSG_CAPTURE capture;
  LINE line(DTM_FACTORY().parse_a_line(nullptr, text.data(), k_expr_line));
  EXPECT_EQ(capture.get_count(), 0u) << "the parser refused: " << text;
  EXPECT_NE(line, nullptr) << text;
  return line;
}

// A record of line 12 whose group `vec_index` holds `tokens` exactly as given
// (no parsing: empty tokens and groups longer than a file line are possible).
inline LINE line_of_tokens(const std::vector<std::string>& tokens, DTM_SHORT vec_index = 0) {
  LINE line(MEM_MANAGER::new_wrapper<DTM_LINE_NODE>());
  line->set_line_number(k_expr_line);
  for (const std::string& token : tokens) {
    line->add_delay(token.c_str(), vec_index);
  }
  return line;
}
