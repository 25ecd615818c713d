// Point-to-point delays: from a port to a port.
//
// They live under one typed leaf of kind DTM_P2P, the DTM_P2P_NODE, which
// holds no data of its own but owns up to four direction nodes, one per pair
// of port classes. Each direction node is a typed leaf (dtm_typed_node.h)
// keyed by source port, target port and, unless it is DTM_NONE, a DTM_ENUM
// condition.
#pragma once

#include <ostream>
#include <string_view>
#include <type_traits>

#include "dtm_typed_node.h"

class DTM_P2P_NODE;
class DTM_P2P_IN_OUT_NODE;
class DTM_P2P_IN_BURIED_NODE;
class DTM_P2P_BURIED_OUT_NODE;
class DTM_P2P_BURIED_BURIED_NODE;

// --- The four directions --------------------------------------------------------
// Rows of the kind table: the direction's id, source and target port types.
// A direction node neither reports paths nor tests its own writability (the
// point-to-point node does).
template <class DIRECTION, DTM_NODE_ENUM ID, class SRC, class DST>
struct DTM_P2P_DIRECTION_KIND : DTM_KIND_ROW<DIRECTION, ID, int, SRC, DST, DTM_ENUM> {
  using SOURCE = SRC;
  using TARGET = DST;
  static constexpr const char* k_source = "dtm_p2p_node";
  // 11 to 14, after the ten leaf kinds.
  static constexpr unsigned k_query_code = 11U + static_cast<unsigned>(ID - DTM_P2P_IN_BURIED);
  static constexpr bool k_condition_last = true;
  static constexpr bool k_checks_writable = false;
};

using DTM_P2P_IN_BURIED_KIND = DTM_P2P_DIRECTION_KIND<DTM_P2P_IN_BURIED_NODE, DTM_P2P_IN_BURIED,
                                                      DB_INPUT_PORT_TYPE, DB_BURIED_PORT_TYPE>;
using DTM_P2P_IN_OUT_KIND = DTM_P2P_DIRECTION_KIND<DTM_P2P_IN_OUT_NODE, DTM_P2P_IN_OUT,
                                                   DB_INPUT_PORT_TYPE, DB_OUTPUT_PORT_TYPE>;
using DTM_P2P_BURIED_OUT_KIND = DTM_P2P_DIRECTION_KIND<DTM_P2P_BURIED_OUT_NODE, DTM_P2P_BURIED_OUT,
                                                       DB_BURIED_PORT_TYPE, DB_OUTPUT_PORT_TYPE>;
using DTM_P2P_BURIED_BURIED_KIND =
    DTM_P2P_DIRECTION_KIND<DTM_P2P_BURIED_BURIED_NODE, DTM_P2P_BURIED_BURIED, DB_BURIED_PORT_TYPE,
                           DB_BURIED_PORT_TYPE>;

// The operations of a direction node; not virtual.
template <class KIND>
class DTM_P2P_DIRECTION_NODE : public DTM_TYPED_NODE<KIND> {
 public:
  using SOURCE = typename KIND::SOURCE;
  using TARGET = typename KIND::TARGET;

  int get_p2p_node_delay(SOURCE src, TARGET dst, DTM_ENUM condition) const {
    return this->get_value({src, dst, condition});
  }
  bool set_p2p_node_delay(int delay, SOURCE src, TARGET dst, DTM_ENUM condition) {
    return this->set_value(delay, {src, dst, condition});
  }
  bool add_p2p_node_delay(int delay, SOURCE src, TARGET dst, DTM_ENUM condition) {
    return this->add_value(delay, {src, dst, condition});
  }

 protected:
  explicit DTM_P2P_DIRECTION_NODE(bool writable) : DTM_TYPED_NODE<KIND>(writable) {}
};

