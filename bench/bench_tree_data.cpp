// The balanced delay tree against std::map on the same keys of two wrappers
// (register type, delay kind), inserted and looked up in the same shuffled
// order: time per operation and bytes per entry, both containers
// counted by the tracked memory manager (bytes asked for, not the system
// allocator's rounding).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <vector>

#include "dtm_tree_data.h"
#include "mem_alloc_sys.h"

namespace {

using W = DTM_ENUM_WRAPPER;
using KEY_PARTS = std::array<W, 2>;

struct KEY_LESS {
  bool operator()(const KEY_PARTS& a, const KEY_PARTS& b) const noexcept {
    return DTM_TREE_DATA_KEY::order_wrapper_lists(a.data(), 2, b.data(), 2) < 0;
  }
};
using MAP = std::map<KEY_PARTS, int, KEY_LESS, MEM_ALLOCATOR<std::pair<const KEY_PARTS, int>>>;

const std::vector<KEY_PARTS>& keys(std::size_t count) {
  static std::vector<KEY_PARTS> s_keys;
  if (s_keys.size() != count) {
    s_keys.clear();
    for (std::size_t i = 0; i < count; ++i) {
      const int re = static_cast<int>(i % CDB_RE_ILLEGAL_TYPE);
      const int kind = static_cast<int>(i / CDB_RE_ILLEGAL_TYPE);
      s_keys.push_back({W(static_cast<CDB_RE_TYPE>(re)), W(static_cast<DTM_ENUM>(kind))});
    }
    std::shuffle(s_keys.begin(), s_keys.end(), std::mt19937(20240521));
  }
  return s_keys;
}

DTM_TREE_DATA* build_tree(const std::vector<KEY_PARTS>& parts) {
  DTM_TREE_DATA* root = nullptr;
  int value = 0;
  for (const KEY_PARTS& key : parts) {
    const DTM_TREE_DATA_KEY stack_key(2, key[0], key[1]);
    root = root == nullptr ? MEM_MANAGER::new_wrapper<DTM_TREE_INT_DATA>(
                                 value, MEM_MANAGER::new_wrapper<DTM_TREE_DATA_KEY>(stack_key))
                           : root->add_int_to_tree(value, stack_key);
    ++value;
  }
  return root;
}

void build_map(MAP& map, const std::vector<KEY_PARTS>& parts) {
  int value = 0;
  for (const KEY_PARTS& key : parts) {
    map.emplace(key, value++);
  }
}

void set_counters(benchmark::State& state, std::size_t count, std::size_t bytes) {
  state.counters["ns_per_op"] = benchmark::Counter(
      static_cast<double>(count) * static_cast<double>(state.iterations()) * 1e-9,
      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["bytes_per_entry"] = static_cast<double>(bytes) / static_cast<double>(count);
}

void BM_tree_insert(benchmark::State& state) {
  const std::vector<KEY_PARTS>& parts = keys(static_cast<std::size_t>(state.range(0)));
  std::size_t bytes = 0;
  for (auto _ : state) {
    const std::size_t before = MEM_MANAGER::get_counters().m_live_bytes;
    DTM_TREE_DATA* root = build_tree(parts);
    benchmark::DoNotOptimize(root);
    state.PauseTiming();
    bytes = MEM_MANAGER::get_counters().m_live_bytes - before;
    delete root;
    state.ResumeTiming();
  }
  set_counters(state, parts.size(), bytes);
}

void BM_map_insert(benchmark::State& state) {
  const std::vector<KEY_PARTS>& parts = keys(static_cast<std::size_t>(state.range(0)));
  std::size_t bytes = 0;
  for (auto _ : state) {
    const std::size_t before = MEM_MANAGER::get_counters().m_live_bytes;
    MAP* map = MEM_MANAGER::new_wrapper<MAP>();
    build_map(*map, parts);
    benchmark::DoNotOptimize(map);
    state.PauseTiming();
    bytes = MEM_MANAGER::get_counters().m_live_bytes - before;
    MEM_MANAGER::delete_wrapper(map);
    state.ResumeTiming();
  }
  set_counters(state, parts.size(), bytes);
}

void BM_tree_lookup(benchmark::State& state) {
  const std::vector<KEY_PARTS>& parts = keys(static_cast<std::size_t>(state.range(0)));
  const std::size_t before = MEM_MANAGER::get_counters().m_live_bytes;
  DTM_TREE_DATA* root = build_tree(parts);
  const std::size_t bytes = MEM_MANAGER::get_counters().m_live_bytes - before;
  const W none;
  long long sum = 0;
  for (auto _ : state) {
    for (const KEY_PARTS& key : parts) {
      sum += root->get_int_from_tree_by_wrapper_list(2, key[0], key[1], none, none, none);
    }
  }
  benchmark::DoNotOptimize(sum);
  delete root;
  set_counters(state, parts.size(), bytes);
}

void BM_map_lookup(benchmark::State& state) {
  const std::vector<KEY_PARTS>& parts = keys(static_cast<std::size_t>(state.range(0)));
  const std::size_t before = MEM_MANAGER::get_counters().m_live_bytes;
  MAP map;
  build_map(map, parts);
  const std::size_t bytes = MEM_MANAGER::get_counters().m_live_bytes - before;
  long long sum = 0;
  for (auto _ : state) {
    for (const KEY_PARTS& key : parts) {
      const auto found = map.find(key);
      sum += found != map.end() ? found->second : DTM_ILLEGAL_DELAY;
    }
  }
  benchmark::DoNotOptimize(sum);
  set_counters(state, parts.size(), bytes);
}

// 1,000,000 entries measure the memory-bound case; 10,000 (fits in cache)
// shows the cost of the comparisons themselves.
BENCHMARK(BM_tree_insert)->Arg(1000000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_map_insert)->Arg(1000000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_tree_lookup)->Arg(1000000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_map_lookup)->Arg(1000000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
