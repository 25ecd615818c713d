// docs/names.md lists every name of every table. Its lists are checked here
// against the tables themselves; run the test with KESTREL_UPDATE_NAMES_DOC=1
// to rewrite them after a table has changed.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "dbs_enums.h"
#include "test_files.h"

namespace {

struct DOC_ROW {
  std::int32_t m_value;
  const char* m_name;
  const char* m_alias_of_enumerator;  // null for an ordinary row
};

struct DOC_TABLE {
  const char* m_enumeration;
  const char* m_what;
  const char* m_file;
  const char* m_prefix;  // of the enumerators
  std::vector<DOC_ROW> m_rows;
};

std::vector<DOC_TABLE> doc_tables() {
  return {
      {"DTM_NODE_ENUM",
       "map types and node types",
       "dbs_dtm_node_enum.def",
       "",
       {
#define DBS_NAME(name, value) {value, #name, nullptr},
#include "dbs_dtm_node_enum.def"
#undef DBS_NAME
       }},
      {"DTM_ENUM",
       "delay-storage descriptors and qualifiers",
       "dbs_dtm_enum.def",
       "",
       {
#define DBS_NAME(name, value) {value, #name, nullptr},
#include "dbs_dtm_enum.def"
#undef DBS_NAME
       }},
      {"CDB_RE_TYPE",
       "register-element types",
       "dbs_cdb_re_type.def",
       "CDB_RE_",
       {
#define DBS_NAME(name, value) {value, #name, nullptr},
#define DBS_ALIAS(ident, name, value) {value, #name, "CDB_RE_" #ident},
#include "dbs_cdb_re_type.def"
#undef DBS_ALIAS
#undef DBS_NAME
       }},
      {"DB_INPUT_PORT_TYPE",
       "input-port types",
       "dbs_db_input_port.def",
       "DB_IN_",
       {
#define DBS_NAME(name, value) {value, #name, nullptr},
#include "dbs_db_input_port.def"
#undef DBS_NAME
       }},
      {"DB_OUTPUT_PORT_TYPE",
       "output-port types",
       "dbs_db_output_port.def",
       "DB_OUT_",
       {
#define DBS_NAME(name, value) {value, #name, nullptr},
#include "dbs_db_output_port.def"
#undef DBS_NAME
       }},
      {"DB_BURIED_PORT_TYPE",
       "buried-port types",
       "dbs_db_buried_port.def",
       "DB_BURIED_",
       {
#define DBS_NAME(name, value) {value, #name, nullptr},
#include "dbs_db_buried_port.def"
#undef DBS_NAME
       }},
      {"DEV_FAMILY_ENUM",
       "device families",
       "dbs_dev_family.def",
       "DEV_FAMILY_",
       {
#define DBS_NAME(name, value) {value, #name, nullptr},
#include "dbs_dev_family.def"
#undef DBS_NAME
       }},
      {"DEV_IO_STANDARD_ENUM",
       "device IO standards (not written in DMF text)",
       "dbs_dev_io_standard.def",
       "DEV_IO_",
       {
#define DBS_NAME(name, value) {value, #name, nullptr},
#include "dbs_dev_io_standard.def"
#undef DBS_NAME
       }},
      {"DEV_PHYS_IMPL_ENUM",
       "device physical implementations (not written in DMF text)",
       "dbs_dev_phys_impl.def",
       "DEV_PHYS_IMPL_",
       {
#define DBS_NAME(name, value) {value, #name, nullptr},
#include "dbs_dev_phys_impl.def"
#undef DBS_NAME
       }},
  };
}

const char* const k_marker =
    "<!-- Everything below is generated from the tables h/dbs_*.def and checked by a test. -->";

std::string generated_lists() {
  std::ostringstream out;
  out << k_marker << "\n";
  for (const DOC_TABLE& table : doc_tables()) {
    out << "\n## " << table.m_enumeration << ": " << table.m_what << "\n\n";
    out << "Table `h/" << table.m_file << "`, " << table.m_rows.size() << " members";
    if (*table.m_prefix != '\0') {
      out << "; the enumerator of a name is `" << table.m_prefix << "` followed by the name";
    } else {
      out << "; the enumerator of a name is the name itself";
    }
    out << ".\n\n| Value | Name |\n|---:|---|\n";
    for (const DOC_ROW& row : table.m_rows) {
      out << "| " << row.m_value << " | `" << row.m_name << "`";
      if (row.m_alias_of_enumerator != nullptr) {
        out << " (repeated; a lookup finds the first entry; enumerator `"
            << row.m_alias_of_enumerator << "`)";
      }
      out << " |\n";
    }
  }
  return out.str();
}

TEST(NamesDoc, ListsEveryNameOfEveryTable) {
  const std::string file = std::string(KESTREL_SOURCE_DIR) + "/docs/names.md";
  const std::string text = TEST_DIR::read(file);
  ASSERT_FALSE(text.empty()) << file;
  const std::size_t marker = text.find(k_marker);
  ASSERT_NE(marker, std::string::npos) << "marker line missing in " << file;
  const std::string expected = generated_lists();
  const char* update = std::getenv("KESTREL_UPDATE_NAMES_DOC");
  if (update != nullptr && *update == '1') {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << text.substr(0, marker) << expected;
    return;
  }
  EXPECT_TRUE(text.substr(marker) == expected)
      << file << " is out of date; rerun this test with KESTREL_UPDATE_NAMES_DOC=1";
}

}  // namespace
