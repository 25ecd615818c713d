#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <typeinfo>
#include <vector>

#include "dtm_ff_node.h"
#include "dtm_float_table_node.h"
#include "dtm_gen.h"
#include "dtm_integer_node.h"
#include "dtm_micro_node.h"
#include "dtm_output_port_re_node.h"
#include "dtm_rc_node.h"
#include "dtm_re_input_port_node.h"
#include "dtm_re_node.h"
#include "dtm_re_table_node.h"
#include "dtm_string.h"
#include "dtm_table_node.h"
#include "model_test_support.h"
#include "msg_sys.h"

namespace {

using TEXTS = std::vector<std::string>;

MODEL convert(const DTM_FACTORY& factory, const LINE_LIST& lines, DTM_NODE* root = nullptr) {
  return MODEL(factory.convert(lines.head(), root));
}

// ---- Description lines -----------------------------------------------------------------------

TEST(DtmGenConvert, ADescriptionCreatesTheNodeItsParentsName) {
  MEMORY_GUARD memory;
  LINE_LIST lines{"\"Fast speed grade\" DTM_MAP_DEVICE ||"};
  MSG_CAPTURE capture;
  MODEL root = convert(DTM_FACTORY(), lines);
  EXPECT_EQ(capture.get_count(), 0u);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->get_id(), DTM_ROOT);
  EXPECT_TRUE(root->is_writable());
  ASSERT_EQ(root->get_nodes().size(), 1u);
  const DTM_NODE* device = root->get_nodes()[0];
  EXPECT_EQ(device->get_id(), DTM_MAP_DEVICE);
  EXPECT_EQ(typeid(*device), typeid(DTM_NODE));
  EXPECT_TRUE(device->is_writable());
  EXPECT_EQ(device->get_description(), "Fast speed grade");
  EXPECT_EQ(root->get_description(), "");
}

TEST(DtmGenConvert, ADescriptionCreatesOnlyTheLastLevelAndLevelsAboveOnDemand) {
  MEMORY_GUARD memory;
  LINE_LIST lines{"\"device\" DTM_MAP_DEVICE ||", "\"cell\" DTM_MAP_DEVICE DTM_MAP_LOGIC_CELL ||",
                  "\"lut\" DTM_MAP_CORE DTM_MAP_LOGIC_CELL DTM_MAP_LUT ||"};
  MSG_CAPTURE capture;
  MODEL root = convert(DTM_FACTORY(), lines);
  EXPECT_EQ(capture.get_count(), 0u);
  EXPECT_EQ(root->get_node(DTM_MAP_DEVICE)->get_description(), "device");
  EXPECT_EQ(root->get_node(DTM_MAP_DEVICE)->get_nodes().size(), 1u);
  EXPECT_EQ(root->get_node(DTM_MAP_DEVICE, DTM_MAP_LOGIC_CELL)->get_description(), "cell");
  // The missing levels above the last are plain nodes without a description.
  EXPECT_EQ(root->get_node(DTM_MAP_CORE)->get_description(), "");
  EXPECT_EQ(root->get_node(DTM_MAP_CORE, DTM_MAP_LOGIC_CELL, DTM_MAP_LUT)->get_description(),
            "lut");
}

TEST(DtmGenConvert, ADescriptionWithoutParentsDescribesTheRoot) {
  MEMORY_GUARD memory;
  LINE_LIST lines{"\"the model\""};
  MODEL root = make_root();
  MSG_CAPTURE capture;
  DTM_NODE* given = root.get();
  EXPECT_EQ(DTM_FACTORY().convert(lines.head(), given), given);
  EXPECT_EQ(capture.get_count(), 0u);
  EXPECT_EQ(root->get_description(), "the model");
  EXPECT_TRUE(root->get_nodes().empty());
}

TEST(DtmGenConvert, ADescriptionGivenTwiceKeepsTheLastAndCreatesNothingNew) {
  MEMORY_GUARD memory;
  LINE_LIST lines{"\"first\" DTM_MAP_DEVICE || DTM_RC", "\"second\" DTM_MAP_DEVICE || DTM_RC",
                  "\"third\" DTM_MAP_DEVICE ||", "\"fourth\" DTM_MAP_DEVICE ||"};
  MSG_CAPTURE capture;
  MODEL root = convert(DTM_FACTORY(), lines);
  EXPECT_EQ(capture.get_count(), 0u);
  ASSERT_EQ(root->get_nodes().size(), 1u);
  const DTM_NODE* device = root->get_node(DTM_MAP_DEVICE);
  ASSERT_EQ(device->get_nodes().size(), 1u);
  EXPECT_EQ(device->get_description(), "fourth");
  EXPECT_EQ(device->get_sub_node(DTM_RC)->get_description(), "second");
}

