// The query index of DTM_NODE's get entry points: every answer it gives is the
// walk's answer (values, sentinels and reports), before and after mutations,
// on clones, linked copies and models read back from a .ddb file.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "dtm_micro_node.h"
#include "dtm_pdb_support.h"
#include "dtm_query_index.h"
#include "dtm_table_node.h"
#include "msg_sys.h"

namespace {

using namespace dtm_pdb_test;

// Turns the indexes off for the life of the guard: every get walks.
class WALK_ONLY {
 public:
  WALK_ONLY() { DTM_NODE::enable_query_indexes(false); }
  ~WALK_ONLY() { DTM_NODE::enable_query_indexes(true); }
  WALK_ONLY(const WALK_ONLY&) = delete;
  WALK_ONLY& operator=(const WALK_ONLY&) = delete;
};

// What one get answers, with the reports it makes.
struct ANSWER {
  double m_value;
  std::vector<std::string> m_reports;
};

ANSWER answer(const DTM_NODE& root, const QUERY& q) {
  MSG_CAPTURE capture;
  const double value = ask(root, q);
  return {value, capture.get_texts()};
}

// Asks every query through the index (built first), then through the walk,
// and compares the values (bit for bit) and the reports.
void expect_same_answers(const DTM_NODE& root, const std::vector<QUERY>& queries,
                         const char* when) {
  const DTM_QUERY_INDEX* index = root.build_query_index();
  ASSERT_NE(index, nullptr);
  ASSERT_EQ(root.get_query_index(), index);
  std::vector<ANSWER> indexed;
  for (const QUERY& q : queries) {
    indexed.push_back(answer(root, q));
  }
  EXPECT_EQ(root.get_query_index(), index) << "a get changed the model";
  WALK_ONLY walk;
  for (std::size_t i = 0; i < queries.size(); ++i) {
    const ANSWER walked = answer(root, queries[i]);
    EXPECT_TRUE(same_bits(indexed[i].m_value, walked.m_value))
        << when << ": " << kinds()[queries[i].m_kind].m_name << " query " << i << ": "
        << indexed[i].m_value << " against " << walked.m_value;
    EXPECT_EQ(indexed[i].m_reports, walked.m_reports) << when << ": query " << i;
  }
}

// A model built through the add entry points together with a std::map of
// what it holds.
using SHADOW = std::map<std::tuple<std::size_t, PATH, KEYS>, double>;

void add_delays(DTM_NODE& root, SHADOW& shadow, std::mt19937& rng, int count) {
  for (int i = 0; i < count; ++i) {
    const QUERY q = random_query(rng);
    const KIND& kind = kinds()[q.m_kind];
    double value = random_value(rng, kind.m_float);
    if (!kind.m_float && value == DTM_ILLEGAL_DELAY) {
      value = 0;
    }
    if (shadow.count({q.m_kind, q.m_path, q.m_keys}) != 0) {
      continue;
    }
    ASSERT_TRUE(kind.m_add(root, value, q.m_keys, q.m_path));
    shadow[{q.m_kind, q.m_path, q.m_keys}] = value;
  }
}

class DtmQueryIndex : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_TRUE(m_counters.same()) << "memory left behind"; }
  COUNTERS m_counters;
};

TEST_F(DtmQueryIndex, AnswersEveryStoredDelayAndMissLikeAStdMap) {
  std::mt19937 rng(7);
  DTM_NODE root(DTM_ROOT, true);
  SHADOW shadow;
  add_delays(root, shadow, rng, 3000);
  const DTM_QUERY_INDEX* index = root.build_query_index();
  ASSERT_NE(index, nullptr);
  EXPECT_EQ(index->get_entry_count(), shadow.size());
  EXPECT_GT(index->get_bytes(), shadow.size() * 16);
  MSG_CAPTURE capture;
  for (const auto& [key, value] : shadow) {
    const auto& [kind, path, keys] = key;
    EXPECT_TRUE(same_bits(ask(root, QUERY{kind, keys, path}), value)) << kinds()[kind].m_name;
  }
  // Misses: a key beside every stored one. A leaf that exists answers its
  // tree's absent value, a missing leaf its kind's.
  for (const auto& [key, value] : shadow) {
    QUERY q{std::get<0>(key), std::get<2>(key), std::get<1>(key)};
    q.m_keys.m_k1 += 100;
    const double got = ask(root, q);
    if (kinds()[q.m_kind].m_float) {
      EXPECT_TRUE(got == DTM_ILLEGAL_FLOAT || got == DTM_ILLEGAL_TABLE_FLOAT);
    } else {
      EXPECT_EQ(got, DTM_ILLEGAL_DELAY);
    }
  }
  EXPECT_EQ(capture.get_count(), 0U);
  EXPECT_EQ(root.get_query_index(), index) << "the gets were answered without a rebuild";
}

