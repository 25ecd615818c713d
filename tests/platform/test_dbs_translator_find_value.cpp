// find_value: the one-probe name lookup on a view. For every name of every
// table, and for texts near them, it must agree with the exists/get pair (and
// for register elements with cdb_re_type_find), and leave the value alone
// when it finds nothing.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "dbs_translator.h"

namespace {

// One enumeration: its names, the reference pair seen through integers, and
// find_value for that enumeration.
struct ENUMERATION {
  const char* m_label;
  std::vector<std::string> m_names;
  bool (*m_exists)(const char*);
  std::int32_t (*m_get)(const char*);
  bool (*m_find)(std::string_view, std::int32_t&);
};

template <class ENUM>
bool find_as_int(std::string_view name, std::int32_t& value) {
  ENUM typed = static_cast<ENUM>(value);
  const bool found = DBS_TRANSLATOR::find_value(name, typed);
  value = typed;
  return found;
}

#define DBS_NAME(name, value) #name,
const std::vector<ENUMERATION>& enumerations() {
  static const std::vector<ENUMERATION> table = {
      {"DTM_ENUM",
       {
#include "dbs_dtm_enum.def"
       },
       &DBS_TRANSLATOR::exists_dtm_enum_by_string,
       [](const char* n) -> std::int32_t { return DBS_TRANSLATOR::get_dtm_enum_by_string(n); },
       &find_as_int<DTM_ENUM>},
      {"DTM_NODE_ENUM",
       {
#include "dbs_dtm_node_enum.def"
       },
       &DBS_TRANSLATOR::exists_dtm_node_enum_by_string,
       [](const char* n) -> std::int32_t { return DBS_TRANSLATOR::get_dtm_node_enum_by_string(n); },
       &find_as_int<DTM_NODE_ENUM>},
      {"DB_INPUT_PORT_TYPE",
       {
#include "dbs_db_input_port.def"
       },
       &DBS_TRANSLATOR::exists_input_port_type_by_string,
       [](const char* n) -> std::int32_t {
         return DBS_TRANSLATOR::get_input_port_type_by_string(n);
       },
       &find_as_int<DB_INPUT_PORT_TYPE>},
      {"DB_OUTPUT_PORT_TYPE",
       {
#include "dbs_db_output_port.def"
       },
       &DBS_TRANSLATOR::exists_output_port_type_by_string,
       [](const char* n) -> std::int32_t {
         return DBS_TRANSLATOR::get_output_port_type_by_string(n);
       },
       &find_as_int<DB_OUTPUT_PORT_TYPE>},
      {"DB_BURIED_PORT_TYPE",
       {
#include "dbs_db_buried_port.def"
       },
       &DBS_TRANSLATOR::exists_buried_port_type_by_string,
       [](const char* n) -> std::int32_t {
         return DBS_TRANSLATOR::get_buried_port_type_by_string(n);
       },
       &find_as_int<DB_BURIED_PORT_TYPE>},
      {"DEV_FAMILY_ENUM",
       {
#include "dbs_dev_family.def"
       },
       &DBS_TRANSLATOR::exists_dev_family_by_string,
       [](const char* n) -> std::int32_t { return DBS_TRANSLATOR::get_dev_family_by_string(n); },
       &find_as_int<DEV_FAMILY_ENUM>},
      {"CDB_RE_TYPE",
       std::vector<std::string>(CDB_RE_TYPE_STRING, CDB_RE_TYPE_STRING + CDB_RE_TYPE_COUNT),
       [](const char* n) { return cdb_re_type_find(n) != CDB_RE_ILLEGAL_TYPE; },
       [](const char* n) -> std::int32_t { return cdb_re_type_find(n); },
       &find_as_int<CDB_RE_TYPE>},
  };
  return table;
}
#undef DBS_NAME

// Texts near a name: cut short, one letter more, another last letter, and
// the name with a NUL and more behind it (a view holds it whole).
std::vector<std::string> neighbours(const std::string& name) {
  std::vector<std::string> texts = {name + "X", name + "_", std::string()};
  if (!name.empty()) {
    texts.push_back(name.substr(0, name.size() - 1));
    std::string other = name;
    other.back() = other.back() == 'Z' ? 'Y' : 'Z';
    texts.push_back(other);
  }
  texts.push_back(name + std::string(1, '\0'));
  texts.push_back(name + std::string(1, '\0') + "TAIL");
  return texts;
}

TEST(DbsTranslatorFindValue, AgreesWithExistsAndGetOnEveryNameAndItsNeighbours) {
  for (const ENUMERATION& e : enumerations()) {
    ASSERT_FALSE(e.m_names.empty()) << e.m_label;
    for (const std::string& name : e.m_names) {
      std::int32_t value = -77;
      ASSERT_TRUE(e.m_find(name, value)) << e.m_label << " " << name;
      EXPECT_EQ(value, e.m_get(name.c_str())) << e.m_label << " " << name;
      for (const std::string& text : neighbours(name)) {
        std::int32_t near = -77;
        const bool found = e.m_find(text, near);
        // A text with a NUL inside is no name; any other is one when the
        // C-string pair says so.
        const bool expected = text.find('\0') == std::string::npos && e.m_exists(text.c_str());
        EXPECT_EQ(found, expected) << e.m_label << " " << text;
        EXPECT_EQ(near, found ? e.m_get(text.c_str()) : -77) << e.m_label << " " << text;
      }
    }
  }
}

TEST(DbsTranslatorFindValue, ViewsOfLongerBuffersReadOnlyTheirLength) {
  const std::string buffer = "DTM_MICROSCOPE";
  DTM_NODE_ENUM value = DTM_NODE_NONE;
  EXPECT_TRUE(DBS_TRANSLATOR::find_value(std::string_view(buffer).substr(0, 9), value));
  EXPECT_EQ(value, DBS_TRANSLATOR::get_dtm_node_enum_by_string("DTM_MICRO"));
  value = DTM_NODE_NONE;
  EXPECT_FALSE(DBS_TRANSLATOR::find_value(std::string_view(buffer).substr(0, 8), value));
  EXPECT_EQ(value, DTM_NODE_NONE);
}

}  // namespace
