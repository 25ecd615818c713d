#include <gtest/gtest.h>

#include <cmath>
#include <iostream>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "dbs_translator.h"
#include "dtm_tree_data.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

using W = DTM_ENUM_WRAPPER;
using KEY = DTM_TREE_DATA_KEY;
using TREE = std::unique_ptr<DTM_TREE_DATA>;

constexpr const char* k_duplicate_warning =
    "Debug Warning: There is a duplicate line in the DMF file!\n";
constexpr const char* k_mismatch = "Duplicate DMF lines contain mismatching delays";
const W k_none;

// Standard output, captured while alive.
class COUT_CAPTURE {
 public:
  COUT_CAPTURE() : m_previous(std::cout.rdbuf(m_text.rdbuf())) {}
  ~COUT_CAPTURE() { std::cout.rdbuf(m_previous); }
  std::string str() const { return m_text.str(); }

 private:
  std::ostringstream m_text;
  std::streambuf* m_previous;
};

// Index keys print as their number, whatever the enumeration names are.
W ix(int index) { return W::for_index(index); }
KEY* index_key(int index) { return MEM_MANAGER::new_wrapper<KEY>(1, ix(index)); }

// An integer tree of the given index keys, each holding 10 * index.
TREE int_tree(const std::vector<int>& ids) {
  DTM_TREE_DATA* root = nullptr;
  for (int id : ids) {
    root = root == nullptr ? MEM_MANAGER::new_wrapper<DTM_TREE_INT_DATA>(10 * id, index_key(id))
                           : root->add_int_to_tree(10 * id, index_key(id));
  }
  return TREE(root);
}

TREE float_tree(const std::vector<std::pair<int, double>>& entries) {
  DTM_TREE_DATA* root = nullptr;
  for (const auto& [id, value] : entries) {
    root = root == nullptr ? MEM_MANAGER::new_wrapper<DTM_TREE_FLOAT_DATA>(value, index_key(id))
                           : root->add_float_to_tree(value, index_key(id));
  }
  return TREE(root);
}

// "id:balance" of every node in pre-order.
std::string shape(const DTM_TREE_DATA* node) {
  if (node == nullptr) {
    return "";
  }
  std::string text = std::to_string(node->get_key()->get_wrapper(0).get_enum_id() - 1) + ":" +
                     std::to_string(node->get_balance_factor()) + " ";
  return text + shape(node->get_left()) + shape(node->get_right());
}

std::string printed(const DTM_TREE_DATA& tree, const std::string& prefix) {
  std::ostringstream os;
  tree.print_tree(os, prefix);
  return os.str();
}

std::string compared(const DTM_TREE_DATA& tree, const DTM_TREE_DATA* other, bool skip_missing,
                     bool compare_values, float tolerance) {
  std::ostringstream os;
  tree.compare_data_tree(other, os, "P", skip_missing, compare_values, tolerance);
  return os.str();
}

class DtmTreeData : public ::testing::Test {
 protected:
  void SetUp() override { m_start = MEM_MANAGER::get_counters(); }
  void TearDown() override {
    EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, m_start.m_live_objects);
    EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, m_start.m_live_bytes);
  }
  MEM_COUNTERS m_start{};
};

TEST_F(DtmTreeData, InsertionRotatesAsTheWorkedExamplesSay) {
  struct CASE {
    std::vector<int> m_ids;
    const char* m_shape;
  };
  const CASE cases[] = {
      {{1}, "1:0 "},
      {{1, 2}, "1:1 2:0 "},
      {{1, 2, 3}, "2:0 1:0 3:0 "},  // single left rotation at the root
      {{3, 2, 1}, "2:0 1:0 3:0 "},  // single right rotation
      {{3, 1, 2}, "2:0 1:0 3:0 "},  // double rotation, grandchild balanced
      {{1, 3, 2}, "2:0 1:0 3:0 "},
      // Double rotation whose grandchild leaned toward the insertion side ...
      {{50, 25, 75, 10, 30, 27}, "30:0 25:0 10:0 27:0 50:1 75:0 "},
      // ... and away from it.
      {{50, 25, 75, 10, 30, 35}, "30:0 25:-1 10:0 50:0 35:0 75:0 "},
      // A pivot below the root: the root stays, the subtree rotates.
      {{5, 3, 8, 9, 10}, "5:1 3:0 9:0 8:0 10:0 "},
      // A pivot that only absorbs the growth.
      {{2, 1, 4, 3, 5}, "2:1 1:0 4:0 3:0 5:0 "},
      {{1, 2, 3, 4, 5, 6, 7}, "4:0 2:0 1:0 3:0 6:0 5:0 7:0 "},
  };
  for (const CASE& c : cases) {
    const TREE tree = int_tree(c.m_ids);
    EXPECT_EQ(shape(tree.get()), c.m_shape);
    EXPECT_EQ(tree->get_node_count(), c.m_ids.size());
  }
}

