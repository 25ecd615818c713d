#include "dtm_p2p_node.h"

#include "dtm_report.h"

namespace {
constexpr const char* k_source = "dtm_p2p_node";
}  // namespace

template class DTM_TYPED_NODE<DTM_P2P_IN_BURIED_KIND>;
template class DTM_TYPED_NODE<DTM_P2P_IN_OUT_KIND>;
template class DTM_TYPED_NODE<DTM_P2P_BURIED_OUT_KIND>;
template class DTM_TYPED_NODE<DTM_P2P_BURIED_BURIED_KIND>;

DTM_P2P_IN_BURIED_NODE::DTM_P2P_IN_BURIED_NODE(bool writable) : DTM_P2P_DIRECTION_NODE(writable) {}
DTM_P2P_IN_OUT_NODE::DTM_P2P_IN_OUT_NODE(bool writable) : DTM_P2P_DIRECTION_NODE(writable) {}
DTM_P2P_BURIED_OUT_NODE::DTM_P2P_BURIED_OUT_NODE(bool writable)
    : DTM_P2P_DIRECTION_NODE(writable) {}
DTM_P2P_BURIED_BURIED_NODE::DTM_P2P_BURIED_BURIED_NODE(bool writable)
    : DTM_P2P_DIRECTION_NODE(writable) {}

DTM_P2P_NODE::DTM_P2P_NODE(DTM_P2P_IN_OUT_NODE* in_out, DTM_P2P_IN_BURIED_NODE* in_buried,
                           DTM_P2P_BURIED_OUT_NODE* buried_out,
                           DTM_P2P_BURIED_BURIED_NODE* buried_buried, bool writable)
    : DTM_NODE(DTM_P2P, writable),
      m_in_out_node(in_out),
      m_in_buried_node(in_buried),
      m_buried_out_node(buried_out),
      m_buried_buried_node(buried_buried) {}

DTM_P2P_NODE::~DTM_P2P_NODE() {
  MEM_MANAGER::delete_wrapper(m_in_out_node);
  MEM_MANAGER::delete_wrapper(m_in_buried_node);
  MEM_MANAGER::delete_wrapper(m_buried_out_node);
  MEM_MANAGER::delete_wrapper(m_buried_buried_node);
}

DTM_P2P_NODE* DTM_P2P_NODE::make_with_directions() {
  auto* in_out = MEM_MANAGER::new_wrapper<DTM_P2P_IN_OUT_NODE>(true);
  auto* buried_out = MEM_MANAGER::new_wrapper<DTM_P2P_BURIED_OUT_NODE>(true);
  auto* in_buried = MEM_MANAGER::new_wrapper<DTM_P2P_IN_BURIED_NODE>(true);
  auto* buried_buried = MEM_MANAGER::new_wrapper<DTM_P2P_BURIED_BURIED_NODE>(true);
  return MEM_MANAGER::new_wrapper<DTM_P2P_NODE>(in_out, in_buried, buried_out, buried_buried, true);
}

// --- Directions ---------------------------------------------------------------------

template <>
DTM_P2P_IN_OUT_NODE*& DTM_P2P_NODE::slot<DTM_P2P_IN_OUT_NODE>() noexcept {
  return m_in_out_node;
}
template <>
DTM_P2P_IN_BURIED_NODE*& DTM_P2P_NODE::slot<DTM_P2P_IN_BURIED_NODE>() noexcept {
  return m_in_buried_node;
}
template <>
DTM_P2P_BURIED_OUT_NODE*& DTM_P2P_NODE::slot<DTM_P2P_BURIED_OUT_NODE>() noexcept {
  return m_buried_out_node;
}
template <>
DTM_P2P_BURIED_BURIED_NODE*& DTM_P2P_NODE::slot<DTM_P2P_BURIED_BURIED_NODE>() noexcept {
  return m_buried_buried_node;
}

template <class DIRECTION>
int DTM_P2P_NODE::direction_get(const typename DIRECTION::ARGS& keys) const {
  const DIRECTION* direction = slot<DIRECTION>();
  return direction != nullptr ? direction->get_value(keys) : DTM_ILLEGAL_DELAY;
}

template <class DIRECTION>
bool DTM_P2P_NODE::direction_set(int delay, const typename DIRECTION::ARGS& keys) {
  DIRECTION* direction = slot<DIRECTION>();
  return m_writable && direction != nullptr && direction->set_value(delay, keys);
}

// A direction node created here is not writable, unlike the four that
// make_with_directions creates.
template <class DIRECTION>
bool DTM_P2P_NODE::direction_add(int delay, const typename DIRECTION::ARGS& keys) {
  if (!is_writable()) {
    return false;
  }
  DIRECTION*& direction = slot<DIRECTION>();
  if (direction == nullptr) {
    direction = MEM_MANAGER::new_wrapper<DIRECTION>(false);
  }
  return direction->add_value(delay, keys);
}

