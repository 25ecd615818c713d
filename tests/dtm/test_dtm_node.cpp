// The node core: children, path walks, add_node / remove_node, links,
// ownership on destruction, and the static mappings.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "dtm_micro_node.h"
#include "dtm_node.h"
#include "dtm_tree_data.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

constexpr DTM_NODE_ENUM A = DTM_MAP_CORE;
constexpr DTM_NODE_ENUM B = DTM_MAP_LOGIC_ARRAY;
constexpr DTM_NODE_ENUM C = DTM_MAP_LOGIC_BLOCK;
constexpr DTM_NODE_ENUM D = DTM_MAP_LOGIC_CELL;

std::size_t live_objects() { return MEM_MANAGER::get_counters().m_live_objects; }

std::size_t count_nodes(const DTM_NODE& node) {
  std::size_t count = 1;
  for (const DTM_NODE* child : node.get_nodes()) {
    count += count_nodes(*child);
  }
  return count;
}

std::vector<DTM_NODE_ENUM> child_ids(const DTM_NODE& node) {
  std::vector<DTM_NODE_ENUM> ids;
  for (const DTM_NODE* child : node.get_nodes()) {
    ids.push_back(child->get_id());
  }
  return ids;
}

TEST(DtmNode, ConstructorGivesDefaultsAndAccessorsWork) {
  DTM_NODE node(DTM_ROOT, true);
  EXPECT_EQ(node.get_id(), DTM_ROOT);
  EXPECT_TRUE(node.is_writable());
  EXPECT_TRUE(node.get_description().empty());
  EXPECT_EQ(node.get_version(), 0);
  EXPECT_EQ(node.get_bin(), 0);
  EXPECT_EQ(node.get_data_root(), nullptr);
  EXPECT_EQ(node.get_linked_node(), nullptr);
  EXPECT_TRUE(node.get_nodes().empty());

  node.set_description("first");
  node.set_description("second text");
  EXPECT_EQ(node.get_description(), "second text");
  node.set_version(3);
  node.set_bin(-2);
  EXPECT_EQ(node.get_version(), 3);
  EXPECT_EQ(node.get_bin(), -2);
  node.set_unwritable();
  EXPECT_FALSE(node.is_writable());
  node.set_unwritable();
  EXPECT_FALSE(node.is_writable());
}

TEST(DtmNode, GetSubNodeTakesTheFirstMatchAndTheSecondIdOnlyWithoutTheFirst) {
  DTM_NODE root(DTM_ROOT, true);
  auto* first_b = new DTM_NODE(B, true);
  auto* second_b = new DTM_NODE(B, true);
  auto* c = new DTM_NODE(C, true);
  ASSERT_TRUE(root.add_node(first_b));
  ASSERT_TRUE(root.add_node(c));
  ASSERT_TRUE(root.add_node(second_b));  // same id again: appended behind
  EXPECT_EQ(child_ids(root), (std::vector<DTM_NODE_ENUM>{B, C, B}));

  EXPECT_EQ(root.get_sub_node(B, DTM_NODE_NONE), first_b);
  EXPECT_EQ(root.get_sub_node(C, B), c);  // e1 given: e2 is not looked at
  EXPECT_EQ(root.get_sub_node(DTM_NODE_NONE, C), c);
  EXPECT_EQ(root.get_sub_node(D, B), nullptr);
  EXPECT_EQ(root.get_sub_node(DTM_NODE_NONE, DTM_NODE_NONE), nullptr);
  EXPECT_EQ(root.get_node(B), first_b);
}

TEST(DtmNode, GetNodeWalksThePathAndAnEmptyPathNamesNoNode) {
  DTM_NODE root(DTM_ROOT, true);
  auto* leaf = new DTM_NODE(D, true);
  ASSERT_TRUE(root.add_node(leaf, A, B, C));
  struct CASE {
    std::vector<DTM_NODE_ENUM> m_path;
    const DTM_NODE* m_expected;
  };
  const DTM_NODE* a = root.get_sub_node(A);
  ASSERT_NE(a, nullptr);
  const CASE cases[] = {
      {{}, nullptr},        {{A}, a},
      {{A, B, C, D}, leaf}, {{A, B, C, D, A}, nullptr},  // below the leaf there is nothing
      {{B}, nullptr},       {{A, C}, nullptr},
  };
  for (const CASE& c : cases) {
    DTM_PATH path;
    std::copy(c.m_path.begin(), c.m_path.end(), path.m_places);
    EXPECT_EQ(root.get_node(DTM_PATH_SPREAD(path)), c.m_expected) << c.m_path.size();
    EXPECT_EQ(root.get_node_by_path(path), c.m_expected) << c.m_path.size();
  }
  // Places after the first DTM_NODE_NONE are not read.
  EXPECT_EQ(root.get_node(A, DTM_NODE_NONE, C), a);
}

