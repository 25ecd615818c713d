#include "dtm_output_port_re_node.h"

template class DTM_TYPED_NODE<DTM_OUTPUT_PORT_RE_KIND>;

int DTM_OUTPUT_PORT_RE_NODE::get_port_re_node_delay(DB_OUTPUT_PORT_TYPE port, CDB_RE_TYPE re,
                                                    DTM_PATH_DEF_P0) const {
  check_no_path(p0, DTM_LEAF_GET);
  return get_value({port, re});
}

bool DTM_OUTPUT_PORT_RE_NODE::set_port_re_node_delay(int delay, DB_OUTPUT_PORT_TYPE port,
                                                     CDB_RE_TYPE re, DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_SET);
  return set_value(delay, {port, re});
}

bool DTM_OUTPUT_PORT_RE_NODE::add_port_re_node_delay(int delay, DB_OUTPUT_PORT_TYPE port,
                                                     CDB_RE_TYPE re, DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_ADD);
  return add_value(delay, {port, re});
}
