// Point-to-point delays: the four directions through DTM_NODE's entry points
// and on the point-to-point leaf, set-or-add, the outline dump, copies.
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "dtm_micro_node.h"
#include "dtm_node.h"
#include "dtm_p2p_node.h"
#include "dtm_tree_data.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

constexpr DTM_NODE_ENUM A = DTM_MAP_CORE;
constexpr DTM_NODE_ENUM B = DTM_MAP_LOGIC_ARRAY;

using PAIRS = std::vector<std::pair<int, int>>;
using IN = DB_INPUT_PORT_TYPE;
using OUT = DB_OUTPUT_PORT_TYPE;
using BUR = DB_BURIED_PORT_TYPE;

// One direction seen uniformly; ports are given as integers.
struct DIRECTION_CASE {
  const char* m_name;
  DTM_NODE_ENUM m_id;
  int m_src_code;
  int m_dst_code;
  const char* m_title;
  std::function<const DTM_NODE*(const DTM_P2P_NODE&)> m_direction;
  std::function<bool(DTM_NODE&, int, int, int, DTM_ENUM, DTM_NODE_ENUM)> m_add;
  std::function<int(const DTM_NODE&, int, int, DTM_ENUM, DTM_NODE_ENUM)> m_get;
  std::function<bool(DTM_NODE&, int, int, int, DTM_NODE_ENUM)> m_set;  // DTM_NODE's: no condition
  std::function<bool(DTM_P2P_NODE&, int, int, int, DTM_ENUM)> m_leaf_set;
};

void PrintTo(const DIRECTION_CASE& c, std::ostream* os) { *os << c.m_name; }

const DIRECTION_CASE k_directions[] = {
    {"in_out", DTM_P2P_IN_OUT, 3, 4, "(INPUT-->OUTPUT)\n",
     [](const DTM_P2P_NODE& p) -> const DTM_NODE* { return p.get_in_out_node(); },
     [](DTM_NODE& n, int v, int s, int d, DTM_ENUM e, DTM_NODE_ENUM p0) {
       return n.add_p2p_node_delay(v, IN(s), OUT(d), e, p0);
     },
     [](const DTM_NODE& n, int s, int d, DTM_ENUM e, DTM_NODE_ENUM p0) {
       return n.get_p2p_node_delay(IN(s), OUT(d), e, p0);
     },
     [](DTM_NODE& n, int v, int s, int d, DTM_NODE_ENUM p0) {
       return n.set_p2p_node_delay(v, IN(s), OUT(d), p0);
     },
     [](DTM_P2P_NODE& n, int v, int s, int d, DTM_ENUM e) {
       return n.set_p2p_node_delay(v, IN(s), OUT(d), e);
     }},
    {"in_buried", DTM_P2P_IN_BURIED, 3, 2, "(INPUT-->BURIED)\n",
     [](const DTM_P2P_NODE& p) -> const DTM_NODE* { return p.get_in_buried_node(); },
     [](DTM_NODE& n, int v, int s, int d, DTM_ENUM e, DTM_NODE_ENUM p0) {
       return n.add_p2p_node_delay(v, IN(s), BUR(d), e, p0);
     },
     [](const DTM_NODE& n, int s, int d, DTM_ENUM e, DTM_NODE_ENUM p0) {
       return n.get_p2p_node_delay(IN(s), BUR(d), e, p0);
     },
     [](DTM_NODE& n, int v, int s, int d, DTM_NODE_ENUM p0) {
       return n.set_p2p_node_delay(v, IN(s), BUR(d), p0);
     },
     [](DTM_P2P_NODE& n, int v, int s, int d, DTM_ENUM e) {
       return n.set_p2p_node_delay(v, IN(s), BUR(d), e);
     }},
    {"buried_out", DTM_P2P_BURIED_OUT, 2, 4, "(BURIED-->OUTPUT)\n",
     [](const DTM_P2P_NODE& p) -> const DTM_NODE* { return p.get_buried_out_node(); },
     [](DTM_NODE& n, int v, int s, int d, DTM_ENUM e, DTM_NODE_ENUM p0) {
       return n.add_p2p_node_delay(v, BUR(s), OUT(d), e, p0);
     },
     [](const DTM_NODE& n, int s, int d, DTM_ENUM e, DTM_NODE_ENUM p0) {
       return n.get_p2p_node_delay(BUR(s), OUT(d), e, p0);
     },
     [](DTM_NODE& n, int v, int s, int d, DTM_NODE_ENUM p0) {
       return n.set_p2p_node_delay(v, BUR(s), OUT(d), p0);
     },
     [](DTM_P2P_NODE& n, int v, int s, int d, DTM_ENUM e) {
       return n.set_p2p_node_delay(v, BUR(s), OUT(d), e);
     }},
    {"buried_buried", DTM_P2P_BURIED_BURIED, 2, 2, "(BURIED-->BURIED)\n",
     [](const DTM_P2P_NODE& p) -> const DTM_NODE* { return p.get_buried_buried_node(); },
     [](DTM_NODE& n, int v, int s, int d, DTM_ENUM e, DTM_NODE_ENUM p0) {
       return n.add_p2p_node_delay(v, BUR(s), BUR(d), e, p0);
     },
     [](const DTM_NODE& n, int s, int d, DTM_ENUM e, DTM_NODE_ENUM p0) {
       return n.get_p2p_node_delay(BUR(s), BUR(d), e, p0);
     },
     [](DTM_NODE& n, int v, int s, int d, DTM_NODE_ENUM p0) {
       return n.set_p2p_node_delay(v, BUR(s), BUR(d), p0);
     },
     [](DTM_P2P_NODE& n, int v, int s, int d, DTM_ENUM e) {
       return n.set_p2p_node_delay(v, BUR(s), BUR(d), e);
     }},
};

