// The fuzz entry points. Reports are swallowed (a fuzz run makes millions);
// what counts is that the library returns, frees what it allocated and never
// touches memory it does not own.
#include "fuzz_entries.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string_view>

#include "ddb_dtm__pdb.h"
#include "ddb_image_dir.h"
#include "dtm_gen.h"
#include "dtm_node.h"
#include "dtm_tree_data.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"
#include "pdb_sys.h"

namespace kestrel_fuzz {
namespace {

// Longest input a target looks at; longer inputs only slow the fuzzer down
// without reaching new code (every DMF line is capped far below it).
constexpr std::size_t k_max_input = 64 * 1024;
// Devices of a listing that are built one by one.
constexpr std::size_t k_max_devices = 3;

// Swallows the library's reports and counts them.
class SILENT_POLICY final : public MSG_POLICY {
 public:
  SILENT_POLICY() noexcept : m_previous(MSG_INTERNAL_ERROR::set_policy(this)) {}
  ~SILENT_POLICY() override { MSG_INTERNAL_ERROR::set_policy(m_previous); }
  SILENT_POLICY(const SILENT_POLICY&) = delete;
  SILENT_POLICY& operator=(const SILENT_POLICY&) = delete;
  void on_report(const MSG_REPORT&) noexcept override { ++m_count; }
  std::size_t get_count() const noexcept { return m_count; }

 private:
  MSG_POLICY* m_previous;
  std::size_t m_count = 0;
};

// Aborts when the library holds more blocks on leaving than on entering.
class LEAK_GUARD {
 public:
  LEAK_GUARD() noexcept : m_live(MEM_MANAGER::get_counters().m_live_objects) {}
  ~LEAK_GUARD() {
    if (MEM_MANAGER::get_counters().m_live_objects != m_live) {
      std::abort();
    }
  }
  LEAK_GUARD(const LEAK_GUARD&) = delete;
  LEAK_GUARD& operator=(const LEAK_GUARD&) = delete;

 private:
  std::size_t m_live;
};

// An anonymous in-memory file holding the input, named by its /proc path.
class MEMORY_FILE {
 public:
  MEMORY_FILE(const std::uint8_t* data, std::size_t size)
      : m_fd(::memfd_create("kestrel-fuzz", 0)) {
    if (m_fd < 0) {
      std::abort();
    }
    std::size_t written = 0;
    while (written < size) {
      const ssize_t n = ::write(m_fd, data + written, size - written);
      if (n <= 0) {
        std::abort();
      }
      written += static_cast<std::size_t>(n);
    }
    m_path = "/proc/self/fd/" + std::to_string(m_fd);
  }
  ~MEMORY_FILE() { ::close(m_fd); }
  MEMORY_FILE(const MEMORY_FILE&) = delete;
  MEMORY_FILE& operator=(const MEMORY_FILE&) = delete;
  const char* path() const { return m_path.c_str(); }

