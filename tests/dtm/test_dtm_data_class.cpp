#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "dbs_translator.h"
#include "dtm_data_class.h"
#include "dtm_string.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

using CHAIN = std::unique_ptr<DTM_BASE_DATA>;

DTM_ENUM e(int value) { return static_cast<DTM_ENUM>(value); }
constexpr DTM_ENUM k_none = DTM_NONE;
// A node type without labels: every label is empty.
constexpr DTM_NODE_ENUM k_unlabelled = DTM_NODE_NONE;

// "(left key right)" for a sibling tree; a sub tree is shown as "{...}".
std::string shape(const DTM_BASE_DATA* node) {
  if (node == nullptr) {
    return "";
  }
  std::string text = "(" + shape(node->get_left()) + std::to_string(node->get_enum());
  if (node->get_sub_tree() != nullptr) {
    text += "{" + shape(node->get_sub_tree()) + "}";
  }
  return text + shape(node->get_right()) + ")";
}

// A level of integer leaves, key k holding 10 * k, inserted in order.
CHAIN int_level(const std::vector<int>& keys) {
  DTM_BASE_DATA* root = nullptr;
  for (int key : keys) {
    DTM_BASE_DATA* entry = MEM_MANAGER::new_wrapper<DTM_INT_DATA>(e(key), 10 * key);
    bool inserted = true;
    root = root == nullptr ? entry : root->add_enum(entry, &inserted);
    if (!inserted) {
      delete entry;
    }
  }
  return CHAIN(root);
}

std::string listed(const DTM_BASE_DATA& chain, DTM_NODE_ENUM type, const std::string& path,
                   const std::string& separator) {
  std::ostringstream os;
  chain.print_tree(os, type, path, false, separator);
  return os.str();
}

std::string compared(const DTM_BASE_DATA& chain, const DTM_BASE_DATA* other, DTM_NODE_ENUM type,
                     bool values_mode) {
  std::ostringstream os;
  chain.compare_data_tree(other, type, os, "P", values_mode);
  return os.str();
}

class DtmDataClass : public ::testing::Test {
 protected:
  void SetUp() override { m_start = MEM_MANAGER::get_counters(); }
  void TearDown() override {
    EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, m_start.m_live_objects);
    EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, m_start.m_live_bytes);
  }
  MEM_COUNTERS m_start{};
};

TEST_F(DtmDataClass, LevelsBalanceByEntryCountWithSingleRotations) {
  struct CASE {
    std::vector<int> m_keys;
    const char* m_shape;
  };
  const CASE cases[] = {
      {{1, 2, 3}, "((1)2(3))"},
      {{3, 2, 1}, "((1)2(3))"},
      // Single rotations only: the zig-zag stays unbalanced at the top.
      {{3, 1, 2}, "(1((2)3))"},
      {{1, 3, 2}, "((1(2))3)"},
      {{1, 2, 3, 4}, "((1)2(3(4)))"},
      {{1, 2, 3, 4, 5}, "(((1)2(3))4(5))"},
      {{2, 1, 3, 2}, "((1)2(3))"},  // an equal key is dropped
  };
  for (const CASE& c : cases) {
    CHAIN level = int_level(c.m_keys);
    EXPECT_EQ(shape(level.get()), c.m_shape);
    EXPECT_EQ(DTM_BASE_DATA::get_node_count(level.get()),
              static_cast<DTM_SHORT>(std::string(c.m_shape).size() / 3));
  }
}

// The level insertion written the plain recursive way, as the model the
// chains must reproduce exactly (shape included).
struct MODEL_ENTRY {
  int m_key;
  MODEL_ENTRY* m_left = nullptr;
  MODEL_ENTRY* m_right = nullptr;
};

int model_count(const MODEL_ENTRY* entry) {
  return entry == nullptr ? 0 : model_count(entry->m_left) + model_count(entry->m_right) + 1;
}

MODEL_ENTRY* model_add(MODEL_ENTRY* x, MODEL_ENTRY* fresh) {
  if (fresh->m_key < x->m_key) {
    x->m_left = x->m_left != nullptr ? model_add(x->m_left, fresh) : fresh;
  } else if (fresh->m_key > x->m_key) {
    x->m_right = x->m_right != nullptr ? model_add(x->m_right, fresh) : fresh;
  }
  const int d = model_count(x->m_left) - model_count(x->m_right);
  if (d >= 2) {
    MODEL_ENTRY* l = x->m_left;
    x->m_left = l->m_right;
    l->m_right = x;
    return l;
  }
  if (d <= -2) {
    MODEL_ENTRY* r = x->m_right;
    x->m_right = r->m_left;
    r->m_left = x;
    return r;
  }
  return x;
}

