// The enumerations of the device database that the timing model uses.
// Plain integer enumerations: their values are compared as numbers and
// persisted, so every value fixed here must stay as it is.
#pragma once

#include <cstdint>

enum DTM_ENUM : std::int32_t {
  DTM_NONE = 0,
};

enum DTM_NODE_ENUM : std::int32_t {
  DTM_NODE_NONE = 0,
  DTM_TABLE = 53,
  DTM_FLOAT_TABLE = 54,
  DTM_MICRO = 55,
  DTM_RC = 56,
  DTM_RE = 60,
  DTM_RE_TABLE = 61,
  DTM_FF = 62,
  DTM_OUTPUT_PORT_RE = 63,
  DTM_RE_INPUT_PORT = 64,
  DTM_INTEGER = 66,
  DTM_NODE_MAX_ENUM = 138,
};

enum CDB_RE_TYPE : std::int32_t {
  CDB_RE_ILLEGAL_TYPE = 604,
};

enum DB_INPUT_PORT_TYPE : std::int32_t {
  DB_MAX_INPUT_PORT_TYPE = 523,
};

enum DB_OUTPUT_PORT_TYPE : std::int32_t {
  DB_MAX_OUTPUT_PORT_TYPE = 471,
};

enum DB_BURIED_PORT_TYPE : std::int32_t {
  DB_MAX_BURIED_PORT_TYPE = 145,
};

enum DEV_FAMILY_ENUM : std::int32_t {
  DEV_FAMILY_NONE = 0,
};
