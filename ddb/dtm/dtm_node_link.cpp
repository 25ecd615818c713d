// Derived models: linking a structural copy to the tree it was cloned from,
// and moving data between parallel trees (the differences of a source from a
// reference into a target; a source brought back in step with a reference).
//
// The three operations walk parallel nodes. A point-to-point node holds its
// data in its four direction nodes, so for it they work direction by
// direction, in the orders of the tables below.
#include "dtm_node.h"
#include "dtm_p2p_node.h"
#include "dtm_report.h"
#include "dtm_tree_data.h"

namespace {

constexpr const char* k_source = "dtm_node";

// One direction of a point-to-point node: how to reach its direction node,
// and what link_clone asserts of the copy's direction node when the master's
// holds the data it links to.
struct P2P_DIRECTION {
  DTM_NODE* (*m_get)(const DTM_P2P_NODE&);
  const char* m_link_text;
};

constexpr P2P_DIRECTION k_in_out{
    [](const DTM_P2P_NODE& p2p) -> DTM_NODE* { return p2p.get_in_out_node(); },
    "p2p_node->m_in_out_node == 0 || p2p_node->m_in_out_node->m_data_root == 0"};
constexpr P2P_DIRECTION k_in_buried{
    [](const DTM_P2P_NODE& p2p) -> DTM_NODE* { return p2p.get_in_buried_node(); },
    "p2p_node->m_in_buried_node == 0 || p2p_node->m_in_buried_node->m_data_root == 0"};
constexpr P2P_DIRECTION k_buried_out{
    [](const DTM_P2P_NODE& p2p) -> DTM_NODE* { return p2p.get_buried_out_node(); },
    "p2p_node->m_buried_out_node == 0 || p2p_node->m_buried_out_node->m_data_root == 0"};
constexpr P2P_DIRECTION k_buried_buried{
    [](const DTM_P2P_NODE& p2p) -> DTM_NODE* { return p2p.get_buried_buried_node(); },
    "p2p_node->m_buried_buried_node == 0 || p2p_node->m_buried_buried_node->m_data_root == 0"};

// The order in which link_clone looks for a direction of the master with data.
constexpr const P2P_DIRECTION* k_link_order[] = {&k_buried_buried, &k_in_buried, &k_buried_out,
                                                 &k_in_out};
// The order in which diff and resync visit the directions.
constexpr const P2P_DIRECTION* k_data_order[] = {&k_in_out, &k_in_buried, &k_buried_buried,
                                                 &k_buried_out};

// A node counts as point-to-point by its class: a plain node that merely
// carries the DTM_P2P id has no directions.
const DTM_P2P_NODE* as_p2p(const DTM_NODE* node) { return dynamic_cast<const DTM_P2P_NODE*>(node); }

// The direction node of a point-to-point node; null for a null node, a node
// of another class or a missing direction.
DTM_NODE* direction_of(const DTM_NODE* node, const P2P_DIRECTION& direction) {
  const DTM_P2P_NODE* p2p = as_p2p(node);
  return p2p != nullptr ? direction.m_get(*p2p) : nullptr;
}

bool has_data(const DTM_NODE* node) { return node != nullptr && node->get_data_root() != nullptr; }

DTM_TREE_DATA* data_of(const DTM_NODE* node) {
  return node != nullptr ? node->get_data_root() : nullptr;
}

// Two of the nodes handed to diff or resync must not be one node; a missing
// node is not one of the others.
void check_distinct(const DTM_NODE* a, const DTM_NODE* b, const char* text) {
  dtm_assert(a == nullptr || a != b, text, k_source);
}

// The operation is called on the source node: another node named as the
// source is reported and nothing is changed.
bool check_called_on_source(const DTM_NODE* source_node, const DTM_NODE* self) {
  return dtm_assert(source_node == self, "source_node == this", k_source);
}

// The point-to-point part of link_clone: the master is linked as a whole,
// found by the first direction that holds data; the directions behind it
// are not looked at.
void link_point_to_point(DTM_NODE& node, DTM_NODE* original_node) {
  dtm_assert(node.get_nodes().begin() == node.get_nodes().end(), "m_nodes.begin() == m_nodes.end()",
             k_source);
  if (original_node == nullptr) {
    return;
  }
  dtm_assert(original_node->get_nodes().begin() == original_node->get_nodes().end(),
             "original_node->m_nodes.begin() == original_node->m_nodes.end()", k_source);
  if (!dtm_assert(as_p2p(original_node) != nullptr,
                  "typeid(*original_node) == typeid(DTM_P2P_NODE)", k_source)) {
    return;
  }
  for (const P2P_DIRECTION* direction : k_link_order) {
    if (has_data(direction_of(original_node, *direction))) {
      dtm_assert(!has_data(direction_of(&node, *direction)), direction->m_link_text, k_source);
      dtm_assert(node.get_linked_node() == nullptr, "m_linked_node == 0", k_source);
      original_node->append_node_to(&node);
      return;
    }
  }
}

}  // namespace