std::string model_shape(const MODEL_ENTRY* entry) {
  if (entry == nullptr) {
    return "";
  }
  return "(" + model_shape(entry->m_left) + std::to_string(entry->m_key) +
         model_shape(entry->m_right) + ")";
}

TEST_F(DtmDataClass, RandomLevelsMatchTheRecursiveModelAndAMap) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> key(1, seed % 2 == 0 ? 12 : 400);
    const std::size_t count = 1 + seed * 7 % 150;
    std::vector<MODEL_ENTRY> model(count);
    MODEL_ENTRY* model_root = nullptr;
    std::map<int, int> oracle;
    CHAIN level;
    for (std::size_t i = 0; i < count; ++i) {
      const int k = key(random);
      const int value = static_cast<int>(i);
      model[i].m_key = k;
      model_root = model_root == nullptr ? &model[i] : model_add(model_root, &model[i]);
      oracle.emplace(k, value);
      DTM_BASE_DATA* entry = MEM_MANAGER::new_wrapper<DTM_INT_DATA>(e(k), value);
      bool inserted = true;
      level.reset(level == nullptr ? entry : level.release()->add_enum(entry, &inserted));
      if (!inserted) {
        delete entry;
      }
      ASSERT_EQ(shape(level.get()), model_shape(model_root)) << "seed " << seed << " step " << i;
    }
    EXPECT_EQ(DTM_BASE_DATA::get_node_count(level.get()), static_cast<DTM_SHORT>(oracle.size()));
    for (const auto& [k, value] : oracle) {
      EXPECT_EQ(level->get_value(e(k), k_none, k_none), value);
    }
  }
}

TEST_F(DtmDataClass, ADroppedDuplicateStillRebalancesThePath) {
  CHAIN level = int_level({3, 1, 2});  // root 1 leans right by two
  DTM_INT_DATA* twin = MEM_MANAGER::new_wrapper<DTM_INT_DATA>(e(1), 99);
  bool inserted = true;
  DTM_BASE_DATA* root = level.release()->add_enum(twin, &inserted);
  level.reset(root);
  EXPECT_FALSE(inserted);
  EXPECT_EQ(shape(root), "((1(2))3)");
  EXPECT_EQ(root->get_value(e(1), k_none, k_none), 10);
  delete twin;  // neither linked nor freed by the level
  MSG_CAPTURE capture;
  EXPECT_EQ(root->add_enum(nullptr), root);
  EXPECT_EQ(capture.count_text("new_node != 0"), 1u);
}