TEST(DtmNode, GetNodeWalksAllTenPlaces) {
  DTM_NODE root(DTM_ROOT, true);
  const DTM_NODE_ENUM ids[10] = {A, B, C, D, A, B, C, D, A, B};
  auto* deepest = new DTM_NODE(C, true);
  ASSERT_TRUE(root.add_node(deepest, ids[0], ids[1], ids[2], ids[3], ids[4], ids[5], ids[6], ids[7],
                            ids[8], ids[9]));
  EXPECT_EQ(count_nodes(root), 12U);
  EXPECT_EQ(
      root.get_node(ids[0], ids[1], ids[2], ids[3], ids[4], ids[5], ids[6], ids[7], ids[8], ids[9])
          ->get_sub_node(C),
      deepest);
}

TEST(DtmNode, AddNodeCreatesMissingLevelsOnceWithTheParentsWritability) {
  DTM_NODE root(DTM_ROOT, true);
  auto* first = new DTM_NODE(D, false);
  ASSERT_TRUE(root.add_node(first, A, B, C));
  EXPECT_EQ(count_nodes(root), 5U);
  const DTM_NODE* c = root.get_node(A, B, C);
  ASSERT_NE(c, nullptr);
  EXPECT_TRUE(c->is_writable());
  EXPECT_EQ(c->get_nodes(), DTM_NODE::NODES{first});

  auto* second = new DTM_NODE(D, true);
  ASSERT_TRUE(root.add_node(second, A, B, C));
  EXPECT_EQ(count_nodes(root), 6U);  // only the new node itself
  EXPECT_EQ(root.get_node(A, B, C, D), first);
}

