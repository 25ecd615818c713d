#include "dtm_node.h"

#include <typeinfo>
#include <utility>

#include "dtm_ff_node.h"
#include "dtm_float_table_node.h"
#include "dtm_integer_node.h"
#include "dtm_micro_node.h"
#include "dtm_node_walk.h"
#include "dtm_output_port_re_node.h"
#include "dtm_p2p_node.h"
#include "dtm_query_index.h"
#include "dtm_rc_node.h"
#include "dtm_re_input_port_node.h"
#include "dtm_re_node.h"
#include "dtm_re_table_node.h"
#include "dtm_report.h"
#include "dtm_table_node.h"
#include "dtm_tree_data.h"

namespace {
constexpr const char* k_source = "dtm_node";
}  // namespace

// --- Child index ------------------------------------------------------------------

void DTM_CHILD_INDEX::note(DTM_NODE_ENUM id, DTM_NODE* node) {
  if ((m_used + 1) * 2 > m_capacity) {
    grow();
  }
  const std::uint32_t mask = m_capacity - 1;
  std::uint32_t i = home(id);
  while (m_slots[i].m_node != nullptr) {
    if (m_slots[i].m_id == id) {
      return;  // an earlier child keeps the id
    }
    i = (i + 1) & mask;
  }
  m_slots[i] = SLOT{id, node};
  ++m_used;
}

void DTM_CHILD_INDEX::replace(DTM_NODE_ENUM id, DTM_NODE* next) {
  if (m_used == 0) {
    return;
  }
  const std::uint32_t mask = m_capacity - 1;
  std::uint32_t i = home(id);
  while (m_slots[i].m_node != nullptr && m_slots[i].m_id != id) {
    i = (i + 1) & mask;
  }
  if (m_slots[i].m_node == nullptr) {
    return;
  }
  if (next != nullptr) {
    m_slots[i].m_node = next;
    return;
  }
  // Backward-shift deletion: pull later entries of the probe run into the
  // hole when their home position allows it, so no tombstones are needed.
  std::uint32_t hole = i;
  for (std::uint32_t j = (hole + 1) & mask; m_slots[j].m_node != nullptr; j = (j + 1) & mask) {
    const std::uint32_t want = home(m_slots[j].m_id);
    // The entry at j may move to the hole unless its home lies in (hole, j].
    const bool home_after_hole = ((j - want) & mask) < ((j - hole) & mask);
    if (!home_after_hole) {
      m_slots[hole] = m_slots[j];
      hole = j;
    }
  }
  m_slots[hole] = SLOT{DTM_NODE_NONE, nullptr};
  --m_used;
}

void DTM_CHILD_INDEX::clear() noexcept {
  for (std::uint32_t i = 0; i < m_capacity; ++i) {
    m_slots[i] = SLOT{DTM_NODE_NONE, nullptr};
  }
  m_used = 0;
  m_covered = 0;
}

void DTM_CHILD_INDEX::grow() {
  const std::uint32_t old_capacity = m_capacity;
  SLOT* const old_slots = m_slots;
  m_capacity = old_capacity == 0 ? 4 : old_capacity * 2;
  m_shift = 32;
  for (std::uint32_t c = m_capacity; c > 1; c >>= 1) {
    --m_shift;
  }
  m_slots = static_cast<SLOT*>(MEM_MANAGER::allocate(sizeof(SLOT) * m_capacity));
  for (std::uint32_t i = 0; i < m_capacity; ++i) {
    m_slots[i] = SLOT{DTM_NODE_NONE, nullptr};
  }
  m_used = 0;
  for (std::uint32_t i = 0; i < old_capacity; ++i) {
    if (old_slots[i].m_node != nullptr) {
      note(old_slots[i].m_id, old_slots[i].m_node);
    }
  }
  MEM_MANAGER::deallocate(old_slots, sizeof(SLOT) * old_capacity);
}

void DTM_CHILD_INDEX::release() noexcept {
  MEM_MANAGER::deallocate(m_slots, sizeof(SLOT) * m_capacity);
  m_slots = nullptr;
  m_capacity = 0;
  m_used = 0;
  m_shift = 32;
  m_covered = 0;
}

// --- Construction, destruction, children ----------------------------------------------

DTM_NODE::DTM_NODE(DTM_NODE_ENUM id, bool writable) : m_id(id), m_writable(writable) {
  DTM_MODEL_EPOCH::advance();
}

DTM_NODE::~DTM_NODE() {
  DTM_MODEL_EPOCH::advance();
  MEM_MANAGER::delete_wrapper(m_query_index);
  m_query_index = nullptr;
  // Everything the node owns is freed from a work list rather than by
  // recursion (a model read from a file can be deeper than the stack allows,
  // through children, point-to-point direction nodes and chains of owned
  // linked nodes alike), in the order a recursive destruction takes: a
  // point-to-point node's direction nodes first, then the children in order,
  // then the description, the data and the owned linked node, each owned
  // node after everything it owns, while every owner above it is still alive
  // (a node's link may point to an owner). A direction node is only emptied
  // here; its point-to-point node frees it, then holding nothing deep.
  enum STAGE : unsigned char { DIRECTIONS, CHILDREN, OWN_PARTS, DONE };
  struct FRAME {
    DTM_NODE* m_node;
    std::size_t m_next;  // the next direction or child
    STAGE m_stage;
    bool m_free;  // free the node at the end (else only empty it)
  };
  MEM_VECTOR<FRAME> work;
  work.push_back(FRAME{this, 0, CHILDREN, false});
  while (!work.empty()) {
    FRAME& frame = work.back();
    DTM_NODE* node = frame.m_node;
    if (frame.m_stage == DIRECTIONS) {
      const auto* p2p = dynamic_cast<const DTM_P2P_NODE*>(node);
      if (p2p != nullptr && frame.m_next < 4) {
        DTM_NODE* const directions[] = {p2p->get_in_out_node(), p2p->get_in_buried_node(),
                                        p2p->get_buried_out_node(), p2p->get_buried_buried_node()};
        if (DTM_NODE* direction = directions[frame.m_next++]; direction != nullptr) {
          work.push_back(FRAME{direction, 0, CHILDREN, false});
        }
        continue;
      }
      frame.m_stage = CHILDREN;
      frame.m_next = 0;
      continue;
    }
    if (frame.m_stage == CHILDREN) {
      if (frame.m_next < node->m_nodes.size()) {
        if (DTM_NODE* child = node->m_nodes[frame.m_next++]; child != nullptr) {
          work.push_back(FRAME{child, 0, DIRECTIONS, true});
        }
        continue;
      }
      NODES().swap(node->m_nodes);
      node->m_child_index.clear();
      frame.m_stage = OWN_PARTS;
      continue;
    }
    if (frame.m_stage == OWN_PARTS) {
      frame.m_stage = DONE;
      MEM_STRING().swap(node->m_description);
      MEM_MANAGER::delete_wrapper(node->m_data_root);
      node->m_data_root = nullptr;
      DTM_NODE* linked = node->m_linked_node;
      if (linked != nullptr && linked != node && linked->get_version() == 1) {
        node->m_linked_node = nullptr;
        work.push_back(FRAME{linked, 0, DIRECTIONS, true});
      }
      continue;
    }
    const bool free_node = frame.m_free;
    work.pop_back();
    if (free_node) {
      MEM_MANAGER::delete_wrapper(node);
    }
  }
}

