// Saving and loading a model of 1,000,000 persisted objects (the test
// classes of tests/pdb, shaped like the timing model: 2,000 leaf nodes, each
// with a balanced data tree of 250 integer delays under one- or two-part
// keys). Reported: time per save and per load, file bytes per second and
// objects per second, beside the time to build and to free the same model in
// memory.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "pdb_test_model.h"

namespace {

constexpr int k_leaves = 2000;
constexpr int k_delays = 250;  // per leaf: two objects each (data node and key)

// A balanced tree over the keys [low, high).
T_DATA* data_tree(int leaf, int low, int high) {
  if (low >= high) {
    return nullptr;
  }
  const int middle = low + (high - low) / 2;
  T_INT_DATA* node = new T_INT_DATA;
  node->m_value = leaf * 1000 + middle;
  node->m_key = new T_KEY(static_cast<std::int16_t>(1 + middle % 2));
  node->m_key->m_parts[0].m_id = middle;
  node->m_left = data_tree(leaf, low, middle);
  node->m_right = data_tree(leaf, middle + 1, high);
  return node;
}

T_NODE* build_model() {
  T_NODE* root = new T_NODE(T_KIND_A);
  T_NODE* group = nullptr;
  for (int leaf = 0; leaf < k_leaves; ++leaf) {
    if (leaf % 50 == 0) {
      group = root->add(new T_NODE(T_KIND_B));
      group->m_description = ("group " + std::to_string(leaf / 50)).c_str();
    }
    T_LEAF* node = new T_LEAF;
    node->m_description = "a timing leaf with some description text";
    node->m_data_root = data_tree(leaf, 0, k_delays);
    group->add(node);
  }
  return root;
}

// The model and its file, made once.
struct FIXTURE {
  FIXTURE()
      : m_stem(std::filesystem::temp_directory_path() /
               ("kestrel-bench-pdb-" + std::to_string(::getpid()))) {
    m_model = build_model();
    PDB_ARCHIVE archive;
    archive.open(m_stem.string());
    pdb_write_(m_model, archive, "");
    m_bytes = std::filesystem::file_size(m_stem.string() + ".ddb");
  }
  ~FIXTURE() {
    delete m_model;
    std::filesystem::remove(m_stem.string() + ".ddb");
  }
  std::filesystem::path m_stem;
  T_NODE* m_model = nullptr;
  std::uintmax_t m_bytes = 0;
};

FIXTURE& fixture() {
  static FIXTURE instance;
  return instance;
}

constexpr double k_objects = 1.0 + k_leaves / 50 + k_leaves + 2.0 * k_leaves * k_delays;

void set_rates(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(fixture().m_bytes));
  state.counters["objects"] = k_objects;
  state.counters["objects_per_s"] = benchmark::Counter(
      k_objects * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["file_MB"] = static_cast<double>(fixture().m_bytes) / 1e6;
}

void BM_pdb_save(benchmark::State& state) {
  FIXTURE& f = fixture();
  PDB_ARCHIVE archive;
  archive.open(f.m_stem.string());
  for (auto _ : state) {
    if (!pdb_write_(f.m_model, archive, "")) {
      state.SkipWithError("the model could not be written");
      return;
    }
  }
  set_rates(state);
}
BENCHMARK(BM_pdb_save)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

void BM_pdb_load(benchmark::State& state) {
  FIXTURE& f = fixture();
  PDB_ARCHIVE archive;
  archive.open(f.m_stem.string());
  T_NODE* root = nullptr;
  for (auto _ : state) {
    if (!pdb_read_(root, archive, "") || root == nullptr) {
      state.SkipWithError("the model could not be read");
      return;
    }
    state.PauseTiming();
    delete root;
    root = nullptr;
    state.ResumeTiming();
  }
  set_rates(state);
}
BENCHMARK(BM_pdb_load)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

// For comparison: making the same objects directly, and freeing them.
void BM_build_in_memory(benchmark::State& state) {
  for (auto _ : state) {
    T_NODE* model = build_model();
    state.PauseTiming();
    delete model;
    state.ResumeTiming();
  }
  state.counters["objects"] = k_objects;
}
BENCHMARK(BM_build_in_memory)->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_free_model(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    T_NODE* model = build_model();
    state.ResumeTiming();
    delete model;
  }
}
BENCHMARK(BM_free_model)->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace

BENCHMARK_MAIN();
