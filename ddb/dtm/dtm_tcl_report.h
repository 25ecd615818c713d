// DTM_TCL_REPORT: the small report object that a scripting front end passes
// along with each delay query by strings (DTM_STRING::get_delay). It carries
// a text and a 32-bit value; what the front end writes into it is its own
// business.
#pragma once

#include <cstdint>
#include <string_view>

#include "mem_alloc_sys.h"

class DTM_TCL_REPORT : public MEM_OBJECT {
 public:
  // Empty text, value 0.
  DTM_TCL_REPORT() = default;
  // Empties the text before releasing it.
  virtual ~DTM_TCL_REPORT();
  DTM_TCL_REPORT(const DTM_TCL_REPORT&) = delete;
  DTM_TCL_REPORT& operator=(const DTM_TCL_REPORT&) = delete;

  // Back to the constructed state: value 0, empty text.
  void reset();

  const MEM_STRING& get_text() const noexcept { return m_text; }
  void set_text(std::string_view text) { m_text.assign(text.data(), text.size()); }
  std::int32_t get_value() const noexcept { return m_value; }
  void set_value(std::int32_t value) noexcept { m_value = value; }

 private:
  MEM_STRING m_text;
  std::int32_t m_value = 0;
};
