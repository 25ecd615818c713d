// DTM_NODE: a node of the timing-model tree.
//
// The model is one tree of DTM_NODE objects. Plain nodes are grouping levels,
// each known among its siblings by its DTM_NODE_ENUM id; typed nodes (the
// subclasses of dtm_typed_node.h and dtm_p2p_node.h) are the leaves that hold
// the delays. A delay is addressed by a path of up to ten ids p0 ... p9,
// outermost first, ended by the first DTM_NODE_NONE, followed by the keys of
// its kind. For every kind DTM_NODE offers a get, a set and an add entry
// point that walk the path and hand the keys to the typed leaf.
//
// Children are kept in m_nodes in insertion order (the order every walk, dump
// and copy observes); beside the list a small hash index maps each id to the
// first child with that id, so a step of a path walk costs O(1) whatever the
// number of children.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

#include "dbs_enums.h"
#include "dtm_types.h"
#include "mem_alloc_sys.h"
#include "pdb_sys.h"

class DTM_NODE;
class DTM_TREE_DATA;
class DTM_QUERY_INDEX;

// Number of places of a path.
inline constexpr int DTM_PATH_LENGTH = 10;

// The ten trailing path parameters of the node operations (lists only).
// Declarations give them their defaults; out-of-line definitions name them;
// leaves that read only the first one leave the others unnamed.
#define DTM_PATH_DECL                                                               \
  DTM_NODE_ENUM p0 = DTM_NODE_NONE, DTM_NODE_ENUM p1 = DTM_NODE_NONE,               \
                DTM_NODE_ENUM p2 = DTM_NODE_NONE, DTM_NODE_ENUM p3 = DTM_NODE_NONE, \
                DTM_NODE_ENUM p4 = DTM_NODE_NONE, DTM_NODE_ENUM p5 = DTM_NODE_NONE, \
                DTM_NODE_ENUM p6 = DTM_NODE_NONE, DTM_NODE_ENUM p7 = DTM_NODE_NONE, \
                DTM_NODE_ENUM p8 = DTM_NODE_NONE, DTM_NODE_ENUM p9 = DTM_NODE_NONE
#define DTM_PATH_DEF                                                                        \
  DTM_NODE_ENUM p0, DTM_NODE_ENUM p1, DTM_NODE_ENUM p2, DTM_NODE_ENUM p3, DTM_NODE_ENUM p4, \
      DTM_NODE_ENUM p5, DTM_NODE_ENUM p6, DTM_NODE_ENUM p7, DTM_NODE_ENUM p8, DTM_NODE_ENUM p9
#define DTM_PATH_DEF_P0                                                                        \
  DTM_NODE_ENUM p0, DTM_NODE_ENUM, DTM_NODE_ENUM, DTM_NODE_ENUM, DTM_NODE_ENUM, DTM_NODE_ENUM, \
      DTM_NODE_ENUM, DTM_NODE_ENUM, DTM_NODE_ENUM, DTM_NODE_ENUM
#define DTM_PATH_UNUSED                                                                     \
  DTM_NODE_ENUM, DTM_NODE_ENUM, DTM_NODE_ENUM, DTM_NODE_ENUM, DTM_NODE_ENUM, DTM_NODE_ENUM, \
      DTM_NODE_ENUM, DTM_NODE_ENUM, DTM_NODE_ENUM, DTM_NODE_ENUM
#define DTM_PATH_ARGS p0, p1, p2, p3, p4, p5, p6, p7, p8, p9
#define DTM_PATH_SPREAD(path)                                                             \
  (path)[0], (path)[1], (path)[2], (path)[3], (path)[4], (path)[5], (path)[6], (path)[7], \
      (path)[8], (path)[9]

// A path as one value: ten places, the first DTM_NODE_NONE ends it.
struct DTM_PATH {
  DTM_NODE_ENUM m_places[DTM_PATH_LENGTH] = {};

  DTM_NODE_ENUM operator[](int i) const noexcept { return m_places[i]; }
  bool empty() const noexcept { return m_places[0] == DTM_NODE_NONE; }
  // p1 ... p9 and DTM_NODE_NONE: the path below the first level.
  DTM_PATH tail() const noexcept {
    DTM_PATH rest;
    for (int i = 1; i < DTM_PATH_LENGTH; ++i) {
      rest.m_places[i - 1] = m_places[i];
    }
    return rest;
  }
  // p0 ... p8 and DTM_NODE_NONE: the longest path a builder passes on.
  DTM_PATH builder_form() const noexcept {
    DTM_PATH path = *this;
    path.m_places[DTM_PATH_LENGTH - 1] = DTM_NODE_NONE;
    return path;
  }
};

