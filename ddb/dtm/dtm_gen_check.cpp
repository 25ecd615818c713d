// Legality checks of DMF line records: the walk over a whole list
// (identifiers, delay groups, map types, delay-storage descriptors) and the
// rule of each delay type for the line's modifiers. Every finding is reported
// and the walk goes on; no line is changed.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>

#include "dbs_enums.h"
#include "dbs_translator.h"
#include "dtm_gen.h"
#include "dtm_report.h"

namespace {

constexpr const char* k_source = "dtm_gen";

// Values the checks compare as numbers.
static_assert(DTM_P2P == 48 && DTM_TABLE == 53 && DTM_FLOAT_TABLE == 54 && DTM_MICRO == 55 &&
              DTM_RC == 56 && DTM_RE == 60 && DTM_RE_TABLE == 61 && DTM_FF == 62 &&
              DTM_OUTPUT_PORT_RE == 63 && DTM_RE_INPUT_PORT == 64 && DTM_GENERAL_PARAM == 65 &&
              DTM_INTEGER == 66 && DTM_NODE_MAX_ENUM == 138);
static_assert(INDEX_ALL == 730 && CDB_RE_ILLEGAL_TYPE == 604);

constexpr DTM_SHORT k_max_map_types = 10;
constexpr std::uint32_t k_max_number = 1024;

// "<head><line number><tail>": the shape of every message of the checks.
std::string message(const char* head, DTM_SHORT line_number, std::string_view tail = ")") {
  std::string text(head);
  text += std::to_string(line_number);
  text += tail;
  return text;
}

// ---- Kinds of modifier positions -------------------------------------------

enum class KIND { DESCRIPTOR, RE_TYPE, INPUT_PORT, OUTPUT_PORT, BURIED_PORT, NUMBER };

// Decimal integer as the C library reads it: leading blanks, an optional sign,
// digits; no digit read gives 0. Values beyond 32 bits saturate.
std::int32_t read_number(const char* text) {
  const long long value = std::strtoll(text, nullptr, 10);
  if (value > INT32_MAX) {
    return INT32_MAX;
  }
  if (value < INT32_MIN) {
    return INT32_MIN;
  }
  return static_cast<std::int32_t>(value);
}

// The names are converted by the translator's one-probe lookups, which give
// what its exists-then-get pairs give.
bool is_legal(KIND kind, const char* word) {
  switch (kind) {
    case KIND::DESCRIPTOR:
      return DBS_TRANSLATOR::find_dtm_enum(word) != DTM_NONE;
    case KIND::RE_TYPE:
      return DBS_TRANSLATOR::find_cdb_re_type(word) != CDB_RE_ILLEGAL_TYPE;
    case KIND::INPUT_PORT:
      return DBS_TRANSLATOR::find_input_port_type(word) != DB_MAX_INPUT_PORT_TYPE;
    case KIND::OUTPUT_PORT:
      return DBS_TRANSLATOR::find_output_port_type(word) != DB_MAX_OUTPUT_PORT_TYPE;
    case KIND::BURIED_PORT:
      return DBS_TRANSLATOR::find_buried_port_type(word) != DB_MAX_BURIED_PORT_TYPE;
    case KIND::NUMBER:
      // Compared as unsigned: every negative number is out of range.
      return static_cast<std::uint32_t>(read_number(word)) <= k_max_number;
  }
  return false;
}

// ---- Single-message rules ---------------------------------------------------

// One position to check: modifier m_position must be of kind m_kind. A check
// with m_only_with set applies only to lines with that many modifiers.
struct POSITION_CHECK {
  DTM_SHORT m_position;
  KIND m_kind;
  DTM_SHORT m_only_with;
};

// A delay type's rule: the modifier count it accepts, then its position
// checks in order; the first failure ends the rule with its one message.
struct TYPE_RULE {
  const char* m_message;  // text before the line number
  DTM_SHORT m_min_modifiers;
  DTM_SHORT m_max_modifiers;
  DTM_SHORT m_check_count;
  POSITION_CHECK m_checks[3];
};

// clang-format off
constexpr TYPE_RULE k_rc_rule = {
    "Bad DMF file: One DMF line is an invalid rc-type (line ", 3, 4,
    3, {{2, KIND::DESCRIPTOR, 0}, {1, KIND::RE_TYPE, 0}, {3, KIND::DESCRIPTOR, 4}}};
constexpr TYPE_RULE k_re_rule = {
    "Bad DMF file: One DMF line is an invalid re-type (line ", 2, 2,
    1, {{1, KIND::RE_TYPE, 0}}};
constexpr TYPE_RULE k_table_rule = {
    "Bad DMF file: One DMF line is an invalid table-type (line ", 3, 3,
    2, {{1, KIND::DESCRIPTOR, 0}, {2, KIND::DESCRIPTOR, 0}}};
constexpr TYPE_RULE k_float_table_rule = {
    "Bad DMF file: One DMF line is an invalid float_table-type (line ", 3, 3,
    2, {{1, KIND::DESCRIPTOR, 0}, {2, KIND::DESCRIPTOR, 0}}};
constexpr TYPE_RULE k_integer_rule = {
    "Bad DMF file: One DMF line is an invalid integer-type (line ", 2, 3,
    3, {{1, KIND::NUMBER, 2}, {1, KIND::DESCRIPTOR, 3}, {2, KIND::NUMBER, 3}}};
// Modifier 3, when present, is not checked.
constexpr TYPE_RULE k_re_table_rule = {
    "Bad DMF file: One DMF line is an invalid re_table-type (line ", 3, 4,
    2, {{1, KIND::RE_TYPE, 0}, {2, KIND::RE_TYPE, 0}}};
constexpr TYPE_RULE k_re_input_port_rule = {
    "Bad DMF file: One DMF line is an invalid re->inputport type (line ", 3, 3,
    2, {{1, KIND::RE_TYPE, 0}, {2, KIND::INPUT_PORT, 0}}};
constexpr TYPE_RULE k_output_port_re_rule = {
    "Bad DMF file: One DMF line is an invalid outputport->re type (line ", 3, 3,
    2, {{1, KIND::OUTPUT_PORT, 0}, {2, KIND::RE_TYPE, 0}}};
constexpr TYPE_RULE k_ff_rule = {
    "Bad DMF file: One DMF line is an invalid ff-type (line ", 3, 3,
    2, {{1, KIND::BURIED_PORT, 0}, {2, KIND::DESCRIPTOR, 0}}};
constexpr TYPE_RULE k_micro_rule = {
    "Bad DMF file: One DMF line is an invalid micro-type (line ", 2, 2,
    1, {{1, KIND::DESCRIPTOR, 0}}};
// clang-format on

// Whether the line keeps the rule. Positions are read only once the count
// is accepted, and every rule's positions exist at every accepted count, so
// this reads no missing modifier and reports nothing.
bool keeps_rule(const DTM_LINE_NODE* temp, const TYPE_RULE& rule) {
  const DTM_SHORT count = temp->get_num_modifiers();
  bool legal = count >= rule.m_min_modifiers && count <= rule.m_max_modifiers;
  for (DTM_SHORT i = 0; legal && i < rule.m_check_count; ++i) {
    const POSITION_CHECK& check = rule.m_checks[i];
    if (check.m_only_with == 0 || check.m_only_with == count) {
      legal = is_legal(check.m_kind, temp->get_modifier(check.m_position));
    }
  }
  return legal;
}

bool check_modifiers(const DTM_LINE_NODE* temp, const TYPE_RULE& rule) {
  if (!dtm_assert(temp != nullptr, "temp != 0", k_source)) {
    return false;
  }
  const bool legal = keeps_rule(temp, rule);
  if (!legal) {
    dtm_report(message(rule.m_message, temp->get_line_number()), k_source);
  }
  return legal;
}

// ---- Dispatch on the delay type ---------------------------------------------

using RULE = bool (DTM_FACTORY::*)(const DTM_LINE_NODE*) const;

// Whether the point-to-point rule passes a line without any report: the
// rule reports a wrong count, an illegal input, output or index.
bool p2p_is_quiet(const DTM_LINE_NODE* temp);

// The rule of each delay type and the assertion reported when it fails. The
// general parameters have no rule of their own: the delay type must stand
// alone. m_table is the table rule behind m_rule (null for the point-to-point
// rule, which is written out, and for the general parameters).
struct DELAY_TYPE {
  DTM_NODE_ENUM m_type;
  RULE m_rule;  // null for the general parameters
  const char* m_failed;
  const TYPE_RULE* m_table;
};

// clang-format off
constexpr DELAY_TYPE k_delay_types[] = {
    {DTM_P2P,            &DTM_FACTORY::check_p2p_legality,            "check_p2p_legality(temp)",            nullptr},
    {DTM_TABLE,          &DTM_FACTORY::check_table_legality,          "check_table_legality(temp)",          &k_table_rule},
    {DTM_FLOAT_TABLE,    &DTM_FACTORY::check_float_table_legality,    "check_float_table_legality(temp)",    &k_float_table_rule},
    {DTM_MICRO,          &DTM_FACTORY::check_micro_legality,          "check_micro_legality(temp)",          &k_micro_rule},
    {DTM_RC,             &DTM_FACTORY::check_rc_legality,             "check_rc_legality(temp)",             &k_rc_rule},
    {DTM_RE,             &DTM_FACTORY::check_re_legality,             "check_re_legality(temp)",             &k_re_rule},
    {DTM_RE_TABLE,       &DTM_FACTORY::check_re_table_legality,       "check_re_table_legality(temp)",       &k_re_table_rule},
    {DTM_FF,             &DTM_FACTORY::check_ff_legality,             "check_ff_legality(temp)",             &k_ff_rule},
    {DTM_OUTPUT_PORT_RE, &DTM_FACTORY::check_output_port_re_legality, "check_output_port_re_legality(temp)", &k_output_port_re_rule},
    {DTM_RE_INPUT_PORT,  &DTM_FACTORY::check_re_input_port_legality,  "check_re_input_port_legality(temp)",  &k_re_input_port_rule},
    {DTM_GENERAL_PARAM,  nullptr,                                     "temp->get_num_modifiers() == 1",      nullptr},
    {DTM_INTEGER,        &DTM_FACTORY::check_integer_legality,        "check_integer_legality(temp)",        &k_integer_rule},
};
// clang-format on

// The row of every node-type value, found once by the compiler: null for a
// value without a rule.
constexpr auto k_delay_type_of = [] {
  std::array<const DELAY_TYPE*, DTM_NODE_MAX_ENUM + 1> rows{};
  for (const DELAY_TYPE& entry : k_delay_types) {
    rows[static_cast<std::size_t>(entry.m_type)] = &entry;
  }
  return rows;
}();

const DELAY_TYPE* find_delay_type(DTM_NODE_ENUM type) {
  const auto value = static_cast<std::size_t>(type);
  return value < k_delay_type_of.size() ? k_delay_type_of[value] : nullptr;
}

// Whether the rule of `type` passes the line without any report.
bool rule_is_quiet(const DELAY_TYPE& type, const DTM_LINE_NODE* temp) {
  if (type.m_table != nullptr) {
    return keeps_rule(temp, *type.m_table);
  }
  if (type.m_rule == nullptr) {
    return temp->get_num_modifiers() == 1;
  }
  return p2p_is_quiet(temp);
}

// Node types that may never stand as a map type: the delay types and the
// bound DTM_NODE_MAX_ENUM.
bool is_delay_type(DTM_NODE_ENUM type) {
  return type == DTM_NODE_MAX_ENUM || find_delay_type(type) != nullptr;
}

// ---- Identifiers --------------------------------------------------------------

// The literal duplicate search: the nearest later line with the same
// identifier, else the nearest earlier one, else null.
const DTM_LINE_NODE* scan_same_identifier(const DTM_LINE_NODE* line) {
  const MEM_STRING& id = line->get_id();
  for (const DTM_LINE_NODE* other = line->get_next(); other != nullptr; other = other->get_next()) {
    if (other->get_id() == id) {
      return other;
    }
  }
  for (const DTM_LINE_NODE* other = line->get_prev(); other != nullptr; other = other->get_prev()) {
    if (other->get_id() == id) {
      return other;
    }
  }
  return nullptr;
}

// The findings of the identifier check of `line`, given the line `stop` at
// which the duplicate search stopped (null when it found none).
bool report_identifier(const DTM_LINE_NODE* line, const DTM_LINE_NODE* stop) {
  const MEM_STRING& id = line->get_id();
  if (id.empty()) {
    return true;
  }
  if (stop != nullptr) {
    dtm_report(
        message("Bad DMF file: Two DMF lines have the same identifiers (lines ",
                stop->get_line_number(), ", " + std::to_string(line->get_line_number()) + ")"),
        k_source);
  }
  if (id.front() >= '0' && id.front() <= '9') {
    // The number is read where the duplicate search stopped.
    const DTM_LINE_NODE* where = stop != nullptr ? stop : line;
    dtm_report(message("Bad DMF file: One DMF line has an illegal identifier (line ",
                       where->get_line_number()),
               k_source);
  }
  return stop == nullptr;
}

// ---- Delay groups -------------------------------------------------------------

// Whether group j's list (bins or versions) matches group i's for the conflict
// test: an absent list of j matches unless i's list holds a word.
bool same_list(const DTM_LINE_NODE::GROUPS& lists, std::size_t i, std::size_t j) {
  if (j >= lists.size()) {
    return i >= lists.size() || lists[i].empty();
  }
  return lists[i] == lists[j];
}

// ---- Map types ----------------------------------------------------------------

// Steps of the walk on the map types; each unknown map type sets the verdict
// to false and each known one back to true.
void check_map_types(const DTM_LINE_NODE* temp, bool& legal) {
  const DTM_SHORT line_number = temp->get_line_number();
  if (temp->get_num_parents() > k_max_map_types) {
    legal = false;
    dtm_report(message("Bad DMF file: One DMF line has too many map types (line ", line_number),
               k_source);
  }
  const char* const invalid = "Bad DMF file: One DMF line contains invalid map types (line ";
  int delay_types = 0;
  for (const DTM_LINE_NODE::WORD& parent : temp->get_parents()) {
    const DTM_NODE_ENUM map_type = DBS_TRANSLATOR::find_dtm_node_enum(parent.view());
    legal = map_type != DTM_NODE_NONE;
    if (!legal) {
      dtm_report(message(invalid, line_number), k_source);
    }
    delay_types += is_delay_type(map_type) ? 1 : 0;
  }
  if (delay_types != 0) {
    legal = false;
    dtm_report(message(invalid, line_number), k_source);
  }
}

// ---- The first pass ------------------------------------------------------------

bool p2p_is_quiet(const DTM_LINE_NODE* temp) {
  const DTM_SHORT count = temp->get_num_modifiers();
  if (count != 3 && count != 4) {
    return false;
  }
  const char* input = temp->get_modifier(1);
  const char* output = temp->get_modifier(2);
  return (is_legal(KIND::INPUT_PORT, input) || is_legal(KIND::BURIED_PORT, input)) &&
         (is_legal(KIND::OUTPUT_PORT, output) || is_legal(KIND::BURIED_PORT, output)) &&
         (count != 4 || DBS_TRANSLATOR::find_dtm_enum(temp->get_modifier(3)) != INDEX_ALL);
}

// The number of delay groups of a line.
std::size_t group_count(const DTM_LINE_NODE* line) { return line->get_delays().size(); }

// Whether some group conflicts with the group after it, which is exactly when
// check_delay_info_legality reports.
bool has_conflict(const DTM_LINE_NODE* line) {
  const std::size_t groups = group_count(line);
  for (std::size_t i = 0; i + 1 < groups; ++i) {
    if (same_list(line->get_bins(), i, i + 1) && same_list(line->get_versions(), i, i + 1)) {
      return true;
    }
  }
  return false;
}

// Whether checking the line reports nothing but, perhaps, its identifier.
bool is_quiet(const DTM_LINE_NODE* temp, DTM_FACTORY::DTM_PARENT_MEMO& memo) {
  if (has_conflict(temp)) {
    return false;
  }
  const DTM_SHORT parents = temp->get_num_parents();
  if (parents > k_max_map_types) {
    return false;
  }
  for (DTM_SHORT i = 0; i < parents; ++i) {
    const DTM_NODE_ENUM map_type = memo.convert(i, temp->get_parent(i));
    if (map_type == DTM_NODE_NONE || is_delay_type(map_type)) {
      return false;
    }
  }
  if (temp->is_description()) {
    return true;
  }
  if (temp->get_num_modifiers() == 0 || group_count(temp) == 0) {
    return false;
  }
  const DELAY_TYPE* type =
      find_delay_type(DBS_TRANSLATOR::find_dtm_node_enum(temp->get_modifier(0)));
  return type != nullptr && rule_is_quiet(*type, temp);
}

// The first pass of check_legality, along the links: for every line, in list
// order, the line at which the literal duplicate search stops, and whether
// the rest of the line's check is quiet. The walk then reads these answers
// from one array instead of following the links again, and checks in full
// only the lines that report.
//
// Duplicates: a hash table keyed by identifier holds the last line seen with
// each identifier; meeting that identifier again makes the new line the
// earlier one's answer (its nearest later equal line) and the earlier one the
// new line's answer, until a later equal line turns up.
class DTM_CHECK_PASS {
 public:
  struct ENTRY {
    const DTM_LINE_NODE* m_line = nullptr;
    const DTM_LINE_NODE* m_stop = nullptr;
    // The identifier can report: it starts with a digit (m_stop, set when a
    // duplicate turns up, is the other reason).
    bool m_digit_id = false;
    bool m_has_parents = false;
    bool m_quiet = false;
  };

