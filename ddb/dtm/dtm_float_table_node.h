// DTM_FLOAT_TABLE_NODE: floating-point table values, keyed by row and column. Without data a get
// answers DTM_ILLEGAL_TABLE_FLOAT (the integer sentinel's value).
#pragma once

#include "dtm_typed_node.h"

class DTM_FLOAT_TABLE_NODE final : public DTM_TYPED_NODE<DTM_FLOAT_TABLE_KIND> {
 public:
  explicit DTM_FLOAT_TABLE_NODE(bool writable) : DTM_TYPED_NODE(writable) {}

  // The kind's operations without path, behind DTM_NODE's own.
  virtual double get_float_table_node_delay(DTM_ENUM row, DTM_ENUM col) const;
  virtual bool set_float_table_node_delay(double delay, DTM_ENUM row, DTM_ENUM col);
  virtual bool add_float_table_node_delay(double delay, DTM_ENUM row, DTM_ENUM col);
};