TEST_F(DtmQueryIndex, RandomModelsAnswerAsTheWalkDoes) {
  for (unsigned seed : {1U, 2U, 3U}) {
    RANDOM_MODEL model = build_random_model(seed, 2000);
    const std::vector<QUERY> queries = random_queries(seed + 100, 4000);
    expect_same_answers(*model.m_root, queries, "built");
    // Started at an inner node: its own index, over its subtree.
    std::vector<QUERY> inner = queries;
    for (QUERY& q : inner) {
      q.m_path = PATH{q.m_path.m_p1, q.m_path.m_p2};
    }
    const DTM_NODE* device = model.m_root->get_node(DTM_MAP_DEVICE);
    ASSERT_NE(device, nullptr);
    expect_same_answers(*device, inner, "inner node");
    EXPECT_NE(model.m_root->get_query_index(), device->get_query_index());
    MEM_MANAGER::delete_wrapper(model.m_root);
  }
}

// Each mutation, then the same queries through a rebuilt index and the walk.
TEST_F(DtmQueryIndex, MutationsMakeTheIndexStaleAndTheRebuildFollowsThem) {
  struct MUTATION {
    const char* m_name;
    void (*m_apply)(DTM_NODE& root, std::mt19937& rng);
  };
  const MUTATION mutations[] = {
      {"set",
       [](DTM_NODE& root, std::mt19937& rng) {
         for (int i = 0; i < 200; ++i) {
           const QUERY q = random_query(rng);
           const KEYS& k = q.m_keys;
           root.set_micro_node_delay(static_cast<int>(rng() % 1000), e(k.m_k1), q.m_path.m_p0,
                                     q.m_path.m_p1, q.m_path.m_p2);
           root.set_table_node_delay(-5, e(k.m_k1), e(k.m_k2), q.m_path.m_p0, q.m_path.m_p1,
                                     q.m_path.m_p2);
           root.set_rc_float(0.5, re(k.m_k1), e(k.m_k2), e(k.m_k3), q.m_path.m_p0, q.m_path.m_p1,
                             q.m_path.m_p2);
           root.set_p2p_node_delay(9, in(k.m_k1), out(k.m_k2), q.m_path.m_p0, q.m_path.m_p1,
                                   q.m_path.m_p2);
         }
       }},
      {"add",
       [](DTM_NODE& root, std::mt19937& rng) {
         for (int i = 0; i < 300; ++i) {
           const QUERY q = random_query(rng);
           kinds()[q.m_kind].m_add(root, 11, q.m_keys, q.m_path);
         }
       }},
      {"remove",
       [](DTM_NODE& root, std::mt19937&) {
         DTM_NODE* cell = root.get_node(DTM_MAP_SPEED_GRADE_1, DTM_MAP_LOGIC_CELL);
         if (cell != nullptr && root.remove_node(DTM_MAP_SPEED_GRADE_1, DTM_MAP_LOGIC_CELL)) {
           MEM_MANAGER::delete_wrapper(cell);
         }
       }},
      {"scale", [](DTM_NODE& root, std::mt19937&) { root.scale(1.5); }},
      {"data root",
       [](DTM_NODE& root, std::mt19937&) {
         if (DTM_NODE* device = root.get_node(DTM_MAP_DEVICE)) {
           if (DTM_NODE* micro = device->get_sub_node(DTM_MICRO)) {
             micro->set_tree_data_root(nullptr);
           }
         }
       }},
      {"tree value",
       [](DTM_NODE& root, std::mt19937&) {
         if (DTM_NODE* device = root.get_node(DTM_MAP_DEVICE)) {
           if (DTM_NODE* table = device->get_sub_node(DTM_TABLE)) {
             if (DTM_TREE_DATA* data = table->get_data_root()) {
               data->set_int_data(4242);
             }
           }
         }
       }},
  };
  for (const MUTATION& mutation : mutations) {
    RANDOM_MODEL model = build_random_model(5, 2000);
    std::vector<QUERY> queries = random_queries(55, 3000);
    queries.insert(queries.end(), model.m_stored.begin(), model.m_stored.end());
    ASSERT_NE(model.m_root->build_query_index(), nullptr);
    std::vector<double> before;
    for (const QUERY& q : queries) {
      before.push_back(ask(*model.m_root, q));
    }
    std::mt19937 rng(9);
    mutation.m_apply(*model.m_root, rng);
    EXPECT_EQ(model.m_root->get_query_index(), nullptr) << mutation.m_name;
    // Stale: the gets walk, and see the change.
    std::size_t changed = 0;
    {
      std::vector<double> stale;
      for (const QUERY& q : queries) {
        stale.push_back(ask(*model.m_root, q));
      }
      WALK_ONLY walk;
      for (std::size_t i = 0; i < queries.size(); ++i) {
        const double walked = ask(*model.m_root, queries[i]);
        EXPECT_TRUE(same_bits(stale[i], walked)) << mutation.m_name << " query " << i;
        changed += same_bits(before[i], walked) ? 0 : 1;
      }
    }
    EXPECT_GT(changed, 0U) << mutation.m_name << " changed no answer: the test would not see it";
    expect_same_answers(*model.m_root, queries, mutation.m_name);
    MEM_MANAGER::delete_wrapper(model.m_root);
  }
}