void DTM_NODE::append_child(DTM_NODE* node) {
  DTM_MODEL_EPOCH::advance();
  const bool in_step = m_child_index.get_covered() == m_nodes.size();
  m_nodes.push_back(node);
  if (in_step) {
    m_child_index.note(node->m_id, node);
    m_child_index.set_covered(m_nodes.size());
  }
}

void DTM_NODE::rebuild_child_index() const {
  m_child_index.clear();
  for (DTM_NODE* child : m_nodes) {
    if (dtm_assert(child != nullptr, "node != 0", k_source) && child->m_id != DTM_NODE_NONE) {
      m_child_index.note(child->m_id, child);
    }
  }
  m_child_index.set_covered(m_nodes.size());
}

// The index answers a hit by itself. Children are only ever added to the list
// behind it (by append_child, or by a reader filling an empty list), never
// replaced, so a stale index can lack a child but never name a wrong one:
// only a miss needs the check.
DTM_NODE* DTM_NODE::find_child(DTM_NODE_ENUM id) const {
  if (DTM_NODE* child = m_child_index.find(id); child != nullptr) {
    return child;
  }
  if (m_child_index.get_covered() == m_nodes.size()) {
    return nullptr;
  }
  rebuild_child_index();
  return m_child_index.find(id);
}

DTM_NODE* DTM_NODE::get_sub_node(DTM_NODE_ENUM e1, DTM_NODE_ENUM e2) const {
  const DTM_NODE_ENUM id = e1 != DTM_NODE_NONE ? e1 : e2;
  return id != DTM_NODE_NONE ? find_child(id) : nullptr;
}

DTM_NODE* DTM_NODE::get_node_by_path(const DTM_PATH& path) const {
  if (path.empty()) {
    return nullptr;
  }
  const DTM_NODE* node = this;
  for (int i = 0; i < DTM_PATH_LENGTH && path[i] != DTM_NODE_NONE; ++i) {
    node = node->find_child(path[i]);
    if (node == nullptr) {
      return nullptr;
    }
  }
  return const_cast<DTM_NODE*>(node);
}

DTM_NODE* DTM_NODE::get_node(DTM_PATH_DEF) const {
  return get_node_by_path(DTM_PATH{{DTM_PATH_ARGS}});
}

bool DTM_NODE::add_node(DTM_NODE* node, DTM_PATH_DEF) {
  if (!m_writable || node == nullptr || node->m_id == DTM_NODE_NONE) {
    return false;
  }
  if (p0 == DTM_NODE_NONE) {
    append_child(node);
    return true;
  }
  DTM_NODE* child = find_child(p0);
  if (child == nullptr) {
    child = MEM_MANAGER::new_wrapper<DTM_NODE>(p0, m_writable);
    append_child(child);
  }
  return child->add_node(node, p1, p2, p3, p4, p5, p6, p7, p8, p9, DTM_NODE_NONE);
}

bool DTM_NODE::remove_node(DTM_PATH_DEF) {
  if (!m_writable || p0 == DTM_NODE_NONE) {
    return false;
  }
  DTM_NODE* child = find_child(p0);
  if (child == nullptr) {
    return false;
  }
  if (p1 != DTM_NODE_NONE) {
    return child->remove_node(p1, p2, p3, p4, p5, p6, p7, p8, p9, DTM_NODE_NONE);
  }
  DTM_MODEL_EPOCH::advance();
  // The next child with the same id, if any, becomes the first.
  if (m_child_index.get_covered() != m_nodes.size()) {
    rebuild_child_index();
  }
  std::size_t at = 0;
  while (m_nodes[at] != child) {
    ++at;
  }
  m_nodes.erase(m_nodes.begin() + static_cast<std::ptrdiff_t>(at));
  DTM_NODE* next = nullptr;
  for (std::size_t i = at; i < m_nodes.size() && next == nullptr; ++i) {
    if (m_nodes[i] != nullptr && m_nodes[i]->m_id == p0) {
      next = m_nodes[i];
    }
  }
  m_child_index.replace(p0, next);
  m_child_index.set_covered(m_nodes.size());
  return true;
}

bool DTM_NODE::set_tree_data_root(DTM_TREE_DATA* root) {
  DTM_MODEL_EPOCH::advance();
  if (root != m_data_root) {
    MEM_MANAGER::delete_wrapper(m_data_root);
    m_data_root = root;
  }
  return true;
}

void DTM_NODE::append_node_to(DTM_NODE* parent) {
  if (!dtm_assert(parent != nullptr, "parent!=0", k_source)) {
    return;
  }
  DTM_NODE* tail = parent;
  while (tail->m_linked_node != nullptr) {
    // Linking a node into a chain that already holds it would close a cycle.
    if (!dtm_assert(tail != this, "tail != this", k_source)) {
      return;
    }
    tail = tail->m_linked_node;
  }
  if (dtm_assert(tail != this, "tail != this", k_source)) {
    DTM_MODEL_EPOCH::advance();
    tail->m_linked_node = this;
  }
}