  explicit DTM_CHECK_PASS(const DTM_LINE_NODE* begin) {
    const std::hash<std::string_view> hash;
    TABLE table;
    DTM_FACTORY::DTM_PARENT_MEMO memo;
    for (const DTM_LINE_NODE* line = begin; line != nullptr;) {
      const DTM_LINE_NODE* next = line->get_next();
      DTM_FACTORY::prefetch_ahead(next);
      const std::size_t position = m_entries.size();
      const std::string_view id(line->get_id());
      const bool digit_id = !id.empty() && id.front() >= '0' && id.front() <= '9';
      m_entries.push_back(
          {line, nullptr, digit_id, line->get_num_parents() > 0, is_quiet(line, memo)});
      if (!id.empty()) {
        const SLOT met = {hash(id), line, position};
        SLOT& slot = table.find_or_add(met);
        if (slot.m_last != line) {
          m_entries[slot.m_position].m_stop = line;
          m_entries[position].m_stop = slot.m_last;
          slot = met;
        }
      }
      line = next;
    }
  }

  const MEM_VECTOR<ENTRY>& get_entries() const { return m_entries; }

 private:
  // The last line seen with an identifier, the identifier's hash, and the
  // line's position in the list.
  struct SLOT {
    std::size_t m_hash = 0;
    const DTM_LINE_NODE* m_last = nullptr;
    std::size_t m_position = 0;
  };
  // Open addressing with linear probing, at most half full; doubles as
  // identifiers come in (the stored hashes make the move cheap).
  class TABLE {
   public:
    // The slot of `met`'s identifier; a new identifier gets `met` itself.
    SLOT& find_or_add(const SLOT& met) {
      if (2 * (m_used + 1) > m_slots.size()) {
        grow();
      }
      const std::size_t mask = m_slots.size() - 1;
      const std::string_view id(met.m_last->get_id());
      for (std::size_t s = met.m_hash & mask;; s = (s + 1) & mask) {
        SLOT& slot = m_slots[s];
        if (slot.m_last == nullptr) {
          ++m_used;
          slot = met;
          return slot;
        }
        // The stored hash spares reading other records on a collision.
        if (slot.m_hash == met.m_hash && std::string_view(slot.m_last->get_id()) == id) {
          return slot;
        }
      }
    }

