#include "dtm_micro_node.h"

template class DTM_TYPED_NODE<DTM_MICRO_KIND>;

int DTM_MICRO_NODE::get_micro_node_delay(DTM_ENUM kind, DTM_PATH_DEF_P0) const {
  check_no_path(p0, DTM_LEAF_GET);
  return get_value({kind});
}

bool DTM_MICRO_NODE::set_micro_node_delay(int delay, DTM_ENUM kind, DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_SET);
  return set_value(delay, {kind});
}

bool DTM_MICRO_NODE::add_micro_node_delay(int delay, DTM_ENUM kind, DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_ADD);
  return add_value(delay, {kind});
}
