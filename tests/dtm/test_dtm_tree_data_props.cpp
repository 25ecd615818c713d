// Randomised insertion orders (fixed seeds) against std::map as the oracle.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <utility>
#include <vector>

#include "dtm_tree_data.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

using W = DTM_ENUM_WRAPPER;
using KEY = DTM_TREE_DATA_KEY;

// The oracle's own view of a key: its (id, family) pairs, which
// std::vector compares lexicographically with a shorter prefix first.
using ORACLE_KEY = std::vector<std::pair<int, int>>;

struct ENTRY {
  ORACLE_KEY m_key;
  int m_value;
};

KEY make_key(const ORACLE_KEY& parts) {
  W w[5];
  for (std::size_t i = 0; i < parts.size(); ++i) {
    w[i] = W(parts[i].second, parts[i].first);
  }
  return KEY(static_cast<DTM_SHORT>(parts.size()), w[0], w[1], w[2], w[3], w[4]);
}

ORACLE_KEY oracle_key(const KEY& key) {
  ORACLE_KEY parts;
  for (DTM_SHORT i = 0; i < key.get_num_wrapper(); ++i) {
    parts.emplace_back(key.get_wrappers()[i].get_enum_id(), key.get_wrappers()[i].get_enum_type());
  }
  return parts;
}

// Height of the subtree; checks every balance factor against the heights
// and collects the keys in order.
int check_node(const DTM_TREE_DATA* node, std::vector<ORACLE_KEY>& in_order, int& bad_balance) {
  if (node == nullptr) {
    return 0;
  }
  const int left = check_node(node->get_left(), in_order, bad_balance);
  in_order.push_back(oracle_key(*node->get_key()));
  const int right = check_node(node->get_right(), in_order, bad_balance);
  if (node->get_balance_factor() != right - left || std::abs(right - left) > 1) {
    ++bad_balance;
  }
  return 1 + std::max(left, right);
}

// Entries of one or two parts from a small value space, so that duplicates
// and shared prefixes occur.
std::vector<ENTRY> random_entries(std::mt19937& random, std::size_t count, int id_range) {
  std::uniform_int_distribution<int> family(1, 6);
  std::uniform_int_distribution<int> id(-1, id_range);
  std::uniform_int_distribution<int> parts(1, 2);
  std::uniform_int_distribution<int> value(-1000, 1000);
  std::vector<ENTRY> entries(count);
  for (ENTRY& entry : entries) {
    const int n = parts(random);
    for (int i = 0; i < n; ++i) {
      entry.m_key.emplace_back(id(random), family(random));
    }
    entry.m_value = value(random);
  }
  return entries;
}

enum ORDER { RANDOM, ASCENDING, DESCENDING, ZIGZAG };

void arrange(std::vector<ENTRY>& entries, ORDER order) {
  auto less = [](const ENTRY& a, const ENTRY& b) { return a.m_key < b.m_key; };
  switch (order) {
    case RANDOM:
      return;
    case ASCENDING:
      std::stable_sort(entries.begin(), entries.end(), less);
      return;
    case DESCENDING:
      std::stable_sort(entries.begin(), entries.end(), less);
      std::reverse(entries.begin(), entries.end());
      return;
    case ZIGZAG: {
      std::stable_sort(entries.begin(), entries.end(), less);
      std::vector<ENTRY> zigzag;
      for (std::size_t low = 0, high = entries.size(); low < high;) {
        zigzag.push_back(entries[low++]);
        if (low < high) {
          zigzag.push_back(entries[--high]);
        }
      }
      entries.swap(zigzag);
      return;
    }
  }
}

struct PARAMS {
  unsigned m_seed;
  std::size_t m_count;
  int m_id_range;
  ORDER m_order;
};

class DtmTreeDataProperties : public ::testing::TestWithParam<PARAMS> {};

