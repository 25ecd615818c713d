// Name lookups of the translator and the register-element table: time per
// lookup for names that exist (all of a table, in turn) and for names that do
// not. The literal scan of the register-element table is measured beside its
// hash index for comparison.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>
#include <vector>

#include "dbs_translator.h"
#include "dtm_string.h"
#include "gen_sys.h"

namespace {

std::vector<std::string> dtm_enum_names() {
  return {
#define DBS_NAME(name, value) #name,
#include "dbs_dtm_enum.def"
#undef DBS_NAME
  };
}

std::vector<std::string> dtm_node_enum_names() {
  return {
#define DBS_NAME(name, value) #name,
#include "dbs_dtm_node_enum.def"
#undef DBS_NAME
  };
}

std::vector<std::string> input_port_names() {
  return {
#define DBS_NAME(name, value) #name,
#include "dbs_db_input_port.def"
#undef DBS_NAME
  };
}

std::vector<std::string> cdb_names() {
  return std::vector<std::string>(CDB_RE_TYPE_STRING, CDB_RE_TYPE_STRING + CDB_RE_TYPE_COUNT);
}

// Names that no table holds, of the same lengths as the real ones.
std::vector<std::string> misses(std::vector<std::string> names) {
  for (std::string& name : names) {
    name.back() = name.back() == 'Q' ? 'R' : 'Q';
    name[0] = 'q';
  }
  return names;
}

template <typename LOOKUP>
void run(benchmark::State& state, const std::vector<std::string>& names, LOOKUP lookup) {
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(lookup(names[i].c_str()));
    i = i + 1 == names.size() ? 0 : i + 1;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_dtm_enum_hit(benchmark::State& state) {
  run(state, dtm_enum_names(), [](const char* n) { return DTM_STRING::get_dtm_enum(n); });
}
void BM_dtm_enum_miss(benchmark::State& state) {
  run(state, misses(dtm_enum_names()), [](const char* n) { return DTM_STRING::get_dtm_enum(n); });
}
void BM_dtm_node_enum_hit(benchmark::State& state) {
  run(state, dtm_node_enum_names(), [](const char* n) { return DTM_STRING::get_dtm_node_enum(n); });
}
void BM_dtm_node_enum_miss(benchmark::State& state) {
  run(state, misses(dtm_node_enum_names()),
      [](const char* n) { return DTM_STRING::get_dtm_node_enum(n); });
}
void BM_input_port_hit(benchmark::State& state) {
  run(state, input_port_names(),
      [](const char* n) { return DTM_STRING::get_db_input_port_type_enum(n); });
}
void BM_input_port_miss(benchmark::State& state) {
  run(state, misses(input_port_names()),
      [](const char* n) { return DTM_STRING::get_db_input_port_type_enum(n); });
}
void BM_cdb_re_type_hit(benchmark::State& state) {
  run(state, cdb_names(), [](const char* n) { return DTM_STRING::get_cdb_re_type_enum(n); });
}
void BM_cdb_re_type_miss(benchmark::State& state) {
  run(state, misses(cdb_names()),
      [](const char* n) { return DTM_STRING::get_cdb_re_type_enum(n); });
}

int scan_cdb(const char* name) {
  for (int i = 0; i < CDB_RE_TYPE_COUNT; ++i) {
    if (gen_strcmp(name, CDB_RE_TYPE_STRING[i]) == 0) {
      return i;
    }
  }
  return CDB_RE_ILLEGAL_TYPE;
}
void BM_cdb_re_type_scan_hit(benchmark::State& state) { run(state, cdb_names(), scan_cdb); }
void BM_cdb_re_type_scan_miss(benchmark::State& state) {
  run(state, misses(cdb_names()), scan_cdb);
}

// The one-probe lookups that the checks and the conversion use.
void BM_find_dtm_enum_hit(benchmark::State& state) {
  run(state, dtm_enum_names(), [](const char* n) { return DBS_TRANSLATOR::find_dtm_enum(n); });
}
void BM_find_dtm_enum_miss(benchmark::State& state) {
  run(state, misses(dtm_enum_names()),
      [](const char* n) { return DBS_TRANSLATOR::find_dtm_enum(n); });
}
void BM_find_dtm_node_enum_hit(benchmark::State& state) {
  run(state, dtm_node_enum_names(),
      [](const char* n) { return DBS_TRANSLATOR::find_dtm_node_enum(n); });
}
void BM_find_cdb_re_type_hit(benchmark::State& state) {
  run(state, cdb_names(), [](const char* n) { return DBS_TRANSLATOR::find_cdb_re_type(n); });
}

void BM_dtm_enum_string(benchmark::State& state) {
  int v = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(DTM_STRING::get_dtm_enum_string(v));
    v = v == 740 ? 0 : v + 1;
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_dtm_enum_hit);
BENCHMARK(BM_dtm_enum_miss);
BENCHMARK(BM_dtm_node_enum_hit);
BENCHMARK(BM_dtm_node_enum_miss);
BENCHMARK(BM_input_port_hit);
BENCHMARK(BM_input_port_miss);
BENCHMARK(BM_cdb_re_type_hit);
BENCHMARK(BM_cdb_re_type_miss);
BENCHMARK(BM_cdb_re_type_scan_hit);
BENCHMARK(BM_cdb_re_type_scan_miss);
BENCHMARK(BM_find_dtm_enum_hit);
BENCHMARK(BM_find_dtm_enum_miss);
BENCHMARK(BM_find_dtm_node_enum_hit);
BENCHMARK(BM_find_cdb_re_type_hit);
BENCHMARK(BM_dtm_enum_string);

}  // namespace

BENCHMARK_MAIN();
