// The balanced keyed delay tree: an AVL tree of nodes keyed by
// DTM_TREE_DATA_KEY, whose leaves hold an integer delay (DTM_TREE_INT_DATA)
// or a floating-point delay (DTM_TREE_FLOAT_DATA). A tree is handled through
// its root; every operation that can rebalance returns the new root.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

#include "dtm_tree_data_key.h"
#include "dtm_types.h"
#include "mem_alloc_sys.h"
#include "pdb_sys.h"

// A count of the changes made to any model: every operation that can change
// what a lookup answers (a value, an entry, a node, a link) advances it. The
// query indexes (dtm_query_index.h) remember the count they were built at and
// are not used once it has moved.
class DTM_MODEL_EPOCH {
 public:
  static std::uint64_t get() noexcept { return s_count; }
  static void advance() noexcept { ++s_count; }

 private:
  static inline std::uint64_t s_count = 0;
};

class DTM_TREE_DATA : public PDB_VIRTUAL_OBJECT<DTM_TREE_DATA> {
 public:
  using WRAPPER = DTM_ENUM_WRAPPER;
  using KEY = DTM_TREE_DATA_KEY;

  // A node without key, to be filled by a reader.
  DTM_TREE_DATA() noexcept = default;
  // A detached node (no children, balance 0) with the given key. The key is
  // kept inside the node (one allocation per entry, and the key on the
  // node's own cache lines); the pointer form takes ownership of `key`: its
  // wrappers move into the node and the key object is freed at once.
  explicit DTM_TREE_DATA(KEY* key) noexcept;
  explicit DTM_TREE_DATA(const KEY& key) : m_key(&m_key_storage), m_key_storage(key) {}
  // Destroys the whole subtree and the key, without recursion.
  virtual ~DTM_TREE_DATA();
  DTM_TREE_DATA(const DTM_TREE_DATA&) = delete;
  DTM_TREE_DATA& operator=(const DTM_TREE_DATA&) = delete;

  // Persistence (ddb_dtm__pdb.cpp, ddb_dtm__pdbg.cpp). The key is read into
  // the node's own key storage.
  void serialize(PDB_SEGMENT& segment) override;
  bool is_auto_match_pdb_xfr(PDB_VIRTUAL_OBJECT_BASE* other, PDB_MATCH_DATA* data) const override;

  DTM_TREE_DATA* get_left() const noexcept { return m_left; }
  DTM_TREE_DATA* get_right() const noexcept { return m_right; }
  const KEY* get_key() const noexcept { return m_key; }
  DTM_SHORT get_balance_factor() const noexcept { return m_balance_factor; }
  // Number of nodes in the tree rooted here.
  std::size_t get_node_count() const noexcept;

  // --- Insertion -----------------------------------------------------------
  // Inserts a detached node and returns the tree's new root. An equal key
  // already in the tree writes the duplicate warning to standard output (and
  // reports differing values); the new node is then not inserted and stays
  // the caller's (`*inserted` tells which happened).
  DTM_TREE_DATA* insert(DTM_TREE_DATA* new_node, bool* inserted = nullptr);
  // Make a leaf holding the value and insert it; return the new root. The
  // pointer forms take ownership of `key` (freed also when the key is a
  // duplicate); the reference forms copy `key`, which stays the caller's.
  DTM_TREE_DATA* add_int_to_tree(int value, KEY* key);
  DTM_TREE_DATA* add_int_to_tree(int value, const KEY& key);
  DTM_TREE_DATA* add_float_to_tree(double value, KEY* key);
  DTM_TREE_DATA* add_float_to_tree(double value, const KEY& key);

  // --- Lookups ---------------------------------------------------------------
  // The node with an equal key, or null. A null key is reported.
  const DTM_TREE_DATA* find_node(const KEY* key) const;
  DTM_TREE_DATA* find_node(const KEY* key);
  // The node whose key is the first `count` wrappers given; a count outside
  // 1 to 5 is reported and finds nothing. No key is built.
  const DTM_TREE_DATA* find_node_by_wrapper_list(DTM_SHORT count, WRAPPER w1, WRAPPER w2,
                                                 WRAPPER w3, WRAPPER w4, WRAPPER w5) const;

