// DTM_STRING: enumeration names through the translator. Name to value asks
// whether the translator knows the name before converting it, and gives the
// enumeration's fallback otherwise.
#include "dtm_string.h"

#include "dbs_translator.h"

const char* DTM_STRING::get_dtm_enum_string(DTM_ENUM value) noexcept {
  const DBS_TRANSLATOR translator;
  return translator.get_debug_string_name(value);
}

const char* DTM_STRING::get_dtm_enum_string(int value) noexcept {
  return get_dtm_enum_string(static_cast<DTM_ENUM>(value));
}

const char* DTM_STRING::get_dtm_node_enum_string(DTM_NODE_ENUM value) noexcept {
  const DBS_TRANSLATOR translator;
  return translator.get_debug_string_name(value);
}

const char* DTM_STRING::get_dtm_node_enum_string(int value) noexcept {
  return get_dtm_node_enum_string(static_cast<DTM_NODE_ENUM>(value));
}

namespace {

// Every name-to-value query has one shape: ask a translator whether it knows
// the name, convert it if so, else give the enumeration's fallback.
template <class ENUM>
ENUM exists_then_get(const char* name, bool (*exists)(const char*) noexcept,
                     ENUM (*get)(const char*) noexcept, ENUM fallback) noexcept {
  return exists(name) ? get(name) : fallback;
}

}  // namespace

DTM_ENUM DTM_STRING::get_dtm_enum(const char* name) noexcept {
  return exists_then_get(name, &DBS_TRANSLATOR::exists_dtm_enum_by_string,
                         &DBS_TRANSLATOR::get_dtm_enum_by_string, DTM_NONE);
}

DTM_NODE_ENUM DTM_STRING::get_dtm_node_enum(const char* name) noexcept {
  return exists_then_get(name, &DBS_TRANSLATOR::exists_dtm_node_enum_by_string,
                         &DBS_TRANSLATOR::get_dtm_node_enum_by_string, DTM_NODE_NONE);
}

DB_INPUT_PORT_TYPE DTM_STRING::get_db_input_port_type_enum(const char* name) noexcept {
  return exists_then_get(name, &DBS_TRANSLATOR::exists_input_port_type_by_string,
                         &DBS_TRANSLATOR::get_input_port_type_by_string, DB_MAX_INPUT_PORT_TYPE);
}

DB_OUTPUT_PORT_TYPE DTM_STRING::get_db_output_port_type_enum(const char* name) noexcept {
  return exists_then_get(name, &DBS_TRANSLATOR::exists_output_port_type_by_string,
                         &DBS_TRANSLATOR::get_output_port_type_by_string, DB_MAX_OUTPUT_PORT_TYPE);
}

DB_BURIED_PORT_TYPE DTM_STRING::get_db_buried_port_type_enum(const char* name) noexcept {
  return exists_then_get(name, &DBS_TRANSLATOR::exists_buried_port_type_by_string,
                         &DBS_TRANSLATOR::get_buried_port_type_by_string, DB_MAX_BURIED_PORT_TYPE);
}

// No translator: the register-element names are searched in CDB_RE_TYPE_STRING
// (first equal entry, 604 when none), through its hash index.
CDB_RE_TYPE DTM_STRING::get_cdb_re_type_enum(const char* name) noexcept {
  return cdb_re_type_find(name);
}
