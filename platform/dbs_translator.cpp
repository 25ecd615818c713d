// The enumeration translator: every table of names is turned by the compiler
// into a hash index (name to row) and a value index (value to row, or to the
// text of an unnamed value), so that nothing is built at run time and every
// lookup is one hash, a probe or two and one comparison.
#include "dbs_translator.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace {

struct DBS_ROW {
  std::int32_t m_value;
  const char* m_name;
  bool m_alias;  // repeats the name of an earlier row on purpose
};

// One enumeration's rows, the label that names the enumeration in the text of
// an unnamed value, and the lowest value that every value index must cover
// (the port types' bound, which is not a member).
template <std::size_t N>
struct DBS_TABLE_DATA {
  const char* m_label;
  std::int32_t m_bound;
  std::array<DBS_ROW, N> m_rows;
};

template <std::size_t N>
constexpr DBS_TABLE_DATA<N> dbs_table_data(const char* label, std::int32_t bound,
                                           const DBS_ROW (&rows)[N]) {
  DBS_TABLE_DATA<N> data{label, bound, {}};
  for (std::size_t i = 0; i < N; ++i) {
    data.m_rows[i] = rows[i];
  }
  return data;
}

// Up to eight bytes of `text`, little-endian: the compiler reads them one
// by one, the running program in one load when there are eight.
constexpr std::uint64_t dbs_load(const char* text, std::size_t count) noexcept {
  if (!std::is_constant_evaluated() && count == 8 && std::endian::native == std::endian::little) {
    std::uint64_t word;
    std::memcpy(&word, text, 8);
    return word;
  }
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < count; ++i) {
    word |= std::uint64_t{static_cast<unsigned char>(text[i])} << (8 * i);
  }
  return word;
}

constexpr std::uint64_t dbs_mix(std::uint64_t hash, std::uint64_t word) noexcept {
  hash = (hash ^ word) * 0xFF51AFD7ED558CCDULL;
  return hash ^ (hash >> 32);
}

// Eight bytes per multiply, seeded with the length; a name of eight bytes or
// more ends with its last eight bytes (overlapping the chunk before). The
// compiler builds the index with the same function that the lookups run.
constexpr std::uint32_t dbs_hash(std::string_view text) noexcept {
  const std::size_t size = text.size();
  const char* data = text.data();
  std::uint64_t hash = 0x9E3779B97F4A7C15ULL ^ size;
  if (size >= 8) {
    for (std::size_t at = 0; at + 8 < size; at += 8) {
      hash = dbs_mix(hash, dbs_load(data + at, 8));
    }
    hash = dbs_mix(hash, dbs_load(data + size - 8, 8));
  } else {
    hash = dbs_mix(hash, dbs_load(data, size));
  }
  hash *= 0x94D049BB133111EBULL;
  return static_cast<std::uint32_t>(hash >> 32);
}

// Equality of two texts of the same `size`, eight bytes at a time.
inline bool dbs_same(const char* a, const char* b, std::size_t size) noexcept {
  if (size < 8) {
    return std::memcmp(a, b, size) == 0;
  }
  for (std::size_t at = 0; at + 8 < size; at += 8) {
    if (dbs_load(a + at, 8) != dbs_load(b + at, 8)) {
      return false;
    }
  }
  return dbs_load(a + size - 8, 8) == dbs_load(b + size - 8, 8);
}

// A DMF name: upper-case letters, digits and underscores, not starting with a digit.
constexpr bool dbs_is_token(std::string_view name) noexcept {
  if (name.empty() || (name.front() >= '0' && name.front() <= '9')) {
    return false;
  }
  for (const char c : name) {
    if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_')) {
      return false;
    }
  }
  return true;
}

constexpr std::size_t dbs_digits(std::int32_t value) noexcept {
  std::size_t digits = 1;
  for (; value >= 10; value /= 10) {
    ++digits;
  }
  return digits;
}

