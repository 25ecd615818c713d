// Converting 10,000, 100,000 and 1,000,000 checked line records into a
// timing model (evaluation, key conversion, the node walk and the delay-tree
// insertion of every line), then freeing the model. Every leaf holds at most
// 512 delays whatever the number of lines, so the time per line must stay
// flat once the lines no longer fit in the caches: compare the ns_per_line
// counters.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "bench_line_lists.h"
#include "dbs_translator.h"
#include "dtm_gen.h"
#include "dtm_node.h"
#include "dtm_string.h"
#include "msg_sys.h"

namespace {

constexpr long k_lines_per_place = 1024;
constexpr int k_map_types = 46;  // DTM_NODE_ENUM 1 to 46 are map types

// Line i is stored at place i / 1024, a two-level path of map types. Within
// a place the lines are spread over three kinds with distinct keys, in a
// scattered order: 512 integer delays, 256 RC delays (float), 256 table
// delays. Every place starts with a description line.
std::string line_text(long i) {
  const long place = i / k_lines_per_place;
  const char* outer =
      DTM_STRING::get_dtm_node_enum_string(static_cast<int>(place % k_map_types) + 1);
  const char* inner =
      DTM_STRING::get_dtm_node_enum_string(static_cast<int>(place / k_map_types) + 1);
  char text[256];
  const long slot = i % k_lines_per_place;
  if (slot == 0) {
    std::snprintf(text, sizeof text, "\"place %ld\" %s %s ||", place, outer, inner);
    return text;
  }
  const long j = (slot * 389) % k_lines_per_place;  // a permutation of 0 ... 1023
  if (j < 512) {
    std::snprintf(text, sizeof text, "( %ld + 1 ) || %s %s || DTM_INTEGER TCO_DELAY %ld", j, outer,
                  inner, j);
  } else if (j < 768) {
    std::snprintf(text, sizeof text, "%ld.5 || %s %s || DTM_RC %s RC_FALL", j, outer, inner,
                  CDB_RE_TYPE_STRING[j - 512]);
  } else {
    const long t = j - 768;
    std::snprintf(text, sizeof text, "%ld || %s %s || DTM_TABLE INDEX_%ld INDEX_%ld", j, outer,
                  inner, t % 37, t / 37);
  }
  return text;
}

BENCH_LINE_LISTS& lists() {
  static BENCH_LINE_LISTS instance(&line_text,
                                   [](long i) { return static_cast<DTM_SHORT>(i % 30000 + 1); });
  return instance;
}

void BM_convert(benchmark::State& state) {
  const long count = state.range(0);
  MSG_CAPTURE quiet;
  const DTM_LINE_NODE* head = lists().get(count);
  if (quiet.get_count() != 0) {
    state.SkipWithError("the generated lines gave parser reports");
    return;
  }
  const DTM_FACTORY factory;
  std::size_t reports = 0;
  for (auto _ : state) {
    DTM_NODE* root = factory.convert(head, nullptr);
    MEM_MANAGER::delete_wrapper(root);
    reports = quiet.get_count();
  }
  if (reports != 0) {
    state.SkipWithError("the generated lines gave conversion reports");
  }
  state.counters["lines"] = static_cast<double>(count);
  state.counters["ns_per_line"] =
      benchmark::Counter(static_cast<double>(count) * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_convert)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