// --- Query index ------------------------------------------------------------------

const DTM_QUERY_INDEX* DTM_NODE::get_query_index() const noexcept {
  return m_query_index != nullptr && m_query_index->is_current() ? m_query_index : nullptr;
}

const DTM_QUERY_INDEX* DTM_NODE::build_query_index() const {
  if (m_query_index == nullptr) {
    m_query_index = MEM_MANAGER::new_wrapper<DTM_QUERY_INDEX>();
  }
  m_query_index->build(*this);
  m_query_walks = 0;
  return m_query_index;
}

// A rebuild reads every entry once (about a tenth of a cold walk each), so
// rebuilding after entries / 8 walks keeps it below the cost of those walks;
// a model that keeps changing between gets is simply walked.
const DTM_QUERY_INDEX* DTM_NODE::index_for_get() const {
  if (!s_query_indexes) {
    return nullptr;
  }
  if (const DTM_QUERY_INDEX* index = get_query_index(); index != nullptr) {
    return index;
  }
  const std::size_t due = k_query_walks_before_build +
                          (m_query_index != nullptr ? m_query_index->get_entry_count() / 8 : 0);
  if (++m_query_walks < due) {
    return nullptr;
  }
  return build_query_index();
}

// --- Copy, scale -------------------------------------------------------------

DTM_NODE* DTM_NODE::clone(MEM_SEGMENT* segment, bool recursive, bool copy_data) const {
  // Plain nodes below are copied here from a work list rather than by their
  // own clone, so the depth of the tree costs no stack; the order of the
  // copies and reports is the recursion's: a node, its children's subtrees
  // in order, each attached to the copy once its subtree is complete. Other
  // classes copy themselves (they do not walk children).
  const auto copy_plain = [segment](const DTM_NODE& node) {
    dtm_assert(segment != nullptr, "segment != 0", k_source);
    return MEM_MANAGER::new_wrapper_in<DTM_NODE>(segment, node.m_id, true);
  };
  const auto attach = [](DTM_NODE* parent, DTM_NODE* node) {
    if (!dtm_assert(node != nullptr, "node != 0", k_source)) {
      return;
    }
    if (!dtm_assert(parent->add_node(node), "result->add_node(node)", k_source)) {
      MEM_MANAGER::delete_wrapper(node);
    }
  };
  DTM_NODE* result = copy_plain(*this);
  if (!recursive) {
    return result;
  }
  struct FRAME {
    const DTM_NODE* m_source;
    DTM_NODE* m_copy;
    std::size_t m_next;
  };
  MEM_VECTOR<FRAME> stack;
  stack.push_back(FRAME{this, result, 0});
  while (!stack.empty()) {
    FRAME& frame = stack.back();
    if (frame.m_next < frame.m_source->m_nodes.size()) {
      const DTM_NODE* child = frame.m_source->m_nodes[frame.m_next++];
      DTM_NODE* parent = frame.m_copy;
      if (!dtm_assert(child != nullptr, "node != 0", k_source)) {
        continue;
      }
      if (typeid(*child) == typeid(DTM_NODE)) {
        stack.push_back(FRAME{child, copy_plain(*child), 0});
      } else {
        attach(parent, child->clone(segment, recursive, copy_data));
      }
      continue;
    }
    DTM_NODE* done = frame.m_copy;
    stack.pop_back();
    if (!stack.empty()) {
      attach(stack.back().m_copy, done);
    }
  }
  return result;
}

void DTM_NODE::scale(double factor) {
  // Every child's subtree in order, then the node's own data; a
  // point-to-point node scales its direction nodes only. A work list keeps
  // that order without recursing.
  struct FRAME {
    DTM_CHILD_WALK m_children;
    DTM_NODE* m_node;
  };
  MEM_VECTOR<FRAME> stack;
  stack.push_back(FRAME{DTM_CHILD_WALK(*this), this});
  while (!stack.empty()) {
    FRAME& frame = stack.back();
    if (DTM_NODE* child = frame.m_children.next(); child != nullptr) {
      stack.push_back(FRAME{DTM_CHILD_WALK(*child), child});
      continue;
    }
    DTM_NODE* node = frame.m_node;
    const bool p2p = frame.m_children.p2p() != nullptr;
    stack.pop_back();
    if (!p2p && node->m_data_root != nullptr) {
      node->m_data_root->scale(factor);
    }
  }
}

// The dumps and the comparison are in dtm_node_dump.cpp.

// --- Accessors ---------------------------------------------------------------------

bool DTM_NODE::is_writable() const { return m_writable; }
void DTM_NODE::set_unwritable() { m_writable = false; }
MEM_STRING DTM_NODE::get_description() const { return m_description; }
void DTM_NODE::set_description(std::string_view description) {
  m_description.assign(description.data(), description.size());
}
short DTM_NODE::get_version() const { return m_version; }
short DTM_NODE::get_bin() const { return m_bin; }
void DTM_NODE::set_version(short version) { m_version = version; }
void DTM_NODE::set_bin(short bin) { m_bin = bin; }

// --- The entry-point skeletons -------------------------------------------------------
//
// Every get, set and add entry point of every kind is one of the three
// walks below, given the kind's row (dtm_typed_node.h, dtm_p2p_node.h) and
// a `forward` that calls the same entry point, virtually, on another node.

