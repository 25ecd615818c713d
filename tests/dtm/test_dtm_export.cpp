// DTM_EXPORT::write_dmf: the line each kind of delay and description
// becomes, what is refused (and reported), and that the text rebuilds the
// model it comes from.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "dtm_export.h"
#include "dtm_gen.h"
#include "dtm_micro_node.h"
#include "dtm_node.h"
#include "dtm_p2p_node.h"
#include "dtm_tree_data.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"
#include "test_files.h"

namespace {

struct ROOT_DELETER {
  void operator()(DTM_NODE* root) const { MEM_MANAGER::delete_wrapper(root); }
};
using ROOT = std::unique_ptr<DTM_NODE, ROOT_DELETER>;

ROOT new_root() { return ROOT(MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true)); }

std::string export_text(const DTM_NODE* root) {
  std::ostringstream text;
  DTM_EXPORT::write_dmf(root, text);
  return text.str();
}

// The model that the text builds, read the way a DMF file is read.
ROOT rebuild(const std::string& text) {
  const TEST_DIR dir;
  const std::string file = dir.write("export.dmf", text);
  const DTM_FACTORY factory;
  DTM_LINE_NODE* head = factory.parse_file(file.c_str());
  if (head == nullptr) {
    return new_root();
  }
  factory.check_legality(head);
  ROOT root(factory.convert(head, nullptr));
  DTM_LINE_NODE::delete_list(head);
  return root;
}

constexpr DTM_NODE_ENUM D = DTM_MAP_DEVICE;
constexpr DTM_NODE_ENUM C = DTM_MAP_LOGIC_CELL;

struct LINE_CASE {
  const char* m_name;
  std::function<void(DTM_NODE&)> m_build;
  std::string m_text;
};

