// Side by side: the same delays kept as DMF and read into a timing model, or
// kept as JSON and read with simdjson's On-Demand API into a reserved
// std::unordered_map<std::string, double>. One run measures, for N = 100,000
// and 1,000,000 generated delays (bench/gen_dmf): the raw floor (read the
// file, count its lines), the JSON load, our build, peak heap per delay on
// both sides, random cold lookups (hash map by key string; ours by
// enumeration path and by strings, hits and misses), and the whole
// `dtmtool build` process. Before timing, every delay of the JSON is looked up in
// the built model and must answer the JSON's value. At the end a table gives
// each figure with its ratio to the JSON alternative and to the floor.
//
// Heap is measured by the same meter on both sides: this program replaces the
// global operator new/delete and counts the usable size of every live block.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <simdjson.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "dtm_gen.h"
#include "dtm_node.h"
#include "dtm_string.h"
#include "dtm_tcl_report.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"
#include "pdb_sys.h"

// ---- The heap meter ----
namespace {
std::size_t g_heap_live = 0;
std::size_t g_heap_peak = 0;

void* counted(void* block) {
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  g_heap_live += malloc_usable_size(block);
  g_heap_peak = std::max(g_heap_peak, g_heap_live);
  return block;
}
void uncounted(void* block) noexcept {
  if (block != nullptr) {
    g_heap_live -= malloc_usable_size(block);
    std::free(block);
  }
}
void* aligned(std::size_t bytes, std::align_val_t align) {
  const std::size_t a = std::max(static_cast<std::size_t>(align), sizeof(void*));
  void* block = nullptr;
  if (posix_memalign(&block, a, bytes == 0 ? 1 : bytes) != 0) {
    block = nullptr;
  }
  return counted(block);
}
void reset_heap_peak() { g_heap_peak = g_heap_live; }
}  // namespace

