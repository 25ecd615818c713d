#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "dbs_translator.h"
#include "dtm_gen.h"
#include "model_test_support.h"
#include "msg_sys.h"

namespace {

using ADD = void (DTM_FACTORY::*)(const DTM_LINE_NODE*, DTM_NODE*) const;

// Every line below is stored under this path.
constexpr const char* k_path = "DTM_MAP_DEVICE DTM_MAP_LOGIC_CELL";

const DTM_NODE* place(const MODEL& root) {
  return root->get_node(DTM_MAP_DEVICE, DTM_MAP_LOGIC_CELL);
}

std::string delay_line(const std::string& value, const std::string& modifiers) {
  return value + " || " + k_path + " || " + modifiers;
}

std::vector<std::string> words(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> result;
  for (std::string word; in >> word;) {
    result.push_back(word);
  }
  return result;
}

std::string join(const std::vector<std::string>& list) {
  std::string text;
  for (const std::string& word : list) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

// Runs one add operation on every record of `lines`.
void add_all(const DTM_FACTORY& factory, ADD add, const LINE_LIST& lines, DTM_NODE* root) {
  for (std::size_t i = 0; i < lines.size(); ++i) {
    (factory.*add)(lines.at(i), root);
  }
}

// One delay type: a full and valid modifier list (type first), the fewest
// modifiers it accepts, and its report texts.
struct KIND {
  const char* m_name;
  ADD m_add;
  DTM_NODE_ENUM m_leaf;
  DIRECTION m_direction;
  bool m_float;
  const char* m_modifiers;
  int m_fewest;
  const char* m_count_text;
  const char* m_failure;
};

const std::vector<KIND>& kinds() {
  static const std::vector<KIND> list = {
      {"integer", &DTM_FACTORY::add_integer, DTM_INTEGER, DIRECTION::NONE, false,
       "DTM_INTEGER TSU_DELAY 5", 2, "num_modifiers == 2 || num_modifiers==3",
       "Can't add table node delay to root timing node"},
      {"table", &DTM_FACTORY::add_table, DTM_TABLE, DIRECTION::NONE, false, "DTM_TABLE ROW_1 COL_2",
       3, "line_node->get_num_modifiers() == (DTM_TABLE_COL_INDEXER + 1)",
       "Can't add table node delay to root timing node"},
      {"float table", &DTM_FACTORY::add_float_table, DTM_FLOAT_TABLE, DIRECTION::NONE, true,
       "DTM_FLOAT_TABLE ROW_2 COL_1", 3,
       "line_node->get_num_modifiers() == (DTM_FLOAT_TABLE_COL_INDEXER + 1)",
       "Can't add float_table node delay to root timing node"},
      {"re table", &DTM_FACTORY::add_re_table, DTM_RE_TABLE, DIRECTION::NONE, false,
       "DTM_RE_TABLE DFFE LATCH EDGE_BOTH", 3,
       "(line_node->get_num_modifiers() == (DTM_RE_TABLE_IDX_INDEXER + 1)) || "
       "(line_node->get_num_modifiers() == DTM_RE_TABLE_IDX_INDEXER)",
       "Can't add re table node delay to root timing node"},
      {"re input port", &DTM_FACTORY::add_re_input_port, DTM_RE_INPUT_PORT, DIRECTION::NONE, false,
       "DTM_RE_INPUT_PORT LATCH LCELL_DATAA", 3,
       "line_node->get_num_modifiers() == (DTM_RE_INPUT_PORT_COL_INDEXER + 1)",
       "Can't add re->input port node delay to root timing node"},
      {"output port re", &DTM_FACTORY::add_output_port_re, DTM_OUTPUT_PORT_RE, DIRECTION::NONE,
       false, "DTM_OUTPUT_PORT_RE LCELL_COMBOUT DFFE", 3,
       "line_node->get_num_modifiers() == (DTM_OUTPUT_PORT_RE_COL_INDEXER + 1)",
       "Can't add output port->re node delay to root timing node"},
      {"ff", &DTM_FACTORY::add_ff, DTM_FF, DIRECTION::NONE, false, "DTM_FF LCELL_LUT_OUT TSU_DELAY",
       3, "line_node->get_num_modifiers() == (DTM_FF_MICRO_INDEXER + 1)",
       "Can't add ff node delay to root timing node"},
      {"micro", &DTM_FACTORY::add_micro, DTM_MICRO, DIRECTION::NONE, false, "DTM_MICRO TH_DELAY", 2,
       "line_node->get_num_modifiers() == (DTM_MICRO_INPUT_INDEXER + 1)",
       "Can't add micro delay to root timing node"},
      {"rc", &DTM_FACTORY::add_rc, DTM_RC, DIRECTION::NONE, true, "DTM_RC LATCH RC_FALL RC_FALL", 3,
       "(line_node->get_num_modifiers() == (DTM_RC_INPUT_INDEXER + 2)) || "
       "(line_node->get_num_modifiers() == (DTM_RC_INPUT_INDEXER + 1))",
       "Can't add rc node delay to root timing node"},
      {"re", &DTM_FACTORY::add_re, DTM_RE, DIRECTION::NONE, false, "DTM_RE LATCH", 2,
       "line_node->get_num_modifiers() == (DTM_RE_IC_INDEXER + 1)",
       "Can't add re node delay to root timing node"},
      {"p2p in-out", &DTM_FACTORY::add_p2p, DTM_P2P, DIRECTION::IN_OUT, false,
       "DTM_P2P LCELL_DATAA LCELL_COMBOUT EDGE_BOTH", 3,
       "(line_node->get_num_modifiers() == (DTM_P2P_IDX_INDEXER + 1)) || "
       "(line_node->get_num_modifiers() == DTM_P2P_IDX_INDEXER)",
       "Can't add p2p in-out node delay to root timing node"},
      {"p2p in-buried", &DTM_FACTORY::add_p2p, DTM_P2P, DIRECTION::IN_BURIED, false,
       "DTM_P2P LCELL_DATAA LCELL_LUT_OUT EDGE_BOTH", 3,
       "(line_node->get_num_modifiers() == (DTM_P2P_IDX_INDEXER + 1)) || "
       "(line_node->get_num_modifiers() == DTM_P2P_IDX_INDEXER)",
       "Can't add p2p in-buried node delay to root timing node"},
      {"p2p buried-out", &DTM_FACTORY::add_p2p, DTM_P2P, DIRECTION::BURIED_OUT, false,
       "DTM_P2P LCELL_LUT_OUT LCELL_COMBOUT EDGE_BOTH", 3,
       "(line_node->get_num_modifiers() == (DTM_P2P_IDX_INDEXER + 1)) || "
       "(line_node->get_num_modifiers() == DTM_P2P_IDX_INDEXER)",
       "Can't add p2p buried-out node delay to root timing node"},
      {"p2p buried-buried", &DTM_FACTORY::add_p2p, DTM_P2P, DIRECTION::BURIED_BURIED, false,
       "DTM_P2P LCELL_LUT_OUT LCELL_LOCAL_LINE EDGE_BOTH", 3,
       "(line_node->get_num_modifiers() == (DTM_P2P_IDX_INDEXER + 1)) || "
       "(line_node->get_num_modifiers() == DTM_P2P_IDX_INDEXER)",
       "Can't add p2p buried-buried node delay to root timing node"},
  };
  return list;
}

const KIND& kind(const char* name) {
  for (const KIND& k : kinds()) {
    if (std::strcmp(k.m_name, name) == 0) {
      return k;
    }
  }
  ADD_FAILURE() << "no kind " << name;
  return kinds().front();
}

// ---- Stored key and value ----------------------------------------------------------

struct STORE_CASE {
  const char* m_name;
  const char* m_kind;
  const char* m_value;
  const char* m_modifiers;
  DIRECTION m_direction;
  PARTS m_key;
  double m_stored;
};

TEST(DtmGenInsert, StoresTheKeyAndValueOfEachKind) {
  // Stored values: DTM_ENUM as it is, every other family plus one.
  // TSU_DELAY 2, TH_DELAY 3, ROW_1 101, ROW_2 102, COL_1 141, COL_2 142,
  // EDGE_BOTH 205, RC_FALL 237; DFFE 1, LATCH 4; inputs LCELL_DATAA 0,
  // REG_D 18; outputs LCELL_COMBOUT 0, REG_Q 7; buried LCELL_LUT_OUT 5,
  // LCELL_LOCAL_LINE 9, REG_D 0.
  const std::vector<STORE_CASE> cases = {
      {"integer with a kind",
       "integer",
       "7",
       "DTM_INTEGER TSU_DELAY 5",
       DIRECTION::NONE,
       {{1, 2}, {6, 6}},
       7},
      {"integer without a kind",
       "integer",
       "8",
       "DTM_INTEGER 7",
       DIRECTION::NONE,
       {{1, 0}, {6, 8}},
       8},
      {"integer index not a number",
       "integer",
       "9",
       "DTM_INTEGER abc",
       DIRECTION::NONE,
       {{1, 0}, {6, 1}},
       9},
      {"integer index with trailing text",
       "integer",
       "10",
       "DTM_INTEGER TSU_DELAY 12x",
       DIRECTION::NONE,
       {{1, 2}, {6, 13}},
       10},
      {"integer negative index",
       "integer",
       "10",
       "DTM_INTEGER TSU_DELAY -3",
       DIRECTION::NONE,
       {{1, 2}, {6, -2}},
       10},
      {"table",
       "table",
       "( 2 * 3 )",
       "DTM_TABLE ROW_1 COL_2",
       DIRECTION::NONE,
       {{1, 101}, {1, 142}},
       6},
      {"float table",
       "float table",
       "2.5",
       "DTM_FLOAT_TABLE ROW_2 COL_1",
       DIRECTION::NONE,
       {{1, 102}, {1, 141}},
       2.5},
      {"re table without kind",
       "re table",
       "11",
       "DTM_RE_TABLE DFFE LATCH",
       DIRECTION::NONE,
       {{5, 2}, {5, 5}},
       11},
      {"re table with kind",
       "re table",
       "12",
       "DTM_RE_TABLE DFFE LATCH EDGE_BOTH",
       DIRECTION::NONE,
       {{5, 2}, {5, 5}, {1, 205}},
       12},
      {"re input port",
       "re input port",
       "13",
       "DTM_RE_INPUT_PORT LATCH LCELL_DATAA",
       DIRECTION::NONE,
       {{5, 5}, {3, 1}},
       13},
      {"output port re",
       "output port re",
       "14",
       "DTM_OUTPUT_PORT_RE LCELL_COMBOUT DFFE",
       DIRECTION::NONE,
       {{4, 1}, {5, 2}},
       14},
      {"ff", "ff", "15", "DTM_FF LCELL_LUT_OUT TSU_DELAY", DIRECTION::NONE, {{2, 6}, {1, 2}}, 15},
      {"micro", "micro", "16", "DTM_MICRO TH_DELAY", DIRECTION::NONE, {{1, 3}}, 16},
      {"rc with the default edge",
       "rc",
       "1.25",
       "DTM_RC LATCH RC_FALL",
       DIRECTION::NONE,
       {{5, 5}, {1, 237}, {1, 236}},
       1.25},
      {"rc with its own edge",
       "rc",
       "0.5",
       "DTM_RC LATCH RC_FALL RC_FALL",
       DIRECTION::NONE,
       {{5, 5}, {1, 237}, {1, 237}},
       0.5},
      {"re", "re", "17", "DTM_RE LATCH", DIRECTION::NONE, {{5, 5}}, 17},
      {"p2p in-out",
       "p2p in-out",
       "18",
       "DTM_P2P LCELL_DATAA LCELL_COMBOUT",
       DIRECTION::IN_OUT,
       {{3, 1}, {4, 1}},
       18},
      {"p2p in-out with condition",
       "p2p in-out",
       "19",
       "DTM_P2P LCELL_DATAA LCELL_COMBOUT EDGE_BOTH",
       DIRECTION::IN_OUT,
       {{3, 1}, {4, 1}, {1, 205}},
       19},
      {"p2p in-buried",
       "p2p in-out",
       "20",
       "DTM_P2P LCELL_DATAA LCELL_LUT_OUT",
       DIRECTION::IN_BURIED,
       {{3, 1}, {2, 6}},
       20},
      {"p2p buried-out",
       "p2p in-out",
       "21",
       "DTM_P2P LCELL_LUT_OUT LCELL_COMBOUT",
       DIRECTION::BURIED_OUT,
       {{2, 6}, {4, 1}},
       21},
      {"p2p buried-buried",
       "p2p in-out",
       "22",
       "DTM_P2P LCELL_LUT_OUT LCELL_LOCAL_LINE",
       DIRECTION::BURIED_BURIED,
       {{2, 6}, {2, 10}},
       22},
      {"p2p source and target named by both tables: input and output",
       "p2p in-out",
       "23",
       "DTM_P2P REG_D REG_Q",
       DIRECTION::IN_OUT,
       {{3, 19}, {4, 8}},
       23},
      {"p2p source named by both tables, buried target",
       "p2p in-out",
       "24",
       "DTM_P2P REG_D LCELL_LOCAL_LINE",
       DIRECTION::IN_BURIED,
       {{3, 19}, {2, 10}},
       24},
      {"p2p buried source, target only a buried port",
       "p2p in-out",
       "25",
       "DTM_P2P LCELL_LUT_OUT REG_D",
       DIRECTION::BURIED_BURIED,
       {{2, 6}, {2, 1}},
       25},
  };
  const DIRECTION directions[] = {DIRECTION::IN_OUT, DIRECTION::IN_BURIED, DIRECTION::BURIED_OUT,
                                  DIRECTION::BURIED_BURIED};
  for (const STORE_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    MEMORY_GUARD memory;
    const KIND& k = kind(c.m_kind);
    LINE_LIST lines{delay_line(c.m_value, c.m_modifiers)};
    MODEL root = make_root();
    MSG_CAPTURE capture;
    add_all(DTM_FACTORY(), k.m_add, lines, root.get());
    EXPECT_EQ(capture.get_texts(), std::vector<std::string>{});
    const DTM_TREE_DATA* data = leaf_data(place(root), k.m_leaf, c.m_direction);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->get_node_count(), 1u);
    EXPECT_EQ(key_parts(data), c.m_key);
    EXPECT_DOUBLE_EQ(single_value(data, k.m_float), c.m_stored);
    if (k.m_leaf == DTM_P2P) {
      for (DIRECTION other : directions) {
        if (other != c.m_direction) {
          EXPECT_EQ(leaf_data(place(root), DTM_P2P, other), nullptr);
        }
      }
    }
  }
}

// ---- Modifier counts ------------------------------------------------------------------

TEST(DtmGenInsert, AcceptedModifierCountsAreNotReported) {
  for (const KIND& k : kinds()) {
    const std::vector<std::string> full = words(k.m_modifiers);
    for (std::size_t count = static_cast<std::size_t>(k.m_fewest); count <= full.size(); ++count) {
      SCOPED_TRACE(std::string(k.m_name) + " with " + std::to_string(count) + " modifiers");
      MEMORY_GUARD memory;
      LINE_LIST lines{
          delay_line("5", join(std::vector<std::string>(full.begin(), full.begin() + count)))};
      MODEL root = make_root();
      MSG_CAPTURE capture;
      add_all(DTM_FACTORY(), k.m_add, lines, root.get());
      EXPECT_EQ(capture.get_texts(), std::vector<std::string>{});
      EXPECT_NE(leaf_data(place(root), k.m_leaf, k.m_direction), nullptr);
    }
  }
}

TEST(DtmGenInsert, EachWrongModifierCountIsReportedAndTheLineStillStored) {
  for (const KIND& k : kinds()) {
    const std::vector<std::string> full = words(k.m_modifiers);
    // One too few (its missing position is a refused read) and one too many.
    std::vector<std::string> too_few(full.begin(), full.begin() + (k.m_fewest - 1));
    std::vector<std::string> too_many = full;
    too_many.push_back("TCO_DELAY");
    for (const auto& [modifiers, missing] : {std::pair{too_few, 1u}, std::pair{too_many, 0u}}) {
      SCOPED_TRACE(std::string(k.m_name) + ": " + join(modifiers));
      MEMORY_GUARD memory;
      LINE_LIST lines{delay_line("5", join(modifiers))};
      MODEL root = make_root();
      MSG_CAPTURE capture;
      add_all(DTM_FACTORY(), k.m_add, lines, root.get());
      ASSERT_EQ(capture.count_text(k.m_count_text), 1u);
      EXPECT_EQ(capture.get_texts().front(), k.m_count_text) << "the count is checked first";
      EXPECT_EQ(capture.count_text(k_modifier_index), missing);
      if (k.m_leaf != DTM_P2P || missing == 0) {
        // (a point-to-point line missing its target stores under a buried target)
        EXPECT_NE(leaf_data(place(root), k.m_leaf, k.m_direction), nullptr);
      }
    }
  }
}

TEST(DtmGenInsert, ALineWithoutModifiersReportsEveryRead) {
  MEMORY_GUARD memory;
  LINE_LIST lines;
  DTM_LINE_NODE* record = lines.add_record(4);
  record->add_delay("5", 0);
  MODEL root = make_root();
  MSG_CAPTURE capture;
  DTM_FACTORY().add_re_table(record, root.get());
  EXPECT_EQ(
      capture.get_texts(),
      (std::vector<std::string>{kind("re table").m_count_text, k_modifier_index, k_modifier_index,
                                "(enum1 != CDB_RE_ILLEGAL_TYPE) && (enum2 != "
                                "CDB_RE_ILLEGAL_TYPE)"}));
  // Stored at the root's own leaf under the illegal register types.
  EXPECT_EQ(key_parts(leaf_data(root.get(), DTM_RE_TABLE)), (PARTS{{5, 605}, {5, 605}}));
}

// ---- Key checks -------------------------------------------------------------------------

struct KEY_CHECK_CASE {
  const char* m_kind;
  const char* m_modifiers;  // one name spoilt
  const char* m_text;       // null: nothing reported
};

TEST(DtmGenInsert, EachKeyCheckIsReportedAndTheLineStillStored) {
  const char* table_check = "(enum1 != DTM_NONE) && (enum2 != DTM_NONE)";
  const char* re_table_check = "(enum1 != CDB_RE_ILLEGAL_TYPE) && (enum2 != CDB_RE_ILLEGAL_TYPE)";
  const char* re_port_check = "(enum1 != CDB_RE_ILLEGAL_TYPE) && (enum2 != DB_MAX_INPUT_PORT_TYPE)";
  const char* port_re_check =
      "(enum1 != CDB_RE_ILLEGAL_TYPE) && (enum2 != DB_MAX_OUTPUT_PORT_TYPE)";
  const char* ff_check = "(enum1 != DB_MAX_BURIED_PORT_TYPE) && (enum2 != DTM_NONE)";
  const char* rc_check = "(enum1 != CDB_RE_ILLEGAL_TYPE) && (enum2 != DTM_NONE)";
  const char* src_check = "(src1 != DB_MAX_INPUT_PORT_TYPE) || (src2 != DB_MAX_BURIED_PORT_TYPE)";
  const char* dst_check = "(dst1 != DB_MAX_OUTPUT_PORT_TYPE) || (dst2 != DB_MAX_BURIED_PORT_TYPE)";
  const std::vector<KEY_CHECK_CASE> cases = {
      {"integer", "DTM_INTEGER NOPE 5", nullptr},
      {"table", "DTM_TABLE NOPE COL_2", table_check},
      {"table", "DTM_TABLE ROW_1 NOPE", table_check},
      {"float table", "DTM_FLOAT_TABLE NOPE COL_1", table_check},
      {"float table", "DTM_FLOAT_TABLE ROW_2 NOPE", table_check},
      {"re table", "DTM_RE_TABLE NOPE LATCH", re_table_check},
      {"re table", "DTM_RE_TABLE DFFE NOPE EDGE_BOTH", re_table_check},
      {"re table", "DTM_RE_TABLE DFFE LATCH NOPE", nullptr},
      {"re input port", "DTM_RE_INPUT_PORT NOPE LCELL_DATAA", re_port_check},
      {"re input port", "DTM_RE_INPUT_PORT LATCH LCELL_COMBOUT", re_port_check},
      {"output port re", "DTM_OUTPUT_PORT_RE LCELL_DATAA DFFE", port_re_check},
      {"output port re", "DTM_OUTPUT_PORT_RE LCELL_COMBOUT NOPE", port_re_check},
      {"ff", "DTM_FF LCELL_DATAA TSU_DELAY", ff_check},
      {"ff", "DTM_FF LCELL_LUT_OUT NOPE", ff_check},
      {"micro", "DTM_MICRO NOPE", "enum1 != DTM_NONE"},
      {"rc", "DTM_RC NOPE RC_FALL", rc_check},
      {"rc", "DTM_RC LATCH NOPE RC_FALL", rc_check},
      {"rc", "DTM_RC LATCH RC_FALL NOPE", nullptr},
      {"re", "DTM_RE NOPE", "enum1 != CDB_RE_ILLEGAL_TYPE"},
      {"re", "DTM_RE LCELL_DATAA", "enum1 != CDB_RE_ILLEGAL_TYPE"},
      {"p2p in-out", "DTM_P2P NOPE LCELL_COMBOUT", src_check},
      {"p2p in-out", "DTM_P2P LCELL_COMBOUT LCELL_COMBOUT", src_check},
      {"p2p in-out", "DTM_P2P LCELL_DATAA NOPE", dst_check},
      {"p2p in-out", "DTM_P2P LCELL_DATAA LCELL_DATAA EDGE_BOTH", dst_check},
      {"p2p in-out", "DTM_P2P LCELL_DATAA LCELL_COMBOUT NOPE", nullptr},
  };
  for (const KEY_CHECK_CASE& c : cases) {
    SCOPED_TRACE(c.m_modifiers);
    MEMORY_GUARD memory;
    const KIND& k = kind(c.m_kind);
    LINE_LIST lines{delay_line("5", c.m_modifiers)};
    MODEL root = make_root();
    MSG_CAPTURE capture;
    add_all(DTM_FACTORY(), k.m_add, lines, root.get());
    EXPECT_EQ(capture.get_texts(), c.m_text == nullptr ? std::vector<std::string>{}
                                                       : std::vector<std::string>{c.m_text});
    EXPECT_NE(root->get_node(DTM_MAP_DEVICE, DTM_MAP_LOGIC_CELL)->get_sub_node(k.m_leaf), nullptr);
  }
}

TEST(DtmGenInsert, UnknownConditionsAndKindsAreStoredAsNone) {
  MEMORY_GUARD memory;
  LINE_LIST lines{delay_line("5", "DTM_RE_TABLE DFFE LATCH NOPE"),
                  delay_line("6", "DTM_RC LATCH RC_FALL NOPE")};
  MODEL root = make_root();
  MSG_CAPTURE capture;
  const DTM_FACTORY factory;
  factory.add_re_table(lines.at(0), root.get());
  factory.add_rc(lines.at(1), root.get());
  // A DTM_NONE condition leaves the re table key with two parts; the rc key
  // keeps its third part, DTM_NONE.
  EXPECT_EQ(key_parts(leaf_data(place(root), DTM_RE_TABLE)), (PARTS{{5, 2}, {5, 5}}));
  EXPECT_EQ(key_parts(leaf_data(place(root), DTM_RC)), (PARTS{{5, 5}, {1, 237}, {1, 0}}));
}

TEST(DtmGenInsert, PointToPointEndsThatAreNoPortFallBackToBuried) {
  struct CASE {
    const char* m_modifiers;
    DIRECTION m_direction;
    PARTS m_key;
  };
  const std::vector<CASE> cases = {
      {"DTM_P2P NOPE LCELL_COMBOUT", DIRECTION::BURIED_OUT, {{2, 146}, {4, 1}}},
      {"DTM_P2P LCELL_DATAA NOPE", DIRECTION::IN_BURIED, {{3, 1}, {2, 146}}},
      {"DTM_P2P NOPE NOPE", DIRECTION::BURIED_BURIED, {{2, 146}, {2, 146}}},
  };
  for (const CASE& c : cases) {
    SCOPED_TRACE(c.m_modifiers);
    MEMORY_GUARD memory;
    LINE_LIST lines{delay_line("5", c.m_modifiers)};
    MODEL root = make_root();
    MSG_CAPTURE capture;
    DTM_FACTORY().add_p2p(lines.at(0), root.get());
    EXPECT_EQ(key_parts(leaf_data(place(root), DTM_P2P, c.m_direction)), c.m_key);
  }
}

// ---- Register-element names that occur twice ---------------------------------------------

TEST(DtmGenInsert, RegisterNamesThatOccurTwiceResolveToTheFirstIndex) {
  // The names are in the table twice; the later entries must never be keys.
  ASSERT_STREQ(CDB_RE_TYPE_STRING[602], "DFF");
  ASSERT_STREQ(CDB_RE_TYPE_STRING[603], "LATCH");
  struct CASE {
    const char* m_kind;
    const char* m_modifiers;
    PARTS m_key;
  };
  const std::vector<CASE> cases = {
      {"re", "DTM_RE DFF", {{5, 1}}},
      {"re", "DTM_RE LATCH", {{5, 5}}},
      {"re table", "DTM_RE_TABLE DFF LATCH", {{5, 1}, {5, 5}}},
      {"re input port", "DTM_RE_INPUT_PORT DFF LCELL_DATAA", {{5, 1}, {3, 1}}},
      {"output port re", "DTM_OUTPUT_PORT_RE LCELL_COMBOUT LATCH", {{4, 1}, {5, 5}}},
      {"rc", "DTM_RC DFF RC_FALL", {{5, 1}, {1, 237}, {1, 236}}},
  };
  for (const CASE& c : cases) {
    SCOPED_TRACE(c.m_modifiers);
    MEMORY_GUARD memory;
    const KIND& k = kind(c.m_kind);
    LINE_LIST lines{delay_line("5", c.m_modifiers)};
    MODEL root = make_root();
    MSG_CAPTURE capture;
    add_all(DTM_FACTORY(), k.m_add, lines, root.get());
    EXPECT_EQ(capture.get_count(), 0u);
    EXPECT_EQ(key_parts(leaf_data(place(root), k.m_leaf)), c.m_key);
  }
}

// ---- The update flag -----------------------------------------------------------------------

TEST(DtmGenInsert, UpdateFlagClearKeepsTheFirstValueAndSetReplacesIt) {
  for (const KIND& k : kinds()) {
    // The point-to-point set takes no condition: use unconditioned lines.
    const std::vector<std::string> full = words(k.m_modifiers);
    const std::string modifiers =
        k.m_leaf == DTM_P2P ? join({full[0], full[1], full[2]}) : k.m_modifiers;
    for (bool update : {false, true}) {
      SCOPED_TRACE(std::string(k.m_name) + (update ? ", flag set" : ", flag clear"));
      MEMORY_GUARD memory;
      LINE_LIST lines{delay_line("5", modifiers), delay_line("9", modifiers)};
      MODEL root = make_root();
      DTM_FACTORY factory;
      EXPECT_FALSE(factory.get_update_flag()) << "clear on a new factory";
      factory.set_update_flag(update);
      MSG_CAPTURE capture;
      testing::internal::CaptureStdout();
      add_all(factory, k.m_add, lines, root.get());
      const std::string out = testing::internal::GetCapturedStdout();
      const DTM_TREE_DATA* data = leaf_data(place(root), k.m_leaf, k.m_direction);
      ASSERT_NE(data, nullptr);
      EXPECT_EQ(data->get_node_count(), 1u);
      EXPECT_DOUBLE_EQ(single_value(data, k.m_float), update ? 9 : 5);
      EXPECT_EQ(capture.get_texts(),
                update ? std::vector<std::string>{} : std::vector<std::string>{k_mismatch});
      EXPECT_EQ(out, update ? "" : "Debug Warning: There is a duplicate line in the DMF file!\n");
    }
  }
}

TEST(DtmGenInsert, UpdateFlagSetStillAddsWhatIsNotThere) {
  for (const KIND& k : kinds()) {
    SCOPED_TRACE(k.m_name);
    MEMORY_GUARD memory;
    LINE_LIST lines{delay_line("5", k.m_modifiers)};
    MODEL root = make_root();
    DTM_FACTORY factory;
    factory.set_update_flag(true);
    MSG_CAPTURE capture;
    add_all(factory, k.m_add, lines, root.get());
    EXPECT_EQ(capture.get_count(), 0u);
    EXPECT_DOUBLE_EQ(single_value(leaf_data(place(root), k.m_leaf, k.m_direction), k.m_float), 5);
  }
}

TEST(DtmGenInsert, UpdateOfAConditionedPointToPointLineChangesOnlyTheUnconditionedDelay) {
  MEMORY_GUARD memory;
  const std::string conditioned = "DTM_P2P LCELL_DATAA LCELL_COMBOUT EDGE_BOTH";
  LINE_LIST lines{delay_line("5", conditioned), delay_line("9", conditioned),
                  delay_line("1", "DTM_P2P LCELL_DATAA LCELL_COMBOUT"),
                  delay_line("2", conditioned)};
  MODEL root = make_root();
  DTM_FACTORY factory;
  factory.set_update_flag(true);
  MSG_CAPTURE capture;
  testing::internal::CaptureStdout();
  factory.add_p2p(lines.at(0), root.get());
  factory.add_p2p(lines.at(1), root.get());
  // No unconditioned delay to set: the second line is added, a duplicate.
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{k_mismatch});
  factory.add_p2p(lines.at(2), root.get());
  factory.add_p2p(lines.at(3), root.get());
  testing::internal::GetCapturedStdout();
  // With an unconditioned delay there, the conditioned line sets that one.
  auto get = [&root](DTM_ENUM condition) {
    return root->get_p2p_node_delay(DB_IN_LCELL_DATAA, DB_OUT_LCELL_COMBOUT, condition,
                                    DTM_MAP_DEVICE, DTM_MAP_LOGIC_CELL);
  };
  EXPECT_EQ(get(EDGE_BOTH), 5);
  EXPECT_EQ(get(DTM_NONE), 2);
}