constexpr std::string_view k_unnamed_prefix = "<unnamed ";

// Hash slots: a power of two at least twice the rows, so probes stay short.
template <std::size_t N>
constexpr std::size_t dbs_slots(const DBS_TABLE_DATA<N>&) noexcept {
  return std::bit_ceil(2 * N);
}

// Values 0 to the highest member (or the bound) have a slot in the value index.
template <std::size_t N>
constexpr std::size_t dbs_range(const DBS_TABLE_DATA<N>& data) noexcept {
  std::int32_t last = data.m_bound;
  for (const DBS_ROW& row : data.m_rows) {
    last = row.m_value > last ? row.m_value : last;
  }
  return static_cast<std::size_t>(last) + 1;
}

template <std::size_t N>
constexpr bool dbs_is_member(const DBS_TABLE_DATA<N>& data, std::int32_t value) noexcept {
  for (const DBS_ROW& row : data.m_rows) {
    if (row.m_value == value) {
      return true;
    }
  }
  return false;
}

// Characters of all "<unnamed LABEL VALUE>" texts of the range, NULs included.
template <std::size_t N>
constexpr std::size_t dbs_pool_size(const DBS_TABLE_DATA<N>& data) noexcept {
  const std::size_t fixed = k_unnamed_prefix.size() + std::string_view(data.m_label).size() + 3;
  std::size_t size = fixed - 1;  // the text of a value outside the range has no blank
  for (std::size_t value = 0; value < dbs_range(data); ++value) {
    if (!dbs_is_member(data, static_cast<std::int32_t>(value))) {
      size += fixed + dbs_digits(static_cast<std::int32_t>(value));
    }
  }
  return size;
}

// A slot of the name index: the row's hash and length beside it, so that a
// probe reads the row's name only when both agree.
struct DBS_SLOT {
  std::uint32_t m_hash = 0;
  std::int16_t m_row = 0;  // row + 1; 0 marks an empty slot
  std::uint16_t m_size = 0;
};

template <std::size_t SLOTS, std::size_t RANGE, std::size_t POOL>
struct DBS_INDEX {
  std::array<DBS_SLOT, SLOTS> m_by_name{};
  // The row of a member, or -1 - (offset of the value's text in m_pool).
  std::array<std::int32_t, RANGE> m_by_value{};
  std::array<char, POOL> m_pool{};  // starts with the text of a value outside the range
  bool m_well_formed = true;
};

template <std::size_t SLOTS, std::size_t RANGE, std::size_t POOL, std::size_t N>
constexpr DBS_INDEX<SLOTS, RANGE, POOL> dbs_build(const DBS_TABLE_DATA<N>& data) {
  DBS_INDEX<SLOTS, RANGE, POOL> index;
  std::size_t pool = 0;
  const auto append = [&](std::string_view text) {
    for (const char c : text) {
      index.m_pool[pool++] = c;
    }
  };
  const std::string_view label = data.m_label;
  append(k_unnamed_prefix);
  append(label);
  append(">");
  index.m_pool[pool++] = '\0';

  for (std::size_t row = 0; row < N; ++row) {
    const DBS_ROW& entry = data.m_rows[row];
    const std::string_view name = entry.m_name;
    if (!dbs_is_token(name) || entry.m_value < 0) {
      index.m_well_formed = false;
      continue;
    }
    // Value index: every value has one row at most.
    std::int32_t& by_value = index.m_by_value[static_cast<std::size_t>(entry.m_value)];
    if (by_value != 0) {
      index.m_well_formed = false;
    }
    by_value = static_cast<std::int32_t>(row) + 1;
    // Name index: the first row of a name wins; only an alias may repeat one.
    const std::uint32_t hash = dbs_hash(name);
    std::size_t slot = hash & (SLOTS - 1);
    bool repeated = false;
    for (; index.m_by_name[slot].m_row != 0; slot = (slot + 1) & (SLOTS - 1)) {
      if (std::string_view(data.m_rows[index.m_by_name[slot].m_row - 1].m_name) == name) {
        repeated = true;
        break;
      }
    }
    if (repeated != entry.m_alias) {
      index.m_well_formed = false;
    }
    if (!repeated) {
      index.m_by_name[slot] = {hash, static_cast<std::int16_t>(row + 1),
                               static_cast<std::uint16_t>(name.size())};
    }
  }
  // Values without a member get their own text.
  for (std::size_t value = 0; value < RANGE; ++value) {
    if (index.m_by_value[value] != 0) {
      index.m_by_value[value] -= 1;
      continue;
    }
    index.m_by_value[value] = -1 - static_cast<std::int32_t>(pool);
    append(k_unnamed_prefix);
    append(label);
    append(" ");
    char digits[12] = {};
    std::size_t count = 0;
    for (std::size_t rest = value; count == 0 || rest != 0; rest /= 10) {
      digits[count++] = static_cast<char>('0' + rest % 10);
    }
    while (count != 0) {
      index.m_pool[pool++] = digits[--count];
    }
    append(">");
    index.m_pool[pool++] = '\0';
  }
  if (pool != POOL) {
    index.m_well_formed = false;
  }
  return index;
}

