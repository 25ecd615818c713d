// DTM_STRING: the timing model's way to the enumeration names, and the
// delay queries by strings of a scripting front end. Every operation is
// static and holds no state; each one asks a DBS_TRANSLATOR made for the call
// (free: the translator is a stateless view of static tables).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "dbs_enums.h"

class DTM_NODE;
class DTM_TCL_REPORT;

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

  // ---- Queries by strings (docs/queries.md) ----
  // A query names the node type (element 0), the type's descriptors, then up
  // to ten map types: the path below `node`. Names are converted as above
  // (unknown names reach the lookup as their fallback) and the lookup of
  // the node tree is called on `node`.
  using STRINGS = std::vector<std::string*>;
  // The integer delay; DTM_ILLEGAL_DELAY when there is none, the vector is
  // empty, or after a report. An element read past the end of the vector
  // throws std::out_of_range ("invalid vector<T> subscript").
  static std::int32_t get_delay(const STRINGS* str_vector, const DTM_NODE* node,
                                DTM_TCL_REPORT* tcl_report);
  // The same for the floating-point delays (rc and float table);
  // DTM_ILLEGAL_FLOAT when there is none or after a report.
  static double get_float(const STRINGS* str_vector, const DTM_NODE* node,
                          DTM_TCL_REPORT* tcl_report);
  // Placeholders of the front end's command set: return 0, do nothing.
  static std::int32_t set_delay(std::int32_t delay, const STRINGS* str_vector, const DTM_NODE* node,
                                DTM_TCL_REPORT* tcl_report);
  static std::int32_t add_delay(std::int32_t delay, const STRINGS* str_vector, const DTM_NODE* node,
                                DTM_TCL_REPORT* tcl_report);
  // Builds the model of a DMF file (plain reader, no traces) under `root`
  // and returns the root the build gives back. The family is not used.
  static DTM_NODE* add_new_dmf_info(const char* file_name, DTM_NODE* root, DEV_FAMILY_ENUM family);
};