// ---- Failures of the node operations ---------------------------------------------------------

TEST(DtmGenInsert, ARefusedAddIsReportedWithTheKindsMessage) {
  for (const KIND& k : kinds()) {
    for (bool update : {false, true}) {
      SCOPED_TRACE(std::string(k.m_name) + (update ? ", flag set" : ", flag clear"));
      MEMORY_GUARD memory;
      LINE_LIST lines{delay_line("5", k.m_modifiers)};
      MODEL root = make_root();
      root->set_unwritable();
      DTM_FACTORY factory;
      factory.set_update_flag(update);
      MSG_CAPTURE capture;
      add_all(factory, k.m_add, lines, root.get());
      EXPECT_EQ(capture.get_texts(), std::vector<std::string>{k.m_failure});
      EXPECT_TRUE(root->get_nodes().empty());
    }
  }
}

TEST(DtmGenInsert, NullArgumentsAreReportedAndNothingElseHappens) {
  MEMORY_GUARD memory;
  LINE_LIST lines{delay_line("5", "DTM_MICRO TH_DELAY")};
  MODEL root = make_root();
  std::vector<ADD> adds;
  for (const KIND& k : kinds()) {
    adds.push_back(k.m_add);
  }
  adds.push_back(&DTM_FACTORY::add_general_param);
  for (ADD add : adds) {
    MSG_CAPTURE capture;
    const DTM_FACTORY factory;
    (factory.*add)(nullptr, root.get());
    (factory.*add)(lines.at(0), nullptr);
    EXPECT_EQ(capture.get_texts(), (std::vector<std::string>{k_null_args, k_null_args}));
  }
  EXPECT_TRUE(root->get_nodes().empty());
}

