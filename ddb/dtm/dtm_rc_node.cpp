#include "dtm_rc_node.h"

template class DTM_TYPED_NODE<DTM_RC_KIND>;

double DTM_RC_NODE::get_rc_float(CDB_RE_TYPE re, DTM_ENUM kind, DTM_ENUM edge,
                                 DTM_PATH_DEF_P0) const {
  check_no_path(p0, DTM_LEAF_GET);
  return get_value({re, kind, edge});
}

bool DTM_RC_NODE::set_rc_float(double delay, CDB_RE_TYPE re, DTM_ENUM kind, DTM_ENUM edge,
                               DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_SET);
  return set_value(delay, {re, kind, edge});
}

bool DTM_RC_NODE::add_rc_float(double delay, CDB_RE_TYPE re, DTM_ENUM kind, DTM_ENUM edge,
                               DTM_PATH_DEF_P0) {
  check_no_path(p0, DTM_LEAF_ADD);
  return add_value(delay, {re, kind, edge});
}