TEST_F(DtmTreeData, DuplicateKeysWarnOnStandardOutputAndKeepTheTree) {
  struct CASE {
    bool m_int_second;
    double m_second_value;
    std::size_t m_reports;
  };
  const CASE cases[] = {
      {true, 20, 0},     // same value: the warning alone
      {true, 21, 1},     // another value: also the mismatch
      {false, 20.0, 1},  // a float against an integer differs in both values
  };
  for (const CASE& c : cases) {
    TREE tree = int_tree({1, 2, 3});
    const DTM_TREE_DATA* root = tree.get();
    const std::string before = shape(root);
    COUT_CAPTURE out;
    MSG_CAPTURE capture;
    DTM_TREE_DATA* result =
        c.m_int_second ? tree->add_int_to_tree(static_cast<int>(c.m_second_value), index_key(2))
                       : tree->add_float_to_tree(c.m_second_value, index_key(2));
    EXPECT_EQ(result, root);
    EXPECT_EQ(out.str(), k_duplicate_warning);
    EXPECT_EQ(capture.get_count(), c.m_reports);
    EXPECT_EQ(capture.count_text(k_mismatch), c.m_reports);
    EXPECT_EQ(shape(root), before);
    EXPECT_EQ(tree->get_int_from_tree_by_wrapper_list(1, ix(2), k_none, k_none, k_none, k_none),
              20);
  }
}

TEST_F(DtmTreeData, InsertOfADuplicateLeavesTheNodeWithTheCaller) {
  TREE tree = int_tree({4});
  DTM_TREE_INT_DATA* twin = MEM_MANAGER::new_wrapper<DTM_TREE_INT_DATA>(40, index_key(4));
  COUT_CAPTURE out;
  bool inserted = true;
  EXPECT_EQ(tree->insert(twin, &inserted), tree.get());
  EXPECT_FALSE(inserted);
  EXPECT_EQ(out.str(), k_duplicate_warning);
  delete twin;  // still ours
  DTM_TREE_INT_DATA* fresh = MEM_MANAGER::new_wrapper<DTM_TREE_INT_DATA>(50, index_key(5));
  DTM_TREE_DATA* root = tree.release()->insert(fresh, &inserted);
  tree.reset(root);
  EXPECT_TRUE(inserted);
  EXPECT_EQ(tree->find_node(fresh->get_key()), fresh);
  MSG_CAPTURE capture;
  EXPECT_EQ(tree->insert(nullptr, &inserted), tree.get());
  EXPECT_FALSE(inserted);
  EXPECT_EQ(capture.count_text("new_node != 0"), 1u);
}