// The lookups of one enumeration over its compile-time index.
template <const auto& DATA>
class DBS_TABLE {
 public:
  // The row of `name`, or -1 when the table does not hold it: one hash over
  // the name, then the probe compares hashes and lengths before any text.
  static int find(std::string_view name) noexcept {
    const std::uint32_t hash = dbs_hash(name);
    for (std::size_t slot = hash & (k_slots - 1); k_index.m_by_name[slot].m_row != 0;
         slot = (slot + 1) & (k_slots - 1)) {
      const DBS_SLOT& entry = k_index.m_by_name[slot];
      if (entry.m_hash == hash && entry.m_size == name.size()) {
        const int row = entry.m_row - 1;
        if (dbs_same(name.data(), DATA.m_rows[static_cast<std::size_t>(row)].m_name, name.size())) {
          return row;
        }
      }
    }
    return -1;
  }
  // Also for a null name, which no table holds.
  static int find(const char* name) noexcept {
    return name == nullptr ? -1 : find(std::string_view(name));
  }
  // The value of `text` into `value`, or false with `value` untouched.
  template <class ENUM>
  static bool find_value(std::string_view text, ENUM& value) noexcept {
    const int row = find(text);
    if (row < 0) {
      return false;
    }
    value = static_cast<ENUM>(DATA.m_rows[static_cast<std::size_t>(row)].m_value);
    return true;
  }

  static bool exists(const char* name) noexcept { return find(name) >= 0; }

  template <class NAME>
  static std::int32_t value(NAME name, std::int32_t fallback) noexcept {
    const int row = find(name);
    return row < 0 ? fallback : DATA.m_rows[static_cast<std::size_t>(row)].m_value;
  }

  static const char* name_of(std::int32_t value) noexcept {
    if (value < 0 || static_cast<std::size_t>(value) >= k_range) {
      return k_index.m_pool.data();
    }
    const std::int32_t entry = k_index.m_by_value[static_cast<std::size_t>(value)];
    return entry >= 0 ? DATA.m_rows[static_cast<std::size_t>(entry)].m_name
                      : k_index.m_pool.data() + (-1 - entry);
  }

 private:
  static constexpr std::size_t k_slots = dbs_slots(DATA);
  static constexpr std::size_t k_range = dbs_range(DATA);
  static constexpr DBS_INDEX<k_slots, k_range, dbs_pool_size(DATA)> k_index =
      dbs_build<k_slots, k_range, dbs_pool_size(DATA)>(DATA);
  static_assert(k_index.m_well_formed,
                "a name table holds a bad token, a repeated value or an unmarked repeated name");
};

// ---------------------------------------------------------------------------
// The tables.