TEST_F(DtmDataClass, PathLookupsFollowTheLevels) {
  // 5 -> {7 -> {9: 1}, 8: 2}, 6: 3
  CHAIN chain(DTM_BASE_DATA::create_node(1, e(5), e(7), e(9)));
  EXPECT_EQ(shape(chain.get()), "(5{(7{(9)})})");
  chain.reset(chain.release()->add_enum(2, e(5), e(8), k_none));
  chain.reset(chain.release()->add_enum(3, e(6), k_none, k_none));
  struct CASE {
    DTM_ENUM m_e1, m_e2, m_e3;
    int m_value;
    double m_float;
  };
  const CASE cases[] = {
      {e(5), e(7), e(9), 1, DTM_ILLEGAL_FLOAT},
      {e(5), e(8), k_none, 2, DTM_ILLEGAL_FLOAT},
      {e(5), e(8), e(4), 2, DTM_ILLEGAL_FLOAT},  // keys beyond a leaf are ignored
      {e(6), e(1), e(1), 3, DTM_ILLEGAL_FLOAT},
      {e(5), e(7), k_none, DTM_ILLEGAL_DELAY, DTM_ILLEGAL_FLOAT},  // stops on a pointer entry
      {e(5), k_none, k_none, DTM_ILLEGAL_DELAY, DTM_ILLEGAL_FLOAT},
      {e(5), e(7), e(8), DTM_ILLEGAL_DELAY, DTM_ILLEGAL_FLOAT},  // absent
      {e(4), k_none, k_none, DTM_ILLEGAL_DELAY, DTM_ILLEGAL_FLOAT},
      {k_none, e(5), e(7), DTM_ILLEGAL_DELAY, DTM_ILLEGAL_FLOAT},
  };
  for (const CASE& c : cases) {
    EXPECT_EQ(chain->get_value(c.m_e1, c.m_e2, c.m_e3), c.m_value)
        << c.m_e1 << "," << c.m_e2 << "," << c.m_e3;
    EXPECT_EQ(chain->get_float(c.m_e1, c.m_e2, c.m_e3), c.m_float);
  }
  EXPECT_EQ(chain->get_value(k_none, k_none, k_none), static_cast<int>(0x80000001));
  EXPECT_EQ(chain->find_enum(e(5), e(7), k_none)->get_enum(), e(7));
  EXPECT_EQ(chain->find_enum(k_none, k_none, k_none), nullptr);

  // Adding an existing path keeps the first value; set replaces it.
  chain.reset(chain.release()->add_enum(100, e(5), e(7), e(9)));
  EXPECT_EQ(chain->get_value(e(5), e(7), e(9)), 1);
  EXPECT_TRUE(chain->set_value(100, e(5), e(7), e(9)));
  EXPECT_EQ(chain->get_value(e(5), e(7), e(9)), 100);
  EXPECT_FALSE(chain->set_value(1, e(5), e(7), e(3)));        // never creates
  EXPECT_FALSE(chain->set_value(1, e(5), e(7), k_none));      // a pointer entry holds no value
  EXPECT_FALSE(chain->set_float(1.0, e(6), k_none, k_none));  // another kind
  EXPECT_FALSE(chain->set_value(1, k_none, e(6), k_none));
  EXPECT_EQ(chain->get_value(e(5), e(7), e(3)), DTM_ILLEGAL_DELAY);
}

TEST_F(DtmDataClass, TheRootKindDecidesHowAPathIsAdded) {
  MSG_CAPTURE capture;
  // An integer root: a new first key becomes a plain leaf, the rest ignored.
  CHAIN ints(MEM_MANAGER::new_wrapper<DTM_INT_DATA>(e(2), 20));
  ints.reset(ints.release()->add_enum(30, e(3), e(8), k_none));
  EXPECT_EQ(shape(ints.get()), "(2(3))");
  EXPECT_EQ(ints->get_value(e(3), e(8), k_none), 30);
  // An existing first key: the chain is offered and dropped.
  ints.reset(ints.release()->add_enum(99, e(3), e(8), k_none));
  ints.reset(ints.release()->add_enum(99, e(2), k_none, k_none));
  EXPECT_EQ(shape(ints.get()), "(2(3))");
  EXPECT_EQ(ints->get_value(e(2), k_none, k_none), 20);
  EXPECT_EQ(capture.get_count(), 0u);
  ints.reset(ints.release()->add_enum(40, e(4), e(1), e(1)));
  EXPECT_EQ(capture.count_text("enum3==DTM_NONE"), 1u);
  EXPECT_EQ(ints->get_value(e(4), k_none, k_none), 40);          // added after the report
  EXPECT_EQ(ints.get(), ints->find_enum(e(3), k_none, k_none));  // rotated to 3
  DTM_BASE_DATA* same = ints.get();
  EXPECT_EQ(ints->add_enum(5, k_none, e(1), k_none), same);

  // A float root takes one key only.
  capture.clear();
  CHAIN floats(MEM_MANAGER::new_wrapper<DTM_FLOAT_DATA>(e(2), 0.5));
  floats.reset(floats.release()->add_enum(1.5, e(1), e(7), e(7)));
  EXPECT_EQ(capture.get_texts(), (std::vector<std::string>{"enum2==DTM_NONE", "enum3==DTM_NONE"}));
  EXPECT_EQ(floats->get_float(e(1), k_none, k_none), 1.5);
  floats.reset(floats.release()->add_enum(9.5, e(1), k_none, k_none));
  EXPECT_EQ(floats->get_float(e(1), k_none, k_none), 1.5);
  EXPECT_EQ(shape(floats.get()), "((1)2)");
  EXPECT_EQ(floats->get_value(e(1), k_none, k_none), DTM_ILLEGAL_DELAY);
  // The other value type on a leaf root follows the general rules.
  floats.reset(floats.release()->add_enum(7, e(3), e(4), k_none));
  EXPECT_EQ(floats->get_value(e(3), e(4), k_none), 7);
  EXPECT_EQ(shape(floats.get()), "((1)2(3{(4)}))");

  // A pointer root: paths go down into existing levels and create new ones.
  capture.clear();
  CHAIN chain(DTM_BASE_DATA::create_node(1, e(5), e(6), k_none));
  chain.reset(chain.release()->add_enum(2, e(5), e(7), k_none));  // into 5's level
  chain.reset(chain.release()->add_enum(3, e(9), e(1), e(2)));    // a new three-level chain
  chain.reset(chain.release()->add_enum(4, e(5), e(8), e(3)));    // an int level: 3 ignored
  EXPECT_EQ(shape(chain.get()), "(5{((6)7(8))}(9{(1{(2)})}))");
  EXPECT_EQ(chain->get_value(e(5), e(7), k_none), 2);
  EXPECT_EQ(chain->get_value(e(9), e(1), e(2)), 3);
  EXPECT_EQ(chain->get_value(e(5), e(8), k_none), 4);
  EXPECT_EQ(capture.get_count(), 0u);
  CHAIN base(MEM_MANAGER::new_wrapper<DTM_BASE_DATA>(e(4)));
  base.reset(base.release()->add_enum(2.5, e(6), k_none, k_none));
  EXPECT_EQ(base->get_float(e(6), k_none, k_none), 2.5);
  EXPECT_EQ(base->get_value(e(4), k_none, k_none), DTM_ILLEGAL_DELAY);
}