namespace {

// The kind's leaf among `node`'s children: null when there is none, or when
// the child with the kind's id is not of the leaf class (reported).
template <class KIND>
typename KIND::LEAF* find_leaf(const DTM_NODE& node) {
  DTM_NODE* child = node.get_sub_node(KIND::k_kind, DTM_NODE_NONE);
  if (child == nullptr) {
    return nullptr;
  }
  if (!dtm_assert(typeid(*child) == typeid(typename KIND::LEAF), KIND::k_class_text, k_source)) {
    return nullptr;
  }
  return static_cast<typename KIND::LEAF*>(child);
}

// The kind's leaf below `node` and, when it has no value, once its linked
// node. An index the kind does not accept is never looked up (and what the
// linked node answers for it is dropped).
template <class KIND>
typename KIND::VALUE ask_leaf(const DTM_NODE& node, const typename KIND::ARGS& keys) {
  using VALUE = typename KIND::VALUE;
  using LEAF = typename KIND::LEAF;
  const LEAF* leaf = find_leaf<KIND>(node);
  if (leaf == nullptr) {
    return KIND::k_missing;
  }
  const bool accepted = KIND::accepts(keys);
  VALUE result = accepted ? KIND::leaf_get(*leaf, keys) : KIND::k_missing;
  const DTM_NODE* linked = leaf->get_linked_node();
  if (KIND::VALUE_OPS::is_missing(result) && linked != nullptr) {
    bool same_id = true;
    if constexpr (KIND::k_link_text != nullptr) {
      same_id = dtm_assert(linked->get_id() == KIND::k_kind, KIND::k_link_text, k_source);
    }
    if (typeid(*linked) == typeid(LEAF)) {
      result = KIND::leaf_get(*static_cast<const LEAF*>(linked), keys);
    } else {
      if (same_id) {
        dtm_report(KIND::k_class_text, k_source);
      }
      result = KIND::k_missing;
    }
    if (!accepted) {
      result = KIND::k_missing;
    }
  }
  return result;
}

// With a path: the entry point of the node it names, with an empty path
// (for a plain node that is ask_leaf itself, taken without the virtual
// call). Without: ask_leaf here. No link is followed along the path.
template <class KIND, class FORWARD>
typename KIND::VALUE get_entry(const DTM_NODE& self, const DTM_PATH& path,
                               const typename KIND::ARGS& keys, FORWARD forward) {
  if (KIND::accepts(keys)) {
    if (const DTM_QUERY_INDEX* index = self.index_for_get(); index != nullptr) {
      typename KIND::VALUE value;
      if (index->find<KIND>(path, keys, value)) {
        return value;
      }
    }
  }
  if (path.empty()) {
    return ask_leaf<KIND>(self, keys);
  }
  const DTM_NODE* target = self.get_node_by_path(path);
  if (target == nullptr) {
    return KIND::k_missing;
  }
  return typeid(*target) == typeid(DTM_NODE) ? ask_leaf<KIND>(*target, keys) : forward(*target);
}

template <class KIND, class FORWARD>
bool set_entry(DTM_NODE& self, const DTM_PATH& path, typename KIND::VALUE delay,
               const typename KIND::ARGS& keys, FORWARD forward) {
  DTM_NODE* target = &self;
  if (!path.empty()) {
    target = self.get_node_by_path(path);
    if (target == nullptr) {
      return false;
    }
    if (typeid(*target) != typeid(DTM_NODE)) {
      return forward(*target);
    }
  }
  typename KIND::LEAF* leaf = find_leaf<KIND>(*target);
  return leaf != nullptr && KIND::leaf_set(*leaf, delay, keys);
}

// The walk descends one level per call (through `forward`, which receives
// the node and the rest of the path), creating the leaf and the missing
// levels at the first level that does not exist.
template <class KIND, class FORWARD>
bool add_entry(DTM_NODE& self, const DTM_PATH& path, typename KIND::VALUE delay,
               const typename KIND::ARGS& keys, FORWARD forward) {
  using LEAF = typename KIND::LEAF;
  const DTM_PATH walk = path.builder_form();
  if (!walk.empty()) {
    if (DTM_NODE* child = self.get_sub_node(walk[0], DTM_NODE_NONE); child != nullptr) {
      return forward(*child, walk.tail());
    }
    LEAF* created = KIND::make_leaf();
    if (!self.add_node(created, DTM_PATH_SPREAD(walk))) {
      MEM_MANAGER::delete_wrapper(created);
      return false;
    }
    DTM_NODE* target = self.get_node_by_path(walk);
    return target != nullptr && forward(*target, DTM_PATH{});
  }
  if (self.get_sub_node(KIND::k_kind, DTM_NODE_NONE) == nullptr) {
    LEAF* created = KIND::make_leaf();
    if (!self.add_node(created)) {
      MEM_MANAGER::delete_wrapper(created);
      return false;
    }
  }
  LEAF* leaf = find_leaf<KIND>(self);
  return leaf != nullptr && KIND::leaf_add(*leaf, delay, keys);
}

using P2P_IN_OUT_ENTRY = DTM_P2P_KIND<DB_INPUT_PORT_TYPE, DB_OUTPUT_PORT_TYPE>;
using P2P_IN_BURIED_ENTRY = DTM_P2P_KIND<DB_INPUT_PORT_TYPE, DB_BURIED_PORT_TYPE>;
using P2P_BURIED_OUT_ENTRY = DTM_P2P_KIND<DB_BURIED_PORT_TYPE, DB_OUTPUT_PORT_TYPE>;
using P2P_BURIED_BURIED_ENTRY = DTM_P2P_KIND<DB_BURIED_PORT_TYPE, DB_BURIED_PORT_TYPE>;

}  // namespace

// --- Get entry points -----------------------------------------------------------------

int DTM_NODE::get_micro_node_delay(DTM_ENUM kind, DTM_PATH_DEF) const {
  return get_entry<DTM_MICRO_KIND>(*this, {{DTM_PATH_ARGS}}, {kind},
                                   [&](const DTM_NODE& n) { return n.get_micro_node_delay(kind); });
}

int DTM_NODE::get_table_node_delay(DTM_ENUM row, DTM_ENUM col, DTM_PATH_DEF) const {
  return get_entry<DTM_TABLE_KIND>(*this, {{DTM_PATH_ARGS}}, {row, col}, [&](const DTM_NODE& n) {
    return n.get_table_node_delay(row, col);
  });
}

