#include "dtm_re_table_node.h"

template class DTM_TYPED_NODE<DTM_RE_TABLE_KIND>;

int DTM_RE_TABLE_NODE::get_re_table_node_delay(CDB_RE_TYPE re1, CDB_RE_TYPE re2, DTM_ENUM kind,
                                               DTM_PATH_DEF_P0) const {
  check_no_path(p0, DTM_LEAF_GET);
  return get_value({re1, re2, kind});
}

bool DTM_RE_TABLE_NODE::set_re_table_node_delay(int delay, CDB_RE_TYPE re1, CDB_RE_TYPE re2,
                                                DTM_ENUM kind, DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_SET);
  return set_value(delay, {re1, re2, kind});
}

bool DTM_RE_TABLE_NODE::add_re_table_node_delay(int delay, CDB_RE_TYPE re1, CDB_RE_TYPE re2,
                                                DTM_ENUM kind, DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_ADD);
  return add_value(delay, {re1, re2, kind});
}
