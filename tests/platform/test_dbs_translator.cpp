#include <gtest/gtest.h>

#include <cctype>
#include <climits>
#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "dbs_translator.h"
#include "gen_sys.h"

namespace {

struct ROW {
  const char* m_name;
  std::int32_t m_value;
};

const std::vector<ROW> k_dtm_enum_rows = {
#define DBS_NAME(name, value) {#name, value},
#include "dbs_dtm_enum.def"
#undef DBS_NAME
};
const std::vector<ROW> k_dtm_node_enum_rows = {
#define DBS_NAME(name, value) {#name, value},
#include "dbs_dtm_node_enum.def"
#undef DBS_NAME
};
const std::vector<ROW> k_input_port_rows = {
#define DBS_NAME(name, value) {#name, value},
#include "dbs_db_input_port.def"
#undef DBS_NAME
};
const std::vector<ROW> k_output_port_rows = {
#define DBS_NAME(name, value) {#name, value},
#include "dbs_db_output_port.def"
#undef DBS_NAME
};
const std::vector<ROW> k_buried_port_rows = {
#define DBS_NAME(name, value) {#name, value},
#include "dbs_db_buried_port.def"
#undef DBS_NAME
};
const std::vector<ROW> k_dev_family_rows = {
#define DBS_NAME(name, value) {#name, value},
#include "dbs_dev_family.def"
#undef DBS_NAME
};
const std::vector<ROW> k_dev_io_standard_rows = {
#define DBS_NAME(name, value) {#name, value},
#include "dbs_dev_io_standard.def"
#undef DBS_NAME
};
const std::vector<ROW> k_dev_phys_impl_rows = {
#define DBS_NAME(name, value) {#name, value},
#include "dbs_dev_phys_impl.def"
#undef DBS_NAME
};

// One enumeration as the translator serves it, seen through plain integers so
// that every enumeration runs through the same checks.
struct ENUMERATION {
  const char* m_label;
  const std::vector<ROW>* m_rows;
  bool (*m_exists)(const char*);
  std::int32_t (*m_get)(const char*);
  const char* (*m_name)(std::int32_t);
  std::int32_t m_fallback;
  std::int32_t m_range_end;  // values from 0 below this one have a numbered unnamed text
};

const ENUMERATION k_enumerations[] = {
    {"DTM_ENUM", &k_dtm_enum_rows,
     [](const char* n) { return DBS_TRANSLATOR().exists_dtm_enum_by_string(n); },
     [](const char* n) -> std::int32_t { return DBS_TRANSLATOR().get_dtm_enum_by_string(n); },
     [](std::int32_t v) {
       return DBS_TRANSLATOR().get_debug_string_name(static_cast<DTM_ENUM>(v));
     },
     0, 731},
    {"DTM_NODE_ENUM", &k_dtm_node_enum_rows,
     [](const char* n) { return DBS_TRANSLATOR().exists_dtm_node_enum_by_string(n); },
     [](const char* n) -> std::int32_t { return DBS_TRANSLATOR().get_dtm_node_enum_by_string(n); },
     [](std::int32_t v) {
       return DBS_TRANSLATOR().get_debug_string_name(static_cast<DTM_NODE_ENUM>(v));
     },
     0, 139},
    {"DB_INPUT_PORT_TYPE", &k_input_port_rows,
     [](const char* n) { return DBS_TRANSLATOR().exists_input_port_type_by_string(n); },
     [](const char* n) -> std::int32_t {
       return DBS_TRANSLATOR().get_input_port_type_by_string(n);
     },
     [](std::int32_t v) {
       return DBS_TRANSLATOR().get_debug_string_name(static_cast<DB_INPUT_PORT_TYPE>(v));
     },
     523, 524},
    {"DB_OUTPUT_PORT_TYPE", &k_output_port_rows,
     [](const char* n) { return DBS_TRANSLATOR().exists_output_port_type_by_string(n); },
     [](const char* n) -> std::int32_t {
       return DBS_TRANSLATOR().get_output_port_type_by_string(n);
     },
     [](std::int32_t v) {
       return DBS_TRANSLATOR().get_debug_string_name(static_cast<DB_OUTPUT_PORT_TYPE>(v));
     },
     471, 472},
    {"DB_BURIED_PORT_TYPE", &k_buried_port_rows,
     [](const char* n) { return DBS_TRANSLATOR().exists_buried_port_type_by_string(n); },
     [](const char* n) -> std::int32_t {
       return DBS_TRANSLATOR().get_buried_port_type_by_string(n);
     },
     [](std::int32_t v) {
       return DBS_TRANSLATOR().get_debug_string_name(static_cast<DB_BURIED_PORT_TYPE>(v));
     },
     145, 146},
    {"DEV_FAMILY_ENUM", &k_dev_family_rows,
     [](const char* n) { return DBS_TRANSLATOR().exists_dev_family_by_string(n); },
     [](const char* n) -> std::int32_t { return DBS_TRANSLATOR().get_dev_family_by_string(n); },
     [](std::int32_t v) {
       return DBS_TRANSLATOR().get_debug_string_name(static_cast<DEV_FAMILY_ENUM>(v));
     },
     0, 17},
};

bool is_token(const std::string& name) {
  if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0]))) {
    return false;
  }
  for (const char c : name) {
    if (!(std::isupper(static_cast<unsigned char>(c)) ||
          std::isdigit(static_cast<unsigned char>(c)) || c == '_')) {
      return false;
    }
  }
  return true;
}