TEST_F(DtmTreeData, ValueOperationsFollowTheRootKindAndAnswerSentinels) {
  TREE ints = int_tree({1, 2, 3});
  TREE floats = float_tree({{1, 1.5}, {2, 2.5}});
  TREE base(MEM_MANAGER::new_wrapper<DTM_TREE_DATA>(index_key(1)));
  const W one = ix(1);
  const W nine = ix(9);
  KEY key_one(1, one);
  KEY key_nine(1, nine);

  EXPECT_EQ(ints->get_int_from_tree_by_wrapper_list(1, one, k_none, k_none, k_none, k_none), 10);
  EXPECT_EQ(ints->get_int_from_tree_by_wrapper_list(1, nine, k_none, k_none, k_none, k_none),
            static_cast<int>(0x80000001));
  EXPECT_EQ(ints->get_int_from_tree(&key_one), 10);
  EXPECT_EQ(ints->get_int_from_tree(&key_nine), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(ints->get_float_from_tree_by_wrapper_list(1, one, k_none, k_none, k_none, k_none),
            -2147483647.0);
  EXPECT_EQ(ints->get_float_from_tree(&key_one), DTM_ILLEGAL_FLOAT);
  EXPECT_FALSE(ints->set_float_from_tree(1.0, &key_one));

  EXPECT_EQ(floats->get_float_from_tree_by_wrapper_list(1, one, k_none, k_none, k_none, k_none),
            1.5);
  EXPECT_EQ(floats->get_float_from_tree_by_wrapper_list(1, nine, k_none, k_none, k_none, k_none),
            DTM_ILLEGAL_FLOAT);
  EXPECT_EQ(floats->get_float_from_tree(&key_nine), DTM_ILLEGAL_FLOAT);
  EXPECT_EQ(floats->get_int_from_tree_by_wrapper_list(1, one, k_none, k_none, k_none, k_none),
            DTM_ILLEGAL_DELAY);
  EXPECT_FALSE(floats->set_int_from_tree(1, &key_one));

  EXPECT_EQ(base->get_int_from_tree_by_wrapper_list(1, one, k_none, k_none, k_none, k_none),
            DTM_ILLEGAL_DELAY);
  EXPECT_EQ(base->get_float_from_tree_by_wrapper_list(1, one, k_none, k_none, k_none, k_none),
            -2147483647.0);
  EXPECT_EQ(base->get_int_from_tree(&key_one), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(base->get_float_from_tree(&key_one), DTM_ILLEGAL_FLOAT);
  EXPECT_FALSE(base->set_int_from_tree(1, &key_one));
  EXPECT_FALSE(base->set_float_from_tree(1.0, &key_one));
  EXPECT_EQ(base->find_node(&key_one), base.get());

  EXPECT_TRUE(ints->set_int_from_tree(-7, &key_one));
  EXPECT_EQ(ints->get_int_from_tree(&key_one), -7);
  EXPECT_FALSE(ints->set_int_from_tree(5, &key_nine));
  EXPECT_TRUE(floats->set_float_from_tree(0.25, &key_one));
  EXPECT_EQ(floats->get_float_from_tree(&key_one), 0.25);
  EXPECT_EQ(ints->get_node_count(), 3u);  // set never creates
}

TEST_F(DtmTreeData, LookupsWithBadArgumentsReportAndFindNothing) {
  TREE ints = int_tree({1, 2});
  const W one = ix(1);
  MSG_CAPTURE capture;
  for (DTM_SHORT count : {0, -1, 6}) {
    EXPECT_EQ(ints->get_int_from_tree_by_wrapper_list(count, one, one, one, one, one),
              DTM_ILLEGAL_DELAY);
    EXPECT_EQ(ints->find_node_by_wrapper_list(count, one, one, one, one, one), nullptr);
  }
  EXPECT_EQ(capture.count_text("Number of enum_wrapper out of range"), 6u);
  EXPECT_EQ(ints->get_int_from_tree(nullptr), DTM_ILLEGAL_DELAY);
  EXPECT_FALSE(ints->set_int_from_tree(3, nullptr));
  EXPECT_EQ(ints->add_int_to_tree(3, static_cast<KEY*>(nullptr)), ints.get());
  EXPECT_EQ(capture.count_text("key != 0"), 3u);
  EXPECT_EQ(ints->get_node_count(), 2u);
}

TEST_F(DtmTreeData, KeysOfDifferentLengthsLiveSideBySide) {
  const W re1(static_cast<CDB_RE_TYPE>(3));
  const W re2(static_cast<CDB_RE_TYPE>(4));
  const W cond(static_cast<DTM_ENUM>(7));
  TREE tree(
      MEM_MANAGER::new_wrapper<DTM_TREE_INT_DATA>(2, MEM_MANAGER::new_wrapper<KEY>(2, re1, re2)));
  const KEY three(3, re1, re2, cond);
  tree.reset(tree.release()->add_int_to_tree(3, three));
  tree.reset(tree.release()->add_int_to_tree(1, KEY(1, re1)));
  EXPECT_EQ(tree->get_int_from_tree_by_wrapper_list(2, re1, re2, k_none, k_none, k_none), 2);
  EXPECT_EQ(tree->get_int_from_tree_by_wrapper_list(3, re1, re2, cond, k_none, k_none), 3);
  EXPECT_EQ(tree->get_int_from_tree_by_wrapper_list(1, re1, k_none, k_none, k_none, k_none), 1);
  EXPECT_EQ(tree->get_int_from_tree_by_wrapper_list(3, re1, re2, k_none, k_none, k_none),
            DTM_ILLEGAL_DELAY);
  // The one-wrapper key sorts first.
  std::ostringstream os;
  tree->print_tree(os, "");
  const std::string text = os.str();
  EXPECT_EQ(text.substr(text.find('\n') - 4, 4), " = 1");
}

TEST_F(DtmTreeData, EachEntryIsOneAllocationHoldingItsKey) {
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  KEY* given = index_key(1);
  TREE tree(MEM_MANAGER::new_wrapper<DTM_TREE_INT_DATA>(10, given));  // the key moves in
  TREE floats(MEM_MANAGER::new_wrapper<DTM_TREE_FLOAT_DATA>(0.5, index_key(1)));
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects + 2);
  for (int index = 2; index <= 100; ++index) {
    const KEY key(2, ix(index), W(static_cast<DTM_ENUM>(3)));
    tree.reset(tree.release()->add_int_to_tree(index, key));
    floats.reset(floats.release()->add_float_to_tree(0.5, index_key(index)));
  }
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects + 200);
  // Virtual table, persistence identity and balance factor, three links, the
  // key with two inline wrappers (each with its own identity), the value.
  EXPECT_EQ(sizeof(DTM_TREE_INT_DATA), 88u);
  // Longer keys keep their wrapper array as a second block.
  tree.reset(tree.release()->add_int_to_tree(1, KEY(3, ix(1), ix(2), ix(3))));
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects + 202);
  const KEY key(2, ix(50), W(static_cast<DTM_ENUM>(3)));
  EXPECT_EQ(tree->get_int_from_tree(&key), 50);
}

