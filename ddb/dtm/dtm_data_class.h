// Enum-keyed data chains: binary search trees of entries keyed by one
// DTM_ENUM value per level. An entry holds an integer (DTM_INT_DATA), a
// double (DTM_FLOAT_DATA) or the root of the next level (DTM_PTR_DATA), so a
// value is addressed by a path of up to three keys. Siblings are balanced by
// entry count with single rotations; the operations that insert return the
// level's new root, which the caller must store.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "dbs_enums.h"
#include "dtm_types.h"
#include "mem_alloc_sys.h"
#include "pdb_sys.h"

class DTM_INT_DATA;
class DTM_FLOAT_DATA;
class DTM_PTR_DATA;

class DTM_BASE_DATA : public PDB_VIRTUAL_OBJECT<DTM_BASE_DATA> {
 public:
  DTM_BASE_DATA() noexcept = default;
  explicit DTM_BASE_DATA(DTM_ENUM key) noexcept : m_enum(key) {}
  // Destroys the entry's siblings (and, for DTM_PTR_DATA, its sub tree)
  // without recursion.
  virtual ~DTM_BASE_DATA();
  DTM_BASE_DATA(const DTM_BASE_DATA&) = delete;
  DTM_BASE_DATA& operator=(const DTM_BASE_DATA&) = delete;

  // Persistence (ddb_dtm__pdb.cpp, ddb_dtm__pdbg.cpp).
  void serialize(PDB_SEGMENT& segment) override;
  bool is_auto_match_pdb_xfr(PDB_VIRTUAL_OBJECT_BASE* other, PDB_MATCH_DATA* data) const override;

  // --- Insertion -----------------------------------------------------------
  // Inserts a detached entry (or chain) into the level rooted here and
  // rebalances the path; returns the level's new root. An entry whose key
  // is already there is dropped: it is not linked and stays the caller's
  // (`*inserted` tells which happened).
  DTM_BASE_DATA* add_enum(DTM_BASE_DATA* new_node, bool* inserted = nullptr);
  // Inserts a value under the path (e1, e2, e3); an existing value is never
  // overwritten. Which rules apply depends on the kind of this level's root.
  virtual DTM_BASE_DATA* add_enum(int value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3);
  virtual DTM_BASE_DATA* add_enum(double value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3);
  // A detached chain for the path: null when e1 is DTM_NONE, a leaf holding
  // the value for a one-key path, DTM_PTR_DATA entries above it otherwise.
  static DTM_BASE_DATA* create_node(int value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3);
  static DTM_BASE_DATA* create_node(double value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3);

  // --- Path operations (on the root of the top level) -----------------------
  // The entry the path addresses, or null. Path elements beyond a leaf are
  // ignored; a path ending on a DTM_PTR_DATA finds that entry.
  const DTM_BASE_DATA* find_enum(DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) const;
  DTM_BASE_DATA* find_enum(DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3);
  int get_value(DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) const;
  double get_float(DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) const;
  // Change an existing value; false when nothing is found or the entry is of
  // another kind. Never creates entries.
  bool set_value(int value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3);
  bool set_float(double value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3);

  // --- This entry ----------------------------------------------------------------
  // The value of this entry; sentinels (and false) for an entry of another kind.
  virtual int get_value() const { return DTM_ILLEGAL_DELAY; }
  virtual bool set_value(int) { return false; }
  virtual double get_float() const { return DTM_ILLEGAL_FLOAT; }
  virtual bool set_float(double) { return false; }
  // The next level's root (DTM_PTR_DATA only; null otherwise). The setters
  // store without destroying the old sub tree; false on other kinds.
  virtual DTM_BASE_DATA* get_sub_tree() const { return nullptr; }
  virtual bool set_sub_tree(DTM_BASE_DATA*) { return false; }
  bool set_sub_tree(DTM_INT_DATA* sub_tree);
  bool set_sub_tree(DTM_FLOAT_DATA* sub_tree);
  bool set_sub_tree(DTM_PTR_DATA* sub_tree);

  DTM_ENUM get_enum() const noexcept { return m_enum; }
  bool set_enum(DTM_ENUM key) noexcept {
    m_enum = key;
    return true;
  }
  DTM_BASE_DATA* get_left() const noexcept { return m_left; }
  DTM_BASE_DATA* get_right() const noexcept { return m_right; }
  // Store without destroying the old sibling subtree.
  bool set_left(DTM_BASE_DATA* left) noexcept {
    m_left = left;
    return true;
  }
  bool set_right(DTM_BASE_DATA* right) noexcept {
    m_right = right;
    return true;
  }

  // Entries in the sibling tree rooted at `node` (sub trees not counted);
  // 0 for null, at most INT16_MAX.
  static DTM_SHORT get_node_count(const DTM_BASE_DATA* node);

  // --- Whole chains --------------------------------------------------------------
  // A deep copy: the same keys, values and shape at every level.
  DTM_BASE_DATA* clone() const;
  // Lists every value of the chain, one line each: the number, then the
  // entry's path (path + separator + label per level), then "\n". Per entry:
  // its sub tree, its own values, its left siblings, its right siblings.
  // Labels are named by the owning node's type; `flag` is passed down only.
  void print_tree(std::ostream& os, DTM_NODE_ENUM node_type, const std::string& path, bool flag,
                  const std::string& separator) const;
  // Compares this chain with `other` (the other model's chain at the same
  // level): with values_mode, the values that differ ("value\t::\tother"
  // and the path); without, the entries that `other` lacks, listed as by
  // print_tree.
  void compare_data_tree(const DTM_BASE_DATA* other, DTM_NODE_ENUM node_type, std::ostream& os,
                         const std::string& path, bool values_mode) const;