// ---- Parents and values ------------------------------------------------------------------------

TEST(DtmGenInsert, ParentsBeyondTheTenthAreReportedAndDropped) {
  MEMORY_GUARD memory;
  std::string parents;
  for (int i = 1; i <= 12; ++i) {
    parents += "DTM_MAP_SPEED_GRADE_1 ";
  }
  LINE_LIST lines{"5 || " + parents + "|| DTM_MICRO TH_DELAY"};
  MODEL root = make_root();
  MSG_CAPTURE capture;
  DTM_FACTORY().add_micro(lines.at(0), root.get());
  EXPECT_EQ(capture.get_texts(),
            (std::vector<std::string>{k_too_many_parents, k_too_many_parents}));
  const DTM_NODE_ENUM g = DTM_MAP_SPEED_GRADE_1;
  EXPECT_EQ(root->get_micro_node_delay(TH_DELAY, g, g, g, g, g, g, g, g, g), 5);
}

TEST(DtmGenInsert, ParentPathConversion) {
  struct CASE {
    const char* m_parents;
    std::vector<DTM_NODE_ENUM> m_path;
    std::vector<std::string> m_reports;
  };
  const std::vector<CASE> cases = {
      {"DTM_MAP_DEVICE DTM_MAP_CORE", {DTM_MAP_DEVICE, DTM_MAP_CORE}, {}},
      {"DTM_MAP_DEVICE NOPE DTM_MAP_CORE", {DTM_MAP_DEVICE, DTM_NODE_NONE, DTM_MAP_CORE}, {}},
      {"DTM_MAP_DEVICE DTM_NODE_MAX_ENUM",
       {DTM_MAP_DEVICE, DTM_NODE_MAX_ENUM},
       {"temp_enum != DTM_NODE_MAX_ENUM"}},
  };
  for (const CASE& c : cases) {
    SCOPED_TRACE(c.m_parents);
    LINE_LIST lines{std::string("5 || ") + c.m_parents + " || DTM_MICRO TH_DELAY"};
    for (bool check_bound : {true, false}) {
      MSG_CAPTURE capture;
      const DTM_PATH path = DTM_FACTORY::get_parent_path(lines.at(0), check_bound);
      for (int i = 0; i < DTM_PATH_LENGTH; ++i) {
        const DTM_NODE_ENUM want =
            i < static_cast<int>(c.m_path.size()) ? c.m_path[i] : DTM_NODE_NONE;
        EXPECT_EQ(path[i], want) << i;
      }
      EXPECT_EQ(capture.get_texts(), check_bound ? c.m_reports : std::vector<std::string>{});
    }
  }
  MSG_CAPTURE capture;
  EXPECT_TRUE(DTM_FACTORY::get_parent_path(nullptr, true).empty());
}

