// Delay queries on a timing model of about 1,000,000 delays: 1,024 places on
// three-level paths (speed grade / block / part), each holding seven typed
// leaves. Time per get_*_delay for hits drawn at random over the whole model
// (every lookup misses the caches), over the places of one block and at one
// place; for misses (absent key, absent level); per add while the model is
// built; and the build of the query index that answers the gets.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "dtm_node.h"
#include "dtm_query_index.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

constexpr int k_grades = 4;
constexpr int k_blocks = 16;
constexpr int k_parts = 16;
constexpr int k_places = k_grades * k_blocks * k_parts;

struct PLACE {
  DTM_NODE_ENUM m_p0, m_p1, m_p2;
};

PLACE place_of(int index) {
  static const DTM_NODE_ENUM grades[k_grades] = {DTM_MAP_DEVICE, DTM_MAP_SPEED_GRADE_1,
                                                 DTM_MAP_SPEED_GRADE_2, DTM_MAP_SPEED_GRADE_3};
  return {grades[index / (k_blocks * k_parts)],
          static_cast<DTM_NODE_ENUM>(1 + (index / k_parts) % k_blocks),  // blocks: 1 to 16
          static_cast<DTM_NODE_ENUM>(17 + index % k_parts)};             // parts: 17 to 32
}

// One query: a place and up to three keys, all as integers.
struct QUERY {
  PLACE m_place;
  int m_k1, m_k2, m_k3;
};

// The keys stored per place, by kind: (k1, k2, k3) for every counter value.
struct KIND {
  const char* m_name;
  int m_count;  // entries per place
  QUERY (*m_key)(int n);
  void (*m_add)(DTM_NODE& root, const QUERY& q, int value);
  double (*m_get)(const DTM_NODE& root, const QUERY& q);
};

DTM_ENUM row(int i) { return static_cast<DTM_ENUM>(ROW_0 + i); }
DTM_ENUM col(int i) { return static_cast<DTM_ENUM>(COL_0 + i); }

