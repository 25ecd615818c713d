// The shared skeleton of the typed delay leaves.
//
// Every typed leaf keeps all the delays of its kind, for its place in the
// tree, in one balanced keyed tree (m_data_root). The leaves differ only in
// their kind id, the types of their key arguments, their value type and a few
// report rules, so each is one row of the kind table below and one
// instantiation of DTM_TYPED_NODE; the leaf classes themselves only give the
// skeleton its public names. DTM_NODE's entry points (dtm_node.cpp) read the
// same rows to find, create and ask the leaves.
#pragma once

#include <cstdint>
#include <tuple>

#include "dtm_node.h"
#include "dtm_report.h"
#include "dtm_tree_data.h"

// --- Key encoding -------------------------------------------------------------
// Each key argument becomes one key part: its family code and its value, kept
// as it is for DTM_ENUM and plus one for every other family. Stored keys
// depend on this encoding: it must never change.
template <class T>
struct DTM_KEY_CODE;
template <>
struct DTM_KEY_CODE<DTM_ENUM> {
  static constexpr std::int32_t k_type = 1;
  static constexpr std::uint32_t k_shift = 0;
};
template <>
struct DTM_KEY_CODE<DB_BURIED_PORT_TYPE> {
  static constexpr std::int32_t k_type = 2;
  static constexpr std::uint32_t k_shift = 1;
};
template <>
struct DTM_KEY_CODE<DB_INPUT_PORT_TYPE> {
  static constexpr std::int32_t k_type = 3;
  static constexpr std::uint32_t k_shift = 1;
};
template <>
struct DTM_KEY_CODE<DB_OUTPUT_PORT_TYPE> {
  static constexpr std::int32_t k_type = 4;
  static constexpr std::uint32_t k_shift = 1;
};
template <>
struct DTM_KEY_CODE<CDB_RE_TYPE> {
  static constexpr std::int32_t k_type = 5;
  static constexpr std::uint32_t k_shift = 1;
};
template <>
struct DTM_KEY_CODE<int> {  // an integer index
  static constexpr std::int32_t k_type = 6;
  static constexpr std::uint32_t k_shift = 1;
};

template <class T>
constexpr DTM_ENUM_WRAPPER dtm_key_part(T value) noexcept {
  // Unsigned arithmetic: the shift of the largest value wraps instead of overflowing.
  return DTM_ENUM_WRAPPER(
      DTM_KEY_CODE<T>::k_type,
      static_cast<std::int32_t>(static_cast<std::uint32_t>(value) + DTM_KEY_CODE<T>::k_shift));
}

// A key as the parts in use, built on the stack for lookups.
struct DTM_KEY_PARTS {
  DTM_SHORT m_count = 0;
  DTM_ENUM_WRAPPER m_parts[DTM_MAX_KEY_WRAPPERS];

  DTM_TREE_DATA_KEY make_key() const {
    return DTM_TREE_DATA_KEY(m_count, m_parts[0], m_parts[1], m_parts[2], m_parts[3], m_parts[4]);
  }
};

// The parts of a key, in argument order. Kinds whose last argument is a
// DTM_ENUM condition leave that part out altogether when it is DTM_NONE.
template <class KIND>
DTM_KEY_PARTS dtm_key_parts(const typename KIND::ARGS& args) noexcept {
  DTM_KEY_PARTS key;
  std::apply([&key](auto... values) { ((key.m_parts[key.m_count++] = dtm_key_part(values)), ...); },
             args);
  if constexpr (KIND::k_condition_last) {
    if (std::get<std::tuple_size_v<typename KIND::ARGS> - 1>(args) == DTM_NONE) {
      key.m_parts[--key.m_count] = DTM_ENUM_WRAPPER();
    }
  }
  return key;
}

// --- Value types ------------------------------------------------------------------
// What the skeleton asks of the data tree, per value type.
template <class VALUE>
struct DTM_VALUE_OPS;