TEST(DtmGenInsert, OnlyTheIntegerKindReportsAnIllegalValue) {
  for (const KIND& k : kinds()) {
    SCOPED_TRACE(k.m_name);
    MEMORY_GUARD memory;
    LINE_LIST lines{delay_line("-2147483647", k.m_modifiers)};
    MODEL root = make_root();
    MSG_CAPTURE capture;
    add_all(DTM_FACTORY(), k.m_add, lines, root.get());
    const bool integer = k.m_leaf == DTM_INTEGER;
    EXPECT_EQ(capture.get_texts(), integer ? std::vector<std::string>{"delay!=DTM_ILLEGAL_DELAY"}
                                           : std::vector<std::string>{});
    // Stored all the same.
    EXPECT_DOUBLE_EQ(single_value(leaf_data(place(root), k.m_leaf, k.m_direction), k.m_float),
                     -2147483647.0);
  }
}

TEST(DtmGenInsert, TheValueIsTheFirstExpressionOfTheGroup) {
  MEMORY_GUARD memory;
  LINE_LIST lines{delay_line("( 10 / 4 ) 99", "DTM_MICRO TH_DELAY"),
                  delay_line("( 10 / 4 ) 99", "DTM_RC LATCH RC_FALL")};
  MODEL root = make_root();
  MSG_CAPTURE capture;
  const DTM_FACTORY factory;
  factory.add_micro(lines.at(0), root.get());
  factory.add_rc(lines.at(1), root.get());
  EXPECT_EQ(capture.get_count(), 0u);
  EXPECT_DOUBLE_EQ(single_value(leaf_data(place(root), DTM_MICRO), false), 2);
  EXPECT_DOUBLE_EQ(single_value(leaf_data(place(root), DTM_RC), true), 2.5);
}

