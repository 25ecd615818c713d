// The text forms of a tree: the outline, the path listing, the formats that
// write nothing, and the one-way comparison (both flags, the tolerance, the
// point-to-point node's own forms).
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "dtm_integer_node.h"
#include "dtm_node.h"
#include "dtm_p2p_node.h"
#include "dtm_tree_data.h"
#include "line_record_view.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

using NODE_PTR = std::unique_ptr<DTM_NODE>;

constexpr DTM_NODE_ENUM DEVICE = DTM_MAP_DEVICE;
constexpr DTM_NODE_ENUM CELL = DTM_MAP_LOGIC_CELL;

// Path prefixes of the listing, from the root down (the root's own step is
// written by the path dump only, never by the comparison).
const std::string k_root = "\t|-- DTM_ROOT";
const std::string k_device = "\t|-- DTM_MAP_DEVICE";
const std::string k_micro = k_device + "\t|-- DTM_MICRO";
const std::string k_rc = k_device + "\t|-- DTM_MAP_LOGIC_CELL\t|-- DTM_RC";
const std::string k_p2p = k_device + "\t|-- DTM_P2P";
const std::string k_in_out = k_p2p + "\t|-- DTM_P2P_IN_OUT";
const std::string k_buried_buried = k_p2p + "\t|-- DTM_P2P_BURIED_BURIED";

// The model every case starts from: three micro delays (a three-node delay
// tree: TSU at its root, TCO left, TH right), an rc delay one level deeper
// and two point-to-point delays in two directions.
NODE_PTR make_model() {
  NODE_PTR root(new DTM_NODE(DTM_ROOT, true));
  EXPECT_TRUE(root->add_micro_node_delay(120, TCO_DELAY, DEVICE));
  EXPECT_TRUE(root->add_micro_node_delay(45, TSU_DELAY, DEVICE));
  EXPECT_TRUE(root->add_micro_node_delay(7, TH_DELAY, DEVICE));
  EXPECT_TRUE(root->add_rc_float(1.5, CDB_RE_DFF, RC_RESISTANCE, RC_RISE, DEVICE, CELL));
  EXPECT_TRUE(
      root->add_p2p_node_delay(300, DB_IN_LCELL_DATAA, DB_OUT_LCELL_COMBOUT, DTM_NONE, DEVICE));
  EXPECT_TRUE(root->add_p2p_node_delay(3, DB_BURIED_REG_CLK, DB_BURIED_REG_D, MIN_DELAY, DEVICE));
  root->get_node(DEVICE)->set_description("Device");
  return root;
}

NODE_PTR clone_of(const DTM_NODE& node) {
  MEM_SEGMENT segment("compare");
  return NODE_PTR(node.clone(&segment, true, true));
}

std::string outline_of(const DTM_NODE& node, short depth = 0) {
  std::ostringstream os;
  node.dump_tree(os, depth, 1, 1);
  return os.str();
}

std::string paths_of(const DTM_NODE& node, const std::string& prefix = "") {
  std::ostringstream os;
  node.dump_tree(os, prefix);
  return os.str();
}

std::string compare(const DTM_NODE& node, const DTM_NODE* other, bool skip_missing,
                    bool compare_values, float tolerance, const std::string& prefix = "") {
  std::ostringstream os;
  node.compare_trees(other, os, prefix, skip_missing, compare_values, tolerance);
  return os.str();
}

// Replaces the point-to-point node under DEVICE by `p2p`.
void replace_p2p(DTM_NODE& root, DTM_NODE* p2p) {
  DTM_NODE* old = root.get_node(DEVICE, DTM_P2P);
  ASSERT_TRUE(root.remove_node(DEVICE, DTM_P2P));
  delete old;
  ASSERT_TRUE(root.add_node(p2p, DEVICE));
}

// --- Outline -----------------------------------------------------------------------