std::string lower(std::string text) {
  for (char& c : text) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return text;
}

// The register-element search as a literal scan of the table.
std::int32_t scan_cdb(const char* name) {
  if (name == nullptr) {
    return CDB_RE_ILLEGAL_TYPE;
  }
  for (std::int32_t i = 0; i <= CDB_RE_ILLEGAL_TYPE; ++i) {
    if (gen_strcmp(name, CDB_RE_TYPE_STRING[i]) == 0) {
      return i;
    }
  }
  return CDB_RE_ILLEGAL_TYPE;
}

TEST(DbsTranslator, EveryMemberRoundTripsNameToValueToName) {
  for (const ENUMERATION& e : k_enumerations) {
    SCOPED_TRACE(e.m_label);
    ASSERT_FALSE(e.m_rows->empty());
    for (const ROW& row : *e.m_rows) {
      SCOPED_TRACE(row.m_name);
      EXPECT_TRUE(e.m_exists(row.m_name));
      EXPECT_EQ(e.m_get(row.m_name), row.m_value);
      EXPECT_STREQ(e.m_name(row.m_value), row.m_name);
    }
  }
}

TEST(DbsTranslator, NamesAreUniqueTokensAndValuesAreUnique) {
  const std::vector<const std::vector<ROW>*> tables = {
      &k_dtm_enum_rows,    &k_dtm_node_enum_rows, &k_input_port_rows,      &k_output_port_rows,
      &k_buried_port_rows, &k_dev_family_rows,    &k_dev_io_standard_rows, &k_dev_phys_impl_rows};
  for (const std::vector<ROW>* rows : tables) {
    std::set<std::string> names;
    std::set<std::int32_t> values;
    for (const ROW& row : *rows) {
      SCOPED_TRACE(row.m_name);
      EXPECT_TRUE(is_token(row.m_name));
      EXPECT_TRUE(names.insert(row.m_name).second) << "name given twice";
      EXPECT_TRUE(values.insert(row.m_value).second) << "value given twice";
      EXPECT_GE(row.m_value, 0);
    }
  }
  // Node and map types carry the prefix of the node types' own names.
  for (const ROW& row : k_dtm_node_enum_rows) {
    EXPECT_EQ(std::string(row.m_name).rfind("DTM_", 0), 0u) << row.m_name;
  }
}

