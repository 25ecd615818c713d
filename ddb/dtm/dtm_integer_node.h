// DTM_INTEGER_NODE: integer parameters, keyed by a kind and an index.
#pragma once

#include "dtm_typed_node.h"

class DTM_INTEGER_NODE final : public DTM_TYPED_NODE<DTM_INTEGER_KIND> {
 public:
  explicit DTM_INTEGER_NODE(bool writable) : DTM_TYPED_NODE(writable) {}

  // The kind's operations of DTM_NODE, answered here. The leaf is addressed
  // by its parent: a path handed to it is reported where the kind says so,
  // and ignored.
  bool set_integer_node_delay(int delay, DTM_ENUM kind, int index, DTM_PATH_DECL) override;
  // The kind's operations without path, behind DTM_NODE's own.
  virtual int get_integer_node_delay(DTM_ENUM kind, int index) const;
  virtual bool add_integer_node_delay(int delay, DTM_ENUM kind, int index);
};
