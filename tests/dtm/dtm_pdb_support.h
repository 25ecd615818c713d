// Helpers of the model persistence tests: models built through the node entry
// points with every kind of delay, the queries that read them back, a
// comparison of two models that follows shared links, and .ddb save/load.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <typeinfo>
#include <utility>
#include <vector>

#include "ddb_dtm__pdb.h"
#include "dtm_node.h"
#include "dtm_p2p_node.h"
#include "dtm_tree_data.h"
#include "mem_alloc_sys.h"
#include "pdb_sys.h"
#include "test_files.h"

namespace dtm_pdb_test {

// The live counters at construction; same() tells whether they are back.
class COUNTERS {
 public:
  COUNTERS() : m_start(MEM_MANAGER::get_counters()) {}
  bool same() const {
    const MEM_COUNTERS& now = MEM_MANAGER::get_counters();
    return now.m_live_objects == m_start.m_live_objects && now.m_live_bytes == m_start.m_live_bytes;
  }

 private:
  MEM_COUNTERS m_start;
};

// A path of up to three levels; the rest is DTM_NODE_NONE.
struct PATH {
  DTM_NODE_ENUM m_p0 = DTM_NODE_NONE, m_p1 = DTM_NODE_NONE, m_p2 = DTM_NODE_NONE;
  auto tie() const { return std::tie(m_p0, m_p1, m_p2); }
  bool operator<(const PATH& other) const { return tie() < other.tie(); }
};

// The keys of one delay, as integers; each kind reads the ones it takes.
struct KEYS {
  int m_k1 = 0, m_k2 = 0, m_k3 = 0;
  auto tie() const { return std::tie(m_k1, m_k2, m_k3); }
  bool operator<(const KEYS& other) const { return tie() < other.tie(); }
};

// One entry point family of DTM_NODE: its add and its get, through the root.
struct KIND {
  const char* m_name;
  bool m_float;
  int m_key_count;  // how many of k1, k2, k3 the kind takes
  bool (*m_add)(DTM_NODE& root, double value, const KEYS& k, const PATH& p);
  double (*m_get)(const DTM_NODE& root, const KEYS& k, const PATH& p);
};

inline DTM_ENUM e(int v) { return static_cast<DTM_ENUM>(v); }
inline CDB_RE_TYPE re(int v) { return static_cast<CDB_RE_TYPE>(v); }
inline DB_INPUT_PORT_TYPE in(int v) { return static_cast<DB_INPUT_PORT_TYPE>(v); }
inline DB_OUTPUT_PORT_TYPE out(int v) { return static_cast<DB_OUTPUT_PORT_TYPE>(v); }
inline DB_BURIED_PORT_TYPE bur(int v) { return static_cast<DB_BURIED_PORT_TYPE>(v); }
inline int iv(double v) { return static_cast<int>(v); }

#define DTM_TEST_PATH p.m_p0, p.m_p1, p.m_p2

inline const std::vector<KIND>& kinds() {
  static const std::vector<KIND> table = {
      {"micro", false, 1,
       [](DTM_NODE& r, double v, const KEYS& k, const PATH& p) {
         return r.add_micro_node_delay(iv(v), e(k.m_k1), DTM_TEST_PATH);
       },
       [](const DTM_NODE& r, const KEYS& k, const PATH& p) -> double {
         return r.get_micro_node_delay(e(k.m_k1), DTM_TEST_PATH);
       }},
      {"table", false, 2,
       [](DTM_NODE& r, double v, const KEYS& k, const PATH& p) {
         return r.add_table_node_delay(iv(v), e(k.m_k1), e(k.m_k2), DTM_TEST_PATH);
       },
       [](const DTM_NODE& r, const KEYS& k, const PATH& p) -> double {
         return r.get_table_node_delay(e(k.m_k1), e(k.m_k2), DTM_TEST_PATH);
       }},
      {"float_table", true, 2,
       [](DTM_NODE& r, double v, const KEYS& k, const PATH& p) {
         return r.add_float_table_node_delay(v, e(k.m_k1), e(k.m_k2), DTM_TEST_PATH);
       },
       [](const DTM_NODE& r, const KEYS& k, const PATH& p) -> double {
         return r.get_float_table_node_delay(e(k.m_k1), e(k.m_k2), DTM_TEST_PATH);
       }},
      {"ff", false, 2,
       [](DTM_NODE& r, double v, const KEYS& k, const PATH& p) {
         return r.add_ff_node_delay(iv(v), bur(k.m_k1), e(k.m_k2), DTM_TEST_PATH);
       },
       [](const DTM_NODE& r, const KEYS& k, const PATH& p) -> double {
         return r.get_ff_node_delay(bur(k.m_k1), e(k.m_k2), DTM_TEST_PATH);
       }},
      {"re", false, 1,
       [](DTM_NODE& r, double v, const KEYS& k, const PATH& p) {
         return r.add_re_node_delay(iv(v), re(k.m_k1), DTM_TEST_PATH);
       },
       [](const DTM_NODE& r, const KEYS& k, const PATH& p) -> double {
         return r.get_re_node_delay(re(k.m_k1), DTM_TEST_PATH);
       }},
      {"re_table", false, 3,
       [](DTM_NODE& r, double v, const KEYS& k, const PATH& p) {
         return r.add_re_table_node_delay(iv(v), re(k.m_k1), re(k.m_k2), e(k.m_k3), DTM_TEST_PATH);
       },
       [](const DTM_NODE& r, const KEYS& k, const PATH& p) -> double {
         return r.get_re_table_node_delay(re(k.m_k1), re(k.m_k2), e(k.m_k3), DTM_TEST_PATH);
       }},
      {"re_port", false, 2,
       [](DTM_NODE& r, double v, const KEYS& k, const PATH& p) {
         return r.add_re_port_node_delay(iv(v), re(k.m_k1), in(k.m_k2), DTM_TEST_PATH);
       },
       [](const DTM_NODE& r, const KEYS& k, const PATH& p) -> double {
         return r.get_re_port_node_delay(re(k.m_k1), in(k.m_k2), DTM_TEST_PATH);
       }},
      {"port_re", false, 2,
       [](DTM_NODE& r, double v, const KEYS& k, const PATH& p) {
         return r.add_port_re_node_delay(iv(v), out(k.m_k1), re(k.m_k2), DTM_TEST_PATH);
       },
       [](const DTM_NODE& r, const KEYS& k, const PATH& p) -> double {
         return r.get_port_re_node_delay(out(k.m_k1), re(k.m_k2), DTM_TEST_PATH);
       }},
      {"p2p_in_out", false, 3,
       [](DTM_NODE& r, double v, const KEYS& k, const PATH& p) {
         return r.add_p2p_node_delay(iv(v), in(k.m_k1), out(k.m_k2), e(k.m_k3), DTM_TEST_PATH);
       },
       [](const DTM_NODE& r, const KEYS& k, const PATH& p) -> double {
         return r.get_p2p_node_delay(in(k.m_k1), out(k.m_k2), e(k.m_k3), DTM_TEST_PATH);
       }},
      {"p2p_in_buried", false, 3,
       [](DTM_NODE& r, double v, const KEYS& k, const PATH& p) {
         return r.add_p2p_node_delay(iv(v), in(k.m_k1), bur(k.m_k2), e(k.m_k3), DTM_TEST_PATH);
       },
       [](const DTM_NODE& r, const KEYS& k, const PATH& p) -> double {
         return r.get_p2p_node_delay(in(k.m_k1), bur(k.m_k2), e(k.m_k3), DTM_TEST_PATH);
       }},
      {"p2p_buried_out", false, 3,
       [](DTM_NODE& r, double v, const KEYS& k, const PATH& p) {
         return r.add_p2p_node_delay(iv(v), bur(k.m_k1), out(k.m_k2), e(k.m_k3), DTM_TEST_PATH);
       },
       [](const DTM_NODE& r, const KEYS& k, const PATH& p) -> double {
         return r.get_p2p_node_delay(bur(k.m_k1), out(k.m_k2), e(k.m_k3), DTM_TEST_PATH);
       }},
      {"p2p_buried_buried", false, 3,
       [](DTM_NODE& r, double v, const KEYS& k, const PATH& p) {
         return r.add_p2p_node_delay(iv(v), bur(k.m_k1), bur(k.m_k2), e(k.m_k3), DTM_TEST_PATH);
       },
       [](const DTM_NODE& r, const KEYS& k, const PATH& p) -> double {
         return r.get_p2p_node_delay(bur(k.m_k1), bur(k.m_k2), e(k.m_k3), DTM_TEST_PATH);
       }},
      {"rc", true, 3,
       [](DTM_NODE& r, double v, const KEYS& k, const PATH& p) {
         return r.add_rc_float(v, re(k.m_k1), e(k.m_k2), e(k.m_k3), DTM_TEST_PATH);
       },
       [](const DTM_NODE& r, const KEYS& k, const PATH& p) -> double {
         return r.get_rc_float(re(k.m_k1), e(k.m_k2), e(k.m_k3), DTM_TEST_PATH);
       }},
      {"integer", false, 2,
       [](DTM_NODE& r, double v, const KEYS& k, const PATH& p) {
         return r.add_integer_node_delay(iv(v), e(k.m_k1), k.m_k2, DTM_TEST_PATH);
       },
       [](const DTM_NODE& r, const KEYS& k, const PATH& p) -> double {
         return r.get_integer_node_delay(e(k.m_k1), k.m_k2, DTM_TEST_PATH);
       }},
  };
  return table;
}

#undef DTM_TEST_PATH

// One query: a kind, keys, a path.
struct QUERY {
  std::size_t m_kind;
  KEYS m_keys;
  PATH m_path;
};

// A model built at random through the add entry points, and the queries of
// every delay it stored.
struct RANDOM_MODEL {
  DTM_NODE* m_root = nullptr;
  std::vector<QUERY> m_stored;
};

inline PATH random_path(std::mt19937& rng) {
  static const DTM_NODE_ENUM p0s[] = {DTM_MAP_DEVICE, DTM_MAP_SPEED_GRADE_1};
  static const DTM_NODE_ENUM p1s[] = {DTM_NODE_NONE, DTM_MAP_LOGIC_CELL, DTM_MAP_IO_CELL};
  static const DTM_NODE_ENUM p2s[] = {DTM_NODE_NONE, DTM_MAP_CORE};
  PATH path;
  path.m_p0 = p0s[rng() % 2];
  path.m_p1 = p1s[rng() % 3];
  path.m_p2 = path.m_p1 == DTM_NODE_NONE ? DTM_NODE_NONE : p2s[rng() % 2];
  return path;
}

// Keys in small ranges, so that queries drawn the same way hit often; the
// third key is a condition that is DTM_NONE half of the time.
inline KEYS random_keys(std::mt19937& rng) {
  KEYS keys;
  keys.m_k1 = static_cast<int>(rng() % 12);
  keys.m_k2 = static_cast<int>(rng() % 12);
  keys.m_k3 = rng() % 2 == 0 ? 0 : static_cast<int>(200 + rng() % 3);
  return keys;
}

// A kind, keys (those the kind does not take are 0) and a path.
inline QUERY random_query(std::mt19937& rng) {
  QUERY q{rng() % kinds().size(), random_keys(rng), random_path(rng)};
  const int count = kinds()[q.m_kind].m_key_count;
  if (count < 3) {
    q.m_keys.m_k3 = 0;
  }
  if (count < 2) {
    q.m_keys.m_k2 = 0;
  }
  return q;
}

inline double random_value(std::mt19937& rng, bool floating) {
  if (!floating) {
    return static_cast<double>(static_cast<int>(rng() % 200000) - 100000);
  }
  switch (rng() % 16) {
    case 0:
      return std::nan("");
    case 1:
      return -0.0;
    case 2:
      return INFINITY;
    default:
      return (static_cast<double>(rng() % 2000000) - 1000000.0) / 997.0;
  }
}

// `delays` distinct delays at random paths and kinds, descriptions, versions
// and bins on some nodes, one node made unwritable, and a plain node holding
// a delay tree of the base class.
inline RANDOM_MODEL build_random_model(unsigned seed, int delays) {
  std::mt19937 rng(seed);
  RANDOM_MODEL model;
  model.m_root = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
  std::set<std::tuple<std::size_t, PATH, KEYS>> used;
  for (int i = 0; i < delays; ++i) {
    QUERY q = random_query(rng);
    if (!used.insert({q.m_kind, q.m_path, q.m_keys}).second) {
      continue;  // a duplicate would only print the tree's warning
    }
    const KIND& kind = kinds()[q.m_kind];
    EXPECT_TRUE(kind.m_add(*model.m_root, random_value(rng, kind.m_float), q.m_keys, q.m_path))
        << kind.m_name;
    model.m_stored.push_back(q);
  }
  DTM_NODE* device = model.m_root->get_node(DTM_MAP_DEVICE);
  device->set_description("Device \"A\"\twith\nodd characters \x01\xff");
  if (DTM_NODE* cell = model.m_root->get_node(DTM_MAP_DEVICE, DTM_MAP_LOGIC_CELL)) {
    cell->set_version(3);
    cell->set_bin(-2);
    cell->set_unwritable();
  }
  for (const DTM_NODE* child : device->get_nodes()) {
    const_cast<DTM_NODE*>(child)->set_description(std::string(300, 'd'));
  }
  DTM_NODE* plain = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_MAP_CORE, true);
  plain->set_tree_data_root(
      MEM_MANAGER::new_wrapper<DTM_TREE_DATA>(DTM_TREE_DATA_KEY(1, DTM_ENUM_WRAPPER(TCO_DELAY))));
  model.m_root->add_node(plain);
  return model;
}

