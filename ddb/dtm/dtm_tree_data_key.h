// Keys of the balanced delay tree: a short list of (enumeration family, value)
// pairs, compared part by part.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "dbs_enums.h"
#include "dtm_types.h"
#include "mem_alloc_sys.h"
#include "pdb_sys.h"

// The enumeration family a wrapper's value belongs to (its m_enum_type).
enum DTM_WRAPPER_TYPE : std::int32_t {
  DTM_WRAPPER_UNSET = 0,
  DTM_WRAPPER_DTM_ENUM = 1,
  DTM_WRAPPER_BURIED_PORT = 2,
  DTM_WRAPPER_INPUT_PORT = 3,
  DTM_WRAPPER_OUTPUT_PORT = 4,
  DTM_WRAPPER_RE_TYPE = 5,
  DTM_WRAPPER_INDEX = 6,
};

// The most parts a key is built with.
inline constexpr DTM_SHORT DTM_MAX_KEY_WRAPPERS = 5;

// One part of a key. The typed constructors apply the stored-value
// convention: DTM_ENUM values are kept as they are, every other family (and
// an integer index) is kept as its value plus one.
class DTM_ENUM_WRAPPER : public PDB_OBJECT<DTM_ENUM_WRAPPER> {
 public:
  // The unset pair: family 0, value -1.
  constexpr DTM_ENUM_WRAPPER() noexcept = default;
  constexpr DTM_ENUM_WRAPPER(std::int32_t enum_type, std::int32_t enum_id) noexcept
      : m_enum_type(enum_type), m_enum_id(enum_id) {}
  explicit constexpr DTM_ENUM_WRAPPER(DTM_ENUM value) noexcept
      : DTM_ENUM_WRAPPER(DTM_WRAPPER_DTM_ENUM, value) {}
  explicit constexpr DTM_ENUM_WRAPPER(DB_BURIED_PORT_TYPE value) noexcept
      : DTM_ENUM_WRAPPER(DTM_WRAPPER_BURIED_PORT, plus_one(value)) {}
  explicit constexpr DTM_ENUM_WRAPPER(DB_INPUT_PORT_TYPE value) noexcept
      : DTM_ENUM_WRAPPER(DTM_WRAPPER_INPUT_PORT, plus_one(value)) {}
  explicit constexpr DTM_ENUM_WRAPPER(DB_OUTPUT_PORT_TYPE value) noexcept
      : DTM_ENUM_WRAPPER(DTM_WRAPPER_OUTPUT_PORT, plus_one(value)) {}
  explicit constexpr DTM_ENUM_WRAPPER(CDB_RE_TYPE value) noexcept
      : DTM_ENUM_WRAPPER(DTM_WRAPPER_RE_TYPE, plus_one(value)) {}
  static constexpr DTM_ENUM_WRAPPER for_index(int index) noexcept {
    return {DTM_WRAPPER_INDEX, plus_one(index)};
  }

  std::int32_t get_enum_type() const noexcept { return m_enum_type; }
  std::int32_t get_enum_id() const noexcept { return m_enum_id; }

  // Three-way comparison: the ids first, then the families. The result is
  // the difference (this minus other) of the first unequal field, saturated
  // to the 32-bit range so that its sign is always right; 0 when equal.
  int compare_enum(const DTM_ENUM_WRAPPER& other) const noexcept {
    if (m_enum_id != other.m_enum_id) {
      return saturated_difference(m_enum_id, other.m_enum_id);
    }
    return saturated_difference(m_enum_type, other.m_enum_type);
  }
  bool operator==(const DTM_ENUM_WRAPPER& other) const noexcept {
    return m_enum_type == other.m_enum_type && m_enum_id == other.m_enum_id;
  }

  // The enumeration name of a stored value of a family 1 to 5 (the value
  // minus one, except for DTM_ENUM): the translator's debug name, a
  // register-element type's entry of CDB_RE_TYPE_STRING. Never null for
  // those families (a value without a member gets the translator's
  // "<unnamed ...>" text); null for any other family.
  static const char* get_name(std::int32_t enum_type, std::int32_t enum_id) noexcept;
  const char* get_name() const noexcept { return get_name(m_enum_type, m_enum_id); }

  // The part as display text: its name (families 1 to 5), the index (family
  // 6), "-" when unset, and "<family>:<id>" for an unknown family.
  void write_text(std::ostream& os) const;

  // Persistence (ddb_dtm__pdb.cpp, ddb_dtm__pdbg.cpp).
  void serialize(PDB_SEGMENT& segment);
  bool is_auto_match_pdb_xfr(PDB_OBJECT_BASE* other, PDB_MATCH_DATA* data) const;

 private:
  friend class DTM_TREE_DATA_KEY;

  static constexpr std::int32_t plus_one(std::int32_t value) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) + 1U);
  }
  static constexpr int saturated_difference(std::int32_t a, std::int32_t b) noexcept {
    const std::int64_t d = static_cast<std::int64_t>(a) - b;
    return d > INT32_MAX ? INT32_MAX : (d < INT32_MIN ? INT32_MIN : static_cast<int>(d));
  }

  std::int32_t m_enum_type = DTM_WRAPPER_UNSET;
  std::int32_t m_enum_id = -1;
};

