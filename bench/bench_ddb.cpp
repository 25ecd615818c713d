// Saving and loading a timing model of 1,000,000 delays as a .ddb database,
// against building the same model from its DMF text (reading the file into
// line records, checking them, converting them) in the same run.
//
// The DMF text: 1,000 places on two-level paths, each with a description
// line and 1,000 delay lines in a scattered order: 500 integer delays given
// as expressions, 250 RC delays (floating point) and 250 table delays.
//
// Counters: MB/s of the database (save, load) and of the DMF text (build),
// delays per second, and on the load `build_over_load`, the best build time
// divided by the best load time; `build_over_load_cpu` is the same ratio of
// processor times, steadier on a shared machine.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <limits>
#include <string>

#include "dbs_enums.h"
#include "dbs_translator.h"
#include "dtm_gen.h"
#include "dtm_node.h"
#include "dtm_string.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"
#include "pdb_sys.h"

namespace {

constexpr long k_places = 1000;
constexpr long k_delays_per_place = 1000;
constexpr long k_delays = k_places * k_delays_per_place;
constexpr int k_map_types = 46;  // DTM_NODE_ENUM 1 to 46 are map types

DTM_NODE_ENUM outer_of(long place) { return static_cast<DTM_NODE_ENUM>(place % k_map_types + 1); }
DTM_NODE_ENUM inner_of(long place) { return static_cast<DTM_NODE_ENUM>(place / k_map_types + 1); }

void write_dmf(const std::string& file) {
  std::FILE* out = std::fopen(file.c_str(), "w");
  if (out == nullptr) {
    std::abort();
  }
  for (long place = 0; place < k_places; ++place) {
    const char* outer = DTM_STRING::get_dtm_node_enum_string(outer_of(place));
    const char* inner = DTM_STRING::get_dtm_node_enum_string(inner_of(place));
    std::fprintf(out, "\"place %ld\" %s %s ||\n", place, outer, inner);
    for (long slot = 0; slot < k_delays_per_place; ++slot) {
      const long j = (slot * 389) % k_delays_per_place;  // a permutation of 0 ... 999
      if (j < 500) {
        std::fprintf(out, "( %ld + 1 ) || %s %s || DTM_INTEGER TCO_DELAY %ld\n", j, outer, inner,
                     j);
      } else if (j < 750) {
        std::fprintf(out, "%ld.5 || %s %s || DTM_RC %s RC_FALL\n", j, outer, inner,
                     CDB_RE_TYPE_STRING[j - 500]);
      } else {
        const long t = j - 750;
        std::fprintf(out, "%ld || %s %s || DTM_TABLE INDEX_%ld INDEX_%ld\n", j, outer, inner,
                     t % 37, t / 37);
      }
    }
  }
  std::fclose(out);
}

using CLOCK = std::chrono::steady_clock;

double seconds_since(CLOCK::time_point start) {
  return std::chrono::duration<double>(CLOCK::now() - start).count();
}

double cpu_seconds_since(std::clock_t start) {
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// The scratch directory with the DMF text, the model built from it and its
// database; the best times measured so far.
class FIXTURE {
 public:
  FIXTURE() {
    std::string pattern = (std::filesystem::temp_directory_path() / "bench-ddb-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
      std::abort();
    }
    m_dir = pattern;
    m_dmf = m_dir + "/model.dmf";
    write_dmf(m_dmf);
    m_archive.open(m_dir + "/model");
  }
  ~FIXTURE() {
    MEM_MANAGER::delete_wrapper(m_model);
    std::error_code ignored;
    std::filesystem::remove_all(m_dir, ignored);
  }

  // The model from the DMF text: line records, checks, conversion.
  DTM_NODE* build() const {
    const DTM_FACTORY factory;
    DTM_LINE_NODE* lines = factory.parse_file(m_dmf.c_str());
    factory.check_legality(lines);
    DTM_NODE* model = factory.convert(lines, nullptr);
    DTM_LINE_NODE::delete_list(lines);
    return model;
  }
  DTM_NODE* model() {
    if (m_model == nullptr) {
      m_model = build();
    }
    return m_model;
  }
  void keep(DTM_NODE* model) {
    MEM_MANAGER::delete_wrapper(m_model);
    m_model = model;
  }
  void save() {
    if (!pdb_write_(model(), m_archive, "")) {
      std::abort();
    }
  }
  double ddb_megabytes() const { return file_megabytes(m_dir + "/model.ddb"); }
  double dmf_megabytes() const { return file_megabytes(m_dmf); }
  PDB_ARCHIVE& archive() { return m_archive; }

  double m_best_build = std::numeric_limits<double>::infinity();
  double m_best_build_cpu = std::numeric_limits<double>::infinity();

 private:
  static double file_megabytes(const std::string& file) {
    return static_cast<double>(std::filesystem::file_size(file)) / 1e6;
  }
  std::string m_dir;
  std::string m_dmf;
  PDB_ARCHIVE m_archive;
  DTM_NODE* m_model = nullptr;
};

FIXTURE& fixture() {
  static FIXTURE instance;
  return instance;
}

// The model answers what its DMF text says.
bool model_is_right(const DTM_NODE& model) {
  const long place = 517;
  return model.get_integer_node_delay(TCO_DELAY, 41, outer_of(place), inner_of(place)) == 42 &&
         model.get_table_node_delay(static_cast<DTM_ENUM>(INDEX_0 + 3), INDEX_0, outer_of(place),
                                    inner_of(place)) == 753;
}

void set_rates(benchmark::State& state, double megabytes, double best_seconds) {
  state.counters["MB_per_s"] = megabytes / best_seconds;
  state.counters["delays_per_s"] = static_cast<double>(k_delays) / best_seconds;
  state.counters["best_ms"] = best_seconds * 1e3;
}

void BM_build_from_dmf(benchmark::State& state) {
  FIXTURE& f = fixture();
  MSG_CAPTURE quiet;
  double best = std::numeric_limits<double>::infinity();
  double best_cpu = std::numeric_limits<double>::infinity();
  for (auto _ : state) {
    const CLOCK::time_point start = CLOCK::now();
    const std::clock_t cpu_start = std::clock();
    DTM_NODE* model = f.build();
    best = std::min(best, seconds_since(start));
    best_cpu = std::min(best_cpu, cpu_seconds_since(cpu_start));
    state.PauseTiming();
    f.keep(model);
    state.ResumeTiming();
  }
  if (quiet.get_count() != 0 || !model_is_right(*f.model())) {
    state.SkipWithError("the DMF text did not give the model it describes");
    return;
  }
  f.m_best_build = std::min(f.m_best_build, best);
  f.m_best_build_cpu = std::min(f.m_best_build_cpu, best_cpu);
  set_rates(state, f.dmf_megabytes(), best);
}

void BM_save(benchmark::State& state) {
  FIXTURE& f = fixture();
  double best = std::numeric_limits<double>::infinity();
  for (auto _ : state) {
    const CLOCK::time_point start = CLOCK::now();
    f.save();
    best = std::min(best, seconds_since(start));
  }
  set_rates(state, f.ddb_megabytes(), best);
  state.counters["file_MB"] = f.ddb_megabytes();
}

void BM_load(benchmark::State& state) {
  FIXTURE& f = fixture();
  f.save();
  double best = std::numeric_limits<double>::infinity();
  double best_cpu = std::numeric_limits<double>::infinity();
  bool right = true;
  for (auto _ : state) {
    const CLOCK::time_point start = CLOCK::now();
    const std::clock_t cpu_start = std::clock();
    DTM_NODE* model = nullptr;
    pdb_read_<PDB_ARCHIVE, DTM_NODE>(model, f.archive(), "");
    best = std::min(best, seconds_since(start));
    best_cpu = std::min(best_cpu, cpu_seconds_since(cpu_start));
    state.PauseTiming();
    right = right && model != nullptr && model_is_right(*model);
    MEM_MANAGER::delete_wrapper(model);
    state.ResumeTiming();
  }
  if (!right) {
    state.SkipWithError("the loaded model differs");
    return;
  }
  set_rates(state, f.ddb_megabytes(), best);
  if (f.m_best_build < std::numeric_limits<double>::infinity()) {
    state.counters["build_over_load"] = f.m_best_build / best;
    state.counters["build_over_load_cpu"] = f.m_best_build_cpu / best_cpu;
  }
}

// In this order: the build gives the model the save writes and the time
// the load is compared with.
BENCHMARK(BM_build_from_dmf)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_save)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_load)->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace

BENCHMARK_MAIN();