// Input port to buried port.
class DTM_P2P_IN_BURIED_NODE final : public DTM_P2P_DIRECTION_NODE<DTM_P2P_IN_BURIED_KIND> {
 public:
  explicit DTM_P2P_IN_BURIED_NODE(bool writable);
};
// Input port to output port.
class DTM_P2P_IN_OUT_NODE final : public DTM_P2P_DIRECTION_NODE<DTM_P2P_IN_OUT_KIND> {
 public:
  explicit DTM_P2P_IN_OUT_NODE(bool writable);
};
// Buried port to output port.
class DTM_P2P_BURIED_OUT_NODE final : public DTM_P2P_DIRECTION_NODE<DTM_P2P_BURIED_OUT_KIND> {
 public:
  explicit DTM_P2P_BURIED_OUT_NODE(bool writable);
};
// Buried port to buried port.
class DTM_P2P_BURIED_BURIED_NODE final : public DTM_P2P_DIRECTION_NODE<DTM_P2P_BURIED_BURIED_KIND> {
 public:
  explicit DTM_P2P_BURIED_BURIED_NODE(bool writable);
};

// --- The point-to-point leaf -------------------------------------------------------
class DTM_P2P_NODE final : public DTM_NODE {
 public:
  // Takes the four direction nodes (any of them may be null) and owns them.
  DTM_P2P_NODE(DTM_P2P_IN_OUT_NODE* in_out, DTM_P2P_IN_BURIED_NODE* in_buried,
               DTM_P2P_BURIED_OUT_NODE* buried_out, DTM_P2P_BURIED_BURIED_NODE* buried_buried,
               bool writable);
  ~DTM_P2P_NODE() override;

  // Persistence (ddb_dtm__pdb.cpp): DTM_NODE's fields, then the four
  // direction nodes.
  static inline PDB_CLASS_INFO* s_pdb_class_info = nullptr;
  PDB_CLASS_INFO* pdb_class_info() override { return s_pdb_class_info; }
  const PDB_CLASS_INFO* pdb_class_info() const override { return s_pdb_class_info; }
  void serialize(PDB_SEGMENT& segment) override;

  // A writable point-to-point node holding clones of the existing direction
  // nodes; its own description, version and bin are not copied.
  DTM_NODE* clone(MEM_SEGMENT* segment, bool recursive, bool copy_data) const override;
  // Scales the data of each existing direction node.
  void scale(double factor) override;

  // The delay of a port pair under a condition (DTM_NONE: the unconditioned
  // one); DTM_ILLEGAL_DELAY when the direction node, its data or the key is
  // missing. The path is not used.
  int get_p2p_node_delay(DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst, DTM_ENUM condition,
                         DTM_PATH_DECL) const override;
  int get_p2p_node_delay(DB_INPUT_PORT_TYPE src, DB_BURIED_PORT_TYPE dst, DTM_ENUM condition,
                         DTM_PATH_DECL) const override;
  int get_p2p_node_delay(DB_BURIED_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst, DTM_ENUM condition,
                         DTM_PATH_DECL) const override;
  int get_p2p_node_delay(DB_BURIED_PORT_TYPE src, DB_BURIED_PORT_TYPE dst, DTM_ENUM condition,
                         DTM_PATH_DECL) const override;

  // Outline: the name line, the description, then one block per existing
  // direction node. The path dump and the comparison treat the existing
  // direction nodes as this node's children (docs/dumps.md).
  void dump_tree(std::ostream& os, short depth, int a, int b) const override;
  void dump_tree(std::ostream& os, const std::string& prefix) const override;
  void dump_tree_in_dmf_format(std::ostream& os, std::string_view prefix) const override;