template <>
struct DTM_VALUE_OPS<int> {
  static constexpr int k_missing = DTM_ILLEGAL_DELAY;
  static bool is_missing(int value) noexcept { return value == DTM_ILLEGAL_DELAY; }
  static int get(const DTM_TREE_DATA& root, const DTM_KEY_PARTS& k) {
    return root.get_int_from_tree_by_wrapper_list(k.m_count, k.m_parts[0], k.m_parts[1],
                                                  k.m_parts[2], k.m_parts[3], k.m_parts[4]);
  }
  static bool set(DTM_TREE_DATA& root, int value, const DTM_TREE_DATA_KEY& key) {
    return root.set_int_from_tree(value, &key);
  }
  static DTM_TREE_DATA* add(DTM_TREE_DATA& root, int value, const DTM_TREE_DATA_KEY& key) {
    return root.add_int_to_tree(value, key);
  }
  static DTM_TREE_DATA* make_root(int value, const DTM_TREE_DATA_KEY& key) {
    return MEM_MANAGER::new_wrapper<DTM_TREE_INT_DATA>(value, key);
  }
};

template <>
struct DTM_VALUE_OPS<double> {
  static constexpr double k_missing = DTM_ILLEGAL_FLOAT;
  // Either float sentinel means "no value": a leaf without data answers its
  // kind's sentinel, a float tree without the key answers DTM_ILLEGAL_FLOAT.
  static bool is_missing(double value) noexcept {
    return value == DTM_ILLEGAL_FLOAT || value == DTM_ILLEGAL_TABLE_FLOAT;
  }
  static double get(const DTM_TREE_DATA& root, const DTM_KEY_PARTS& k) {
    return root.get_float_from_tree_by_wrapper_list(k.m_count, k.m_parts[0], k.m_parts[1],
                                                    k.m_parts[2], k.m_parts[3], k.m_parts[4]);
  }
  static bool set(DTM_TREE_DATA& root, double value, const DTM_TREE_DATA_KEY& key) {
    return root.set_float_from_tree(value, &key);
  }
  static DTM_TREE_DATA* add(DTM_TREE_DATA& root, double value, const DTM_TREE_DATA_KEY& key) {
    return root.add_float_to_tree(value, key);
  }
  static DTM_TREE_DATA* make_root(double value, const DTM_TREE_DATA_KEY& key) {
    return MEM_MANAGER::new_wrapper<DTM_TREE_FLOAT_DATA>(value, key);
  }
};

// --- The kind table -------------------------------------------------------------------
// Operations of a leaf, for the rules that name some of them.
enum DTM_LEAF_OP : unsigned { DTM_LEAF_GET = 1U, DTM_LEAF_SET = 2U, DTM_LEAF_ADD = 4U };

// What every row has; a row overrides what differs.
//   LEAF / k_kind      the leaf class and its id
//   VALUE, KEYS...     value type and key argument types, in key order
//   k_missing          what a get answers when there is nothing to ask
//   k_path_reports     operations that report "enum1 == DTM_NODE_NONE" when
//                      handed a path
//   k_condition_last   the last key argument is a DTM_ENUM condition that is
//                      left out of the key when DTM_NONE
//   k_checks_writable  set and add refuse when the leaf is not writable
//   k_link_text        what DTM_NODE asserts of a leaf's linked node (null:
//                      nothing)
//   k_class_text       what DTM_NODE reports for a child that carries the
//                      kind's id but is not of the leaf class
//   k_query_code       the kind's number in the query index (1 to 14, one per
//                      leaf kind and point-to-point direction)
//   accepts(keys)      whether DTM_NODE asks the leaf at all
template <class LEAF_T, DTM_NODE_ENUM KIND, class VALUE_T, class... KEYS>
struct DTM_KIND_ROW {
  using LEAF = LEAF_T;
  using VALUE = VALUE_T;
  using ARGS = std::tuple<KEYS...>;
  using VALUE_OPS = DTM_VALUE_OPS<VALUE>;
  static constexpr DTM_NODE_ENUM k_kind = KIND;
  static constexpr VALUE k_missing = VALUE_OPS::k_missing;
  static constexpr unsigned k_path_reports = 0;
  static constexpr bool k_condition_last = false;
  static constexpr bool k_checks_writable = true;
  static constexpr const char* k_link_text = nullptr;

