#include "dtm_table_node.h"

template class DTM_TYPED_NODE<DTM_TABLE_KIND>;

int DTM_TABLE_NODE::get_table_node_delay(DTM_ENUM row, DTM_ENUM col) const {
  return get_value({row, col});
}

bool DTM_TABLE_NODE::set_table_node_delay(int delay, DTM_ENUM row, DTM_ENUM col) {
  return set_value(delay, {row, col});
}

bool DTM_TABLE_NODE::add_table_node_delay(int delay, DTM_ENUM row, DTM_ENUM col) {
  return add_value(delay, {row, col});
}
