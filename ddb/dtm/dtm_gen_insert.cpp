// Delay insertion: the add operation of each delay type stores the value of
// one delay line in the typed node that the line's parents lead to.
//
// The twelve operations are one skeleton (insert_delay) driven by one row per
// delay type: how many modifiers the line has, which key family each
// modifier is converted with, which keys must be known, the value type, the
// node operations that set and add the value, and the texts of the reports.
// The public add_* operations only pick their row.
#include <array>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "dbs_enums.h"
#include "dbs_translator.h"
#include "dtm_gen.h"
#include "dtm_report.h"
#include "dtm_string.h"

namespace {

constexpr const char* k_source = "dtm_gen";
constexpr const char* k_null_text = "(line_node != 0) && (node != 0)";

// The delay kind of an RC line that names none.
constexpr DTM_ENUM k_default_rc_edge = RC_RISE;
static_assert(RC_RISE == 236);

// ---- Keys --------------------------------------------------------------------

// How a modifier text becomes a key. SOURCE_PORT and TARGET_PORT are the
// point-to-point ends: an input (output) port first, a buried port when the
// text names none.
enum class FAMILY : std::uint8_t {
  NONE,
  DESCRIPTOR,
  RE_TYPE,
  INPUT_PORT,
  OUTPUT_PORT,
  BURIED_PORT,
  NUMBER,
  SOURCE_PORT,
  TARGET_PORT,
};

// A converted key: its value, whether the text was known to its family, and
// whether a point-to-point end fell back to a buried port.
struct KEY {
  std::int32_t m_value = 0;
  bool m_known = true;
  bool m_buried = false;
};

// A decimal number as strtol reads it (trailing text ignored, no digit: 0),
// brought into the int range by saturation.
std::int32_t read_decimal(const char* text) {
  const long value = std::strtol(text, nullptr, 10);
  if (value > INT_MAX) {
    return INT_MAX;
  }
  if (value < INT_MIN) {
    return INT_MIN;
  }
  return static_cast<std::int32_t>(value);
}

// An optional sign and decimal digits, nothing else.
bool is_decimal(const char* text) {
  const char* digit = text + (text[0] == '+' || text[0] == '-' ? 1 : 0);
  if (*digit == '\0') {
    return false;
  }
  for (; *digit != '\0'; ++digit) {
    if (*digit < '0' || *digit > '9') {
      return false;
    }
  }
  return true;
}

KEY convert_key(FAMILY family, const char* text) {
  switch (family) {
    case FAMILY::NONE:
      return {};
    case FAMILY::DESCRIPTOR: {
      const DTM_ENUM value = DBS_TRANSLATOR::find_dtm_enum(text);
      return {value, value != DTM_NONE};
    }
    case FAMILY::RE_TYPE: {
      const CDB_RE_TYPE value = DBS_TRANSLATOR::find_cdb_re_type(text);
      return {value, value != CDB_RE_ILLEGAL_TYPE};
    }
    case FAMILY::INPUT_PORT: {
      const DB_INPUT_PORT_TYPE value = DBS_TRANSLATOR::find_input_port_type(text);
      return {value, value != DB_MAX_INPUT_PORT_TYPE};
    }
    case FAMILY::OUTPUT_PORT: {
      const DB_OUTPUT_PORT_TYPE value = DBS_TRANSLATOR::find_output_port_type(text);
      return {value, value != DB_MAX_OUTPUT_PORT_TYPE};
    }
    case FAMILY::BURIED_PORT: {
      const DB_BURIED_PORT_TYPE value = DBS_TRANSLATOR::find_buried_port_type(text);
      return {value, value != DB_MAX_BURIED_PORT_TYPE};
    }
    case FAMILY::NUMBER:
      return {read_decimal(text)};
    case FAMILY::SOURCE_PORT:
    case FAMILY::TARGET_PORT: {
      const KEY port = convert_key(
          family == FAMILY::SOURCE_PORT ? FAMILY::INPUT_PORT : FAMILY::OUTPUT_PORT, text);
      if (port.m_known) {
        return port;
      }
      KEY buried = convert_key(FAMILY::BURIED_PORT, text);
      buried.m_buried = true;
      return buried;
    }
  }
  return {};
}

// ---- Node operations -----------------------------------------------------------

constexpr int k_max_keys = 3;
using KEYS = std::array<KEY, k_max_keys>;

// The evaluated value of a line: m_long for integer kinds, m_float for the
// float kinds.
struct VALUE {
  std::int32_t m_long = DTM_ILLEGAL_DELAY;
  double m_float = DTM_ILLEGAL_FLOAT;
};

using NODE_CALL = bool (*)(DTM_NODE& root, const VALUE& value, const KEYS& keys,
                           const DTM_PATH& path);

// Calls a set or add entry point of DTM_NODE taking a VALUE_TYPE and the key
// types K... (the first sizeof...(K) keys, in order) before the path.
template <class VALUE_TYPE, class... K>
struct NODE_OP {
  using OP = bool (DTM_NODE::*)(VALUE_TYPE, K..., DTM_PATH_UNUSED);