TEST(DbsTranslator, PortTablesAreDenseUpToTheirBound) {
  const std::pair<const std::vector<ROW>*, std::int32_t> tables[] = {
      {&k_input_port_rows, DB_MAX_INPUT_PORT_TYPE},
      {&k_output_port_rows, DB_MAX_OUTPUT_PORT_TYPE},
      {&k_buried_port_rows, DB_MAX_BURIED_PORT_TYPE}};
  for (const auto& [rows, bound] : tables) {
    ASSERT_EQ(static_cast<std::int32_t>(rows->size()), bound);
    for (std::int32_t i = 0; i < bound; ++i) {
      EXPECT_EQ((*rows)[static_cast<std::size_t>(i)].m_value, i);
    }
  }
}

TEST(DbsTranslator, UnknownEmptyAndNullNamesGiveTheFallback) {
  for (const ENUMERATION& e : k_enumerations) {
    SCOPED_TRACE(e.m_label);
    const std::string first = e.m_rows->front().m_name;
    const std::string unknown[] = {"",
                                   "NO_SUCH_NAME",
                                   first + "_",
                                   first.substr(1),
                                   " " + first,
                                   first + " ",
                                   "<unnamed " + std::string(e.m_label) + ">"};
    for (const std::string& name : unknown) {
      SCOPED_TRACE("'" + name + "'");
      EXPECT_FALSE(e.m_exists(name.c_str()));
      EXPECT_EQ(e.m_get(name.c_str()), e.m_fallback);
    }
    EXPECT_FALSE(e.m_exists(nullptr));
    EXPECT_EQ(e.m_get(nullptr), e.m_fallback);
  }
}

TEST(DbsTranslator, NamesAreCaseSensitive) {
  for (const ENUMERATION& e : k_enumerations) {
    SCOPED_TRACE(e.m_label);
    for (const ROW& row : *e.m_rows) {
      const std::string folded = lower(row.m_name);
      EXPECT_FALSE(e.m_exists(folded.c_str())) << folded;
      EXPECT_EQ(e.m_get(folded.c_str()), e.m_fallback) << folded;
    }
  }
}

TEST(DbsTranslator, ValuesWithoutAMemberSaySoAndAreNeverNull) {
  for (const ENUMERATION& e : k_enumerations) {
    SCOPED_TRACE(e.m_label);
    std::set<std::int32_t> members;
    for (const ROW& row : *e.m_rows) {
      members.insert(row.m_value);
    }
    const std::string label = e.m_label;
    for (std::int32_t v = -3; v < e.m_range_end + 3; ++v) {
      const char* name = e.m_name(v);
      ASSERT_NE(name, nullptr) << v;
      if (members.count(v) != 0) {
        continue;
      }
      const std::string expected = (v >= 0 && v < e.m_range_end)
                                       ? "<unnamed " + label + " " + std::to_string(v) + ">"
                                       : "<unnamed " + label + ">";
      EXPECT_EQ(name, expected) << v;
      EXPECT_FALSE(e.m_exists(name)) << "an unnamed text must not read back as a name";
    }
    for (const std::int32_t v : {INT_MIN, INT_MIN + 1, -1000, 100000, INT_MAX}) {
      EXPECT_EQ(std::string(e.m_name(v)), "<unnamed " + label + ">") << v;
    }
    // The text stays where it is: the same pointer for the same value.
    EXPECT_EQ(e.m_name(e.m_range_end + 7), e.m_name(-9));
  }
  EXPECT_STREQ(DBS_TRANSLATOR::get_debug_string_name(static_cast<DTM_ENUM>(517)),
               "<unnamed DTM_ENUM 517>");
  EXPECT_STREQ(DBS_TRANSLATOR::get_debug_string_name(DB_MAX_INPUT_PORT_TYPE),
               "<unnamed DB_INPUT_PORT_TYPE 523>");
  EXPECT_STREQ(DBS_TRANSLATOR::get_debug_string_name(DB_MAX_OUTPUT_PORT_TYPE),
               "<unnamed DB_OUTPUT_PORT_TYPE 471>");
  EXPECT_STREQ(DBS_TRANSLATOR::get_debug_string_name(DB_MAX_BURIED_PORT_TYPE),
               "<unnamed DB_BURIED_PORT_TYPE 145>");
  EXPECT_STREQ(DBS_TRANSLATOR::get_debug_string_name(static_cast<CDB_RE_TYPE>(605)),
               "<unnamed CDB_RE_TYPE>");
}