void* operator new(std::size_t bytes) { return counted(std::malloc(bytes == 0 ? 1 : bytes)); }
void* operator new[](std::size_t bytes) { return counted(std::malloc(bytes == 0 ? 1 : bytes)); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  try {
    return operator new(bytes);
  } catch (...) {
    return nullptr;
  }
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
  try {
    return operator new(bytes);
  } catch (...) {
    return nullptr;
  }
}
void* operator new(std::size_t bytes, std::align_val_t a) { return aligned(bytes, a); }
void* operator new[](std::size_t bytes, std::align_val_t a) { return aligned(bytes, a); }
void operator delete(void* block) noexcept { uncounted(block); }
void operator delete[](void* block) noexcept { uncounted(block); }
void operator delete(void* block, std::size_t) noexcept { uncounted(block); }
void operator delete[](void* block, std::size_t) noexcept { uncounted(block); }
void operator delete(void* block, std::align_val_t) noexcept { uncounted(block); }
void operator delete[](void* block, std::align_val_t) noexcept { uncounted(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { uncounted(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { uncounted(block); }

namespace {

// ---- The data ----
std::string generated_file(long delays) {
  const std::string file = "/tmp/kestrel-side-" + std::to_string(delays) + ".dmf";
  std::FILE* dmf = std::fopen(file.c_str(), "r");
  std::FILE* json = std::fopen((file + ".json").c_str(), "r");
  const bool present = dmf != nullptr && json != nullptr;
  if (dmf != nullptr) std::fclose(dmf);
  if (json != nullptr) std::fclose(json);
  if (!present) {
    const std::string command =
        std::string(KESTREL_GEN_DMF) + " " + std::to_string(delays) + " " + file + " 1";
    if (std::system(command.c_str()) != 0) {
      std::fprintf(stderr, "cannot generate %s\n", file.c_str());
      std::exit(1);
    }
  }
  return file;
}

// The hash-map key of a delay: its path, type and keys joined.
template <typename PARTS>
void append_key(std::string& key, const PARTS& path, std::string_view type, const PARTS& keys) {
  for (const auto& map : path) {
    key.append(map).push_back('/');
  }
  key.append(type);
  for (const auto& k : keys) {
    key.push_back('|');
    key.append(k);
  }
}

struct DELAY {
  std::vector<std::string> m_path;
  std::string m_type;
  std::vector<std::string> m_keys;
  double m_value = 0;
};

std::vector<DELAY> read_delays(const std::string& json_file) {
  std::vector<DELAY> delays;
  simdjson::ondemand::parser parser;
  simdjson::padded_string text = simdjson::padded_string::load(json_file);
  simdjson::ondemand::document doc = parser.iterate(text);
  for (simdjson::ondemand::object delay : doc["delays"]) {
    DELAY d;
    for (std::string_view map : delay["path"]) d.m_path.emplace_back(map);
    d.m_type = std::string_view(delay["type"]);
    for (std::string_view key : delay["keys"]) d.m_keys.emplace_back(key);
    d.m_value = double(delay["value"]);
    delays.push_back(std::move(d));
  }
  return delays;
}

// ---- Our side: a delay as enumerations, asked by the typed lookups ----
struct ENUM_QUERY {
  DTM_NODE_ENUM m_type = DTM_NODE_NONE;
  int m_k[3] = {0, 0, 0};
  bool m_buried_dst = false;
  DTM_NODE_ENUM m_path[DTM_PATH_LENGTH] = {};
};

ENUM_QUERY to_enums(const DELAY& d) {
  ENUM_QUERY q;
  q.m_type = DTM_STRING::get_dtm_node_enum(d.m_type.c_str());
  for (std::size_t i = 0; i < d.m_path.size() && i < DTM_PATH_LENGTH; ++i) {
    q.m_path[i] = DTM_STRING::get_dtm_node_enum(d.m_path[i].c_str());
  }
  const auto key = [&](std::size_t i) {
    return i < d.m_keys.size() ? d.m_keys[i].c_str() : "DTM_NONE";
  };
  const auto kind = [&](std::size_t i) {
    return static_cast<int>(DTM_STRING::get_dtm_enum(key(i)));
  };
  const auto re = [&](std::size_t i) {
    return static_cast<int>(DTM_STRING::get_cdb_re_type_enum(key(i)));
  };
  switch (q.m_type) {
    case DTM_P2P:
      q.m_k[0] = DTM_STRING::get_db_input_port_type_enum(key(0));
      q.m_k[1] = DTM_STRING::get_db_output_port_type_enum(key(1));
      if (q.m_k[1] == DB_MAX_OUTPUT_PORT_TYPE) {
        q.m_buried_dst = true;
        q.m_k[1] = DTM_STRING::get_db_buried_port_type_enum(key(1));
      }
      q.m_k[2] = kind(2);
      break;
    case DTM_MICRO:
      q.m_k[0] = kind(0);
      break;
    case DTM_TABLE:
    case DTM_FLOAT_TABLE:
      q.m_k[0] = kind(0);
      q.m_k[1] = kind(1);
      break;
    case DTM_RE_TABLE:
      q.m_k[0] = re(0);
      q.m_k[1] = re(1);
      q.m_k[2] = kind(2);
      break;
    case DTM_RC:
      q.m_k[0] = re(0);
      q.m_k[1] = kind(1);
      q.m_k[2] = kind(2);
      break;
    case DTM_RE:
      q.m_k[0] = re(0);
      break;
    case DTM_FF:
      q.m_k[0] = DTM_STRING::get_db_buried_port_type_enum(key(0));
      q.m_k[1] = kind(1);
      break;
    case DTM_OUTPUT_PORT_RE:
      q.m_k[0] = DTM_STRING::get_db_output_port_type_enum(key(0));
      q.m_k[1] = re(1);
      break;
    case DTM_RE_INPUT_PORT:
      q.m_k[0] = re(0);
      q.m_k[1] = DTM_STRING::get_db_input_port_type_enum(key(1));
      break;
    case DTM_INTEGER:
      q.m_k[0] = kind(0);
      q.m_k[1] = static_cast<int>(std::strtol(key(1), nullptr, 10));
      break;
    default:
      break;
  }
  return q;
}

double query_enums(const DTM_NODE* root, const ENUM_QUERY& q) {
  const auto e = [&](int i) { return static_cast<DTM_ENUM>(q.m_k[i]); };
  const auto r = [&](int i) { return static_cast<CDB_RE_TYPE>(q.m_k[i]); };
#define PATH_ARGS DTM_PATH_SPREAD(q.m_path)
  switch (q.m_type) {
    case DTM_P2P:
      return q.m_buried_dst ? root->get_p2p_node_delay(static_cast<DB_INPUT_PORT_TYPE>(q.m_k[0]),
                                                       static_cast<DB_BURIED_PORT_TYPE>(q.m_k[1]),
                                                       e(2), PATH_ARGS)
                            : root->get_p2p_node_delay(static_cast<DB_INPUT_PORT_TYPE>(q.m_k[0]),
                                                       static_cast<DB_OUTPUT_PORT_TYPE>(q.m_k[1]),
                                                       e(2), PATH_ARGS);
    case DTM_MICRO:
      return root->get_micro_node_delay(e(0), PATH_ARGS);
    case DTM_TABLE:
      return root->get_table_node_delay(e(0), e(1), PATH_ARGS);
    case DTM_FLOAT_TABLE:
      return root->get_float_table_node_delay(e(0), e(1), PATH_ARGS);
    case DTM_RE_TABLE:
      return root->get_re_table_node_delay(r(0), r(1), e(2), PATH_ARGS);
    case DTM_RC:
      return root->get_rc_float(r(0), e(1), e(2), PATH_ARGS);
    case DTM_RE:
      return root->get_re_node_delay(r(0), PATH_ARGS);
    case DTM_FF:
      return root->get_ff_node_delay(static_cast<DB_BURIED_PORT_TYPE>(q.m_k[0]), e(1), PATH_ARGS);
    case DTM_OUTPUT_PORT_RE:
      return root->get_port_re_node_delay(static_cast<DB_OUTPUT_PORT_TYPE>(q.m_k[0]), r(1),
                                          PATH_ARGS);
    case DTM_RE_INPUT_PORT:
      return root->get_re_port_node_delay(r(0), static_cast<DB_INPUT_PORT_TYPE>(q.m_k[1]),
                                          PATH_ARGS);
    case DTM_INTEGER:
      return root->get_integer_node_delay(e(0), q.m_k[1], PATH_ARGS);
    default:
      return DTM_ILLEGAL_DELAY;
  }
#undef PATH_ARGS
}

// The string query of a delay, when the string interface serves its type
// (point-to-point delays only without a condition; no integer delays).
bool string_query(const DELAY& d, std::vector<std::string>& words, bool& is_float) {
  const bool conditioned_p2p = d.m_type == "DTM_P2P" && d.m_keys.size() > 2;
  if (d.m_type == "DTM_INTEGER" || conditioned_p2p) {
    return false;
  }
  is_float = d.m_type == "DTM_RC" || d.m_type == "DTM_FLOAT_TABLE";
  words.clear();
  words.push_back(d.m_type);
  for (const std::string& key : d.m_keys) {
    words.push_back(key);
  }
  words.insert(words.end(), d.m_path.begin(), d.m_path.end());
  return true;
}

bool same_value(double ours, double theirs) {
  return std::fabs(ours - theirs) <= 1e-6 * std::max(1.0, std::fabs(theirs));
}

// A word the tables do not hold: every query with it misses.
const char k_absent[] = "NO_SUCH_NAME";

// Everything the lookups need for one N, made once.
struct FIXTURE {
  explicit FIXTURE(long n) : m_file(generated_file(n)) {
    m_delays = read_delays(m_file + ".json");
    {
      MSG_CAPTURE capture;
      m_model.reset(DTM_FACTORY().build_nodes(m_file.c_str(), false, false));
      if (capture.get_count() != 0) {
        std::fprintf(stderr, "%s: the build reported %s\n", m_file.c_str(),
                     capture.get_texts()[0].c_str());
        std::exit(1);
      }
    }
    // Every delay of the JSON must be in the model with the same value.
    std::size_t wrong = 0;
    std::vector<std::string> words;
    DTM_TCL_REPORT report;
    for (const DELAY& d : m_delays) {
      if (!same_value(query_enums(m_model.get(), to_enums(d)), d.m_value)) {
        if (wrong++ < 5)
          std::fprintf(stderr, "enum query differs: %s %s\n", d.m_type.c_str(),
                       d.m_keys[0].c_str());
      }
      bool is_float = false;
      if (string_query(d, words, is_float)) {
        DTM_STRING::STRINGS pointers;
        for (std::string& w : words) pointers.push_back(&w);
        const double ours = is_float ? DTM_STRING::get_float(&pointers, m_model.get(), &report)
                                     : DTM_STRING::get_delay(&pointers, m_model.get(), &report);
        if (!same_value(ours, d.m_value) && wrong++ < 5) {
          std::fprintf(stderr, "string query differs: %s %s\n", d.m_type.c_str(),
                       d.m_keys[0].c_str());
        }
      }
    }
    if (wrong != 0) {
      std::fprintf(stderr, "%s: %zu delays differ between the model and the JSON\n", m_file.c_str(),
                   wrong);
      std::exit(1);
    }
    // The same random sample on every side.
    std::mt19937 random(11u);
    for (std::size_t q = 0; q < k_queries; ++q) {
      const DELAY& d = m_delays[random() % m_delays.size()];
      std::string key;
      append_key(key, d.m_path, d.m_type, d.m_keys);
      m_keys.push_back(key);
      m_missing_keys.push_back(key + k_absent);
      m_enum_hits.push_back(to_enums(d));
      m_hit_values.push_back(d.m_value);
      ENUM_QUERY miss = m_enum_hits.back();
      miss.m_k[0] = miss.m_type == DTM_FF ? DB_BURIED_REG_CLK : miss.m_k[0] ^ 1;  // a neighbour
      m_enum_misses.push_back(miss);
      bool is_float = false;
      if (string_query(d, words, is_float)) {
        m_words.push_back(words);
        m_words_float.push_back(is_float);
      }
    }
    for (auto& w : m_words) {
      DTM_STRING::STRINGS pointers;
      for (std::string& word : w) pointers.push_back(&word);
      m_word_pointers.push_back(pointers);
    }
    for (std::vector<std::string> w : m_words) {  // the same queries, one key unknown
      w[1] = k_absent;
      m_missing_words.push_back(w);
    }
    for (auto& w : m_missing_words) {
      DTM_STRING::STRINGS pointers;
      for (std::string& word : w) pointers.push_back(&word);
      m_missing_pointers.push_back(pointers);
    }
    // The JSON side's map, as its load leaves it.
    m_map.reserve(m_delays.size());
    for (const DELAY& d : m_delays) {
      std::string key;
      append_key(key, d.m_path, d.m_type, d.m_keys);
      m_map.emplace(std::move(key), d.m_value);
    }
  }
  static constexpr std::size_t k_queries = 1 << 16;
  std::string m_file;
  std::vector<DELAY> m_delays;
  std::unique_ptr<DTM_NODE> m_model;
  std::unordered_map<std::string, double> m_map;
  std::vector<std::string> m_keys, m_missing_keys;
  std::vector<ENUM_QUERY> m_enum_hits, m_enum_misses;
  std::vector<double> m_hit_values;
  std::vector<std::vector<std::string>> m_words, m_missing_words;
  std::vector<bool> m_words_float;
  std::vector<DTM_STRING::STRINGS> m_word_pointers, m_missing_pointers;
};

// Both sizes stay built: the lookups alternate between them.
FIXTURE& fixture(long n) {
  static std::map<long, std::unique_ptr<FIXTURE>> fixtures;
  std::unique_ptr<FIXTURE>& f = fixtures[n];
  if (!f) {
    f = std::make_unique<FIXTURE>(n);
  }
  return *f;
}

void per_delay(benchmark::State& state, const char* name, double delays) {
  state.counters[name] =
      benchmark::Counter(delays * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// ---- The floor ----
void read_and_count(benchmark::State& state, const std::string& file) {
  std::vector<char> buffer(1 << 20);
  for (auto _ : state) {
    std::FILE* in = std::fopen(file.c_str(), "rb");
    std::size_t lines = 0;
    std::size_t got = 0;
    while ((got = std::fread(buffer.data(), 1, buffer.size(), in)) > 0) {
      for (const char* p = buffer.data();
           (p = static_cast<const char*>(std::memchr(p, '\n', buffer.data() + got - p))) != nullptr;
           ++p) {
        ++lines;
      }
    }
    std::fclose(in);
    benchmark::DoNotOptimize(lines);
  }
  per_delay(state, "ns_per_delay", static_cast<double>(state.range(0)));
}
void BM_floor_dmf(benchmark::State& state) {
  read_and_count(state, generated_file(state.range(0)));
}
void BM_floor_json(benchmark::State& state) {
  read_and_count(state, generated_file(state.range(0)) + ".json");
}

// ---- Loads ----
void BM_json_load(benchmark::State& state) {
  const long n = state.range(0);
  const std::string file = generated_file(n) + ".json";
  std::size_t peak = 0;
  std::size_t count = 0;
  for (auto _ : state) {
    const std::size_t before = g_heap_live;
    reset_heap_peak();
    {
      std::unordered_map<std::string, double> map;
      map.reserve(static_cast<std::size_t>(n));
      simdjson::ondemand::parser parser;
      simdjson::padded_string text = simdjson::padded_string::load(file);
      simdjson::ondemand::document doc = parser.iterate(text);
      std::string key;
      for (simdjson::ondemand::object delay : doc["delays"]) {
        key.clear();
        // Fields in document order; the views stay valid until the next string.
        for (std::string_view map_name : delay["path"]) key.append(map_name).push_back('/');
        key.append(std::string_view(delay["type"]));
        for (std::string_view k : delay["keys"]) key.append("|").append(k);
        map.emplace(key, double(delay["value"]));
      }
      count = map.size();
      peak = g_heap_peak - before;
      benchmark::DoNotOptimize(map);
    }
  }
  if (count != static_cast<std::size_t>(n)) {
    state.SkipWithError("the JSON does not hold N delays");
  }
  per_delay(state, "ns_per_delay", static_cast<double>(n));
  state.counters["heap_peak_per_delay"] = static_cast<double>(peak) / static_cast<double>(n);
}

void BM_dmf_build(benchmark::State& state) {
  const long n = state.range(0);
  const std::string file = generated_file(n);
  const DTM_FACTORY factory;
  MSG_CAPTURE quiet;
  std::size_t heap_peak = 0;
  std::size_t mem_peak = 0;
  std::size_t model_bytes = 0;
  for (auto _ : state) {
    const std::size_t before = g_heap_live;
    const std::size_t mem_before = MEM_MANAGER::get_counters().m_live_bytes;
    reset_heap_peak();
    MEM_MANAGER::reset_peak();
    DTM_NODE* model = factory.build_nodes(file.c_str(), false, false);
    heap_peak = g_heap_peak - before;
    mem_peak = MEM_MANAGER::get_counters().m_peak_bytes - mem_before;
    model_bytes = MEM_MANAGER::get_counters().m_live_bytes - mem_before;
    benchmark::DoNotOptimize(model);
    MEM_MANAGER::delete_wrapper(model);
  }
  if (quiet.get_count() != 0) {
    state.SkipWithError("the generated file gave reports");
  }
  per_delay(state, "ns_per_delay", static_cast<double>(n));
  state.counters["heap_peak_per_delay"] = static_cast<double>(heap_peak) / static_cast<double>(n);
  state.counters["mem_peak_per_delay"] = static_cast<double>(mem_peak) / static_cast<double>(n);
  state.counters["model_per_delay"] = static_cast<double>(model_bytes) / static_cast<double>(n);
}

// ---- The model as a .ddb database ----
// The archive of the N-delay model: /tmp/kestrel-side-N.ddb.
PDB_ARCHIVE& archive(long n) {
  static std::map<long, std::unique_ptr<PDB_ARCHIVE>> archives;
  std::unique_ptr<PDB_ARCHIVE>& a = archives[n];
  if (!a) {
    a = std::make_unique<PDB_ARCHIVE>();
    a->open("/tmp/kestrel-side-" + std::to_string(n));
  }
  return *a;
}

void BM_ddb_save(benchmark::State& state) {
  FIXTURE& f = fixture(state.range(0));
  for (auto _ : state) {
    if (!pdb_write_(f.m_model.get(), archive(state.range(0)), "")) {
      state.SkipWithError("the save failed");
      break;
    }
  }
  per_delay(state, "ns_per_delay", static_cast<double>(state.range(0)));
}

void BM_ddb_load(benchmark::State& state) {
  FIXTURE& f = fixture(state.range(0));
  PDB_ARCHIVE& a = archive(state.range(0));
  if (!pdb_write_(f.m_model.get(), a, "")) {
    state.SkipWithError("the save failed");
    return;
  }
  bool right = true;
  for (auto _ : state) {
    DTM_NODE* model = nullptr;
    pdb_read_<PDB_ARCHIVE, DTM_NODE>(model, a, "");
    state.PauseTiming();
    // The loaded model answers the sample as the built one does.
    right = right && model != nullptr;
    for (std::size_t q = 0; right && q < f.m_enum_hits.size(); q += 64) {
      right = same_value(query_enums(model, f.m_enum_hits[q]), f.m_hit_values[q]);
    }
    MEM_MANAGER::delete_wrapper(model);
    state.ResumeTiming();
  }
  if (!right) {
    state.SkipWithError("the loaded model differs");
  }
  per_delay(state, "ns_per_delay", static_cast<double>(state.range(0)));
}

// The phases of the build, each timed alone on the lines of the file.
enum class PHASE { READ, CHECK, CONVERT, FREE, DELETE_MODEL };
void build_phase(benchmark::State& state, PHASE phase) {
  const long n = state.range(0);
  const std::string file = generated_file(n);
  const DTM_FACTORY factory;
  MSG_CAPTURE quiet;
  for (auto _ : state) {
    if (phase != PHASE::READ) state.PauseTiming();
    DTM_LINE_NODE* lines = factory.parse_file(file.c_str());
    if (phase != PHASE::READ) state.ResumeTiming();
    if (phase == PHASE::CHECK) benchmark::DoNotOptimize(factory.check_legality(lines));
    DTM_NODE* model = nullptr;
    if (phase == PHASE::CONVERT || phase == PHASE::DELETE_MODEL) {
      if (phase == PHASE::DELETE_MODEL) state.PauseTiming();
      model = factory.convert(lines, nullptr);
      if (phase == PHASE::DELETE_MODEL) state.ResumeTiming();
    }
    if (phase != PHASE::FREE) state.PauseTiming();
    DTM_LINE_NODE::delete_list(lines);
    if (phase != PHASE::FREE) state.ResumeTiming();
    if (phase != PHASE::DELETE_MODEL) state.PauseTiming();
    MEM_MANAGER::delete_wrapper(model);
    if (phase != PHASE::DELETE_MODEL) state.ResumeTiming();
  }
  if (quiet.get_count() != 0) {
    state.SkipWithError("the generated file gave reports");
  }
  per_delay(state, "ns_per_delay", static_cast<double>(n));
}
void BM_phase_read(benchmark::State& state) { build_phase(state, PHASE::READ); }
void BM_phase_check(benchmark::State& state) { build_phase(state, PHASE::CHECK); }
void BM_phase_convert(benchmark::State& state) { build_phase(state, PHASE::CONVERT); }
void BM_phase_free_lines(benchmark::State& state) { build_phase(state, PHASE::FREE); }
void BM_phase_delete_model(benchmark::State& state) { build_phase(state, PHASE::DELETE_MODEL); }

// The whole command-line build: `dtmtool build` reads, checks, converts and
// saves the model as a .ddb file.
void BM_process_build(benchmark::State& state) {
  const std::string file = generated_file(state.range(0));
  const std::string command =
      std::string(KESTREL_DTMTOOL) + " build " + file + " -o " + file + ".process.ddb > /dev/null";
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError("dtmtool build failed");
      break;
    }
  }
  per_delay(state, "ns_per_delay", static_cast<double>(state.range(0)));
}

// ---- Lookups: random keys of the model, cold (the sample spans the model) ----
void BM_json_find(benchmark::State& state) {
  FIXTURE& f = fixture(state.range(0));
  std::size_t q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(f.m_map.find(f.m_keys[q])->second);
    q = (q + 1) % f.m_keys.size();
  }
}
void BM_json_find_miss(benchmark::State& state) {
  FIXTURE& f = fixture(state.range(0));
  std::size_t q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(f.m_map.find(f.m_missing_keys[q]) == f.m_map.end());
    q = (q + 1) % f.m_missing_keys.size();
  }
}
void enum_lookups(benchmark::State& state, bool hits) {
  FIXTURE& f = fixture(state.range(0));
  const std::vector<ENUM_QUERY>& queries = hits ? f.m_enum_hits : f.m_enum_misses;
  std::size_t q = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(query_enums(f.m_model.get(), queries[q]));
    q = (q + 1) % queries.size();
  }
}
void BM_query_enums(benchmark::State& state) { enum_lookups(state, true); }
void BM_query_enums_miss(benchmark::State& state) { enum_lookups(state, false); }
void string_lookups(benchmark::State& state, bool hits) {
  FIXTURE& f = fixture(state.range(0));
  const std::vector<DTM_STRING::STRINGS>& queries = hits ? f.m_word_pointers : f.m_missing_pointers;
  DTM_TCL_REPORT report;
  std::size_t q = 0;
  for (auto _ : state) {
    if (f.m_words_float[q]) {
      benchmark::DoNotOptimize(DTM_STRING::get_float(&queries[q], f.m_model.get(), &report));
    } else {
      benchmark::DoNotOptimize(DTM_STRING::get_delay(&queries[q], f.m_model.get(), &report));
    }
    q = (q + 1) % queries.size();
  }
}
void BM_query_strings(benchmark::State& state) { string_lookups(state, true); }
void BM_query_strings_miss(benchmark::State& state) { string_lookups(state, false); }

// At least two seconds per figure: a run of a million delays then takes
// several iterations, and one slow iteration does not make the figure.
#define SIDE_BY_SIDE(bm) BENCHMARK(bm)->Arg(100000)->Arg(1000000)->MinTime(2.0)
SIDE_BY_SIDE(BM_floor_dmf)->Unit(benchmark::kMillisecond);
SIDE_BY_SIDE(BM_floor_json)->Unit(benchmark::kMillisecond);
SIDE_BY_SIDE(BM_json_load)->Unit(benchmark::kMillisecond);
SIDE_BY_SIDE(BM_dmf_build)->Unit(benchmark::kMillisecond);
SIDE_BY_SIDE(BM_ddb_save)->Unit(benchmark::kMillisecond);
SIDE_BY_SIDE(BM_ddb_load)->Unit(benchmark::kMillisecond);
SIDE_BY_SIDE(BM_phase_read)->Unit(benchmark::kMillisecond);
SIDE_BY_SIDE(BM_phase_check)->Unit(benchmark::kMillisecond);
SIDE_BY_SIDE(BM_phase_convert)->Unit(benchmark::kMillisecond);
SIDE_BY_SIDE(BM_phase_free_lines)->Unit(benchmark::kMillisecond);
SIDE_BY_SIDE(BM_phase_delete_model)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_process_build)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->UseRealTime();
SIDE_BY_SIDE(BM_json_find);
SIDE_BY_SIDE(BM_json_find_miss);
SIDE_BY_SIDE(BM_query_enums);
SIDE_BY_SIDE(BM_query_enums_miss);
SIDE_BY_SIDE(BM_query_strings);
SIDE_BY_SIDE(BM_query_strings_miss);

// ---- The table ----
struct FIGURE {
  double m_ns = 0;  // per iteration
  std::map<std::string, double> m_counters;
};

class TABLE_REPORTER : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred || run.run_type != Run::RT_Iteration) continue;
      // Keyed by function and argument ("BM_x/N"), without run options.
      const std::string name = run.benchmark_name();
      const std::size_t end = name.find('/', name.find('/') + 1);
      FIGURE& figure = m_figures[name.substr(0, end)];
      // CPU time: the machine is shared, and wall time carries the other
      // users' load. A whole process is timed by the wall clock.
      const bool process = run.benchmark_name().rfind("BM_process", 0) == 0;
      figure.m_ns = (process ? run.real_accumulated_time : run.cpu_accumulated_time) * 1e9 /
                    static_cast<double>(run.iterations);
      for (const auto& [name, counter] : run.counters) figure.m_counters[name] = counter.value;
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, FIGURE> m_figures;
};