TEST_F(DtmTreeData, CloneIsDeepIndependentAndCountedInTheSegment) {
  TREE tree = int_tree({5, 2, 8, 1, 9, 3});
  MEM_SEGMENT segment("clones");
  TREE copy(tree->clone(&segment));
  EXPECT_EQ(segment.get_placed_objects(), 6u);  // the keys live in the nodes
  EXPECT_EQ(shape(copy.get()), shape(tree.get()));
  EXPECT_EQ(printed(*copy, "x"), printed(*tree, "x"));
  KEY key(1, ix(2));
  EXPECT_TRUE(copy->set_int_from_tree(99, &key));
  EXPECT_EQ(tree->get_int_from_tree(&key), 20);
  tree.reset();  // the copy shares nothing with the source
  EXPECT_EQ(copy->get_int_from_tree(&key), 99);
  EXPECT_EQ(copy->get_node_count(), 6u);

  TREE floats = float_tree({{1, 0.5}, {2, std::nan("")}});
  TREE float_copy(floats->clone());
  EXPECT_EQ(printed(*float_copy, ""), printed(*floats, ""));
  TREE base(MEM_MANAGER::new_wrapper<DTM_TREE_DATA>(index_key(3)));
  TREE base_copy(base->clone());
  EXPECT_EQ(printed(*base_copy, ""), "\t|-- [3] = -\n");
}

