// Delay expressions: evaluation of one delay group of a line, and the choice
// of the group by bin and version.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <sstream>
#include <type_traits>

#include "dtm_gen.h"
#include "dtm_report.h"

namespace {

constexpr const char* k_source = "dtm_gen";
constexpr const char* k_group_check =
    "(vec_index < static_cast<DTM_SHORT>(m_delays.size())) && (vec_index >= 0)";
constexpr const char* k_token_check =
    "(index < static_cast<DTM_SHORT>(m_delays[vec_index].size())) && (index >= 0)";
constexpr const char* k_divide_by_zero = "Can't divide by zero";

// Endings of the messages about a line, after "Bad DMF file: Line <n>".
constexpr const char* k_illegal = " has an illegal expression";
constexpr const char* k_illegal_if = " has an illegal if-then-else expression";
constexpr const char* k_cycle = " has an illegal expression.  A cyclical dependency was found.";

using WORDS = DTM_LINE_NODE::WORDS;
using WORD = DTM_LINE_NODE::WORD;

void report_line(const DTM_LINE_NODE& line, const char* ending) {
  std::ostringstream text;
  text << "Bad DMF file: Line " << line.get_line_number() << ending;
  dtm_report(text.str(), k_source);
}

// Counts and positions are 16-bit: a longer vector is seen up to that limit.
DTM_SHORT short_size(std::size_t size) {
  return static_cast<DTM_SHORT>(std::min<std::size_t>(size, std::numeric_limits<DTM_SHORT>::max()));
}

// The number of delay groups of a line.
DTM_SHORT group_count(const DTM_LINE_NODE& line) { return short_size(line.get_delays().size()); }

// The two value domains of the evaluator.
struct INTEGER_TRAITS {
  using VALUE = std::int32_t;
  static constexpr VALUE k_illegal_value = DTM_ILLEGAL_DELAY;

  // Decimal value modulo 2^32: blanks, an optional sign, digits; what
  // follows the digits is ignored and text without digits gives 0.
  static VALUE parse(const char* text) {
    while (std::isspace(static_cast<unsigned char>(*text)) != 0) {
      ++text;
    }
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+') {
      ++text;
    }
    std::uint32_t magnitude = 0;
    for (; *text >= '0' && *text <= '9'; ++text) {
      magnitude = magnitude * 10u + static_cast<std::uint32_t>(*text - '0');
    }
    return static_cast<VALUE>(negative ? 0u - magnitude : magnitude);
  }
  // Reduces an exact result to 32 bits (two's complement wrap-around).
  static VALUE wrap(std::int64_t exact) {
    return static_cast<VALUE>(static_cast<std::uint32_t>(exact));
  }
  static VALUE add(VALUE a, VALUE b) { return wrap(std::int64_t{a} + b); }
  static VALUE subtract(VALUE a, VALUE b) { return wrap(std::int64_t{a} - b); }
  static VALUE multiply(VALUE a, VALUE b) { return wrap(std::int64_t{a} * b); }
  // Truncates toward zero. By zero it answers what the floating-point
  // division would, brought into 32 bits: the largest value for a positive
  // dividend, the smallest for a negative one, no value for zero.
  static VALUE divide(VALUE a, VALUE b) {
    if (b == 0) {
      return a > 0   ? std::numeric_limits<VALUE>::max()
             : a < 0 ? std::numeric_limits<VALUE>::min()
                     : k_illegal_value;
    }
    return wrap(std::int64_t{a} / b);
  }
};

struct FLOAT_TRAITS {
  using VALUE = double;
  static constexpr VALUE k_illegal_value = DTM_ILLEGAL_FLOAT;

  static VALUE parse(const char* text) { return std::strtod(text, nullptr); }
  static VALUE add(VALUE a, VALUE b) { return a + b; }
  static VALUE subtract(VALUE a, VALUE b) { return a - b; }
  static VALUE multiply(VALUE a, VALUE b) { return a * b; }
  static VALUE divide(VALUE a, VALUE b) { return a / b; }
};

enum class OPERATOR { ADD, SUBTRACT, MULTIPLY, DIVIDE, UNKNOWN };
enum class RELATION { LESS, LESS_EQUAL, EQUAL, GREATER_EQUAL, GREATER, UNKNOWN };

