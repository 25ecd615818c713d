#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "dbs_translator.h"
#include "dtm_string.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

// Each name-to-value operation with its fallback, seen through integers.
struct CONVERSION {
  const char* m_label;
  std::int32_t (*m_convert)(const char*);
  std::int32_t m_fallback;
  std::vector<std::pair<const char*, std::int32_t>> m_known;
};

const CONVERSION k_conversions[] = {
    {"get_dtm_enum",
     [](const char* n) -> std::int32_t { return DTM_STRING::get_dtm_enum(n); },
     0,
     {{"DTM_NONE", 0},
      {"TCO_DELAY", TCO_DELAY},
      {"RC_RISE", 236},
      {"RC_FALL", 237},
      {"INDEX_0", 394},
      {"INDEX_36", 430},
      {"INDEX_ALL", 730},
      {"IO_SSTL_125", 725}}},
    {"get_dtm_node_enum",
     [](const char* n) -> std::int32_t { return DTM_STRING::get_dtm_node_enum(n); },
     0,
     {{"DTM_P2P", 48},
      {"DTM_MICRO", 55},
      {"DTM_RC", 56},
      {"DTM_INTEGER", 66},
      {"DTM_MAP_DEVICE", 67},
      {"DTM_NODE_MAX_ENUM", 138}}},
    {"get_db_input_port_type_enum",
     [](const char* n) -> std::int32_t { return DTM_STRING::get_db_input_port_type_enum(n); },
     523,
     {{"LCELL_DATAA", 0}, {"REG_D", DB_IN_REG_D}, {"RAM_ADDRA_7", DB_IN_RAM_ADDRA_7}}},
    {"get_db_output_port_type_enum",
     [](const char* n) -> std::int32_t { return DTM_STRING::get_db_output_port_type_enum(n); },
     471,
     {{"LCELL_COMBOUT", 0}, {"REG_Q", DB_OUT_REG_Q}, {"PLL_LOCKED", DB_OUT_PLL_LOCKED}}},
    {"get_db_buried_port_type_enum",
     [](const char* n) -> std::int32_t { return DTM_STRING::get_db_buried_port_type_enum(n); },
     145,
     {{"REG_D", 0}, {"REG_Q", DB_BURIED_REG_Q}, {"CLK_SPINE", DB_BURIED_CLK_SPINE}}},
    {"get_cdb_re_type_enum",
     [](const char* n) -> std::int32_t { return DTM_STRING::get_cdb_re_type_enum(n); },
     604,
     {{"DFF", 0},
      {"LATCH", CDB_RE_LATCH},
      {"LCELL_FF_ECP", CDB_RE_LCELL_FF_ECP},
      {"ILLEGAL_TYPE", 604}}},
};

TEST(DtmString, KnownNamesGiveTheirValues) {
  for (const CONVERSION& c : k_conversions) {
    SCOPED_TRACE(c.m_label);
    for (const auto& [name, value] : c.m_known) {
      EXPECT_EQ(c.m_convert(name), value) << name;
    }
  }
}

TEST(DtmString, UnknownEmptyNullAndMiscasedNamesGiveTheFallbackSilently) {
  MSG_CAPTURE capture;
  const MEM_COUNTERS before = MEM_MANAGER::get_counters();
  for (const CONVERSION& c : k_conversions) {
    SCOPED_TRACE(c.m_label);
    EXPECT_EQ(c.m_convert(nullptr), c.m_fallback);
    EXPECT_EQ(c.m_convert(""), c.m_fallback);
    EXPECT_EQ(c.m_convert("UNKNOWN_NAME"), c.m_fallback);
    for (const auto& [name, value] : c.m_known) {
      std::string folded = name;
      folded[0] = static_cast<char>(folded[0] - 'A' + 'a');
      EXPECT_EQ(c.m_convert(folded.c_str()), c.m_fallback) << folded;
      const std::string longer = std::string(name) + "_";
      EXPECT_EQ(c.m_convert(longer.c_str()), c.m_fallback) << longer;
    }
  }
  EXPECT_EQ(capture.get_count(), 0u);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_total_objects, before.m_total_objects);
}

TEST(DtmString, ValueNamesMatchTheTranslatorForEveryMember) {
  std::int32_t members = 0;
#define DBS_NAME(name, value)                                       \
  EXPECT_STREQ(DTM_STRING::get_dtm_enum_string(name), #name);       \
  EXPECT_STREQ(DTM_STRING::get_dtm_enum_string(int{value}), #name); \
  ++members;
#include "dbs_dtm_enum.def"
#undef DBS_NAME
#define DBS_NAME(name, value)                                            \
  EXPECT_STREQ(DTM_STRING::get_dtm_node_enum_string(name), #name);       \
  EXPECT_STREQ(DTM_STRING::get_dtm_node_enum_string(int{value}), #name); \
  ++members;
#include "dbs_dtm_node_enum.def"
#undef DBS_NAME
  EXPECT_GT(members, 139);
}

TEST(DtmString, IntOverloadsBehaveLikeTheEnumerationOverloads) {
  for (int v = -2; v <= 740; ++v) {
    EXPECT_EQ(DTM_STRING::get_dtm_enum_string(v),
              DTM_STRING::get_dtm_enum_string(static_cast<DTM_ENUM>(v)));
    EXPECT_EQ(DTM_STRING::get_dtm_node_enum_string(v),
              DTM_STRING::get_dtm_node_enum_string(static_cast<DTM_NODE_ENUM>(v)));
  }
  EXPECT_STREQ(DTM_STRING::get_dtm_enum_string(517), "<unnamed DTM_ENUM 517>");
  EXPECT_STREQ(DTM_STRING::get_dtm_node_enum_string(139), "<unnamed DTM_NODE_ENUM>");
  EXPECT_STREQ(DTM_STRING::get_dtm_node_enum_string(-1), "<unnamed DTM_NODE_ENUM>");
}

TEST(DtmString, NameToValueToNameRoundTrips) {
  const char* names[] = {"DTM_TABLE", "DTM_RE_INPUT_PORT", "DTM_MAP_IO_COLUMN", "DTM_ROOT"};
  for (const char* name : names) {
    EXPECT_STREQ(DTM_STRING::get_dtm_node_enum_string(DTM_STRING::get_dtm_node_enum(name)), name);
  }
  const char* kinds[] = {"RC_FALL", "TSU_DELAY", "ROW_31", "IO_LVDS"};
  for (const char* name : kinds) {
    EXPECT_STREQ(DTM_STRING::get_dtm_enum_string(DTM_STRING::get_dtm_enum(name)), name);
  }
}

}  // namespace
