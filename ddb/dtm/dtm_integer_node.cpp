#include "dtm_integer_node.h"

template class DTM_TYPED_NODE<DTM_INTEGER_KIND>;

int DTM_INTEGER_NODE::get_integer_node_delay(DTM_ENUM kind, int index) const {
  return get_value({kind, index});
}

bool DTM_INTEGER_NODE::set_integer_node_delay(int delay, DTM_ENUM kind, int index,
                                              DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_SET);
  return set_value(delay, {kind, index});
}

bool DTM_INTEGER_NODE::add_integer_node_delay(int delay, DTM_ENUM kind, int index) {
  return add_value(delay, {kind, index});
}