// A key of one to five wrappers. Keys of up to two wrappers (nearly all of
// them) keep their wrappers inside the key object; m_id then points at that
// inline storage, and only longer arrays are allocated separately.
class DTM_TREE_DATA_KEY : public PDB_OBJECT<DTM_TREE_DATA_KEY> {
 public:
  // An empty key (no wrappers), to be filled by a reader.
  DTM_TREE_DATA_KEY() noexcept : m_id(m_inline) {}
  // Takes the first `count` wrappers. A count outside 1 to 5 is reported and
  // leaves the key with `count` unset wrappers (none when count <= 0).
  DTM_TREE_DATA_KEY(DTM_SHORT count, DTM_ENUM_WRAPPER w1, DTM_ENUM_WRAPPER w2 = {},
                    DTM_ENUM_WRAPPER w3 = {}, DTM_ENUM_WRAPPER w4 = {}, DTM_ENUM_WRAPPER w5 = {});
  DTM_TREE_DATA_KEY(const DTM_TREE_DATA_KEY& other);
  DTM_TREE_DATA_KEY& operator=(const DTM_TREE_DATA_KEY& other);
  // Moves take over a separate wrapper array; the source is left empty.
  DTM_TREE_DATA_KEY(DTM_TREE_DATA_KEY&& other) noexcept;
  DTM_TREE_DATA_KEY& operator=(DTM_TREE_DATA_KEY&& other) noexcept;
  ~DTM_TREE_DATA_KEY();

  // Appends one wrapper (a negative count is taken as 0 first).
  void add_enum_wrapper_to_key(DTM_ENUM_WRAPPER wrapper);

  DTM_SHORT get_num_wrapper() const noexcept { return m_num_wrapper; }
  // The wrappers in use: get_num_wrapper() of them when that is positive.
  const DTM_ENUM_WRAPPER* get_wrappers() const noexcept { return m_id; }
  // One wrapper; an index out of range is reported and answers the unset pair.
  DTM_ENUM_WRAPPER get_wrapper(DTM_SHORT index) const;

  // Three-way comparison of two keys. When either count is <= 0 the counts
  // alone decide; otherwise the first unequal wrapper pair (compare_enum),
  // and with an equal common prefix the longer key is the larger (+1 / -1).
  int compare_key(const DTM_TREE_DATA_KEY& other) const noexcept {
    return compare_wrapper_lists(m_id, m_num_wrapper, other.m_id, other.m_num_wrapper);
  }
  // The same rule on plain arrays (lookups compare without building a key).
  static int compare_wrapper_lists(const DTM_ENUM_WRAPPER* a, DTM_SHORT a_count,
                                   const DTM_ENUM_WRAPPER* b, DTM_SHORT b_count) noexcept {
    if (a_count <= 0 || b_count <= 0) {
      return (a_count > b_count) - (a_count < b_count);
    }
    const DTM_SHORT common = a_count < b_count ? a_count : b_count;
    for (DTM_SHORT i = 0; i < common; ++i) {
      const int d = a[i].compare_enum(b[i]);
      if (d != 0) {
        return d;
      }
    }
    return (a_count > b_count) - (a_count < b_count);
  }

  // The sign of compare_wrapper_lists (-1, 0, +1), without the differences:
  // what the tree's walks need.
  static int order_wrapper_lists(const DTM_ENUM_WRAPPER* a, DTM_SHORT a_count,
                                 const DTM_ENUM_WRAPPER* b, DTM_SHORT b_count) noexcept {
    if (a_count > 0 && b_count > 0) {
      const DTM_SHORT common = a_count < b_count ? a_count : b_count;
      for (DTM_SHORT i = 0; i < common; ++i) {
        if (a[i].m_enum_id != b[i].m_enum_id) {
          return a[i].m_enum_id < b[i].m_enum_id ? -1 : 1;
        }
        if (a[i].m_enum_type != b[i].m_enum_type) {
          return a[i].m_enum_type < b[i].m_enum_type ? -1 : 1;
        }
      }
    }
    return (a_count > b_count) - (a_count < b_count);
  }
  int order_key(const DTM_TREE_DATA_KEY& other) const noexcept {
    return order_wrapper_lists(m_id, m_num_wrapper, other.m_id, other.m_num_wrapper);
  }

  // Whether `count` is a valid number of wrappers for a key (1 to 5);
  // reports "Number of enum_wrapper out of range" when it is not.
  static bool check_count(DTM_SHORT count);

  // The key as display text: "[part, part, ...]" (see write_text).
  void write_text(std::ostream& os) const;
  std::string get_text() const;

  // Persistence (ddb_dtm__pdb.cpp, ddb_dtm__pdbg.cpp). Reading keeps up to
  // two wrappers inline, as the constructors do.
  void serialize(PDB_SEGMENT& segment);
  bool is_auto_match_pdb_xfr(PDB_OBJECT_BASE* other, PDB_MATCH_DATA* data) const;

 private:
  static constexpr DTM_SHORT k_inline_capacity = 2;

  void assign(const DTM_ENUM_WRAPPER* wrappers, DTM_SHORT count);
  void take(DTM_TREE_DATA_KEY& other) noexcept;
  void release() noexcept;

  // m_num_wrapper first: it fills the gap behind the persistence identity.
  DTM_SHORT m_num_wrapper = 0;
  DTM_ENUM_WRAPPER* m_id;  // the wrapper array; owned unless it is m_inline
  DTM_ENUM_WRAPPER m_inline[k_inline_capacity];
};