class P2pDirections : public ::testing::TestWithParam<DIRECTION_CASE> {};

std::string case_name(const ::testing::TestParamInfo<DIRECTION_CASE>& info) {
  return info.param.m_name;
}

DTM_P2P_NODE* p2p_at(const DTM_NODE& root, DTM_NODE_ENUM level) {
  DTM_NODE* node = root.get_node(level, DTM_P2P);
  return node != nullptr && typeid(*node) == typeid(DTM_P2P_NODE) ? static_cast<DTM_P2P_NODE*>(node)
                                                                  : nullptr;
}

PAIRS stored_keys(const DTM_NODE& direction) {
  PAIRS pairs;
  const DTM_TREE_DATA_KEY* key = direction.get_data_root()->get_key();
  for (DTM_SHORT i = 0; i < key->get_num_wrapper(); ++i) {
    pairs.emplace_back(key->get_wrappers()[i].get_enum_type(),
                       key->get_wrappers()[i].get_enum_id());
  }
  return pairs;
}

TEST_P(P2pDirections, AddAndGetWithAndWithoutACondition) {
  const DIRECTION_CASE& c = GetParam();
  MSG_CAPTURE capture;
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(c.m_add(root, 10, 1, 2, DTM_NONE, A));
  ASSERT_TRUE(c.m_add(root, 20, 1, 2, MIN_DELAY, A));
  EXPECT_EQ(c.m_get(root, 1, 2, DTM_NONE, A), 10);
  EXPECT_EQ(c.m_get(root, 1, 2, MIN_DELAY, A), 20);
  EXPECT_EQ(c.m_get(root, 1, 2, MAX_DELAY, A), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(c.m_get(root, 2, 1, DTM_NONE, A), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(c.m_get(root, 1, 2, DTM_NONE, B), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(c.m_get(*root.get_node(A), 1, 2, MIN_DELAY, DTM_NODE_NONE), 20);

  // Only this direction holds data.
  const DTM_P2P_NODE* p2p = p2p_at(root, A);
  ASSERT_NE(p2p, nullptr);
  for (const DIRECTION_CASE& other : k_directions) {
    const DTM_NODE* direction = other.m_direction(*p2p);
    ASSERT_NE(direction, nullptr) << other.m_name;
    EXPECT_EQ(direction->get_id(), other.m_id);
    EXPECT_TRUE(direction->is_writable());
    if (other.m_id != c.m_id) {
      EXPECT_EQ(direction->get_data_root(), nullptr) << other.m_name;
      EXPECT_EQ(other.m_get(root, 1, 2, DTM_NONE, A), DTM_ILLEGAL_DELAY) << other.m_name;
    }
  }
  EXPECT_EQ(p2p->get_data_root(), nullptr);
  EXPECT_TRUE(p2p->is_writable());
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST_P(P2pDirections, APathNamingThePointToPointNodeReachesIt) {
  const DIRECTION_CASE& c = GetParam();
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(c.m_add(root, 10, 1, 2, MIN_DELAY, A));
  DTM_NODE& level = *root.get_node(A);
  EXPECT_EQ(c.m_get(level, 1, 2, MIN_DELAY, DTM_P2P), 10);
  // The leaf's add ignores the path it is handed.
  EXPECT_TRUE(c.m_add(level, 11, 3, 4, DTM_NONE, DTM_P2P));
  EXPECT_EQ(c.m_get(root, 3, 4, DTM_NONE, A), 11);
  EXPECT_EQ(level.get_nodes().size(), 1U);
}

TEST_P(P2pDirections, KeysAreSourceTargetAndTheConditionWhenThereIsOne) {
  const DIRECTION_CASE& c = GetParam();
  for (const DTM_ENUM condition : {DTM_NONE, INDEX_0}) {
    DTM_NODE root(DTM_ROOT, true);
    ASSERT_TRUE(c.m_add(root, 5, 0, 0, condition, DTM_NODE_NONE));
    const auto* p2p = static_cast<const DTM_P2P_NODE*>(root.get_sub_node(DTM_P2P));
    PAIRS expected = {{c.m_src_code, 1}, {c.m_dst_code, 1}};
    if (condition != DTM_NONE) {
      expected.emplace_back(1, INDEX_0);
    }
    EXPECT_EQ(stored_keys(*c.m_direction(*p2p)), expected) << condition;
  }
}

TEST_P(P2pDirections, SetThroughTheTreeChangesOnlyTheUnconditionedDelay) {
  const DIRECTION_CASE& c = GetParam();
  DTM_NODE root(DTM_ROOT, true);
  EXPECT_FALSE(c.m_set(root, 1, 1, 2, A));
  EXPECT_TRUE(root.get_nodes().empty());
  ASSERT_TRUE(c.m_add(root, 20, 1, 2, MIN_DELAY, A));
  EXPECT_FALSE(c.m_set(root, 21, 1, 2, A));  // only a conditioned delay exists
  EXPECT_EQ(c.m_get(root, 1, 2, MIN_DELAY, A), 20);
  ASSERT_TRUE(c.m_add(root, 10, 1, 2, DTM_NONE, A));
  EXPECT_TRUE(c.m_set(root, 11, 1, 2, A));
  EXPECT_EQ(c.m_get(root, 1, 2, DTM_NONE, A), 11);
  EXPECT_EQ(c.m_get(root, 1, 2, MIN_DELAY, A), 20);

  // The leaf's own set takes the condition.
  DTM_P2P_NODE* p2p = p2p_at(root, A);
  EXPECT_TRUE(c.m_leaf_set(*p2p, 22, 1, 2, MIN_DELAY));
  EXPECT_EQ(c.m_get(root, 1, 2, MIN_DELAY, A), 22);
  EXPECT_FALSE(c.m_leaf_set(*p2p, 23, 1, 2, MAX_DELAY));
}

TEST_P(P2pDirections, AMissingDirectionIsCreatedNotWritableByTheFirstAdd) {
  const DIRECTION_CASE& c = GetParam();
  DTM_NODE root(DTM_ROOT, true);
  auto* p2p = new DTM_P2P_NODE(nullptr, nullptr, nullptr, nullptr, true);
  ASSERT_TRUE(root.add_node(p2p, A));
  EXPECT_EQ(c.m_get(root, 1, 2, DTM_NONE, A), DTM_ILLEGAL_DELAY);
  EXPECT_FALSE(c.m_set(root, 1, 1, 2, A));
  EXPECT_FALSE(c.m_leaf_set(*p2p, 1, 1, 2, DTM_NONE));
  EXPECT_EQ(c.m_direction(*p2p), nullptr);

  ASSERT_TRUE(c.m_add(root, 7, 1, 2, DTM_NONE, A));
  const DTM_NODE* direction = c.m_direction(*p2p);
  ASSERT_NE(direction, nullptr);
  EXPECT_FALSE(direction->is_writable());
  EXPECT_EQ(c.m_get(root, 1, 2, DTM_NONE, A), 7);
  // The direction's writability is not asked: the point-to-point node's is.
  EXPECT_TRUE(c.m_add(root, 8, 3, 4, DTM_NONE, A));
  EXPECT_TRUE(c.m_set(root, 9, 3, 4, A));
  EXPECT_EQ(c.m_get(root, 3, 4, DTM_NONE, A), 9);
  int made = 0;
  for (const DIRECTION_CASE& other : k_directions) {
    made += other.m_direction(*p2p) != nullptr ? 1 : 0;
  }
  EXPECT_EQ(made, 1);
}

TEST_P(P2pDirections, AFrozenPointToPointNodeRefusesAddAndSet) {
  const DIRECTION_CASE& c = GetParam();
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(c.m_add(root, 7, 1, 2, DTM_NONE, A));
  DTM_P2P_NODE* p2p = p2p_at(root, A);
  p2p->set_unwritable();
  EXPECT_FALSE(c.m_add(root, 8, 3, 4, DTM_NONE, A));
  EXPECT_FALSE(c.m_set(root, 9, 1, 2, A));
  EXPECT_FALSE(c.m_leaf_set(*p2p, 9, 1, 2, DTM_NONE));
  EXPECT_EQ(c.m_get(root, 1, 2, DTM_NONE, A), 7);
  EXPECT_EQ(c.m_get(root, 3, 4, DTM_NONE, A), DTM_ILLEGAL_DELAY);

  auto* bare = new DTM_P2P_NODE(nullptr, nullptr, nullptr, nullptr, false);
  ASSERT_TRUE(root.add_node(bare, B));
  EXPECT_FALSE(c.m_add(root, 8, 3, 4, DTM_NONE, B));
  EXPECT_EQ(c.m_direction(*bare), nullptr);
}

TEST_P(P2pDirections, TheLinkedPointToPointNodeIsAskedWithoutAnIdCheck) {
  const DIRECTION_CASE& c = GetParam();
  MSG_CAPTURE capture;
  DTM_NODE stranger(B, true);
  DTM_NODE master(DTM_ROOT, true);
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(c.m_add(master, 30, 1, 2, MIN_DELAY, A));
  ASSERT_TRUE(c.m_add(root, 10, 5, 6, DTM_NONE, A));
  p2p_at(master, A)->append_node_to(p2p_at(root, A));
  EXPECT_EQ(c.m_get(root, 1, 2, MIN_DELAY, A), 30);
  EXPECT_EQ(c.m_get(root, 5, 6, DTM_NONE, A), 10);
  EXPECT_EQ(c.m_get(root, 1, 2, DTM_NONE, A), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(capture.get_count(), 0U);

  DTM_NODE odd(DTM_ROOT, true);
  ASSERT_TRUE(c.m_add(odd, 10, 5, 6, DTM_NONE, A));
  stranger.append_node_to(p2p_at(odd, A));
  EXPECT_EQ(c.m_get(odd, 1, 2, MIN_DELAY, A), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"typeid(*node) == typeid(DTM_P2P_NODE)"});
}

INSTANTIATE_TEST_SUITE_P(Directions, P2pDirections, ::testing::ValuesIn(k_directions), case_name);

// --- Set-or-add ----------------------------------------------------------------------

TEST(P2pNode, SetAddAddsTheConditionedDelayOnlyWhenNoUnconditionedOneExists) {
  DTM_NODE root(DTM_ROOT, true);
  const IN in = DB_IN_REG_D;
  const OUT out = DB_OUT_REG_Q;
  ASSERT_TRUE(root.set_add_p2p_node_delay(40, in, out, MIN_DELAY, A));
  EXPECT_EQ(root.get_p2p_node_delay(in, out, MIN_DELAY, A), 40);
  EXPECT_EQ(root.get_p2p_node_delay(in, out, DTM_NONE, A), DTM_ILLEGAL_DELAY);

  ASSERT_TRUE(root.add_p2p_node_delay(50, in, out, DTM_NONE, A));
  ASSERT_TRUE(root.set_add_p2p_node_delay(60, in, out, MAX_DELAY, A));
  EXPECT_EQ(root.get_p2p_node_delay(in, out, DTM_NONE, A), 60);
  EXPECT_EQ(root.get_p2p_node_delay(in, out, MAX_DELAY, A), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(root.get_p2p_node_delay(in, out, MIN_DELAY, A), 40);

  DTM_NODE frozen(DTM_ROOT, false);
  EXPECT_FALSE(frozen.set_add_p2p_node_delay(1, in, out, MIN_DELAY, A));
  EXPECT_TRUE(frozen.get_nodes().empty());
}

// --- Outline dump --------------------------------------------------------------------

TEST(P2pNode, OutlineDumpListsOnlyTheExistingDirections) {
  DTM_P2P_NODE lone(nullptr, nullptr, nullptr, new DTM_P2P_BURIED_BURIED_NODE(true), true);
  std::ostringstream os;
  lone.dump_tree(os, 0, 0, 0);
  EXPECT_EQ(os.str(),
            "DTM_P2P\n"
            "DTM_P2P(BURIED-->BURIED)\n"
            "|-  DTM_P2P_BURIED_BURIED\n");
}

TEST(P2pNode, OutlineDumpOfAnAddedNodeHasFourBlocksAtItsDepth) {
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(root.add_p2p_node_delay(3, DB_BURIED_REG_CLK, DB_BURIED_REG_D, DTM_NONE, A));
  DTM_P2P_NODE* p2p = p2p_at(root, A);
  p2p->set_description("ports");
  std::ostringstream os;
  p2p->dump_tree(os, 2, 7, 9);
  const std::string expected =
      "|-  |-  DTM_P2P\n"
      "|-  |-  Description:  ports\n"
      "|-  |-  DTM_P2P(INPUT-->OUTPUT)\n"
      "|-  |-  |-  DTM_P2P_IN_OUT\n"
      "|-  |-  DTM_P2P(INPUT-->BURIED)\n"
      "|-  |-  |-  DTM_P2P_IN_BURIED\n";
  EXPECT_EQ(os.str().substr(0, expected.size()), expected);
  const std::string rest = os.str().substr(expected.size());
  // The buried->buried block carries the data line of its direction node.
  EXPECT_EQ(rest.rfind("|-  |-  DTM_P2P(BURIED-->OUTPUT)\n"
                       "|-  |-  |-  DTM_P2P_BURIED_OUT\n"
                       "|-  |-  DTM_P2P(BURIED-->BURIED)\n"
                       "|-  |-  |-  DTM_P2P_BURIED_BURIED\n",
                       0),
            0U);
  EXPECT_NE(rest.find("= 3"), std::string::npos) << rest;

  std::ostringstream none;
  p2p->dump_tree_in_dmf_format(none, "x");
  EXPECT_TRUE(none.str().empty());
}

// --- Copies, scaling, ownership ---------------------------------------------------------

TEST(P2pNode, CloneCopiesTheDirectionsAndTheirDataWhenAsked) {
  MSG_CAPTURE capture;
  MEM_SEGMENT segment;
  DTM_P2P_NODE source(nullptr, new DTM_P2P_IN_BURIED_NODE(true), nullptr,
                      new DTM_P2P_BURIED_BURIED_NODE(false), true);
  source.set_description("not copied");
  source.set_version(2);
  ASSERT_TRUE(source.add_p2p_node_delay(5, DB_IN_REG_D, DB_BURIED_REG_D, DTM_NONE));
  source.get_buried_buried_node()->set_bin(3);
  source.set_unwritable();

  for (const bool copy_data : {false, true}) {
    DTM_NODE* copy = source.clone(&segment, false, copy_data);
    ASSERT_EQ(typeid(*copy), typeid(DTM_P2P_NODE));
    auto* p2p = static_cast<DTM_P2P_NODE*>(copy);
    EXPECT_TRUE(p2p->is_writable());
    EXPECT_TRUE(p2p->get_description().empty());
    EXPECT_EQ(p2p->get_version(), 0);
    EXPECT_EQ(p2p->get_in_out_node(), nullptr);
    EXPECT_EQ(p2p->get_buried_out_node(), nullptr);
    ASSERT_NE(p2p->get_in_buried_node(), nullptr);
    ASSERT_NE(p2p->get_buried_buried_node(), nullptr);
    EXPECT_NE(p2p->get_in_buried_node(), source.get_in_buried_node());
    EXPECT_TRUE(p2p->get_buried_buried_node()->is_writable());
    EXPECT_EQ(p2p->get_buried_buried_node()->get_bin(), 3);
    if (copy_data) {
      EXPECT_EQ(p2p->get_p2p_node_delay(DB_IN_REG_D, DB_BURIED_REG_D, DTM_NONE), 5);
      EXPECT_TRUE(p2p->set_p2p_node_delay(6, DB_IN_REG_D, DB_BURIED_REG_D, DTM_NONE));
      EXPECT_EQ(source.get_p2p_node_delay(DB_IN_REG_D, DB_BURIED_REG_D, DTM_NONE), 5);
    } else {
      EXPECT_EQ(p2p->get_in_buried_node()->get_data_root(), nullptr);
    }
    delete copy;
  }
  EXPECT_EQ(capture.get_count(), 0U);
  // Without a segment: the point-to-point node and each existing direction
  // node report it.
  delete source.clone(nullptr, false, false);
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>(3, "segment != 0"));
  for (const MSG_REPORT& report : capture.get_reports()) {
    EXPECT_EQ(report.m_source, "dtm_p2p_node");
  }
}

TEST(P2pNode, ScaleScalesEveryDirection) {
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(root.add_p2p_node_delay(10, DB_IN_REG_D, DB_OUT_REG_Q, DTM_NONE, A));
  ASSERT_TRUE(root.add_p2p_node_delay(20, DB_BURIED_REG_D, DB_BURIED_REG_CLK, MIN_DELAY, A));
  root.scale(3.0);
  EXPECT_EQ(root.get_p2p_node_delay(DB_IN_REG_D, DB_OUT_REG_Q, DTM_NONE, A), 30);
  EXPECT_EQ(root.get_p2p_node_delay(DB_BURIED_REG_D, DB_BURIED_REG_CLK, MIN_DELAY, A), 60);
}

TEST(P2pNode, DestructionFreesTheDirectionsAndTheirData) {
  const std::size_t before = MEM_MANAGER::get_counters().m_live_objects;
  {
    DTM_NODE root(DTM_ROOT, true);
    ASSERT_TRUE(root.add_p2p_node_delay(1, DB_IN_REG_D, DB_OUT_REG_Q, DTM_NONE, A, B));
    ASSERT_TRUE(root.add_p2p_node_delay(2, DB_IN_REG_D, DB_OUT_REG_Q, MIN_DELAY, A, B));
    ASSERT_TRUE(root.add_p2p_node_delay(3, DB_BURIED_REG_D, DB_OUT_REG_Q, MIN_DELAY, A, B));
    EXPECT_GT(MEM_MANAGER::get_counters().m_live_objects, before + 8);
  }
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, before);
}

}  // namespace