struct TYPED_CASE {
  const char* m_name;
  DTM_NODE_ENUM m_type;
  const std::type_info& m_class;
};

TEST(DtmGenConvert, ADescriptionModifierCreatesTheTypedNode) {
  const std::vector<TYPED_CASE> cases = {
      {"DTM_P2P", DTM_P2P, typeid(DTM_P2P_NODE)},
      {"DTM_TABLE", DTM_TABLE, typeid(DTM_TABLE_NODE)},
      {"DTM_FLOAT_TABLE", DTM_FLOAT_TABLE, typeid(DTM_FLOAT_TABLE_NODE)},
      {"DTM_MICRO", DTM_MICRO, typeid(DTM_MICRO_NODE)},
      {"DTM_RC", DTM_RC, typeid(DTM_RC_NODE)},
      {"DTM_RE", DTM_RE, typeid(DTM_RE_NODE)},
      {"DTM_RE_TABLE", DTM_RE_TABLE, typeid(DTM_RE_TABLE_NODE)},
      {"DTM_FF", DTM_FF, typeid(DTM_FF_NODE)},
      {"DTM_OUTPUT_PORT_RE", DTM_OUTPUT_PORT_RE, typeid(DTM_OUTPUT_PORT_RE_NODE)},
      {"DTM_RE_INPUT_PORT", DTM_RE_INPUT_PORT, typeid(DTM_RE_INPUT_PORT_NODE)},
      {"DTM_INTEGER", DTM_INTEGER, typeid(DTM_INTEGER_NODE)},
  };
  for (const TYPED_CASE& c : cases) {
    for (bool with_parent : {true, false}) {
      SCOPED_TRACE(std::string(c.m_name) + (with_parent ? " under a parent" : " under the root"));
      MEMORY_GUARD memory;
      LINE_LIST lines{std::string("\"typed\" ") + (with_parent ? "DTM_MAP_DEVICE " : "") + "|| " +
                      c.m_name};
      MSG_CAPTURE capture;
      MODEL root = convert(DTM_FACTORY(), lines);
      EXPECT_EQ(capture.get_count(), 0u);
      const DTM_NODE* parent = with_parent ? root->get_node(DTM_MAP_DEVICE) : root.get();
      ASSERT_NE(parent, nullptr);
      EXPECT_EQ(parent->get_description(), "");
      ASSERT_EQ(parent->get_nodes().size(), 1u);
      const DTM_NODE* typed = parent->get_nodes()[0];
      EXPECT_EQ(typeid(*typed), c.m_class);
      EXPECT_EQ(typed->get_id(), c.m_type);
      EXPECT_TRUE(typed->is_writable());
      EXPECT_EQ(typed->get_description(), "typed");
      EXPECT_EQ(typed->get_data_root(), nullptr);
    }
  }
}

TEST(DtmGenConvert, APointToPointNodeOfADescriptionGetsItsDirectionsFromItsDelays) {
  MEMORY_GUARD memory;
  LINE_LIST lines{"\"p2p\" DTM_MAP_DEVICE || DTM_P2P",
                  "5 || DTM_MAP_DEVICE || DTM_P2P LCELL_DATAA LCELL_COMBOUT"};
  MSG_CAPTURE capture;
  MODEL root = convert(DTM_FACTORY(), lines);
  EXPECT_EQ(capture.get_count(), 0u);
  const auto* p2p =
      dynamic_cast<const DTM_P2P_NODE*>(root->get_node(DTM_MAP_DEVICE)->get_sub_node(DTM_P2P));
  ASSERT_NE(p2p, nullptr);
  EXPECT_EQ(p2p->get_description(), "p2p");
  ASSERT_NE(p2p->get_in_out_node(), nullptr);
  EXPECT_EQ(p2p->get_in_buried_node(), nullptr);
  EXPECT_EQ(p2p->get_buried_out_node(), nullptr);
  EXPECT_EQ(p2p->get_buried_buried_node(), nullptr);
  EXPECT_EQ(
      root->get_p2p_node_delay(DB_IN_LCELL_DATAA, DB_OUT_LCELL_COMBOUT, DTM_NONE, DTM_MAP_DEVICE),
      5);
}