// ---- General parameters ------------------------------------------------------------------------

TEST(DtmGenInsert, KeyPartsFromTexts) {
  struct CASE {
    const char* m_text;
    PART m_part;
  };
  const std::vector<CASE> cases = {
      {"TSU_DELAY", {1, 2}},      // a delay-storage descriptor
      {"LATCH", {5, 5}},          // a register type
      {"DFF", {5, 1}},            // the first of a name that occurs twice
      {"LCELL_DATAA", {3, 1}},    // an input port
      {"REG_D", {3, 19}},         // input before buried
      {"LCELL_COMBOUT", {4, 1}},  // an output port
      {"REG_Q", {4, 8}},          // output before buried
      {"LCELL_LUT_OUT", {2, 6}},  // a buried port
      {"17", {6, 18}},            // an index
      {"-1", {6, 0}},             // a negative index
      {"+4", {6, 5}},             // a signed index
      {"12x", {0, -1}},           // not a whole number
      {"-", {0, -1}},             // a sign alone
      {"", {0, -1}},              // nothing
      {"NOPE", {0, -1}},          // no name
      {"DTM_MICRO", {0, -1}},     // a node type is no key
  };
  for (const CASE& c : cases) {
    SCOPED_TRACE(c.m_text);
    const DTM_ENUM_WRAPPER part = DTM_FACTORY::get_enum_wrapper_by_string(c.m_text);
    EXPECT_EQ(PART(part.get_enum_type(), part.get_enum_id()), c.m_part);
  }
  const DTM_ENUM_WRAPPER none = DTM_FACTORY::get_enum_wrapper_by_string(nullptr);
  EXPECT_EQ(PART(none.get_enum_type(), none.get_enum_id()), PART(0, -1));
}