TEST(DtmNode, AddNodeRefusesWithoutChangingTheTree) {
  MSG_CAPTURE capture;
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(root.add_node(new DTM_NODE(A, true)));
  DTM_NODE frozen(DTM_ROOT, false);
  DTM_NODE no_id(DTM_NODE_NONE, true);
  DTM_NODE plain(B, true);

  EXPECT_FALSE(frozen.add_node(&plain));
  EXPECT_FALSE(frozen.add_node(&plain, A, B));
  EXPECT_TRUE(frozen.get_nodes().empty());
  EXPECT_FALSE(root.add_node(nullptr, A));
  EXPECT_FALSE(root.add_node(&no_id));
  EXPECT_FALSE(root.add_node(&no_id, A));
  EXPECT_EQ(count_nodes(root), 2U);

  // A level that exists but is frozen refuses below it.
  root.get_sub_node(A)->set_unwritable();
  EXPECT_FALSE(root.add_node(&plain, A));
  EXPECT_FALSE(root.add_node(&plain, A, C));
  EXPECT_EQ(count_nodes(root), 2U);
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST(DtmNode, RemoveNodeDetachesWithoutDestroying) {
  const std::size_t before = live_objects();
  {
    DTM_NODE root(DTM_ROOT, true);
    auto* leaf = new DTM_NODE(D, true);
    leaf->set_description("kept");
    ASSERT_TRUE(root.add_node(leaf, A, B));
    const std::size_t held = live_objects();

    EXPECT_FALSE(root.remove_node());
    EXPECT_FALSE(root.remove_node(C));
    EXPECT_FALSE(root.remove_node(A, C));
    EXPECT_TRUE(root.remove_node(A, B, D));
    EXPECT_EQ(root.get_node(A, B, D), nullptr);
    EXPECT_TRUE(root.get_node(A, B)->get_nodes().empty());
    EXPECT_EQ(live_objects(), held);  // nothing freed
    EXPECT_EQ(leaf->get_description(), "kept");
    delete leaf;

    DTM_NODE frozen(DTM_ROOT, true);
    ASSERT_TRUE(frozen.add_node(new DTM_NODE(A, true)));
    frozen.set_unwritable();
    EXPECT_FALSE(frozen.remove_node(A));
    EXPECT_NE(frozen.get_sub_node(A), nullptr);
  }
  EXPECT_EQ(live_objects(), before);
}

TEST(DtmNode, RemovingTheFirstOfTwoEqualIdsUncoversTheSecond) {
  DTM_NODE root(DTM_ROOT, true);
  auto* first = new DTM_NODE(B, true);
  auto* other = new DTM_NODE(C, true);
  auto* second = new DTM_NODE(B, true);
  ASSERT_TRUE(root.add_node(first));
  ASSERT_TRUE(root.add_node(other));
  ASSERT_TRUE(root.add_node(second));
  ASSERT_TRUE(root.remove_node(B));
  delete first;
  EXPECT_EQ(root.get_sub_node(B), second);
  EXPECT_EQ(child_ids(root), (std::vector<DTM_NODE_ENUM>{C, B}));
  ASSERT_TRUE(root.remove_node(B));
  delete second;
  EXPECT_EQ(root.get_sub_node(B), nullptr);
  EXPECT_EQ(root.get_sub_node(C), other);
}

// The child index against a literal scan of m_nodes, through many adds and
// removes of colliding and repeated ids.
TEST(DtmNode, ChildLookupAgreesWithALiteralScan) {
  DTM_NODE root(DTM_ROOT, true);
  std::mt19937 random(12345);
  std::vector<DTM_NODE*> detached;
  auto scan = [&root](DTM_NODE_ENUM id) -> DTM_NODE* {
    for (DTM_NODE* child : root.get_nodes()) {
      if (child->get_id() == id) {
        return child;
      }
    }
    return nullptr;
  };
  for (int step = 0; step < 4000; ++step) {
    const auto id = static_cast<DTM_NODE_ENUM>(1 + random() % 137);
    if (random() % 3 != 0) {
      ASSERT_TRUE(root.add_node(new DTM_NODE(id, true)));
    } else if (DTM_NODE* found = scan(id); found != nullptr) {
      ASSERT_TRUE(root.remove_node(id));
      detached.push_back(found);
    }
    if (step % 50 == 0) {
      for (int other = 0; other <= 140; ++other) {
        const auto probe = static_cast<DTM_NODE_ENUM>(other);
        ASSERT_EQ(root.get_sub_node(probe), probe == DTM_NODE_NONE ? nullptr : scan(probe))
            << "step " << step << " id " << other;
      }
    }
  }
  for (DTM_NODE* node : detached) {
    delete node;
  }
}

// A reader fills the child list of an empty node directly; lookups must see
// those children (and report a null entry) without being told.
class FILLED_NODE : public DTM_NODE {
 public:
  FILLED_NODE() : DTM_NODE(DTM_ROOT, true) {}
  void fill(DTM_NODE* child) { m_nodes.push_back(child); }
};

TEST(DtmNode, ChildrenPlacedInTheListDirectlyAreFound) {
  MSG_CAPTURE capture;
  FILLED_NODE root;
  auto* first = new DTM_NODE(A, true);
  auto* second = new DTM_NODE(B, true);
  auto* again = new DTM_NODE(A, true);
  ASSERT_TRUE(root.add_node(first));
  root.fill(second);
  root.fill(nullptr);
  root.fill(again);
  EXPECT_EQ(root.get_sub_node(A), first);
  EXPECT_EQ(capture.get_count(), 0U);  // a hit needs no check
  EXPECT_EQ(root.get_sub_node(B), second);
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"node != 0"});
  ASSERT_TRUE(root.remove_node(A));
  delete first;
  EXPECT_EQ(root.get_sub_node(A), again);
  root.fill(first = new DTM_NODE(C, true));
  ASSERT_TRUE(root.remove_node(C));  // a remove right after a direct fill
  delete first;
  EXPECT_EQ(root.get_sub_node(C), nullptr);
  EXPECT_EQ(root.get_sub_node(A), again);
  EXPECT_EQ(root.get_sub_node(B), second);
}

