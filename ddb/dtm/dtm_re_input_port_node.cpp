#include "dtm_re_input_port_node.h"

template class DTM_TYPED_NODE<DTM_RE_INPUT_PORT_KIND>;

int DTM_RE_INPUT_PORT_NODE::get_re_port_node_delay(CDB_RE_TYPE re, DB_INPUT_PORT_TYPE port,
                                                   DTM_PATH_DEF_P0) const {
  check_no_path(p0, DTM_LEAF_GET);
  return get_value({re, port});
}

bool DTM_RE_INPUT_PORT_NODE::set_re_port_node_delay(int delay, CDB_RE_TYPE re,
                                                    DB_INPUT_PORT_TYPE port, DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_SET);
  return set_value(delay, {re, port});
}

bool DTM_RE_INPUT_PORT_NODE::add_re_port_node_delay(int delay, CDB_RE_TYPE re,
                                                    DB_INPUT_PORT_TYPE port, DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_ADD);
  return add_value(delay, {re, port});
}