// Queries drawn like the stored ones (most hit, some miss), and a few with
// paths that name missing levels.
inline std::vector<QUERY> random_queries(unsigned seed, int count) {
  std::mt19937 rng(seed);
  std::vector<QUERY> queries;
  for (int i = 0; i < count; ++i) {
    QUERY q = random_query(rng);
    if (i % 50 == 0) {
      q.m_path.m_p0 = DTM_MAP_SPEED_GRADE_3;
    }
    queries.push_back(q);
  }
  return queries;
}

inline double ask(const DTM_NODE& root, const QUERY& q) {
  return kinds()[q.m_kind].m_get(root, q.m_keys, q.m_path);
}

// Bitwise equality, so that NaN, -0.0 and the sentinels compare exactly.
inline bool same_bits(double a, double b) { return std::memcmp(&a, &b, sizeof(double)) == 0; }

inline std::string outline(const DTM_NODE& root) {
  std::ostringstream os;
  root.dump_tree(os, 0, 0, 0);
  return os.str();
}

// What compare_trees writes about `a` against `b` (missing nodes and
// entries, values that differ at all): nothing for equal models.
inline std::string differences(const DTM_NODE& a, const DTM_NODE& b) {
  std::ostringstream os;
  a.compare_trees(&b, os, "", false, true, 0.0f);
  return os.str();
}

