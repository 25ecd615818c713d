// DTM_RE_NODE: register-element delays, keyed by the register type.
#pragma once

#include "dtm_typed_node.h"

class DTM_RE_NODE final : public DTM_TYPED_NODE<DTM_RE_KIND> {
 public:
  explicit DTM_RE_NODE(bool writable) : DTM_TYPED_NODE(writable) {}

  // The kind's operations of DTM_NODE, answered here. The leaf is addressed
  // by its parent: a path handed to it is reported where the kind says so,
  // and ignored.
  int get_re_node_delay(CDB_RE_TYPE re, DTM_PATH_DECL) const override;
  bool set_re_node_delay(int delay, CDB_RE_TYPE re, DTM_PATH_DECL) override;
  bool add_re_node_delay(int delay, CDB_RE_TYPE re, DTM_PATH_DECL) override;
};
