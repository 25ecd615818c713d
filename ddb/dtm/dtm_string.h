// DTM_STRING: the timing model's way to the enumeration names. Every
// operation is static and holds no state; each one asks a DBS_TRANSLATOR made
// for the call (free: the translator is a stateless view of static tables).
#pragma once

#include "dbs_enums.h"

class DTM_STRING {
 public:
  DTM_STRING() = delete;

  // Value to name. Never null: a value without a member gives the
  // translator's "<unnamed ...>" text. The int overloads name a value held in
  // a plain integer without a cast and behave exactly like the others.
  static const char* get_dtm_enum_string(DTM_ENUM value) noexcept;
  static const char* get_dtm_enum_string(int value) noexcept;
  static const char* get_dtm_node_enum_string(DTM_NODE_ENUM value) noexcept;
  static const char* get_dtm_node_enum_string(int value) noexcept;

  // Name to value. Exact comparison; an unknown or null name gives the
  // fallback: DTM_NONE (0), DTM_NODE_NONE (0), DB_MAX_INPUT_PORT_TYPE (523),
  // DB_MAX_OUTPUT_PORT_TYPE (471), DB_MAX_BURIED_PORT_TYPE (145),
  // CDB_RE_ILLEGAL_TYPE (604). Nothing is reported: the caller decides whether
  // the fallback is a fault.
  static DTM_ENUM get_dtm_enum(const char* name) noexcept;
  static DTM_NODE_ENUM get_dtm_node_enum(const char* name) noexcept;
  static DB_INPUT_PORT_TYPE get_db_input_port_type_enum(const char* name) noexcept;
  static DB_OUTPUT_PORT_TYPE get_db_output_port_type_enum(const char* name) noexcept;
  static DB_BURIED_PORT_TYPE get_db_buried_port_type_enum(const char* name) noexcept;
  // The index of the first entry of CDB_RE_TYPE_STRING equal to `name`.
  static CDB_RE_TYPE get_cdb_re_type_enum(const char* name) noexcept;
};