TEST(DtmExport, EachKindBecomesItsLine) {
  const std::vector<LINE_CASE> cases = {
      {"micro", [](DTM_NODE& r) { r.add_micro_node_delay(120, TCO_DELAY, D, C); },
       "120 || DTM_MAP_DEVICE DTM_MAP_LOGIC_CELL || DTM_MICRO TCO_DELAY\n"},
      {"negative value", [](DTM_NODE& r) { r.add_micro_node_delay(-7, TCO_DELAY, D); },
       "-7 || DTM_MAP_DEVICE || DTM_MICRO TCO_DELAY\n"},
      {"table", [](DTM_NODE& r) { r.add_table_node_delay(310, ROW_1, COL_2, D); },
       "310 || DTM_MAP_DEVICE || DTM_TABLE ROW_1 COL_2\n"},
      {"float table", [](DTM_NODE& r) { r.add_float_table_node_delay(0.125, ROW_0, COL_1, D); },
       "0.125 || DTM_MAP_DEVICE || DTM_FLOAT_TABLE ROW_0 COL_1\n"},
      {"rc, the edge always written",
       [](DTM_NODE& r) {
         r.add_rc_float(1.25, CDB_RE_IO_IN_FF, RC_RESISTANCE, RC_RISE, D);
         r.add_rc_float(1e-300, CDB_RE_IO_IN_FF, RC_RESISTANCE, RC_FALL, D);
       },
       "1.25 || DTM_MAP_DEVICE || DTM_RC IO_IN_FF RC_RESISTANCE RC_RISE\n"
       "1e-300 || DTM_MAP_DEVICE || DTM_RC IO_IN_FF RC_RESISTANCE RC_FALL\n"},
      {"register element", [](DTM_NODE& r) { r.add_re_node_delay(480, CDB_RE_IO_IN_FF, D); },
       "480 || DTM_MAP_DEVICE || DTM_RE IO_IN_FF\n"},
      {"register table with and without condition",
       [](DTM_NODE& r) {
         r.add_re_table_node_delay(55, CDB_RE_LCELL_FF, CDB_RE_LCELL_FF, DTM_NONE, D);
         r.add_re_table_node_delay(62, CDB_RE_LCELL_FF, CDB_RE_LCELL_FF, MIN_DELAY, D);
       },
       "55 || DTM_MAP_DEVICE || DTM_RE_TABLE LCELL_FF LCELL_FF\n"
       "62 || DTM_MAP_DEVICE || DTM_RE_TABLE LCELL_FF LCELL_FF MIN_DELAY\n"},
      {"flip-flop", [](DTM_NODE& r) { r.add_ff_node_delay(70, DB_BURIED_REG_D, TSU_DELAY, D); },
       "70 || DTM_MAP_DEVICE || DTM_FF REG_D TSU_DELAY\n"},
      {"output port to register",
       [](DTM_NODE& r) { r.add_port_re_node_delay(140, DB_OUT_LCELL_REGOUT, CDB_RE_LCELL_FF, D); },
       "140 || DTM_MAP_DEVICE || DTM_OUTPUT_PORT_RE LCELL_REGOUT LCELL_FF\n"},
      {"register to input port",
       [](DTM_NODE& r) { r.add_re_port_node_delay(130, CDB_RE_LCELL_FF, DB_IN_LCELL_DATAA, D); },
       "130 || DTM_MAP_DEVICE || DTM_RE_INPUT_PORT LCELL_FF LCELL_DATAA\n"},
      {"integer, short form without a kind",
       [](DTM_NODE& r) {
         r.add_integer_node_delay(5, DTM_NONE, 12, D);
         r.add_integer_node_delay(3, PIPELINE_STAGES, 0, D);
       },
       "5 || DTM_MAP_DEVICE || DTM_INTEGER 12\n"
       "3 || DTM_MAP_DEVICE || DTM_INTEGER PIPELINE_STAGES 0\n"},
      {"point to point, all four directions",
       [](DTM_NODE& r) {
         r.add_p2p_node_delay(210, DB_IN_LCELL_DATAA, DB_OUT_LCELL_COMBOUT, DTM_NONE, D);
         r.add_p2p_node_delay(180, DB_IN_LCELL_DATAA, DB_OUT_LCELL_COMBOUT, MIN_DELAY, D);
         r.add_p2p_node_delay(95, DB_IN_LCELL_DATAA, DB_BURIED_REG_D, DTM_NONE, D);
         r.add_p2p_node_delay(60, DB_BURIED_LCELL_REG_FEEDBACK, DB_OUT_LCELL_REGOUT, DTM_NONE, D);
         r.add_p2p_node_delay(40, DB_BURIED_LCELL_REG_FEEDBACK, DB_BURIED_REG_D, DTM_NONE, D);
       },
       "210 || DTM_MAP_DEVICE || DTM_P2P LCELL_DATAA LCELL_COMBOUT\n"
       "180 || DTM_MAP_DEVICE || DTM_P2P LCELL_DATAA LCELL_COMBOUT MIN_DELAY\n"
       "95 || DTM_MAP_DEVICE || DTM_P2P LCELL_DATAA REG_D\n"
       "60 || DTM_MAP_DEVICE || DTM_P2P LCELL_REG_FEEDBACK LCELL_REGOUT\n"
       "40 || DTM_MAP_DEVICE || DTM_P2P LCELL_REG_FEEDBACK REG_D\n"},
      {"a delay right below the root", [](DTM_NODE& r) { r.add_micro_node_delay(9, TCO_DELAY); },
       "9 || || DTM_MICRO TCO_DELAY\n"},
      {"descriptions: root, plain node, typed node",
       [](DTM_NODE& r) {
         r.set_description("The model");
         r.add_micro_node_delay(1, TCO_DELAY, D);
         r.get_node(D)->set_description(" Device, with blanks ");
         r.get_node(D, DTM_MICRO)->set_description("Micro timing");
       },
       "\"The model\"\n"
       "\" Device, with blanks \" DTM_MAP_DEVICE ||\n"
       "\"Micro timing\" DTM_MAP_DEVICE || DTM_MICRO\n"
       "1 || DTM_MAP_DEVICE || DTM_MICRO TCO_DELAY\n"},
      {"delays in key order, children in their order",
       [](DTM_NODE& r) {
         r.add_micro_node_delay(2, TSU_DELAY, C);
         r.add_micro_node_delay(1, TCO_DELAY, C);
         r.add_micro_node_delay(3, TCO_DELAY, D);
       },
       "1 || DTM_MAP_LOGIC_CELL || DTM_MICRO TCO_DELAY\n"
       "2 || DTM_MAP_LOGIC_CELL || DTM_MICRO TSU_DELAY\n"
       "3 || DTM_MAP_DEVICE || DTM_MICRO TCO_DELAY\n"},
  };
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  for (const LINE_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    MSG_CAPTURE capture;
    {
      const ROOT root = new_root();
      c.m_build(*root);
      const std::string text = export_text(root.get());
      EXPECT_EQ(text, c.m_text);
      EXPECT_EQ(capture.get_count(), 0u) << capture.get_texts()[0];
      // The text builds the same model: it exports to the same text.
      const ROOT again = rebuild(text);
      EXPECT_EQ(export_text(again.get()), text);
      EXPECT_EQ(capture.get_count(), 0u);
    }
    EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects);
  }
}

