// Derived models: a structural clone linked to its master answers from it;
// the differences of a source stored in a linked copy; a source resynced to
// a reference; who frees a linked node. The models are a few thousand random
// delays of every kind (the ten leaves and the four point-to-point
// directions) over realistic paths, built through the typed entry points.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <random>
#include <set>
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

using E = DTM_ENUM;
using RE = CDB_RE_TYPE;
using IN = DB_INPUT_PORT_TYPE;
using OUT = DB_OUTPUT_PORT_TYPE;
using BUR = DB_BURIED_PORT_TYPE;
using NODE_PTR = std::unique_ptr<DTM_NODE>;

std::size_t live_objects() { return MEM_MANAGER::get_counters().m_live_objects; }

// Every member of DTM_ENUM (the enumeration is sparse).
constexpr DTM_ENUM k_dtm_enums[] = {
#define DBS_NAME(name, value) name,
#include "dbs_dtm_enum.def"
#undef DBS_NAME
};

// --- The kinds of delay ------------------------------------------------------------

// What a key argument is, for drawing it at random.
enum SLOT { NO_KEY, ENUM_KEY, CONDITION, RE_KEY, IN_KEY, OUT_KEY, BURIED_KEY, INDEX_KEY };
using KEYS = std::array<int, 3>;

struct KIND {
  const char* m_name;
  bool m_float;
  SLOT m_slots[3];
  bool (*m_add)(DTM_NODE&, double, const KEYS&, const DTM_PATH&);
  double (*m_get)(const DTM_NODE&, const KEYS&, const DTM_PATH&);
};