// Values that other parts of the model compare as numbers or persist. Each is
// checked by name and by enumerator, so a renamed or renumbered row fails here.
TEST(DbsTranslator, FixedNodeTypeValues) {
  const struct {
    const char* name;
    DTM_NODE_ENUM enumerator;
    std::int32_t value;
  } fixed[] = {
      {"DTM_NODE_NONE", DTM_NODE_NONE, 0},
      {"DTM_MAP_IO_HIGH_SPEED", DTM_MAP_IO_HIGH_SPEED, 40},
      {"DTM_MAP_IO_ROW", DTM_MAP_IO_ROW, 41},
      {"DTM_MAP_IO_COLUMN", DTM_MAP_IO_COLUMN, 42},
      {"DTM_ROOT", DTM_ROOT, 47},
      {"DTM_P2P", DTM_P2P, 48},
      {"DTM_P2P_IN_BURIED", DTM_P2P_IN_BURIED, 49},
      {"DTM_P2P_IN_OUT", DTM_P2P_IN_OUT, 50},
      {"DTM_P2P_BURIED_OUT", DTM_P2P_BURIED_OUT, 51},
      {"DTM_P2P_BURIED_BURIED", DTM_P2P_BURIED_BURIED, 52},
      {"DTM_TABLE", DTM_TABLE, 53},
      {"DTM_FLOAT_TABLE", DTM_FLOAT_TABLE, 54},
      {"DTM_MICRO", DTM_MICRO, 55},
      {"DTM_RC", DTM_RC, 56},
      {"DTM_RE", DTM_RE, 60},
      {"DTM_RE_TABLE", DTM_RE_TABLE, 61},
      {"DTM_FF", DTM_FF, 62},
      {"DTM_OUTPUT_PORT_RE", DTM_OUTPUT_PORT_RE, 63},
      {"DTM_RE_INPUT_PORT", DTM_RE_INPUT_PORT, 64},
      {"DTM_GENERAL_PARAM", DTM_GENERAL_PARAM, 65},
      {"DTM_INTEGER", DTM_INTEGER, 66},
      {"DTM_MAP_DEVICE", DTM_MAP_DEVICE, 67},
      {"DTM_NODE_MAX_ENUM", DTM_NODE_MAX_ENUM, 138},
  };
  for (const auto& f : fixed) {
    SCOPED_TRACE(f.name);
    EXPECT_EQ(static_cast<std::int32_t>(f.enumerator), f.value);
    EXPECT_EQ(DBS_TRANSLATOR::get_dtm_node_enum_by_string(f.name), f.value);
    EXPECT_STREQ(DBS_TRANSLATOR::get_debug_string_name(f.enumerator), f.name);
  }
  // 57 to 59 are map types, never delay types; 138 is the highest member.
  for (const std::int32_t v : {57, 58, 59}) {
    EXPECT_EQ(std::string(DBS_TRANSLATOR::get_debug_string_name(static_cast<DTM_NODE_ENUM>(v)))
                  .rfind("DTM_MAP_", 0),
              0u)
        << v;
  }
  EXPECT_EQ(k_dtm_node_enum_rows.size(), 139u);
  EXPECT_EQ(k_dtm_node_enum_rows.back().m_value, 138);
}