TEST(DtmExport, CountsWhatItWrites) {
  const ROOT root = new_root();
  root->add_micro_node_delay(1, TCO_DELAY, D);
  root->add_micro_node_delay(2, TSU_DELAY, D);
  root->get_node(D)->set_description("Device");
  root->get_node(D)->add_node(MEM_MANAGER::new_wrapper<DTM_NODE>(C, true));
  root->get_node(D, C)->set_description("with \" quote");
  std::ostringstream text;
  MSG_CAPTURE capture;
  const DTM_EXPORT::DTM_EXPORT_COUNTS counts = DTM_EXPORT::write_dmf(root.get(), text);
  EXPECT_EQ(counts.m_descriptions, 1u);
  EXPECT_EQ(counts.m_delays, 2u);
  EXPECT_EQ(counts.m_refused, 1u);
  EXPECT_EQ(capture.get_count(), 1u);
}

struct REFUSAL_CASE {
  const char* m_name;
  std::function<void(DTM_NODE&)> m_build;
  std::string m_report;  // the one report
  std::string m_text;    // what is still written
};

DTM_NODE* plain(DTM_NODE& parent, DTM_NODE_ENUM id) {
  DTM_NODE* node = MEM_MANAGER::new_wrapper<DTM_NODE>(id, true);
  parent.add_node(node);
  return node;
}

DTM_TREE_DATA* int_data(int value, DTM_ENUM kind) {
  return MEM_MANAGER::new_wrapper<DTM_TREE_INT_DATA>(value,
                                                     DTM_TREE_DATA_KEY(1, DTM_ENUM_WRAPPER(kind)));
}