TEST(DtmNode, AppendNodeToThreadsAChainAtItsTail) {
  MSG_CAPTURE capture;
  // Declared tail first: a node's destructor reads the version of its link.
  DTM_NODE third(A, true);
  DTM_NODE second(A, true);
  DTM_NODE head(A, true);
  second.append_node_to(&head);
  third.append_node_to(&head);
  EXPECT_EQ(head.get_linked_node(), &second);
  EXPECT_EQ(second.get_linked_node(), &third);
  EXPECT_EQ(third.get_linked_node(), nullptr);
  EXPECT_EQ(capture.get_count(), 0U);

  third.append_node_to(nullptr);
  EXPECT_EQ(capture.count_text("parent!=0"), 1U);
  // Appending a node to a chain that holds it would close a cycle.
  second.append_node_to(&head);
  head.append_node_to(&head);
  EXPECT_EQ(capture.count_text("tail != this"), 2U);
  EXPECT_EQ(third.get_linked_node(), nullptr);
  EXPECT_EQ(head.get_linked_node(), &second);
}

// Destruction frees the children, the data, and the linked node only when
// that node's version is 1.
TEST(DtmNode, DestructionOwnsTheLinkedNodeOfVersionOne) {
  const std::size_t before = live_objects();
  for (const short version : {short{0}, short{1}, short{2}}) {
    auto* master = new DTM_NODE(A, true);
    ASSERT_TRUE(master->add_micro_node_delay(5, TCO_DELAY, B));
    master->set_version(version);
    auto* copy = new DTM_NODE(A, true);
    ASSERT_TRUE(copy->add_node(new DTM_NODE(B, true)));
    master->append_node_to(copy);
    delete copy;
    if (version == 1) {
      EXPECT_EQ(live_objects(), before) << version;
    } else {
      EXPECT_GT(live_objects(), before) << version;
      EXPECT_EQ(master->get_micro_node_delay(TCO_DELAY, B), 5);
      delete master;
      EXPECT_EQ(live_objects(), before) << version;
    }
  }
}

TEST(DtmNode, SetTreeDataRootReplacesAndFreesTheOldTree) {
  const std::size_t before = live_objects();
  {
    DTM_MICRO_NODE leaf(true);
    const std::size_t empty = live_objects();
    ASSERT_TRUE(leaf.add_micro_node_delay(7, TCO_DELAY));
    const std::size_t one_entry = live_objects() - empty;

    auto* tree = new DTM_TREE_INT_DATA(
        9, new DTM_TREE_DATA_KEY(1, DTM_ENUM_WRAPPER(DTM_WRAPPER_DTM_ENUM, TSU_DELAY)));
    EXPECT_TRUE(leaf.set_tree_data_root(tree));
    EXPECT_EQ(live_objects(), empty + one_entry);  // the old tree is gone
    EXPECT_EQ(leaf.get_data_root(), tree);
    EXPECT_EQ(leaf.get_micro_node_delay(TSU_DELAY), 9);
    EXPECT_EQ(leaf.get_micro_node_delay(TCO_DELAY), DTM_ILLEGAL_DELAY);

    EXPECT_TRUE(leaf.set_tree_data_root(tree));  // the same tree: kept
    EXPECT_EQ(leaf.get_micro_node_delay(TSU_DELAY), 9);
    EXPECT_TRUE(leaf.set_tree_data_root(nullptr));
    EXPECT_EQ(live_objects(), empty);
    EXPECT_EQ(leaf.get_micro_node_delay(TSU_DELAY), DTM_ILLEGAL_DELAY);
  }
  EXPECT_EQ(live_objects(), before);
}

TEST(DtmNode, ScaleReachesEveryLeafBelow) {
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(root.add_micro_node_delay(10, TCO_DELAY, A));
  ASSERT_TRUE(root.add_micro_node_delay(30, TCO_DELAY, A, B, C));
  ASSERT_TRUE(root.add_rc_float(1.5, CDB_RE_DFF, RC_RESISTANCE, RC_RISE, B));
  root.scale(2.0);
  EXPECT_EQ(root.get_micro_node_delay(TCO_DELAY, A), 20);
  EXPECT_EQ(root.get_micro_node_delay(TCO_DELAY, A, B, C), 60);
  EXPECT_DOUBLE_EQ(root.get_rc_float(CDB_RE_DFF, RC_RESISTANCE, RC_RISE, B), 3.0);
}