TEST_F(DtmTreeData, ScaleRoundsHalfAwayFromZeroAndNeverMakesOrScalesSentinels) {
  struct CASE {
    int m_value;
    double m_factor;
    int m_expected;
  };
  const CASE cases[] = {
      {10, 1.5, 15},
      {5, 0.5, 3},  // 2.5 rounds away from zero
      {-5, 0.5, -3},
      {7, 0.1, 1},
      {3, -1.0, -3},
      {2000000000, 2.0, 2147483647},                // saturates
      {-2000000000, 2.0, -2147483646},              // saturates one above the sentinel
      {2147483647, -1.0, -2147483646},              // would land on the sentinel
      {DTM_ILLEGAL_DELAY, 2.0, DTM_ILLEGAL_DELAY},  // a sentinel is not scaled
      {INT_MIN, 0.5, -1073741824},
  };
  for (const CASE& c : cases) {
    TREE tree(MEM_MANAGER::new_wrapper<DTM_TREE_INT_DATA>(c.m_value, index_key(1)));
    tree->scale(c.m_factor);
    EXPECT_EQ(tree->get_int_data(), c.m_expected) << c.m_value << " * " << c.m_factor;
  }

  struct FLOAT_CASE {
    double m_value;
    double m_factor;
    double m_expected;
  };
  const FLOAT_CASE float_cases[] = {
      {1.5, 2.0, 3.0},
      {-0.25, 4.0, -1.0},
      {DTM_ILLEGAL_FLOAT, 2.0, DTM_ILLEGAL_FLOAT},
      {DTM_ILLEGAL_TABLE_FLOAT, 0.5, DTM_ILLEGAL_TABLE_FLOAT},
      {123456789.9, -1.0, std::nextafter(DTM_ILLEGAL_FLOAT, 0.0)},  // moved off the sentinel
      {2147483647.0, -1.0, std::nextafter(DTM_ILLEGAL_TABLE_FLOAT, 0.0)},
  };
  for (const FLOAT_CASE& c : float_cases) {
    TREE tree(MEM_MANAGER::new_wrapper<DTM_TREE_FLOAT_DATA>(c.m_value, index_key(1)));
    tree->scale(c.m_factor);
    EXPECT_EQ(tree->get_float_data(), c.m_expected) << c.m_value << " * " << c.m_factor;
  }

  TREE many = int_tree({1, 2, 3, 4, 5, 6, 7, 8});
  many->scale(3.0);
  for (int id = 1; id <= 8; ++id) {
    KEY key(1, ix(id));
    EXPECT_EQ(many->get_int_from_tree(&key), 30 * id);
  }

  MSG_CAPTURE capture;
  TREE base(MEM_MANAGER::new_wrapper<DTM_TREE_DATA>(index_key(1)));
  base->scale(2.0);
  EXPECT_EQ(capture.count_text("Scaling impossible"), 1u);
  for (double bad : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    many->scale(bad);
  }
  EXPECT_EQ(capture.count_text("std::isfinite(factor)"), 2u);
  KEY key(1, ix(8));
  EXPECT_EQ(many->get_int_from_tree(&key), 240);
}

TEST_F(DtmTreeData, DiffCloneHoldsWhatTheSourceHasThatDiffersFromTheReference) {
  TREE reference = int_tree({1, 2, 3, 4, 5});
  TREE source = int_tree({1, 2, 3, 4, 5, 6, 7});  // 6 and 7 are new
  KEY key2(1, ix(2));
  KEY key4(1, ix(4));
  source->set_int_from_tree(-2, &key2);
  source->set_int_from_tree(41, &key4);
  TREE target = int_tree({9});
  TREE diff(source->diff_clone_data_tree(reference.get(), target.get()));
  ASSERT_NE(diff, nullptr);
  EXPECT_EQ(printed(*diff, ""),
            "<\t|-- [2] = -2\n\t|-- [4] = 41\n>\t|-- [6] = 60\n>>\t|-- [7] = 70\n");
  EXPECT_EQ(target->get_node_count(), 1u);  // the target tree is not touched
  EXPECT_EQ(diff->find_node(target->get_key()), nullptr);

  TREE same(reference->diff_clone_data_tree(reference.get(), nullptr));
  EXPECT_EQ(same, nullptr);
  TREE everything(source->diff_clone_data_tree(nullptr, nullptr));
  EXPECT_EQ(everything->get_node_count(), 7u);
  TREE base(MEM_MANAGER::new_wrapper<DTM_TREE_DATA>(index_key(1)));
  EXPECT_EQ(base->diff_clone_data_tree(reference.get(), nullptr), nullptr);

  TREE floats = float_tree({{1, 0.5}, {2, std::nan("")}, {3, 3.0}});
  TREE float_ref = float_tree({{1, 0.5}, {2, std::nan("")}, {3, 3.5}});
  TREE float_diff(floats->diff_clone_data_tree(float_ref.get(), nullptr));
  EXPECT_EQ(printed(*float_diff, ""), "\t|-- [3] = 3\n");
  // Entries of another kind under the same key differ.
  TREE mixed(floats->diff_clone_data_tree(reference.get(), nullptr));
  EXPECT_EQ(mixed->get_node_count(), 3u);
}