TEST(DtmExport, RefusesWhatNoLineExpressesAndReportsItOncePerNode) {
  const std::string k_end = " cannot be written as DMF (";
  const std::vector<REFUSAL_CASE> cases = {
      {"description with a double quote",
       [](DTM_NODE& r) { plain(r, D)->set_description("say \"hi\""); },
       "DTM_ROOT/DTM_MAP_DEVICE: 1 description or delay" + k_end +
           "a description holding a double quote, a line end or a NUL)",
       ""},
      {"description with a line end", [](DTM_NODE& r) { r.set_description("two\nlines"); },
       "DTM_ROOT: 1 description or delay" + k_end +
           "a description holding a double quote, a line end or a NUL)",
       ""},
      {"ten map types above a delay (nine are fine)",
       [](DTM_NODE& r) {
         r.add_micro_node_delay(1, TCO_DELAY, DTM_MAP_CORE, DTM_MAP_LOGIC_ARRAY,
                                DTM_MAP_LOGIC_BLOCK, DTM_MAP_LOGIC_CELL, DTM_MAP_LUT,
                                DTM_MAP_CARRY_CHAIN, DTM_MAP_SHARED_ARITH, DTM_MAP_CASCADE_CHAIN,
                                DTM_MAP_REGISTER_CHAIN);
         DTM_NODE* level =
             r.get_node(DTM_MAP_CORE, DTM_MAP_LOGIC_ARRAY, DTM_MAP_LOGIC_BLOCK, DTM_MAP_LOGIC_CELL,
                        DTM_MAP_LUT, DTM_MAP_CARRY_CHAIN, DTM_MAP_SHARED_ARITH,
                        DTM_MAP_CASCADE_CHAIN, DTM_MAP_REGISTER_CHAIN);
         DTM_NODE* tenth = plain(*level, DTM_MAP_CELL_REGISTER);
         tenth->add_micro_node_delay(2, TSU_DELAY);
       },
       "DTM_ROOT/DTM_MAP_CORE/DTM_MAP_LOGIC_ARRAY/DTM_MAP_LOGIC_BLOCK/DTM_MAP_LOGIC_CELL/"
       "DTM_MAP_LUT/DTM_MAP_CARRY_CHAIN/DTM_MAP_SHARED_ARITH/DTM_MAP_CASCADE_CHAIN/"
       "DTM_MAP_REGISTER_CHAIN/DTM_MAP_CELL_REGISTER/DTM_MICRO: 1 description or delay" +
           k_end + "more than nine map types above a delay)",
       "1 || DTM_MAP_CORE DTM_MAP_LOGIC_ARRAY DTM_MAP_LOGIC_BLOCK DTM_MAP_LOGIC_CELL DTM_MAP_LUT "
       "DTM_MAP_CARRY_CHAIN DTM_MAP_SHARED_ARITH DTM_MAP_CASCADE_CHAIN DTM_MAP_REGISTER_CHAIN || "
       "DTM_MICRO TCO_DELAY\n"},
      {"eleven levels of plain nodes (a described leaf below ten map types is fine)",
       [](DTM_NODE& r) {
         DTM_NODE* level = &r;
         for (int i = 0; i < 10; ++i) {
           level = plain(*level, static_cast<DTM_NODE_ENUM>(DTM_MAP_CORE + i));
         }
         plain(*level, DTM_MAP_DEVICE)->set_description("too deep");
         DTM_NODE* leaf = MEM_MANAGER::new_wrapper<DTM_MICRO_NODE>(true);
         leaf->set_description("deep leaf");
         level->add_node(leaf);
       },
       "DTM_ROOT/DTM_MAP_CORE/DTM_MAP_LOGIC_ARRAY/DTM_MAP_LOGIC_BLOCK/DTM_MAP_LOGIC_CELL/"
       "DTM_MAP_LUT/DTM_MAP_CARRY_CHAIN/DTM_MAP_SHARED_ARITH/DTM_MAP_CASCADE_CHAIN/"
       "DTM_MAP_REGISTER_CHAIN/DTM_MAP_CELL_REGISTER/DTM_MAP_DEVICE: 1 description or delay" +
           k_end + "more than ten map types above a node)",
       "\"deep leaf\" DTM_MAP_CORE DTM_MAP_LOGIC_ARRAY DTM_MAP_LOGIC_BLOCK DTM_MAP_LOGIC_CELL "
       "DTM_MAP_LUT DTM_MAP_CARRY_CHAIN DTM_MAP_SHARED_ARITH DTM_MAP_CASCADE_CHAIN "
       "DTM_MAP_REGISTER_CHAIN DTM_MAP_CELL_REGISTER || DTM_MICRO\n"},
      {"data on a plain node",
       [](DTM_NODE& r) { plain(r, D)->set_tree_data_root(int_data(4, TCO_DELAY)); },
       "DTM_ROOT/DTM_MAP_DEVICE: 1 description or delay" + k_end +
           "data on a node that is no delay type)",
       ""},
      {"a key part without a name",
       [](DTM_NODE& r) {
         r.add_micro_node_delay(1, static_cast<DTM_ENUM>(517), D);
         r.add_micro_node_delay(2, TCO_DELAY, D);
       },
       "DTM_ROOT/DTM_MAP_DEVICE/DTM_MICRO: 1 description or delay" + k_end +
           "a key part without a name)",
       "2 || DTM_MAP_DEVICE || DTM_MICRO TCO_DELAY\n"},
      {"a register alias, whose name gives the first register",
       [](DTM_NODE& r) { r.add_re_node_delay(1, static_cast<CDB_RE_TYPE>(602), D); },
       "DTM_ROOT/DTM_MAP_DEVICE/DTM_RE: 1 description or delay" + k_end +
           "a key that its names do not give back)",
       ""},
      {"a buried source whose name is an input port",
       [](DTM_NODE& r) {
         r.add_p2p_node_delay(1, DB_BURIED_REG_D, DB_OUT_LCELL_COMBOUT, DTM_NONE, D);
       },
       "DTM_ROOT/DTM_MAP_DEVICE/DTM_P2P: 1 description or delay" + k_end +
           "a key that its names do not give back)",
       ""},
      {"a float value in an integer node",
       [](DTM_NODE& r) {
         r.add_micro_node_delay(1, TCO_DELAY, D);
         r.get_node(D, DTM_MICRO)
             ->set_tree_data_root(MEM_MANAGER::new_wrapper<DTM_TREE_FLOAT_DATA>(
                 1.5, DTM_TREE_DATA_KEY(1, DTM_ENUM_WRAPPER(TCO_DELAY))));
       },
       "DTM_ROOT/DTM_MAP_DEVICE/DTM_MICRO: 1 description or delay" + k_end +
           "a value of another kind than its node's)",
       ""},
      {"a delay type among the map types",
       [](DTM_NODE& r) {
         DTM_NODE* micro = plain(r, DTM_MICRO);
         plain(*micro, D)->set_description("below a delay type");
       },
       "DTM_ROOT/DTM_MICRO/DTM_MAP_DEVICE: 1 description or delay" + k_end +
           "a delay type among the map types)",
       ""},
      {"a line longer than the readers take",
       [](DTM_NODE& r) { plain(r, D)->set_description(std::string(290, 'x')); },
       "DTM_ROOT/DTM_MAP_DEVICE: 1 description or delay" + k_end +
           "a line longer than 298 characters)",
       ""},
      {"several at one node: one report with the first reason",
       [](DTM_NODE& r) {
         r.add_micro_node_delay(1, static_cast<DTM_ENUM>(517), D);
         r.add_micro_node_delay(2, static_cast<DTM_ENUM>(518), D);
         r.get_node(D, DTM_MICRO)->set_description("a \"quoted\" text");
       },
       "DTM_ROOT/DTM_MAP_DEVICE/DTM_MICRO: 3 descriptions or delays" + k_end +
           "a description holding a double quote, a line end or a NUL)",
       ""},
  };
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  for (const REFUSAL_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    {
      const ROOT root = new_root();
      c.m_build(*root);
      MSG_CAPTURE capture;
      EXPECT_EQ(export_text(root.get()), c.m_text);
      ASSERT_EQ(capture.get_count(), 1u);
      EXPECT_EQ(capture.get_reports()[0].m_text, c.m_report);
      EXPECT_EQ(capture.get_reports()[0].m_source, "dtm_export");
    }
    EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects);
  }
}