TEST(DtmGenConvert, ADescriptionOfAnExistingTypedNodeReusesIt) {
  MEMORY_GUARD memory;
  LINE_LIST lines{"7 || DTM_MAP_DEVICE || DTM_MICRO TH_DELAY",
                  "\"micro\" DTM_MAP_DEVICE || DTM_MICRO"};
  MSG_CAPTURE capture;
  MODEL root = convert(DTM_FACTORY(), lines);
  EXPECT_EQ(capture.get_count(), 0u);
  const DTM_NODE* device = root->get_node(DTM_MAP_DEVICE);
  ASSERT_EQ(device->get_nodes().size(), 1u);
  EXPECT_EQ(device->get_nodes()[0]->get_description(), "micro");
  EXPECT_EQ(root->get_micro_node_delay(TH_DELAY, DTM_MAP_DEVICE), 7);
}

TEST(DtmGenConvert, ElevenParentsReportOnceAndTheFirstTenAreUsed) {
  MEMORY_GUARD memory;
  const DTM_NODE_ENUM p[] = {DTM_MAP_CORE,          DTM_MAP_LOGIC_ARRAY,   DTM_MAP_LOGIC_BLOCK,
                             DTM_MAP_LOGIC_CELL,    DTM_MAP_LUT,           DTM_MAP_CARRY_CHAIN,
                             DTM_MAP_SHARED_ARITH,  DTM_MAP_CASCADE_CHAIN, DTM_MAP_REGISTER_CHAIN,
                             DTM_MAP_CELL_REGISTER, DTM_MAP_DEVICE};
  std::string text = "\"deep\"";
  for (DTM_NODE_ENUM e : p) {
    text += std::string(" ") + DTM_STRING::get_dtm_node_enum_string(e);
  }
  LINE_LIST lines{text + " ||"};
  MSG_CAPTURE capture;
  MODEL root = convert(DTM_FACTORY(), lines);
  EXPECT_EQ(capture.get_texts(), TEXTS{k_too_many_parents});
  const DTM_NODE* deep = root->get_node(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8], p[9]);
  ASSERT_NE(deep, nullptr);
  EXPECT_EQ(deep->get_description(), "deep");
  EXPECT_TRUE(deep->get_nodes().empty());
}

TEST(DtmGenConvert, ModifierFaultsOfADescription) {
  struct CASE {
    const char* m_text;
    TEXTS m_reports;
    // Where the description went: the path node, or its typed child.
    std::optional<DTM_NODE_ENUM> m_typed;
    bool m_described;
  };
  const std::vector<CASE> cases = {
      {"\"d\" DTM_MAP_DEVICE || DTM_RC DTM_MICRO",
       {"too many delay modifiers for a description"},
       DTM_RC,
       true},
      {"\"d\" DTM_MAP_DEVICE || DTM_NODE_MAX_ENUM",
       {"modifier != DTM_NODE_MAX_ENUM", "unknown modifier name"},
       std::nullopt,
       false},
      {"\"d\" DTM_MAP_DEVICE || DTM_GENERAL_PARAM", {"unknown modifier name"}, std::nullopt, false},
      {"\"d\" DTM_MAP_DEVICE || DTM_P2P_IN_OUT", {"unknown modifier name"}, std::nullopt, false},
      {"\"d\" DTM_MAP_DEVICE || DTM_MAP_CORE", {"unknown modifier name"}, std::nullopt, false},
      {"\"d\" DTM_MAP_DEVICE || DTM_ROOT", {"unknown modifier name"}, std::nullopt, false},
      // An unknown name is no modifier at all: the path node is described.
      {"\"d\" DTM_MAP_DEVICE || NOPE", {}, std::nullopt, true},
  };
  for (const CASE& c : cases) {
    SCOPED_TRACE(c.m_text);
    MEMORY_GUARD memory;
    LINE_LIST lines{c.m_text};
    MSG_CAPTURE capture;
    MODEL root = convert(DTM_FACTORY(), lines);
    EXPECT_EQ(capture.get_texts(), c.m_reports);
    const DTM_NODE* device = root->get_node(DTM_MAP_DEVICE);
    ASSERT_NE(device, nullptr);
    if (c.m_typed.has_value()) {
      ASSERT_EQ(device->get_nodes().size(), 1u);
      EXPECT_EQ(device->get_sub_node(*c.m_typed)->get_description(), "d");
      EXPECT_EQ(device->get_description(), "");
    } else {
      EXPECT_TRUE(device->get_nodes().empty());
      EXPECT_EQ(device->get_description(), c.m_described ? "d" : "");
    }
  }
}