TEST(DbsTranslator, FixedDescriptorValues) {
  const struct {
    const char* name;
    DTM_ENUM enumerator;
    std::int32_t value;
  } fixed[] = {
      {"DTM_NONE", DTM_NONE, 0},
      {"RC_RISE", RC_RISE, 236},
      {"RC_FALL", RC_FALL, 237},
      {"INDEX_0", INDEX_0, 394},
      {"INDEX_36", INDEX_36, 430},
      {"INDEX_ALL", INDEX_ALL, 730},
      {"IO_LVCMOS_1V2", IO_LVCMOS_1V2, 287},
      {"IO_DIFF_SSTL_135", IO_DIFF_SSTL_135, 338},
      {"IO_SSTL_125", IO_SSTL_125, 725},
  };
  for (const auto& f : fixed) {
    SCOPED_TRACE(f.name);
    EXPECT_EQ(static_cast<std::int32_t>(f.enumerator), f.value);
    EXPECT_EQ(DBS_TRANSLATOR::get_dtm_enum_by_string(f.name), f.value);
    EXPECT_STREQ(DBS_TRANSLATOR::get_debug_string_name(f.enumerator), f.name);
  }
  // 394 to 430: 37 consecutive index members, INDEX_0 to INDEX_36.
  for (std::int32_t i = 0; i <= 36; ++i) {
    const std::string name = "INDEX_" + std::to_string(i);
    EXPECT_EQ(DBS_TRANSLATOR::get_dtm_enum_by_string(name.c_str()), 394 + i) << name;
  }
  // 287 to 338 and 725: IO standards, all of them named.
  for (std::int32_t v = 287; v <= 338; ++v) {
    EXPECT_EQ(std::string(DBS_TRANSLATOR::get_debug_string_name(static_cast<DTM_ENUM>(v)))
                  .rfind("IO_", 0),
              0u)
        << v;
  }
}

TEST(DbsTranslator, FixedBoundsAndSentinels) {
  EXPECT_EQ(CDB_RE_ILLEGAL_TYPE, 604);
  EXPECT_EQ(CDB_RE_TYPE_COUNT, 605);
  EXPECT_EQ(DB_MAX_INPUT_PORT_TYPE, 523);
  EXPECT_EQ(DB_MAX_OUTPUT_PORT_TYPE, 471);
  EXPECT_EQ(DB_MAX_BURIED_PORT_TYPE, 145);
  EXPECT_EQ(DEV_FAMILY_NONE, 0);
  EXPECT_EQ(sizeof(DTM_ENUM), 4u);
  EXPECT_EQ(sizeof(DTM_NODE_ENUM), 4u);
  EXPECT_TRUE((std::is_same_v<std::underlying_type_t<CDB_RE_TYPE>, std::int32_t>));
}

// The device IO standards that the timing model maps onto its own members: the
// target of each device value is a member with the device standard's name.
TEST(DbsTranslator, DeviceIoStandardsNameTheirTimingCounterparts) {
  const std::map<std::int32_t, std::int32_t> mapping = {
      {3, 298},  {4, 298},  {5, 299},  {8, 288},  {9, 289},  {10, 290}, {12, 300}, {14, 306},
      {15, 311}, {16, 292}, {17, 312}, {18, 305}, {19, 304}, {20, 293}, {21, 301}, {22, 302},
      {23, 303}, {24, 314}, {25, 315}, {26, 287}, {27, 294}, {28, 295}, {31, 321}, {32, 322},
      {33, 316}, {36, 297}, {37, 337}, {39, 296}, {40, 308}, {41, 309}, {42, 307}, {43, 323},
      {44, 324}, {45, 325}, {46, 326}, {47, 327}, {50, 330}, {51, 331}, {52, 332}, {53, 333},
      {54, 336}, {55, 338}, {56, 334}, {57, 335}, {58, 310}, {59, 725}};
  std::map<std::int32_t, std::string> device;
  for (const ROW& row : k_dev_io_standard_rows) {
    device[row.m_value] = row.m_name;
  }
  for (const auto& [from, to] : mapping) {
    SCOPED_TRACE(from);
    ASSERT_EQ(device.count(from), 1u);
    const std::string target = DBS_TRANSLATOR::get_debug_string_name(static_cast<DTM_ENUM>(to));
    if (from == 4) {  // the second device standard sharing the timing of 3
      EXPECT_EQ(device[from], "LVCMOS_3V3");
      EXPECT_EQ(target, "IO_LVTTL_3V3");
    } else {
      EXPECT_EQ("IO_" + device[from], target);
    }
  }
  EXPECT_EQ(device[1], "DEFAULT");
  EXPECT_EQ(DEV_IO_LVTTL_3V3, 3);
  EXPECT_EQ(DEV_IO_SSTL_125, 59);
}