const KIND k_kinds[] = {
    {"table", 256,
     [](int n) {
       return QUERY{{}, n / 16, n % 16, 0};
     },
     [](DTM_NODE& r, const QUERY& q, int v) {
       r.add_table_node_delay(v, row(q.m_k1), col(q.m_k2), q.m_place.m_p0, q.m_place.m_p1,
                              q.m_place.m_p2);
     },
     [](const DTM_NODE& r, const QUERY& q) -> double {
       return r.get_table_node_delay(row(q.m_k1), col(q.m_k2), q.m_place.m_p0, q.m_place.m_p1,
                                     q.m_place.m_p2);
     }},
    {"re_table", 128,
     [](int n) {
       return QUERY{{}, n / 16, (n / 2) % 8, n % 2};
     },
     [](DTM_NODE& r, const QUERY& q, int v) {
       r.add_re_table_node_delay(v, CDB_RE_TYPE(q.m_k1), CDB_RE_TYPE(q.m_k2),
                                 q.m_k3 != 0 ? MIN_DELAY : DTM_NONE, q.m_place.m_p0, q.m_place.m_p1,
                                 q.m_place.m_p2);
     },
     [](const DTM_NODE& r, const QUERY& q) -> double {
       return r.get_re_table_node_delay(CDB_RE_TYPE(q.m_k1), CDB_RE_TYPE(q.m_k2),
                                        q.m_k3 != 0 ? MIN_DELAY : DTM_NONE, q.m_place.m_p0,
                                        q.m_place.m_p1, q.m_place.m_p2);
     }},
    {"p2p", 256,
     [](int n) {
       return QUERY{{}, n / 16, n % 16, 0};
     },
     [](DTM_NODE& r, const QUERY& q, int v) {
       r.add_p2p_node_delay(v, DB_INPUT_PORT_TYPE(q.m_k1), DB_OUTPUT_PORT_TYPE(q.m_k2), DTM_NONE,
                            q.m_place.m_p0, q.m_place.m_p1, q.m_place.m_p2);
     },
     [](const DTM_NODE& r, const QUERY& q) -> double {
       return r.get_p2p_node_delay(DB_INPUT_PORT_TYPE(q.m_k1), DB_OUTPUT_PORT_TYPE(q.m_k2),
                                   DTM_NONE, q.m_place.m_p0, q.m_place.m_p1, q.m_place.m_p2);
     }},
    {"micro", 64,
     [](int n) {
       return QUERY{{}, 1 + n, 0, 0};
     },
     [](DTM_NODE& r, const QUERY& q, int v) {
       r.add_micro_node_delay(v, DTM_ENUM(q.m_k1), q.m_place.m_p0, q.m_place.m_p1, q.m_place.m_p2);
     },
     [](const DTM_NODE& r, const QUERY& q) -> double {
       return r.get_micro_node_delay(DTM_ENUM(q.m_k1), q.m_place.m_p0, q.m_place.m_p1,
                                     q.m_place.m_p2);
     }},
    {"ff", 128,
     [](int n) {
       return QUERY{{}, n / 8, 1 + n % 8, 0};
     },
     [](DTM_NODE& r, const QUERY& q, int v) {
       r.add_ff_node_delay(v, DB_BURIED_PORT_TYPE(q.m_k1), DTM_ENUM(q.m_k2), q.m_place.m_p0,
                           q.m_place.m_p1, q.m_place.m_p2);
     },
     [](const DTM_NODE& r, const QUERY& q) -> double {
       return r.get_ff_node_delay(DB_BURIED_PORT_TYPE(q.m_k1), DTM_ENUM(q.m_k2), q.m_place.m_p0,
                                  q.m_place.m_p1, q.m_place.m_p2);
     }},
    {"rc", 32,
     [](int n) {
       return QUERY{{}, n / 4, (n / 2) % 2, n % 2};
     },
     [](DTM_NODE& r, const QUERY& q, int v) {
       r.add_rc_float(v * 0.5, CDB_RE_TYPE(q.m_k1), q.m_k2 != 0 ? RC_CAPACITANCE : RC_RESISTANCE,
                      q.m_k3 != 0 ? RC_FALL : RC_RISE, q.m_place.m_p0, q.m_place.m_p1,
                      q.m_place.m_p2);
     },
     [](const DTM_NODE& r, const QUERY& q) -> double {
       return r.get_rc_float(CDB_RE_TYPE(q.m_k1), q.m_k2 != 0 ? RC_CAPACITANCE : RC_RESISTANCE,
                             q.m_k3 != 0 ? RC_FALL : RC_RISE, q.m_place.m_p0, q.m_place.m_p1,
                             q.m_place.m_p2);
     }},
    {"integer", 128,
     [](int n) {
       return QUERY{{}, 1 + n / 16, n % 16, 0};
     },
     [](DTM_NODE& r, const QUERY& q, int v) {
       r.add_integer_node_delay(v, DTM_ENUM(q.m_k1), q.m_k2, q.m_place.m_p0, q.m_place.m_p1,
                                q.m_place.m_p2);
     },
     [](const DTM_NODE& r, const QUERY& q) -> double {
       return r.get_integer_node_delay(DTM_ENUM(q.m_k1), q.m_k2, q.m_place.m_p0, q.m_place.m_p1,
                                       q.m_place.m_p2);
     }},
};
constexpr int k_kind_count = sizeof(k_kinds) / sizeof(k_kinds[0]);

// The model, built once: every kind at every place, places in random order
// so that neighbouring places do not share memory by accident.
struct MODEL {
  DTM_NODE* m_root = nullptr;
  std::size_t m_delays = 0;
};

void add_all(DTM_NODE& root, std::size_t& delays) {
  std::vector<int> order(k_places);
  for (int i = 0; i < k_places; ++i) {
    order[i] = i;
  }
  std::shuffle(order.begin(), order.end(), std::mt19937(7));
  for (const int place : order) {
    for (const KIND& kind : k_kinds) {
      for (int n = 0; n < kind.m_count; ++n) {
        QUERY q = kind.m_key(n);
        q.m_place = place_of(place);
        kind.m_add(root, q, 1 + n);
        ++delays;
      }
    }
  }
}

const MODEL& model() {
  static const MODEL built = [] {
    MODEL m;
    m.m_root = new DTM_NODE(DTM_ROOT, true);
    add_all(*m.m_root, m.m_delays);
    return m;
  }();
  return built;
}

constexpr std::size_t k_queries = 1U << 16;

// Random hits of one kind over the whole model.
std::vector<QUERY> hits(const KIND& kind, int places, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<QUERY> queries(k_queries);
  for (QUERY& q : queries) {
    q = kind.m_key(static_cast<int>(random() % static_cast<unsigned>(kind.m_count)));
    q.m_place = place_of(static_cast<int>(random() % static_cast<unsigned>(places)));
  }
  return queries;
}

