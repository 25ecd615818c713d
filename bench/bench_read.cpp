// Reading DMF files into line records: 100,000 and 1,000,000 lines. The time
// per line must stay flat as the file grows (reading is linear).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "dtm_gen.h"
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

void BM_parse_file(benchmark::State& state) {
  const std::string file = generated_file(state.range(0));
  const DTM_FACTORY factory;
  MSG_CAPTURE quiet;
  std::size_t records = 0;
  for (auto _ : state) {
    DTM_LINE_NODE* head = factory.parse_file(file.c_str());
    records = 0;
    for (DTM_LINE_NODE* node = head; node != nullptr; node = node->get_next()) {
      ++records;
    }
    DTM_LINE_NODE::delete_list(head);
  }
  state.counters["records"] = static_cast<double>(records);
  state.counters["ns_per_record"] =
      benchmark::Counter(static_cast<double>(records) * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  if (quiet.get_count() != 0) {
    state.SkipWithError("the generated file gave reports");
  }
}
BENCHMARK(BM_parse_file)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