  static bool accepts(const ARGS&) noexcept { return true; }
  // The leaf's own operations, as DTM_NODE's entry points call them.
  static VALUE leaf_get(const LEAF& leaf, const ARGS& keys) { return leaf.get_value(keys); }
  static bool leaf_set(LEAF& leaf, VALUE delay, const ARGS& keys) {
    return leaf.set_value(delay, keys);
  }
  static bool leaf_add(LEAF& leaf, VALUE delay, const ARGS& keys) {
    return leaf.add_value(delay, keys);
  }
  static LEAF* make_leaf() { return MEM_MANAGER::new_wrapper<LEAF>(true); }
};

class DTM_MICRO_NODE;
class DTM_TABLE_NODE;
class DTM_FLOAT_TABLE_NODE;
class DTM_FF_NODE;
class DTM_RE_NODE;
class DTM_RE_TABLE_NODE;
class DTM_RE_INPUT_PORT_NODE;
class DTM_OUTPUT_PORT_RE_NODE;
class DTM_RC_NODE;
class DTM_INTEGER_NODE;

inline constexpr unsigned DTM_LEAF_ALL_OPS = DTM_LEAF_GET | DTM_LEAF_SET | DTM_LEAF_ADD;

struct DTM_MICRO_KIND : DTM_KIND_ROW<DTM_MICRO_NODE, DTM_MICRO, int, DTM_ENUM> {
  static constexpr unsigned k_query_code = 1;
  static constexpr const char* k_source = "dtm_micro_node";
  static constexpr unsigned k_path_reports = DTM_LEAF_ALL_OPS;
  static constexpr const char* k_link_text = "micro_node->m_linked_node->get_id() == DTM_MICRO";
  static constexpr const char* k_class_text = "typeid(*node) == typeid(DTM_MICRO_NODE)";
};

struct DTM_TABLE_KIND : DTM_KIND_ROW<DTM_TABLE_NODE, DTM_TABLE, int, DTM_ENUM, DTM_ENUM> {
  static constexpr unsigned k_query_code = 2;
  static constexpr const char* k_source = "dtm_table_node";
  static constexpr const char* k_link_text = "table_node->m_linked_node->get_id() == DTM_TABLE";
  static constexpr const char* k_class_text = "typeid(*node) == typeid(DTM_TABLE_NODE)";
};

struct DTM_FLOAT_TABLE_KIND
    : DTM_KIND_ROW<DTM_FLOAT_TABLE_NODE, DTM_FLOAT_TABLE, double, DTM_ENUM, DTM_ENUM> {
  static constexpr unsigned k_query_code = 3;
  static constexpr const char* k_source = "dtm_float_table_node";
  // The integer sentinel's value, not DTM_ILLEGAL_FLOAT.
  static constexpr double k_missing = DTM_ILLEGAL_TABLE_FLOAT;
  static constexpr const char* k_link_text =
      "float_table_node->m_linked_node->get_id() == DTM_FLOAT_TABLE";
  static constexpr const char* k_class_text = "typeid(*node) == typeid(DTM_FLOAT_TABLE_NODE)";
};

struct DTM_FF_KIND : DTM_KIND_ROW<DTM_FF_NODE, DTM_FF, int, DB_BURIED_PORT_TYPE, DTM_ENUM> {
  static constexpr unsigned k_query_code = 4;
  static constexpr const char* k_source = "dtm_ff_node";
  static constexpr unsigned k_path_reports = DTM_LEAF_ALL_OPS;
  static constexpr const char* k_link_text = "ff_node->m_linked_node->get_id() == DTM_FF";
  static constexpr const char* k_class_text = "typeid(*node) == typeid(DTM_FF_NODE)";
};