TEST_F(DtmDataClass, CreateNodeBuildsDetachedChains) {
  struct CASE {
    DTM_ENUM m_e1, m_e2, m_e3;
    const char* m_shape;
  };
  const CASE cases[] = {
      {k_none, e(1), e(2), ""},
      {e(1), k_none, e(3), "(1)"},  // a path ends at its first DTM_NONE
      {e(1), e(2), k_none, "(1{(2)})"},
      {e(1), e(2), e(3), "(1{(2{(3)})})"},
  };
  for (const CASE& c : cases) {
    CHAIN ints(DTM_BASE_DATA::create_node(7, c.m_e1, c.m_e2, c.m_e3));
    CHAIN floats(DTM_BASE_DATA::create_node(7.5, c.m_e1, c.m_e2, c.m_e3));
    EXPECT_EQ(shape(ints.get()), c.m_shape);
    EXPECT_EQ(shape(floats.get()), c.m_shape);
    if (ints != nullptr) {
      EXPECT_EQ(ints->get_value(c.m_e1, c.m_e2, c.m_e3), 7);
      EXPECT_EQ(floats->get_float(c.m_e1, c.m_e2, c.m_e3), 7.5);
      EXPECT_EQ(floats->get_value(c.m_e1, c.m_e2, c.m_e3), DTM_ILLEGAL_DELAY);
    }
  }
}

TEST_F(DtmDataClass, AccessorsAnswerByKind) {
  DTM_INT_DATA number(e(1), 5);
  DTM_FLOAT_DATA real(e(2), 2.5);
  DTM_PTR_DATA pointer(e(3), nullptr);
  DTM_BASE_DATA bare(e(4));
  DTM_BASE_DATA* all[] = {&number, &real, &pointer, &bare};
  const int values[] = {5, DTM_ILLEGAL_DELAY, DTM_ILLEGAL_DELAY, DTM_ILLEGAL_DELAY};
  const double floats[] = {DTM_ILLEGAL_FLOAT, 2.5, DTM_ILLEGAL_FLOAT, DTM_ILLEGAL_FLOAT};
  const bool takes_sub_tree[] = {false, false, true, false};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(all[i]->get_value(), values[i]);
    EXPECT_EQ(all[i]->get_float(), floats[i]);
    EXPECT_EQ(all[i]->set_value(8), i == 0);
    EXPECT_EQ(all[i]->set_float(8.5), i == 1);
    EXPECT_EQ(all[i]->get_sub_tree(), nullptr);
    EXPECT_EQ(all[i]->set_sub_tree(&number), takes_sub_tree[i]);
    EXPECT_EQ(all[i]->set_sub_tree(&real), takes_sub_tree[i]);
    EXPECT_EQ(all[i]->set_sub_tree(&bare), takes_sub_tree[i]);
    EXPECT_EQ(all[i]->set_sub_tree(static_cast<DTM_PTR_DATA*>(nullptr)), takes_sub_tree[i]);
    EXPECT_TRUE(all[i]->set_enum(e(9)));
    EXPECT_EQ(all[i]->get_enum(), e(9));
  }
  EXPECT_EQ(number.get_value(), 8);
  EXPECT_EQ(real.get_float(), 8.5);
  EXPECT_TRUE(bare.set_left(nullptr));
  EXPECT_TRUE(bare.set_right(nullptr));
  EXPECT_EQ(DTM_BASE_DATA::get_node_count(nullptr), 0);
}