TEST(NodeDump, OutlineOfTheModel) {
  MEMORY_GUARD memory;
  const NODE_PTR model = make_model();
  EXPECT_EQ(outline_of(*model),
            "DTM_ROOT\n"
            "|-  DTM_MAP_DEVICE\n"
            "|-  Description:  Device\n"
            "|-  |-  DTM_MICRO\n"
            "|-  |-  DTM_MICRO<\t|-- [TCO_DELAY] = 120\n"
            "|-  |-  DTM_MICRO\t|-- [TSU_DELAY] = 45\n"
            "|-  |-  DTM_MICRO>\t|-- [TH_DELAY] = 7\n"
            "|-  |-  DTM_MAP_LOGIC_CELL\n"
            "|-  |-  |-  DTM_RC\n"
            "|-  |-  |-  DTM_RC\t|-- [DFF, RC_RESISTANCE, RC_RISE] = 1.5\n"
            "|-  |-  DTM_P2P\n"
            "|-  |-  DTM_P2P(INPUT-->OUTPUT)\n"
            "|-  |-  |-  DTM_P2P_IN_OUT\n"
            "|-  |-  |-  DTM_P2P_IN_OUT\t|-- [LCELL_DATAA, LCELL_COMBOUT] = 300\n"
            "|-  |-  DTM_P2P(INPUT-->BURIED)\n"
            "|-  |-  |-  DTM_P2P_IN_BURIED\n"
            "|-  |-  DTM_P2P(BURIED-->OUTPUT)\n"
            "|-  |-  |-  DTM_P2P_BURIED_OUT\n"
            "|-  |-  DTM_P2P(BURIED-->BURIED)\n"
            "|-  |-  |-  DTM_P2P_BURIED_BURIED\n"
            "|-  |-  |-  DTM_P2P_BURIED_BURIED\t|-- [REG_CLK, REG_D, MIN_DELAY] = 3\n");
}

TEST(NodeDump, OutlineStartsAtTheGivenDepth) {
  MEMORY_GUARD memory;
  const NODE_PTR model = make_model();
  const DTM_NODE* rc_parent = model->get_node(DEVICE, CELL);
  ASSERT_NE(rc_parent, nullptr);
  EXPECT_EQ(outline_of(*rc_parent, 0),
            "DTM_MAP_LOGIC_CELL\n"
            "|-  DTM_RC\n"
            "|-  DTM_RC\t|-- [DFF, RC_RESISTANCE, RC_RISE] = 1.5\n");
  EXPECT_EQ(outline_of(*rc_parent, 3),
            "|-  |-  |-  DTM_MAP_LOGIC_CELL\n"
            "|-  |-  |-  |-  DTM_RC\n"
            "|-  |-  |-  |-  DTM_RC\t|-- [DFF, RC_RESISTANCE, RC_RISE] = 1.5\n");
  DTM_NODE bare(DTM_ROOT, true);
  EXPECT_EQ(outline_of(bare), "DTM_ROOT\n");
  bare.set_description("");
  EXPECT_EQ(outline_of(bare), "DTM_ROOT\n");
}

// --- Path listing ---------------------------------------------------------------------

TEST(NodeDump, PathListingCarriesTheWholePath) {
  MEMORY_GUARD memory;
  const NODE_PTR model = make_model();
  const std::string expected = k_root + k_micro + "<\t|-- [TCO_DELAY] = 120\n" +  //
                               k_root + k_micro + "\t|-- [TSU_DELAY] = 45\n" +    //
                               k_root + k_micro + ">\t|-- [TH_DELAY] = 7\n" +     //
                               k_root + k_rc + "\t|-- [DFF, RC_RESISTANCE, RC_RISE] = 1.5\n" +
                               k_root + k_in_out + "\t|-- [LCELL_DATAA, LCELL_COMBOUT] = 300\n" +
                               k_root + k_buried_buried + "\t|-- [REG_CLK, REG_D, MIN_DELAY] = 3\n";
  EXPECT_EQ(paths_of(*model), expected);

  // A given prefix stands before every line.
  std::string prefixed;
  std::istringstream lines(expected);
  for (std::string line; std::getline(lines, line);) {
    prefixed += "MODEL" + line + "\n";
  }
  EXPECT_EQ(paths_of(*model, "MODEL"), prefixed);
}

