#include "dtm_float_table_node.h"

template class DTM_TYPED_NODE<DTM_FLOAT_TABLE_KIND>;

double DTM_FLOAT_TABLE_NODE::get_float_table_node_delay(DTM_ENUM row, DTM_ENUM col) const {
  return get_value({row, col});
}

bool DTM_FLOAT_TABLE_NODE::set_float_table_node_delay(double delay, DTM_ENUM row, DTM_ENUM col) {
  return set_value(delay, {row, col});
}

bool DTM_FLOAT_TABLE_NODE::add_float_table_node_delay(double delay, DTM_ENUM row, DTM_ENUM col) {
  return add_value(delay, {row, col});
}