TEST_F(DtmQueryIndex, ClonesLinkedCopiesAndLoadedModelsAnswerAsTheWalkDoes) {
  MEM_SEGMENT segment("query index");
  RANDOM_MODEL model = build_random_model(11, 2500);
  const std::vector<QUERY> queries = random_queries(12, 4000);
  ASSERT_NE(model.m_root->build_query_index(), nullptr);

  DTM_NODE* copy = model.m_root->clone(&segment, true, true);
  expect_same_answers(*copy, queries, "clone with data");
  EXPECT_EQ(model.m_root->get_query_index(), nullptr) << "cloning made new nodes";

  // A copy without data, linked to the master, with some values of its own:
  // its hits come from itself, its misses from the master.
  DTM_NODE* linked = model.m_root->clone(&segment, true, false);
  ASSERT_TRUE(linked->link_clone(model.m_root));
  std::mt19937 rng(13);
  for (int i = 0; i < 400; ++i) {
    const QUERY q = random_query(rng);
    kinds()[q.m_kind].m_add(*linked, 77, q.m_keys, q.m_path);
  }
  expect_same_answers(*linked, queries, "linked copy");
  // The master changes: the copy's answers through its links follow.
  model.m_root->scale(2.0);
  expect_same_answers(*linked, queries, "linked copy after the master changed");

  TEST_DIR dir;
  save_model(dir, "model", model.m_root);
  DTM_NODE* loaded = load_model(dir, "model");
  ASSERT_NE(loaded, nullptr);
  for (const QUERY& q : queries) {
    ASSERT_TRUE(same_bits(ask(*loaded, q), ask(*model.m_root, q)));
  }
  expect_same_answers(*loaded, queries, "loaded");

  MEM_MANAGER::delete_wrapper(loaded);
  MEM_MANAGER::delete_wrapper(linked);
  MEM_MANAGER::delete_wrapper(copy);
  MEM_MANAGER::delete_wrapper(model.m_root);
}