TEST(DtmNode, OutlineDumpIndentsByDepth) {
  DTM_NODE root(DTM_ROOT, true);
  auto* core = new DTM_NODE(A, true);
  core->set_description("the core");
  ASSERT_TRUE(root.add_node(core));
  ASSERT_TRUE(root.add_node(new DTM_NODE(C, true), A, B));
  std::ostringstream os;
  root.dump_tree(os, 0, 0, 0);
  EXPECT_EQ(os.str(),
            "DTM_ROOT\n"
            "|-  DTM_MAP_CORE\n"
            "|-  Description:  the core\n"
            "|-  |-  DTM_MAP_LOGIC_ARRAY\n"
            "|-  |-  |-  DTM_MAP_LOGIC_BLOCK\n");
  std::ostringstream none;
  root.dump_tree_in_dmf_format(none, "prefix");
  EXPECT_TRUE(none.str().empty());
}

TEST(DtmNode, PlainCloneCopiesTheIdAndWithRecursionTheStructure) {
  MSG_CAPTURE capture;
  MEM_SEGMENT segment("clone");
  DTM_NODE root(DTM_ROOT, true);
  root.set_description("not copied");
  root.set_version(4);
  ASSERT_TRUE(root.add_micro_node_delay(12, TCO_DELAY, A, B));
  root.set_unwritable();

  DTM_NODE* flat = root.clone(&segment, false, true);
  EXPECT_EQ(flat->get_id(), DTM_ROOT);
  EXPECT_TRUE(flat->is_writable());
  EXPECT_TRUE(flat->get_nodes().empty());
  EXPECT_TRUE(flat->get_description().empty());
  EXPECT_EQ(flat->get_version(), 0);
  delete flat;

  DTM_NODE* shape = root.clone(&segment, true, false);
  EXPECT_EQ(count_nodes(*shape), count_nodes(root));
  ASSERT_NE(shape->get_node(A, B, DTM_MICRO), nullptr);
  EXPECT_EQ(shape->get_micro_node_delay(TCO_DELAY, A, B), DTM_ILLEGAL_DELAY);
  delete shape;

  DTM_NODE* full = root.clone(&segment, true, true);
  EXPECT_EQ(full->get_micro_node_delay(TCO_DELAY, A, B), 12);
  EXPECT_TRUE(full->set_micro_node_delay(13, TCO_DELAY, A, B));
  EXPECT_EQ(root.get_micro_node_delay(TCO_DELAY, A, B), 12);
  delete full;
  EXPECT_EQ(capture.get_count(), 0U);
  EXPECT_GT(segment.get_placed_objects(), 0U);

  DTM_NODE* unplaced = root.clone(nullptr, false, false);
  EXPECT_EQ(capture.count_text("segment != 0"), 1U);
  delete unplaced;
}

TEST(DtmNode, AHundredThousandLeavesAreBuiltAndFreed) {
  // Map types only: 1 to 46 and 67 to 137.
  std::vector<DTM_NODE_ENUM> ids;
  for (int id = 1; id <= 137; ++id) {
    if (id <= 46 || id >= 67) {
      ids.push_back(static_cast<DTM_NODE_ENUM>(id));
    }
  }
  const std::size_t n = ids.size();
  const MEM_COUNTERS before = MEM_MANAGER::get_counters();
  {
    DTM_NODE root(DTM_ROOT, true);
    for (std::size_t i = 0; i < 100000; ++i) {
      ASSERT_TRUE(root.add_micro_node_delay(static_cast<int>(i), TCO_DELAY, ids[i % n],
                                            ids[(i / n) % n], ids[i / (n * n)]));
    }
    EXPECT_EQ(count_nodes(root), 1 + n + n * n + 100000 + 100000);
    EXPECT_EQ(root.get_micro_node_delay(TCO_DELAY, ids[0], ids[0], ids[0]), 0);
    EXPECT_EQ(root.get_micro_node_delay(TCO_DELAY, ids[1], ids[0], ids[0]), 1);
    EXPECT_EQ(root.get_micro_node_delay(TCO_DELAY, ids[0], ids[1], ids[0]), static_cast<int>(n));
    EXPECT_EQ(root.get_micro_node_delay(TCO_DELAY, ids[0], ids[0], ids[1]),
              static_cast<int>(n * n));
  }
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, before.m_live_objects);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, before.m_live_bytes);
}