bool DTM_NODE::link_clone(DTM_NODE* original_node) {
  // Node by node down the copy, from a work list (a tree of any depth costs
  // no stack), in the recursion's order: a node's checks, its children's
  // subtrees in order, then its own link to the master.
  struct FRAME {
    DTM_NODE* m_node;
    DTM_NODE* m_master;
    std::size_t m_next;
  };
  MEM_VECTOR<FRAME> stack;
  const auto enter = [&stack](DTM_NODE* node, DTM_NODE* master) {
    dtm_assert(master != nullptr, "original_node != 0", k_source);
    if (as_p2p(node) != nullptr) {
      link_point_to_point(*node, master);
    } else {
      stack.push_back(FRAME{node, master, 0});
    }
  };
  enter(this, original_node);
  while (!stack.empty()) {
    FRAME& frame = stack.back();
    if (frame.m_next < frame.m_node->m_nodes.size()) {
      DTM_NODE* child = frame.m_node->m_nodes[frame.m_next++];
      if (dtm_assert(child != nullptr, "node != 0", k_source)) {
        enter(child, frame.m_master != nullptr
                         ? frame.m_master->get_sub_node(child->m_id, DTM_NODE_NONE)
                         : nullptr);
      }
      continue;
    }
    DTM_NODE* node = frame.m_node;
    DTM_NODE* master = frame.m_master;
    stack.pop_back();
    if (!has_data(master)) {
      continue;
    }
    dtm_assert(node->m_data_root == nullptr, "m_data_root == 0", k_source);
    dtm_assert(node->m_linked_node == nullptr, "m_linked_node == 0", k_source);
    master->append_node_to(node);
  }
  return true;
}

void DTM_NODE::diff_clone_node_data(DTM_NODE* root_node, DTM_NODE* source_node,
                                    DTM_NODE* target_node) const {
  check_distinct(root_node, source_node, "root_node != source_node");
  check_distinct(source_node, target_node, "source_node != target_node");
  check_distinct(target_node, root_node, "target_node != root_node");
  if (!check_called_on_source(source_node, this)) {
    return;
  }
  if (as_p2p(this) != nullptr) {
    for (const P2P_DIRECTION* direction : k_data_order) {
      if (DTM_NODE* source = direction_of(this, *direction); source != nullptr) {
        source->diff_clone_node_data(direction_of(root_node, *direction), source,
                                     direction_of(target_node, *direction));
      }
    }
    return;
  }
  if (m_data_root == nullptr) {
    return;
  }
  if (!dtm_assert(target_node != nullptr, "target_node != 0", k_source)) {
    return;
  }
  const DTM_TREE_DATA* root_data = data_of(root_node);
  dtm_assert(root_data != nullptr, "root_data != 0", k_source);
  dtm_assert(target_node->m_data_root == nullptr, "target_data == 0", k_source);
  // The difference shares no node with the target's tree, which it replaces.
  target_node->set_tree_data_root(
      m_data_root->diff_clone_data_tree(root_data, target_node->m_data_root));
}

void DTM_NODE::resync_source_with_root(DTM_NODE* root_node, DTM_NODE* source_node) const {
  check_distinct(root_node, source_node, "root_node != source_node");
  if (!check_called_on_source(source_node, this)) {
    return;
  }
  if (as_p2p(this) != nullptr) {
    for (const P2P_DIRECTION* direction : k_data_order) {
      if (DTM_NODE* source = direction_of(this, *direction); source != nullptr) {
        source->resync_source_with_root(direction_of(root_node, *direction), source);
      }
    }
    return;
  }
  if (m_data_root == nullptr) {
    return;
  }
  const DTM_TREE_DATA* root_data = data_of(root_node);
  if (dtm_assert(root_data != nullptr, "root_data != 0", k_source)) {
    m_data_root->resync(root_data);
  }
}
