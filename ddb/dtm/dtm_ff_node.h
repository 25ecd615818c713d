// DTM_FF_NODE: flip-flop delays, keyed by the buried port and the delay kind.
#pragma once

#include "dtm_typed_node.h"

class DTM_FF_NODE final : public DTM_TYPED_NODE<DTM_FF_KIND> {
 public:
  explicit DTM_FF_NODE(bool writable) : DTM_TYPED_NODE(writable) {}

  // The kind's operations of DTM_NODE, answered here. The leaf is addressed
  // by its parent: a path handed to it is reported where the kind says so,
  // and ignored.
  int get_ff_node_delay(DB_BURIED_PORT_TYPE port, DTM_ENUM kind, DTM_PATH_DECL) const override;
  bool set_ff_node_delay(int delay, DB_BURIED_PORT_TYPE port, DTM_ENUM kind,
                         DTM_PATH_DECL) override;
  bool add_ff_node_delay(int delay, DB_BURIED_PORT_TYPE port, DTM_ENUM kind,
                         DTM_PATH_DECL) override;
};