 private:
  int m_fd;
  std::string m_path;
};

// Every read-only walk of a model: both dumps, and the comparison of the
// model with itself, which must find no difference.
void exercise(const DTM_NODE* root) {
  if (root == nullptr) {
    return;
  }
  std::ostringstream sink;
  root->dump_tree(sink, std::string());
  root->dump_tree_in_dmf_format(sink, std::string_view());
  std::ostringstream differences;
  root->compare_trees(root, differences, std::string(), false, true, 0.0F);
  if (!differences.str().empty()) {
    std::abort();
  }
}

// --- .ddb databases ---------------------------------------------------------------

// The targets' scratch directory, made once and removed at exit.
DDB_IMAGE_DIR& scratch_dir() {
  static DDB_IMAGE_DIR dir("kestrel-fuzz-ddb");
  return dir;
}

// The input as the fuzzer made it, and the same with the length field and
// both checksums made right ("resealed"): mutations of a database then reach
// the parser instead of stopping at the checksums. Inputs shorter than a
// header have nothing to reseal.
std::vector<std::string> ddb_images(const std::uint8_t* data, std::size_t size) {
  std::vector<std::string> images{std::string(reinterpret_cast<const char*>(data), size)};
  if (size >= PDB_HEADER_SIZE) {
    std::string image = images.front();
    const std::uint64_t length = size;
    std::memcpy(image.data() + 16, &length, 8);
    std::uint32_t crc = pdb_crc32(image.data() + PDB_HEADER_SIZE, size - PDB_HEADER_SIZE);
    std::memcpy(image.data() + 32, &crc, 4);
    crc = pdb_crc32(image.data(), 36);
    std::memcpy(image.data() + 36, &crc, 4);
    if (image != images.front()) {
      images.push_back(std::move(image));
    }
  }
  return images;
}

// Reads the model of the archive `stem`: null when the file is refused (the
// exception) or holds a null root; `*refused` tells which.
DTM_NODE* load_model(const std::string& stem, bool* refused = nullptr) {
  PDB_ARCHIVE archive;
  archive.open(stem);
  DTM_NODE* root = nullptr;
  bool failed = false;
  try {
    failed = !pdb_read_<PDB_ARCHIVE, DTM_NODE>(root, archive, "");
  } catch (const PDB_DATABASE_EXCEPTION&) {
    failed = true;
  }
  if (failed && root != nullptr) {
    std::abort();  // a refused file hands nothing out
  }
  if (refused != nullptr) {
    *refused = failed;
  }
  return root;
}

// Saves a model as the archive `stem`; false when the writer refuses it.
bool save_model(const DTM_NODE* root, const std::string& stem) {
  PDB_ARCHIVE archive;
  archive.open(stem);
  try {
    return pdb_write_(root, archive, "");
  } catch (const PDB_DATABASE_EXCEPTION&) {
    return false;
  }
}

// The path of a node below the root: up to nine ids, then DTM_NODE_NONE.
struct NODE_PATH {
  DTM_NODE_ENUM m_ids[9] = {DTM_NODE_NONE, DTM_NODE_NONE, DTM_NODE_NONE,
                            DTM_NODE_NONE, DTM_NODE_NONE, DTM_NODE_NONE,
                            DTM_NODE_NONE, DTM_NODE_NONE, DTM_NODE_NONE};
};

#define KESTREL_FUZZ_PATH                                                                         \
  p.m_ids[0], p.m_ids[1], p.m_ids[2], p.m_ids[3], p.m_ids[4], p.m_ids[5], p.m_ids[6], p.m_ids[7], \
      p.m_ids[8]

DTM_ENUM en(int v) { return static_cast<DTM_ENUM>(v); }
CDB_RE_TYPE re(int v) { return static_cast<CDB_RE_TYPE>(v); }
DB_INPUT_PORT_TYPE in(int v) { return static_cast<DB_INPUT_PORT_TYPE>(v); }
DB_OUTPUT_PORT_TYPE out(int v) { return static_cast<DB_OUTPUT_PORT_TYPE>(v); }
DB_BURIED_PORT_TYPE bur(int v) { return static_cast<DB_BURIED_PORT_TYPE>(v); }

// The get and the add entry point of each kind of delay, through a node.
struct QUERY_KIND {
  double (*m_get)(const DTM_NODE& n, int a, int b, int c, const NODE_PATH& p);
  bool (*m_add)(DTM_NODE& n, int v, int a, int b, int c, const NODE_PATH& p);
};

const QUERY_KIND k_query_kinds[] = {
    {[](const DTM_NODE& n, int a, int, int, const NODE_PATH& p) -> double {
       return n.get_micro_node_delay(en(a), KESTREL_FUZZ_PATH);
     },
     [](DTM_NODE& n, int v, int a, int, int, const NODE_PATH& p) {
       return n.add_micro_node_delay(v, en(a), KESTREL_FUZZ_PATH);
     }},
    {[](const DTM_NODE& n, int a, int b, int, const NODE_PATH& p) -> double {
       return n.get_table_node_delay(en(a), en(b), KESTREL_FUZZ_PATH);
     },
     [](DTM_NODE& n, int v, int a, int b, int, const NODE_PATH& p) {
       return n.add_table_node_delay(v, en(a), en(b), KESTREL_FUZZ_PATH);
     }},
    {[](const DTM_NODE& n, int a, int b, int, const NODE_PATH& p) -> double {
       return n.get_float_table_node_delay(en(a), en(b), KESTREL_FUZZ_PATH);
     },
     [](DTM_NODE& n, int v, int a, int b, int, const NODE_PATH& p) {
       return n.add_float_table_node_delay(v / 8.0, en(a), en(b), KESTREL_FUZZ_PATH);
     }},
    {[](const DTM_NODE& n, int a, int b, int, const NODE_PATH& p) -> double {
       return n.get_ff_node_delay(bur(a), en(b), KESTREL_FUZZ_PATH);
     },
     [](DTM_NODE& n, int v, int a, int b, int, const NODE_PATH& p) {
       return n.add_ff_node_delay(v, bur(a), en(b), KESTREL_FUZZ_PATH);
     }},
    {[](const DTM_NODE& n, int a, int, int, const NODE_PATH& p) -> double {
       return n.get_re_node_delay(re(a), KESTREL_FUZZ_PATH);
     },
     [](DTM_NODE& n, int v, int a, int, int, const NODE_PATH& p) {
       return n.add_re_node_delay(v, re(a), KESTREL_FUZZ_PATH);
     }},
    {[](const DTM_NODE& n, int a, int b, int c, const NODE_PATH& p) -> double {
       return n.get_re_table_node_delay(re(a), re(b), en(c), KESTREL_FUZZ_PATH);
     },
     [](DTM_NODE& n, int v, int a, int b, int c, const NODE_PATH& p) {
       return n.add_re_table_node_delay(v, re(a), re(b), en(c), KESTREL_FUZZ_PATH);
     }},
    {[](const DTM_NODE& n, int a, int b, int, const NODE_PATH& p) -> double {
       return n.get_re_port_node_delay(re(a), in(b), KESTREL_FUZZ_PATH);
     },
     [](DTM_NODE& n, int v, int a, int b, int, const NODE_PATH& p) {
       return n.add_re_port_node_delay(v, re(a), in(b), KESTREL_FUZZ_PATH);
     }},
    {[](const DTM_NODE& n, int a, int b, int, const NODE_PATH& p) -> double {
       return n.get_port_re_node_delay(out(a), re(b), KESTREL_FUZZ_PATH);
     },
     [](DTM_NODE& n, int v, int a, int b, int, const NODE_PATH& p) {
       return n.add_port_re_node_delay(v, out(a), re(b), KESTREL_FUZZ_PATH);
     }},
    {[](const DTM_NODE& n, int a, int b, int c, const NODE_PATH& p) -> double {
       return n.get_p2p_node_delay(in(a), out(b), en(c), KESTREL_FUZZ_PATH);
     },
     [](DTM_NODE& n, int v, int a, int b, int c, const NODE_PATH& p) {
       return n.add_p2p_node_delay(v, in(a), out(b), en(c), KESTREL_FUZZ_PATH);
     }},
    {[](const DTM_NODE& n, int a, int b, int c, const NODE_PATH& p) -> double {
       return n.get_p2p_node_delay(in(a), bur(b), en(c), KESTREL_FUZZ_PATH);
     },
     [](DTM_NODE& n, int v, int a, int b, int c, const NODE_PATH& p) {
       return n.add_p2p_node_delay(v, in(a), bur(b), en(c), KESTREL_FUZZ_PATH);
     }},
    {[](const DTM_NODE& n, int a, int b, int c, const NODE_PATH& p) -> double {
       return n.get_p2p_node_delay(bur(a), out(b), en(c), KESTREL_FUZZ_PATH);
     },
     [](DTM_NODE& n, int v, int a, int b, int c, const NODE_PATH& p) {
       return n.add_p2p_node_delay(v, bur(a), out(b), en(c), KESTREL_FUZZ_PATH);
     }},
    {[](const DTM_NODE& n, int a, int b, int c, const NODE_PATH& p) -> double {
       return n.get_p2p_node_delay(bur(a), bur(b), en(c), KESTREL_FUZZ_PATH);
     },
     [](DTM_NODE& n, int v, int a, int b, int c, const NODE_PATH& p) {
       return n.add_p2p_node_delay(v, bur(a), bur(b), en(c), KESTREL_FUZZ_PATH);
     }},
    {[](const DTM_NODE& n, int a, int b, int c, const NODE_PATH& p) -> double {
       return n.get_rc_float(re(a), en(b), en(c), KESTREL_FUZZ_PATH);
     },
     [](DTM_NODE& n, int v, int a, int b, int c, const NODE_PATH& p) {
       return n.add_rc_float(v / 4.0, re(a), en(b), en(c), KESTREL_FUZZ_PATH);
     }},
    {[](const DTM_NODE& n, int a, int b, int, const NODE_PATH& p) -> double {
       return n.get_integer_node_delay(en(a), b, KESTREL_FUZZ_PATH);
     },
     [](DTM_NODE& n, int v, int a, int b, int, const NODE_PATH& p) {
       return n.add_integer_node_delay(v, en(a), b, KESTREL_FUZZ_PATH);
     }},
};

#undef KESTREL_FUZZ_PATH

// Nodes examined per model, and key values drawn from its delay trees.
constexpr std::size_t k_max_paths = 24;
constexpr std::size_t k_max_key_values = 12;

// Paths of the first nodes of the model, breadth first (the root's own,
// empty path first), and key values met in their delay trees (each stored
// part, and that value minus one, which is how port and register types are
// stored).
void sample_model(const DTM_NODE& root, std::vector<NODE_PATH>& paths, std::vector<int>& keys) {
  std::vector<std::pair<const DTM_NODE*, NODE_PATH>> queue{{&root, NODE_PATH{}}};
  std::vector<int> depth_of{0};
  keys = {0, 1};
  for (std::size_t at = 0; at < queue.size() && paths.size() < k_max_paths; ++at) {
    const DTM_NODE* node = queue[at].first;
    const NODE_PATH path = queue[at].second;
    const int depth = depth_of[at];
    paths.push_back(path);
    if (const DTM_TREE_DATA* data = node->get_data_root(); data != nullptr) {
      if (const DTM_TREE_DATA_KEY* key = data->get_key(); key != nullptr) {
        for (DTM_SHORT i = 0; i < key->get_num_wrapper() && keys.size() < k_max_key_values; ++i) {
          const int id = key->get_wrappers()[i].get_enum_id();
          keys.push_back(id);
          keys.push_back(static_cast<int>(static_cast<unsigned>(id) - 1U));
        }
      }
    }
    if (depth >= 9) {
      continue;
    }
    for (const DTM_NODE* child : node->get_nodes()) {
      if (child == nullptr || queue.size() >= 4 * k_max_paths) {
        continue;
      }
      NODE_PATH child_path = path;
      child_path.m_ids[depth] = child->get_id();
      queue.emplace_back(child, child_path);
      depth_of.push_back(depth + 1);
    }
  }
}

// What two models' comparison writes (nothing for equal models).
std::string differences(const DTM_NODE& a, const DTM_NODE& b) {
  std::ostringstream os;
  a.compare_trees(&b, os, std::string(), false, true, 0.0F);
  b.compare_trees(&a, os, std::string(), false, true, 0.0F);
  return os.str();
}

// Everything a user does with a loaded model: the dumps and the comparison
// with itself (exercise), delay queries of every kind at the first nodes of
// the model with keys taken from its trees, then a few additions.
void use_model(DTM_NODE& root) {
  exercise(&root);
  std::ostringstream outline;
  root.dump_tree(outline, 0, 0, 0);
  std::vector<NODE_PATH> paths;
  std::vector<int> keys;
  sample_model(root, paths, keys);
  std::size_t turn = 0;
  for (const NODE_PATH& path : paths) {
    for (const QUERY_KIND& kind : k_query_kinds) {
      const int a = keys[turn % keys.size()];
      const int b = keys[(turn / keys.size() + 1) % keys.size()];
      const int c = keys[(turn * 7 + 3) % keys.size()];
      kind.m_get(root, a, b, c, path);
      kind.m_get(root, c, a, b, path);
      ++turn;
    }
  }
  for (std::size_t i = 0; i < paths.size() && i < 4; ++i) {
    const QUERY_KIND& kind = k_query_kinds[(i * 5) % std::size(k_query_kinds)];
    kind.m_add(root, 17, keys[i % keys.size()], keys[(i + 1) % keys.size()], 0, paths[i]);
  }
  exercise(&root);
}

// Takes the roots "p_ref" and "master" of the archive `stem` (a clone and the
// master it links to, when the file holds both), uses both and frees them in
// the order they were taken, as their owner would.
void use_clone_and_master(const std::string& stem) {
  PDB_ARCHIVE archive;
  archive.open(stem);
  DTM_NODE* clone = nullptr;
  DTM_NODE* master = nullptr;
  try {
    PDB_SEGMENT_READER reader(archive, pdb_ddb_segment_info(), "", ".ddb");
    if (!reader.open()) {
      return;
    }
    reader.read_public_identifier_lists();
    reader.read_reference("p_ref", clone);
    reader.read_reference("master", master);
    reader.finish_reading_all();
  } catch (const PDB_DATABASE_EXCEPTION&) {
    // What was taken before the refusal is the caller's still.
  }
  for (DTM_NODE* root : {clone, master}) {
    if (root != nullptr) {
      use_model(*root);
    }
  }
  MEM_MANAGER::delete_wrapper(clone);
  MEM_MANAGER::delete_wrapper(master);
}

// Loads an image; whatever it gives (a model or a null root) is saved, that
// image loads again, gives the same model and saves to the same bytes.
void load_save_load(const std::string& image) {
  DDB_IMAGE_DIR& scratch = scratch_dir();
  scratch.put(image);
  bool refused = false;
  const std::unique_ptr<DTM_NODE> first(load_model(scratch.stem("in"), &refused));
  if (refused) {
    return;
  }
  // Whatever was read can be written, that image reads again, gives the
  // same model, and writes the same image again.
  if (!save_model(first.get(), scratch.stem("once"))) {
    std::abort();
  }
  const std::unique_ptr<DTM_NODE> second(load_model(scratch.stem("once"), &refused));
  if (refused || (first == nullptr) != (second == nullptr)) {
    std::abort();
  }
  if (first != nullptr && !differences(*first, *second).empty()) {
    std::abort();
  }
  if (!save_model(second.get(), scratch.stem("twice")) ||
      DDB_IMAGE_DIR::read(scratch.stem("once")) != DDB_IMAGE_DIR::read(scratch.stem("twice"))) {
    std::abort();
  }
}

}  // namespace

void dmf_line(const std::uint8_t* data, std::size_t size) {
  if (size > k_max_input) {
    return;
  }
  SILENT_POLICY silent;
  LEAK_GUARD guard;
  std::string line(reinterpret_cast<const char*>(data), size);
  DTM_LINE_NODE* record = DTM_FACTORY().parse_a_line(nullptr, line.data(), 1);
  DTM_LINE_NODE::delete_list(record);
}

void dmf_build(const std::uint8_t* data, std::size_t size) {
  if (size > k_max_input) {
    return;
  }
  SILENT_POLICY silent;
  LEAK_GUARD guard;
  const MEMORY_FILE file(data, size);
  const DTM_FACTORY factory;
  {
    const std::unique_ptr<DTM_NODE> root(factory.build_nodes(file.path(), false, false));
    exercise(root.get());
  }
  std::vector<std::string> devices;
  factory.get_device_listing(file.path(), devices);
  for (std::size_t i = 0; i < devices.size() && i < k_max_devices; ++i) {
    const std::unique_ptr<DTM_NODE> root(
        factory.build_nodes(file.path(), &devices[i], false, false));
    exercise(root.get());
  }
}

void ddb_load(const std::uint8_t* data, std::size_t size) {
  if (size > k_max_input) {
    return;
  }
  SILENT_POLICY silent;
  LEAK_GUARD guard;
  DDB_IMAGE_DIR& scratch = scratch_dir();
  for (const std::string& image : ddb_images(data, size)) {
    scratch.put(image);
    if (DTM_NODE* root = load_model(scratch.stem("in"))) {
      use_model(*root);
      MEM_MANAGER::delete_wrapper(root);
    }
    use_clone_and_master(scratch.stem("in"));
  }
}

void ddb_load_save(const std::uint8_t* data, std::size_t size) {
  if (size > k_max_input) {
    return;
  }
  SILENT_POLICY silent;
  LEAK_GUARD guard;
  for (const std::string& image : ddb_images(data, size)) {
    load_save_load(image);
  }
}

void ddb_round_trip(const std::uint8_t* data, std::size_t size) {
  if (size > k_max_input) {
    return;
  }
  SILENT_POLICY silent;
  LEAK_GUARD guard;
  const MEMORY_FILE file(data, size);
  const std::unique_ptr<DTM_NODE> built(DTM_FACTORY().build_nodes(file.path(), false, false));
  if (built == nullptr) {
    return;
  }
  const bool clean = silent.get_count() == 0;
  DDB_IMAGE_DIR& scratch = scratch_dir();
  if (!save_model(built.get(), scratch.stem("built"))) {
    std::abort();  // every model the pipeline builds can be saved
  }
  bool refused = false;
  const std::unique_ptr<DTM_NODE> loaded(load_model(scratch.stem("built"), &refused));
  if (refused || loaded == nullptr || !save_model(loaded.get(), scratch.stem("loaded"))) {
    std::abort();
  }
  if (clean &&
      (DDB_IMAGE_DIR::read(scratch.stem("built")) != DDB_IMAGE_DIR::read(scratch.stem("loaded")) ||
       !differences(*built, *loaded).empty())) {
    std::abort();
  }
}

namespace {

struct TARGET {
  const char* m_name;
  ENTRY m_entry;
};

constexpr TARGET k_targets[] = {
    {"dmf_line", dmf_line},           {"dmf_build", dmf_build},           {"ddb_load", ddb_load},
    {"ddb_load_save", ddb_load_save}, {"ddb_round_trip", ddb_round_trip},
};

}  // namespace

ENTRY find_entry(const std::string& target) {
  for (const TARGET& entry : k_targets) {
    if (target == entry.m_name) {
      return entry.m_entry;
    }
  }
  return nullptr;
}

std::vector<std::string> target_names() {
  std::vector<std::string> names;
  for (const TARGET& entry : k_targets) {
    names.emplace_back(entry.m_name);
  }
  return names;
}

}  // namespace kestrel_fuzz