TEST_F(DtmTreeData, ResyncBringsSharedEntriesToTheReferenceInPlace) {
  TREE source = int_tree({1, 2, 3, 4, 5, 6});
  TREE reference = int_tree({2, 4, 9});
  KEY key2(1, ix(2));
  KEY key4(1, ix(4));
  KEY key5(1, ix(5));
  reference->set_int_from_tree(-20, &key2);
  source->set_int_from_tree(-50, &key5);
  const std::string before = shape(source.get());
  DTM_TREE_DATA* root = source.get();
  EXPECT_EQ(source->resync(reference.get()), 1u);  // 4 is already equal
  EXPECT_EQ(source.get(), root);
  EXPECT_EQ(shape(source.get()), before);
  EXPECT_EQ(source->get_int_from_tree(&key2), -20);
  EXPECT_EQ(source->get_int_from_tree(&key4), 40);
  EXPECT_EQ(source->get_int_from_tree(&key5), -50);  // not in the reference: kept
  EXPECT_EQ(source->get_node_count(), 6u);           // nothing added from the reference
  EXPECT_EQ(source->resync(reference.get()), 0u);
  EXPECT_EQ(source->resync(nullptr), 0u);
  TREE floats = float_tree({{2, 1.0}});
  EXPECT_EQ(source->resync(floats.get()), 0u);  // another kind is left alone
  EXPECT_EQ(source->get_int_from_tree(&key2), -20);
  EXPECT_EQ(floats->resync(float_tree({{2, 4.5}}).get()), 1u);
  EXPECT_EQ(floats->get_float_data(), 4.5);
}

TEST_F(DtmTreeData, PrintListsInKeyOrderWithPositionMarks) {
  TREE tree = int_tree({4, 2, 6, 1, 3, 5, 7});
  EXPECT_EQ(printed(*tree, "|-  DTM_RE"),
            "|-  DTM_RE<<\t|-- [1] = 10\n"
            "|-  DTM_RE<\t|-- [2] = 20\n"
            "|-  DTM_RE<>\t|-- [3] = 30\n"
            "|-  DTM_RE\t|-- [4] = 40\n"
            "|-  DTM_RE><\t|-- [5] = 50\n"
            "|-  DTM_RE>\t|-- [6] = 60\n"
            "|-  DTM_RE>>\t|-- [7] = 70\n");
  std::ostringstream one;
  tree->print_this(one, "P");
  EXPECT_EQ(one.str(), "P\t|-- [4] = 40\n");

  // Floats print exactly (the shortest text that reads back the same value),
  // whatever the stream's own formatting.
  TREE floats = float_tree({{1, 0.1}, {2, 123456.789012}, {3, DTM_ILLEGAL_FLOAT}, {4, -2.0}});
  std::ostringstream os;
  os.precision(2);
  os << std::fixed;
  floats->print_tree(os, "");
  EXPECT_EQ(os.str(),
            "<\t|-- [1] = 0.1\n\t|-- [2] = 123456.789012\n>\t|-- [3] = -123456789.9\n"
            ">>\t|-- [4] = -2\n");
}