double DTM_NODE::get_float_table_node_delay(DTM_ENUM row, DTM_ENUM col, DTM_PATH_DEF) const {
  return get_entry<DTM_FLOAT_TABLE_KIND>(
      *this, {{DTM_PATH_ARGS}}, {row, col},
      [&](const DTM_NODE& n) { return n.get_float_table_node_delay(row, col); });
}

int DTM_NODE::get_ff_node_delay(DB_BURIED_PORT_TYPE port, DTM_ENUM kind, DTM_PATH_DEF) const {
  return get_entry<DTM_FF_KIND>(*this, {{DTM_PATH_ARGS}}, {port, kind},
                                [&](const DTM_NODE& n) { return n.get_ff_node_delay(port, kind); });
}

int DTM_NODE::get_re_node_delay(CDB_RE_TYPE re, DTM_PATH_DEF) const {
  return get_entry<DTM_RE_KIND>(*this, {{DTM_PATH_ARGS}}, {re},
                                [&](const DTM_NODE& n) { return n.get_re_node_delay(re); });
}

int DTM_NODE::get_re_table_node_delay(CDB_RE_TYPE re1, CDB_RE_TYPE re2, DTM_ENUM kind,
                                      DTM_PATH_DEF) const {
  return get_entry<DTM_RE_TABLE_KIND>(
      *this, {{DTM_PATH_ARGS}}, {re1, re2, kind},
      [&](const DTM_NODE& n) { return n.get_re_table_node_delay(re1, re2, kind); });
}

int DTM_NODE::get_re_port_node_delay(CDB_RE_TYPE re, DB_INPUT_PORT_TYPE port, DTM_PATH_DEF) const {
  return get_entry<DTM_RE_INPUT_PORT_KIND>(
      *this, {{DTM_PATH_ARGS}}, {re, port},
      [&](const DTM_NODE& n) { return n.get_re_port_node_delay(re, port); });
}

int DTM_NODE::get_port_re_node_delay(DB_OUTPUT_PORT_TYPE port, CDB_RE_TYPE re, DTM_PATH_DEF) const {
  return get_entry<DTM_OUTPUT_PORT_RE_KIND>(
      *this, {{DTM_PATH_ARGS}}, {port, re},
      [&](const DTM_NODE& n) { return n.get_port_re_node_delay(port, re); });
}

// The bodies of each group of four point-to-point entry points run
// input->buried, input->output, buried->buried, buried->output.

int DTM_NODE::get_p2p_node_delay(DB_INPUT_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                 DTM_ENUM condition, DTM_PATH_DEF) const {
  return get_entry<P2P_IN_BURIED_ENTRY>(
      *this, {{DTM_PATH_ARGS}}, {src, dst, condition},
      [&](const DTM_NODE& n) { return n.get_p2p_node_delay(src, dst, condition); });
}

int DTM_NODE::get_p2p_node_delay(DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                 DTM_ENUM condition, DTM_PATH_DEF) const {
  return get_entry<P2P_IN_OUT_ENTRY>(
      *this, {{DTM_PATH_ARGS}}, {src, dst, condition},
      [&](const DTM_NODE& n) { return n.get_p2p_node_delay(src, dst, condition); });
}

int DTM_NODE::get_p2p_node_delay(DB_BURIED_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                 DTM_ENUM condition, DTM_PATH_DEF) const {
  return get_entry<P2P_BURIED_BURIED_ENTRY>(
      *this, {{DTM_PATH_ARGS}}, {src, dst, condition},
      [&](const DTM_NODE& n) { return n.get_p2p_node_delay(src, dst, condition); });
}

int DTM_NODE::get_p2p_node_delay(DB_BURIED_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                 DTM_ENUM condition, DTM_PATH_DEF) const {
  return get_entry<P2P_BURIED_OUT_ENTRY>(
      *this, {{DTM_PATH_ARGS}}, {src, dst, condition},
      [&](const DTM_NODE& n) { return n.get_p2p_node_delay(src, dst, condition); });
}

double DTM_NODE::get_rc_float(CDB_RE_TYPE re, DTM_ENUM kind, DTM_ENUM edge, DTM_PATH_DEF) const {
  return get_entry<DTM_RC_KIND>(*this, {{DTM_PATH_ARGS}}, {re, kind, edge},
                                [&](const DTM_NODE& n) { return n.get_rc_float(re, kind, edge); });
}

int DTM_NODE::get_integer_node_delay(DTM_ENUM kind, int index, DTM_PATH_DEF) const {
  return get_entry<DTM_INTEGER_KIND>(
      *this, {{DTM_PATH_ARGS}}, {kind, index},
      [&](const DTM_NODE& n) { return n.get_integer_node_delay(kind, index); });
}

// --- Set entry points -------------------------------------------------------------------

bool DTM_NODE::set_micro_node_delay(int delay, DTM_ENUM kind, DTM_PATH_DEF) {
  return set_entry<DTM_MICRO_KIND>(*this, {{DTM_PATH_ARGS}}, delay, {kind}, [&](DTM_NODE& n) {
    return n.set_micro_node_delay(delay, kind);
  });
}

bool DTM_NODE::set_table_node_delay(int delay, DTM_ENUM row, DTM_ENUM col, DTM_PATH_DEF) {
  return set_entry<DTM_TABLE_KIND>(*this, {{DTM_PATH_ARGS}}, delay, {row, col}, [&](DTM_NODE& n) {
    return n.set_table_node_delay(delay, row, col);
  });
}

bool DTM_NODE::set_float_table_node_delay(double delay, DTM_ENUM row, DTM_ENUM col, DTM_PATH_DEF) {
  return set_entry<DTM_FLOAT_TABLE_KIND>(
      *this, {{DTM_PATH_ARGS}}, delay, {row, col},
      [&](DTM_NODE& n) { return n.set_float_table_node_delay(delay, row, col); });
}

bool DTM_NODE::set_ff_node_delay(int delay, DB_BURIED_PORT_TYPE port, DTM_ENUM kind, DTM_PATH_DEF) {
  return set_entry<DTM_FF_KIND>(*this, {{DTM_PATH_ARGS}}, delay, {port, kind}, [&](DTM_NODE& n) {
    return n.set_ff_node_delay(delay, port, kind);
  });
}