// Index of the children of one node: id -> first child with that id, in
// m_nodes order. Open addressing with linear probing, at most half full.
// Not persisted: it is rebuilt from m_nodes whenever it does not cover them.
class DTM_CHILD_INDEX {
 public:
  DTM_CHILD_INDEX() noexcept = default;
  ~DTM_CHILD_INDEX() { release(); }
  DTM_CHILD_INDEX(const DTM_CHILD_INDEX&) = delete;
  DTM_CHILD_INDEX& operator=(const DTM_CHILD_INDEX&) = delete;

  DTM_NODE* find(DTM_NODE_ENUM id) const noexcept {
    if (m_used == 0) {
      return nullptr;
    }
    const std::uint32_t mask = m_capacity - 1;
    for (std::uint32_t i = home(id);; i = (i + 1) & mask) {
      const SLOT& slot = m_slots[i];
      if (slot.m_node == nullptr || slot.m_id == id) {
        return slot.m_node;
      }
    }
  }
  // Records `node` as the child for `id` unless an earlier one is recorded.
  void note(DTM_NODE_ENUM id, DTM_NODE* node);
  // Records `next` as the first child for `id` in place of the recorded one;
  // a null `next` forgets the id.
  void replace(DTM_NODE_ENUM id, DTM_NODE* next);
  void clear() noexcept;

  // How many entries of the child list the index accounts for.
  std::size_t get_covered() const noexcept { return m_covered; }
  void set_covered(std::size_t covered) noexcept { m_covered = covered; }

 private:
  struct SLOT {
    DTM_NODE_ENUM m_id;
    DTM_NODE* m_node;  // null: empty slot
  };
  std::uint32_t home(DTM_NODE_ENUM id) const noexcept {
    return (static_cast<std::uint32_t>(id) * 0x9E3779B1U) >> m_shift;
  }
  void grow();
  void release() noexcept;

  SLOT* m_slots = nullptr;
  std::uint32_t m_capacity = 0;  // 0 or a power of two
  std::uint32_t m_used = 0;
  std::uint32_t m_shift = 32;
  std::size_t m_covered = 0;
};

class DTM_NODE : public PDB_VIRTUAL_OBJECT<DTM_NODE> {
 public:
  using NODES = MEM_VECTOR<DTM_NODE*>;

  DTM_NODE(DTM_NODE_ENUM id, bool writable);
  // Destroys the children, the data tree, and the linked node when that
  // node's version is 1 (a linked node of any other version belongs elsewhere).
  virtual ~DTM_NODE();
  DTM_NODE(const DTM_NODE&) = delete;
  DTM_NODE& operator=(const DTM_NODE&) = delete;

  // --- Virtual operations, in their fixed order -----------------------------
  // The persistence operations come first, in the base's order:
  // pdb_class_info() and its const form (the base's), the transfer of the
  // fields (ddb_dtm__pdb.cpp), the refused automatic matching
  // (ddb_dtm__pdbg.cpp); then the destructor.
  void serialize(PDB_SEGMENT& segment) override;
  bool is_auto_match_pdb_xfr(PDB_VIRTUAL_OBJECT_BASE* other, PDB_MATCH_DATA* data) const override;
  // The node at the end of the path below this one; null for an empty path
  // (an empty path names no node, not this one) or a missing level.
  virtual DTM_NODE* get_node(DTM_PATH_DECL) const;
  // A copy of this node: a plain node copies its id, and with `recursive`
  // its children (cloned with the same flags); typed leaves copy their
  // description, version, bin and, with `copy_data`, their data.
  virtual DTM_NODE* clone(MEM_SEGMENT* segment, bool recursive, bool copy_data) const;
  // Links this copy, node by node, to `original_node`, the node at the same
  // place of the tree it was cloned from: a node whose master holds data gets
  // the master appended to its chain of linked nodes, which the get entry
  // points ask when the node has no value. A point-to-point node is linked
  // as a whole when any direction of its master holds data. Always true.
  virtual bool link_clone(DTM_NODE* original_node);
  // Scales every child in order, then this node's data.
  virtual void scale(double factor);