TEST(DtmGenConvert, ARefusedAttachNamesTheCallForEachPathLength) {
  const char* const texts[] = {
      "node->add_node(temp_node)",
      "node->add_node(temp_node, p0)",
      "node->add_node(temp_node, p0, p1)",
      "node->add_node(temp_node, p0, p1, p2)",
      "node->add_node(temp_node, p0, p1, p2, p3)",
      "node->add_node(temp_node, p0, p1, p2, p3, p4)",
      "node->add_node(temp_node, p0, p1, p2, p3, p4, p5)",
      "node->add_node(temp_node, p0, p1, p2, p3, p4, p5, p6)",
      "node->add_node(temp_node, p0, p1, p2, p3, p4, p5, p6, p7)",
      "node->add_node(temp_node, p0, p1, p2, p3, p4, p5, p6, p7, p8)",
  };
  for (int parents = 1; parents <= 10; ++parents) {
    SCOPED_TRACE(parents);
    MEMORY_GUARD memory;
    std::string text = "\"d\"";
    for (int i = 0; i < parents; ++i) {
      text += " DTM_MAP_SPEED_GRADE_1";
    }
    LINE_LIST lines{text + " || DTM_RC"};
    MODEL root = make_root();
    root->set_unwritable();
    MSG_CAPTURE capture;
    DTM_FACTORY().add_description(lines.at(0), root.get());
    EXPECT_EQ(capture.get_texts(), (TEXTS{texts[parents - 1], "temp_node != 0"}));
    EXPECT_TRUE(root->get_nodes().empty());
  }
}

TEST(DtmGenConvert, AnUnknownLastParentMakesANodeTheTreeRefuses) {
  MEMORY_GUARD memory;
  LINE_LIST lines{"\"d\" DTM_MAP_DEVICE NOPE ||"};
  MODEL root = make_root();
  MSG_CAPTURE capture;
  DTM_FACTORY().add_description(lines.at(0), root.get());
  // The path ends at the unknown name; the device level does not exist, so
  // the last node is made, with no id, and refused.
  EXPECT_EQ(capture.get_texts(), (TEXTS{"node->add_node(temp_node, p0)", "temp_node != 0"}));
  EXPECT_TRUE(root->get_nodes().empty());
}

TEST(DtmGenConvert, ARefusedTypedNodeIsReportedAndNothingIsDescribed) {
  MEMORY_GUARD memory;
  LINE_LIST lines{"\"d\" DTM_MAP_DEVICE || DTM_RC"};
  MODEL root = make_root();
  auto* device = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_MAP_DEVICE, false);
  ASSERT_TRUE(root->add_node(device));
  MSG_CAPTURE capture;
  DTM_FACTORY().add_description(lines.at(0), root.get());
  EXPECT_EQ(capture.get_texts(), TEXTS{"temp_node->add_node(temp_mod_node)"});
  EXPECT_TRUE(device->get_nodes().empty());
  EXPECT_EQ(device->get_description(), "");
}

TEST(DtmGenConvert, DescriptionNullArguments) {
  MEMORY_GUARD memory;
  LINE_LIST lines{"\"d\" DTM_MAP_DEVICE ||"};
  MODEL root = make_root();
  MSG_CAPTURE capture;
  DTM_FACTORY().add_description(nullptr, root.get());
  DTM_FACTORY().add_description(lines.at(0), nullptr);
  EXPECT_EQ(capture.get_texts(), (TEXTS{k_null_args, k_null_args}));
  EXPECT_TRUE(root->get_nodes().empty());
}

// ---- Delay lines -------------------------------------------------------------------------------