constexpr DBS_ROW k_dtm_enum_rows[] = {
#define DBS_NAME(name, value) {value, #name, false},
#include "dbs_dtm_enum.def"
#undef DBS_NAME
};
constexpr auto k_dtm_enum = dbs_table_data("DTM_ENUM", 0, k_dtm_enum_rows);

constexpr DBS_ROW k_dtm_node_enum_rows[] = {
#define DBS_NAME(name, value) {value, #name, false},
#include "dbs_dtm_node_enum.def"
#undef DBS_NAME
};
constexpr auto k_dtm_node_enum = dbs_table_data("DTM_NODE_ENUM", 0, k_dtm_node_enum_rows);

constexpr DBS_ROW k_cdb_re_type_rows[] = {
#define DBS_NAME(name, value) {value, #name, false},
#define DBS_ALIAS(ident, name, value) {value, #name, true},
#include "dbs_cdb_re_type.def"
#undef DBS_ALIAS
#undef DBS_NAME
};
constexpr auto k_cdb_re_type = dbs_table_data("CDB_RE_TYPE", 0, k_cdb_re_type_rows);

constexpr DBS_ROW k_input_port_rows[] = {
#define DBS_NAME(name, value) {value, #name, false},
#include "dbs_db_input_port.def"
#undef DBS_NAME
};
constexpr auto k_input_port =
    dbs_table_data("DB_INPUT_PORT_TYPE", DB_MAX_INPUT_PORT_TYPE, k_input_port_rows);

constexpr DBS_ROW k_output_port_rows[] = {
#define DBS_NAME(name, value) {value, #name, false},
#include "dbs_db_output_port.def"
#undef DBS_NAME
};
constexpr auto k_output_port =
    dbs_table_data("DB_OUTPUT_PORT_TYPE", DB_MAX_OUTPUT_PORT_TYPE, k_output_port_rows);

constexpr DBS_ROW k_buried_port_rows[] = {
#define DBS_NAME(name, value) {value, #name, false},
#include "dbs_db_buried_port.def"
#undef DBS_NAME
};
constexpr auto k_buried_port =
    dbs_table_data("DB_BURIED_PORT_TYPE", DB_MAX_BURIED_PORT_TYPE, k_buried_port_rows);

constexpr DBS_ROW k_dev_family_rows[] = {
#define DBS_NAME(name, value) {value, #name, false},
#include "dbs_dev_family.def"
#undef DBS_NAME
};
constexpr auto k_dev_family = dbs_table_data("DEV_FAMILY_ENUM", 0, k_dev_family_rows);

using DTM_ENUM_TABLE = DBS_TABLE<k_dtm_enum>;
using DTM_NODE_ENUM_TABLE = DBS_TABLE<k_dtm_node_enum>;
using CDB_RE_TYPE_TABLE = DBS_TABLE<k_cdb_re_type>;
using INPUT_PORT_TABLE = DBS_TABLE<k_input_port>;
using OUTPUT_PORT_TABLE = DBS_TABLE<k_output_port>;
using BURIED_PORT_TABLE = DBS_TABLE<k_buried_port>;
using DEV_FAMILY_TABLE = DBS_TABLE<k_dev_family>;

// The register-element table is indexed by value: its rows must run 0, 1, ... 604.
constexpr bool dbs_is_dense(const auto& data) noexcept {
  for (std::size_t i = 0; i < data.m_rows.size(); ++i) {
    if (data.m_rows[i].m_value != static_cast<std::int32_t>(i)) {
      return false;
    }
  }
  return true;
}
static_assert(k_cdb_re_type.m_rows.size() == CDB_RE_TYPE_COUNT && dbs_is_dense(k_cdb_re_type));
static_assert(k_input_port.m_rows.size() == DB_MAX_INPUT_PORT_TYPE && dbs_is_dense(k_input_port));
static_assert(k_output_port.m_rows.size() == DB_MAX_OUTPUT_PORT_TYPE &&
              dbs_is_dense(k_output_port));
