#include <cstdio>
#include <cstdlib>

#include "mem_alloc_sys.h"

namespace {
int g_initializer_count = 0;
bool g_report_at_exit = false;
}  // namespace

MEM_INITIALIZER::MEM_INITIALIZER() noexcept {
  if (g_initializer_count++ == 0) {
    g_report_at_exit = std::getenv("KESTREL_MEM_REPORT") != nullptr;
  }
}

MEM_INITIALIZER::~MEM_INITIALIZER() {
  if (--g_initializer_count == 0 && g_report_at_exit) {
    std::fprintf(stderr, "kestrel memory at exit: %s\n",
                 describe(MEM_MANAGER::get_counters()).c_str());
  }
}

std::string MEM_INITIALIZER::describe(const MEM_COUNTERS& counters) {
  return "live objects " + std::to_string(counters.m_live_objects) + ", live bytes " +
         std::to_string(counters.m_live_bytes) + ", peak bytes " +
         std::to_string(counters.m_peak_bytes);
}