// --- Static mappings ------------------------------------------------------------------

TEST(DtmNodeMapping, IndexMapsOntoTheThirtySevenIndexMembers) {
  const std::pair<int, std::int32_t> cases[] = {{0, 394}, {1, 395}, {18, 412}, {36, 430},
                                                {37, 0},  {-1, 0},  {1000, 0}, {-394, 0}};
  for (const auto& [index, expected] : cases) {
    EXPECT_EQ(DTM_NODE::get_dtm_enum_for_index(index), expected) << index;
  }
  EXPECT_EQ(DTM_NODE::get_dtm_enum_for_index(0), INDEX_0);
  EXPECT_EQ(DTM_NODE::get_dtm_enum_for_index(36), INDEX_36);
}

TEST(DtmNodeMapping, IoStandardsMapByTheFixedTable) {
  const std::pair<std::int32_t, std::int32_t> known[] = {
      {1, 0},    {3, 298},  {4, 298},  {5, 299},  {8, 288},  {9, 289},  {10, 290}, {12, 300},
      {14, 306}, {15, 311}, {16, 292}, {17, 312}, {18, 305}, {19, 304}, {20, 293}, {21, 301},
      {22, 302}, {23, 303}, {24, 314}, {25, 315}, {26, 287}, {27, 294}, {28, 295}, {31, 321},
      {32, 322}, {33, 316}, {36, 297}, {37, 337}, {39, 296}, {40, 308}, {41, 309}, {42, 307},
      {43, 323}, {44, 324}, {45, 325}, {46, 326}, {47, 327}, {50, 330}, {51, 331}, {52, 332},
      {53, 333}, {54, 336}, {55, 338}, {56, 334}, {57, 335}, {58, 310}, {59, 725}};
  MSG_CAPTURE capture;
  for (const auto& [device, timing] : known) {
    EXPECT_EQ(
        DTM_NODE::get_io_standard_dtm_enum_from_dev_enum(static_cast<DEV_IO_STANDARD_ENUM>(device)),
        timing)
        << device;
  }
  EXPECT_EQ(capture.get_count(), 0U);

  // Every other value is unknown, inside the device range or beyond it.
  std::vector<std::int32_t> unknown = {-1, 60, 61, 1000, INT32_MIN, INT32_MAX};
  for (std::int32_t device = 0; device <= 59; ++device) {
    if (std::none_of(std::begin(known), std::end(known),
                     [device](const auto& row) { return row.first == device; })) {
      unknown.push_back(device);
    }
  }
  EXPECT_EQ(unknown.size(), 6U + 13U);
  for (const std::int32_t device : unknown) {
    capture.clear();
    EXPECT_EQ(
        DTM_NODE::get_io_standard_dtm_enum_from_dev_enum(static_cast<DEV_IO_STANDARD_ENUM>(device)),
        DTM_NONE)
        << device;
    EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"unknown IO standard"}) << device;
  }
}

TEST(DtmNodeMapping, PhysicalImplementationsMapByRange) {
  const std::pair<std::int32_t, std::int32_t> cases[] = {
      {INT32_MIN, 41}, {-1, 41},  {0, 41},   {46, 41},       {47, 42},  {70, 42},
      {71, 41},        {82, 41},  {83, 40},  {134, 40},      {135, 42}, {146, 42},
      {147, 41},       {158, 41}, {500, 41}, {INT32_MAX, 41}};
  for (const auto& [impl, expected] : cases) {
    EXPECT_EQ(DTM_NODE::get_io_phys_impl_dtm_node_enum_from_dev_enum(
                  static_cast<DEV_PHYS_IMPL_ENUM>(impl)),
              expected)
        << impl;
  }
  EXPECT_EQ(DTM_MAP_IO_HIGH_SPEED, 40);
  EXPECT_EQ(DTM_MAP_IO_ROW, 41);
  EXPECT_EQ(DTM_MAP_IO_COLUMN, 42);
}

}  // namespace