   private:
    void grow() {
      MEM_VECTOR<SLOT> old(m_slots.empty() ? 64 : 2 * m_slots.size());
      old.swap(m_slots);
      const std::size_t mask = m_slots.size() - 1;
      for (const SLOT& moved : old) {
        if (moved.m_last == nullptr) {
          continue;
        }
        std::size_t s = moved.m_hash & mask;
        while (m_slots[s].m_last != nullptr) {
          s = (s + 1) & mask;
        }
        m_slots[s] = moved;
      }
    }

    MEM_VECTOR<SLOT> m_slots;
    std::size_t m_used = 0;
  };

  MEM_VECTOR<ENTRY> m_entries;
};

}  // namespace

// ---- The walk -------------------------------------------------------------------

bool DTM_FACTORY::check_legality(const DTM_LINE_NODE* begin) const {
  if (!dtm_assert(begin != nullptr && begin->get_prev() == nullptr,
                  "(begin != 0) && (begin->get_prev() == 0)", k_source)) {
    return false;
  }
  const DTM_CHECK_PASS pass(begin);
  bool legal = true;
  for (const DTM_CHECK_PASS::ENTRY& entry : pass.get_entries()) {
    const DTM_LINE_NODE* temp = entry.m_line;
    if (entry.m_quiet) {
      // Only the identifier can report; every map type is known. A unique
      // identifier that starts with no digit reports nothing.
      if (entry.m_stop != nullptr || entry.m_digit_id) {
        dtm_assert(report_identifier(temp, entry.m_stop), "check_exp_legality(temp)", k_source);
      }
      legal = entry.m_has_parents || legal;
      continue;
    }
    const DTM_SHORT line_number = temp->get_line_number();
    dtm_assert(report_identifier(temp, entry.m_stop), "check_exp_legality(temp)", k_source);
    dtm_assert(check_delay_info_legality(temp), "check_delay_info_legality(temp)", k_source);
    check_map_types(temp, legal);

    const bool description = temp->is_description();
    if (temp->get_num_modifiers() == 0 && !description) {
      legal = false;
      dtm_report(message("Bad DMF file: One DMF line does not contains delay-storage descriptors "
                         "(line ",
                         line_number),
                 k_source);
    }
    if (temp->get_delays().empty() && !description) {
      legal = false;
      dtm_report(message("Bad DMF file: DMF line should contain at least one delay descriptor "
                         "(line ",
                         line_number),
                 k_source);
    }
    if (temp->get_num_modifiers() > 0 && !description) {
      const DELAY_TYPE* type =
          find_delay_type(DBS_TRANSLATOR::find_dtm_node_enum(temp->get_modifier(0)));
      if (type == nullptr) {
        // Reported, and deliberately left out of the verdict.
        dtm_report(
            message("Bad DMF file: One DMF line has no delay-type specified (line ", line_number),
            k_source);
      } else {
        const bool kept =
            type->m_rule != nullptr ? (this->*type->m_rule)(temp) : temp->get_num_modifiers() == 1;
        dtm_assert(kept, type->m_failed, k_source);
      }
    }
  }
  return legal;
}