void print_table(const std::map<std::string, FIGURE>& figures) {
  const auto get = [&](const std::string& name, long n) -> const FIGURE* {
    const auto it = figures.find(name + "/" + std::to_string(n));
    return it == figures.end() ? nullptr : &it->second;
  };
  std::printf(
      "\n| N | figure | time | per delay | vs JSON | vs floor |\n|---|---|---|---|---|---|\n");
  for (const long n : {100000L, 1000000L}) {
    const FIGURE* json = get("BM_json_load", n);
    const FIGURE* floor = get("BM_floor_dmf", n);
    const auto row = [&](const char* label, const char* name) {
      const FIGURE* f = get(name, n);
      if (f == nullptr) return;
      std::printf("| %ld | %s | %.1f ms | %.0f ns | %s | %s |\n", n, label, f->m_ns / 1e6,
                  f->m_ns / static_cast<double>(n),
                  json ? (std::to_string(f->m_ns / json->m_ns).substr(0, 5) + "x").c_str() : "-",
                  floor ? (std::to_string(f->m_ns / floor->m_ns).substr(0, 5) + "x").c_str() : "-");
    };
    row("floor: read + count lines (DMF)", "BM_floor_dmf");
    row("floor: read + count lines (JSON)", "BM_floor_json");
    row("JSON alternative: load", "BM_json_load");
    row("ours: build from DMF", "BM_dmf_build");
    row("ours: .ddb save", "BM_ddb_save");
    row("ours: .ddb load", "BM_ddb_load");
    row("ours: build, read + parse", "BM_phase_read");
    row("ours: build, legality checks", "BM_phase_check");
    row("ours: build, conversion", "BM_phase_convert");
    row("ours: build, freeing the lines", "BM_phase_free_lines");
    row("ours: deleting the model", "BM_phase_delete_model");
    row("ours: `dtmtool build` process (wall)", "BM_process_build");
  }
  std::printf("\n| N | peak heap per delay | bytes | vs JSON |\n|---|---|---|---|\n");
  for (const long n : {100000L, 1000000L}) {
    const FIGURE* json = get("BM_json_load", n);
    const FIGURE* ours = get("BM_dmf_build", n);
    if (json == nullptr || ours == nullptr) continue;
    const double theirs = json->m_counters.at("heap_peak_per_delay");
    std::printf("| %ld | JSON alternative (heap meter) | %.0f | 1.00x |\n", n, theirs);
    std::printf("| %ld | ours, build (heap meter) | %.0f | %.2fx |\n", n,
                ours->m_counters.at("heap_peak_per_delay"),
                ours->m_counters.at("heap_peak_per_delay") / theirs);
    std::printf("| %ld | ours, build (MEM_MANAGER peak) | %.0f | %.2fx |\n", n,
                ours->m_counters.at("mem_peak_per_delay"),
                ours->m_counters.at("mem_peak_per_delay") / theirs);
    std::printf("| %ld | ours, built model (MEM_MANAGER live) | %.0f | %.2fx |\n", n,
                ours->m_counters.at("model_per_delay"),
                ours->m_counters.at("model_per_delay") / theirs);
  }
  std::printf("\n| N | lookup (random, cold) | ns | vs hash map |\n|---|---|---|---|\n");
  for (const long n : {100000L, 1000000L}) {
    const FIGURE* base = get("BM_json_find", n);
    for (const auto& [label, name] : std::vector<std::pair<const char*, const char*>>{
             {"hash map by key string, hit", "BM_json_find"},
             {"hash map by key string, miss", "BM_json_find_miss"},
             {"ours by enumeration path, hit", "BM_query_enums"},
             {"ours by enumeration path, miss", "BM_query_enums_miss"},
             {"ours by strings, hit", "BM_query_strings"},
             {"ours by strings, miss", "BM_query_strings_miss"}}) {
      const FIGURE* f = get(name, n);
      if (f == nullptr || base == nullptr) continue;
      std::printf("| %ld | %s | %.0f | %.2fx |\n", n, label, f->m_ns, f->m_ns / base->m_ns);
    }
  }
}

}  // namespace

// Every in-process figure is taken on a warm heap: glibc is told never to
// hand memory back to the kernel nor to map large blocks apart, and the heap
// is grown once to more than any run needs. Otherwise whichever side runs
// after a large free finds its pages mapped while the other pays the kernel
// for clearing fresh ones (on this virtual machine about a third of a cold
// build), and the order of the runs decides the ratios. The cold cost is in
// the whole-process row.
void warm_the_heap() {
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
  mallopt(M_TOP_PAD, 64 << 20);
  constexpr std::size_t k_warm_bytes = std::size_t{3} << 30;
  if (void* block = std::malloc(k_warm_bytes); block != nullptr) {
    std::memset(block, 1, k_warm_bytes);
    benchmark::DoNotOptimize(block);
    std::free(block);
  }
}

int main(int argc, char** argv) {
  warm_the_heap();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TABLE_REPORTER reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  print_table(reporter.m_figures);
  return 0;
}
