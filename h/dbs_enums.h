// The enumerations of the device database that the timing model uses.
//
// Plain integer enumerations: their values are compared as numbers and
// persisted, so no value may ever change. Every member and its DMF name come
// from one row of a .def table next to this header (DBS_NAME(NAME, VALUE));
// the translator (dbs_translator.h) reads the same tables, so an enumerator and
// its name cannot drift apart. docs/names.md lists every name with its value.
//
//   enumeration           table                     enumerator   bound / sentinel
//   DTM_ENUM              dbs_dtm_enum.def          NAME         DTM_NONE = 0
//   DTM_NODE_ENUM         dbs_dtm_node_enum.def     NAME         DTM_NODE_NONE = 0,
//                                                                DTM_NODE_MAX_ENUM = 138
//   CDB_RE_TYPE           dbs_cdb_re_type.def       CDB_RE_NAME  CDB_RE_ILLEGAL_TYPE = 604
//   DB_INPUT_PORT_TYPE    dbs_db_input_port.def     DB_IN_NAME   DB_MAX_INPUT_PORT_TYPE = 523
//   DB_OUTPUT_PORT_TYPE   dbs_db_output_port.def    DB_OUT_NAME  DB_MAX_OUTPUT_PORT_TYPE = 471
//   DB_BURIED_PORT_TYPE   dbs_db_buried_port.def    DB_BURIED_NAME
//                                                                DB_MAX_BURIED_PORT_TYPE = 145
//   DEV_FAMILY_ENUM       dbs_dev_family.def        DEV_FAMILY_NAME
//                                                                DEV_FAMILY_NONE = 0
//   DEV_IO_STANDARD_ENUM  dbs_dev_io_standard.def   DEV_IO_NAME  DEV_IO_NONE = 0
//   DEV_PHYS_IMPL_ENUM    dbs_dev_phys_impl.def     DEV_PHYS_IMPL_NAME
//                                                                DEV_PHYS_IMPL_NONE = 0
//
// The port-type bounds are one past the last member and have no name; they are
// what an unknown port name converts to.
#pragma once

#include <cstdint>

// Delay-storage descriptors and delay qualifiers: the kinds under which a
// delay is stored (sparse: values between the blocks of the table are unused).
enum DTM_ENUM : std::int32_t {
#define DBS_NAME(name, value) name = value,
#include "dbs_dtm_enum.def"
#undef DBS_NAME
};

// Map types and node types of the timing tree.
enum DTM_NODE_ENUM : std::int32_t {
#define DBS_NAME(name, value) name = value,
#include "dbs_dtm_node_enum.def"
#undef DBS_NAME
};

// Register-element types; the value of a type is its index in
// CDB_RE_TYPE_STRING (dbs_translator.h).
enum CDB_RE_TYPE : std::int32_t {
#define DBS_NAME(name, value) CDB_RE_##name = value,
#define DBS_ALIAS(ident, name, value) CDB_RE_##ident = value,
#include "dbs_cdb_re_type.def"
#undef DBS_ALIAS
#undef DBS_NAME
};

enum DB_INPUT_PORT_TYPE : std::int32_t {
#define DBS_NAME(name, value) DB_IN_##name = value,
#include "dbs_db_input_port.def"
#undef DBS_NAME
  DB_MAX_INPUT_PORT_TYPE = 523,
};

enum DB_OUTPUT_PORT_TYPE : std::int32_t {
#define DBS_NAME(name, value) DB_OUT_##name = value,
#include "dbs_db_output_port.def"
#undef DBS_NAME
  DB_MAX_OUTPUT_PORT_TYPE = 471,
};

// Buried (internal) port types.
enum DB_BURIED_PORT_TYPE : std::int32_t {
#define DBS_NAME(name, value) DB_BURIED_##name = value,
#include "dbs_db_buried_port.def"
#undef DBS_NAME
  DB_MAX_BURIED_PORT_TYPE = 145,
};

enum DEV_FAMILY_ENUM : std::int32_t {
#define DBS_NAME(name, value) DEV_FAMILY_##name = value,
#include "dbs_dev_family.def"
#undef DBS_NAME
};

// IO standards as the device database numbers them (the timing model maps
// them onto its own IO-standard members of DTM_ENUM).
enum DEV_IO_STANDARD_ENUM : std::int32_t {
#define DBS_NAME(name, value) DEV_IO_##name = value,
#include "dbs_dev_io_standard.def"
#undef DBS_NAME
};

// Physical implementations of device elements (the timing model maps the IO
// implementations onto its IO map types of DTM_NODE_ENUM).
enum DEV_PHYS_IMPL_ENUM : std::int32_t {
#define DBS_NAME(name, value) DEV_PHYS_IMPL_##name = value,
#include "dbs_dev_phys_impl.def"
#undef DBS_NAME
};