TEST_P(DtmTreeDataProperties, MatchesTheOracleAndStaysAvl) {
  const PARAMS params = GetParam();
  std::mt19937 random(params.m_seed);
  std::vector<ENTRY> entries = random_entries(random, params.m_count, params.m_id_range);
  arrange(entries, params.m_order);

  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  std::map<ORACLE_KEY, int> oracle;
  std::size_t duplicates = 0;
  std::size_t mismatches = 0;
  std::ostringstream out;
  std::streambuf* previous = std::cout.rdbuf(out.rdbuf());
  MSG_CAPTURE capture;
  DTM_TREE_DATA* root = nullptr;
  for (const ENTRY& entry : entries) {
    const auto [found, fresh] = oracle.emplace(entry.m_key, entry.m_value);
    if (!fresh) {
      ++duplicates;
      mismatches += found->second != entry.m_value ? 1 : 0;
    }
    const KEY key = make_key(entry.m_key);
    root = root == nullptr ? MEM_MANAGER::new_wrapper<DTM_TREE_INT_DATA>(
                                 entry.m_value, MEM_MANAGER::new_wrapper<KEY>(key))
                           : root->add_int_to_tree(entry.m_value, key);
  }
  std::cout.rdbuf(previous);

  // Duplicates warned once each on standard output, mismatches reported.
  std::string expected_out;
  for (std::size_t i = 0; i < duplicates; ++i) {
    expected_out += "Debug Warning: There is a duplicate line in the DMF file!\n";
  }
  EXPECT_EQ(out.str(), expected_out);
  EXPECT_EQ(capture.get_count(), mismatches);

  // Shape: sorted, balanced, and within the AVL height bound.
  std::vector<ORACLE_KEY> in_order;
  int bad_balance = 0;
  const int height = check_node(root, in_order, bad_balance);
  EXPECT_EQ(bad_balance, 0);
  ASSERT_EQ(in_order.size(), oracle.size());
  std::size_t i = 0;
  for (const auto& [key, value] : oracle) {
    EXPECT_EQ(in_order[i++], key);
  }
  const double n = static_cast<double>(oracle.size());
  EXPECT_LE(height, 1.4405 * std::log2(n + 2.0) - 0.3277 + 1e-9);

  // Every key found with its first value, by whole key and by wrapper list.
  for (const auto& [parts, value] : oracle) {
    const KEY key = make_key(parts);
    ASSERT_EQ(root->get_int_from_tree(&key), value);
    const W* w = key.get_wrappers();
    const W none;
    EXPECT_EQ(root->get_int_from_tree_by_wrapper_list(
                  key.get_num_wrapper(), w[0], parts.size() > 1 ? w[1] : none, none, none, none),
              value);
  }
  // Keys outside the value space are absent.
  for (int probe = 0; probe < 20; ++probe) {
    const KEY absent(2, W(1, params.m_id_range + 1 + probe), W(2, probe));
    EXPECT_EQ(root->get_int_from_tree(&absent), DTM_ILLEGAL_DELAY);
  }

  // A clone has the same keys, values and shape; both free everything.
  DTM_TREE_DATA* copy = root->clone();
  std::vector<ORACLE_KEY> copy_order;
  int copy_bad = 0;
  EXPECT_EQ(check_node(copy, copy_order, copy_bad), height);
  EXPECT_EQ(copy_order, in_order);
  delete root;
  delete copy;
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, start.m_live_bytes);
}

std::vector<PARAMS> all_params() {
  std::vector<PARAMS> params;
  unsigned seed = 11;
  for (ORDER order : {RANDOM, ASCENDING, DESCENDING, ZIGZAG}) {
    for (std::size_t count : {1u, 2u, 3u, 17u, 300u, 4000u}) {
      for (int id_range : {3, 1000}) {
        params.push_back({seed++, count, id_range, order});
      }
    }
  }
  return params;
}

INSTANTIATE_TEST_SUITE_P(Orders, DtmTreeDataProperties, ::testing::ValuesIn(all_params()));

}  // namespace