TEST(DtmExport, FloatsKeepEveryBit) {
  const double values[] = {0.1,
                           -0.0,
                           1.0 / 3.0,
                           std::numeric_limits<double>::denorm_min(),
                           std::numeric_limits<double>::max(),
                           -123456789.9,
                           std::numeric_limits<double>::infinity(),
                           -std::numeric_limits<double>::infinity()};
  const ROOT root = new_root();
  int row = 0;
  for (const double value : values) {
    root->add_float_table_node_delay(value, static_cast<DTM_ENUM>(ROW_0 + row++), COL_0, D);
  }
  root->add_rc_float(std::nan(""), CDB_RE_IO_IN_FF, RC_RESISTANCE, RC_RISE, D);
  MSG_CAPTURE capture;
  const ROOT again = rebuild(export_text(root.get()));
  EXPECT_EQ(capture.get_count(), 0u);
  row = 0;
  for (const double value : values) {
    const double read =
        again->get_float_table_node_delay(static_cast<DTM_ENUM>(ROW_0 + row++), COL_0, D);
    EXPECT_EQ(std::signbit(read), std::signbit(value)) << value;
    EXPECT_EQ(read, value);
  }
  EXPECT_TRUE(std::isnan(again->get_rc_float(CDB_RE_IO_IN_FF, RC_RESISTANCE, RC_RISE, D)));
}

// A point-to-point node made by a description has only the directions its
// delays made; one made by a delay has all four. The text keeps which.
TEST(DtmExport, PointToPointNodesKeepTheirDirections) {
  const ROOT root = new_root();
  const DTM_FACTORY factory;
  // By a description first: one direction.
  plain(*root, D)->add_node(
      MEM_MANAGER::new_wrapper<DTM_P2P_NODE>(nullptr, nullptr, nullptr, nullptr, true));
  root->get_node(D, DTM_P2P)->set_description("described first");
  root->add_p2p_node_delay(1, DB_IN_LCELL_DATAA, DB_OUT_LCELL_COMBOUT, DTM_NONE, D);
  // By a delay: all four, and then a description.
  root->add_p2p_node_delay(2, DB_IN_LCELL_DATAA, DB_OUT_LCELL_COMBOUT, DTM_NONE, C);
  root->get_node(C, DTM_P2P)->set_description("described last");

  const std::string text = export_text(root.get());
  EXPECT_EQ(text,
            "\"described first\" DTM_MAP_DEVICE || DTM_P2P\n"
            "1 || DTM_MAP_DEVICE || DTM_P2P LCELL_DATAA LCELL_COMBOUT\n"
            "2 || DTM_MAP_LOGIC_CELL || DTM_P2P LCELL_DATAA LCELL_COMBOUT\n"
            "\"described last\" DTM_MAP_LOGIC_CELL || DTM_P2P\n");
  const ROOT again = rebuild(text);
  const auto* first = dynamic_cast<const DTM_P2P_NODE*>(again->get_node(D, DTM_P2P));
  const auto* last = dynamic_cast<const DTM_P2P_NODE*>(again->get_node(C, DTM_P2P));
  ASSERT_NE(first, nullptr);
  ASSERT_NE(last, nullptr);
  EXPECT_NE(first->get_in_out_node(), nullptr);
  EXPECT_EQ(first->get_in_buried_node(), nullptr);
  EXPECT_NE(last->get_buried_buried_node(), nullptr);
  EXPECT_EQ(last->get_description(), "described last");
}

TEST(DtmExport, NullRootIsReported) {
  MSG_CAPTURE capture;
  std::ostringstream text;
  const DTM_EXPORT::DTM_EXPORT_COUNTS counts = DTM_EXPORT::write_dmf(nullptr, text);
  EXPECT_EQ(text.str(), "");
  EXPECT_EQ(counts.m_delays + counts.m_descriptions + counts.m_refused, 0u);
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"root != 0"});
}

}  // namespace