  // Value lookups on the tree rooted here. The answer follows the root's
  // kind: an integer tree answers the integer operations, a float tree the
  // float ones; every other combination answers the base's sentinel
  // (DTM_ILLEGAL_DELAY, DTM_ILLEGAL_FLOAT, false), except that the base
  // answers the float lookup by wrapper list with DTM_ILLEGAL_TABLE_FLOAT.
  virtual int get_int_from_tree_by_wrapper_list(DTM_SHORT count, WRAPPER w1, WRAPPER w2, WRAPPER w3,
                                                WRAPPER w4, WRAPPER w5) const;
  virtual double get_float_from_tree_by_wrapper_list(DTM_SHORT count, WRAPPER w1, WRAPPER w2,
                                                     WRAPPER w3, WRAPPER w4, WRAPPER w5) const;
  virtual int get_int_from_tree(const KEY* key) const;
  virtual double get_float_from_tree(const KEY* key) const;
  // Change the value of an existing entry; false when there is none.
  virtual bool set_int_from_tree(int value, const KEY* key);
  virtual bool set_float_from_tree(double value, const KEY* key);

  // This node's own value: the leaf's value, or the sentinel for a node of
  // another kind. The setters answer false on a node of another kind.
  virtual int get_int_data() const { return DTM_ILLEGAL_DELAY; }
  virtual double get_float_data() const { return DTM_ILLEGAL_FLOAT; }
  virtual bool set_int_data(int) { return false; }
  virtual bool set_float_data(double) { return false; }

  // --- Whole-tree operations -------------------------------------------------
  // A deep, independent copy with the same shape, keys, values and balance
  // factors; its nodes are counted in `segment` when one is given.
  DTM_TREE_DATA* clone(MEM_SEGMENT* segment = nullptr) const;
  // Multiplies every value of a leaf tree by `factor` (see docs/containers.md
  // for rounding and sentinels). The base reports "Scaling impossible".
  virtual void scale(double factor);
  // A new tree holding a copy of every entry of this tree whose key is
  // absent from `root_data` or whose value differs from it there; null when
  // there is none. `target_data`, the tree the result is to replace, is not
  // read and shares no node with the result. The base answers null.
  virtual DTM_TREE_DATA* diff_clone_data_tree(const DTM_TREE_DATA* root_data,
                                              const DTM_TREE_DATA* target_data) const;
  // Sets every entry of this tree whose key `root_data` also holds, with a
  // value of the same kind, to that value; the shape is unchanged. Returns
  // how many entries changed.
  std::size_t resync(const DTM_TREE_DATA* root_data);

  // --- Text --------------------------------------------------------------------
  // In key order: the left subtree with `prefix` + "<", this node with
  // `prefix`, the right subtree with `prefix` + ">".
  void print_tree(std::ostream& os, const std::string& prefix) const;
  // One data line: prefix, "\t|-- ", the key text, " = ", the value, "\n".
  void print_this(std::ostream& os, const std::string& prefix) const;
  // Writes, in key order, one line per entry of this tree that is missing
  // in `other` (unless `skip_missing`) and, when `compare_values`, one line
  // per entry whose value in `other` differs by more than `tolerance`.
  void compare_data_tree(const DTM_TREE_DATA* other, std::ostream& os, const std::string& prefix,
                         bool skip_missing, bool compare_values, float tolerance) const;

  // Whether two nodes' values differ: an integer or float sentinel against
  // anything else always differs, two NaN are equal, other values differ
  // when they are further apart than `tolerance`.
  static bool values_differ(const DTM_TREE_DATA& a, const DTM_TREE_DATA& b, double tolerance);

 protected:
  // A detached copy of this node alone (key and value, no children).
  virtual DTM_TREE_DATA* copy_node(MEM_SEGMENT* segment) const;
  // Scales this node's own value; the base has none and answers false.
  virtual bool scale_value(double) { return false; }
  // Writes this node's value for the text forms; the base writes "-".
  virtual void write_value(std::ostream& os) const;

  // The shared walks behind the leaf overrides.
  void scale_tree(double factor);
  DTM_TREE_DATA* diff_tree(const DTM_TREE_DATA* root_data) const;

 private:
  // The data line without its end: prefix, "\t|-- ", key text, " = ", value.
  void write_line(std::ostream& os, const std::string& prefix) const;
  static void destroy_subtree(DTM_TREE_DATA* node) noexcept;
  DTM_TREE_DATA* clone_subtree(MEM_SEGMENT* segment) const;

  DTM_SHORT m_balance_factor = 0;  // first: it fills the gap behind the persistence identity
  DTM_TREE_DATA* m_left = nullptr;
  DTM_TREE_DATA* m_right = nullptr;
  KEY* m_key = nullptr;  // owned; &m_key_storage unless a reader sets its own
  KEY m_key_storage;     // not a field of its own: the storage behind m_key
};

// The value type's rules for the leaf skeleton below (dtm_tree_data.cpp).
template <class VALUE>
struct DTM_TREE_VALUE_TRAITS;