bool DTM_NODE::set_re_node_delay(int delay, CDB_RE_TYPE re, DTM_PATH_DEF) {
  return set_entry<DTM_RE_KIND>(*this, {{DTM_PATH_ARGS}}, delay, {re},
                                [&](DTM_NODE& n) { return n.set_re_node_delay(delay, re); });
}

bool DTM_NODE::set_re_table_node_delay(int delay, CDB_RE_TYPE re1, CDB_RE_TYPE re2, DTM_ENUM kind,
                                       DTM_PATH_DEF) {
  return set_entry<DTM_RE_TABLE_KIND>(
      *this, {{DTM_PATH_ARGS}}, delay, {re1, re2, kind},
      [&](DTM_NODE& n) { return n.set_re_table_node_delay(delay, re1, re2, kind); });
}

bool DTM_NODE::set_re_port_node_delay(int delay, CDB_RE_TYPE re, DB_INPUT_PORT_TYPE port,
                                      DTM_PATH_DEF) {
  return set_entry<DTM_RE_INPUT_PORT_KIND>(
      *this, {{DTM_PATH_ARGS}}, delay, {re, port},
      [&](DTM_NODE& n) { return n.set_re_port_node_delay(delay, re, port); });
}

bool DTM_NODE::set_port_re_node_delay(int delay, DB_OUTPUT_PORT_TYPE port, CDB_RE_TYPE re,
                                      DTM_PATH_DEF) {
  return set_entry<DTM_OUTPUT_PORT_RE_KIND>(
      *this, {{DTM_PATH_ARGS}}, delay, {port, re},
      [&](DTM_NODE& n) { return n.set_port_re_node_delay(delay, port, re); });
}

// Without a condition: the leaf is asked for the unconditioned delay.

bool DTM_NODE::set_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                  DTM_PATH_DEF) {
  return set_entry<P2P_IN_BURIED_ENTRY>(
      *this, {{DTM_PATH_ARGS}}, delay, {src, dst, DTM_NONE},
      [&](DTM_NODE& n) { return n.set_p2p_node_delay(delay, src, dst); });
}

bool DTM_NODE::set_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                  DTM_PATH_DEF) {
  return set_entry<P2P_IN_OUT_ENTRY>(
      *this, {{DTM_PATH_ARGS}}, delay, {src, dst, DTM_NONE},
      [&](DTM_NODE& n) { return n.set_p2p_node_delay(delay, src, dst); });
}

bool DTM_NODE::set_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                  DTM_PATH_DEF) {
  return set_entry<P2P_BURIED_BURIED_ENTRY>(
      *this, {{DTM_PATH_ARGS}}, delay, {src, dst, DTM_NONE},
      [&](DTM_NODE& n) { return n.set_p2p_node_delay(delay, src, dst); });
}

bool DTM_NODE::set_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                  DTM_PATH_DEF) {
  return set_entry<P2P_BURIED_OUT_ENTRY>(
      *this, {{DTM_PATH_ARGS}}, delay, {src, dst, DTM_NONE},
      [&](DTM_NODE& n) { return n.set_p2p_node_delay(delay, src, dst); });
}

bool DTM_NODE::set_rc_float(double delay, CDB_RE_TYPE re, DTM_ENUM kind, DTM_ENUM edge,
                            DTM_PATH_DEF) {
  return set_entry<DTM_RC_KIND>(*this, {{DTM_PATH_ARGS}}, delay, {re, kind, edge},
                                [&](DTM_NODE& n) { return n.set_rc_float(delay, re, kind, edge); });
}

bool DTM_NODE::set_integer_node_delay(int delay, DTM_ENUM kind, int index, DTM_PATH_DEF) {
  return set_entry<DTM_INTEGER_KIND>(
      *this, {{DTM_PATH_ARGS}}, delay, {kind, index},
      [&](DTM_NODE& n) { return n.set_integer_node_delay(delay, kind, index); });
}

// --- Add entry points -------------------------------------------------------------------

bool DTM_NODE::add_micro_node_delay(int delay, DTM_ENUM kind, DTM_PATH_DEF) {
  return add_entry<DTM_MICRO_KIND>(
      *this, {{DTM_PATH_ARGS}}, delay, {kind}, [&](DTM_NODE& n, const DTM_PATH& rest) {
        return n.add_micro_node_delay(delay, kind, DTM_PATH_SPREAD(rest));
      });
}

bool DTM_NODE::add_table_node_delay(int delay, DTM_ENUM row, DTM_ENUM col, DTM_PATH_DEF) {
  return add_entry<DTM_TABLE_KIND>(
      *this, {{DTM_PATH_ARGS}}, delay, {row, col}, [&](DTM_NODE& n, const DTM_PATH& rest) {
        return n.add_table_node_delay(delay, row, col, DTM_PATH_SPREAD(rest));
      });
}

bool DTM_NODE::add_float_table_node_delay(double delay, DTM_ENUM row, DTM_ENUM col, DTM_PATH_DEF) {
  return add_entry<DTM_FLOAT_TABLE_KIND>(
      *this, {{DTM_PATH_ARGS}}, delay, {row, col}, [&](DTM_NODE& n, const DTM_PATH& rest) {
        return n.add_float_table_node_delay(delay, row, col, DTM_PATH_SPREAD(rest));
      });
}

bool DTM_NODE::add_ff_node_delay(int delay, DB_BURIED_PORT_TYPE port, DTM_ENUM kind, DTM_PATH_DEF) {
  return add_entry<DTM_FF_KIND>(
      *this, {{DTM_PATH_ARGS}}, delay, {port, kind}, [&](DTM_NODE& n, const DTM_PATH& rest) {
        return n.add_ff_node_delay(delay, port, kind, DTM_PATH_SPREAD(rest));
      });
}

bool DTM_NODE::add_re_node_delay(int delay, CDB_RE_TYPE re, DTM_PATH_DEF) {
  return add_entry<DTM_RE_KIND>(*this, {{DTM_PATH_ARGS}}, delay, {re},
                                [&](DTM_NODE& n, const DTM_PATH& rest) {
                                  return n.add_re_node_delay(delay, re, DTM_PATH_SPREAD(rest));
                                });
}

