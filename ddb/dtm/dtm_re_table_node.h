// DTM_RE_TABLE_NODE: delays between two register elements, keyed by both register types and
// a delay kind; a kind of DTM_NONE gives a two-part key, so entries with and
// without a kind live side by side.
#pragma once

#include "dtm_typed_node.h"

class DTM_RE_TABLE_NODE final : public DTM_TYPED_NODE<DTM_RE_TABLE_KIND> {
 public:
  explicit DTM_RE_TABLE_NODE(bool writable) : DTM_TYPED_NODE(writable) {}

  // The kind's operations of DTM_NODE, answered here. The leaf is addressed
  // by its parent: a path handed to it is reported where the kind says so,
  // and ignored.
  int get_re_table_node_delay(CDB_RE_TYPE re1, CDB_RE_TYPE re2, DTM_ENUM kind,
                              DTM_PATH_DECL) const override;
  bool set_re_table_node_delay(int delay, CDB_RE_TYPE re1, CDB_RE_TYPE re2, DTM_ENUM kind,
                               DTM_PATH_DECL) override;
  bool add_re_table_node_delay(int delay, CDB_RE_TYPE re1, CDB_RE_TYPE re2, DTM_ENUM kind,
                               DTM_PATH_DECL) override;
};