TEST_F(DtmDataClass, ListingGoesSubTreeValuesLeftRight) {
  CHAIN level = int_level({1, 2, 3});  // root 2
  EXPECT_EQ(listed(*level, k_unlabelled, "P", "/"), "20P/\n10P/\n30P/\n");
  // Sub trees list before the entry's own values; left and right siblings
  // keep the entry's own path.
  CHAIN chain(DTM_BASE_DATA::create_node(1, e(5), e(7), k_none));
  chain.reset(chain.release()->add_enum(2, e(5), e(6), k_none));
  chain.reset(chain.release()->add_enum(4.5, e(3), k_none, k_none));
  MSG_CAPTURE capture;  // two-level tops have no name under this type
  EXPECT_EQ(listed(*chain, k_unlabelled, "", "|"), "1||\n2||\n4.5|\n");
  EXPECT_EQ(capture.count_text("Invalid DTM_NODE_ENUM for 2 level nodes"), 1u);
  // Numbers take the stream's formatting; nothing else is written between
  // the number and the path.
  std::ostringstream os;
  os.setf(std::ios::showpos);
  level->print_tree(os, k_unlabelled, "x", true, "");
  EXPECT_EQ(os.str(), "+20x\n+10x\n+30x\n");
}

// The name of a stored key in a label family: 'E' DTM_ENUM, 'I', 'O', 'B'
// input, output, buried port, 'R' register type (the last four minus one).
std::string family_name(char family, int key) {
  switch (family) {
    case 'E':
      return DTM_STRING::get_dtm_enum_string(key);
    case 'I':
      return DBS_TRANSLATOR::get_debug_string_name(static_cast<DB_INPUT_PORT_TYPE>(key - 1));
    case 'O':
      return DBS_TRANSLATOR::get_debug_string_name(static_cast<DB_OUTPUT_PORT_TYPE>(key - 1));
    case 'B':
      return DBS_TRANSLATOR::get_debug_string_name(static_cast<DB_BURIED_PORT_TYPE>(key - 1));
    case 'R':
      return CDB_RE_TYPE_STRING[key - 1];
    default:
      return "";
  }
}