// The bodies of each group of four run input->buried, input->output,
// buried->buried, buried->output.

int DTM_P2P_NODE::get_p2p_node_delay(DB_INPUT_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                     DTM_ENUM condition, DTM_PATH_UNUSED) const {
  return direction_get<DTM_P2P_IN_BURIED_NODE>({src, dst, condition});
}
int DTM_P2P_NODE::get_p2p_node_delay(DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                     DTM_ENUM condition, DTM_PATH_UNUSED) const {
  return direction_get<DTM_P2P_IN_OUT_NODE>({src, dst, condition});
}
int DTM_P2P_NODE::get_p2p_node_delay(DB_BURIED_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                     DTM_ENUM condition, DTM_PATH_UNUSED) const {
  return direction_get<DTM_P2P_BURIED_BURIED_NODE>({src, dst, condition});
}
int DTM_P2P_NODE::get_p2p_node_delay(DB_BURIED_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                     DTM_ENUM condition, DTM_PATH_UNUSED) const {
  return direction_get<DTM_P2P_BURIED_OUT_NODE>({src, dst, condition});
}

bool DTM_P2P_NODE::add_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                      DTM_ENUM condition, DTM_PATH_UNUSED) {
  return direction_add<DTM_P2P_IN_BURIED_NODE>(delay, {src, dst, condition});
}
bool DTM_P2P_NODE::add_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                      DTM_ENUM condition, DTM_PATH_UNUSED) {
  return direction_add<DTM_P2P_IN_OUT_NODE>(delay, {src, dst, condition});
}
bool DTM_P2P_NODE::add_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                      DTM_ENUM condition, DTM_PATH_UNUSED) {
  return direction_add<DTM_P2P_BURIED_BURIED_NODE>(delay, {src, dst, condition});
}
bool DTM_P2P_NODE::add_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                      DTM_ENUM condition, DTM_PATH_UNUSED) {
  return direction_add<DTM_P2P_BURIED_OUT_NODE>(delay, {src, dst, condition});
}

bool DTM_P2P_NODE::set_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                      DTM_ENUM condition, DTM_PATH_UNUSED) {
  return direction_set<DTM_P2P_IN_BURIED_NODE>(delay, {src, dst, condition});
}
bool DTM_P2P_NODE::set_p2p_node_delay(int delay, DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                      DTM_ENUM condition, DTM_PATH_UNUSED) {
  return direction_set<DTM_P2P_IN_OUT_NODE>(delay, {src, dst, condition});
}
bool DTM_P2P_NODE::set_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_BURIED_PORT_TYPE dst,
                                      DTM_ENUM condition, DTM_PATH_UNUSED) {
  return direction_set<DTM_P2P_BURIED_BURIED_NODE>(delay, {src, dst, condition});
}
bool DTM_P2P_NODE::set_p2p_node_delay(int delay, DB_BURIED_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst,
                                      DTM_ENUM condition, DTM_PATH_UNUSED) {
  return direction_set<DTM_P2P_BURIED_OUT_NODE>(delay, {src, dst, condition});
}

// --- Whole-node operations ------------------------------------------------------------

namespace {
// Clones a direction node; null stays null.
template <class DIRECTION>
DIRECTION* clone_direction(const DIRECTION* direction, MEM_SEGMENT* segment, bool recursive,
                           bool copy_data) {
  return direction != nullptr
             ? static_cast<DIRECTION*>(direction->clone(segment, recursive, copy_data))
             : nullptr;
}
}  // namespace

DTM_NODE* DTM_P2P_NODE::clone(MEM_SEGMENT* segment, bool recursive, bool copy_data) const {
  dtm_assert(segment != nullptr, "segment != 0", k_source);
  auto* in_out = clone_direction(m_in_out_node, segment, recursive, copy_data);
  auto* in_buried = clone_direction(m_in_buried_node, segment, recursive, copy_data);
  auto* buried_out = clone_direction(m_buried_out_node, segment, recursive, copy_data);
  auto* buried_buried = clone_direction(m_buried_buried_node, segment, recursive, copy_data);
  return MEM_MANAGER::new_wrapper_in<DTM_P2P_NODE>(segment, in_out, in_buried, buried_out,
                                                   buried_buried, true);
}

void DTM_P2P_NODE::scale(double factor) {
  DTM_NODE* const directions[] = {m_in_out_node, m_in_buried_node, m_buried_out_node,
                                  m_buried_buried_node};
  for (DTM_NODE* direction : directions) {
    if (direction != nullptr) {
      direction->scale(factor);
    }
  }
}

// The dumps and the comparison are in dtm_node_dump.cpp.