  // Stores a delay; a missing direction node is created (not writable). False
  // when this node is not writable. The path is not used.
  bool add_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                          DTM_ENUM condition, DTM_PATH_DECL) override;
  bool add_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                          DTM_ENUM condition, DTM_PATH_DECL) override;
  bool add_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                          DTM_ENUM condition, DTM_PATH_DECL) override;
  bool add_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                          DTM_ENUM condition, DTM_PATH_DECL) override;

  // Direction by direction against `other`'s direction nodes (none when
  // `other` is not a point-to-point node).
  void compare_trees(const DTM_NODE* other, std::ostream& os, const std::string& prefix,
                     bool skip_missing, bool compare_values, float tolerance) const override;

  // Changes an existing delay; false when this node is not writable or the
  // direction node, its data or the key is missing. The path is not used.
  virtual bool set_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                  DTM_ENUM condition, DTM_PATH_DECL);
  virtual bool set_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                  DTM_ENUM condition, DTM_PATH_DECL);
  virtual bool set_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                  DTM_ENUM condition, DTM_PATH_DECL);
  virtual bool set_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                  DTM_ENUM condition, DTM_PATH_DECL);

  DTM_P2P_IN_OUT_NODE* get_in_out_node() const noexcept { return m_in_out_node; }
  DTM_P2P_IN_BURIED_NODE* get_in_buried_node() const noexcept { return m_in_buried_node; }
  DTM_P2P_BURIED_OUT_NODE* get_buried_out_node() const noexcept { return m_buried_out_node; }
  DTM_P2P_BURIED_BURIED_NODE* get_buried_buried_node() const noexcept {
    return m_buried_buried_node;
  }

  // A writable point-to-point node with all four direction nodes, each
  // writable and without data: what the add entry points of DTM_NODE create.
  static DTM_P2P_NODE* make_with_directions();

 private:
  template <class DIRECTION>
  DIRECTION*& slot() noexcept;
  template <class DIRECTION>
  DIRECTION* slot() const noexcept {
    return const_cast<DTM_P2P_NODE*>(this)->slot<DIRECTION>();
  }
  template <class DIRECTION>
  int direction_get(const typename DIRECTION::ARGS& keys) const;
  template <class DIRECTION>
  bool direction_set(int delay, const typename DIRECTION::ARGS& keys);
  template <class DIRECTION>
  bool direction_add(int delay, const typename DIRECTION::ARGS& keys);

  // Persisted fields, in their persisted order.
  DTM_P2P_IN_OUT_NODE* m_in_out_node;
  DTM_P2P_IN_BURIED_NODE* m_in_buried_node;
  DTM_P2P_BURIED_OUT_NODE* m_buried_out_node;
  DTM_P2P_BURIED_BURIED_NODE* m_buried_buried_node;
};

// --- Rows of DTM_NODE's point-to-point entry points ----------------------------------
// The leaf is the DTM_P2P_NODE; it picks the direction by the port types.
// Its linked node is asked without an id assertion.
template <class SRC, class DST>
struct DTM_P2P_KIND : DTM_KIND_ROW<DTM_P2P_NODE, DTM_P2P, int, SRC, DST, DTM_ENUM> {
  using ARGS = typename DTM_KIND_ROW<DTM_P2P_NODE, DTM_P2P, int, SRC, DST, DTM_ENUM>::ARGS;
  static constexpr const char* k_source = "dtm_p2p_node";
  static constexpr const char* k_class_text = "typeid(*node) == typeid(DTM_P2P_NODE)";
  // The query index numbers the directions, not the point-to-point node.
  static constexpr unsigned k_query_code =
      std::is_same_v<SRC, DB_INPUT_PORT_TYPE>
          ? (std::is_same_v<DST, DB_BURIED_PORT_TYPE> ? DTM_P2P_IN_BURIED_KIND::k_query_code
                                                      : DTM_P2P_IN_OUT_KIND::k_query_code)
          : (std::is_same_v<DST, DB_OUTPUT_PORT_TYPE> ? DTM_P2P_BURIED_OUT_KIND::k_query_code
                                                      : DTM_P2P_BURIED_BURIED_KIND::k_query_code);

  static int leaf_get(const DTM_P2P_NODE& leaf, const ARGS& k) {
    return leaf.get_p2p_node_delay(std::get<0>(k), std::get<1>(k), std::get<2>(k));
  }
  static bool leaf_set(DTM_P2P_NODE& leaf, int delay, const ARGS& k) {
    return leaf.set_p2p_node_delay(delay, std::get<0>(k), std::get<1>(k), std::get<2>(k));
  }
  static bool leaf_add(DTM_P2P_NODE& leaf, int delay, const ARGS& k) {
    return leaf.add_p2p_node_delay(delay, std::get<0>(k), std::get<1>(k), std::get<2>(k));
  }
  static DTM_P2P_NODE* make_leaf() { return DTM_P2P_NODE::make_with_directions(); }
};
