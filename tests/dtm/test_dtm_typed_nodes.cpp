// The ten typed leaves, through DTM_NODE's entry points and on their own:
// every case runs over every kind.
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "dtm_ff_node.h"
#include "dtm_float_table_node.h"
#include "dtm_integer_node.h"
#include "dtm_micro_node.h"
#include "dtm_node.h"
#include "dtm_output_port_re_node.h"
#include "dtm_rc_node.h"
#include "dtm_re_input_port_node.h"
#include "dtm_re_node.h"
#include "dtm_re_table_node.h"
#include "dtm_table_node.h"
#include "dtm_tree_data.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

constexpr DTM_NODE_ENUM A = DTM_MAP_CORE;
constexpr DTM_NODE_ENUM B = DTM_MAP_LOGIC_ARRAY;
constexpr DTM_NODE_ENUM C = DTM_MAP_LOGIC_BLOCK;
constexpr DTM_NODE_ENUM D = DTM_MAP_LOGIC_CELL;

using PAIRS = std::vector<std::pair<int, int>>;
using E = DTM_ENUM;
using RE = CDB_RE_TYPE;
using BUR = DB_BURIED_PORT_TYPE;
using IN = DB_INPUT_PORT_TYPE;
using OUT = DB_OUTPUT_PORT_TYPE;

// One kind seen uniformly. Every key argument of seed s is the value s of
// its type; values go in and out as doubles.
struct KIND_CASE {
  const char* m_name;
  DTM_NODE_ENUM m_kind;
  const std::type_info* m_class;
  bool m_float;
  double m_no_data;  // a leaf without data, or no leaf at all
  double m_absent;   // a leaf with data but not the key
  const char* m_link_text;
  const char* m_source;     // the source name of the leaf's own reports
  unsigned m_path_reports;  // leaf operations that report a path (get 1, set 2, add 4)
  unsigned m_path_forms;    // leaf operations that answer a path-form call themselves
  std::function<PAIRS(int)> m_key;
  std::function<bool(DTM_NODE&, double, int, const DTM_PATH&)> m_add;
  std::function<bool(DTM_NODE&, double, int, const DTM_PATH&)> m_set;
  std::function<double(const DTM_NODE&, int, const DTM_PATH&)> m_get;
};

void PrintTo(const KIND_CASE& k, std::ostream* os) { *os << k.m_name; }

constexpr unsigned GET = 1, SET = 2, ADD = 4, ALL = 7;
constexpr double INT_NO = DTM_ILLEGAL_DELAY;