TEST(DtmGenConvert, EachDelayTypeReachesItsAddOperation) {
  MEMORY_GUARD memory;
  LINE_LIST lines{
      "\"device\" DTM_MAP_DEVICE ||",
      "1 || DTM_MAP_DEVICE || DTM_P2P LCELL_DATAA LCELL_COMBOUT",
      "2 || DTM_MAP_DEVICE || DTM_TABLE ROW_1 COL_1",
      "3.5 || DTM_MAP_DEVICE || DTM_FLOAT_TABLE ROW_1 COL_1",
      "4 || DTM_MAP_DEVICE || DTM_MICRO TH_DELAY",
      "5.5 || DTM_MAP_DEVICE || DTM_RC LATCH RC_FALL",
      "6 || DTM_MAP_DEVICE || DTM_RE LATCH",
      "7 || DTM_MAP_DEVICE || DTM_RE_TABLE LATCH DFFE",
      "8 || DTM_MAP_DEVICE || DTM_FF LCELL_LUT_OUT TH_DELAY",
      "9 || DTM_MAP_DEVICE || DTM_OUTPUT_PORT_RE LCELL_COMBOUT LATCH",
      "10 || DTM_MAP_DEVICE || DTM_RE_INPUT_PORT LATCH LCELL_DATAA",
      "11 || DTM_MAP_DEVICE || DTM_INTEGER TH_DELAY 3",
  };
  MSG_CAPTURE capture;
  MODEL root = convert(DTM_FACTORY(), lines);
  EXPECT_EQ(capture.get_count(), 0u);
  const DTM_NODE_ENUM d = DTM_MAP_DEVICE;
  EXPECT_EQ(root->get_p2p_node_delay(DB_IN_LCELL_DATAA, DB_OUT_LCELL_COMBOUT, DTM_NONE, d), 1);
  EXPECT_EQ(root->get_table_node_delay(ROW_1, COL_1, d), 2);
  EXPECT_DOUBLE_EQ(root->get_float_table_node_delay(ROW_1, COL_1, d), 3.5);
  EXPECT_EQ(root->get_micro_node_delay(TH_DELAY, d), 4);
  EXPECT_DOUBLE_EQ(root->get_rc_float(CDB_RE_LATCH, RC_FALL, RC_RISE, d), 5.5);
  EXPECT_EQ(root->get_re_node_delay(CDB_RE_LATCH, d), 6);
  EXPECT_EQ(root->get_re_table_node_delay(CDB_RE_LATCH, CDB_RE_DFFE, DTM_NONE, d), 7);
  EXPECT_EQ(root->get_ff_node_delay(DB_BURIED_LCELL_LUT_OUT, TH_DELAY, d), 8);
  EXPECT_EQ(root->get_port_re_node_delay(DB_OUT_LCELL_COMBOUT, CDB_RE_LATCH, d), 9);
  EXPECT_EQ(root->get_re_port_node_delay(CDB_RE_LATCH, DB_IN_LCELL_DATAA, d), 10);
  EXPECT_EQ(root->get_integer_node_delay(TH_DELAY, 3, d), 11);
  EXPECT_EQ(root->get_node(d)->get_description(), "device");
  EXPECT_EQ(root->get_node(d)->get_nodes().size(), 11u);
}

TEST(DtmGenConvert, GeneralParameterLinesAreSkippedInSilence) {
  MEMORY_GUARD memory;
  LINE_LIST lines{"5 || DTM_MAP_DEVICE || DTM_GENERAL_PARAM",
                  "6 || DTM_MAP_DEVICE || DTM_GENERAL_PARAM TSU_DELAY"};
  MSG_CAPTURE capture;
  MODEL root = convert(DTM_FACTORY(), lines);
  EXPECT_EQ(capture.get_count(), 0u);
  EXPECT_TRUE(root->get_nodes().empty());
}

TEST(DtmGenConvert, UnknownDelayTypesAreReportedWithTheirLineAndConversionGoesOn) {
  const std::vector<std::string> types = {
      "XYZ",       "DTM_NODE_MAX_ENUM", "DTM_ROOT", "DTM_P2P_IN_OUT", "DTM_MAP_DEVICE",
      "TSU_DELAY", "DTM_MAP_RC_NETWORK"};
  for (const std::string& type : types) {
    SCOPED_TRACE(type);
    MEMORY_GUARD memory;
    LINE_LIST lines;
    lines.add("5 || DTM_MAP_DEVICE || " + type + " TSU_DELAY", 12);
    lines.add("6 || DTM_MAP_DEVICE || DTM_MICRO TSU_DELAY", 13);
    MSG_CAPTURE capture;
    MODEL root = convert(DTM_FACTORY(), lines);
    EXPECT_EQ(capture.get_texts(),
              TEXTS{"Bad DMF file: Line 12 has an unknown timing node type: " + type + "\n"});
    EXPECT_EQ(root->get_micro_node_delay(TSU_DELAY, DTM_MAP_DEVICE), 6);
    EXPECT_EQ(root->get_node(DTM_MAP_DEVICE)->get_nodes().size(), 1u);
  }
}

TEST(DtmGenConvert, ADelayLineWithoutModifiersIsReportedAsUnknown) {
  MEMORY_GUARD memory;
  LINE_LIST lines;
  DTM_LINE_NODE* record = lines.add_record(-3);
  record->add_delay("5", 0);
  MSG_CAPTURE capture;
  MODEL root = convert(DTM_FACTORY(), lines);
  EXPECT_EQ(capture.get_texts(),
            (TEXTS{k_modifier_index, "Bad DMF file: Line -3 has an unknown timing node type: \n"}));
  EXPECT_TRUE(root->get_nodes().empty());
}