  // Get entry points: walk the path, or with an empty path ask the typed
  // child of the kind, falling back once to its linked node. Nothing found
  // gives DTM_ILLEGAL_DELAY (get_rc_float: DTM_ILLEGAL_FLOAT,
  // get_float_table_node_delay: DTM_ILLEGAL_TABLE_FLOAT).
  virtual int get_micro_node_delay(DTM_ENUM kind, DTM_PATH_DECL) const;
  virtual int get_table_node_delay(DTM_ENUM row, DTM_ENUM col, DTM_PATH_DECL) const;
  virtual double get_float_table_node_delay(DTM_ENUM row, DTM_ENUM col, DTM_PATH_DECL) const;
  virtual int get_ff_node_delay(DB_BURIED_PORT_TYPE port, DTM_ENUM kind, DTM_PATH_DECL) const;
  virtual int get_re_node_delay(CDB_RE_TYPE re, DTM_PATH_DECL) const;
  virtual int get_re_table_node_delay(CDB_RE_TYPE re1, CDB_RE_TYPE re2, DTM_ENUM kind,
                                      DTM_PATH_DECL) const;
  virtual int get_re_port_node_delay(CDB_RE_TYPE re, DB_INPUT_PORT_TYPE port, DTM_PATH_DECL) const;
  virtual int get_port_re_node_delay(DB_OUTPUT_PORT_TYPE port, CDB_RE_TYPE re, DTM_PATH_DECL) const;
  virtual int get_p2p_node_delay(DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                 DTM_ENUM condition, DTM_PATH_DECL) const;
  virtual int get_p2p_node_delay(DB_INPUT_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                 DTM_ENUM condition, DTM_PATH_DECL) const;
  virtual int get_p2p_node_delay(DB_BURIED_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                 DTM_ENUM condition, DTM_PATH_DECL) const;
  virtual int get_p2p_node_delay(DB_BURIED_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                 DTM_ENUM condition, DTM_PATH_DECL) const;
  virtual double get_rc_float(CDB_RE_TYPE re, DTM_ENUM kind, DTM_ENUM edge, DTM_PATH_DECL) const;
  // An index above DTM_MAX_INTEGER_INDEX is never looked up.
  virtual int get_integer_node_delay(DTM_ENUM kind, int index, DTM_PATH_DECL) const;

  // Outline of the subtree: one line per node, indented by depth.
  virtual void dump_tree(std::ostream& os, short depth, int a, int b) const;
  // Path listing of the subtree: one line per data entry, each carrying the
  // names of every node from here down (dtm_node_dump.cpp, docs/dumps.md).
  virtual void dump_tree(std::ostream& os, const std::string& prefix) const;
  // Writes nothing, here and in every subclass.
  virtual void dump_tree_in_dmf_format(std::ostream& os, std::string_view prefix) const;

  virtual bool is_writable() const;
  // There is no way back to writable.
  virtual void set_unwritable();
  virtual MEM_STRING get_description() const;
  virtual void set_description(std::string_view description);
  virtual short get_version() const;
  virtual short get_bin() const;
  virtual void set_version(short version);
  virtual void set_bin(short bin);

  // Attaches `node` under the node that the path names, creating missing
  // levels (plain nodes with this node's writability); an empty path
  // appends it here even when a child with its id exists. False when this
  // node is not writable, `node` is null or has no id. On success the tree
  // owns `node`.
  virtual bool add_node(DTM_NODE* node, DTM_PATH_DECL);
  // Detaches (does not destroy) the node that the path names; it becomes the
  // caller's. False when this node is not writable, the path is empty or
  // names no node.
  virtual bool remove_node(DTM_PATH_DECL);

