// The enumeration translator of the device database: names to values and back
// for the enumerations of dbs_enums.h, and the register-element name table.
//
// The name tables are static data built at compile time, so a DBS_TRANSLATOR
// is an empty, stateless view: making one per call costs nothing, and any
// number of them may be used from any thread. Every name lookup is O(1) (an
// open-addressing hash index over the table, built by the compiler); names
// are compared exactly, letter case included.
//
// Name to value: exists_X_by_string tells whether a name is known;
// get_X_by_string gives its value, or the enumeration's fallback for an
// unknown or null name (DTM_NONE, DTM_NODE_NONE, DB_MAX_INPUT_PORT_TYPE,
// DB_MAX_OUTPUT_PORT_TYPE, DB_MAX_BURIED_PORT_TYPE, DEV_FAMILY_NONE). Neither
// ever reports.
//
// Value to name: get_debug_string_name never returns null. A member gives its
// name; a value without a member gives "<unnamed ENUMERATION VALUE>" (for
// instance "<unnamed DTM_ENUM 517>") while it lies between 0 and the
// enumeration's highest member or bound, and "<unnamed ENUMERATION>" beyond.
// The returned text is static: it stays valid for the life of the program.
#pragma once

#include <string_view>

#include "dbs_enums.h"

// Number of entries of CDB_RE_TYPE_STRING: every CDB_RE_TYPE up to and
// including CDB_RE_ILLEGAL_TYPE.
inline constexpr int CDB_RE_TYPE_COUNT = CDB_RE_ILLEGAL_TYPE + 1;

// The register-element names, indexed by CDB_RE_TYPE. Some names occur twice
// (compatibility entries); a search by name finds the first occurrence.
extern const char* const CDB_RE_TYPE_STRING[CDB_RE_TYPE_COUNT];

// The result of comparing `name` with CDB_RE_TYPE_STRING[0], [1], ... [604]
// in turn and taking the index of the first equal entry, CDB_RE_ILLEGAL_TYPE
// when none is equal or `name` is null; answered in O(1).
CDB_RE_TYPE cdb_re_type_find(const char* name) noexcept;

class DBS_TRANSLATOR {
 public:
  constexpr DBS_TRANSLATOR() noexcept = default;

  static bool exists_dtm_enum_by_string(const char* name) noexcept;
  static DTM_ENUM get_dtm_enum_by_string(const char* name) noexcept;

  static bool exists_dtm_node_enum_by_string(const char* name) noexcept;
  static DTM_NODE_ENUM get_dtm_node_enum_by_string(const char* name) noexcept;

  static bool exists_input_port_type_by_string(const char* name) noexcept;
  static DB_INPUT_PORT_TYPE get_input_port_type_by_string(const char* name) noexcept;

  static bool exists_output_port_type_by_string(const char* name) noexcept;
  static DB_OUTPUT_PORT_TYPE get_output_port_type_by_string(const char* name) noexcept;

  static bool exists_buried_port_type_by_string(const char* name) noexcept;
  static DB_BURIED_PORT_TYPE get_buried_port_type_by_string(const char* name) noexcept;

  static bool exists_dev_family_by_string(const char* name) noexcept;
  static DEV_FAMILY_ENUM get_dev_family_by_string(const char* name) noexcept;

  // Name to value in one probe, for callers that convert many names: the
  // value of get_X_by_string (the fallback for an unknown name), from a name
  // whose length is known. The register-element form answers as
  // cdb_re_type_find.
  static DTM_ENUM find_dtm_enum(std::string_view name) noexcept;
  static DTM_NODE_ENUM find_dtm_node_enum(std::string_view name) noexcept;
  static DB_INPUT_PORT_TYPE find_input_port_type(std::string_view name) noexcept;
  static DB_OUTPUT_PORT_TYPE find_output_port_type(std::string_view name) noexcept;
  static DB_BURIED_PORT_TYPE find_buried_port_type(std::string_view name) noexcept;
  static CDB_RE_TYPE find_cdb_re_type(std::string_view name) noexcept;
  // The same probe for a caller that must tell an unknown name apart: true
  // with `value` set when the enumeration named by the type of `value` holds
  // the name, false with `value` unchanged otherwise.
  static bool find_value(std::string_view name, DTM_ENUM& value) noexcept;
  static bool find_value(std::string_view name, DTM_NODE_ENUM& value) noexcept;
  static bool find_value(std::string_view name, DB_INPUT_PORT_TYPE& value) noexcept;
  static bool find_value(std::string_view name, DB_OUTPUT_PORT_TYPE& value) noexcept;
  static bool find_value(std::string_view name, DB_BURIED_PORT_TYPE& value) noexcept;
  static bool find_value(std::string_view name, CDB_RE_TYPE& value) noexcept;
  static bool find_value(std::string_view name, DEV_FAMILY_ENUM& value) noexcept;

  static const char* get_debug_string_name(DTM_ENUM value) noexcept;
  static const char* get_debug_string_name(DTM_NODE_ENUM value) noexcept;
  static const char* get_debug_string_name(DB_INPUT_PORT_TYPE value) noexcept;
  static const char* get_debug_string_name(DB_OUTPUT_PORT_TYPE value) noexcept;
  static const char* get_debug_string_name(DB_BURIED_PORT_TYPE value) noexcept;
  static const char* get_debug_string_name(CDB_RE_TYPE value) noexcept;
  static const char* get_debug_string_name(DEV_FAMILY_ENUM value) noexcept;
};