const KIND k_kinds[] = {
    {"micro",
     false,
     {ENUM_KEY},
     [](DTM_NODE& n, double v, const KEYS& k, const DTM_PATH& p) {
       return n.add_micro_node_delay(int(v), E(k[0]), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, const KEYS& k, const DTM_PATH& p) -> double {
       return n.get_micro_node_delay(E(k[0]), DTM_PATH_SPREAD(p));
     }},
    {"table",
     false,
     {ENUM_KEY, ENUM_KEY},
     [](DTM_NODE& n, double v, const KEYS& k, const DTM_PATH& p) {
       return n.add_table_node_delay(int(v), E(k[0]), E(k[1]), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, const KEYS& k, const DTM_PATH& p) -> double {
       return n.get_table_node_delay(E(k[0]), E(k[1]), DTM_PATH_SPREAD(p));
     }},
    {"float_table",
     true,
     {ENUM_KEY, ENUM_KEY},
     [](DTM_NODE& n, double v, const KEYS& k, const DTM_PATH& p) {
       return n.add_float_table_node_delay(v, E(k[0]), E(k[1]), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, const KEYS& k, const DTM_PATH& p) {
       return n.get_float_table_node_delay(E(k[0]), E(k[1]), DTM_PATH_SPREAD(p));
     }},
    {"ff",
     false,
     {BURIED_KEY, ENUM_KEY},
     [](DTM_NODE& n, double v, const KEYS& k, const DTM_PATH& p) {
       return n.add_ff_node_delay(int(v), BUR(k[0]), E(k[1]), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, const KEYS& k, const DTM_PATH& p) -> double {
       return n.get_ff_node_delay(BUR(k[0]), E(k[1]), DTM_PATH_SPREAD(p));
     }},
    {"re",
     false,
     {RE_KEY},
     [](DTM_NODE& n, double v, const KEYS& k, const DTM_PATH& p) {
       return n.add_re_node_delay(int(v), RE(k[0]), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, const KEYS& k, const DTM_PATH& p) -> double {
       return n.get_re_node_delay(RE(k[0]), DTM_PATH_SPREAD(p));
     }},
    {"re_table",
     false,
     {RE_KEY, RE_KEY, CONDITION},
     [](DTM_NODE& n, double v, const KEYS& k, const DTM_PATH& p) {
       return n.add_re_table_node_delay(int(v), RE(k[0]), RE(k[1]), E(k[2]), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, const KEYS& k, const DTM_PATH& p) -> double {
       return n.get_re_table_node_delay(RE(k[0]), RE(k[1]), E(k[2]), DTM_PATH_SPREAD(p));
     }},
    {"re_input_port",
     false,
     {RE_KEY, IN_KEY},
     [](DTM_NODE& n, double v, const KEYS& k, const DTM_PATH& p) {
       return n.add_re_port_node_delay(int(v), RE(k[0]), IN(k[1]), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, const KEYS& k, const DTM_PATH& p) -> double {
       return n.get_re_port_node_delay(RE(k[0]), IN(k[1]), DTM_PATH_SPREAD(p));
     }},
    {"output_port_re",
     false,
     {OUT_KEY, RE_KEY},
     [](DTM_NODE& n, double v, const KEYS& k, const DTM_PATH& p) {
       return n.add_port_re_node_delay(int(v), OUT(k[0]), RE(k[1]), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, const KEYS& k, const DTM_PATH& p) -> double {
       return n.get_port_re_node_delay(OUT(k[0]), RE(k[1]), DTM_PATH_SPREAD(p));
     }},
    {"rc",
     true,
     {RE_KEY, ENUM_KEY, ENUM_KEY},
     [](DTM_NODE& n, double v, const KEYS& k, const DTM_PATH& p) {
       return n.add_rc_float(v, RE(k[0]), E(k[1]), E(k[2]), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, const KEYS& k, const DTM_PATH& p) {
       return n.get_rc_float(RE(k[0]), E(k[1]), E(k[2]), DTM_PATH_SPREAD(p));
     }},
    {"integer",
     false,
     {ENUM_KEY, INDEX_KEY},
     [](DTM_NODE& n, double v, const KEYS& k, const DTM_PATH& p) {
       return n.add_integer_node_delay(int(v), E(k[0]), k[1], DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, const KEYS& k, const DTM_PATH& p) -> double {
       return n.get_integer_node_delay(E(k[0]), k[1], DTM_PATH_SPREAD(p));
     }},
    {"p2p_in_out",
     false,
     {IN_KEY, OUT_KEY, CONDITION},
     [](DTM_NODE& n, double v, const KEYS& k, const DTM_PATH& p) {
       return n.add_p2p_node_delay(int(v), IN(k[0]), OUT(k[1]), E(k[2]), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, const KEYS& k, const DTM_PATH& p) -> double {
       return n.get_p2p_node_delay(IN(k[0]), OUT(k[1]), E(k[2]), DTM_PATH_SPREAD(p));
     }},
    {"p2p_in_buried",
     false,
     {IN_KEY, BURIED_KEY, CONDITION},
     [](DTM_NODE& n, double v, const KEYS& k, const DTM_PATH& p) {
       return n.add_p2p_node_delay(int(v), IN(k[0]), BUR(k[1]), E(k[2]), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, const KEYS& k, const DTM_PATH& p) -> double {
       return n.get_p2p_node_delay(IN(k[0]), BUR(k[1]), E(k[2]), DTM_PATH_SPREAD(p));
     }},
    {"p2p_buried_out",
     false,
     {BURIED_KEY, OUT_KEY, CONDITION},
     [](DTM_NODE& n, double v, const KEYS& k, const DTM_PATH& p) {
       return n.add_p2p_node_delay(int(v), BUR(k[0]), OUT(k[1]), E(k[2]), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, const KEYS& k, const DTM_PATH& p) -> double {
       return n.get_p2p_node_delay(BUR(k[0]), OUT(k[1]), E(k[2]), DTM_PATH_SPREAD(p));
     }},
    {"p2p_buried_buried",
     false,
     {BURIED_KEY, BURIED_KEY, CONDITION},
     [](DTM_NODE& n, double v, const KEYS& k, const DTM_PATH& p) {
       return n.add_p2p_node_delay(int(v), BUR(k[0]), BUR(k[1]), E(k[2]), DTM_PATH_SPREAD(p));
     },
     [](const DTM_NODE& n, const KEYS& k, const DTM_PATH& p) -> double {
       return n.get_p2p_node_delay(BUR(k[0]), BUR(k[1]), E(k[2]), DTM_PATH_SPREAD(p));
     }},
};
constexpr int k_kind_count = sizeof(k_kinds) / sizeof(k_kinds[0]);
constexpr int k_first_p2p_kind = 10;
// The point-to-point kinds in the order in which link_clone searches the
// directions (buried->buried, in->buried, buried->out, in->out), and in the
// order in which diff and resync visit them (in->out, in->buried,
// buried->buried, buried->out).
constexpr int k_p2p_link_order[] = {13, 11, 12, 10};
constexpr int k_p2p_data_order[] = {10, 11, 13, 12};

// One point-to-point delay of the kind, ports 1 to 2, unconditioned, at the
// node itself.
bool add_p2p(DTM_NODE& node, int kind, double value) {
  return k_kinds[kind].m_add(node, value, KEYS{1, 2, DTM_NONE}, DTM_PATH{});
}
double get_p2p(const DTM_NODE& node, int kind) {
  return k_kinds[kind].m_get(node, KEYS{1, 2, DTM_NONE}, DTM_PATH{});
}

// The places of a device the delays hang under (the first is the root itself).
const DTM_PATH k_paths[] = {
    {},
    {{DTM_MAP_CORE}},
    {{DTM_MAP_CORE, DTM_MAP_LOGIC_ARRAY}},
    {{DTM_MAP_CORE, DTM_MAP_LOGIC_ARRAY, DTM_MAP_LOGIC_BLOCK, DTM_MAP_LOGIC_CELL}},
    {{DTM_MAP_CORE, DTM_MAP_LOGIC_ARRAY, DTM_MAP_LOGIC_BLOCK, DTM_MAP_LOGIC_CELL, DTM_MAP_LUT}},
    {{DTM_MAP_CORE, DTM_MAP_LOGIC_ARRAY, DTM_MAP_LOGIC_BLOCK, DTM_MAP_CARRY_CHAIN}},
    {{DTM_MAP_IO_BANK, DTM_MAP_IO_CELL, DTM_MAP_IO_INPUT_PATH}},
    {{DTM_MAP_IO_BANK, DTM_MAP_IO_CELL, DTM_MAP_IO_OUTPUT_PATH, DTM_MAP_IO_DDR}},
    {{DTM_MAP_RAM_LARGE, DTM_MAP_RAM_PORT_A}},
    {{DTM_MAP_DSP_BLOCK, DTM_MAP_MULTIPLIER}},
    {{DTM_MAP_CLOCK_NETWORK, DTM_MAP_GLOBAL_CLOCK}},
    {{DTM_MAP_CLOCK_NETWORK, DTM_MAP_REGIONAL_CLOCK, DTM_MAP_CLOCK_CONTROL, DTM_MAP_PLL,
      DTM_MAP_PLL_COUNTER, DTM_MAP_DLL, DTM_MAP_SERDES, DTM_MAP_TRANSCEIVER, DTM_MAP_ADDER}},
};
constexpr int k_path_count = sizeof(k_paths) / sizeof(k_paths[0]);

// --- Random models ----------------------------------------------------------------------

struct DELAY {
  int m_kind;
  int m_path;
  KEYS m_keys;
  double m_value;
};
using DELAYS = std::vector<DELAY>;

// Kind, path and keys: what makes two delays the same entry.
using PLACE = std::array<int, 5>;
PLACE place_of(const DELAY& d) {
  return {d.m_kind, d.m_path, d.m_keys[0], d.m_keys[1], d.m_keys[2]};
}

class MODEL_DRAW {
 public:
  explicit MODEL_DRAW(unsigned seed) : m_rng(seed) {}

  // `count` delays with keys never drawn before, at random kinds and paths.
  DELAYS draw(std::size_t count) {
    DELAYS out;
    while (out.size() < count) {
      add_new(out, pick(k_kind_count), pick(k_path_count));
    }
    return out;
  }
  // `count` delays with new keys at the leaves that `at` already uses.
  DELAYS draw_beside(const DELAYS& at, std::size_t count) {
    DELAYS out;
    while (out.size() < count) {
      const DELAY& near = at[pick(int(at.size()))];
      add_new(out, near.m_kind, near.m_path);
    }
    return out;
  }
  // Another value than `d`'s, of its kind.
  double other_value(const DELAY& d) {
    const int step = 1 + pick(999);
    return k_kinds[d.m_kind].m_float ? d.m_value + step / 1000.0 : d.m_value + step;
  }

 private:
  int pick(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(m_rng); }
  int draw_key(SLOT slot) {
    switch (slot) {
      case ENUM_KEY:
        return k_dtm_enums[pick(int(sizeof(k_dtm_enums) / sizeof(k_dtm_enums[0])))];
      case CONDITION:
        return pick(3) == 0 ? int(DTM_NONE) : draw_key(ENUM_KEY);
      case RE_KEY:
        return pick(int(CDB_RE_ILLEGAL_TYPE));
      case IN_KEY:
        return pick(int(DB_MAX_INPUT_PORT_TYPE));
      case OUT_KEY:
        return pick(int(DB_MAX_OUTPUT_PORT_TYPE));
      case BURIED_KEY:
        return pick(int(DB_MAX_BURIED_PORT_TYPE));
      case INDEX_KEY:
        return pick(DTM_MAX_INTEGER_INDEX + 1);
      case NO_KEY:
        break;
    }
    return 0;
  }
  void add_new(DELAYS& out, int kind, int path) {
    DELAY d{kind, path, {}, 0.0};
    for (int i = 0; i < 3; ++i) {
      d.m_keys[i] = draw_key(k_kinds[kind].m_slots[i]);
    }
    const int value = 1 + pick(1000000);
    d.m_value = k_kinds[kind].m_float ? value / 1000.0 : value;
    if (m_taken.insert(place_of(d)).second) {
      out.push_back(d);
    }
  }

  std::mt19937 m_rng;
  std::set<PLACE> m_taken;
};

void add_delays(DTM_NODE& root, const DELAYS& delays) {
  for (const DELAY& d : delays) {
    ASSERT_TRUE(k_kinds[d.m_kind].m_add(root, d.m_value, d.m_keys, k_paths[d.m_path]))
        << k_kinds[d.m_kind].m_name;
  }
}

double get_delay(const DTM_NODE& root, const DELAY& d) {
  return k_kinds[d.m_kind].m_get(root, d.m_keys, k_paths[d.m_path]);
}

// The three "nothing here" answers of the get entry points.
bool is_missing(double value) {
  return value == DTM_ILLEGAL_DELAY || value == DTM_ILLEGAL_FLOAT ||
         value == DTM_ILLEGAL_TABLE_FLOAT;
}

// How many delays of `delays` the model answers with `value_of(delay)`
// (any of the "nothing here" answers counting as one).
template <class VALUE_OF>
std::size_t count_answers(const DTM_NODE& root, const DELAYS& delays, VALUE_OF value_of) {
  std::size_t same = 0;
  for (const DELAY& d : delays) {
    const double got = get_delay(root, d);
    const double want = value_of(d);
    same += got == want || (is_missing(want) && is_missing(got)) ? 1 : 0;
  }
  return same;
}

std::size_t count_missing(const DTM_NODE& root, const DELAYS& delays) {
  return count_answers(root, delays, [](const DELAY&) { return DTM_ILLEGAL_DELAY; });
}

std::size_t count_own_values(const DTM_NODE& root, const DELAYS& delays) {
  return count_answers(root, delays, [](const DELAY& d) { return d.m_value; });
}

NODE_PTR build(const DELAYS& delays) {
  NODE_PTR root(new DTM_NODE(DTM_ROOT, true));
  add_delays(*root, delays);
  return root;
}

// --- Looking at trees --------------------------------------------------------------------

const DTM_P2P_NODE* as_p2p(const DTM_NODE* node) { return dynamic_cast<const DTM_P2P_NODE*>(node); }

// The four direction nodes of a point-to-point node, in the order in which
// link_clone looks for data, with the text it reports for each.
struct DIRECTION_CASE {
  DTM_NODE* (*m_get)(const DTM_P2P_NODE&);
  const char* m_text;
};
const DIRECTION_CASE k_link_order[] = {
    {[](const DTM_P2P_NODE& p) -> DTM_NODE* { return p.get_buried_buried_node(); },
     "p2p_node->m_buried_buried_node == 0 || p2p_node->m_buried_buried_node->m_data_root == 0"},
    {[](const DTM_P2P_NODE& p) -> DTM_NODE* { return p.get_in_buried_node(); },
     "p2p_node->m_in_buried_node == 0 || p2p_node->m_in_buried_node->m_data_root == 0"},
    {[](const DTM_P2P_NODE& p) -> DTM_NODE* { return p.get_buried_out_node(); },
     "p2p_node->m_buried_out_node == 0 || p2p_node->m_buried_out_node->m_data_root == 0"},
    {[](const DTM_P2P_NODE& p) -> DTM_NODE* { return p.get_in_out_node(); },
     "p2p_node->m_in_out_node == 0 || p2p_node->m_in_out_node->m_data_root == 0"},
};

bool has_data(const DTM_NODE* node) { return node != nullptr && node->get_data_root() != nullptr; }

std::size_t entries_of(const DTM_NODE* node) {
  return has_data(node) ? node->get_data_root()->get_node_count() : 0;
}

// Every data entry of the subtree, direction nodes included.
std::size_t count_entries(const DTM_NODE& node) {
  std::size_t count = entries_of(&node);
  if (const DTM_P2P_NODE* p2p = as_p2p(&node)) {
    for (const DIRECTION_CASE& d : k_link_order) {
      count += entries_of(d.m_get(*p2p));
    }
  }
  for (const DTM_NODE* child : node.get_nodes()) {
    count += count_entries(*child);
  }
  return count;
}

std::size_t count_nodes(const DTM_NODE& node) {
  std::size_t count = 1;
  for (const DTM_NODE* child : node.get_nodes()) {
    count += count_nodes(*child);
  }
  return count;
}

// Visits every node of `source` with its counterparts in the other two trees
// (the child with the same id; null where there is none).
template <class VISIT>
void walk_parallel(DTM_NODE* root, DTM_NODE& source, DTM_NODE* target, const VISIT& visit) {
  visit(root, source, target);
  for (DTM_NODE* child : source.get_nodes()) {
    const DTM_NODE_ENUM id = child->get_id();
    walk_parallel(root != nullptr ? root->get_sub_node(id) : nullptr, *child,
                  target != nullptr ? target->get_sub_node(id) : nullptr, visit);
  }
}

// `copy` has the ids, classes and direction nodes of `master`, node for node,
// and no data and no link anywhere.
void expect_bare_copy(const DTM_NODE& master, const DTM_NODE& copy) {
  ASSERT_EQ(typeid(master), typeid(copy));
  EXPECT_EQ(copy.get_id(), master.get_id());
  EXPECT_TRUE(copy.is_writable());
  EXPECT_FALSE(has_data(&copy));
  EXPECT_EQ(copy.get_linked_node(), nullptr);
  if (const DTM_P2P_NODE* p2p = as_p2p(&master)) {
    for (const DIRECTION_CASE& d : k_link_order) {
      const DTM_NODE* mine = d.m_get(*as_p2p(&copy));
      ASSERT_EQ(mine != nullptr, d.m_get(*p2p) != nullptr);
      EXPECT_FALSE(has_data(mine));
    }
  }
  ASSERT_EQ(copy.get_nodes().size(), master.get_nodes().size());
  for (std::size_t i = 0; i < master.get_nodes().size(); ++i) {
    expect_bare_copy(*master.get_nodes()[i], *copy.get_nodes()[i]);
  }
}

// Every memory block a test makes is freed by the end of it.
class DtmNodeLink : public ::testing::Test {
 protected:
  void SetUp() override { m_start = live_objects(); }
  void TearDown() override { EXPECT_EQ(live_objects(), m_start); }

  MEM_SEGMENT m_segment{"link"};
  std::size_t m_start = 0;
};

// --- The typical sequence ---------------------------------------------------------------

TEST_F(DtmNodeLink, LinkedCopyAnswersFromTheMasterUntilItHoldsItsOwnValue) {
  MODEL_DRAW draw(1);
  const DELAYS delays = draw.draw(3000);
  const DELAYS absent = draw.draw_beside(delays, 300);  // keys the master lacks
  NODE_PTR master = build(delays);
  ASSERT_EQ(count_own_values(*master, delays), delays.size());
  MSG_CAPTURE capture;
  const std::size_t before_copy = live_objects();

  NODE_PTR flat(master->clone(&m_segment, false, false));
  EXPECT_TRUE(flat->get_nodes().empty());
  flat.reset();

  NODE_PTR copy(master->clone(&m_segment, true, false));
  expect_bare_copy(*master, *copy);
  EXPECT_EQ(count_missing(*copy, delays), delays.size());

  EXPECT_TRUE(copy->link_clone(master.get()));
  EXPECT_EQ(capture.get_count(), 0U) << capture.get_texts()[0];
  // Linked: the nodes whose master holds data (a point-to-point node: in
  // any direction), each to its own counterpart; nothing else.
  std::size_t linked = 0;
  walk_parallel(master.get(), *copy, nullptr, [&](DTM_NODE* m, DTM_NODE& c, DTM_NODE*) {
    bool data = has_data(m);
    if (const DTM_P2P_NODE* p2p = as_p2p(m)) {
      for (const DIRECTION_CASE& d : k_link_order) {
        data = data || has_data(d.m_get(*p2p));
      }
    }
    EXPECT_EQ(c.get_linked_node(), data ? m : nullptr);
    linked += data ? 1 : 0;
  });
  // One leaf per kind and path, the four point-to-point kinds sharing one.
  std::set<std::pair<int, int>> leaves;
  for (const DELAY& d : delays) {
    leaves.insert({std::min(d.m_kind, k_first_p2p_kind), d.m_path});
  }
  EXPECT_EQ(linked, leaves.size());
  EXPECT_EQ(count_own_values(*copy, delays), delays.size());
  EXPECT_EQ(count_missing(*copy, absent), absent.size());
  EXPECT_EQ(count_entries(*copy), 0U);

  // Set changes only what the copy holds: it never follows the link.
  for (const DELAY& d : delays) {
    if (d.m_kind == 0) {
      EXPECT_FALSE(
          copy->set_micro_node_delay(1, E(d.m_keys[0]), DTM_PATH_SPREAD(k_paths[d.m_path])));
      EXPECT_EQ(get_delay(*copy, d), d.m_value);
      break;
    }
  }

  // Values of the copy's own: every fifth key changes, a hundred keys are new.
  DELAYS own;
  for (std::size_t i = 0; i < delays.size(); i += 5) {
    own.push_back(delays[i]);
    own.back().m_value = draw.other_value(delays[i]);
  }
  const DELAYS fresh(absent.begin(), absent.begin() + 100);
  add_delays(*copy, own);
  add_delays(*copy, fresh);
  EXPECT_EQ(count_entries(*copy), own.size() + fresh.size());
  EXPECT_EQ(count_own_values(*copy, own), own.size());
  EXPECT_EQ(count_own_values(*copy, fresh), fresh.size());
  EXPECT_EQ(count_own_values(*copy, delays), delays.size() - own.size());
  EXPECT_EQ(count_own_values(*master, delays), delays.size());
  EXPECT_EQ(count_missing(*master, fresh), fresh.size());
  EXPECT_EQ(capture.get_count(), 0U);

  // Destroying the copy leaves the master (version 0) whole.
  copy.reset();
  EXPECT_EQ(live_objects(), before_copy);
  EXPECT_EQ(count_own_values(*master, delays), delays.size());
}

// --- Differences and resync ---------------------------------------------------------------

struct VARIANT {
  DELAYS m_kept;     // the master's delays the variant holds, some with new values
  DELAYS m_changed;  // those of them whose value differs from the master's
  DELAYS m_dropped;  // the master's delays the variant lacks
  DELAYS m_added;    // delays only the variant holds (at the master's leaves)
};

VARIANT make_variant(MODEL_DRAW& draw, const DELAYS& master, std::size_t change_every,
                     std::size_t drop_every, std::size_t added) {
  VARIANT v;
  for (std::size_t i = 0; i < master.size(); ++i) {
    if (i % drop_every == 1) {
      v.m_dropped.push_back(master[i]);
      continue;
    }
    v.m_kept.push_back(master[i]);
    if (i % change_every == 0) {
      v.m_kept.back().m_value = draw.other_value(master[i]);
      v.m_changed.push_back(v.m_kept.back());
    }
  }
  v.m_added = draw.draw_beside(master, added);
  return v;
}

// The reports link_clone makes when linking `copy` to `master` while the copy
// already holds data, by text.
std::multiset<std::string> expected_link_reports(DTM_NODE& master, DTM_NODE& copy) {
  std::multiset<std::string> texts;
  walk_parallel(&master, copy, nullptr, [&](DTM_NODE* m, DTM_NODE& c, DTM_NODE*) {
    if (const DTM_P2P_NODE* p2p = as_p2p(&c)) {
      for (const DIRECTION_CASE& d : k_link_order) {
        if (has_data(d.m_get(*as_p2p(m)))) {
          if (has_data(d.m_get(*p2p))) {
            texts.insert(d.m_text);
          }
          break;
        }
      }
    } else if (has_data(&c) && has_data(m)) {
      texts.insert("m_data_root == 0");
    }
  });
  return texts;
}

class DtmNodeLinkDiff : public DtmNodeLink, public ::testing::WithParamInterface<bool> {};

TEST_P(DtmNodeLinkDiff, LinkedDifferencesAnswerAsTheSourceAndStoreOnlyWhatDiffers) {
  const bool link_first = GetParam();
  MODEL_DRAW draw(2);
  const DELAYS delays = draw.draw(3000);
  const VARIANT variant = make_variant(draw, delays, 4, 10, 400);
  NODE_PTR root = build(delays);
  NODE_PTR source = build(variant.m_kept);
  add_delays(*source, variant.m_added);
  NODE_PTR target(root->clone(&m_segment, true, false));
  const std::size_t source_entries = count_entries(*source);
  MSG_CAPTURE capture;

  if (link_first) {
    EXPECT_TRUE(target->link_clone(root.get()));
  }
  walk_parallel(root.get(), *source, target.get(),
                [](DTM_NODE* r, DTM_NODE& s, DTM_NODE* t) { s.diff_clone_node_data(r, &s, t); });
  EXPECT_EQ(count_entries(*target), variant.m_changed.size() + variant.m_added.size());
  if (link_first) {
    EXPECT_EQ(capture.get_count(), 0U) << capture.get_texts()[0];
  } else {
    EXPECT_EQ(capture.get_count(), 0U);
    const std::multiset<std::string> expected = expected_link_reports(*root, *target);
    EXPECT_GT(expected.size(), 0U);
    EXPECT_TRUE(target->link_clone(root.get()));
    const std::vector<std::string> texts = capture.get_texts();
    EXPECT_EQ(std::multiset<std::string>(texts.begin(), texts.end()), expected);
  }

  // The copy answers as the source for every key the source holds, and as
  // the root for the keys the source lacks.
  EXPECT_EQ(count_own_values(*target, variant.m_kept), variant.m_kept.size());
  EXPECT_EQ(count_own_values(*target, variant.m_added), variant.m_added.size());
  EXPECT_EQ(count_own_values(*target, variant.m_dropped), variant.m_dropped.size());
  // Neither the root nor the source changed.
  EXPECT_EQ(count_own_values(*root, delays), delays.size());
  EXPECT_EQ(count_own_values(*source, variant.m_kept), variant.m_kept.size());
  EXPECT_EQ(count_entries(*source), source_entries);
}

INSTANTIATE_TEST_SUITE_P(Order, DtmNodeLinkDiff, ::testing::Values(true, false),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return info.param ? "LinkThenDiff" : "DiffThenLink";
                         });

TEST_F(DtmNodeLink, ResyncGivesTheSourceTheReferenceValuesItShares) {
  MODEL_DRAW draw(3);
  const DELAYS delays = draw.draw(3000);
  const VARIANT variant = make_variant(draw, delays, 3, 10, 300);
  NODE_PTR root = build(delays);
  NODE_PTR source = build(variant.m_kept);
  add_delays(*source, variant.m_added);
  const std::size_t source_entries = count_entries(*source);
  ASSERT_EQ(count_own_values(*source, delays),
            delays.size() - variant.m_changed.size() - variant.m_dropped.size());
  MSG_CAPTURE capture;

  walk_parallel(root.get(), *source, nullptr,
                [](DTM_NODE* r, DTM_NODE& s, DTM_NODE*) { s.resync_source_with_root(r, &s); });
  EXPECT_EQ(capture.get_count(), 0U) << capture.get_texts()[0];
  // Shared keys take the root's value; the source's own keys stay; nothing is
  // added, nothing removed, and the root is untouched.
  EXPECT_EQ(count_own_values(*source, delays), delays.size() - variant.m_dropped.size());
  EXPECT_EQ(count_own_values(*source, variant.m_added), variant.m_added.size());
  EXPECT_EQ(count_missing(*source, variant.m_dropped), variant.m_dropped.size());
  EXPECT_EQ(count_entries(*source), source_entries);
  EXPECT_EQ(count_own_values(*root, delays), delays.size());
}

// --- Ownership ----------------------------------------------------------------------------

// A leaf of the copy linked to a node outside every tree: only version 1
// hands that node to the leaf.
TEST_F(DtmNodeLink, OnlyAVersionOneLinkedNodeIsFreedWithTheNodeLinkingToIt) {
  for (const short version : {short(0), short(1), short(2), short(-1)}) {
    SCOPED_TRACE(version);
    const std::size_t start = live_objects();
    auto* linked = new DTM_MICRO_NODE(true);
    linked->set_version(version);
    ASSERT_TRUE(linked->add_micro_node_delay(42, TCO_DELAY));
    const std::size_t linked_objects = live_objects() - start;
    auto* further = new DTM_MICRO_NODE(true);  // behind it in the chain, version 0
    ASSERT_TRUE(further->add_micro_node_delay(7, TSU_DELAY));
    further->append_node_to(linked);
    const std::size_t with_linked = live_objects();

    NODE_PTR copy(new DTM_NODE(DTM_ROOT, true));
    ASSERT_TRUE(copy->add_micro_node_delay(1, TH_DELAY, DTM_MAP_CORE));
    DTM_NODE* leaf = copy->get_node(DTM_MAP_CORE, DTM_MICRO);
    MSG_CAPTURE capture;
    EXPECT_TRUE(leaf->link_clone(linked));
    EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"m_data_root == 0"});
    EXPECT_EQ(leaf->get_linked_node(), linked);
    EXPECT_EQ(copy->get_micro_node_delay(TCO_DELAY, DTM_MAP_CORE), 42);
    EXPECT_EQ(copy->get_micro_node_delay(TH_DELAY, DTM_MAP_CORE), 1);
    // Only the first link is asked.
    EXPECT_EQ(copy->get_micro_node_delay(TSU_DELAY, DTM_MAP_CORE), DTM_ILLEGAL_DELAY);

    copy.reset();
    if (version == 1) {
      // Freed once, with what it owns; the version-0 node behind it stays.
      EXPECT_EQ(live_objects(), with_linked - linked_objects);
      EXPECT_EQ(further->get_micro_node_delay(TSU_DELAY), 7);
    } else {
      EXPECT_EQ(live_objects(), with_linked);
      EXPECT_EQ(linked->get_micro_node_delay(TCO_DELAY), 42);
      delete linked;
    }
    delete further;
    EXPECT_EQ(live_objects(), start);
  }
}

// --- link_clone, case by case -----------------------------------------------------------

TEST_F(DtmNodeLink, MissingMastersAreReportedOncePerNodeThatLacksOne) {
  NODE_PTR master = build(MODEL_DRAW(4).draw(200));
  NODE_PTR copy(master->clone(&m_segment, true, false));
  MSG_CAPTURE capture;
  EXPECT_TRUE(copy->link_clone(nullptr));
  EXPECT_EQ(capture.count_text("original_node != 0"), count_nodes(*copy));
  EXPECT_EQ(capture.get_count(), count_nodes(*copy));

  // A subtree the master lacks: each of its nodes reports, the rest links.
  capture.clear();
  NODE_PTR other(master->clone(&m_segment, true, false));
  ASSERT_TRUE(other->add_micro_node_delay(5, TCO_DELAY, DTM_MAP_SERDES, DTM_MAP_TRANSCEIVER));
  EXPECT_TRUE(other->link_clone(master.get()));
  EXPECT_EQ(capture.count_text("original_node != 0"), 3U);
  EXPECT_EQ(capture.get_count(), 3U);
  EXPECT_EQ(other->get_micro_node_delay(TCO_DELAY, DTM_MAP_SERDES, DTM_MAP_TRANSCEIVER), 5);
  EXPECT_EQ(count_nodes(*other), count_nodes(*master) + 3);
}

TEST_F(DtmNodeLink, PlainNodesLinkWhenTheirMasterHoldsData) {
  DTM_NODE master(DTM_ROOT, true);
  ASSERT_TRUE(master.add_node(new DTM_NODE(DTM_MAP_CORE, true)));
  DTM_NODE* core = master.get_node(DTM_MAP_CORE);
  core->set_tree_data_root(new DTM_TREE_INT_DATA(3, DTM_TREE_DATA_KEY(1, DTM_ENUM_WRAPPER(1, 1))));
  NODE_PTR copy(master.clone(&m_segment, true, false));
  MSG_CAPTURE capture;
  EXPECT_TRUE(copy->link_clone(&master));
  EXPECT_EQ(capture.get_count(), 0U);
  EXPECT_EQ(copy->get_linked_node(), nullptr);  // the root holds no data
  EXPECT_EQ(copy->get_node(DTM_MAP_CORE)->get_linked_node(), core);

  // Linking again: reported, and the chain stays as it was.
  EXPECT_TRUE(copy->link_clone(&master));
  EXPECT_EQ(capture.count_text("m_linked_node == 0"), 1U);
  EXPECT_EQ(capture.count_text("tail != this"), 1U);
  EXPECT_EQ(copy->get_node(DTM_MAP_CORE)->get_linked_node(), core);
  EXPECT_EQ(core->get_linked_node(), nullptr);
}

// A master whose point-to-point node holds data in exactly one direction;
// the copy links the whole node, and reports when its own node holds data
// in that direction (and in no other).
TEST_F(DtmNodeLink, PointToPointNodesLinkByTheFirstDirectionWithData) {
  for (int i = 0; i < 4; ++i) {
    const int kind = k_p2p_link_order[i];
    SCOPED_TRACE(k_kinds[kind].m_name);
    DTM_NODE master(DTM_ROOT, true);
    ASSERT_TRUE(add_p2p(master, kind, 10));
    DTM_NODE* master_p2p = master.get_sub_node(DTM_P2P);

    NODE_PTR copy(master.clone(&m_segment, true, false));
    MSG_CAPTURE capture;
    EXPECT_TRUE(copy->link_clone(&master));
    EXPECT_EQ(capture.get_count(), 0U);
    EXPECT_EQ(copy->get_sub_node(DTM_P2P)->get_linked_node(), master_p2p);
    EXPECT_EQ(get_p2p(*copy, kind), 10);

    // A copy already holding data in every direction reports that direction only.
    NODE_PTR full(master.clone(&m_segment, true, false));
    for (const int other : k_p2p_link_order) {
      ASSERT_TRUE(add_p2p(*full, other, 20));
    }
    EXPECT_TRUE(full->link_clone(&master));
    EXPECT_EQ(capture.get_texts(), std::vector<std::string>{k_link_order[i].m_text});
    EXPECT_EQ(full->get_sub_node(DTM_P2P)->get_linked_node(), master_p2p);
    EXPECT_EQ(get_p2p(*full, kind), 20);
  }

  // The search stops at the first direction with data: a master holding
  // data from the i-th direction of the search on, and a copy holding data
  // everywhere, report the i-th direction alone.
  for (int first = 0; first < 4; ++first) {
    SCOPED_TRACE(first);
    DTM_NODE master(DTM_ROOT, true);
    for (int i = first; i < 4; ++i) {
      ASSERT_TRUE(add_p2p(master, k_p2p_link_order[i], 1));
    }
    NODE_PTR copy(master.clone(&m_segment, true, false));
    for (const int kind : k_p2p_link_order) {
      ASSERT_TRUE(add_p2p(*copy, kind, 2));
    }
    MSG_CAPTURE capture;
    EXPECT_TRUE(copy->link_clone(&master));
    EXPECT_EQ(capture.get_texts(), std::vector<std::string>{k_link_order[first].m_text});
  }
}

TEST_F(DtmNodeLink, PointToPointLinksRefuseWhatIsNotAPointToPointPair) {
  MSG_CAPTURE capture;
  // A master without data in any direction: nothing to link.
  NODE_PTR empty(DTM_P2P_NODE::make_with_directions());
  NODE_PTR copy(empty->clone(&m_segment, true, false));
  EXPECT_TRUE(copy->link_clone(empty.get()));
  EXPECT_EQ(copy->get_linked_node(), nullptr);
  EXPECT_EQ(capture.get_count(), 0U);

  // Children on either side are reported; the link is still made.
  NODE_PTR master(DTM_P2P_NODE::make_with_directions());
  ASSERT_TRUE(master->add_p2p_node_delay(4, IN(0), OUT(0), DTM_NONE));
  ASSERT_TRUE(master->add_node(new DTM_NODE(DTM_MAP_CORE, true)));
  NODE_PTR with_child(new DTM_P2P_NODE(nullptr, nullptr, nullptr, nullptr, true));
  ASSERT_TRUE(with_child->add_node(new DTM_NODE(DTM_MAP_CORE, true)));
  EXPECT_TRUE(with_child->link_clone(master.get()));
  EXPECT_EQ(
      capture.get_texts(),
      (std::vector<std::string>{"m_nodes.begin() == m_nodes.end()",
                                "original_node->m_nodes.begin() == original_node->m_nodes.end()"}));
  EXPECT_EQ(with_child->get_linked_node(), master.get());
  EXPECT_EQ(with_child->get_p2p_node_delay(IN(0), OUT(0), DTM_NONE), DTM_ILLEGAL_DELAY);

  // A plain node carrying the point-to-point id has no directions to link to.
  capture.clear();
  DTM_NODE impostor(DTM_P2P, true);
  impostor.set_tree_data_root(
      new DTM_TREE_INT_DATA(1, DTM_TREE_DATA_KEY(1, DTM_ENUM_WRAPPER(1, 1))));
  NODE_PTR lonely(DTM_P2P_NODE::make_with_directions());
  EXPECT_TRUE(lonely->link_clone(&impostor));
  EXPECT_EQ(capture.get_texts(),
            std::vector<std::string>{"typeid(*original_node) == typeid(DTM_P2P_NODE)"});
  EXPECT_EQ(lonely->get_linked_node(), nullptr);
}

// --- diff_clone_node_data and resync_source_with_root, case by case -----------------------

// Three micro leaves: the root holds keys 1 (=10) and 2 (=20); the source
// 1 (=10), 2 (=25) and 3 (=30).
struct LEAVES {
  DTM_MICRO_NODE m_root{true};
  DTM_MICRO_NODE m_source{true};
  DTM_MICRO_NODE m_target{true};
  LEAVES() {
    m_root.add_micro_node_delay(10, E(1));
    m_root.add_micro_node_delay(20, E(2));
    m_source.add_micro_node_delay(10, E(1));
    m_source.add_micro_node_delay(25, E(2));
    m_source.add_micro_node_delay(30, E(3));
  }
};

TEST_F(DtmNodeLink, DiffReportsNodesNamedTwiceAndCallsOnAnotherNode) {
  const struct {
    const char* m_name;
    int m_root, m_source, m_target, m_called;  // 0 root, 1 source, 2 target, 3 none
    std::vector<std::string> m_texts;
  } cases[] = {
      {"distinct", 0, 1, 2, 1, {}},
      {"root is source", 1, 1, 2, 1, {"root_node != source_node"}},
      {"source is target", 0, 1, 1, 1, {"source_node != target_node", "target_data == 0"}},
      {"target is root", 0, 1, 0, 1, {"target_node != root_node", "target_data == 0"}},
      {"called on the root", 0, 1, 2, 0, {"source_node == this"}},
      {"no target", 0, 1, 3, 1, {"target_node != 0"}},
      {"no root", 3, 1, 2, 1, {"root_data != 0"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.m_name);
    LEAVES leaves;
    DTM_NODE* nodes[] = {&leaves.m_root, &leaves.m_source, &leaves.m_target, nullptr};
    MSG_CAPTURE capture;
    nodes[c.m_called]->diff_clone_node_data(nodes[c.m_root], nodes[c.m_source], nodes[c.m_target]);
    EXPECT_EQ(capture.get_texts(), c.m_texts);
    if (c.m_called != 1 || c.m_target == 3) {
      EXPECT_FALSE(has_data(&leaves.m_target));
      continue;
    }
    // The target answers the source's differences: keys 2 and 3 against a
    // root, everything without one, nothing against itself.
    DTM_NODE* target = nodes[c.m_target];
    const std::size_t want = c.m_root == 3 ? 3 : c.m_root == c.m_source ? 0 : 2;
    EXPECT_EQ(entries_of(target), want);
    if (want >= 2) {
      EXPECT_EQ(target->get_micro_node_delay(E(2)), 25);
      EXPECT_EQ(target->get_micro_node_delay(E(3)), 30);
    }
  }
}

TEST_F(DtmNodeLink, DiffReplacesTheTargetDataAndLeavesItWithoutSourceData) {
  LEAVES leaves;
  leaves.m_target.add_micro_node_delay(99, E(9));
  MSG_CAPTURE capture;
  leaves.m_source.diff_clone_node_data(&leaves.m_root, &leaves.m_source, &leaves.m_target);
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"target_data == 0"});
  EXPECT_EQ(entries_of(&leaves.m_target), 2U);
  EXPECT_EQ(leaves.m_target.get_micro_node_delay(E(9)), DTM_ILLEGAL_DELAY);

  // No difference at all: the target ends without data.
  capture.clear();
  leaves.m_target.set_tree_data_root(nullptr);
  DTM_MICRO_NODE same(true);
  same.add_micro_node_delay(10, E(1));
  same.add_micro_node_delay(20, E(2));
  same.diff_clone_node_data(&leaves.m_root, &same, &leaves.m_target);
  EXPECT_FALSE(has_data(&leaves.m_target));

  // A source without data changes nothing.
  DTM_MICRO_NODE bare(true);
  leaves.m_target.add_micro_node_delay(1, E(1));
  bare.diff_clone_node_data(&leaves.m_root, &bare, &leaves.m_target);
  EXPECT_EQ(entries_of(&leaves.m_target), 1U);
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST_F(DtmNodeLink, ResyncReportsAndUpdatesOnlyWhatTheRootShares) {
  const struct {
    const char* m_name;
    int m_root, m_called;  // 0 root, 1 source, 3 none
    std::vector<std::string> m_texts;
    int m_key2;  // the source's key 2 afterwards
  } cases[] = {
      {"root", 0, 1, {}, 20},
      {"root is source", 1, 1, {"root_node != source_node"}, 25},
      {"no root", 3, 1, {"root_data != 0"}, 25},
      {"called on the root", 0, 0, {"source_node == this"}, 25},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.m_name);
    LEAVES leaves;
    DTM_NODE* nodes[] = {&leaves.m_root, &leaves.m_source, nullptr, nullptr};
    MSG_CAPTURE capture;
    nodes[c.m_called]->resync_source_with_root(nodes[c.m_root], &leaves.m_source);
    EXPECT_EQ(capture.get_texts(), c.m_texts);
    EXPECT_EQ(leaves.m_source.get_micro_node_delay(E(2)), c.m_key2);
    EXPECT_EQ(leaves.m_source.get_micro_node_delay(E(3)), 30);
    EXPECT_EQ(leaves.m_root.get_micro_node_delay(E(2)), 20);
    EXPECT_EQ(entries_of(&leaves.m_source), 3U);
  }
}

// Diff visits the directions in the order in->out, in->buried,
// buried->buried, buried->out: a target lacking one direction and holding
// data in the others reports at that direction's place in the order.
TEST_F(DtmNodeLink, PointToPointDiffVisitsTheDirectionsInItsOrder) {
  for (int lacking = 0; lacking < 4; ++lacking) {
    SCOPED_TRACE(k_kinds[k_p2p_data_order[lacking]].m_name);
    NODE_PTR root(DTM_P2P_NODE::make_with_directions());
    NODE_PTR source(DTM_P2P_NODE::make_with_directions());
    NODE_PTR target(new DTM_P2P_NODE(nullptr, nullptr, nullptr, nullptr, true));
    std::vector<std::string> expected;
    for (int i = 0; i < 4; ++i) {
      ASSERT_TRUE(add_p2p(*root, k_p2p_data_order[i], 1));
      ASSERT_TRUE(add_p2p(*source, k_p2p_data_order[i], 2));
      if (i != lacking) {
        ASSERT_TRUE(add_p2p(*target, k_p2p_data_order[i], 3));
      }
      expected.push_back(i == lacking ? "target_node != 0" : "target_data == 0");
    }
    MSG_CAPTURE capture;
    source->diff_clone_node_data(root.get(), source.get(), target.get());
    EXPECT_EQ(capture.get_texts(), expected);
    EXPECT_EQ(count_entries(*target), 3U);
  }
}

// Point-to-point nodes work direction by direction; a direction the target
// lacks is reported, one the root lacks is copied whole.
TEST_F(DtmNodeLink, PointToPointDiffAndResyncGoDirectionByDirection) {
  NODE_PTR root(new DTM_P2P_NODE(nullptr, nullptr, nullptr, nullptr, true));
  NODE_PTR source(DTM_P2P_NODE::make_with_directions());
  NODE_PTR target(new DTM_P2P_NODE(nullptr, nullptr, nullptr, nullptr, true));
  auto* r = static_cast<DTM_P2P_NODE*>(root.get());
  auto* s = static_cast<DTM_P2P_NODE*>(source.get());
  auto* t = static_cast<DTM_P2P_NODE*>(target.get());
  ASSERT_TRUE(r->add_p2p_node_delay(1, IN(1), OUT(1), DTM_NONE));   // creates in->out
  ASSERT_TRUE(r->add_p2p_node_delay(2, BUR(1), BUR(1), DTM_NONE));  // creates buried->buried
  ASSERT_TRUE(s->add_p2p_node_delay(1, IN(1), OUT(1), DTM_NONE));   // same as the root
  ASSERT_TRUE(s->add_p2p_node_delay(5, BUR(1), BUR(1), DTM_NONE));  // differs
  ASSERT_TRUE(s->add_p2p_node_delay(6, IN(2), BUR(2), TCO_DELAY));  // the root lacks the direction
  ASSERT_TRUE(s->add_p2p_node_delay(7, BUR(3), OUT(3), DTM_NONE));  // the target lacks it
  ASSERT_TRUE(t->add_p2p_node_delay(0, IN(9), OUT(9), DTM_NONE));   // creates in->out
  ASSERT_TRUE(t->add_p2p_node_delay(0, IN(9), BUR(9), DTM_NONE));   // creates in->buried
  ASSERT_TRUE(t->add_p2p_node_delay(0, BUR(9), BUR(9), DTM_NONE));  // creates buried->buried
  t->get_in_out_node()->set_tree_data_root(nullptr);
  t->get_in_buried_node()->set_tree_data_root(nullptr);
  t->get_buried_buried_node()->set_tree_data_root(nullptr);

  MSG_CAPTURE capture;
  s->diff_clone_node_data(r, s, t);
  // Directions in the order in->out, in->buried, buried->buried, buried->out.
  EXPECT_EQ(capture.get_texts(), (std::vector<std::string>{"root_data != 0", "target_node != 0"}));
  EXPECT_FALSE(has_data(t->get_in_out_node()));
  EXPECT_EQ(t->get_p2p_node_delay(IN(2), BUR(2), TCO_DELAY), 6);
  EXPECT_EQ(t->get_p2p_node_delay(BUR(1), BUR(1), DTM_NONE), 5);
  EXPECT_EQ(count_entries(*t), 2U);

  capture.clear();
  s->resync_source_with_root(r, s);
  EXPECT_EQ(capture.get_texts(), (std::vector<std::string>{"root_data != 0", "root_data != 0"}));
  EXPECT_EQ(s->get_p2p_node_delay(BUR(1), BUR(1), DTM_NONE), 2);
  EXPECT_EQ(s->get_p2p_node_delay(IN(2), BUR(2), TCO_DELAY), 6);
  EXPECT_EQ(s->get_p2p_node_delay(BUR(3), OUT(3), DTM_NONE), 7);
}

}  // namespace