TEST(DtmGenInsert, GeneralParametersAreCheckedAndNeverStored) {
  struct CASE {
    const char* m_modifiers;
    std::size_t m_reports;
  };
  const std::vector<CASE> cases = {
      {"DTM_GENERAL_PARAM", 0},
      {"DTM_GENERAL_PARAM TSU_DELAY LATCH 3 REG_D NOPE", 0},
      {"DTM_GENERAL_PARAM TSU_DELAY LATCH 3 REG_D NOPE 7", 1},
      {"DTM_GENERAL_PARAM 1 2 3 4 5 6 7 8 9", 1},
  };
  for (const CASE& c : cases) {
    SCOPED_TRACE(c.m_modifiers);
    MEMORY_GUARD memory;
    LINE_LIST lines{delay_line("5", c.m_modifiers)};
    MODEL root = make_root();
    MSG_CAPTURE capture;
    DTM_FACTORY().add_general_param(lines.at(0), root.get());
    EXPECT_EQ(capture.count_text("num_modifiers <= DTM_MAX_GEN_PARAMS"), c.m_reports);
    EXPECT_EQ(capture.get_count(), c.m_reports);
    EXPECT_TRUE(root->get_nodes().empty());
    EXPECT_EQ(root->get_data_root(), nullptr);
  }
}

}  // namespace