 protected:
  // A detached copy of this entry alone (key and value, no links).
  virtual DTM_BASE_DATA* copy_entry() const;
  // add_enum for a new entry made here: frees it when it was dropped.
  DTM_BASE_DATA* add_owned(DTM_BASE_DATA* new_node);
  // Frees a sibling tree with every level below it, without recursion.
  static void destroy_entries(DTM_BASE_DATA* node) noexcept;

 private:
  DTM_ENUM m_enum = DTM_NONE;
  DTM_BASE_DATA* m_left = nullptr;
  DTM_BASE_DATA* m_right = nullptr;
};

// The rules of each value type for the leaf skeleton (dtm_data_class.cpp).
template <class VALUE>
struct DTM_DATA_VALUE_TRAITS;

// The skeleton shared by the integer and float leaves: LEAF is the concrete
// class, VALUE its value type; LEAF gives its field through stored_value().
template <class LEAF, class VALUE>
class DTM_DATA_LEAF : public DTM_BASE_DATA {
 public:
  static inline PDB_CLASS_INFO* s_pdb_class_info = nullptr;  // LEAF's record
  PDB_CLASS_INFO* pdb_class_info() override { return s_pdb_class_info; }
  const PDB_CLASS_INFO* pdb_class_info() const override { return s_pdb_class_info; }

 protected:
  DTM_DATA_LEAF() noexcept = default;
  explicit DTM_DATA_LEAF(DTM_ENUM key) noexcept : DTM_BASE_DATA(key) {}

  // The leaf's add_enum by path (the one-key level rules).
  DTM_BASE_DATA* leaf_add_enum(VALUE value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3);
  DTM_BASE_DATA* copy_entry() const override;
};

// A level whose root is an integer leaf is a one-key level: a new key gets
// a plain integer entry (further keys ignored), an existing key is kept.
class DTM_INT_DATA : public DTM_DATA_LEAF<DTM_INT_DATA, int> {
 public:
  using DTM_BASE_DATA::add_enum;
  using DTM_BASE_DATA::get_value;
  using DTM_BASE_DATA::set_value;

  DTM_INT_DATA() noexcept = default;
  DTM_INT_DATA(DTM_ENUM key, int value) noexcept : DTM_DATA_LEAF(key), m_int_value(value) {}

  DTM_BASE_DATA* add_enum(int value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) override {
    return leaf_add_enum(value, e1, e2, e3);
  }
  void serialize(PDB_SEGMENT& segment) override;
  int get_value() const override { return m_int_value; }
  bool set_value(int value) override {
    m_int_value = value;
    return true;
  }

 private:
  friend class DTM_DATA_LEAF<DTM_INT_DATA, int>;
  int stored_value() const noexcept { return m_int_value; }

  std::int32_t m_int_value = DTM_ILLEGAL_DELAY;
};

// A level whose root is a float leaf takes one key only (e2 and e3 must be
// DTM_NONE); an existing key is kept.
class DTM_FLOAT_DATA : public DTM_DATA_LEAF<DTM_FLOAT_DATA, double> {
 public:
  using DTM_BASE_DATA::add_enum;
  using DTM_BASE_DATA::get_float;
  using DTM_BASE_DATA::set_float;

  DTM_FLOAT_DATA() noexcept = default;
  DTM_FLOAT_DATA(DTM_ENUM key, double value) noexcept : DTM_DATA_LEAF(key), m_float_value(value) {}

  DTM_BASE_DATA* add_enum(double value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) override {
    return leaf_add_enum(value, e1, e2, e3);
  }
  void serialize(PDB_SEGMENT& segment) override;
  double get_float() const override { return m_float_value; }
  bool set_float(double value) override {
    m_float_value = value;
    return true;
  }

 private:
  friend class DTM_DATA_LEAF<DTM_FLOAT_DATA, double>;
  double stored_value() const noexcept { return m_float_value; }

  double m_float_value = DTM_ILLEGAL_FLOAT;
};

// An entry that opens the next level; it owns that level.
class DTM_PTR_DATA : public DTM_BASE_DATA {
 public:
  using DTM_BASE_DATA::set_sub_tree;

  DTM_PTR_DATA() noexcept = default;
  DTM_PTR_DATA(DTM_ENUM key, DTM_BASE_DATA* sub_tree)
  noexcept : DTM_BASE_DATA(key), m_ptr(sub_tree) {}
  ~DTM_PTR_DATA() override;

  static inline PDB_CLASS_INFO* s_pdb_class_info = nullptr;
  PDB_CLASS_INFO* pdb_class_info() override { return s_pdb_class_info; }
  const PDB_CLASS_INFO* pdb_class_info() const override { return s_pdb_class_info; }
  void serialize(PDB_SEGMENT& segment) override;

  DTM_BASE_DATA* get_sub_tree() const override { return m_ptr; }
  bool set_sub_tree(DTM_BASE_DATA* sub_tree) override {
    m_ptr = sub_tree;
    return true;
  }

 protected:
  DTM_BASE_DATA* copy_entry() const override;

 private:
  DTM_BASE_DATA* m_ptr = nullptr;
};

extern template class DTM_DATA_LEAF<DTM_INT_DATA, int>;
extern template class DTM_DATA_LEAF<DTM_FLOAT_DATA, double>;