TEST(DtmGenConvert, TheListMustStartAtItsHead) {
  MEMORY_GUARD memory;
  LINE_LIST lines{"5 || DTM_MAP_DEVICE || DTM_MICRO TSU_DELAY",
                  "6 || DTM_MAP_DEVICE || DTM_MICRO TH_DELAY"};
  const std::string check = "(begin != 0) && (begin->get_prev() == 0)";
  {
    MSG_CAPTURE capture;
    MODEL root(DTM_FACTORY().convert(lines.at(1), nullptr));
    EXPECT_EQ(capture.get_texts(), TEXTS{check});
    // Converted from where it was given.
    EXPECT_EQ(root->get_micro_node_delay(TSU_DELAY, DTM_MAP_DEVICE), DTM_ILLEGAL_DELAY);
    EXPECT_EQ(root->get_micro_node_delay(TH_DELAY, DTM_MAP_DEVICE), 6);
  }
  {
    MSG_CAPTURE capture;
    MODEL root(DTM_FACTORY().convert(nullptr, nullptr));
    EXPECT_EQ(capture.get_texts(), TEXTS{check});
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->get_id(), DTM_ROOT);
    EXPECT_TRUE(root->get_nodes().empty());
  }
}

TEST(DtmGenConvert, ConversionAddsToAGivenModel) {
  MEMORY_GUARD memory;
  LINE_LIST first{"5 || DTM_MAP_DEVICE || DTM_MICRO TSU_DELAY"};
  LINE_LIST second{"6 || DTM_MAP_DEVICE || DTM_MICRO TH_DELAY"};
  MSG_CAPTURE capture;
  MODEL root = convert(DTM_FACTORY(), first);
  DTM_NODE* same = DTM_FACTORY().convert(second.head(), root.get());
  EXPECT_EQ(same, root.get());
  EXPECT_EQ(capture.get_count(), 0u);
  EXPECT_EQ(root->get_micro_node_delay(TSU_DELAY, DTM_MAP_DEVICE), 5);
  EXPECT_EQ(root->get_micro_node_delay(TH_DELAY, DTM_MAP_DEVICE), 6);
}

TEST(DtmGenConvert, ConversionUsesTheFactorysUpdateFlag) {
  for (bool update : {false, true}) {
    SCOPED_TRACE(update);
    MEMORY_GUARD memory;
    LINE_LIST lines{"5 || DTM_MAP_DEVICE || DTM_MICRO TSU_DELAY",
                    "6 || DTM_MAP_DEVICE || DTM_MICRO TSU_DELAY"};
    DTM_FACTORY factory;
    factory.set_update_flag(update);
    MSG_CAPTURE capture;
    testing::internal::CaptureStdout();
    MODEL root = convert(factory, lines);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(root->get_micro_node_delay(TSU_DELAY, DTM_MAP_DEVICE), update ? 6 : 5);
    EXPECT_EQ(capture.get_texts(), update ? TEXTS{} : TEXTS{k_mismatch});
  }
}

// ---- Bins and versions, end to end -------------------------------------------------------------

struct TARGET_CASE {
  const char* m_name;
  std::optional<const char*> m_bin;
  std::optional<const char*> m_version;
  int m_micro;
  double m_rc;
};

TEST(DtmGenConvert, TheDelayTargetChoosesTheGroupOfEveryLine) {
  // Line 1: bin B1 -> 10, bin B2 -> 20, version V2 (any bin) -> 30.
  // Line 2: version V1 -> 1.5, anything -> 2.5.
  const std::vector<TARGET_CASE> cases = {
      {"nothing set: the first group", std::nullopt, std::nullopt, 10, 1.5},
      {"bin B2", "B2", std::nullopt, 20, 1.5},
      {"version V2: the first group has no version list", std::nullopt, "V2", 10, 2.5},
      {"bin B3 and version V2", "B3", "V2", 30, 2.5},
      {"bin B1 and version V1", "B1", "V1", 10, 1.5},
  };
  for (const TARGET_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    MEMORY_GUARD memory;
    LINE_LIST lines{
        "bin B1 || 10 ;; bin B2 || 20 ;; version V2 || 30 || DTM_MAP_DEVICE || DTM_MICRO TH_DELAY",
        "version V1 || 1.5 ;; 2.5 || DTM_MAP_DEVICE || DTM_RC LATCH RC_FALL"};
    DTM_FACTORY factory;
    DTM_FACTORY::DTM_DELAY_TARGET target;
    if (c.m_bin.has_value()) {
      target.m_bin = *c.m_bin;
    }
    if (c.m_version.has_value()) {
      target.m_version = *c.m_version;
    }
    factory.set_delay_target(target);
    MSG_CAPTURE capture;
    MODEL root = convert(factory, lines);
    EXPECT_EQ(capture.get_count(), 0u);
    EXPECT_EQ(root->get_micro_node_delay(TH_DELAY, DTM_MAP_DEVICE), c.m_micro);
    EXPECT_DOUBLE_EQ(root->get_rc_float(CDB_RE_LATCH, RC_FALL, RC_RISE, DTM_MAP_DEVICE), c.m_rc);
  }
}