// Cases the index leaves to the walk, each next to indexed delays: the
// answers and the reports stay the walk's.
TEST_F(DtmQueryIndex, CasesLeftToTheWalkKeepTheirAnswersAndReports) {
  struct CASE {
    const char* m_name;
    void (*m_make)(DTM_NODE& root);
    QUERY m_query;
  };
  const PATH device{DTM_MAP_DEVICE};
  const PATH cell{DTM_MAP_DEVICE, DTM_MAP_LOGIC_CELL};
  const std::size_t micro = 0, table = 1, float_table = 2, integer = 13;
  const CASE cases[] = {
      {"plain node with the kind's id",
       [](DTM_NODE& root) {
         root.add_node(MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_TABLE, true), DTM_MAP_DEVICE);
       },
       {table, {1, 2, 0}, device}},
      {"linked leaf answers a miss",
       [](DTM_NODE& root) {
         auto* master = MEM_MANAGER::new_wrapper<DTM_MICRO_NODE>(true);
         master->set_version(1);  // owned by the leaf linked to it
         master->add_micro_node_delay(55, e(30));
         root.get_node(DTM_MAP_DEVICE)->get_sub_node(DTM_MICRO)->set_version(0);
         master->append_node_to(root.get_node(DTM_MAP_DEVICE)->get_sub_node(DTM_MICRO));
       },
       {micro, {30, 0, 0}, device}},
      {"linked node of the wrong id",
       [](DTM_NODE& root) {
         auto* wrong = MEM_MANAGER::new_wrapper<DTM_TABLE_NODE>(true);
         wrong->set_version(1);
         wrong->append_node_to(root.get_node(DTM_MAP_DEVICE)->get_sub_node(DTM_MICRO));
       },
       {micro, {20, 0, 0}, device}},
      {"stored sentinel",
       [](DTM_NODE& root) { root.add_micro_node_delay(DTM_ILLEGAL_DELAY, e(60), DTM_MAP_DEVICE); },
       {micro, {60, 0, 0}, device}},
      {"float tree in an integer leaf",
       [](DTM_NODE& root) {
         root.get_node(DTM_MAP_DEVICE)
             ->get_sub_node(DTM_MICRO)
             ->set_tree_data_root(MEM_MANAGER::new_wrapper<DTM_TREE_FLOAT_DATA>(
                 1.5, DTM_TREE_DATA_KEY(1, DTM_ENUM_WRAPPER(e(1)))));
       },
       {micro, {1, 0, 0}, device}},
      {"integer tree in a float leaf",
       [](DTM_NODE& root) {
         root.add_float_table_node_delay(2.5, e(1), e(2), DTM_MAP_DEVICE);
         root.get_node(DTM_MAP_DEVICE)
             ->get_sub_node(DTM_FLOAT_TABLE)
             ->set_tree_data_root(MEM_MANAGER::new_wrapper<DTM_TREE_INT_DATA>(
                 3, DTM_TREE_DATA_KEY(2, DTM_ENUM_WRAPPER(e(1)), DTM_ENUM_WRAPPER(e(2)))));
       },
       {float_table, {1, 2, 0}, device}},
      {"integer index above the limit",
       [](DTM_NODE& root) { root.add_integer_node_delay(8, e(1), 1500, DTM_MAP_DEVICE); },
       {integer, {1, 1500, 0}, device}},
      {"key argument beyond the packed range",
       [](DTM_NODE& root) { root.add_micro_node_delay(31, e(5000), DTM_MAP_DEVICE); },
       {micro, {5000, 0, 0}, device}},
      {"negative integer index",
       [](DTM_NODE& root) { root.add_integer_node_delay(-8, e(1), -1, DTM_MAP_DEVICE); },
       {integer, {1, -1, 0}, device}},
      {"path through an unwritable level",
       [](DTM_NODE& root) {
         root.add_micro_node_delay(12, e(2), DTM_MAP_DEVICE, DTM_MAP_LOGIC_CELL);
         root.get_node(DTM_MAP_DEVICE, DTM_MAP_LOGIC_CELL)->set_unwritable();
       },
       {micro, {2, 0, 0}, cell}},
      {"path ending at a leaf",
       [](DTM_NODE&) {},
       {micro, {1, 0, 0}, PATH{DTM_MAP_DEVICE, DTM_MICRO}}},
      {"point-to-point node without directions",
       [](DTM_NODE& root) {
         auto* p2p =
             MEM_MANAGER::new_wrapper<DTM_P2P_NODE>(nullptr, nullptr, nullptr, nullptr, true);
         root.get_node(DTM_MAP_DEVICE)->add_node(p2p);
       },
       {8, {1, 1, 0}, device}},
      {"point-to-point node with one direction",
       [](DTM_NODE& root) {
         auto* p2p =
             MEM_MANAGER::new_wrapper<DTM_P2P_NODE>(nullptr, nullptr, nullptr, nullptr, true);
         root.get_node(DTM_MAP_DEVICE)->add_node(p2p);
         p2p->add_p2p_node_delay(5, in(2), out(2), DTM_NONE);
         p2p->add_p2p_node_delay(6, in(2), out(2), e(201));
       },
       {8, {2, 2, 0}, device}},
      {"second child with the same id",
       [](DTM_NODE& root) {
         auto* second = MEM_MANAGER::new_wrapper<DTM_MICRO_NODE>(true);
         second->add_micro_node_delay(99, e(1));
         root.get_node(DTM_MAP_DEVICE)->add_node(second);
       },
       {micro, {1, 0, 0}, device}},
  };
  for (const CASE& c : cases) {
    DTM_NODE root(DTM_ROOT, true);
    for (int k = 1; k <= 8; ++k) {
      root.add_micro_node_delay(k * 10, e(k), DTM_MAP_DEVICE);
      root.add_table_node_delay(k * 20, e(k), e(k + 1), DTM_MAP_DEVICE);
    }
    c.m_make(root);
    std::vector<QUERY> queries = {c.m_query};
    for (int k = 0; k <= 9; ++k) {
      queries.push_back(QUERY{micro, {k, 0, 0}, device});
      queries.push_back(QUERY{table, {k, k + 1, 0}, device});
      for (std::size_t p2p = 8; p2p <= 11; ++p2p) {
        queries.push_back(QUERY{p2p, {k, k, k % 2 == 0 ? 0 : 201}, device});
      }
    }
    expect_same_answers(root, queries, c.m_name);
  }
}