static_assert(k_buried_port.m_rows.size() == DB_MAX_BURIED_PORT_TYPE &&
              dbs_is_dense(k_buried_port));

}  // namespace

const char* const CDB_RE_TYPE_STRING[CDB_RE_TYPE_COUNT] = {
#define DBS_NAME(name, value) #name,
#define DBS_ALIAS(ident, name, value) #name,
#include "dbs_cdb_re_type.def"
#undef DBS_ALIAS
#undef DBS_NAME
};

CDB_RE_TYPE cdb_re_type_find(const char* name) noexcept {
  // The index holds the first row of every name, which is what a scan from
  // entry 0 would stop at; entry 604 is an ordinary row of it.
  return static_cast<CDB_RE_TYPE>(CDB_RE_TYPE_TABLE::value(name, CDB_RE_ILLEGAL_TYPE));
}

bool DBS_TRANSLATOR::exists_dtm_enum_by_string(const char* name) noexcept {
  return DTM_ENUM_TABLE::exists(name);
}
DTM_ENUM DBS_TRANSLATOR::get_dtm_enum_by_string(const char* name) noexcept {
  return static_cast<DTM_ENUM>(DTM_ENUM_TABLE::value(name, DTM_NONE));
}

bool DBS_TRANSLATOR::exists_dtm_node_enum_by_string(const char* name) noexcept {
  return DTM_NODE_ENUM_TABLE::exists(name);
}
DTM_NODE_ENUM DBS_TRANSLATOR::get_dtm_node_enum_by_string(const char* name) noexcept {
  return static_cast<DTM_NODE_ENUM>(DTM_NODE_ENUM_TABLE::value(name, DTM_NODE_NONE));
}

bool DBS_TRANSLATOR::exists_input_port_type_by_string(const char* name) noexcept {
  return INPUT_PORT_TABLE::exists(name);
}
DB_INPUT_PORT_TYPE DBS_TRANSLATOR::get_input_port_type_by_string(const char* name) noexcept {
  return static_cast<DB_INPUT_PORT_TYPE>(INPUT_PORT_TABLE::value(name, DB_MAX_INPUT_PORT_TYPE));
}

bool DBS_TRANSLATOR::exists_output_port_type_by_string(const char* name) noexcept {
  return OUTPUT_PORT_TABLE::exists(name);
}
DB_OUTPUT_PORT_TYPE DBS_TRANSLATOR::get_output_port_type_by_string(const char* name) noexcept {
  return static_cast<DB_OUTPUT_PORT_TYPE>(OUTPUT_PORT_TABLE::value(name, DB_MAX_OUTPUT_PORT_TYPE));
}

bool DBS_TRANSLATOR::exists_buried_port_type_by_string(const char* name) noexcept {
  return BURIED_PORT_TABLE::exists(name);
}
DB_BURIED_PORT_TYPE DBS_TRANSLATOR::get_buried_port_type_by_string(const char* name) noexcept {
  return static_cast<DB_BURIED_PORT_TYPE>(BURIED_PORT_TABLE::value(name, DB_MAX_BURIED_PORT_TYPE));
}

bool DBS_TRANSLATOR::exists_dev_family_by_string(const char* name) noexcept {
  return DEV_FAMILY_TABLE::exists(name);
}
DEV_FAMILY_ENUM DBS_TRANSLATOR::get_dev_family_by_string(const char* name) noexcept {
  return static_cast<DEV_FAMILY_ENUM>(DEV_FAMILY_TABLE::value(name, DEV_FAMILY_NONE));
}