template <class KIND>
struct KEYWORD {
  const char* m_token;
  KIND m_kind;
};

constexpr KEYWORD<OPERATOR> k_operators[] = {{"+", OPERATOR::ADD},
                                             {"-", OPERATOR::SUBTRACT},
                                             {"*", OPERATOR::MULTIPLY},
                                             {"/", OPERATOR::DIVIDE}};
constexpr KEYWORD<RELATION> k_relations[] = {{"<", RELATION::LESS},
                                             {"<=", RELATION::LESS_EQUAL},
                                             {"==", RELATION::EQUAL},
                                             {">=", RELATION::GREATER_EQUAL},
                                             {">", RELATION::GREATER}};

// The kind a token names in `table`; `unknown` for any other token or none.
template <class KIND, std::size_t N>
KIND find_keyword(const KEYWORD<KIND> (&table)[N], const WORD* token, KIND unknown) {
  if (token != nullptr) {
    for (const KEYWORD<KIND>& keyword : table) {
      if (*token == keyword.m_token) {
        return keyword.m_kind;
      }
    }
  }
  return unknown;
}

template <class VALUE>
bool holds(RELATION relation, VALUE left, VALUE right) {
  switch (relation) {
    case RELATION::LESS:
      return left < right;
    case RELATION::LESS_EQUAL:
      return left <= right;
    case RELATION::EQUAL:
      return left == right;
    case RELATION::GREATER_EQUAL:
      return left >= right;
    case RELATION::GREATER:
      return left > right;
    case RELATION::UNKNOWN:
      break;
  }
  return false;
}

// One evaluation of one delay group: the tokens, the position shared by
// every level of the recursion, and the nesting depth. Every token read
// checks the position; a read outside the group is reported and yields no
// token. Past the depth limit the field is abandoned: reported once, the
// position moved to the end, and nothing more is read or reported.
class EVALUATION {
 public:
  EVALUATION(const DTM_LINE_NODE& line, const WORDS& tokens, DTM_SHORT position)
      : m_line(line), m_tokens(tokens), m_end(short_size(tokens.size())), m_position(position) {}

  template <class TRAITS>
  typename TRAITS::VALUE value();
  bool condition(bool integer_operands);

  DTM_SHORT get_position() const { return m_position; }
  bool is_abandoned() const { return m_abandoned; }

 private:
  // One level of nesting, for the lifetime of one value or condition.
  class LEVEL {
   public:
    explicit LEVEL(int& depth) : m_depth(depth) { ++m_depth; }
    ~LEVEL() { --m_depth; }
    LEVEL(const LEVEL&) = delete;
    LEVEL& operator=(const LEVEL&) = delete;

   private:
    int& m_depth;
  };

  bool enter();
  bool at_end() const { return m_position >= m_end; }
  const WORD* read();
  void advance();
  void expect(const char* word, const char* ending);
  void report(const char* ending);
  template <class TRAITS>
  bool compare();
  template <class TRAITS>
  typename TRAITS::VALUE apply(OPERATOR op, typename TRAITS::VALUE left,
                               typename TRAITS::VALUE right);

  const DTM_LINE_NODE& m_line;
  const WORDS& m_tokens;
  const DTM_SHORT m_end;
  DTM_SHORT m_position;
  int m_depth = 0;
  bool m_abandoned = false;
};

// False when the field is abandoned or this level is one too deep.
bool EVALUATION::enter() {
  if (m_abandoned) {
    return false;
  }
  if (m_depth > DTM_FACTORY::DTM_MAX_EXPRESSION_DEPTH) {
    report(k_illegal);
    m_abandoned = true;
    m_position = m_end;
    return false;
  }
  return true;
}

const WORD* EVALUATION::read() {
  if (m_abandoned || !dtm_assert(m_position >= 0 && m_position < m_end, k_token_check, k_source)) {
    return nullptr;
  }
  return &m_tokens[static_cast<std::size_t>(m_position)];
}

// Steps over the token at the position; a position outside the group stays.
void EVALUATION::advance() {
  if (m_position >= 0 && m_position < m_end) {
    ++m_position;
  }
}