bool DTM_NODE::add_re_table_node_delay(int delay, CDB_RE_TYPE re1, CDB_RE_TYPE re2, DTM_ENUM kind,
                                       DTM_PATH_DEF) {
  return add_entry<DTM_RE_TABLE_KIND>(
      *this, {{DTM_PATH_ARGS}}, delay, {re1, re2, kind}, [&](DTM_NODE& n, const DTM_PATH& rest) {
        return n.add_re_table_node_delay(delay, re1, re2, kind, DTM_PATH_SPREAD(rest));
      });
}

bool DTM_NODE::add_re_port_node_delay(int delay, CDB_RE_TYPE re, DB_INPUT_PORT_TYPE port,
                                      DTM_PATH_DEF) {
  return add_entry<DTM_RE_INPUT_PORT_KIND>(
      *this, {{DTM_PATH_ARGS}}, delay, {re, port}, [&](DTM_NODE& n, const DTM_PATH& rest) {
        return n.add_re_port_node_delay(delay, re, port, DTM_PATH_SPREAD(rest));
      });
}

bool DTM_NODE::add_port_re_node_delay(int delay, DB_OUTPUT_PORT_TYPE port, CDB_RE_TYPE re,
                                      DTM_PATH_DEF) {
  return add_entry<DTM_OUTPUT_PORT_RE_KIND>(
      *this, {{DTM_PATH_ARGS}}, delay, {port, re}, [&](DTM_NODE& n, const DTM_PATH& rest) {
        return n.add_port_re_node_delay(delay, port, re, DTM_PATH_SPREAD(rest));
      });
}

bool DTM_NODE::add_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                  DTM_ENUM condition, DTM_PATH_DEF) {
  return add_entry<P2P_IN_BURIED_ENTRY>(*this, {{DTM_PATH_ARGS}}, delay, {src, dst, condition},
                                        [&](DTM_NODE& n, const DTM_PATH& rest) {
                                          return n.add_p2p_node_delay(delay, src, dst, condition,
                                                                      DTM_PATH_SPREAD(rest));
                                        });
}

bool DTM_NODE::add_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                  DTM_ENUM condition, DTM_PATH_DEF) {
  return add_entry<P2P_IN_OUT_ENTRY>(*this, {{DTM_PATH_ARGS}}, delay, {src, dst, condition},
                                     [&](DTM_NODE& n, const DTM_PATH& rest) {
                                       return n.add_p2p_node_delay(delay, src, dst, condition,
                                                                   DTM_PATH_SPREAD(rest));
                                     });
}

bool DTM_NODE::add_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                  DTM_ENUM condition, DTM_PATH_DEF) {
  return add_entry<P2P_BURIED_BURIED_ENTRY>(
      *this, {{DTM_PATH_ARGS}}, delay, {src, dst, condition},
      [&](DTM_NODE& n, const DTM_PATH& rest) {
        return n.add_p2p_node_delay(delay, src, dst, condition, DTM_PATH_SPREAD(rest));
      });
}

bool DTM_NODE::add_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                  DTM_ENUM condition, DTM_PATH_DEF) {
  return add_entry<P2P_BURIED_OUT_ENTRY>(*this, {{DTM_PATH_ARGS}}, delay, {src, dst, condition},
                                         [&](DTM_NODE& n, const DTM_PATH& rest) {
                                           return n.add_p2p_node_delay(delay, src, dst, condition,
                                                                       DTM_PATH_SPREAD(rest));
                                         });
}

bool DTM_NODE::add_rc_float(double delay, CDB_RE_TYPE re, DTM_ENUM kind, DTM_ENUM edge,
                            DTM_PATH_DEF) {
  return add_entry<DTM_RC_KIND>(
      *this, {{DTM_PATH_ARGS}}, delay, {re, kind, edge}, [&](DTM_NODE& n, const DTM_PATH& rest) {
        return n.add_rc_float(delay, re, kind, edge, DTM_PATH_SPREAD(rest));
      });
}

bool DTM_NODE::add_integer_node_delay(int delay, DTM_ENUM kind, int index, DTM_PATH_DEF) {
  return add_entry<DTM_INTEGER_KIND>(
      *this, {{DTM_PATH_ARGS}}, delay, {kind, index}, [&](DTM_NODE& n, const DTM_PATH& rest) {
        return n.add_integer_node_delay(delay, kind, index, DTM_PATH_SPREAD(rest));
      });
}

bool DTM_NODE::set_add_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                      DTM_ENUM condition, DTM_PATH_DEF) {
  return set_p2p_node_delay(delay, src, dst, DTM_PATH_ARGS) ||
         add_p2p_node_delay(delay, src, dst, condition, DTM_PATH_ARGS);
}

// --- Static mappings --------------------------------------------------------------------

DTM_ENUM DTM_NODE::get_dtm_enum_for_index(int index) {
  constexpr int k_count = INDEX_36 - INDEX_0 + 1;
  static_assert(k_count == 37, "the index members must be consecutive");
  return index >= 0 && index < k_count ? static_cast<DTM_ENUM>(INDEX_0 + index) : DTM_NONE;
}

