// DTM_OUTPUT_PORT_RE_NODE: delays from an output port to a register element, keyed by both.
#pragma once

#include "dtm_typed_node.h"

class DTM_OUTPUT_PORT_RE_NODE final : public DTM_TYPED_NODE<DTM_OUTPUT_PORT_RE_KIND> {
 public:
  explicit DTM_OUTPUT_PORT_RE_NODE(bool writable) : DTM_TYPED_NODE(writable) {}

  // The kind's operations of DTM_NODE, answered here. The leaf is addressed
  // by its parent: a path handed to it is reported where the kind says so,
  // and ignored.
  int get_port_re_node_delay(DB_OUTPUT_PORT_TYPE port, CDB_RE_TYPE re,
                             DTM_PATH_DECL) const override;
  bool set_port_re_node_delay(int delay, DB_OUTPUT_PORT_TYPE port, CDB_RE_TYPE re,
                              DTM_PATH_DECL) override;
  bool add_port_re_node_delay(int delay, DB_OUTPUT_PORT_TYPE port, CDB_RE_TYPE re,
                              DTM_PATH_DECL) override;
};
