// The children a walk over the model visits below one node, and the work
// list such walks keep instead of recursing: a model read from a file may be
// far deeper than the stack allows, so no walk over nodes recurses once per
// level.
//
// A point-to-point node's children are its existing direction nodes, in the
// order input->output, input->buried, buried->output, buried->buried (its own
// m_nodes are not visited); any other node's are the non-null entries of
// m_nodes, in order.
#pragma once

#include <cstddef>
#include <typeinfo>

#include "dtm_node.h"
#include "dtm_p2p_node.h"

class DTM_CHILD_WALK {
 public:
  // Number of direction positions of a point-to-point node.
  static constexpr int DIRECTIONS = 4;

  // DTM_P2P_NODE is final: comparing the exact type is the cheap form of
  // the dynamic cast.
  explicit DTM_CHILD_WALK(const DTM_NODE& node) noexcept
      : m_node(&node),
        m_p2p(typeid(node) == typeid(DTM_P2P_NODE) ? static_cast<const DTM_P2P_NODE*>(&node)
                                                   : nullptr) {}

  const DTM_NODE& node() const noexcept { return *m_node; }
  // The node as a point-to-point node; null for any other class.
  const DTM_P2P_NODE* p2p() const noexcept { return m_p2p; }

  // The next child, null after the last. `direction` receives the position
  // (0 to 3, in the order above) of a direction node, -1 for an m_nodes child.
  DTM_NODE* next(int* direction = nullptr) noexcept {
    if (m_p2p != nullptr) {
      while (m_next < DIRECTIONS) {
        const int position = static_cast<int>(m_next++);
        if (DTM_NODE* child = direction_node(*m_p2p, position); child != nullptr) {
          if (direction != nullptr) {
            *direction = position;
          }
          return child;
        }
      }
      return nullptr;
    }
    const DTM_NODE::NODES& nodes = m_node->get_nodes();
    while (m_next < nodes.size()) {
      if (DTM_NODE* child = nodes[m_next++]; child != nullptr) {
        if (direction != nullptr) {
          *direction = -1;
        }
        return child;
      }
    }
    return nullptr;
  }

  // The direction node at `position` (0 to 3), null when absent.
  static DTM_NODE* direction_node(const DTM_P2P_NODE& p2p, int position) noexcept {
    switch (position) {
      case 0:
        return p2p.get_in_out_node();
      case 1:
        return p2p.get_in_buried_node();
      case 2:
        return p2p.get_buried_out_node();
      case 3:
        return p2p.get_buried_buried_node();
      default:
        return nullptr;
    }
  }

 private:
  const DTM_NODE* m_node;
  const DTM_P2P_NODE* m_p2p;
  std::size_t m_next = 0;
};