bool DTM_FACTORY::check_exp_legality(const DTM_LINE_NODE* begin) const {
  if (!dtm_assert(begin != nullptr, "begin != 0", k_source)) {
    return false;
  }
  if (begin->get_id().empty()) {
    return true;
  }
  return report_identifier(begin, scan_same_identifier(begin));
}

bool DTM_FACTORY::check_delay_info_legality(const DTM_LINE_NODE* node) const {
  if (!dtm_assert(node != nullptr, "node != 0", k_source)) {
    return false;
  }
  const std::size_t groups = node->get_delays().size();
  for (std::size_t i = 0; i < groups; ++i) {
    // Group i is compared up to the first later group that differs from it.
    bool conflict = true;
    for (std::size_t j = i + 1; conflict && j < groups; ++j) {
      conflict = same_list(node->get_bins(), i, j) && same_list(node->get_versions(), i, j);
      if (conflict) {
        dtm_report(message("Bad DMF file: Conflicting delay information found.  (line ",
                           node->get_line_number(), ")  Need to use bin/version differentiation"),
                   k_source);
      }
    }
  }
  return true;
}

// ---- Per-type rules ---------------------------------------------------------------

// Point-to-point lines: input, output and optional index, each reported on
// its own. Only the output and the index make the verdict, the index last.
bool DTM_FACTORY::check_p2p_legality(const DTM_LINE_NODE* temp) const {
  if (!dtm_assert(temp != nullptr, "temp != 0", k_source)) {
    return false;
  }
  // The text before each message, built only for a finding.
  const auto line = [temp] {
    return "Bad DMF file: Line " + std::to_string(temp->get_line_number());
  };
  const DTM_SHORT count = temp->get_num_modifiers();
  if (count != 3 && count != 4) {
    dtm_report(line() + " has wrong number of P2P inputs", k_source);
  }
  const char* input = temp->get_modifier(1);
  if (!is_legal(KIND::INPUT_PORT, input) && !is_legal(KIND::BURIED_PORT, input)) {
    dtm_report(line() + " has an illegal P2P input: " + input, k_source);
  }
  const char* output = temp->get_modifier(2);
  bool legal = is_legal(KIND::OUTPUT_PORT, output);
  if (!legal) {
    legal = is_legal(KIND::BURIED_PORT, output);
    if (!legal) {
      dtm_report(line() + " has an illegal P2P output: " + output, k_source);
    }
  }
  if (count == 4) {
    const char* index = temp->get_modifier(3);
    legal = DBS_TRANSLATOR::find_dtm_enum(index) != INDEX_ALL;
    if (!legal) {
      dtm_report(line() + " had an illegal P2P index: " + index, k_source);
    }
  }
  return legal;
}