TEST(NodeDump, PathListingOfATreeWithoutDataIsEmpty) {
  MEMORY_GUARD memory;
  DTM_NODE root(DTM_ROOT, true);
  auto* device = new DTM_NODE(DEVICE, true);
  device->set_description("described, but no data");
  ASSERT_TRUE(root.add_node(device));
  ASSERT_TRUE(root.add_node(new DTM_NODE(CELL, true), DEVICE));
  ASSERT_TRUE(root.add_node(DTM_P2P_NODE::make_with_directions(), DEVICE, CELL));
  EXPECT_EQ(paths_of(root), "");
  EXPECT_EQ(paths_of(root, "x"), "");
}

TEST(NodeDump, PointToPointPathListingWalksOnlyExistingDirections) {
  MEMORY_GUARD memory;
  auto* buried_buried = new DTM_P2P_BURIED_BURIED_NODE(true);
  ASSERT_TRUE(buried_buried->add_p2p_node_delay(9, DB_BURIED_REG_CLK, DB_BURIED_REG_D, DTM_NONE));
  DTM_P2P_NODE lone(nullptr, nullptr, nullptr, buried_buried, true);
  EXPECT_EQ(paths_of(lone, "P"),
            "P\t|-- DTM_P2P\t|-- DTM_P2P_BURIED_BURIED\t|-- [REG_CLK, REG_D] = 9\n");
}

TEST(NodeDump, DmfFormatWritesNothingForAnyNode) {
  MEMORY_GUARD memory;
  const NODE_PTR model = make_model();
  ASSERT_TRUE(model->add_integer_node_delay(4, PIPELINE_STAGES, 2, DEVICE));
  std::vector<const DTM_NODE*> pending = {model.get()};
  std::size_t visited = 0;
  std::ostringstream os;
  while (!pending.empty()) {
    const DTM_NODE* node = pending.back();
    pending.pop_back();
    node->dump_tree_in_dmf_format(os, "prefix");
    ++visited;
    for (const DTM_NODE* child : node->get_nodes()) {
      pending.push_back(child);
    }
    if (const auto* p2p = dynamic_cast<const DTM_P2P_NODE*>(node); p2p != nullptr) {
      p2p->get_in_out_node()->dump_tree_in_dmf_format(os, "prefix");
      p2p->get_buried_buried_node()->dump_tree_in_dmf_format(os, "prefix");
      visited += 2;
    }
  }
  EXPECT_EQ(visited, 9U);  // root, device, micro, cell, rc, integer, p2p and two directions
  EXPECT_EQ(os.str(), "");
}

// --- Comparison -----------------------------------------------------------------------

struct COMPARE_CASE {
  const char* m_name;
  std::function<void(DTM_NODE&)> m_change;  // applied to the clone
  bool m_skip_missing;
  bool m_compare_values;
  float m_tolerance;
  std::string m_expected;
};