  template <OP op>
  static bool call(DTM_NODE& root, const VALUE& value, const KEYS& keys, const DTM_PATH& path) {
    return call_with<op>(root, value, keys, path, std::index_sequence_for<K...>{});
  }

 private:
  template <OP op, std::size_t... I>
  static bool call_with(DTM_NODE& root, const VALUE& value, const KEYS& keys, const DTM_PATH& path,
                        std::index_sequence<I...>) {
    if constexpr (std::is_same_v<VALUE_TYPE, double>) {
      return (root.*op)(value.m_float, static_cast<K>(keys[I].m_value)..., DTM_PATH_SPREAD(path));
    } else {
      return (root.*op)(value.m_long, static_cast<K>(keys[I].m_value)..., DTM_PATH_SPREAD(path));
    }
  }
};

using OP_INTEGER = NODE_OP<int, DTM_ENUM, int>;
using OP_TABLE = NODE_OP<int, DTM_ENUM, DTM_ENUM>;
using OP_FLOAT_TABLE = NODE_OP<double, DTM_ENUM, DTM_ENUM>;
using OP_RE_TABLE = NODE_OP<int, CDB_RE_TYPE, CDB_RE_TYPE, DTM_ENUM>;
using OP_RE_INPUT_PORT = NODE_OP<int, CDB_RE_TYPE, DB_INPUT_PORT_TYPE>;
using OP_OUTPUT_PORT_RE = NODE_OP<int, DB_OUTPUT_PORT_TYPE, CDB_RE_TYPE>;
using OP_FF = NODE_OP<int, DB_BURIED_PORT_TYPE, DTM_ENUM>;
using OP_MICRO = NODE_OP<int, DTM_ENUM>;
using OP_RC = NODE_OP<double, CDB_RE_TYPE, DTM_ENUM, DTM_ENUM>;
using OP_RE = NODE_OP<int, CDB_RE_TYPE>;
// Point-to-point: set takes no condition, add does.
template <class SRC, class DST>
using OP_P2P_SET = NODE_OP<int, SRC, DST>;
template <class SRC, class DST>
using OP_P2P_ADD = NODE_OP<int, SRC, DST, DTM_ENUM>;

// The set and add of one kind (of one point-to-point direction) and the
// report when the add fails.
struct STORE {
  NODE_CALL m_set;
  NODE_CALL m_add;
  const char* m_failure;
};

// ---- The rows ------------------------------------------------------------------

// A report made when some keys are unknown to their family: the keys
// tested (bit i: key i) and the text.
struct KEY_CHECK {
  std::uint8_t m_keys = 0;
  const char* m_text = nullptr;
};

enum class VALUE_KIND : std::uint8_t { LONG, FLOAT };

struct INSERT_ROW {
  // The delay type of the lines.
  DTM_NODE_ENUM m_type = DTM_NODE_NONE;
  // The number of modifiers (type included) with every key present.
  DTM_SHORT m_modifier_count = 0;
  // The key that a line one modifier shorter leaves out (-1: none), and its
  // value then. Keys behind it move one position forward in the short form.
  int m_optional_key = -1;
  std::int32_t m_optional_value = 0;
  const char* m_count_text = nullptr;
  // Key families and their modifier positions, in key order.
  FAMILY m_families[k_max_keys] = {};
  DTM_SHORT m_positions[k_max_keys] = {};
  KEY_CHECK m_checks[2] = {};
  VALUE_KIND m_value = VALUE_KIND::LONG;
  // Report an integer value that is the illegal sentinel.
  bool m_check_value = false;
  // By direction: 0 for every kind but point-to-point, where a buried
  // source adds 2 and a buried destination 1.
  STORE m_stores[4] = {};
};

using F = FAMILY;
using D = DTM_FACTORY;

constexpr INSERT_ROW k_rows[] = {
    // With two modifiers the kind is DTM_NONE and the index is modifier 1.
    {.m_type = DTM_INTEGER,
     .m_modifier_count = 3,
     .m_optional_key = 0,
     .m_optional_value = DTM_NONE,
     .m_count_text = "num_modifiers == 2 || num_modifiers==3",
     .m_families = {F::DESCRIPTOR, F::NUMBER},
     .m_positions = {1, 2},
     .m_check_value = true,
     .m_stores = {{&OP_INTEGER::call<&DTM_NODE::set_integer_node_delay>,
                   &OP_INTEGER::call<&DTM_NODE::add_integer_node_delay>,
                   "Can't add table node delay to root timing node"}}},
    {.m_type = DTM_TABLE,
     .m_modifier_count = D::DTM_TABLE_COL_INDEXER + 1,
     .m_count_text = "line_node->get_num_modifiers() == (DTM_TABLE_COL_INDEXER + 1)",
     .m_families = {F::DESCRIPTOR, F::DESCRIPTOR},
     .m_positions = {1, D::DTM_TABLE_COL_INDEXER},
     .m_checks = {{0b11, "(enum1 != DTM_NONE) && (enum2 != DTM_NONE)"}},
     .m_stores = {{&OP_TABLE::call<&DTM_NODE::set_table_node_delay>,
                   &OP_TABLE::call<&DTM_NODE::add_table_node_delay>,
                   "Can't add table node delay to root timing node"}}},
    {.m_type = DTM_FLOAT_TABLE,
     .m_modifier_count = D::DTM_FLOAT_TABLE_COL_INDEXER + 1,
     .m_count_text = "line_node->get_num_modifiers() == (DTM_FLOAT_TABLE_COL_INDEXER + 1)",
     .m_families = {F::DESCRIPTOR, F::DESCRIPTOR},
     .m_positions = {1, D::DTM_FLOAT_TABLE_COL_INDEXER},
     .m_checks = {{0b11, "(enum1 != DTM_NONE) && (enum2 != DTM_NONE)"}},
     .m_value = VALUE_KIND::FLOAT,
     .m_stores = {{&OP_FLOAT_TABLE::call<&DTM_NODE::set_float_table_node_delay>,
                   &OP_FLOAT_TABLE::call<&DTM_NODE::add_float_table_node_delay>,
                   "Can't add float_table node delay to root timing node"}}},
    {.m_type = DTM_RE_TABLE,
     .m_modifier_count = D::DTM_RE_TABLE_IDX_INDEXER + 1,
     .m_optional_key = 2,
     .m_optional_value = DTM_NONE,
     .m_count_text = "(line_node->get_num_modifiers() == (DTM_RE_TABLE_IDX_INDEXER + 1)) || "
                     "(line_node->get_num_modifiers() == DTM_RE_TABLE_IDX_INDEXER)",
     .m_families = {F::RE_TYPE, F::RE_TYPE, F::DESCRIPTOR},
     .m_positions = {1, D::DTM_RE_TABLE_COL_INDEXER, D::DTM_RE_TABLE_IDX_INDEXER},
     .m_checks = {{0b11, "(enum1 != CDB_RE_ILLEGAL_TYPE) && (enum2 != CDB_RE_ILLEGAL_TYPE)"}},
     .m_stores = {{&OP_RE_TABLE::call<&DTM_NODE::set_re_table_node_delay>,
                   &OP_RE_TABLE::call<&DTM_NODE::add_re_table_node_delay>,
                   "Can't add re table node delay to root timing node"}}},
    {.m_type = DTM_RE_INPUT_PORT,
     .m_modifier_count = D::DTM_RE_INPUT_PORT_COL_INDEXER + 1,
     .m_count_text = "line_node->get_num_modifiers() == (DTM_RE_INPUT_PORT_COL_INDEXER + 1)",
     .m_families = {F::RE_TYPE, F::INPUT_PORT},
     .m_positions = {1, D::DTM_RE_INPUT_PORT_COL_INDEXER},
     .m_checks = {{0b11, "(enum1 != CDB_RE_ILLEGAL_TYPE) && (enum2 != DB_MAX_INPUT_PORT_TYPE)"}},
     .m_stores = {{&OP_RE_INPUT_PORT::call<&DTM_NODE::set_re_port_node_delay>,
                   &OP_RE_INPUT_PORT::call<&DTM_NODE::add_re_port_node_delay>,
                   "Can't add re->input port node delay to root timing node"}}},
    // The check text names the two keys the other way round.
    {.m_type = DTM_OUTPUT_PORT_RE,
     .m_modifier_count = D::DTM_OUTPUT_PORT_RE_COL_INDEXER + 1,
     .m_count_text = "line_node->get_num_modifiers() == (DTM_OUTPUT_PORT_RE_COL_INDEXER + 1)",
     .m_families = {F::OUTPUT_PORT, F::RE_TYPE},
     .m_positions = {1, D::DTM_OUTPUT_PORT_RE_COL_INDEXER},
     .m_checks = {{0b11, "(enum1 != CDB_RE_ILLEGAL_TYPE) && (enum2 != DB_MAX_OUTPUT_PORT_TYPE)"}},
     .m_stores = {{&OP_OUTPUT_PORT_RE::call<&DTM_NODE::set_port_re_node_delay>,
                   &OP_OUTPUT_PORT_RE::call<&DTM_NODE::add_port_re_node_delay>,
                   "Can't add output port->re node delay to root timing node"}}},
    {.m_type = DTM_FF,
     .m_modifier_count = D::DTM_FF_MICRO_INDEXER + 1,
     .m_count_text = "line_node->get_num_modifiers() == (DTM_FF_MICRO_INDEXER + 1)",
     .m_families = {F::BURIED_PORT, F::DESCRIPTOR},
     .m_positions = {1, D::DTM_FF_MICRO_INDEXER},
     .m_checks = {{0b11, "(enum1 != DB_MAX_BURIED_PORT_TYPE) && (enum2 != DTM_NONE)"}},
     .m_stores = {{&OP_FF::call<&DTM_NODE::set_ff_node_delay>,
                   &OP_FF::call<&DTM_NODE::add_ff_node_delay>,
                   "Can't add ff node delay to root timing node"}}},
    {.m_type = DTM_MICRO,
     .m_modifier_count = D::DTM_MICRO_INPUT_INDEXER + 1,
     .m_count_text = "line_node->get_num_modifiers() == (DTM_MICRO_INPUT_INDEXER + 1)",
     .m_families = {F::DESCRIPTOR},
     .m_positions = {D::DTM_MICRO_INPUT_INDEXER},
     .m_checks = {{0b1, "enum1 != DTM_NONE"}},
     .m_stores = {{&OP_MICRO::call<&DTM_NODE::set_micro_node_delay>,
                   &OP_MICRO::call<&DTM_NODE::add_micro_node_delay>,
                   "Can't add micro delay to root timing node"}}},
    // With three modifiers the second kind is the default edge.
    {.m_type = DTM_RC,
     .m_modifier_count = D::DTM_RC_INPUT_INDEXER + 2,
     .m_optional_key = 2,
     .m_optional_value = k_default_rc_edge,
     .m_count_text = "(line_node->get_num_modifiers() == (DTM_RC_INPUT_INDEXER + 2)) || "
                     "(line_node->get_num_modifiers() == (DTM_RC_INPUT_INDEXER + 1))",
     .m_families = {F::RE_TYPE, F::DESCRIPTOR, F::DESCRIPTOR},
     .m_positions = {1, D::DTM_RC_INPUT_INDEXER, D::DTM_RC_INPUT_INDEXER + 1},
     .m_checks = {{0b11, "(enum1 != CDB_RE_ILLEGAL_TYPE) && (enum2 != DTM_NONE)"}},
     .m_value = VALUE_KIND::FLOAT,
     .m_stores = {{&OP_RC::call<&DTM_NODE::set_rc_float>, &OP_RC::call<&DTM_NODE::add_rc_float>,
                   "Can't add rc node delay to root timing node"}}},
    {.m_type = DTM_RE,
     .m_modifier_count = D::DTM_RE_IC_INDEXER + 1,
     .m_count_text = "line_node->get_num_modifiers() == (DTM_RE_IC_INDEXER + 1)",
     .m_families = {F::RE_TYPE},
     .m_positions = {D::DTM_RE_IC_INDEXER},
     .m_checks = {{0b1, "enum1 != CDB_RE_ILLEGAL_TYPE"}},
     .m_stores = {{&OP_RE::call<&DTM_NODE::set_re_node_delay>,
                   &OP_RE::call<&DTM_NODE::add_re_node_delay>,
                   "Can't add re node delay to root timing node"}}},
    // The direction follows from the ends that fell back to buried ports.
    {.m_type = DTM_P2P,
     .m_modifier_count = D::DTM_P2P_IDX_INDEXER + 1,
     .m_optional_key = 2,
     .m_optional_value = DTM_NONE,
     .m_count_text = "(line_node->get_num_modifiers() == (DTM_P2P_IDX_INDEXER + 1)) || "
                     "(line_node->get_num_modifiers() == DTM_P2P_IDX_INDEXER)",
     .m_families = {F::SOURCE_PORT, F::TARGET_PORT, F::DESCRIPTOR},
     .m_positions = {1, D::DTM_P2P_OUTPUT_INDEXER, D::DTM_P2P_IDX_INDEXER},
     .m_checks = {{0b01, "(src1 != DB_MAX_INPUT_PORT_TYPE) || (src2 != DB_MAX_BURIED_PORT_TYPE)"},
                  {0b10, "(dst1 != DB_MAX_OUTPUT_PORT_TYPE) || (dst2 != DB_MAX_BURIED_PORT_TYPE)"}},
     .m_stores = {{&OP_P2P_SET<DB_INPUT_PORT_TYPE,
                               DB_OUTPUT_PORT_TYPE>::call<&DTM_NODE::set_p2p_node_delay>,
                   &OP_P2P_ADD<DB_INPUT_PORT_TYPE,
                               DB_OUTPUT_PORT_TYPE>::call<&DTM_NODE::add_p2p_node_delay>,
                   "Can't add p2p in-out node delay to root timing node"},
                  {&OP_P2P_SET<DB_INPUT_PORT_TYPE,
                               DB_BURIED_PORT_TYPE>::call<&DTM_NODE::set_p2p_node_delay>,
                   &OP_P2P_ADD<DB_INPUT_PORT_TYPE,
                               DB_BURIED_PORT_TYPE>::call<&DTM_NODE::add_p2p_node_delay>,
                   "Can't add p2p in-buried node delay to root timing node"},
                  {&OP_P2P_SET<DB_BURIED_PORT_TYPE,
                               DB_OUTPUT_PORT_TYPE>::call<&DTM_NODE::set_p2p_node_delay>,
                   &OP_P2P_ADD<DB_BURIED_PORT_TYPE,
                               DB_OUTPUT_PORT_TYPE>::call<&DTM_NODE::add_p2p_node_delay>,
                   "Can't add p2p buried-out node delay to root timing node"},
                  {&OP_P2P_SET<DB_BURIED_PORT_TYPE,
                               DB_BURIED_PORT_TYPE>::call<&DTM_NODE::set_p2p_node_delay>,
                   &OP_P2P_ADD<DB_BURIED_PORT_TYPE,
                               DB_BURIED_PORT_TYPE>::call<&DTM_NODE::add_p2p_node_delay>,
                   "Can't add p2p buried-buried node delay to root timing node"}}},
};

// The row of a delay type; every add operation names a type that has one.
constexpr const INSERT_ROW& find_row(DTM_NODE_ENUM type) {
  for (const INSERT_ROW& row : k_rows) {
    if (row.m_type == type) {
      return row;
    }
  }
  return k_rows[0];
}

// The row of every node-type value, found once by the compiler (null: none).
constexpr auto k_row_of = [] {
  std::array<const INSERT_ROW*, DTM_NODE_MAX_ENUM + 1> rows{};
  for (const INSERT_ROW& row : k_rows) {
    rows[static_cast<std::size_t>(row.m_type)] = &row;
  }
  return rows;
}();

// ---- The skeleton ----------------------------------------------------------------

int key_count(const INSERT_ROW& row) {
  int count = 0;
  while (count < k_max_keys && row.m_families[count] != FAMILY::NONE) {
    ++count;
  }
  return count;
}

// The path named by a line's parents (see DTM_FACTORY::get_parent_path),
// converting the names through the memo when there is one.
DTM_PATH parent_path(const DTM_LINE_NODE* line, bool check_bound,
                     DTM_FACTORY::DTM_PARENT_MEMO* memo) {
  DTM_PATH path;
  if (line == nullptr) {
    return path;
  }
  const DTM_SHORT parents = line->get_num_parents();
  for (DTM_SHORT i = 0; i < parents; ++i) {
    if (i >= DTM_PATH_LENGTH) {
      dtm_report("too many parents at this line node", k_source);
      continue;
    }
    const char* name = line->get_parent(i);
    const DTM_NODE_ENUM temp_enum =
        memo != nullptr ? memo->convert(i, name) : DBS_TRANSLATOR::find_dtm_node_enum(name);
    if (check_bound) {
      dtm_assert(temp_enum != DTM_NODE_MAX_ENUM, "temp_enum != DTM_NODE_MAX_ENUM", k_source);
    }
    path.m_places[i] = temp_enum;
  }
  return path;
}

bool same_path(const DTM_PATH& a, const DTM_PATH& b) {
  for (int i = 0; i < DTM_PATH_LENGTH; ++i) {
    if (a[i] != b[i]) {
      return false;
    }
  }
  return true;
}

// The node at the end of `path` below `root` when it and every node on the
// way, `root` included, is a plain DTM_NODE; null otherwise. From such a node
// an entry point with an empty path does what the root's entry point does
// with the whole path: plain nodes only pass the call down, level by level,
// to their first child of each id.
DTM_NODE* plain_target(DTM_NODE* root, const DTM_PATH& path) {
  DTM_NODE* node = root;
  for (int i = 0; node != nullptr; ++i) {
    if (typeid(*node) != typeid(DTM_NODE)) {
      return nullptr;
    }
    if (i == DTM_PATH_LENGTH || path[i] == DTM_NODE_NONE) {
      return node;
    }
    node = node->get_sub_node(path[i]);
  }
  return nullptr;
}

// The value of a delay line's chosen group.
VALUE evaluate_line(const DTM_FACTORY& factory, const INSERT_ROW& row, const DTM_LINE_NODE* line) {
  VALUE value;
  DTM_SHORT position = 0;
  const DTM_SHORT group = factory.choose_delay_group(line);
  if (row.m_value == VALUE_KIND::FLOAT) {
    value.m_float = factory.extract_float(line, &position, group);
  } else {
    value.m_long = factory.extract_long(line, &position, group);
    if (row.m_check_value) {
      dtm_assert(value.m_long != DTM_ILLEGAL_DELAY, "delay!=DTM_ILLEGAL_DELAY", k_source);
    }
  }
  return value;
}

void insert_delay(const DTM_FACTORY& factory, const INSERT_ROW& row, const DTM_LINE_NODE* line,
                  DTM_NODE* root, DTM_FACTORY::DTM_CONVERT_MEMO* memo) {
  if (!dtm_assert(line != nullptr && root != nullptr, k_null_text, k_source)) {
    return;
  }

  // Modifier count. The optional key is read only when the line has every
  // modifier; any other count is reported, and positions that the line
  // lacks are reported by the record and read as "".
  const DTM_SHORT modifiers = line->get_num_modifiers();
  const bool has_optional = row.m_optional_key >= 0;
  dtm_assert(
      modifiers == row.m_modifier_count || (has_optional && modifiers == row.m_modifier_count - 1),
      row.m_count_text, k_source);
  const bool short_form = has_optional && modifiers != row.m_modifier_count;

  // Keys, in modifier order.
  KEYS keys{};
  const int count = key_count(row);
  for (int i = 0; i < count; ++i) {
    if (short_form && i == row.m_optional_key) {
      keys[i] = {row.m_optional_value};
      continue;
    }
    const DTM_SHORT shift = short_form && i > row.m_optional_key ? 1 : 0;
    keys[i] = convert_key(row.m_families[i],
                          line->get_modifier(static_cast<DTM_SHORT>(row.m_positions[i] - shift)));
  }
  for (const KEY_CHECK& check : row.m_checks) {
    if (check.m_text == nullptr) {
      continue;
    }
    bool known = true;
    for (int i = 0; i < count; ++i) {
      if ((check.m_keys >> i) & 1U) {
        known = known && keys[i].m_known;
      }
    }
    dtm_assert(known, check.m_text, k_source);
  }

  const DTM_PATH path = parent_path(line, true, memo != nullptr ? &memo->m_parents : nullptr);

  // The value of the chosen delay group, as it stands.
  const VALUE value = evaluate_line(factory, row, line);

  // Where the node operations start: at the node the memo holds for this
  // path, or at the root. A tenth parent is left to the root: the set entry
  // points walk it, the add entry points do not.
  DTM_NODE* start = root;
  DTM_PATH walk = path;
  const bool memo_path = memo != nullptr && path[DTM_PATH_LENGTH - 1] == DTM_NODE_NONE;
  const bool known = memo_path && memo->m_target != nullptr && same_path(memo->m_path, path);
  if (known) {
    start = memo->m_target;
    walk = DTM_PATH{};
  }

  const STORE& store = row.m_stores[(keys[0].m_buried ? 2 : 0) + (keys[1].m_buried ? 1 : 0)];
  const bool stored = factory.get_update_flag() && store.m_set(*start, value, keys, walk);
  if (!stored && !store.m_add(*start, value, keys, walk)) {
    dtm_report(store.m_failure, k_source);
  }
  if (memo_path && !known) {
    memo->m_path = path;
    memo->m_target = plain_target(root, path);
  }
}

template <DTM_NODE_ENUM TYPE>
void insert(const DTM_FACTORY& factory, const DTM_LINE_NODE* line, DTM_NODE* root) {
  constexpr const INSERT_ROW& row = find_row(TYPE);
  static_assert(row.m_type == TYPE, "no insertion row for this delay type");
  insert_delay(factory, row, line, root, nullptr);
}

}  // namespace

