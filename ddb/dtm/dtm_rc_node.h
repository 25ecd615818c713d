// DTM_RC_NODE: RC values (floating point), keyed by the register type, the quantity and
// the edge. Without data a get answers DTM_ILLEGAL_FLOAT.
#pragma once

#include "dtm_typed_node.h"

class DTM_RC_NODE final : public DTM_TYPED_NODE<DTM_RC_KIND> {
 public:
  explicit DTM_RC_NODE(bool writable) : DTM_TYPED_NODE(writable) {}

  // The kind's operations of DTM_NODE, answered here. The leaf is addressed
  // by its parent: a path handed to it is reported where the kind says so,
  // and ignored.
  double get_rc_float(CDB_RE_TYPE re, DTM_ENUM kind, DTM_ENUM edge, DTM_PATH_DECL) const override;
  bool set_rc_float(double delay, CDB_RE_TYPE re, DTM_ENUM kind, DTM_ENUM edge,
                    DTM_PATH_DECL) override;
  bool add_rc_float(double delay, CDB_RE_TYPE re, DTM_ENUM kind, DTM_ENUM edge,
                    DTM_PATH_DECL) override;
};