TEST(NodeCompare, AgainstAChangedClone) {
  const std::string rc_line = k_rc + "\t|-- [DFF, RC_RESISTANCE, RC_RISE] = 1.5";
  const std::string tsu_line = k_micro + "\t|-- [TSU_DELAY] = 45";
  const auto unchanged = [](DTM_NODE&) {};
  const auto tsu_47 = [](DTM_NODE& c) {
    ASSERT_TRUE(c.set_micro_node_delay(47, TSU_DELAY, DEVICE));
  };
  const auto rc_175 = [](DTM_NODE& c) {
    ASSERT_TRUE(c.set_rc_float(1.75, CDB_RE_DFF, RC_RESISTANCE, RC_RISE, DEVICE, CELL));
  };
  const auto no_rc_leaf = [](DTM_NODE& c) {
    DTM_NODE* leaf = c.get_node(DEVICE, CELL, DTM_RC);
    ASSERT_TRUE(c.remove_node(DEVICE, CELL, DTM_RC));
    delete leaf;
  };
  const auto extra_leaf = [](DTM_NODE& c) {
    ASSERT_TRUE(c.add_integer_node_delay(4, PIPELINE_STAGES, 2, DEVICE, CELL));
    ASSERT_TRUE(c.add_micro_node_delay(1, TCO_DELAY, DEVICE, DTM_MAP_LUT));
  };
  const auto no_micro_data = [](DTM_NODE& c) {
    ASSERT_TRUE(c.get_node(DEVICE, DTM_MICRO)->set_tree_data_root(nullptr));
  };
  const auto in_out_301 = [](DTM_NODE& c) {
    ASSERT_TRUE(c.set_p2p_node_delay(301, DB_IN_LCELL_DATAA, DB_OUT_LCELL_COMBOUT, DEVICE));
  };
  const auto p2p_in_out_only = [](DTM_NODE& c) {
    auto* in_out = new DTM_P2P_IN_OUT_NODE(true);
    ASSERT_TRUE(in_out->add_p2p_node_delay(300, DB_IN_LCELL_DATAA, DB_OUT_LCELL_COMBOUT, DTM_NONE));
    replace_p2p(c, new DTM_P2P_NODE(in_out, nullptr, nullptr, nullptr, true));
  };
  const auto p2p_plain = [](DTM_NODE& c) { replace_p2p(c, new DTM_NODE(DTM_P2P, true)); };
  // Comparison lines carry no tree position ("<", ">"), only the key.
  const std::string missing_micro = k_micro + "\t|-- [TCO_DELAY] = 120\t::\tmissing\n" + tsu_line +
                                    "\t::\tmissing\n" + k_micro +
                                    "\t|-- [TH_DELAY] = 7\t::\tmissing\n";
  const std::string missing_directions = k_in_out + "\t|-- [LCELL_DATAA, LCELL_COMBOUT] = 300\n" +
                                         k_buried_buried +
                                         "\t|-- [REG_CLK, REG_D, MIN_DELAY] = 3\n";

  const std::vector<COMPARE_CASE> cases = {
      {"identical", unchanged, false, true, 0.0F, ""},
      {"changed value", tsu_47, false, true, 0.0F, tsu_line + "\t::\t47\n"},
      {"changed value, values not compared", tsu_47, false, false, 0.0F, ""},
      {"changed value, skip flag changes nothing", tsu_47, true, true, 0.0F,
       tsu_line + "\t::\t47\n"},
      {"difference equal to the tolerance", tsu_47, false, true, 2.0F, ""},
      {"difference above the tolerance", tsu_47, false, true, 1.5F, tsu_line + "\t::\t47\n"},
      {"float within tolerance", rc_175, false, true, 0.25F, ""},
      {"float above tolerance", rc_175, false, true, 0.2F, rc_line + "\t::\t1.75\n"},
      {"missing leaf listed", no_rc_leaf, false, true, 0.0F, rc_line + "\n"},
      {"missing leaf listed without value comparison", no_rc_leaf, false, false, 0.0F,
       rc_line + "\n"},
      {"missing leaf skipped", no_rc_leaf, true, true, 0.0F, ""},
      {"extra leaves in the other tree", extra_leaf, false, true, 0.0F, ""},
      {"missing data entries", no_micro_data, false, true, 0.0F, missing_micro},
      {"missing data entries skipped", no_micro_data, true, true, 0.0F, ""},
      {"point-to-point value", in_out_301, false, true, 0.0F,
       k_in_out + "\t|-- [LCELL_DATAA, LCELL_COMBOUT] = 300\t::\t301\n"},
      {"point-to-point missing directions", p2p_in_out_only, false, true, 0.0F,
       k_buried_buried + "\t|-- [REG_CLK, REG_D, MIN_DELAY] = 3\n"},
      {"point-to-point missing directions skipped", p2p_in_out_only, true, true, 0.0F, ""},
      {"other is not a point-to-point node", p2p_plain, false, true, 0.0F, missing_directions},
      {"other is not a point-to-point node, skipped", p2p_plain, true, true, 0.0F, ""},
  };
  for (const COMPARE_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    MEMORY_GUARD memory;
    MSG_CAPTURE capture;
    const NODE_PTR model = make_model();
    const NODE_PTR other = clone_of(*model);
    c.m_change(*other);
    EXPECT_EQ(compare(*model, other.get(), c.m_skip_missing, c.m_compare_values, c.m_tolerance),
              c.m_expected);
    EXPECT_EQ(capture.get_count(), 0U);
  }
}