void run_queries(benchmark::State& state, const KIND& kind, const std::vector<QUERY>& queries,
                 bool expect_hits) {
  const DTM_NODE& root = *model().m_root;
  for (const QUERY& q : queries) {
    const double v = kind.m_get(root, q);
    const bool hit = v != DTM_ILLEGAL_DELAY && v != DTM_ILLEGAL_FLOAT && v != -2147483647.0;
    if (hit != expect_hits) {
      state.SkipWithError(expect_hits ? "a hit query missed" : "a miss query hit");
      return;
    }
  }
  std::size_t i = 0;
  double sum = 0;
  for (auto _ : state) {
    sum += kind.m_get(root, queries[i++ & (k_queries - 1)]);
  }
  benchmark::DoNotOptimize(sum);
  state.counters["delays"] = static_cast<double>(model().m_delays);
}

void BM_get_hit(benchmark::State& state) {
  const KIND& kind = k_kinds[state.range(0)];
  state.SetLabel(kind.m_name);
  run_queries(state, kind, hits(kind, k_places, 11), true);
}

// All queries at one place: the path walk and the lookup with warm caches.
void BM_get_hit_one_place(benchmark::State& state) {
  const KIND& kind = k_kinds[state.range(0)];
  state.SetLabel(kind.m_name);
  run_queries(state, kind, hits(kind, 1, 13), true);
}

// Queries spread over the sixteen places of one block: a working set of
// about 16,000 delays per kind.
void BM_get_hit_one_block(benchmark::State& state) {
  const KIND& kind = k_kinds[state.range(0)];
  state.SetLabel(kind.m_name);
  run_queries(state, kind, hits(kind, k_parts, 23), true);
}

// The place exists, the key does not.
void BM_get_miss_key(benchmark::State& state) {
  const KIND& kind = k_kinds[state.range(0)];
  state.SetLabel(kind.m_name);
  std::vector<QUERY> queries = hits(kind, k_places, 17);
  for (QUERY& q : queries) {
    q.m_k1 += 1000;
  }
  run_queries(state, kind, queries, false);
}

// The last level of the path does not exist.
void BM_get_miss_path(benchmark::State& state) {
  const KIND& kind = k_kinds[state.range(0)];
  state.SetLabel(kind.m_name);
  std::vector<QUERY> queries = hits(kind, k_places, 19);
  for (QUERY& q : queries) {
    q.m_place.m_p2 = DTM_MAP_JTAG;
  }
  run_queries(state, kind, queries, false);
}

void kinds(benchmark::internal::Benchmark* b) {
  for (int i = 0; i < k_kind_count; ++i) {
    b->Arg(i);
  }
  b->Repetitions(5)->ReportAggregatesOnly(true);
}

BENCHMARK(BM_get_hit)->Apply(kinds);
BENCHMARK(BM_get_hit_one_place)->Apply(kinds);
BENCHMARK(BM_get_hit_one_block)->Apply(kinds);
BENCHMARK(BM_get_miss_key)->Apply(kinds);
BENCHMARK(BM_get_miss_path)->Apply(kinds);

// Building the whole model through the add entry points, then freeing it.
void BM_build(benchmark::State& state) {
  std::size_t delays = 0;
  const std::size_t before = MEM_MANAGER::get_counters().m_live_objects;
  for (auto _ : state) {
    DTM_NODE root(DTM_ROOT, true);
    delays = 0;
    add_all(root, delays);
    state.PauseTiming();
    state.counters["objects_per_delay"] =
        static_cast<double>(MEM_MANAGER::get_counters().m_live_objects - before) /
        static_cast<double>(delays);
    state.ResumeTiming();
  }
  state.counters["ns_per_add"] =
      benchmark::Counter(static_cast<double>(delays) * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_build)->Unit(benchmark::kMillisecond)->Iterations(3);

// Building the query index of the whole model (what the first gets after a
// change pay once enough walks have run), and its size.
void BM_build_query_index(benchmark::State& state) {
  const DTM_NODE& root = *model().m_root;
  const DTM_QUERY_INDEX* index = nullptr;
  for (auto _ : state) {
    index = root.build_query_index();
  }
  state.counters["ns_per_delay"] = benchmark::Counter(
      static_cast<double>(model().m_delays) * static_cast<double>(state.iterations()),
      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["bytes_per_delay"] =
      static_cast<double>(index->get_bytes()) / static_cast<double>(model().m_delays);
  state.counters["entries"] = static_cast<double>(index->get_entry_count());
}
BENCHMARK(BM_build_query_index)->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace

BENCHMARK_MAIN();
