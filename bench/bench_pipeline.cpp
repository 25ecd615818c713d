// The build pipeline on well-formed files of 10,000 and 100,000 delay lines
// (read, order, check, convert, free the lines), without and with both
// traces; the text forms of the built model (outline, path listing, one-way
// comparison with a clone); and a delay query by strings against the same
// lookup by enumerations. Times per line or per entry must stay flat as the
// model grows.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "dtm_gen.h"
#include "dtm_node.h"
#include "dtm_string.h"
#include "dtm_tcl_report.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

constexpr long k_lines_per_place = 1000;
constexpr int k_indexes = 37;  // INDEX_0 ... INDEX_36

const char* node_name(int value) { return DTM_STRING::get_dtm_node_enum_string(value); }
const char* enum_name(int value) { return DTM_STRING::get_dtm_enum_string(value); }

// Line i is a table delay at place i / 1000 (a device, then two map types),
// keyed by two index descriptors; each place starts with a description.
std::string generated_file(long lines) {
  const std::string file = "/tmp/kestrel-bench-pipeline-" + std::to_string(lines) + ".dmf";
  std::FILE* out = std::fopen(file.c_str(), "w");
  if (out == nullptr) {
    std::abort();
  }
  std::fprintf(out, "%% %ld table delays\n", lines);
  for (long i = 0; i < lines; ++i) {
    const long place = i / k_lines_per_place;
    const char* outer = node_name(static_cast<int>(place % 46) + 1);
    const char* inner = node_name(static_cast<int>(place / 46) + 1);
    if (i % k_lines_per_place == 0) {
      std::fprintf(out, "\"place %ld\" DTM_MAP_DEVICE %s ||\n", place, outer);
    }
    const long slot = (i % k_lines_per_place) * 389 % k_lines_per_place;  // scattered keys
    std::fprintf(out, "T%ld :: ( %ld + 1 ) || DTM_MAP_DEVICE %s %s || DTM_TABLE %s %s\n", i, slot,
                 outer, inner, enum_name(INDEX_0 + static_cast<int>(slot % k_indexes)),
                 enum_name(INDEX_0 + static_cast<int>(slot / k_indexes)));
  }
  std::fclose(out);
  return file;
}

void per_item(benchmark::State& state, double items, const char* name) {
  state.counters[name] =
      benchmark::Counter(items * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void build(benchmark::State& state, bool traces) {
  const long lines = state.range(0);
  const std::string file = generated_file(lines);
  const DTM_FACTORY factory;
  MSG_CAPTURE quiet;
  for (auto _ : state) {
    DTM_NODE* model = factory.build_nodes(file.c_str(), traces, traces);
    benchmark::DoNotOptimize(model);
    MEM_MANAGER::delete_wrapper(model);
  }
  per_item(state, static_cast<double>(lines), "ns_per_line");
  if (quiet.get_count() != 0) {
    state.SkipWithError("the generated file gave reports");
  }
  std::remove((file + ".trf").c_str());
  std::remove((file + ".trf_line").c_str());
}

void BM_build_nodes(benchmark::State& state) { build(state, false); }
void BM_build_nodes_traced(benchmark::State& state) { build(state, true); }
BENCHMARK(BM_build_nodes)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_build_nodes_traced)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// A built model, kept for the text forms and the queries.
struct MODEL {
  explicit MODEL(long lines) {
    MSG_CAPTURE quiet;
    m_root.reset(DTM_FACTORY().build_nodes(generated_file(lines).c_str(), false, false));
    MEM_SEGMENT segment("bench");
    m_clone.reset(m_root->clone(&segment, true, true));
    m_clone->scale(2.0);  // every value differs
  }
  std::unique_ptr<DTM_NODE> m_root;
  std::unique_ptr<DTM_NODE> m_clone;
};

void BM_dump_outline(benchmark::State& state) {
  const MODEL model(state.range(0));
  for (auto _ : state) {
    std::ostringstream os;
    model.m_root->dump_tree(os, 0, 1, 1);
    benchmark::DoNotOptimize(os.tellp());
  }
  per_item(state, static_cast<double>(state.range(0)), "ns_per_entry");
}

void BM_dump_paths(benchmark::State& state) {
  const MODEL model(state.range(0));
  for (auto _ : state) {
    std::ostringstream os;
    model.m_root->dump_tree(os, std::string());
    benchmark::DoNotOptimize(os.tellp());
  }
  per_item(state, static_cast<double>(state.range(0)), "ns_per_entry");
}

// Every entry differs: one line written per entry.
void BM_compare_trees(benchmark::State& state) {
  const MODEL model(state.range(0));
  for (auto _ : state) {
    std::ostringstream os;
    model.m_root->compare_trees(model.m_clone.get(), os, std::string(), false, true, 0.0F);
    benchmark::DoNotOptimize(os.tellp());
  }
  per_item(state, static_cast<double>(state.range(0)), "ns_per_entry");
}
BENCHMARK(BM_dump_outline)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_dump_paths)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_compare_trees)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// Random existing delays of the model, as names and as enumerations.
struct QUERIES {
  QUERIES(long lines, std::size_t count) {
    std::mt19937 random(5u);
    for (std::size_t q = 0; q < count; ++q) {
      const long i = static_cast<long>(random() % static_cast<unsigned>(lines));
      const long place = i / k_lines_per_place;
      const long slot = (i % k_lines_per_place) * 389 % k_lines_per_place;
      const int outer = static_cast<int>(place % 46) + 1;
      const int inner = static_cast<int>(place / 46) + 1;
      const int row = INDEX_0 + static_cast<int>(slot % k_indexes);
      const int col = INDEX_0 + static_cast<int>(slot / k_indexes);
      m_names.push_back({"DTM_TABLE", enum_name(row), enum_name(col), "DTM_MAP_DEVICE",
                         node_name(outer), node_name(inner)});
      m_enums.push_back({row, col, outer, inner});
    }
    for (auto& names : m_names) {
      DTM_STRING::STRINGS pointers;
      for (std::string& name : names) {
        pointers.push_back(&name);
      }
      m_vectors.push_back(pointers);
    }
  }
  std::vector<std::vector<std::string>> m_names;
  std::vector<DTM_STRING::STRINGS> m_vectors;
  std::vector<std::vector<int>> m_enums;
};

void BM_get_delay_by_strings(benchmark::State& state) {
  const MODEL model(state.range(0));
  const QUERIES queries(state.range(0), 4096);
  DTM_TCL_REPORT report;
  std::size_t q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        DTM_STRING::get_delay(&queries.m_vectors[q], model.m_root.get(), &report));
    q = (q + 1) % queries.m_vectors.size();
  }
}

void BM_get_delay_by_enums(benchmark::State& state) {
  const MODEL model(state.range(0));
  const QUERIES queries(state.range(0), 4096);
  std::size_t q = 0;
  for (auto _ : state) {
    const std::vector<int>& e = queries.m_enums[q];
    benchmark::DoNotOptimize(model.m_root->get_table_node_delay(
        static_cast<DTM_ENUM>(e[0]), static_cast<DTM_ENUM>(e[1]), DTM_MAP_DEVICE,
        static_cast<DTM_NODE_ENUM>(e[2]), static_cast<DTM_NODE_ENUM>(e[3])));
    q = (q + 1) % queries.m_enums.size();
  }
}
BENCHMARK(BM_get_delay_by_strings)->Arg(100000);
BENCHMARK(BM_get_delay_by_enums)->Arg(100000);

}  // namespace

BENCHMARK_MAIN();
