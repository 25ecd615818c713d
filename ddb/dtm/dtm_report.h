// The library's two ways into the internal-error reporter: a failed invariant
// (reported with the text of its condition) and a message built by the caller.
// Both report under the module "DTM" with the caller's source name and line,
// and return: the library always goes on after a report.
#pragma once

#include <string>

#include "msg_sys.h"

inline constexpr const char* DTM_MODULE = "DTM";

// The caller's line comes from a default argument of __builtin_LINE(), which
// GCC and clang evaluate at the call site (clang 14 over libstdc++, the fuzz
// build, has no std::source_location).

// Reports `condition` when `ok` is false; returns `ok` so that callers can
// take their safe path: `if (!dtm_assert(i >= 0, "i >= 0", k_source)) return {};`
inline bool dtm_assert(bool ok, const char* condition, const char* source,
                       int line = __builtin_LINE()) noexcept {
  if (!ok) {
    MSG_INTERNAL_ERROR::report(condition, DTM_MODULE, source, line);
  }
  return ok;
}

inline void dtm_report(const std::string& text, const char* source,
                       int line = __builtin_LINE()) noexcept {
  MSG_INTERNAL_ERROR::report(text, DTM_MODULE, source, line);
}