TEST(DbsTranslator, PhysicalImplementationsCoverTheMappedRanges) {
  std::set<std::int32_t> values;
  for (const ROW& row : k_dev_phys_impl_rows) {
    values.insert(row.m_value);
  }
  for (std::int32_t v = 47; v <= 146; ++v) {
    EXPECT_EQ(values.count(v), 1u) << v;
  }
  EXPECT_EQ(DEV_PHYS_IMPL_TOP_IO_IN, 47);
  EXPECT_EQ(DEV_PHYS_IMPL_LEFT_IO_IN, 71);
  EXPECT_EQ(DEV_PHYS_IMPL_HS_LANE_0_RX, 83);
  EXPECT_EQ(DEV_PHYS_IMPL_BOTTOM_CLOCK_PIN_5, 146);
}

TEST(CdbReTypeString, HoldsOneNameForEveryTypeUpToTheIllegalOne) {
  std::int32_t count = 0;
#define DBS_NAME(name, value)                             \
  EXPECT_STREQ(CDB_RE_TYPE_STRING[CDB_RE_##name], #name); \
  EXPECT_EQ(CDB_RE_##name, count++);
#define DBS_ALIAS(ident, name, value)                      \
  EXPECT_STREQ(CDB_RE_TYPE_STRING[CDB_RE_##ident], #name); \
  EXPECT_EQ(CDB_RE_##ident, count++);
#include "dbs_cdb_re_type.def"
#undef DBS_ALIAS
#undef DBS_NAME
  EXPECT_EQ(count, 605);
  EXPECT_STREQ(CDB_RE_TYPE_STRING[CDB_RE_ILLEGAL_TYPE], "ILLEGAL_TYPE");
  for (std::int32_t i = 0; i < CDB_RE_TYPE_COUNT; ++i) {
    ASSERT_NE(CDB_RE_TYPE_STRING[i], nullptr) << i;
    EXPECT_TRUE(is_token(CDB_RE_TYPE_STRING[i])) << i;
    EXPECT_STREQ(DBS_TRANSLATOR::get_debug_string_name(static_cast<CDB_RE_TYPE>(i)),
                 CDB_RE_TYPE_STRING[i]);
  }
}

TEST(CdbReTypeString, FindAgreesWithALiteralScanOfAllEntries) {
  std::vector<std::string> names;
  for (std::int32_t i = 0; i < CDB_RE_TYPE_COUNT; ++i) {
    const std::string name = CDB_RE_TYPE_STRING[i];
    names.push_back(name);
    names.push_back(lower(name));
    names.push_back(name + "X");
    names.push_back(name.substr(0, name.size() - 1));
  }
  names.insert(names.end(), {"", "NOT_A_REGISTER", " DFF", "DFF "});
  for (const std::string& name : names) {
    EXPECT_EQ(cdb_re_type_find(name.c_str()), scan_cdb(name.c_str())) << name;
  }
  EXPECT_EQ(cdb_re_type_find(nullptr), CDB_RE_ILLEGAL_TYPE);
}

TEST(CdbReTypeString, ARepeatedNameResolvesToItsFirstIndex) {
  std::map<std::string, std::int32_t> first;
  std::int32_t repeats = 0;
  for (std::int32_t i = 0; i < CDB_RE_TYPE_COUNT; ++i) {
    const auto [it, inserted] = first.emplace(CDB_RE_TYPE_STRING[i], i);
    if (!inserted) {
      ++repeats;
      EXPECT_EQ(cdb_re_type_find(CDB_RE_TYPE_STRING[i]), it->second) << CDB_RE_TYPE_STRING[i];
    }
  }
  EXPECT_GE(repeats, 1);
  EXPECT_STREQ(CDB_RE_TYPE_STRING[CDB_RE_DFF_COMPAT], "DFF");
  EXPECT_EQ(cdb_re_type_find("DFF"), CDB_RE_DFF);
  EXPECT_EQ(CDB_RE_DFF, 0);
  EXPECT_EQ(cdb_re_type_find("LATCH"), CDB_RE_LATCH);
  EXPECT_NE(CDB_RE_LATCH_COMPAT, CDB_RE_LATCH);
  // Entry 604 is compared like every other and gives 604.
  EXPECT_EQ(cdb_re_type_find("ILLEGAL_TYPE"), CDB_RE_ILLEGAL_TYPE);
  EXPECT_EQ(cdb_re_type_find("dff"), CDB_RE_ILLEGAL_TYPE);
}

// A name that is both an input and a buried port, and one that is both an
// output and a buried port: point-to-point lines resolve such names in a fixed
// order, and the model's tests rely on these two existing.
TEST(DbsTranslator, SomePortNamesExistInTwoPortTables) {
  EXPECT_EQ(DBS_TRANSLATOR::get_input_port_type_by_string("REG_D"), DB_IN_REG_D);
  EXPECT_EQ(DBS_TRANSLATOR::get_buried_port_type_by_string("REG_D"), DB_BURIED_REG_D);
  EXPECT_EQ(DBS_TRANSLATOR::get_output_port_type_by_string("REG_Q"), DB_OUT_REG_Q);
  EXPECT_EQ(DBS_TRANSLATOR::get_buried_port_type_by_string("REG_Q"), DB_BURIED_REG_Q);
}

TEST(DbsTranslator, IsAnEmptyViewThatCostsNothingToMake) {
  EXPECT_TRUE(std::is_empty_v<DBS_TRANSLATOR>);
  EXPECT_TRUE(std::is_trivially_destructible_v<DBS_TRANSLATOR>);
  constexpr DBS_TRANSLATOR translator;
  EXPECT_EQ(translator.get_dtm_node_enum_by_string("DTM_RC"), DTM_RC);
}

// The one-probe lookups against the exists-then-get pairs (and the scan of
// the register-element table), on every name of every table and on texts
// that differ from a name only a little: a byte changed at each place, one
// byte more or less, another letter case, and names of the other tables.
struct FIND {
  const char* m_label;
  std::int32_t (*m_find)(std::string_view);
  std::int32_t (*m_pair)(const char*);
};

const FIND k_finds[] = {
    {"DTM_ENUM",
     [](std::string_view n) -> std::int32_t { return DBS_TRANSLATOR::find_dtm_enum(n); },
     [](const char* n) -> std::int32_t {
       return DBS_TRANSLATOR::exists_dtm_enum_by_string(n)
                  ? DBS_TRANSLATOR::get_dtm_enum_by_string(n)
                  : DTM_NONE;
     }},
    {"DTM_NODE_ENUM",
     [](std::string_view n) -> std::int32_t { return DBS_TRANSLATOR::find_dtm_node_enum(n); },
     [](const char* n) -> std::int32_t {
       return DBS_TRANSLATOR::exists_dtm_node_enum_by_string(n)
                  ? DBS_TRANSLATOR::get_dtm_node_enum_by_string(n)
                  : DTM_NODE_NONE;
     }},
    {"DB_INPUT_PORT_TYPE",
     [](std::string_view n) -> std::int32_t { return DBS_TRANSLATOR::find_input_port_type(n); },
     [](const char* n) -> std::int32_t {
       return DBS_TRANSLATOR::exists_input_port_type_by_string(n)
                  ? DBS_TRANSLATOR::get_input_port_type_by_string(n)
                  : DB_MAX_INPUT_PORT_TYPE;
     }},
    {"DB_OUTPUT_PORT_TYPE",
     [](std::string_view n) -> std::int32_t { return DBS_TRANSLATOR::find_output_port_type(n); },
     [](const char* n) -> std::int32_t {
       return DBS_TRANSLATOR::exists_output_port_type_by_string(n)
                  ? DBS_TRANSLATOR::get_output_port_type_by_string(n)
                  : DB_MAX_OUTPUT_PORT_TYPE;
     }},
    {"DB_BURIED_PORT_TYPE",
     [](std::string_view n) -> std::int32_t { return DBS_TRANSLATOR::find_buried_port_type(n); },
     [](const char* n) -> std::int32_t {
       return DBS_TRANSLATOR::exists_buried_port_type_by_string(n)
                  ? DBS_TRANSLATOR::get_buried_port_type_by_string(n)
                  : DB_MAX_BURIED_PORT_TYPE;
     }},
    {"CDB_RE_TYPE",
     [](std::string_view n) -> std::int32_t { return DBS_TRANSLATOR::find_cdb_re_type(n); },
     &scan_cdb},
};

std::vector<std::string> near_names() {
  std::vector<std::string> texts = {"",
                                    "_",
                                    "A",
                                    "DTM_",
                                    "DTM_MAP_",
                                    "DTM_MAP_DEVIC",
                                    "DTM_MAP_DEVICEE",
                                    "DTM_MAP_DEVICE ",
                                    " DTM_MAP_DEVICE"};
  std::vector<const std::vector<ROW>*> tables = {&k_dtm_enum_rows, &k_dtm_node_enum_rows,
                                                 &k_input_port_rows, &k_output_port_rows,
                                                 &k_buried_port_rows};
  for (const std::vector<ROW>* rows : tables) {
    for (const ROW& row : *rows) {
      const std::string name = row.m_name;
      texts.push_back(name);
      texts.push_back(lower(name));
      texts.push_back(name + "X");
      texts.push_back(name.substr(0, name.size() - 1));
      for (std::size_t at = 0; at < name.size(); ++at) {
        std::string changed = name;
        changed[at] = changed[at] == 'Q' ? 'Z' : 'Q';
        texts.push_back(changed);
      }
    }
  }
  for (std::int32_t i = 0; i <= CDB_RE_ILLEGAL_TYPE; ++i) {
    texts.push_back(CDB_RE_TYPE_STRING[i]);
    texts.push_back(std::string(CDB_RE_TYPE_STRING[i]) + "_");
  }
  return texts;
}

TEST(DbsTranslator, OneProbeLookupsAnswerAsTheExistsThenGetPairs) {
  const std::vector<std::string> texts = near_names();
  for (const FIND& find : k_finds) {
    SCOPED_TRACE(find.m_label);
    std::size_t known = 0;
    for (const std::string& text : texts) {
      const std::int32_t expected = find.m_pair(text.c_str());
      ASSERT_EQ(find.m_find(text), expected) << text;
      // A view into a longer text is read only up to its length.
      const std::string longer = text + "_TAIL";
      ASSERT_EQ(find.m_find(std::string_view(longer).substr(0, text.size())), expected) << text;
      known += expected != find.m_pair(nullptr) ? 1 : 0;
    }
    EXPECT_GT(known, 100u);
  }
}

}  // namespace