// Compares two models object by object along owning links, and checks that
// every other link of `b` points at the counterpart of `a`'s target. Reports
// through gtest.
class MODEL_COMPARE {
 public:
  void nodes(const DTM_NODE* a, const DTM_NODE* b) {
    if (!pair(a, b)) {
      return;
    }
    EXPECT_EQ(typeid(*a), typeid(*b));
    EXPECT_EQ(a->get_id(), b->get_id());
    EXPECT_EQ(a->is_writable(), b->is_writable());
    EXPECT_EQ(a->get_description(), b->get_description());
    EXPECT_EQ(a->get_version(), b->get_version());
    EXPECT_EQ(a->get_bin(), b->get_bin());
    EXPECT_EQ(b->get_pdb_identity(), PDB_UNREGISTERED);
    ASSERT_EQ(a->get_nodes().size(), b->get_nodes().size());
    for (std::size_t i = 0; i < a->get_nodes().size(); ++i) {
      nodes(a->get_nodes()[i], b->get_nodes()[i]);
    }
    data(a->get_data_root(), b->get_data_root());
    const DTM_NODE* la = a->get_linked_node();
    if (la != nullptr && la->get_version() == 1) {
      nodes(la, b->get_linked_node());
    } else {
      m_links.emplace_back(la, b->get_linked_node());
    }
    if (const auto* pa = dynamic_cast<const DTM_P2P_NODE*>(a)) {
      const auto* pb = dynamic_cast<const DTM_P2P_NODE*>(b);
      ASSERT_NE(pb, nullptr);
      nodes(pa->get_in_out_node(), pb->get_in_out_node());
      nodes(pa->get_in_buried_node(), pb->get_in_buried_node());
      nodes(pa->get_buried_out_node(), pb->get_buried_out_node());
      nodes(pa->get_buried_buried_node(), pb->get_buried_buried_node());
    }
  }
  void data(const DTM_TREE_DATA* a, const DTM_TREE_DATA* b) {
    if (!pair(a, b)) {
      return;
    }
    EXPECT_EQ(typeid(*a), typeid(*b));
    EXPECT_EQ(a->get_balance_factor(), b->get_balance_factor());
    EXPECT_EQ(a->get_int_data(), b->get_int_data());
    EXPECT_TRUE(same_bits(a->get_float_data(), b->get_float_data()));
    ASSERT_EQ(a->get_key() == nullptr, b->get_key() == nullptr);
    if (a->get_key() != nullptr) {
      ASSERT_EQ(a->get_key()->get_num_wrapper(), b->get_key()->get_num_wrapper());
      for (DTM_SHORT i = 0; i < a->get_key()->get_num_wrapper(); ++i) {
        EXPECT_TRUE(a->get_key()->get_wrapper(i) == b->get_key()->get_wrapper(i));
      }
    }
    data(a->get_left(), b->get_left());
    data(a->get_right(), b->get_right());
  }
  // After the trees: the links that are not owned point at counterparts.
  void links() {
    for (const auto& [a, b] : m_links) {
      if (a == nullptr) {
        EXPECT_EQ(b, nullptr);
        continue;
      }
      const auto found = m_map.find(a);
      ASSERT_NE(found, m_map.end()) << "a link leaves the compared models";
      EXPECT_EQ(found->second, b);
    }
  }
  std::size_t get_objects() const { return m_map.size(); }