const KIND_CASE k_kinds[] = {
    {"micro", DTM_MICRO, &typeid(DTM_MICRO_NODE), false, INT_NO, INT_NO,
     "micro_node->m_linked_node->get_id() == DTM_MICRO", "dtm_micro_node", ALL, ALL,
     [](int s) {
       return PAIRS{{1, s}};
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.add_micro_node_delay(int(v), E(s), DTM_PATH_SPREAD(p));
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.set_micro_node_delay(int(v), E(s), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, int s, const DTM_PATH& p) -> double {
       return n.get_micro_node_delay(E(s), DTM_PATH_SPREAD(p));
     }},
    {"table", DTM_TABLE, &typeid(DTM_TABLE_NODE), false, INT_NO, INT_NO,
     "table_node->m_linked_node->get_id() == DTM_TABLE", "dtm_table_node", 0, 0,
     [](int s) {
       return PAIRS{{1, s}, {1, s}};
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.add_table_node_delay(int(v), E(s), E(s), DTM_PATH_SPREAD(p));
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.set_table_node_delay(int(v), E(s), E(s), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, int s, const DTM_PATH& p) -> double {
       return n.get_table_node_delay(E(s), E(s), DTM_PATH_SPREAD(p));
     }},
    {"float_table", DTM_FLOAT_TABLE, &typeid(DTM_FLOAT_TABLE_NODE), true, -2147483647.0,
     DTM_ILLEGAL_FLOAT, "float_table_node->m_linked_node->get_id() == DTM_FLOAT_TABLE",
     "dtm_float_table_node", 0, 0,
     [](int s) {
       return PAIRS{{1, s}, {1, s}};
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.add_float_table_node_delay(v, E(s), E(s), DTM_PATH_SPREAD(p));
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.set_float_table_node_delay(v, E(s), E(s), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, int s, const DTM_PATH& p) -> double {
       return n.get_float_table_node_delay(E(s), E(s), DTM_PATH_SPREAD(p));
     }},
    {"ff", DTM_FF, &typeid(DTM_FF_NODE), false, INT_NO, INT_NO,
     "ff_node->m_linked_node->get_id() == DTM_FF", "dtm_ff_node", ALL, ALL,
     [](int s) {
       return PAIRS{{2, s + 1}, {1, s}};
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.add_ff_node_delay(int(v), BUR(s), E(s), DTM_PATH_SPREAD(p));
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.set_ff_node_delay(int(v), BUR(s), E(s), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, int s, const DTM_PATH& p) -> double {
       return n.get_ff_node_delay(BUR(s), E(s), DTM_PATH_SPREAD(p));
     }},
    {"re", DTM_RE, &typeid(DTM_RE_NODE), false, INT_NO, INT_NO,
     "re_node->m_linked_node->get_id() == DTM_RE", "dtm_re_node", ADD, ALL,
     [](int s) {
       return PAIRS{{5, s + 1}};
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.add_re_node_delay(int(v), RE(s), DTM_PATH_SPREAD(p));
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.set_re_node_delay(int(v), RE(s), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, int s, const DTM_PATH& p) -> double {
       return n.get_re_node_delay(RE(s), DTM_PATH_SPREAD(p));
     }},
    {"re_table", DTM_RE_TABLE, &typeid(DTM_RE_TABLE_NODE), false, INT_NO, INT_NO,
     "re_node->m_linked_node->get_id() == DTM_RE_TABLE", "dtm_re_table_node", ADD, ALL,
     [](int s) {
       return s == 0 ? PAIRS{{5, 1}, {5, 1}} : PAIRS{{5, s + 1}, {5, s + 1}, {1, s}};
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.add_re_table_node_delay(int(v), RE(s), RE(s), E(s), DTM_PATH_SPREAD(p));
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.set_re_table_node_delay(int(v), RE(s), RE(s), E(s), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, int s, const DTM_PATH& p) -> double {
       return n.get_re_table_node_delay(RE(s), RE(s), E(s), DTM_PATH_SPREAD(p));
     }},
    {"re_input_port", DTM_RE_INPUT_PORT, &typeid(DTM_RE_INPUT_PORT_NODE), false, INT_NO, INT_NO,
     "re_node->m_linked_node->get_id() == DTM_RE_INPUT_PORT", "dtm_re_input_port_node", ADD, ALL,
     [](int s) {
       return PAIRS{{5, s + 1}, {3, s + 1}};
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.add_re_port_node_delay(int(v), RE(s), IN(s), DTM_PATH_SPREAD(p));
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.set_re_port_node_delay(int(v), RE(s), IN(s), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, int s, const DTM_PATH& p) -> double {
       return n.get_re_port_node_delay(RE(s), IN(s), DTM_PATH_SPREAD(p));
     }},
    {"output_port_re", DTM_OUTPUT_PORT_RE, &typeid(DTM_OUTPUT_PORT_RE_NODE), false, INT_NO, INT_NO,
     "re_node->m_linked_node->get_id() == DTM_OUTPUT_PORT_RE", "dtm_output_port_re_node", ADD, ALL,
     [](int s) {
       return PAIRS{{4, s + 1}, {5, s + 1}};
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.add_port_re_node_delay(int(v), OUT(s), RE(s), DTM_PATH_SPREAD(p));
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.set_port_re_node_delay(int(v), OUT(s), RE(s), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, int s, const DTM_PATH& p) -> double {
       return n.get_port_re_node_delay(OUT(s), RE(s), DTM_PATH_SPREAD(p));
     }},
    {"rc", DTM_RC, &typeid(DTM_RC_NODE), true, DTM_ILLEGAL_FLOAT, DTM_ILLEGAL_FLOAT,
     "rc_node->m_linked_node->get_id() == DTM_RC", "dtm_rc_node", ALL, ALL,
     [](int s) {
       return PAIRS{{5, s + 1}, {1, s}, {1, s}};
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.add_rc_float(v, RE(s), E(s), E(s), DTM_PATH_SPREAD(p));
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.set_rc_float(v, RE(s), E(s), E(s), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, int s, const DTM_PATH& p) -> double {
       return n.get_rc_float(RE(s), E(s), E(s), DTM_PATH_SPREAD(p));
     }},
    {"integer", DTM_INTEGER, &typeid(DTM_INTEGER_NODE), false, INT_NO, INT_NO,
     "integer_node->m_linked_node->get_id() == DTM_INTEGER", "dtm_integer_node", SET, SET,
     [](int s) {
       return PAIRS{{1, s}, {6, s + 1}};
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.add_integer_node_delay(int(v), E(s), s, DTM_PATH_SPREAD(p));
     },
     [](DTM_NODE& n, double v, int s, const DTM_PATH& p) {
       return n.set_integer_node_delay(int(v), E(s), s, DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, int s, const DTM_PATH& p) -> double {
       return n.get_integer_node_delay(E(s), s, DTM_PATH_SPREAD(p));
     }},
};

class TypedNodes : public ::testing::TestWithParam<KIND_CASE> {};

std::string case_name(const ::testing::TestParamInfo<KIND_CASE>& info) { return info.param.m_name; }

DTM_PATH path_of(std::initializer_list<DTM_NODE_ENUM> ids) {
  DTM_PATH path;
  int i = 0;
  for (DTM_NODE_ENUM id : ids) {
    path.m_places[i++] = id;
  }
  return path;
}

const DTM_PATH k_empty = path_of({});
const DTM_PATH k_abc = path_of({A, B, C});

std::size_t count_nodes(const DTM_NODE& node) {
  std::size_t count = 1;
  for (const DTM_NODE* child : node.get_nodes()) {
    count += count_nodes(*child);
  }
  return count;
}

// A value of the kind's type for seed s.
double value(const KIND_CASE& k, int s) { return k.m_float ? 100.25 + s : 100 + s; }

DTM_NODE* leaf_at(const DTM_NODE& root, const KIND_CASE& k, const DTM_PATH& path) {
  DTM_NODE* place = path.empty() ? const_cast<DTM_NODE*>(&root) : root.get_node_by_path(path);
  return place != nullptr ? place->get_sub_node(k.m_kind) : nullptr;
}

PAIRS stored_key(const DTM_NODE& leaf) {
  PAIRS pairs;
  const DTM_TREE_DATA_KEY* key = leaf.get_data_root()->get_key();
  for (DTM_SHORT i = 0; i < key->get_num_wrapper(); ++i) {
    pairs.emplace_back(key->get_wrappers()[i].get_enum_type(),
                       key->get_wrappers()[i].get_enum_id());
  }
  return pairs;
}

TEST_P(TypedNodes, AddThenGetThroughAThreeLevelPathBuildsTheLevelsOnce) {
  const KIND_CASE& k = GetParam();
  MSG_CAPTURE capture;
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(k.m_add(root, value(k, 1), 1, k_abc));
  EXPECT_EQ(count_nodes(root), 5U);
  const DTM_NODE* leaf = leaf_at(root, k, k_abc);
  ASSERT_NE(leaf, nullptr);
  EXPECT_EQ(typeid(*leaf), *k.m_class);
  EXPECT_EQ(leaf->get_id(), k.m_kind);
  EXPECT_TRUE(leaf->is_writable());
  EXPECT_FALSE(root.get_node(A, B)->get_sub_node(C)->get_nodes().empty());
  EXPECT_EQ(k.m_get(root, 1, k_abc), value(k, 1));

  // A second add on the same path with another key creates no node.
  ASSERT_TRUE(k.m_add(root, value(k, 2), 2, k_abc));
  EXPECT_EQ(count_nodes(root), 5U);
  EXPECT_EQ(k.m_get(root, 1, k_abc), value(k, 1));
  EXPECT_EQ(k.m_get(root, 2, k_abc), value(k, 2));
  EXPECT_EQ(leaf->get_data_root()->get_node_count(), 2U);

  // The same answers one level down, asked with the rest of the path.
  EXPECT_EQ(k.m_get(*root.get_node(A), 2, path_of({B, C})), value(k, 2));
  EXPECT_EQ(k.m_get(*root.get_node(A, B, C), 2, k_empty), value(k, 2));
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST_P(TypedNodes, GetAnswersTheKindsNotFoundValues) {
  const KIND_CASE& k = GetParam();
  MSG_CAPTURE capture;
  DTM_NODE root(DTM_ROOT, true);
  EXPECT_EQ(k.m_get(root, 1, k_empty), k.m_no_data);  // no leaf
  EXPECT_EQ(k.m_get(root, 1, k_abc), k.m_no_data);    // no path
  ASSERT_TRUE(k.m_add(root, value(k, 1), 1, k_abc));
  EXPECT_EQ(k.m_get(root, 1, path_of({A, B, D})), k.m_no_data);  // missing level
  EXPECT_EQ(k.m_get(root, 1, path_of({A, B})), k.m_no_data);     // level without the leaf
  EXPECT_EQ(k.m_get(root, 3, k_abc), k.m_absent);                // leaf without the key

  // A leaf without data.
  MEM_SEGMENT segment;
  DTM_NODE other(DTM_ROOT, true);
  ASSERT_TRUE(other.add_node(leaf_at(root, k, k_abc)->clone(&segment, false, false), A));
  EXPECT_EQ(k.m_get(other, 1, path_of({A})), k.m_no_data);
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST_P(TypedNodes, SetChangesOnlyWhatExistsAndCreatesNothing) {
  const KIND_CASE& k = GetParam();
  MSG_CAPTURE capture;
  DTM_NODE root(DTM_ROOT, true);
  EXPECT_FALSE(k.m_set(root, value(k, 5), 1, k_abc));
  EXPECT_FALSE(k.m_set(root, value(k, 5), 1, k_empty));
  EXPECT_EQ(count_nodes(root), 1U);

  ASSERT_TRUE(k.m_add(root, value(k, 1), 1, k_abc));
  EXPECT_TRUE(k.m_set(root, value(k, 7), 1, k_abc));
  EXPECT_EQ(k.m_get(root, 1, k_abc), value(k, 7));
  EXPECT_FALSE(k.m_set(root, value(k, 7), 2, k_abc));  // another key
  EXPECT_EQ(k.m_get(root, 2, k_abc), k.m_absent);
  EXPECT_FALSE(k.m_set(root, value(k, 7), 1, path_of({A, B})));
  EXPECT_EQ(count_nodes(root), 5U);
  EXPECT_TRUE(k.m_set(*root.get_node(A, B, C), value(k, 8), 1, k_empty));
  EXPECT_EQ(k.m_get(root, 1, k_abc), value(k, 8));
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST_P(TypedNodes, WritabilityGuardsTheLeafAndTheLevels) {
  const KIND_CASE& k = GetParam();
  const std::size_t before = MEM_MANAGER::get_counters().m_live_objects;
  {
    DTM_NODE root(DTM_ROOT, true);
    ASSERT_TRUE(k.m_add(root, value(k, 1), 1, k_abc));
    DTM_NODE* leaf = leaf_at(root, k, k_abc);
    leaf->set_unwritable();
    EXPECT_FALSE(k.m_add(root, value(k, 2), 2, k_abc));
    EXPECT_FALSE(k.m_set(root, value(k, 3), 1, k_abc));
    EXPECT_EQ(k.m_get(root, 1, k_abc), value(k, 1));
    EXPECT_EQ(k.m_get(root, 2, k_abc), k.m_absent);

    // A frozen level refuses to grow, and the leaf made for it is not kept.
    DTM_NODE frozen(DTM_ROOT, false);
    EXPECT_FALSE(k.m_add(frozen, value(k, 1), 1, k_abc));
    EXPECT_FALSE(k.m_add(frozen, value(k, 1), 1, k_empty));
    EXPECT_TRUE(frozen.get_nodes().empty());

    // ... but a path that exists is walked, and its writable leaf takes the delay.
    DTM_NODE walked(DTM_ROOT, true);
    ASSERT_TRUE(k.m_add(walked, value(k, 1), 1, k_abc));
    walked.set_unwritable();
    EXPECT_TRUE(k.m_add(walked, value(k, 2), 2, k_abc));
    EXPECT_EQ(k.m_get(walked, 2, k_abc), value(k, 2));
    EXPECT_FALSE(k.m_add(walked, value(k, 2), 2, path_of({D})));
    EXPECT_EQ(count_nodes(walked), 5U);
  }
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, before);
}

TEST_P(TypedNodes, LinkedLeafAnswersWhatTheLeafLacksButOnlyTheFirstLink) {
  const KIND_CASE& k = GetParam();
  MSG_CAPTURE capture;
  // Declared so that every node outlives the nodes linked to it: the chain
  // runs root's leaf -> master's leaf -> far_master's leaf.
  DTM_NODE far_master(DTM_ROOT, true);
  DTM_NODE master(DTM_ROOT, true);
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(k.m_add(root, value(k, 1), 1, path_of({A})));
  ASSERT_TRUE(k.m_add(master, value(k, 2), 2, path_of({A})));
  ASSERT_TRUE(k.m_add(master, value(k, 9), 1, path_of({A})));
  ASSERT_TRUE(k.m_add(far_master, value(k, 3), 3, path_of({A})));
  DTM_NODE* leaf = leaf_at(root, k, path_of({A}));
  leaf_at(master, k, path_of({A}))->append_node_to(leaf);
  leaf_at(far_master, k, path_of({A}))->append_node_to(leaf);

  EXPECT_EQ(k.m_get(root, 1, path_of({A})), value(k, 1));  // own value first
  EXPECT_EQ(k.m_get(root, 2, path_of({A})), value(k, 2));  // from the link
  EXPECT_EQ(k.m_get(root, 3, path_of({A})), k.m_absent);   // the second link is not asked
  EXPECT_EQ(k.m_get(*root.get_node(A), 2, k_empty), value(k, 2));
  // Set never follows links.
  EXPECT_FALSE(k.m_set(root, value(k, 4), 2, path_of({A})));
  EXPECT_EQ(capture.get_count(), 0U);

  // A leaf without any data falls back as well.
  DTM_NODE bare(DTM_ROOT, true);
  MEM_SEGMENT segment;
  DTM_NODE* empty_leaf = leaf->clone(&segment, false, false);
  ASSERT_TRUE(bare.add_node(empty_leaf, B));
  leaf_at(master, k, path_of({A}))->append_node_to(empty_leaf);
  EXPECT_EQ(k.m_get(bare, 2, path_of({B})), value(k, 2));

  // A linked node of another kind is reported and not asked.
  DTM_NODE stranger(D, true);
  DTM_NODE odd(DTM_ROOT, true);
  ASSERT_TRUE(k.m_add(odd, value(k, 1), 1, path_of({A})));
  stranger.append_node_to(leaf_at(odd, k, path_of({A})));
  EXPECT_EQ(k.m_get(odd, 2, path_of({A})), k.m_no_data);
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{k.m_link_text});
}

TEST_P(TypedNodes, KeysEncodeTheirPartsWithThePlusOneShift) {
  const KIND_CASE& k = GetParam();
  for (const int seed : {0, 3, 600}) {
    DTM_NODE root(DTM_ROOT, true);
    ASSERT_TRUE(k.m_add(root, value(k, seed), seed, k_empty));
    const DTM_NODE* leaf = root.get_sub_node(k.m_kind);
    ASSERT_NE(leaf, nullptr);
    EXPECT_EQ(stored_key(*leaf), k.m_key(seed)) << seed;
    EXPECT_EQ(k.m_get(root, seed, k_empty), value(k, seed)) << seed;
  }
}

TEST_P(TypedNodes, APathHandedToTheLeafIsReportedWhereTheKindSaysSo) {
  const KIND_CASE& k = GetParam();
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(k.m_add(root, value(k, 1), 1, k_empty));
  DTM_NODE& leaf = *root.get_sub_node(k.m_kind);
  const DTM_PATH handed = path_of({A});
  struct OP {
    unsigned m_bit;
    std::function<void()> m_call;
    std::function<void()> m_check;
  };
  const OP ops[] = {
      {GET, [&] { EXPECT_EQ(k.m_get(leaf, 1, handed), value(k, 1)); }, [] {}},
      {SET, [&] { EXPECT_TRUE(k.m_set(leaf, value(k, 6), 1, handed)); },
       [&] { EXPECT_EQ(k.m_get(root, 1, k_empty), value(k, 6)); }},
      {ADD, [&] { EXPECT_TRUE(k.m_add(leaf, value(k, 2), 2, handed)); },
       [&] { EXPECT_EQ(k.m_get(root, 2, k_empty), value(k, 2)); }},
  };
  for (const OP& op : ops) {
    if ((k.m_path_forms & op.m_bit) == 0) {
      continue;  // DTM_NODE's own form runs on the leaf: not the leaf's business
    }
    MSG_CAPTURE capture;
    op.m_call();
    op.m_check();
    const std::size_t expected = (k.m_path_reports & op.m_bit) != 0 ? 1U : 0U;
    EXPECT_EQ(capture.count_text("enum1 == DTM_NODE_NONE"), expected) << op.m_bit;
    EXPECT_EQ(capture.get_count(), expected) << op.m_bit;
    for (const MSG_REPORT& report : capture.get_reports()) {
      EXPECT_EQ(report.m_source, k.m_source);
    }
  }
}

// A path that names the leaf itself hands the call to the leaf: the kinds
// that answer their own path forms answer it, the others find no leaf below.
TEST_P(TypedNodes, APathEndingAtTheLeafReachesTheLeafsOwnForm) {
  const KIND_CASE& k = GetParam();
  MSG_CAPTURE capture;
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(k.m_add(root, value(k, 1), 1, path_of({A})));
  const DTM_PATH to_leaf = path_of({A, k.m_kind});
  const bool get_form = (k.m_path_forms & GET) != 0;
  EXPECT_EQ(k.m_get(root, 1, to_leaf), get_form ? value(k, 1) : k.m_no_data);
  const bool set_form = (k.m_path_forms & SET) != 0;
  EXPECT_EQ(k.m_set(root, value(k, 4), 1, to_leaf), set_form);
  EXPECT_EQ(k.m_get(root, 1, path_of({A})), set_form ? value(k, 4) : value(k, 1));
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST_P(TypedNodes, CloneCopiesTheLeafAndItsDataOnlyWhenAsked) {
  const KIND_CASE& k = GetParam();
  MSG_CAPTURE capture;
  MEM_SEGMENT segment;
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(k.m_add(root, value(k, 1), 1, path_of({A})));
  DTM_NODE* leaf = leaf_at(root, k, path_of({A}));
  leaf->set_description("leaf text");
  leaf->set_version(3);
  leaf->set_bin(2);
  leaf->set_unwritable();
  for (const bool copy_data : {false, true}) {
    DTM_NODE* copy = leaf->clone(&segment, true, copy_data);
    EXPECT_EQ(typeid(*copy), *k.m_class);
    EXPECT_EQ(copy->get_id(), k.m_kind);
    EXPECT_TRUE(copy->is_writable());
    EXPECT_EQ(copy->get_description(), "leaf text");
    EXPECT_EQ(copy->get_version(), 3);
    EXPECT_EQ(copy->get_bin(), 2);
    EXPECT_EQ(copy->get_linked_node(), nullptr);
    DTM_NODE other(DTM_ROOT, true);
    ASSERT_TRUE(other.add_node(copy, A));
    if (copy_data) {
      EXPECT_EQ(k.m_get(other, 1, path_of({A})), value(k, 1));
      EXPECT_TRUE(k.m_set(other, value(k, 5), 1, path_of({A})));
      EXPECT_EQ(k.m_get(root, 1, path_of({A})), value(k, 1));  // independent
    } else {
      EXPECT_EQ(copy->get_data_root(), nullptr);
      EXPECT_EQ(k.m_get(other, 1, path_of({A})), k.m_no_data);
    }
  }
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST_P(TypedNodes, ADuplicateKeyKeepsTheFirstValue) {
  const KIND_CASE& k = GetParam();
  MSG_CAPTURE capture;
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(k.m_add(root, value(k, 1), 1, k_abc));
  testing::internal::CaptureStdout();
  EXPECT_TRUE(k.m_add(root, value(k, 4), 1, k_abc));
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(k.m_get(root, 1, k_abc), value(k, 1));
  EXPECT_EQ(out, "Debug Warning: There is a duplicate line in the DMF file!\n");
  EXPECT_EQ(capture.count_text("Duplicate DMF lines contain mismatching delays"), 1U);
}

// A child that carries the kind's id but is a plain node is no leaf.
TEST_P(TypedNodes, APlainNodeWithTheKindsIdIsReportedAndNotUsed) {
  const KIND_CASE& k = GetParam();
  MSG_CAPTURE capture;
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(root.add_node(new DTM_NODE(k.m_kind, true), A));
  EXPECT_FALSE(k.m_add(root, value(k, 1), 1, path_of({A})));
  EXPECT_EQ(k.m_get(root, 1, path_of({A})), k.m_no_data);
  EXPECT_FALSE(k.m_set(root, value(k, 1), 1, path_of({A})));
  EXPECT_EQ(capture.get_count(), 3U);
  EXPECT_EQ(count_nodes(root), 3U);
  const std::vector<std::string> texts = capture.get_texts();
  EXPECT_EQ(texts.front().rfind("typeid(*node) == typeid(DTM_", 0), 0U) << texts.front();
  EXPECT_EQ(capture.count_text(texts.front()), 3U);
}

TEST_P(TypedNodes, ACloneWithoutSegmentIsReportedByTheLeafsSource) {
  const KIND_CASE& k = GetParam();
  MSG_CAPTURE capture;
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(k.m_add(root, value(k, 1), 1, k_empty));
  DTM_NODE* copy = root.get_sub_node(k.m_kind)->clone(nullptr, false, true);
  ASSERT_EQ(capture.get_count(), 1U);
  EXPECT_EQ(capture.get_texts().front(), "segment != 0");
  EXPECT_EQ(capture.get_reports().front().m_source, k.m_source);
  DTM_NODE other(DTM_ROOT, true);
  ASSERT_TRUE(other.add_node(copy));
  EXPECT_EQ(k.m_get(other, 1, k_empty), value(k, 1));
}

INSTANTIATE_TEST_SUITE_P(Kinds, TypedNodes, ::testing::ValuesIn(k_kinds), case_name);

// --- What only some kinds do -----------------------------------------------------------

TEST(TypedNodeRules, IntegerIndexesAboveTheLimitAreNeverLookedUp) {
  MSG_CAPTURE capture;
  DTM_NODE master(DTM_ROOT, true);  // outlives the node linked to it
  DTM_NODE root(DTM_ROOT, true);
  for (const int index : {-1, 0, 1023, 1024, 5000}) {
    ASSERT_TRUE(root.add_integer_node_delay(index + 10, PIPELINE_STAGES, index, A));
  }
  EXPECT_EQ(root.get_integer_node_delay(PIPELINE_STAGES, -1, A), 9);
  EXPECT_EQ(root.get_integer_node_delay(PIPELINE_STAGES, 0, A), 10);
  EXPECT_EQ(root.get_integer_node_delay(PIPELINE_STAGES, 1023, A), 1033);
  EXPECT_EQ(root.get_integer_node_delay(PIPELINE_STAGES, 1024, A), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(root.get_integer_node_delay(PIPELINE_STAGES, 5000, A), DTM_ILLEGAL_DELAY);
  // The leaf itself has no limit; set is not limited either.
  const auto* leaf = static_cast<const DTM_INTEGER_NODE*>(root.get_node(A, DTM_INTEGER));
  EXPECT_EQ(leaf->get_integer_node_delay(PIPELINE_STAGES, 1024), 1034);
  EXPECT_TRUE(root.set_integer_node_delay(7, PIPELINE_STAGES, 1024, A));
  EXPECT_EQ(leaf->get_integer_node_delay(PIPELINE_STAGES, 1024), 7);

  // Nor is a linked leaf asked for such an index.
  ASSERT_TRUE(master.add_integer_node_delay(1, PLL_MULTIPLY, 1024, A));
  ASSERT_TRUE(master.add_integer_node_delay(2, PLL_MULTIPLY, 1023, A));
  master.get_node(A, DTM_INTEGER)->append_node_to(root.get_node(A, DTM_INTEGER));
  EXPECT_EQ(root.get_integer_node_delay(PLL_MULTIPLY, 1023, A), 2);
  EXPECT_EQ(root.get_integer_node_delay(PLL_MULTIPLY, 1024, A), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST(TypedNodeRules, ReTableKeysWithAndWithoutAKindLiveSideBySide) {
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(root.add_re_table_node_delay(11, CDB_RE_DFF, CDB_RE_DFFE, DTM_NONE, A));
  ASSERT_TRUE(root.add_re_table_node_delay(22, CDB_RE_DFF, CDB_RE_DFFE, MIN_DELAY, A));
  EXPECT_EQ(root.get_re_table_node_delay(CDB_RE_DFF, CDB_RE_DFFE, DTM_NONE, A), 11);
  EXPECT_EQ(root.get_re_table_node_delay(CDB_RE_DFF, CDB_RE_DFFE, MIN_DELAY, A), 22);
  EXPECT_EQ(root.get_re_table_node_delay(CDB_RE_DFF, CDB_RE_DFFE, MAX_DELAY, A), DTM_ILLEGAL_DELAY);
  EXPECT_TRUE(root.set_re_table_node_delay(33, CDB_RE_DFF, CDB_RE_DFFE, DTM_NONE, A));
  EXPECT_EQ(root.get_re_table_node_delay(CDB_RE_DFF, CDB_RE_DFFE, MIN_DELAY, A), 22);
  EXPECT_EQ(root.get_re_table_node_delay(CDB_RE_DFF, CDB_RE_DFFE, DTM_NONE, A), 33);
  EXPECT_EQ(root.get_node(A, DTM_RE_TABLE)->get_data_root()->get_node_count(), 2U);

  // Only the kind DTM_NONE drops the third part.
  DTM_NODE one(DTM_ROOT, true);
  ASSERT_TRUE(one.add_re_table_node_delay(5, CDB_RE_DFF, CDB_RE_DFF, MIN_DELAY));
  EXPECT_EQ(one.get_re_table_node_delay(CDB_RE_DFF, CDB_RE_DFF, DTM_NONE), DTM_ILLEGAL_DELAY);
}

TEST(TypedNodeRules, TableLeavesAnswerTheirOwnOperationsWithoutPath) {
  DTM_TABLE_NODE table(true);
  EXPECT_EQ(table.get_table_node_delay(ROW_0, COL_0), DTM_ILLEGAL_DELAY);
  EXPECT_FALSE(table.set_table_node_delay(1, ROW_0, COL_0));
  EXPECT_TRUE(table.add_table_node_delay(4, ROW_0, COL_0));
  EXPECT_TRUE(table.set_table_node_delay(5, ROW_0, COL_0));
  EXPECT_EQ(table.get_table_node_delay(ROW_0, COL_0), 5);

  DTM_FLOAT_TABLE_NODE floats(true);
  EXPECT_EQ(floats.get_float_table_node_delay(ROW_0, COL_0), -2147483647.0);
  EXPECT_TRUE(floats.add_float_table_node_delay(0.5, ROW_0, COL_0));
  EXPECT_EQ(floats.get_float_table_node_delay(ROW_0, COL_0), 0.5);
  EXPECT_EQ(floats.get_float_table_node_delay(ROW_0, COL_1), DTM_ILLEGAL_FLOAT);

  DTM_INTEGER_NODE integers(true);
  EXPECT_TRUE(integers.add_integer_node_delay(3, DTM_NONE, 7));
  EXPECT_EQ(integers.get_integer_node_delay(DTM_NONE, 7), 3);

  // Reached from DTM_NODE through a path that ends at the leaf itself, the
  // table kinds find no leaf below it.
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(root.add_table_node_delay(4, ROW_0, COL_0, A));
  EXPECT_EQ(root.get_table_node_delay(ROW_0, COL_0, A, DTM_TABLE), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(root.get_micro_node_delay(TCO_DELAY, A, DTM_TABLE), DTM_ILLEGAL_DELAY);
}

TEST(TypedNodeRules, AFreshLeafGetsItsTreeOnTheFirstAddAndTheRootFollowsRebalancing) {
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(root.add_micro_node_delay(1, TCO_DELAY, A));
  const DTM_NODE* leaf = root.get_node(A, DTM_MICRO);
  const DTM_TREE_DATA* first_root = leaf->get_data_root();
  ASSERT_NE(first_root, nullptr);
  ASSERT_TRUE(root.add_micro_node_delay(2, TSU_DELAY, A));
  ASSERT_TRUE(root.add_micro_node_delay(3, TPD_DELAY, A));  // increasing keys: rotates
  EXPECT_NE(leaf->get_data_root(), first_root);
  EXPECT_EQ(leaf->get_data_root()->get_node_count(), 3U);
  for (const auto& [kind, expected] : {std::pair{TCO_DELAY, 1}, {TSU_DELAY, 2}, {TPD_DELAY, 3}}) {
    EXPECT_EQ(root.get_micro_node_delay(kind, A), expected);
  }
}

}  // namespace