TEST_F(DtmTreeData, DataLinesNameEveryKeyPart) {
  const W re(static_cast<CDB_RE_TYPE>(5));
  const W port(static_cast<DB_INPUT_PORT_TYPE>(1));
  TREE tree(
      MEM_MANAGER::new_wrapper<DTM_TREE_INT_DATA>(12, MEM_MANAGER::new_wrapper<KEY>(2, re, port)));
  tree.reset(tree.release()->add_int_to_tree(13, KEY(3, re, port, W(static_cast<DTM_ENUM>(2)))));
  EXPECT_EQ(printed(*tree, "\t|-- DTM_RE_INPUT_PORT"),
            std::string("\t|-- DTM_RE_INPUT_PORT\t|-- [") + CDB_RE_TYPE_STRING[5] +
                ", LCELL_DATAB] = 12\n\t|-- DTM_RE_INPUT_PORT>\t|-- [" + CDB_RE_TYPE_STRING[5] +
                ", LCELL_DATAB, TSU_DELAY] = 13\n");
}

TEST_F(DtmTreeData, CompareWritesMissingEntriesAndChangesBeyondTheTolerance) {
  TREE mine = int_tree({1, 2, 3, 4});
  TREE theirs = int_tree({2, 3, 4, 5});
  KEY key3(1, ix(3));
  KEY key4(1, ix(4));
  theirs->set_int_from_tree(32, &key3);  // 2 away
  theirs->set_int_from_tree(DTM_ILLEGAL_DELAY, &key4);
  struct CASE {
    bool m_skip_missing;
    bool m_compare_values;
    float m_tolerance;
    const char* m_expected;
  };
  const CASE cases[] = {
      {false, false, 0.0f, "P\t|-- [1] = 10\t::\tmissing\n"},
      {true, true, 0.0f, "P\t|-- [3] = 30\t::\t32\nP\t|-- [4] = 40\t::\t-2147483647\n"},
      {true, true, 2.0f, "P\t|-- [4] = 40\t::\t-2147483647\n"},  // a sentinel always differs
      {false, true, 1.5f,
       "P\t|-- [1] = 10\t::\tmissing\nP\t|-- [3] = 30\t::\t32\n"
       "P\t|-- [4] = 40\t::\t-2147483647\n"},
      {true, false, 0.0f, ""},
  };
  for (const CASE& c : cases) {
    EXPECT_EQ(compared(*mine, theirs.get(), c.m_skip_missing, c.m_compare_values, c.m_tolerance),
              c.m_expected);
  }
  EXPECT_EQ(compared(*mine, nullptr, false, true, 0.0f),
            "P\t|-- [1] = 10\t::\tmissing\nP\t|-- [2] = 20\t::\tmissing\n"
            "P\t|-- [3] = 30\t::\tmissing\nP\t|-- [4] = 40\t::\tmissing\n");
  EXPECT_EQ(compared(*mine, mine.get(), false, true, 0.0f), "");

  TREE floats = float_tree({{1, 1.0}, {2, std::nan("")}, {3, 3.0}});
  TREE others = float_tree({{1, 1.25}, {2, std::nan("")}, {3, std::nan("")}});
  EXPECT_EQ(compared(*floats, others.get(), true, true, 0.5f), "P\t|-- [3] = 3\t::\tnan\n");
  EXPECT_EQ(compared(*floats, others.get(), true, true, 0.1f),
            "P\t|-- [1] = 1\t::\t1.25\nP\t|-- [3] = 3\t::\tnan\n");
}

TEST_F(DtmTreeData, DestroyingLargeTreesReturnsEveryByte) {
  for (int n : {1, 2, 100, 5000}) {
    TREE tree = int_tree({0});
    for (int id = 1; id < n; ++id) {
      tree.reset(tree.release()->add_int_to_tree(id, KEY(3, ix(id % 7), W(5, id), ix(id))));
    }
    EXPECT_EQ(tree->get_node_count(), static_cast<std::size_t>(n));
    TREE copy(tree->clone());
    tree.reset();
    EXPECT_EQ(copy->get_node_count(), static_cast<std::size_t>(n));
  }
}

}  // namespace
