// DTM_MICRO_NODE: micro delays of a block, keyed by their delay kind.
#pragma once

#include "dtm_typed_node.h"

class DTM_MICRO_NODE final : public DTM_TYPED_NODE<DTM_MICRO_KIND> {
 public:
  explicit DTM_MICRO_NODE(bool writable) : DTM_TYPED_NODE(writable) {}

  // The kind's operations of DTM_NODE, answered here. The leaf is addressed
  // by its parent: a path handed to it is reported where the kind says so,
  // and ignored.
  int get_micro_node_delay(DTM_ENUM kind, DTM_PATH_DECL) const override;
  bool set_micro_node_delay(int delay, DTM_ENUM kind, DTM_PATH_DECL) override;
  bool add_micro_node_delay(int delay, DTM_ENUM kind, DTM_PATH_DECL) override;
};