bool DTM_FACTORY::check_table_legality(const DTM_LINE_NODE* temp) const {
  return check_modifiers(temp, k_table_rule);
}

bool DTM_FACTORY::check_float_table_legality(const DTM_LINE_NODE* temp) const {
  return check_modifiers(temp, k_float_table_rule);
}

bool DTM_FACTORY::check_micro_legality(const DTM_LINE_NODE* temp) const {
  return check_modifiers(temp, k_micro_rule);
}

bool DTM_FACTORY::check_rc_legality(const DTM_LINE_NODE* temp) const {
  return check_modifiers(temp, k_rc_rule);
}

bool DTM_FACTORY::check_re_legality(const DTM_LINE_NODE* temp) const {
  return check_modifiers(temp, k_re_rule);
}

bool DTM_FACTORY::check_re_table_legality(const DTM_LINE_NODE* temp) const {
  return check_modifiers(temp, k_re_table_rule);
}

bool DTM_FACTORY::check_ff_legality(const DTM_LINE_NODE* temp) const {
  return check_modifiers(temp, k_ff_rule);
}

bool DTM_FACTORY::check_output_port_re_legality(const DTM_LINE_NODE* temp) const {
  return check_modifiers(temp, k_output_port_re_rule);
}

bool DTM_FACTORY::check_re_input_port_legality(const DTM_LINE_NODE* temp) const {
  return check_modifiers(temp, k_re_input_port_rule);
}

bool DTM_FACTORY::check_integer_legality(const DTM_LINE_NODE* temp) const {
  return check_modifiers(temp, k_integer_rule);
}