struct DTM_RE_KIND : DTM_KIND_ROW<DTM_RE_NODE, DTM_RE, int, CDB_RE_TYPE> {
  static constexpr unsigned k_query_code = 5;
  static constexpr const char* k_source = "dtm_re_node";
  static constexpr unsigned k_path_reports = DTM_LEAF_ADD;
  static constexpr const char* k_link_text = "re_node->m_linked_node->get_id() == DTM_RE";
  static constexpr const char* k_class_text = "typeid(*node) == typeid(DTM_RE_NODE)";
};

struct DTM_RE_TABLE_KIND
    : DTM_KIND_ROW<DTM_RE_TABLE_NODE, DTM_RE_TABLE, int, CDB_RE_TYPE, CDB_RE_TYPE, DTM_ENUM> {
  static constexpr unsigned k_query_code = 6;
  static constexpr const char* k_source = "dtm_re_table_node";
  static constexpr unsigned k_path_reports = DTM_LEAF_ADD;
  static constexpr bool k_condition_last = true;
  static constexpr const char* k_link_text = "re_node->m_linked_node->get_id() == DTM_RE_TABLE";
  static constexpr const char* k_class_text = "typeid(*node) == typeid(DTM_RE_TABLE_NODE)";
};

struct DTM_RE_INPUT_PORT_KIND : DTM_KIND_ROW<DTM_RE_INPUT_PORT_NODE, DTM_RE_INPUT_PORT, int,
                                             CDB_RE_TYPE, DB_INPUT_PORT_TYPE> {
  static constexpr unsigned k_query_code = 7;
  static constexpr const char* k_source = "dtm_re_input_port_node";
  static constexpr unsigned k_path_reports = DTM_LEAF_ADD;
  static constexpr const char* k_link_text =
      "re_node->m_linked_node->get_id() == DTM_RE_INPUT_PORT";
  static constexpr const char* k_class_text = "typeid(*node) == typeid(DTM_RE_INPUT_PORT_NODE)";
};

struct DTM_OUTPUT_PORT_RE_KIND : DTM_KIND_ROW<DTM_OUTPUT_PORT_RE_NODE, DTM_OUTPUT_PORT_RE, int,
                                              DB_OUTPUT_PORT_TYPE, CDB_RE_TYPE> {
  static constexpr unsigned k_query_code = 8;
  static constexpr const char* k_source = "dtm_output_port_re_node";
  static constexpr unsigned k_path_reports = DTM_LEAF_ADD;
  static constexpr const char* k_link_text =
      "re_node->m_linked_node->get_id() == DTM_OUTPUT_PORT_RE";
  static constexpr const char* k_class_text = "typeid(*node) == typeid(DTM_OUTPUT_PORT_RE_NODE)";
};

struct DTM_RC_KIND : DTM_KIND_ROW<DTM_RC_NODE, DTM_RC, double, CDB_RE_TYPE, DTM_ENUM, DTM_ENUM> {
  static constexpr unsigned k_query_code = 9;
  static constexpr const char* k_source = "dtm_rc_node";
  static constexpr unsigned k_path_reports = DTM_LEAF_ALL_OPS;
  static constexpr const char* k_link_text = "rc_node->m_linked_node->get_id() == DTM_RC";
  static constexpr const char* k_class_text = "typeid(*node) == typeid(DTM_RC_NODE)";
};

struct DTM_INTEGER_KIND : DTM_KIND_ROW<DTM_INTEGER_NODE, DTM_INTEGER, int, DTM_ENUM, int> {
  static constexpr unsigned k_query_code = 10;
  static constexpr const char* k_source = "dtm_integer_node";
  static constexpr unsigned k_path_reports = DTM_LEAF_SET;
  static constexpr const char* k_link_text = "integer_node->m_linked_node->get_id() == DTM_INTEGER";
  static constexpr const char* k_class_text = "typeid(*node) == typeid(DTM_INTEGER_NODE)";
  // Signed: negative indexes are passed on.
  static bool accepts(const ARGS& keys) noexcept {
    return std::get<1>(keys) <= DTM_MAX_INTEGER_INDEX;
  }
};

