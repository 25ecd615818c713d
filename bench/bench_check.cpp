// Checking the legality of 100,000 and 1,000,000 line records. The check is
// linear in the number of lines (the duplicate-identifier search is backed by
// an index built once per walk), so ten times the lines must take about ten
// times as long: compare the two ns_per_line counters.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench_line_lists.h"
#include "dtm_gen.h"
#include "msg_sys.h"

namespace {

// Line shapes of a realistic file: most lines carry an identifier, groups
// with bins, several delay types and a description now and then. Every
// thousandth line repeats the identifier of a line 502 lines earlier, so the
// duplicate search finds something.
std::string line_text(long i) {
  const long id = (i % 1000 == 999) ? i - 502 : i;
  char text[256];
  switch (i % 8) {
    case 0:
      std::snprintf(text, sizeof text, "\"Block %ld\" DTM_MAP_DEVICE DTM_MAP_DSP_BLOCK", i);
      break;
    case 1:
      std::snprintf(text, sizeof text,
                    "L%ld :: bin B1 || 5 ;; bin B2 || 6 || DTM_MAP_DEVICE DTM_MAP_RAM_SMALL || "
                    "DTM_RC DFF TCO_DELAY",
                    id);
      break;
    case 2:
      std::snprintf(text, sizeof text,
                    "L%ld :: ( 2 + 3 ) || DTM_MAP_DEVICE || DTM_TABLE TCO_DELAY RC_RISE", id);
      break;
    case 3:
      std::snprintf(text, sizeof text,
                    "5 || DTM_MAP_DEVICE DTM_MAP_IO_CELL || DTM_P2P LCELL_DATAA LCELL_COMBOUT "
                    "INDEX_0");
      break;
    case 4:
      std::snprintf(text, sizeof text, "L%ld :: 1 || DTM_MAP_DEVICE || DTM_INTEGER TCO_DELAY 12",
                    id);
      break;
    default:
      std::snprintf(text, sizeof text,
                    "L%ld :: %ld 7 || DTM_MAP_DEVICE DTM_MAP_LOGIC_CELL || DTM_MICRO TCO_DELAY", id,
                    i % 1000);
      break;
  }
  return text;
}

BENCH_LINE_LISTS& lists() {
  static BENCH_LINE_LISTS instance(&line_text,
                                   [](long i) { return static_cast<DTM_SHORT>(i + 1); });
  return instance;
}

void BM_check_legality(benchmark::State& state) {
  const long count = state.range(0);
  MSG_CAPTURE quiet;
  const DTM_LINE_NODE* head = lists().get(count);
  if (quiet.get_count() != 0) {
    state.SkipWithError("the generated lines gave parser reports");
    return;
  }
  const DTM_FACTORY factory;
  bool legal = false;
  std::size_t reports = 0;
  for (auto _ : state) {
    legal = factory.check_legality(head);
    reports = quiet.get_count();
    quiet.clear();
  }
  // A duplicate report and an assertion from each line of a pair.
  const std::size_t expected = static_cast<std::size_t>(count / 1000) * 4;
  if (!legal || reports != expected) {
    state.SkipWithError("unexpected findings on the generated lines");
  }
  state.counters["lines"] = static_cast<double>(count);
  state.counters["reports"] = static_cast<double>(reports);
  state.counters["ns_per_line"] =
      benchmark::Counter(static_cast<double>(count) * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_check_legality)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
