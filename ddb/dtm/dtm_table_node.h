// DTM_TABLE_NODE: table delays, keyed by row and column.
#pragma once

#include "dtm_typed_node.h"

class DTM_TABLE_NODE final : public DTM_TYPED_NODE<DTM_TABLE_KIND> {
 public:
  explicit DTM_TABLE_NODE(bool writable) : DTM_TYPED_NODE(writable) {}

  // The kind's operations without path, behind DTM_NODE's own.
  virtual int get_table_node_delay(DTM_ENUM row, DTM_ENUM col) const;
  virtual bool set_table_node_delay(int delay, DTM_ENUM row, DTM_ENUM col);
  virtual bool add_table_node_delay(int delay, DTM_ENUM row, DTM_ENUM col);
};