// The next token must be `word`; it is stepped over either way.
void EVALUATION::expect(const char* word, const char* ending) {
  const WORD* token = read();
  if (token == nullptr || *token != word) {
    report(ending);
  }
  advance();
}

void EVALUATION::report(const char* ending) {
  if (!m_abandoned) {
    report_line(m_line, ending);
  }
}

template <class TRAITS>
typename TRAITS::VALUE EVALUATION::value() {
  using VALUE = typename TRAITS::VALUE;
  const LEVEL level(m_depth);
  if (!enter()) {
    return TRAITS::k_illegal_value;
  }
  if (at_end()) {
    report(k_illegal);
  }
  const WORD* token = read();
  const MEM_STRING& id = m_line.get_id();
  if (m_line.get_marked() || (token != nullptr && !id.empty() && *token == id)) {
    report(k_cycle);
  }
  if (token == nullptr) {
    return TRAITS::k_illegal_value;
  }
  advance();
  if (token->c_str()[0] != '(') {
    return TRAITS::parse(token->c_str());
  }

  const WORD* next = read();
  if (next != nullptr && *next == "if") {
    advance();
    const bool holds = condition(std::is_same_v<TRAITS, INTEGER_TRAITS>);
    expect("then", k_illegal_if);
    const VALUE then_value = value<TRAITS>();
    expect("else", k_illegal_if);
    const VALUE else_value = value<TRAITS>();
    expect(")", k_illegal);
    return holds ? then_value : else_value;
  }

  const VALUE left = value<TRAITS>();
  const OPERATOR op = find_keyword(k_operators, read(), OPERATOR::UNKNOWN);
  advance();
  const VALUE right = value<TRAITS>();
  expect(")", k_illegal);
  return apply<TRAITS>(op, left, right);
}

template <class TRAITS>
typename TRAITS::VALUE EVALUATION::apply(OPERATOR op, typename TRAITS::VALUE left,
                                         typename TRAITS::VALUE right) {
  switch (op) {
    case OPERATOR::ADD:
      return TRAITS::add(left, right);
    case OPERATOR::SUBTRACT:
      return TRAITS::subtract(left, right);
    case OPERATOR::MULTIPLY:
      return TRAITS::multiply(left, right);
    case OPERATOR::DIVIDE:
      if (right == 0 && !m_abandoned) {
        dtm_assert(false, k_divide_by_zero, k_source);
      }
      return TRAITS::divide(left, right);
    case OPERATOR::UNKNOWN:
      break;
  }
  report(k_illegal);
  return TRAITS::k_illegal_value;
}

bool EVALUATION::condition(bool integer_operands) {
  const LEVEL level(m_depth);
  if (!enter()) {
    return false;
  }
  if (at_end()) {
    report(k_illegal);
  }
  const WORD* token = read();
  if (token == nullptr || token->c_str()[0] != '(') {
    report(k_illegal_if);
  }
  advance();
  return integer_operands ? compare<INTEGER_TRAITS>() : compare<FLOAT_TRAITS>();
}

template <class TRAITS>
bool EVALUATION::compare() {
  const typename TRAITS::VALUE left = value<TRAITS>();
  const RELATION relation = find_keyword(k_relations, read(), RELATION::UNKNOWN);
  advance();
  const typename TRAITS::VALUE right = value<TRAITS>();
  expect(")", k_illegal);
  if (relation == RELATION::UNKNOWN) {
    report(k_illegal_if);
  }
  return holds(relation, left, right);
}

// Group `vec_index` of the line, or null after reporting why there is none.
const WORDS* find_group(const DTM_LINE_NODE& line, DTM_SHORT vec_index) {
  const DTM_SHORT groups = short_size(line.get_delays().size());
  if (vec_index >= groups) {
    std::ostringstream text;
    text << "Bad DMF file: Line " << line.get_line_number()
         << " does not meet version/bin requirements; " << vec_index << " is not in range 0 -> "
         << groups;
    dtm_report(text.str(), k_source);
  }
  if (!dtm_assert(vec_index >= 0 && vec_index < groups, k_group_check, k_source)) {
    return nullptr;
  }
  return &line.get_delays()[static_cast<std::size_t>(vec_index)];
}