// The skeleton shared by the two leaf kinds: LEAF is the concrete class,
// VALUE its value type. LEAF gives the stored field through stored_value().
template <class LEAF, class VALUE>
class DTM_TREE_LEAF_DATA : public DTM_TREE_DATA {
 public:
  static inline PDB_CLASS_INFO* s_pdb_class_info = nullptr;  // LEAF's record
  PDB_CLASS_INFO* pdb_class_info() override { return s_pdb_class_info; }
  const PDB_CLASS_INFO* pdb_class_info() const override { return s_pdb_class_info; }

  void scale(double factor) override;
  DTM_TREE_DATA* diff_clone_data_tree(const DTM_TREE_DATA* root_data,
                                      const DTM_TREE_DATA* target_data) const override;

 protected:
  DTM_TREE_LEAF_DATA() noexcept = default;
  explicit DTM_TREE_LEAF_DATA(KEY* key) noexcept : DTM_TREE_DATA(key) {}
  explicit DTM_TREE_LEAF_DATA(const KEY& key) : DTM_TREE_DATA(key) {}

  VALUE leaf_get_by_list(DTM_SHORT count, WRAPPER w1, WRAPPER w2, WRAPPER w3, WRAPPER w4,
                         WRAPPER w5) const;
  VALUE leaf_get(const KEY* key) const;
  bool leaf_set(VALUE value, const KEY* key);

  DTM_TREE_DATA* copy_node(MEM_SEGMENT* segment) const override;
  bool scale_value(double factor) override;
  void write_value(std::ostream& os) const override;

 private:
  VALUE value() const { return static_cast<const LEAF*>(this)->stored_value(); }
};

class DTM_TREE_INT_DATA : public DTM_TREE_LEAF_DATA<DTM_TREE_INT_DATA, int> {
 public:
  DTM_TREE_INT_DATA() noexcept = default;
  // A detached leaf; the pointer form takes ownership of `key`.
  DTM_TREE_INT_DATA(int value, KEY* key) noexcept : DTM_TREE_LEAF_DATA(key), m_int_data(value) {}
  DTM_TREE_INT_DATA(int value, const KEY& key) : DTM_TREE_LEAF_DATA(key), m_int_data(value) {}

  int get_int_from_tree_by_wrapper_list(DTM_SHORT count, WRAPPER w1, WRAPPER w2, WRAPPER w3,
                                        WRAPPER w4, WRAPPER w5) const override {
    return leaf_get_by_list(count, w1, w2, w3, w4, w5);
  }
  int get_int_from_tree(const KEY* key) const override { return leaf_get(key); }
  bool set_int_from_tree(int value, const KEY* key) override { return leaf_set(value, key); }
  void serialize(PDB_SEGMENT& segment) override;
  int get_int_data() const override { return m_int_data; }
  bool set_int_data(int value) override {
    DTM_MODEL_EPOCH::advance();
    m_int_data = value;
    return true;
  }

 private:
  friend class DTM_TREE_LEAF_DATA<DTM_TREE_INT_DATA, int>;
  int stored_value() const noexcept { return m_int_data; }

  std::int32_t m_int_data = DTM_ILLEGAL_DELAY;
};

class DTM_TREE_FLOAT_DATA : public DTM_TREE_LEAF_DATA<DTM_TREE_FLOAT_DATA, double> {
 public:
  DTM_TREE_FLOAT_DATA() noexcept = default;
  // A detached leaf; the pointer form takes ownership of `key`.
  DTM_TREE_FLOAT_DATA(double value, KEY* key)
  noexcept : DTM_TREE_LEAF_DATA(key), m_float_data(value) {}
  DTM_TREE_FLOAT_DATA(double value, const KEY& key)
      : DTM_TREE_LEAF_DATA(key), m_float_data(value) {}

  double get_float_from_tree_by_wrapper_list(DTM_SHORT count, WRAPPER w1, WRAPPER w2, WRAPPER w3,
                                             WRAPPER w4, WRAPPER w5) const override {
    return leaf_get_by_list(count, w1, w2, w3, w4, w5);
  }
  double get_float_from_tree(const KEY* key) const override { return leaf_get(key); }
  bool set_float_from_tree(double value, const KEY* key) override { return leaf_set(value, key); }
  void serialize(PDB_SEGMENT& segment) override;
  double get_float_data() const override { return m_float_data; }
  bool set_float_data(double value) override {
    DTM_MODEL_EPOCH::advance();
    m_float_data = value;
    return true;
  }

 private:
  friend class DTM_TREE_LEAF_DATA<DTM_TREE_FLOAT_DATA, double>;
  double stored_value() const noexcept { return m_float_data; }

  double m_float_data = DTM_ILLEGAL_FLOAT;
};

extern template class DTM_TREE_LEAF_DATA<DTM_TREE_INT_DATA, int>;
extern template class DTM_TREE_LEAF_DATA<DTM_TREE_FLOAT_DATA, double>;
