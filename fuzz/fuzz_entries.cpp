// The fuzz entry points. Reports are swallowed (a fuzz run makes millions);
// what counts is that the library returns, frees what it allocated and never
// touches memory it does not own.
#include "fuzz_entries.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <sstream>
#include <string_view>

#include "dtm_gen.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace kestrel_fuzz {
namespace {

// Longest input a target looks at; longer inputs only slow the fuzzer down
// without reaching new code (every DMF line is capped far below it).
constexpr std::size_t k_max_input = 64 * 1024;
// Devices of a listing that are built one by one.
constexpr std::size_t k_max_devices = 3;

class SILENT_POLICY final : public MSG_POLICY {
 public:
  SILENT_POLICY() noexcept : m_previous(MSG_INTERNAL_ERROR::set_policy(this)) {}
  ~SILENT_POLICY() override { MSG_INTERNAL_ERROR::set_policy(m_previous); }
  SILENT_POLICY(const SILENT_POLICY&) = delete;
  SILENT_POLICY& operator=(const SILENT_POLICY&) = delete;
  void on_report(const MSG_REPORT&) noexcept override {}

 private:
  MSG_POLICY* m_previous;
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

namespace {

struct TARGET {
  const char* m_name;
  ENTRY m_entry;
};

constexpr TARGET k_targets[] = {
    {"dmf_line", dmf_line},
    {"dmf_build", dmf_build},
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