// --- The skeleton ---------------------------------------------------------------------
template <class KIND>
class DTM_TYPED_NODE : public DTM_NODE {
 public:
  using VALUE = typename KIND::VALUE;
  using ARGS = typename KIND::ARGS;
  using LEAF = typename KIND::LEAF;

  // Persistence: the leaf's class record; a leaf transfers DTM_NODE's fields
  // only (ddb_dtm__pdb.cpp).
  static inline PDB_CLASS_INFO* s_pdb_class_info = nullptr;
  PDB_CLASS_INFO* pdb_class_info() override { return s_pdb_class_info; }
  const PDB_CLASS_INFO* pdb_class_info() const override { return s_pdb_class_info; }
  void serialize(PDB_SEGMENT& segment) override;

  // The leaf's own lookup: the delay stored under the keys, KIND::k_missing
  // without data, the tree's own absent value without the key.
  VALUE get_value(const ARGS& keys) const {
    if (m_data_root == nullptr) {
      return KIND::k_missing;
    }
    return KIND::VALUE_OPS::get(*m_data_root, dtm_key_parts<KIND>(keys));
  }
  // Changes an existing delay; never creates data.
  bool set_value(VALUE delay, const ARGS& keys) {
    if constexpr (KIND::k_checks_writable) {
      if (!m_writable) {
        return false;
      }
    }
    if (m_data_root == nullptr) {
      return false;
    }
    const DTM_TREE_DATA_KEY key = dtm_key_parts<KIND>(keys).make_key();
    return KIND::VALUE_OPS::set(*m_data_root, delay, key);
  }
  // Stores a delay; the tree's root can change when it rebalances. An equal
  // key already stored is the tree's to report (it keeps the first value).
  bool add_value(VALUE delay, const ARGS& keys) {
    if constexpr (KIND::k_checks_writable) {
      if (!is_writable()) {
        return false;
      }
    }
    const DTM_TREE_DATA_KEY key = dtm_key_parts<KIND>(keys).make_key();
    if (m_data_root != nullptr) {
      m_data_root = KIND::VALUE_OPS::add(*m_data_root, delay, key);  // the insert counts the change
    } else {
      DTM_MODEL_EPOCH::advance();
      m_data_root = KIND::VALUE_OPS::make_root(delay, key);
    }
    return true;
  }

  // A writable leaf of the same class with this one's description, version
  // and bin, and with `copy_data` a deep copy of its data. Children and the
  // linked node are not copied; `recursive` does not matter to a leaf.
  DTM_NODE* clone(MEM_SEGMENT* segment, bool, bool copy_data) const override {
    dtm_assert(segment != nullptr, "segment != 0", KIND::k_source);
    LEAF* copy = MEM_MANAGER::new_wrapper_in<LEAF>(segment, true);
    copy->set_bin(get_bin());
    copy->set_description(m_description);
    copy->set_version(get_version());
    if (m_data_root != nullptr && copy_data) {
      copy->m_data_root = m_data_root->clone(segment);
    }
    return copy;
  }
  void dump_tree_in_dmf_format(std::ostream&, std::string_view) const override {}

 protected:
  explicit DTM_TYPED_NODE(bool writable) : DTM_NODE(KIND::k_kind, writable) {}

  // A leaf is addressed by its parent: a path handed to it is reported by
  // the operations that the kind names, and then ignored.
  static void check_no_path(DTM_NODE_ENUM p0, DTM_LEAF_OP op) {
    if ((KIND::k_path_reports & op) != 0U) {
      dtm_assert(p0 == DTM_NODE_NONE, "enum1 == DTM_NODE_NONE", KIND::k_source);
    }
  }
};