TEST_F(DtmDataClass, LabelsAreNamedByTheNodeTypeAndTheEntryShape) {
  struct CASE {
    DTM_NODE_ENUM m_type;
    const char* m_families;  // two-level top, leaf, three-level top; '-' not allowed
  };
  const CASE cases[] = {
      {DTM_P2P_IN_BURIED, "IB-"},
      {DTM_P2P_IN_OUT, "IO-"},
      {DTM_P2P_BURIED_OUT, "BO-"},
      {DTM_P2P_BURIED_BURIED, "BB-"},
      {DTM_TABLE, "EE-"},
      {DTM_MICRO, "-E-"},
      {DTM_RC, "EER"},
      {DTM_RE, "-R-"},
      {DTM_RE_TABLE, "RRR"},
      {DTM_FF, "BE-"},
      {DTM_OUTPUT_PORT_RE, "OR-"},
      {DTM_RE_INPUT_PORT, "RI-"},
      {DTM_FLOAT_TABLE, "---"},  // no labels at all
      {DTM_NODE_NONE, "---"},
  };
  constexpr const char* k_two_level = "Invalid DTM_NODE_ENUM for 2 level nodes";
  for (const CASE& c : cases) {
    const char two = c.m_families[0];
    const char leaf = c.m_families[1];
    const char three = c.m_families[2];
    SCOPED_TRACE(c.m_type);
    MSG_CAPTURE capture;
    CHAIN one(DTM_BASE_DATA::create_node(7, e(3), k_none, k_none));
    EXPECT_EQ(listed(*one, c.m_type, "", "|"), "7|" + family_name(leaf, 3) + "\n");
    EXPECT_EQ(capture.get_count(), 0u);  // a leaf never reports

    CHAIN pair(DTM_BASE_DATA::create_node(8, e(3), e(4), k_none));
    EXPECT_EQ(listed(*pair, c.m_type, "", "|"),
              "8|" + family_name(two, 3) + "|" + family_name(leaf, 4) + "\n");
    EXPECT_EQ(capture.count_text(k_two_level), two == '-' ? 1u : 0u);

    capture.clear();
    CHAIN triple(DTM_BASE_DATA::create_node(9, e(3), e(4), e(5)));
    const std::string path =
        "|" + family_name(three, 3) + "|" + family_name(two, 4) + "|" + family_name(leaf, 5);
    EXPECT_EQ(listed(*triple, c.m_type, "", "|"), "9" + path + "\n");
    std::vector<std::string> reports;
    if (three == '-') {
      reports.push_back("Incorrect depth of the DMF tree.");
    }
    if (two == '-') {
      reports.push_back(k_two_level);
    }
    EXPECT_EQ(capture.get_texts(), reports);

    // The comparison words the depth report differently.
    capture.clear();
    CHAIN other(DTM_BASE_DATA::create_node(1, e(6), k_none, k_none));
    const std::string separated = "\t|-- " + family_name(three, 3) + "\t|-- " +
                                  family_name(two, 4) + "\t|-- " + family_name(leaf, 5);
    EXPECT_EQ(compared(*triple, other.get(), c.m_type, false), "9P" + separated + "\n");
    if (three == '-') {
      reports.front() = "id == DTM_RC || id == DTM_RE_TABLE";
    }
    EXPECT_EQ(capture.get_texts(), reports);
  }
  // A DTM_NONE key has an empty label and no report, whatever its shape:
  // only the two-level top below it reports here.
  MSG_CAPTURE capture;
  CHAIN unnamed(MEM_MANAGER::new_wrapper<DTM_PTR_DATA>(
      k_none, DTM_BASE_DATA::create_node(1, e(2), e(3), k_none)));
  EXPECT_EQ(listed(*unnamed, DTM_MICRO, "", "|"), "1|||" + family_name('E', 3) + "\n");
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{k_two_level});
}

TEST_F(DtmDataClass, CompareWritesChangedValuesOrMissingEntries) {
  CHAIN mine = int_level({1, 2, 3, 4});
  CHAIN theirs = int_level({2, 3, 5});
  theirs->set_value(33, e(3), k_none, k_none);
  // One way only: 5 exists only in theirs and is never written.
  EXPECT_EQ(compared(*mine, theirs.get(), k_unlabelled, true), "30\t::\t33P\t|-- \n");
  EXPECT_EQ(compared(*mine, theirs.get(), k_unlabelled, false), "10P\t|-- \n40P\t|-- \n");
  EXPECT_EQ(compared(*theirs, mine.get(), k_unlabelled, false), "50P\t|-- \n");
  EXPECT_EQ(compared(*mine, mine.get(), k_unlabelled, true), "");
  EXPECT_EQ(compared(*mine, mine.get(), k_unlabelled, false), "");

  // Floats: a NaN always differs; a sentinel on this side is not compared.
  CHAIN floats(MEM_MANAGER::new_wrapper<DTM_FLOAT_DATA>(e(1), std::nan("")));
  floats.reset(floats.release()->add_enum(DTM_ILLEGAL_FLOAT, e(2), k_none, k_none));
  CHAIN float_copy(floats->clone());
  EXPECT_EQ(compared(*floats, float_copy.get(), k_unlabelled, true), "nan\t::\tnanP\t|-- \n");

  // Missing entries with sub trees are listed whole; values mode never
  // reports them, and common sub trees are compared level by level.
  MSG_CAPTURE capture;
  CHAIN deep(DTM_BASE_DATA::create_node(1, e(5), e(6), k_none));
  deep.reset(deep.release()->add_enum(2, e(5), e(7), k_none));
  deep.reset(deep.release()->add_enum(3, e(8), e(1), k_none));
  CHAIN other(DTM_BASE_DATA::create_node(9, e(5), e(7), k_none));
  EXPECT_EQ(compared(*deep, other.get(), k_unlabelled, false), "3P\t|-- \t|-- \n1P\t|-- \t|-- \n");
  EXPECT_EQ(compared(*deep, other.get(), k_unlabelled, true), "2\t::\t9P\t|-- \t|-- \n");

  capture.clear();
  EXPECT_EQ(compared(*mine, nullptr, k_unlabelled, true), "");
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"node!=0"});
}