TEST_F(DtmQueryIndex, GetsBuildTheIndexAfterEnoughWalksAndAgainAfterAChange) {
  DTM_NODE root(DTM_ROOT, true);
  std::mt19937 rng(3);
  SHADOW shadow;
  add_delays(root, shadow, rng, 2000);
  const auto ask_first = [&] {
    const auto& [kind, path, keys] = shadow.begin()->first;
    return ask(root, QUERY{kind, keys, path});
  };
  for (std::uint32_t i = 1; i < DTM_NODE::k_query_walks_before_build; ++i) {
    ASSERT_TRUE(same_bits(ask_first(), shadow.begin()->second));
    ASSERT_EQ(root.get_query_index(), nullptr) << "built after " << i << " walks";
  }
  ASSERT_TRUE(same_bits(ask_first(), shadow.begin()->second));
  const DTM_QUERY_INDEX* index = root.get_query_index();
  ASSERT_NE(index, nullptr);
  const std::size_t entries = index->get_entry_count();
  EXPECT_EQ(entries, shadow.size());

  // A change: the gets walk until an eighth of the entries more have passed.
  root.add_micro_node_delay(1, e(900), DTM_MAP_DEVICE);
  const std::size_t due = DTM_NODE::k_query_walks_before_build + entries / 8;
  for (std::size_t i = 1; i < due; ++i) {
    ASSERT_EQ(root.get_micro_node_delay(e(900), DTM_MAP_DEVICE), 1);
    ASSERT_EQ(root.get_query_index(), nullptr) << "rebuilt after " << i << " walks";
  }
  EXPECT_EQ(root.get_micro_node_delay(e(900), DTM_MAP_DEVICE), 1);
  ASSERT_NE(root.get_query_index(), nullptr);
  EXPECT_EQ(root.get_query_index()->get_entry_count(), entries + 1);

  // Turned off, gets neither use nor build an index.
  root.add_micro_node_delay(2, e(901), DTM_MAP_DEVICE);
  WALK_ONLY walk;
  for (std::size_t i = 0; i < 2 * due; ++i) {
    ASSERT_EQ(root.get_micro_node_delay(e(901), DTM_MAP_DEVICE), 2);
  }
  EXPECT_EQ(root.get_query_index(), nullptr);
}

// The packing of key arguments: -1 to 2046 fit, others do not, and the
// fields of a key do not overlap.
TEST(DtmQueryIndexPacking, ArgumentsPackIntoDistinctFieldsWithinTheirRange) {
  struct CASE {
    int m_value;
    bool m_fits;
  };
  const CASE cases[] = {{-2, false},  {-1, true},    {0, true},          {1, true},
                        {2046, true}, {2047, false}, {INT32_MAX, false}, {INT32_MIN, false}};
  for (const CASE& c : cases) {
    std::uint64_t field = 0;
    EXPECT_EQ(DTM_QUERY_INDEX::pack_arg(c.m_value, field), c.m_fits) << c.m_value;
  }
  std::map<std::uint64_t, std::tuple<int, int, int>> seen;
  std::mt19937 rng(5);
  for (int i = 0; i < 20000; ++i) {
    const std::tuple<int, int, int> args{static_cast<int>(rng() % 2048) - 1,
                                         static_cast<int>(rng() % 2048) - 1,
                                         static_cast<int>(rng() % 2048) - 1};
    std::uint64_t packed = 0;
    ASSERT_TRUE(DTM_QUERY_INDEX::pack_args(args, packed));
    const auto [it, fresh] = seen.emplace(packed, args);
    EXPECT_TRUE(fresh || it->second == args) << "two keys share a packed form";
  }
}

}  // namespace
