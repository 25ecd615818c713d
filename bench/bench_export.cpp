// Writing a timing model of 10,000, 100,000 and 1,000,000 delays as DMF text
// (DTM_EXPORT::write_dmf). The model: places on two-level paths, each with a description and 1,000
// delays of three kinds (500 integer delays, 250 rc delays, 250 table
// delays). The text goes to a stream that drops it, so the figure is the
// writer's own work: the walk, the names, the read-back check of every key
// and the formatting. Counters: ns per delay.
#include <benchmark/benchmark.h>

#include <map>
#include <ostream>
#include <streambuf>

#include "dtm_export.h"
#include "dtm_node.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

constexpr long k_delays_per_place = 1000;
constexpr int k_map_types = 46;  // DTM_NODE_ENUM 1 to 46 are map types

DTM_NODE* make_model(long delays) {
  DTM_NODE* root = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
  for (long i = 0; i < delays; ++i) {
    const long place = i / k_delays_per_place;
    const auto outer = static_cast<DTM_NODE_ENUM>(place % k_map_types + 1);
    const auto inner = static_cast<DTM_NODE_ENUM>(place / k_map_types + 1);
    const long j = (i % k_delays_per_place * 389) % k_delays_per_place;  // scattered order
    if (j == 0) {
      root->add_micro_node_delay(1, TCO_DELAY, outer, inner);
      root->get_node(outer, inner)->set_description("place");
    } else if (j < 500) {
      root->add_integer_node_delay(static_cast<int>(j), TCO_DELAY, static_cast<int>(j), outer,
                                   inner);
    } else if (j < 750) {
      root->add_rc_float(static_cast<double>(j) + 0.5, static_cast<CDB_RE_TYPE>(j - 500), RC_FALL,
                         RC_RISE, outer, inner);
    } else {
      const long t = j - 750;
      root->add_table_node_delay(static_cast<int>(j), static_cast<DTM_ENUM>(INDEX_0 + t % 37),
                                 static_cast<DTM_ENUM>(INDEX_0 + t / 37), outer, inner);
    }
  }
  return root;
}

class MODELS {
 public:
  ~MODELS() {
    for (auto& [count, root] : m_roots) {
      MEM_MANAGER::delete_wrapper(root);
    }
  }
  const DTM_NODE* get(long delays) {
    DTM_NODE*& root = m_roots[delays];
    if (root == nullptr) {
      root = make_model(delays);
    }
    return root;
  }

 private:
  std::map<long, DTM_NODE*> m_roots;
};

MODELS& models() {
  static MODELS instance;
  return instance;
}

// Counts what it is given and keeps nothing.
class NULL_BUFFER final : public std::streambuf {
 public:
  std::size_t m_bytes = 0;

 protected:
  int_type overflow(int_type c) override {
    ++m_bytes;
    return traits_type::not_eof(c);
  }
  std::streamsize xsputn(const char*, std::streamsize count) override {
    m_bytes += static_cast<std::size_t>(count);
    return count;
  }
};

void BM_write_dmf(benchmark::State& state) {
  const long delays = state.range(0);
  const DTM_NODE* model = models().get(delays);
  NULL_BUFFER buffer;
  std::ostream out(&buffer);
  MSG_CAPTURE capture;
  for (auto _ : state) {
    const DTM_EXPORT::DTM_EXPORT_COUNTS counts = DTM_EXPORT::write_dmf(model, out);
    benchmark::DoNotOptimize(counts);
  }
  if (capture.get_count() != 0) {
    state.SkipWithError("the export reported");
  }
  state.counters["ns_per_delay"] =
      benchmark::Counter(static_cast<double>(delays) * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["bytes_per_delay"] =
      static_cast<double>(buffer.m_bytes) / static_cast<double>(state.iterations() * delays);
}
BENCHMARK(BM_write_dmf)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