TEST_F(DtmDataClass, ClonesListIdenticallyAndCompareEqual) {
  MSG_CAPTURE capture;
  CHAIN chain(DTM_BASE_DATA::create_node(1, e(5), e(6), e(2)));
  // Deepest levels first: once an integer leaf is a level's root, that
  // level takes one key only.
  for (int key = 1; key < 9; ++key) {
    chain.reset(chain.release()->add_enum(key * 3, e(5), e(6), e(key + 2)));
  }
  for (int key = 1; key < 9; ++key) {
    chain.reset(chain.release()->add_enum(key, e(5), e(key + 10), k_none));
  }
  for (int key = 1; key < 9; ++key) {
    chain.reset(chain.release()->add_enum(key, e(key + 10), k_none, k_none));
  }
  chain.reset(chain.release()->add_enum(2.25, e(30), k_none, k_none));
  ASSERT_EQ(capture.get_count(), 0u);
  ASSERT_EQ(chain->get_value(e(5), e(6), e(10)), 24);
  ASSERT_EQ(chain->get_value(e(5), e(18), k_none), 8);
  CHAIN copy(chain->clone());
  EXPECT_EQ(shape(copy.get()), shape(chain.get()));
  EXPECT_EQ(listed(*copy, DTM_RC, "R", "\t|-- "), listed(*chain, DTM_RC, "R", "\t|-- "));
  EXPECT_EQ(compared(*copy, chain.get(), DTM_RC, true), "");
  EXPECT_EQ(compared(*copy, chain.get(), DTM_RC, false), "");
  EXPECT_EQ(compared(*chain, copy.get(), DTM_RC, false), "");
  EXPECT_TRUE(copy->set_value(-1, e(5), e(6), e(4)));
  EXPECT_EQ(chain->get_value(e(5), e(6), e(4)), 6);
  chain.reset();
  EXPECT_EQ(copy->get_float(e(30), k_none, k_none), 2.25);
  EXPECT_EQ(capture.get_count(), 0u);
}

TEST_F(DtmDataClass, HostileShapesAreWalkedAndFreedWithoutRecursion) {
  constexpr int k_depth = 200000;
  // A degenerate sibling tree: every entry is the right child of the last.
  DTM_BASE_DATA* root = MEM_MANAGER::new_wrapper<DTM_INT_DATA>(e(1), 1);
  DTM_BASE_DATA* last = root;
  for (int key = 2; key <= k_depth; ++key) {
    DTM_BASE_DATA* next = MEM_MANAGER::new_wrapper<DTM_INT_DATA>(e(key), key);
    last->set_right(next);
    last = next;
  }
  CHAIN siblings(root);
  EXPECT_EQ(DTM_BASE_DATA::get_node_count(siblings.get()), INT16_MAX);  // saturated
  EXPECT_EQ(siblings->get_value(e(k_depth), k_none, k_none), k_depth);
  CHAIN sibling_copy(siblings->clone());
  std::ostringstream os;
  sibling_copy->print_tree(os, k_unlabelled, "", false, "");
  const std::string text = os.str();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), k_depth);
  EXPECT_EQ(text.substr(0, 4), "1\n2\n");
  EXPECT_EQ(text.substr(text.size() - 14), "199999\n200000\n");
  // Adding below the deepest entry walks the whole path and rotates it.
  siblings.reset(siblings.release()->add_enum(0, e(k_depth + 1), k_none, k_none));
  EXPECT_EQ(siblings->get_value(e(k_depth + 1), k_none, k_none), 0);

  // Levels nested as deep: each entry's sub tree is the next entry.
  DTM_BASE_DATA* top = MEM_MANAGER::new_wrapper<DTM_PTR_DATA>(e(1), nullptr);
  DTM_BASE_DATA* level = top;
  for (int key = 2; key <= k_depth; ++key) {
    DTM_BASE_DATA* next = MEM_MANAGER::new_wrapper<DTM_PTR_DATA>(e(key), nullptr);
    level->set_sub_tree(next);
    level = next;
  }
  CHAIN nested(top);
  CHAIN nested_copy(nested->clone());
  EXPECT_EQ(nested_copy->find_enum(e(1), e(2), e(3))->get_enum(), e(3));
}

}  // namespace