TEST(DtmGenConvert, ALineWithoutAGroupForTheTargetIsReportedAndStoredAsIllegal) {
  MEMORY_GUARD memory;
  LINE_LIST lines;
  lines.add("bin B1 || 10 ;; bin B2 || 20 || DTM_MAP_DEVICE || DTM_MICRO TH_DELAY", 7);
  lines.add("bin B1 || 1.5 || DTM_MAP_DEVICE || DTM_RC LATCH RC_FALL", 8);
  lines.add("bin B1 || 3 || DTM_MAP_DEVICE || DTM_INTEGER TH_DELAY 4", 9);
  lines.add("40 || DTM_MAP_DEVICE || DTM_TABLE ROW_1 COL_1", 10);
  DTM_FACTORY factory;
  factory.set_delay_target({.m_bin = "B9", .m_version = std::nullopt});
  MSG_CAPTURE capture;
  MODEL root = convert(factory, lines);
  const std::string group_check =
      "(vec_index < static_cast<DTM_SHORT>(m_delays.size())) && (vec_index >= 0)";
  EXPECT_EQ(capture.get_texts(),
            (TEXTS{"Bad DMF file: Line 7 does not meet version/bin requirements; 2 is not in "
                   "range 0 -> 2",
                   group_check,
                   "Bad DMF file: Line 8 does not meet version/bin requirements; 1 is not in "
                   "range 0 -> 1",
                   group_check,
                   "Bad DMF file: Line 9 does not meet version/bin requirements; 1 is not in "
                   "range 0 -> 1",
                   group_check, "delay!=DTM_ILLEGAL_DELAY"}));
  const DTM_NODE* device = root->get_node(DTM_MAP_DEVICE);
  EXPECT_EQ(single_value(leaf_data(device, DTM_MICRO), false), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(single_value(leaf_data(device, DTM_RC), true), DTM_ILLEGAL_FLOAT);
  EXPECT_EQ(single_value(leaf_data(device, DTM_INTEGER), false), DTM_ILLEGAL_DELAY);
  // A line without bins is for every bin.
  EXPECT_EQ(root->get_table_node_delay(ROW_1, COL_1, DTM_MAP_DEVICE), 40);
}

TEST(DtmGenConvert, ScalersAndOffsetsAreNotApplied) {
  MEMORY_GUARD memory;
  LINE_LIST lines{"scaler 2 || offset 3 || 10 || DTM_MAP_DEVICE || DTM_MICRO TH_DELAY",
                  "scaler 2 || offset 3 || 1.5 || DTM_MAP_DEVICE || DTM_RC LATCH RC_FALL"};
  MSG_CAPTURE capture;
  MODEL root = convert(DTM_FACTORY(), lines);
  EXPECT_EQ(capture.get_count(), 0u);
  EXPECT_EQ(root->get_micro_node_delay(TH_DELAY, DTM_MAP_DEVICE), 10);
  EXPECT_DOUBLE_EQ(root->get_rc_float(CDB_RE_LATCH, RC_FALL, RC_RISE, DTM_MAP_DEVICE), 1.5);
}

// ---- Lines sharing their path ----------------------------------------------------------------

// convert carries the last path and the node it leads to from line to line.
// Random runs of lines over shared, longer, shorter, unknown and deep paths,
// through typed nodes and past a tenth parent, must build the model that the
// public operations build line by line, with the same reports.
const std::vector<std::string> k_paths = {
    "DTM_MAP_DEVICE",
    "DTM_MAP_DEVICE DTM_MAP_LUT",
    "DTM_MAP_DEVICE DTM_MAP_LUT DTM_MAP_CORE",
    "DTM_MAP_DEVICE DTM_MAP_LU",
    "DTM_MAP_DEVICE DTM_MAP_LUTS",
    "DTM_MAP_CORE DTM_MAP_LUT",
    "DTM_MAP_DEVICE DTM_MICRO",
    "DTM_MAP_DEVICE DTM_P2P DTM_MAP_LUT",
    "DTM_MAP_DEVICE DTM_NODE_MAX_ENUM",
    "",
    "DTM_MAP_CORE DTM_MAP_CORE DTM_MAP_CORE DTM_MAP_CORE DTM_MAP_CORE DTM_MAP_CORE "
    "DTM_MAP_CORE DTM_MAP_CORE DTM_MAP_CORE DTM_MAP_LUT",
    "DTM_MAP_CORE DTM_MAP_CORE DTM_MAP_CORE DTM_MAP_CORE DTM_MAP_CORE DTM_MAP_CORE "
    "DTM_MAP_CORE DTM_MAP_CORE DTM_MAP_CORE DTM_MAP_DEVICE DTM_MAP_LUT",
};
const std::vector<std::string> k_tails = {
    "DTM_MICRO TSU_DELAY",  "DTM_MICRO TH_DELAY",  "DTM_TABLE ROW_1 COL_2",
    "DTM_RC LATCH RC_FALL", "DTM_P2P REG_D REG_Q", "DTM_P2P LCELL_DATAA LCELL_COMBOUT MIN_DELAY",
    "DTM_INTEGER 7",        "DTM_RE NOPE",         "DTM_FLOAT_TABLE ROW_1 COL_1",
};

std::vector<std::string> random_delay_lines(unsigned seed) {
  std::mt19937 random(seed);
  std::vector<std::string> texts;
  const std::size_t count = 1 + random() % 80;
  std::size_t path = random() % k_paths.size();
  for (std::size_t i = 0; i < count; ++i) {
    if (random() % 4 == 0) {
      path = random() % k_paths.size();
    }
    const std::string value = std::to_string(random() % 5) + (random() % 2 == 0 ? "" : ".5");
    if (random() % 10 == 0) {
      texts.push_back("\"described\" " + k_paths[path] + (random() % 2 == 0 ? "" : " || DTM_RC"));
    } else {
      texts.push_back(value + " || " + k_paths[path] + " || " + k_tails[random() % k_tails.size()]);
    }
  }
  return texts;
}

// The public operation of each delay type, as a caller without convert uses it.
using ADD_OP = void (DTM_FACTORY::*)(const DTM_LINE_NODE*, DTM_NODE*) const;
ADD_OP add_operation(const std::string& type) {
  const std::vector<std::pair<std::string, ADD_OP>> ops = {
      {"DTM_MICRO", &DTM_FACTORY::add_micro},
      {"DTM_TABLE", &DTM_FACTORY::add_table},
      {"DTM_RC", &DTM_FACTORY::add_rc},
      {"DTM_P2P", &DTM_FACTORY::add_p2p},
      {"DTM_INTEGER", &DTM_FACTORY::add_integer},
      {"DTM_RE", &DTM_FACTORY::add_re},
      {"DTM_FLOAT_TABLE", &DTM_FACTORY::add_float_table}};
  for (const auto& [name, op] : ops) {
    if (name == type) {
      return op;
    }
  }
  return nullptr;
}

std::string outline(const DTM_NODE& root) {
  std::ostringstream text;
  root.dump_tree(text, 0, 1, 1);
  root.dump_tree(text, std::string());
  return text.str();
}

TEST(DtmGenConvert, LinesSharingTheirPathBuildWhatTheOperationsBuildLineByLine) {
  std::size_t reports = 0;
  for (unsigned seed = 1; seed <= 120; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    MEMORY_GUARD memory;
    LINE_LIST lines;
    for (const std::string& text : random_delay_lines(seed)) {
      lines.add(text);
    }
    DTM_FACTORY factory;
    factory.set_update_flag(seed % 3 == 0);
    testing::internal::CaptureStdout();
    TEXTS converted;
    MODEL whole;
    {
      MSG_CAPTURE capture;
      whole = convert(factory, lines);
      converted = capture.get_texts();
    }
    TEXTS single;
    MODEL by_line = make_root();
    {
      MSG_CAPTURE capture;
      for (std::size_t i = 0; i < lines.size(); ++i) {
        const DTM_LINE_NODE* line = lines.at(i);
        if (line->is_description()) {
          factory.add_description(line, by_line.get());
        } else {
          ADD_OP op = add_operation(line->get_modifier(0));
          ASSERT_NE(op, nullptr);
          (factory.*op)(line, by_line.get());
        }
      }
      single = capture.get_texts();
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(converted, single);
    EXPECT_EQ(outline(*whole), outline(*by_line));
    reports += single.size();
  }
  EXPECT_GT(reports, 100u);
}

}  // namespace