DTM_PATH DTM_FACTORY::get_parent_path(const DTM_LINE_NODE* line, bool check_bound) {
  return parent_path(line, check_bound, nullptr);
}

DTM_NODE_ENUM DTM_FACTORY::DTM_PARENT_MEMO::convert(DTM_SHORT index, const char* name) {
  const auto i = static_cast<std::size_t>(index);
  if (m_names[i] == nullptr || std::strcmp(m_names[i], name) != 0) {
    m_names[i] = name;
    m_values[i] = DBS_TRANSLATOR::find_dtm_node_enum(name);
  }
  return m_values[i];
}

bool DTM_FACTORY::add_delay_line(DTM_NODE_ENUM type, const DTM_LINE_NODE* line, DTM_NODE* root,
                                 DTM_CONVERT_MEMO* memo) const {
  const auto value = static_cast<std::size_t>(type);
  const INSERT_ROW* row = value < k_row_of.size() ? k_row_of[value] : nullptr;
  if (row == nullptr) {
    return false;
  }
  insert_delay(*this, *row, line, root, memo);
  return true;
}

void DTM_FACTORY::add_integer(const DTM_LINE_NODE* line, DTM_NODE* root) const {
  insert<DTM_INTEGER>(*this, line, root);
}
void DTM_FACTORY::add_table(const DTM_LINE_NODE* line, DTM_NODE* root) const {
  insert<DTM_TABLE>(*this, line, root);
}
void DTM_FACTORY::add_float_table(const DTM_LINE_NODE* line, DTM_NODE* root) const {
  insert<DTM_FLOAT_TABLE>(*this, line, root);
}
void DTM_FACTORY::add_re_table(const DTM_LINE_NODE* line, DTM_NODE* root) const {
  insert<DTM_RE_TABLE>(*this, line, root);
}
void DTM_FACTORY::add_re_input_port(const DTM_LINE_NODE* line, DTM_NODE* root) const {
  insert<DTM_RE_INPUT_PORT>(*this, line, root);
}
void DTM_FACTORY::add_output_port_re(const DTM_LINE_NODE* line, DTM_NODE* root) const {
  insert<DTM_OUTPUT_PORT_RE>(*this, line, root);
}
void DTM_FACTORY::add_ff(const DTM_LINE_NODE* line, DTM_NODE* root) const {
  insert<DTM_FF>(*this, line, root);
}
void DTM_FACTORY::add_micro(const DTM_LINE_NODE* line, DTM_NODE* root) const {
  insert<DTM_MICRO>(*this, line, root);
}
void DTM_FACTORY::add_rc(const DTM_LINE_NODE* line, DTM_NODE* root) const {
  insert<DTM_RC>(*this, line, root);
}
void DTM_FACTORY::add_re(const DTM_LINE_NODE* line, DTM_NODE* root) const {
  insert<DTM_RE>(*this, line, root);
}
void DTM_FACTORY::add_p2p(const DTM_LINE_NODE* line, DTM_NODE* root) const {
  insert<DTM_P2P>(*this, line, root);
}

