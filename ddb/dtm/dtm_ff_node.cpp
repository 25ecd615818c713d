#include "dtm_ff_node.h"

template class DTM_TYPED_NODE<DTM_FF_KIND>;

int DTM_FF_NODE::get_ff_node_delay(DB_BURIED_PORT_TYPE port, DTM_ENUM kind, DTM_PATH_DEF_P0) const {
  check_no_path(p0, DTM_LEAF_GET);
  return get_value({port, kind});
}

bool DTM_FF_NODE::set_ff_node_delay(int delay, DB_BURIED_PORT_TYPE port, DTM_ENUM kind,
                                    DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_SET);
  return set_value(delay, {port, kind});
}

bool DTM_FF_NODE::add_ff_node_delay(int delay, DB_BURIED_PORT_TYPE port, DTM_ENUM kind,
                                    DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_ADD);
  return add_value(delay, {port, kind});
}
