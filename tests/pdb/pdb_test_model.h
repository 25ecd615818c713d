// Small persisted classes shaped like the timing model: a node tree with
// owned children, an owned data tree and a linked node that is owned only
// when its version is 1; typed data leaves keyed by a plain key holding an
// array of plain wrappers; and a line record with every value type, kept in
// a list that is freed from its head.
#pragma once

#include <cmath>
#include <cstdint>

#include "mem_alloc_sys.h"
#include "pdb_sys.h"

enum T_KIND : std::int32_t { T_KIND_NONE = 0, T_KIND_A = 7, T_KIND_B = -3 };

class T_WRAPPER : public PDB_OBJECT<T_WRAPPER> {
 public:
  T_WRAPPER() = default;
  T_WRAPPER(std::int32_t type, std::int32_t id) : m_type(type), m_id(id) {}
  void serialize(PDB_SEGMENT& segment) {
    segment.serialize_begin(s_pdb_class_info, this);
    segment.xfr("m_type", m_type);
    segment.xfr("m_id", m_id);
    segment.serialize_end();
  }
  bool operator==(const T_WRAPPER& o) const { return m_type == o.m_type && m_id == o.m_id; }

  std::int32_t m_type = 0;
  std::int32_t m_id = -1;
};

class T_KEY : public PDB_OBJECT<T_KEY> {
 public:
  T_KEY() = default;
  explicit T_KEY(std::int16_t count) : m_count(count) {
    m_parts = pdb_new_array<T_WRAPPER>(static_cast<std::size_t>(count));
    for (std::int16_t i = 0; i < count; ++i) {
      m_parts[i] = T_WRAPPER(i + 1, 100 * i - 5);
    }
  }
  ~T_KEY() { delete[] m_parts; }
  void serialize(PDB_SEGMENT& segment) {
    segment.serialize_begin(s_pdb_class_info, this);
    const std::int16_t count =
        pdb_array_xfr_(segment, "m_parts", m_parts, m_count, T_WRAPPER::s_pdb_class_info);
    segment.xfr("m_count", m_count);
    segment.check(count == m_count, "m_count matches m_parts");
    segment.serialize_end();
  }

  T_WRAPPER* m_parts = nullptr;
  std::int16_t m_count = 0;
};

class T_DATA : public PDB_VIRTUAL_OBJECT<T_DATA> {
 public:
  ~T_DATA() override {
    delete m_left;
    delete m_right;
    delete m_key;
  }
  void serialize(PDB_SEGMENT& segment) override {
    segment.serialize_begin(s_pdb_class_info, this);
    transfer(segment);
    segment.serialize_end();
  }
  void transfer(PDB_SEGMENT& segment) {
    segment.xfr_ref("m_left", m_left, T_DATA::s_pdb_class_info, PDB_OWNED);
    segment.xfr_ref("m_right", m_right, T_DATA::s_pdb_class_info, PDB_OWNED);
    segment.xfr_ref("m_key", m_key, T_KEY::s_pdb_class_info, PDB_OWNED);
    segment.xfr("m_balance", m_balance);
  }

  T_DATA* m_left = nullptr;
  T_DATA* m_right = nullptr;
  T_KEY* m_key = nullptr;
  std::int16_t m_balance = 0;
};

class T_INT_DATA : public T_DATA {
 public:
  static inline PDB_CLASS_INFO* s_pdb_class_info = nullptr;
  PDB_CLASS_INFO* pdb_class_info() override { return s_pdb_class_info; }
  const PDB_CLASS_INFO* pdb_class_info() const override { return s_pdb_class_info; }
  void serialize(PDB_SEGMENT& segment) override {
    segment.serialize_begin(s_pdb_class_info, this);
    T_DATA::serialize(segment);
    segment.xfr("m_value", m_value);
    segment.serialize_end();
  }
  std::int32_t m_value = 0;
};

class T_FLOAT_DATA : public T_DATA {
 public:
  static inline PDB_CLASS_INFO* s_pdb_class_info = nullptr;
  PDB_CLASS_INFO* pdb_class_info() override { return s_pdb_class_info; }
  const PDB_CLASS_INFO* pdb_class_info() const override { return s_pdb_class_info; }
  void serialize(PDB_SEGMENT& segment) override {
    segment.serialize_begin(s_pdb_class_info, this);
    T_DATA::serialize(segment);
    segment.xfr("m_value", m_value);
    segment.serialize_end();
  }
  double m_value = 0.0;
};

class T_NODE : public PDB_VIRTUAL_OBJECT<T_NODE> {
 public:
  T_NODE() = default;
  explicit T_NODE(T_KIND id) : m_id(id) {}
  ~T_NODE() override {
    for (T_NODE* child : m_nodes) {
      delete child;
    }
    delete m_data_root;
    if (m_linked_node != nullptr && m_linked_node->m_version == 1) {
      delete m_linked_node;
    }
  }
  // The linked node is owned when its version is 1.
  static bool owns_linked(const PDB_OBJECT_BASE* linked) {
    return static_cast<const T_NODE*>(linked)->m_version == 1;
  }
  void serialize(PDB_SEGMENT& segment) override {
    segment.serialize_begin(s_pdb_class_info, this);
    segment.set_source("pdb_test_model");
    segment.xfr_ref_vector("m_nodes", m_nodes, T_NODE::s_pdb_class_info, PDB_OWNED);
    segment.xfr("m_id", m_id);
    segment.xfr("m_writable", m_writable);
    segment.xfr("m_description", m_description);
    segment.xfr("m_version", m_version);
    segment.xfr("m_bin", m_bin);
    segment.xfr_ref("m_data_root", m_data_root, T_DATA::s_pdb_class_info, PDB_OWNED);
    segment.xfr_ref("m_linked_node", m_linked_node, T_NODE::s_pdb_class_info,
                    PDB_OWNERSHIP::by_rule(&owns_linked));
    segment.serialize_end();
  }
  T_NODE* add(T_NODE* child) {
    m_nodes.push_back(child);
    return child;
  }

