#include "dtm_re_node.h"

template class DTM_TYPED_NODE<DTM_RE_KIND>;

int DTM_RE_NODE::get_re_node_delay(CDB_RE_TYPE re, DTM_PATH_DEF_P0) const {
  check_no_path(p0, DTM_LEAF_GET);
  return get_value({re});
}

bool DTM_RE_NODE::set_re_node_delay(int delay, CDB_RE_TYPE re, DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_SET);
  return set_value(delay, {re});
}

bool DTM_RE_NODE::add_re_node_delay(int delay, CDB_RE_TYPE re, DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_ADD);
  return add_value(delay, {re});
}