  // Set entry points: change an existing delay; never create nodes, never
  // follow links. The point-to-point forms take no condition and change
  // only unconditioned delays.
  virtual bool set_micro_node_delay(int delay, DTM_ENUM kind, DTM_PATH_DECL);
  virtual bool set_table_node_delay(int delay, DTM_ENUM row, DTM_ENUM col, DTM_PATH_DECL);
  virtual bool set_float_table_node_delay(double delay, DTM_ENUM row, DTM_ENUM col, DTM_PATH_DECL);
  virtual bool set_ff_node_delay(int delay, DB_BURIED_PORT_TYPE port, DTM_ENUM kind, DTM_PATH_DECL);
  virtual bool set_re_node_delay(int delay, CDB_RE_TYPE re, DTM_PATH_DECL);
  virtual bool set_re_table_node_delay(int delay, CDB_RE_TYPE re1, CDB_RE_TYPE re2, DTM_ENUM kind,
                                       DTM_PATH_DECL);
  virtual bool set_re_port_node_delay(int delay, CDB_RE_TYPE re, DB_INPUT_PORT_TYPE port,
                                      DTM_PATH_DECL);
  virtual bool set_port_re_node_delay(int delay, DB_OUTPUT_PORT_TYPE port, CDB_RE_TYPE re,
                                      DTM_PATH_DECL);
  virtual bool set_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                  DTM_PATH_DECL);
  virtual bool set_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                  DTM_PATH_DECL);
  virtual bool set_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                  DTM_PATH_DECL);
  virtual bool set_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                  DTM_PATH_DECL);
  virtual bool set_rc_float(double delay, CDB_RE_TYPE re, DTM_ENUM kind, DTM_ENUM edge,
                            DTM_PATH_DECL);
  virtual bool set_integer_node_delay(int delay, DTM_ENUM kind, int index, DTM_PATH_DECL);

  // Add entry points: create the missing levels and the typed leaf, then
  // store the delay in the leaf.
  virtual bool add_micro_node_delay(int delay, DTM_ENUM kind, DTM_PATH_DECL);
  virtual bool add_table_node_delay(int delay, DTM_ENUM row, DTM_ENUM col, DTM_PATH_DECL);
  virtual bool add_float_table_node_delay(double delay, DTM_ENUM row, DTM_ENUM col, DTM_PATH_DECL);
  virtual bool add_ff_node_delay(int delay, DB_BURIED_PORT_TYPE port, DTM_ENUM kind, DTM_PATH_DECL);
  virtual bool add_re_node_delay(int delay, CDB_RE_TYPE re, DTM_PATH_DECL);
  virtual bool add_re_table_node_delay(int delay, CDB_RE_TYPE re1, CDB_RE_TYPE re2, DTM_ENUM kind,
                                       DTM_PATH_DECL);
  virtual bool add_re_port_node_delay(int delay, CDB_RE_TYPE re, DB_INPUT_PORT_TYPE port,
                                      DTM_PATH_DECL);
  virtual bool add_port_re_node_delay(int delay, DB_OUTPUT_PORT_TYPE port, CDB_RE_TYPE re,
                                      DTM_PATH_DECL);
  virtual bool add_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                  DTM_ENUM condition, DTM_PATH_DECL);
  virtual bool add_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                  DTM_ENUM condition, DTM_PATH_DECL);
  virtual bool add_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                  DTM_ENUM condition, DTM_PATH_DECL);
  virtual bool add_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                  DTM_ENUM condition, DTM_PATH_DECL);
  virtual bool add_rc_float(double delay, CDB_RE_TYPE re, DTM_ENUM kind, DTM_ENUM edge,
                            DTM_PATH_DECL);
  virtual bool add_integer_node_delay(int delay, DTM_ENUM kind, int index, DTM_PATH_DECL);
  // Changes the unconditioned input-to-output delay when there is one,
  // otherwise adds the delay under `condition`.
  virtual bool set_add_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                      DTM_ENUM condition, DTM_PATH_DECL);
  // One-way comparison with `other`: writes what this subtree holds that
  // `other` lacks (children unless `skip_missing`, data entries) and, with
  // `compare_values`, the values that differ by more than `tolerance`.
  virtual void compare_trees(const DTM_NODE* other, std::ostream& os, const std::string& prefix,
                             bool skip_missing, bool compare_values, float tolerance) const;

  // --- Non-virtual members ---------------------------------------------------
  DTM_NODE_ENUM get_id() const noexcept { return m_id; }
  // The first child, in m_nodes order, whose id is e1, or e2 when e1 is
  // DTM_NODE_NONE; null if none.
  DTM_NODE* get_sub_node(DTM_NODE_ENUM e1, DTM_NODE_ENUM e2 = DTM_NODE_NONE) const;
  // get_node on a path held as one value.
  DTM_NODE* get_node_by_path(const DTM_PATH& path) const;
  // Replaces (and destroys) the data tree; the tree takes `root`.
  bool set_tree_data_root(DTM_TREE_DATA* root);
  // Appends this node at the tail of `parent`'s chain of linked nodes.
  void append_node_to(DTM_NODE* parent);
  // Called on `source_node`: gives `target_node` a data tree holding the
  // entries of this node's data that `root_node` lacks or holds with another
  // value (replacing what the target held). A point-to-point node does so
  // for each of its directions. Children are not visited.
  void diff_clone_node_data(DTM_NODE* root_node, DTM_NODE* source_node,
                            DTM_NODE* target_node) const;
  // Called on `source_node`: every entry of this node's data that
  // `root_node` also holds takes the root's value. A point-to-point node does
  // so for each of its directions. Children are not visited.
  void resync_source_with_root(DTM_NODE* root_node, DTM_NODE* source_node) const;

  // The query index of the gets started at this node (dtm_query_index.h):
  // null unless one is built and no model has changed since.
  const DTM_QUERY_INDEX* get_query_index() const noexcept;
  // Builds the query index now (the get entry points build it by themselves
  // once enough walks have paid for it) and returns it.
  const DTM_QUERY_INDEX* build_query_index() const;
  // What a get entry point started here uses: the current index, or null
  // after counting one more walk; the index is (re)built when the walks
  // counted since it went stale reach k_query_walks_before_build plus an
  // eighth of its entries.
  const DTM_QUERY_INDEX* index_for_get() const;
  static constexpr std::uint32_t k_query_walks_before_build = 64;
  // Whether the get entry points use and build query indexes (on by
  // default). Off, every get walks and no index memory is taken for new
  // indexes; the indexes already built stay until their nodes go.
  static void enable_query_indexes(bool enabled) noexcept { s_query_indexes = enabled; }
  static bool query_indexes_enabled() noexcept { return s_query_indexes; }

  const NODES& get_nodes() const noexcept { return m_nodes; }
  DTM_TREE_DATA* get_data_root() const noexcept { return m_data_root; }
  DTM_NODE* get_linked_node() const noexcept { return m_linked_node; }

  // INDEX_0 + i for 0 <= i <= 36, DTM_NONE otherwise.
  static DTM_ENUM get_dtm_enum_for_index(int index);
  // The IO-standard member of DTM_ENUM for a device IO standard; an
  // unknown one reports "unknown IO standard" and gives DTM_NONE.
  static DTM_ENUM get_io_standard_dtm_enum_from_dev_enum(DEV_IO_STANDARD_ENUM standard);
  // The IO map type (DTM_MAP_IO_HIGH_SPEED, _ROW or _COLUMN) of a device IO
  // implementation.
  static DTM_NODE_ENUM get_io_phys_impl_dtm_node_enum_from_dev_enum(DEV_PHYS_IMPL_ENUM impl);

 protected:
  // Appends `node` to m_nodes and keeps the index in step.
  void append_child(DTM_NODE* node);

  // Persisted fields, in their persisted order.
  NODES m_nodes;
  DTM_NODE_ENUM m_id;
  bool m_writable;
  MEM_STRING m_description;
  DTM_SHORT m_version = 0;
  DTM_SHORT m_bin = 0;
  DTM_TREE_DATA* m_data_root = nullptr;
  DTM_NODE* m_linked_node = nullptr;

 private:
  DTM_NODE* find_child(DTM_NODE_ENUM id) const;
  void rebuild_child_index() const;

  // Lookup aids beside m_nodes, not persisted.
  mutable DTM_CHILD_INDEX m_child_index;
  mutable DTM_QUERY_INDEX* m_query_index = nullptr;  // owned
  mutable std::uint32_t m_query_walks = 0;           // walks since the index went stale
  static inline bool s_query_indexes = true;
};

// The highest index that get_integer_node_delay looks up.
inline constexpr int DTM_MAX_INTEGER_INDEX = 1023;

// Reads the model root stored in the segment `name` of `archive`: the
// layer's read, in the model's own code (ddb_dtm__pdbg.cpp), so that a
// program reading a model also holds the registration of its classes.
template <>
bool pdb_read_<PDB_ARCHIVE, DTM_NODE>(DTM_NODE*& root, PDB_ARCHIVE& archive, const char* name);