  MEM_VECTOR<T_NODE*> m_nodes;
  T_KIND m_id = T_KIND_NONE;
  bool m_writable = true;
  MEM_STRING m_description;
  std::int16_t m_version = 0;
  std::int16_t m_bin = 0;
  T_DATA* m_data_root = nullptr;
  T_NODE* m_linked_node = nullptr;
};

// A subclass that adds nothing of its own.
class T_LEAF : public T_NODE {
 public:
  static inline PDB_CLASS_INFO* s_pdb_class_info = nullptr;
  PDB_CLASS_INFO* pdb_class_info() override { return s_pdb_class_info; }
  const PDB_CLASS_INFO* pdb_class_info() const override { return s_pdb_class_info; }
  void serialize(PDB_SEGMENT& segment) override {
    segment.serialize_begin(s_pdb_class_info, this);
    T_NODE::serialize(segment);
    segment.serialize_end();
  }
};

// A subclass with owned references of its own.
class T_PAIR : public T_NODE {
 public:
  static inline PDB_CLASS_INFO* s_pdb_class_info = nullptr;
  ~T_PAIR() override {
    delete m_first;
    delete m_second;
  }
  PDB_CLASS_INFO* pdb_class_info() override { return s_pdb_class_info; }
  const PDB_CLASS_INFO* pdb_class_info() const override { return s_pdb_class_info; }
  void serialize(PDB_SEGMENT& segment) override {
    segment.serialize_begin(s_pdb_class_info, this);
    T_NODE::serialize(segment);
    segment.xfr_ref("m_first", m_first, T_NODE::s_pdb_class_info, PDB_OWNED);
    segment.xfr_ref("m_second", m_second, T_NODE::s_pdb_class_info, PDB_OWNED);
    segment.serialize_end();
  }
  T_NODE* m_first = nullptr;
  T_NODE* m_second = nullptr;
};

// A record of a doubly linked list: each record owns the next one, and the
// list is freed from its head without recursion (the class's destroyer).
class T_LINE : public PDB_OBJECT<T_LINE> {
 public:
  using WORDS = MEM_VECTOR<MEM_STRING>;
  using GROUPS = MEM_VECTOR<WORDS>;

  static void delete_list(T_LINE* head) noexcept {
    while (head != nullptr) {
      T_LINE* next = head->m_next;
      delete head;
      head = next;
    }
  }
  static void destroy(PDB_OBJECT_BASE* head) noexcept { delete_list(static_cast<T_LINE*>(head)); }

  void serialize(PDB_SEGMENT& segment) {
    segment.serialize_begin(s_pdb_class_info, this);
    segment.xfr("m_line_number", m_line_number);
    segment.xfr("m_marked", m_marked);
    segment.xfr("m_description", m_description);
    segment.xfr("m_kind", m_kind);
    segment.xfr("m_scale", m_scale);
    segment.xfr("m_numbers", m_numbers);
    segment.xfr("m_words", m_words);
    segment.xfr("m_groups", m_groups);
    segment.xfr("m_flags", m_flags);
    segment.xfr_ref("m_prev", m_prev, T_LINE::s_pdb_class_info, PDB_NOT_OWNED);
    segment.xfr_ref("m_next", m_next, T_LINE::s_pdb_class_info, PDB_OWNED);
    segment.serialize_end();
  }

  std::int16_t m_line_number = 0;
  bool m_marked = false;
  MEM_STRING m_description;
  T_KIND m_kind = T_KIND_NONE;
  double m_scale = 0.0;
  MEM_VECTOR<std::int32_t> m_numbers;
  WORDS m_words;
  GROUPS m_groups;
  MEM_VECTOR<bool> m_flags;
  T_LINE* m_prev = nullptr;
  T_LINE* m_next = nullptr;
};

// The registration, in one place and in order (bases first).
inline bool register_test_classes() {
  PDB_SEGMENT_INFO& ddb = pdb_ddb_segment_info();
  pdb_register_class<T_NODE>(ddb, "T_NODE", 0x10000001, &T_NODE::s_pdb_class_info);
  pdb_register_class<T_WRAPPER>(ddb, "T_WRAPPER", 0x10000002, &T_WRAPPER::s_pdb_class_info);
  pdb_register_class<T_LINE>(ddb, "T_LINE", 0x10000003, &T_LINE::s_pdb_class_info,
                             &T_LINE::destroy);
  pdb_register_class<T_LEAF, T_NODE>(ddb, "T_LEAF", 0x10000004, &T_LEAF::s_pdb_class_info);
  pdb_register_class<T_PAIR, T_NODE>(ddb, "T_PAIR", 0x10000005, &T_PAIR::s_pdb_class_info);
  pdb_register_class<T_DATA>(ddb, "T_DATA", 0x10000006, &T_DATA::s_pdb_class_info);
  pdb_register_class<T_INT_DATA, T_DATA>(ddb, "T_INT_DATA", 0x10000007,
                                         &T_INT_DATA::s_pdb_class_info);
  pdb_register_class<T_FLOAT_DATA, T_DATA>(ddb, "T_FLOAT_DATA", 0x10000008,
                                           &T_FLOAT_DATA::s_pdb_class_info);
  pdb_register_class<T_KEY>(ddb, "T_KEY", 0x10000009, &T_KEY::s_pdb_class_info);
  return true;
}

inline const bool t_test_classes_registered = register_test_classes();
