// Reading DMF files into line records: 100,000 and 1,000,000 lines. The time
// per line must stay flat as the file grows (reading is linear).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "dtm_gen.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

std::string generated_file(long lines) {
  const std::string file = "/tmp/kestrel-bench-" + std::to_string(lines) + ".dmf";
  if (std::FILE* existing = std::fopen(file.c_str(), "r")) {
    std::fclose(existing);
    return file;
  }
  const std::string command =
      std::string(KESTREL_GEN_DMF) + " " + std::to_string(lines) + " " + file;
  if (std::system(command.c_str()) != 0) {
    std::abort();
  }
  return file;
}

std::size_t count_records(const DTM_LINE_NODE* head) {
  std::size_t records = 0;
  for (; head != nullptr; head = head->get_next()) {
    ++records;
  }
  return records;
}

// Time, tracked allocations and peak bytes per record, as counters.
void set_counters(benchmark::State& state, std::size_t records, std::size_t allocations,
                  std::size_t peak_bytes) {
  const double per_record = static_cast<double>(records);
  state.counters["records"] = per_record;
  state.counters["ns_per_record"] =
      benchmark::Counter(per_record * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["allocs_per_record"] = static_cast<double>(allocations) / per_record;
  state.counters["bytes_per_record"] = static_cast<double>(peak_bytes) / per_record;
}

// A whole read: parse the file into records and free them.
void BM_parse_file(benchmark::State& state) {
  const std::string file = generated_file(state.range(0));
  const DTM_FACTORY factory;
  MSG_CAPTURE quiet;
  std::size_t records = 0;
  std::size_t allocations = 0;
  std::size_t peak_bytes = 0;
  for (auto _ : state) {
    const MEM_COUNTERS before = MEM_MANAGER::get_counters();
    MEM_MANAGER::reset_peak();
    DTM_LINE_NODE* head = factory.parse_file(file.c_str());
    allocations = MEM_MANAGER::get_counters().m_total_objects - before.m_total_objects;
    peak_bytes = MEM_MANAGER::get_counters().m_peak_bytes - before.m_live_bytes;
    records = count_records(head);
    DTM_LINE_NODE::delete_list(head);
  }
  set_counters(state, records, allocations, peak_bytes);
  if (quiet.get_count() != 0) {
    state.SkipWithError("the generated file gave reports");
  }
}
BENCHMARK(BM_parse_file)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

// The parse alone: freeing the records is left out of the timing.
void BM_parse_file_no_free(benchmark::State& state) {
  const std::string file = generated_file(state.range(0));
  const DTM_FACTORY factory;
  MSG_CAPTURE quiet;
  std::size_t records = 0;
  for (auto _ : state) {
    DTM_LINE_NODE* head = factory.parse_file(file.c_str());
    state.PauseTiming();
    records = count_records(head);
    DTM_LINE_NODE::delete_list(head);
    state.ResumeTiming();
  }
  set_counters(state, records, 0, 0);
}
BENCHMARK(BM_parse_file_no_free)->Arg(1000000)->Unit(benchmark::kMillisecond);

// Freeing a list alone: records and blocks go back chunk by chunk.
void BM_delete_list(benchmark::State& state) {
  const std::string file = generated_file(state.range(0));
  const DTM_FACTORY factory;
  MSG_CAPTURE quiet;
  std::size_t records = 0;
  for (auto _ : state) {
    state.PauseTiming();
    DTM_LINE_NODE* head = factory.parse_file(file.c_str());
    records = count_records(head);
    state.ResumeTiming();
    DTM_LINE_NODE::delete_list(head);
  }
  set_counters(state, records, 0, 0);
}
BENCHMARK(BM_delete_list)->Arg(1000000)->Unit(benchmark::kMillisecond);

// One typical delay line through the line parser, record freed each time.
void BM_parse_a_line(benchmark::State& state) {
  static const char k_line[] =
      "D17 :: bin 1 || 432 ;; bin 2 || 759 || MAP_DEVICE MAP_LE || DTM_FF KEY_16";
  const DTM_FACTORY factory;
  char buffer[sizeof(k_line)];
  for (auto _ : state) {
    std::memcpy(buffer, k_line, sizeof(k_line));
    DTM_LINE_NODE* node = factory.parse_a_line(nullptr, buffer, 17);
    benchmark::DoNotOptimize(node);
    DTM_LINE_NODE::delete_list(node);
  }
}
BENCHMARK(BM_parse_a_line);

}  // namespace

BENCHMARK_MAIN();
