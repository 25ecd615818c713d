// Delay expressions: time to evaluate one delay field, by shape of field and
// value domain, and time to choose a line's delay group by bin and version.
#include <benchmark/benchmark.h>

#include <string>

#include "dtm_gen.h"
#include "dtm_line_node.h"

namespace {

const char* const k_fields[] = {
    "5",
    "( ( 2 * 3 ) - 1 )",
    "( if ( ( 1 + 1 ) == 2 ) then ( if ( 3 > 4 ) then 1 else 2 ) else ( 7 / 2 ) )",
};

// The record of "<field> || P", owned by the caller.
DTM_LINE_NODE* parse(const char* field) {
  std::string text = std::string(field) + " || P";
  return DTM_FACTORY().parse_a_line(nullptr, text.data(), 1);
}

template <bool INTEGER>
void BM_extract(benchmark::State& state) {
  DTM_LINE_NODE* line = parse(k_fields[state.range(0)]);
  const DTM_FACTORY factory;
  for (auto _ : state) {
    DTM_SHORT position = 0;
    if constexpr (INTEGER) {
      benchmark::DoNotOptimize(factory.extract_long(line, &position, 0));
    } else {
      benchmark::DoNotOptimize(factory.extract_float(line, &position, 0));
    }
  }
  state.counters["tokens"] = line->get_num_delays(0);
  DTM_LINE_NODE::delete_list(line);
}
BENCHMARK(BM_extract<true>)->DenseRange(0, 2);
BENCHMARK(BM_extract<false>)->DenseRange(0, 2);

void BM_choose_delay_group(benchmark::State& state) {
  DTM_LINE_NODE* line =
      parse("bin B1 B2 B3 || version V1 || 5 ;; bin B4 B5 || version V2 V3 || 6 ;; 7");
  DTM_FACTORY factory;
  factory.set_delay_target({.m_bin = "B5", .m_version = "V3"});
  for (auto _ : state) {
    benchmark::DoNotOptimize(factory.choose_delay_group(line));
  }
  DTM_LINE_NODE::delete_list(line);
}
BENCHMARK(BM_choose_delay_group);

}  // namespace

BENCHMARK_MAIN();