 private:
  bool pair(const void* a, const void* b) {
    EXPECT_EQ(a == nullptr, b == nullptr);
    if (a == nullptr || b == nullptr) {
      return false;
    }
    EXPECT_NE(a, b) << "the copy shares an object with the original";
    const bool fresh = m_map.emplace(a, b).second;
    EXPECT_TRUE(fresh) << "an object is reached twice along owning links";
    return fresh;
  }
  std::map<const void*, const void*> m_map;
  std::vector<std::pair<const DTM_NODE*, const DTM_NODE*>> m_links;
};

// Saves `root` as the model of <dir>/<stem>.ddb.
inline void save_model(const TEST_DIR& dir, const std::string& stem, const DTM_NODE* root) {
  PDB_ARCHIVE archive;
  ASSERT_TRUE(archive.open(dir.path(stem)));
  ASSERT_TRUE(pdb_write_(root, archive, ""));
  archive.close();
}

// Reads the model of <dir>/<stem>.ddb; null when it cannot be read, with the
// exception's text in `message`.
inline DTM_NODE* load_model(const TEST_DIR& dir, const std::string& stem,
                            std::string* message = nullptr) {
  PDB_ARCHIVE archive;
  archive.open(dir.path(stem));
  DTM_NODE* root = nullptr;
  try {
    pdb_read_<PDB_ARCHIVE, DTM_NODE>(root, archive, "");
  } catch (const PDB_DATABASE_EXCEPTION& error) {
    if (message != nullptr) {
      *message = error.what();
    }
    EXPECT_EQ(root, nullptr);
  }
  archive.close();
  return root;
}

}  // namespace dtm_pdb_test