DTM_ENUM DBS_TRANSLATOR::find_dtm_enum(std::string_view name) noexcept {
  return static_cast<DTM_ENUM>(DTM_ENUM_TABLE::value(name, DTM_NONE));
}
DTM_NODE_ENUM DBS_TRANSLATOR::find_dtm_node_enum(std::string_view name) noexcept {
  return static_cast<DTM_NODE_ENUM>(DTM_NODE_ENUM_TABLE::value(name, DTM_NODE_NONE));
}
DB_INPUT_PORT_TYPE DBS_TRANSLATOR::find_input_port_type(std::string_view name) noexcept {
  return static_cast<DB_INPUT_PORT_TYPE>(INPUT_PORT_TABLE::value(name, DB_MAX_INPUT_PORT_TYPE));
}
DB_OUTPUT_PORT_TYPE DBS_TRANSLATOR::find_output_port_type(std::string_view name) noexcept {
  return static_cast<DB_OUTPUT_PORT_TYPE>(OUTPUT_PORT_TABLE::value(name, DB_MAX_OUTPUT_PORT_TYPE));
}
DB_BURIED_PORT_TYPE DBS_TRANSLATOR::find_buried_port_type(std::string_view name) noexcept {
  return static_cast<DB_BURIED_PORT_TYPE>(BURIED_PORT_TABLE::value(name, DB_MAX_BURIED_PORT_TYPE));
}
CDB_RE_TYPE DBS_TRANSLATOR::find_cdb_re_type(std::string_view name) noexcept {
  return static_cast<CDB_RE_TYPE>(CDB_RE_TYPE_TABLE::value(name, CDB_RE_ILLEGAL_TYPE));
}

const char* DBS_TRANSLATOR::get_debug_string_name(DTM_ENUM value) noexcept {
  return DTM_ENUM_TABLE::name_of(value);
}
const char* DBS_TRANSLATOR::get_debug_string_name(DTM_NODE_ENUM value) noexcept {
  return DTM_NODE_ENUM_TABLE::name_of(value);
}
const char* DBS_TRANSLATOR::get_debug_string_name(DB_INPUT_PORT_TYPE value) noexcept {
  return INPUT_PORT_TABLE::name_of(value);
}
const char* DBS_TRANSLATOR::get_debug_string_name(DB_OUTPUT_PORT_TYPE value) noexcept {
  return OUTPUT_PORT_TABLE::name_of(value);
}
const char* DBS_TRANSLATOR::get_debug_string_name(DB_BURIED_PORT_TYPE value) noexcept {
  return BURIED_PORT_TABLE::name_of(value);
}
const char* DBS_TRANSLATOR::get_debug_string_name(CDB_RE_TYPE value) noexcept {
  return CDB_RE_TYPE_TABLE::name_of(value);
}
const char* DBS_TRANSLATOR::get_debug_string_name(DEV_FAMILY_ENUM value) noexcept {
  return DEV_FAMILY_TABLE::name_of(value);
}

bool DBS_TRANSLATOR::find_value(std::string_view name, DTM_ENUM& value) noexcept {
  return DTM_ENUM_TABLE::find_value(name, value);
}
bool DBS_TRANSLATOR::find_value(std::string_view name, DTM_NODE_ENUM& value) noexcept {
  return DTM_NODE_ENUM_TABLE::find_value(name, value);
}
bool DBS_TRANSLATOR::find_value(std::string_view name, DB_INPUT_PORT_TYPE& value) noexcept {
  return INPUT_PORT_TABLE::find_value(name, value);
}
bool DBS_TRANSLATOR::find_value(std::string_view name, DB_OUTPUT_PORT_TYPE& value) noexcept {
  return OUTPUT_PORT_TABLE::find_value(name, value);
}
bool DBS_TRANSLATOR::find_value(std::string_view name, DB_BURIED_PORT_TYPE& value) noexcept {
  return BURIED_PORT_TABLE::find_value(name, value);
}
bool DBS_TRANSLATOR::find_value(std::string_view name, CDB_RE_TYPE& value) noexcept {
  return CDB_RE_TYPE_TABLE::find_value(name, value);
}
bool DBS_TRANSLATOR::find_value(std::string_view name, DEV_FAMILY_ENUM& value) noexcept {
  return DEV_FAMILY_TABLE::find_value(name, value);
}