TEST(NodeCompare, IsOneWay) {
  MEMORY_GUARD memory;
  const NODE_PTR model = make_model();
  const NODE_PTR other = clone_of(*model);
  DTM_NODE* leaf = other->get_node(DEVICE, CELL, DTM_RC);
  ASSERT_TRUE(other->remove_node(DEVICE, CELL, DTM_RC));
  delete leaf;
  ASSERT_TRUE(other->get_node(DEVICE, DTM_MICRO)->set_tree_data_root(nullptr));
  // What only the model holds is not reported when the model is the other tree.
  EXPECT_EQ(compare(*other, model.get(), false, true, 0.0F), "");
  EXPECT_NE(compare(*model, other.get(), false, true, 0.0F), "");
}

TEST(NodeCompare, AgainstItselfWritesNothingAndAScaledCloneReachesEveryEntry) {
  MEMORY_GUARD memory;
  const NODE_PTR model = make_model();
  EXPECT_EQ(compare(*model, model.get(), false, true, 0.0F), "");
  // Every value of the clone doubled: one line per entry, from every leaf
  // and direction node of the tree, in tree order.
  const NODE_PTR doubled = clone_of(*model);
  doubled->scale(2.0);
  EXPECT_EQ(compare(*model, doubled.get(), false, true, 0.0F, "M"),
            "M" + k_micro + "\t|-- [TCO_DELAY] = 120\t::\t240\n" +    //
                "M" + k_micro + "\t|-- [TSU_DELAY] = 45\t::\t90\n" +  //
                "M" + k_micro + "\t|-- [TH_DELAY] = 7\t::\t14\n" +    //
                "M" + k_rc + "\t|-- [DFF, RC_RESISTANCE, RC_RISE] = 1.5\t::\t3\n" + "M" + k_in_out +
                "\t|-- [LCELL_DATAA, LCELL_COMBOUT] = 300\t::\t600\n" + "M" + k_buried_buried +
                "\t|-- [REG_CLK, REG_D, MIN_DELAY] = 3\t::\t6\n");
}

TEST(NodeCompare, AgainstNullListsThePaths) {
  MEMORY_GUARD memory;
  const NODE_PTR model = make_model();
  EXPECT_EQ(compare(*model, nullptr, false, true, 0.0F), paths_of(*model));
  EXPECT_EQ(compare(*model, nullptr, true, false, 5.0F, "X"), paths_of(*model, "X"));
  const DTM_NODE* p2p = model->get_node(DEVICE, DTM_P2P);
  EXPECT_EQ(compare(*p2p, nullptr, false, true, 0.0F, k_device), paths_of(*p2p, k_device));
}

TEST(NodeCompare, DifferentIdsAreReportedAndTheComparisonGoesOn) {
  MEMORY_GUARD memory;
  MSG_CAPTURE capture;
  const NODE_PTR model = make_model();
  DTM_NODE other(DTM_MAP_CORE, true);
  ASSERT_TRUE(other.add_micro_node_delay(46, TSU_DELAY, DEVICE));
  const std::string text = compare(*model, &other, true, true, 0.0F);
  EXPECT_EQ(text, k_micro + "\t|-- [TSU_DELAY] = 45\t::\t46\n");
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"m_id == node->get_id()"});
  EXPECT_EQ(capture.get_reports().at(0).m_source, std::string("dtm_node"));

  capture.clear();
  DTM_NODE not_p2p(DTM_MAP_CORE, true);
  compare(*model->get_node(DEVICE, DTM_P2P), &not_p2p, true, true, 0.0F);
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"m_id == node->get_id()"});
  EXPECT_EQ(capture.get_reports().at(0).m_source, std::string("dtm_p2p_node"));
}

}  // namespace