// ---- General parameters ------------------------------------------------------------

DTM_ENUM_WRAPPER DTM_FACTORY::get_enum_wrapper_by_string(const char* text) {
  if (text == nullptr) {
    return {};
  }
  if (const DTM_ENUM value = DTM_STRING::get_dtm_enum(text); value != DTM_NONE) {
    return DTM_ENUM_WRAPPER(value);
  }
  if (const CDB_RE_TYPE value = DTM_STRING::get_cdb_re_type_enum(text);
      value != CDB_RE_ILLEGAL_TYPE) {
    return DTM_ENUM_WRAPPER(value);
  }
  if (const DB_INPUT_PORT_TYPE value = DTM_STRING::get_db_input_port_type_enum(text);
      value != DB_MAX_INPUT_PORT_TYPE) {
    return DTM_ENUM_WRAPPER(value);
  }
  if (const DB_OUTPUT_PORT_TYPE value = DTM_STRING::get_db_output_port_type_enum(text);
      value != DB_MAX_OUTPUT_PORT_TYPE) {
    return DTM_ENUM_WRAPPER(value);
  }
  if (const DB_BURIED_PORT_TYPE value = DTM_STRING::get_db_buried_port_type_enum(text);
      value != DB_MAX_BURIED_PORT_TYPE) {
    return DTM_ENUM_WRAPPER(value);
  }
  if (is_decimal(text)) {
    return DTM_ENUM_WRAPPER::for_index(read_decimal(text));
  }
  return {};
}

void DTM_FACTORY::add_general_param(const DTM_LINE_NODE* line, DTM_NODE* root) const {
  if (!dtm_assert(line != nullptr && root != nullptr, k_null_text, k_source)) {
    return;
  }
  const DTM_SHORT num_modifiers = line->get_num_modifiers();
  dtm_assert(num_modifiers <= DTM_MAX_GEN_PARAMS, "num_modifiers <= DTM_MAX_GEN_PARAMS", k_source);
  // The key of the parameters behind the type; it is built and dropped.
  DTM_TREE_DATA_KEY key;
  for (DTM_SHORT i = 1; i < num_modifiers && i < DTM_MAX_GEN_PARAMS; ++i) {
    key.add_enum_wrapper_to_key(get_enum_wrapper_by_string(line->get_modifier(i)));
  }
}