namespace {

struct IO_STANDARD_ROW {
  DEV_IO_STANDARD_ENUM m_device;
  DTM_ENUM m_timing;
};

// Device IO standard -> IO-standard member of DTM_ENUM. Two device
// standards share one member on purpose (LVTTL and LVCMOS at 3.3 V).
constexpr IO_STANDARD_ROW k_io_standards[] = {
    {DEV_IO_DEFAULT, DTM_NONE},
    {DEV_IO_LVTTL_3V3, IO_LVTTL_3V3},
    {DEV_IO_LVCMOS_3V3, IO_LVTTL_3V3},
    {DEV_IO_LVTTL_2V5, IO_LVTTL_2V5},
    {DEV_IO_LVCMOS_1V5, IO_LVCMOS_1V5},
    {DEV_IO_LVCMOS_1V8, IO_LVCMOS_1V8},
    {DEV_IO_LVCMOS_2V5, IO_LVCMOS_2V5},
    {DEV_IO_SSTL_18_CLASS_I, IO_SSTL_18_CLASS_I},
    {DEV_IO_HSTL_15_CLASS_I, IO_HSTL_15_CLASS_I},
    {DEV_IO_DIFF_SSTL_2_CLASS_I, IO_DIFF_SSTL_2_CLASS_I},
    {DEV_IO_PCI_3V3, IO_PCI_3V3},
    {DEV_IO_DIFF_SSTL_2_CLASS_II, IO_DIFF_SSTL_2_CLASS_II},
    {DEV_IO_HSTL_18_CLASS_II, IO_HSTL_18_CLASS_II},
    {DEV_IO_HSTL_18_CLASS_I, IO_HSTL_18_CLASS_I},
    {DEV_IO_PCIX_3V3, IO_PCIX_3V3},
    {DEV_IO_SSTL_18_CLASS_II, IO_SSTL_18_CLASS_II},
    {DEV_IO_SSTL_15_CLASS_I, IO_SSTL_15_CLASS_I},
    {DEV_IO_SSTL_15_CLASS_II, IO_SSTL_15_CLASS_II},
    {DEV_IO_DIFF_SSTL_18_CLASS_II, IO_DIFF_SSTL_18_CLASS_II},
    {DEV_IO_DIFF_SSTL_15_CLASS_I, IO_DIFF_SSTL_15_CLASS_I},
    {DEV_IO_LVCMOS_1V2, IO_LVCMOS_1V2},
    {DEV_IO_GTL, IO_GTL},
    {DEV_IO_GTL_PLUS, IO_GTL_PLUS},
    {DEV_IO_DIFF_HSTL_12_CLASS_I, IO_DIFF_HSTL_12_CLASS_I},
    {DEV_IO_DIFF_HSTL_12_CLASS_II, IO_DIFF_HSTL_12_CLASS_II},
    {DEV_IO_DIFF_SSTL_15_CLASS_II, IO_DIFF_SSTL_15_CLASS_II},
    {DEV_IO_SSTL_2_CLASS_II, IO_SSTL_2_CLASS_II},
    {DEV_IO_SCHMITT_3V3, IO_SCHMITT_3V3},
    {DEV_IO_SSTL_2_CLASS_I, IO_SSTL_2_CLASS_I},
    {DEV_IO_HSTL_12_CLASS_I, IO_HSTL_12_CLASS_I},
    {DEV_IO_HSTL_12_CLASS_II, IO_HSTL_12_CLASS_II},
    {DEV_IO_HSTL_15_CLASS_II, IO_HSTL_15_CLASS_II},
    {DEV_IO_LVDS, IO_LVDS},
    {DEV_IO_MINI_LVDS, IO_MINI_LVDS},
    {DEV_IO_RSDS, IO_RSDS},
    {DEV_IO_LVPECL, IO_LVPECL},
    {DEV_IO_BLVDS, IO_BLVDS},
    {DEV_IO_HCSL, IO_HCSL},
    {DEV_IO_SSTL_12, IO_SSTL_12},
    {DEV_IO_DIFF_SSTL_12, IO_DIFF_SSTL_12},
    {DEV_IO_HSUL_12, IO_HSUL_12},
    {DEV_IO_DIFF_POD_12, IO_DIFF_POD_12},
    {DEV_IO_DIFF_SSTL_135, IO_DIFF_SSTL_135},
    {DEV_IO_DIFF_HSUL_12, IO_DIFF_HSUL_12},
    {DEV_IO_POD_12, IO_POD_12},
    {DEV_IO_SSTL_135, IO_SSTL_135},
    {DEV_IO_SSTL_125, IO_SSTL_125},
};

// The same rows indexed by device value; -1 marks a value without a row.
constexpr int k_io_standard_limit = [] {
  int limit = 0;
  for (const IO_STANDARD_ROW& row : k_io_standards) {
    limit = row.m_device >= limit ? row.m_device + 1 : limit;
  }
  return limit;
}();

struct IO_STANDARD_INDEX {
  std::int32_t m_timing[k_io_standard_limit];
};

constexpr IO_STANDARD_INDEX k_io_standard_index = [] {
  IO_STANDARD_INDEX index{};
  for (std::int32_t& value : index.m_timing) {
    value = -1;
  }
  for (const IO_STANDARD_ROW& row : k_io_standards) {
    index.m_timing[row.m_device] = row.m_timing;
  }
  return index;
}();

struct PHYS_IMPL_ROW {
  std::int32_t m_first;
  std::int32_t m_last;
  DTM_NODE_ENUM m_map;
};

// Device IO implementation ranges -> IO map type; values outside every
// range (including the right-side IO) are row IO.
constexpr PHYS_IMPL_ROW k_phys_impls[] = {
    {47, 70, DTM_MAP_IO_COLUMN},       // top and bottom IO
    {71, 82, DTM_MAP_IO_ROW},          // left-side IO
    {83, 134, DTM_MAP_IO_HIGH_SPEED},  // high-speed lanes
    {135, 146, DTM_MAP_IO_COLUMN},     // clock pins
};

}  // namespace

DTM_ENUM DTM_NODE::get_io_standard_dtm_enum_from_dev_enum(DEV_IO_STANDARD_ENUM standard) {
  const std::int32_t value = standard;
  const std::int32_t timing =
      value >= 0 && value < k_io_standard_limit ? k_io_standard_index.m_timing[value] : -1;
  if (timing < 0) {
    dtm_report("unknown IO standard", k_source);
    return DTM_NONE;
  }
  return static_cast<DTM_ENUM>(timing);
}

DTM_NODE_ENUM DTM_NODE::get_io_phys_impl_dtm_node_enum_from_dev_enum(DEV_PHYS_IMPL_ENUM impl) {
  for (const PHYS_IMPL_ROW& row : k_phys_impls) {
    if (impl >= row.m_first && impl <= row.m_last) {
      return row.m_map;
    }
  }
  return DTM_MAP_IO_ROW;
}