// The skeleton shared by the three entry points: checks the arguments, runs
// `step` on the group from the caller's position and writes the position back.
template <class RESULT, class STEP>
RESULT evaluate(const DTM_LINE_NODE* line, DTM_SHORT* position, DTM_SHORT vec_index, RESULT illegal,
                STEP step) {
  if (!dtm_assert(line != nullptr, "node != 0", k_source) ||
      !dtm_assert(position != nullptr, "position != 0", k_source)) {
    return illegal;
  }
  const WORDS* tokens = find_group(*line, vec_index);
  if (tokens == nullptr) {
    return illegal;
  }
  EVALUATION evaluation(*line, *tokens, *position);
  const RESULT result = step(evaluation);
  *position = evaluation.get_position();
  return evaluation.is_abandoned() ? illegal : result;
}

// The token at the position when the field there is one plain number that
// the evaluation would read without any report: the group and the position
// exist, no cycle is suspected and the token opens no bracket. Null when the
// evaluation has to run. Most fields are such numbers.
const char* plain_number(const DTM_LINE_NODE* line, const DTM_SHORT* position,
                         DTM_SHORT vec_index) {
  if (line == nullptr || position == nullptr || line->get_marked() || vec_index < 0 ||
      vec_index >= group_count(*line) || *position < 0 ||
      *position >= line->get_num_delays(vec_index)) {
    return nullptr;
  }
  const char* token = line->get_delay(vec_index, *position);
  const MEM_STRING& id = line->get_id();
  if (token[0] == '(' || (!id.empty() && id == token)) {
    return nullptr;
  }
  return token;
}

// True when `target` is unset, the line has no list for the group, the
// group's list is empty, or the list holds the target.
bool accepts(const DTM_LINE_NODE::GROUPS& lists, DTM_SHORT vec_index,
             const std::optional<MEM_STRING>& target) {
  if (!target.has_value() || static_cast<std::size_t>(vec_index) >= lists.size()) {
    return true;
  }
  const WORDS& list = lists[static_cast<std::size_t>(vec_index)];
  return list.empty() || std::find(list.begin(), list.end(), *target) != list.end();
}

}  // namespace

std::int32_t DTM_FACTORY::extract_long(const DTM_LINE_NODE* line, DTM_SHORT* position,
                                       DTM_SHORT vec_index) const {
  if (const char* number = plain_number(line, position, vec_index); number != nullptr) {
    ++*position;
    return INTEGER_TRAITS::parse(number);
  }
  return evaluate(line, position, vec_index, DTM_ILLEGAL_DELAY,
                  [](EVALUATION& evaluation) { return evaluation.value<INTEGER_TRAITS>(); });
}

double DTM_FACTORY::extract_float(const DTM_LINE_NODE* line, DTM_SHORT* position,
                                  DTM_SHORT vec_index) const {
  if (const char* number = plain_number(line, position, vec_index); number != nullptr) {
    ++*position;
    return FLOAT_TRAITS::parse(number);
  }
  return evaluate(line, position, vec_index, DTM_ILLEGAL_FLOAT,
                  [](EVALUATION& evaluation) { return evaluation.value<FLOAT_TRAITS>(); });
}

bool DTM_FACTORY::extract_bool(const DTM_LINE_NODE* line, DTM_SHORT* position,
                               bool integer_operands, DTM_SHORT vec_index) const {
  return evaluate(line, position, vec_index, false, [integer_operands](EVALUATION& evaluation) {
    return evaluation.condition(integer_operands);
  });
}

DTM_SHORT DTM_FACTORY::choose_delay_group(const DTM_LINE_NODE* line) const {
  if (!dtm_assert(line != nullptr, "node != 0", k_source)) {
    return 0;
  }
  // Without a target every group qualifies: the first, or 0 for no group.
  if (!m_delay_target.m_bin.has_value() && !m_delay_target.m_version.has_value()) {
    return 0;
  }
  const DTM_SHORT groups = short_size(line->get_delays().size());
  for (DTM_SHORT vec_index = 0; vec_index < groups; ++vec_index) {
    if (accepts(line->get_bins(), vec_index, m_delay_target.m_bin) &&
        accepts(line->get_versions(), vec_index, m_delay_target.m_version)) {
      return vec_index;
    }
  }
  return groups;
}
