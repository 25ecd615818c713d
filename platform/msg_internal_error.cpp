#include "msg_sys.h"

#include <algorithm>
#include <cstdio>
#include <exception>

namespace {

MSG_POLICY* g_policy = nullptr;  // null: the default policy
std::size_t g_report_count = 0;

void dispatch(const char* text, const char* module, const char* source, int source_line) noexcept {
  ++g_report_count;
  MSG_POLICY& policy = g_policy != nullptr ? *g_policy : MSG_STDERR_POLICY::instance();
  try {
    MSG_REPORT report;
    report.m_module = module != nullptr ? module : "";
    report.m_source = source != nullptr ? source : "";
    report.m_source_line = source_line;
    report.m_text = text != nullptr ? text : "";
    policy.on_report(report);
  } catch (...) {
    // Out of memory while building the record: say what we can, unbuffered.
    std::fprintf(stderr, "%s %s:%d: %s\n", module != nullptr ? module : "",
                 source != nullptr ? source : "", source_line, text != nullptr ? text : "");
  }
}

}  // namespace

void MSG_STDERR_POLICY::on_report(const MSG_REPORT& report) noexcept {
  std::fprintf(stderr, "%s %s:%d: %s\n", report.m_module.c_str(), report.m_source.c_str(),
               report.m_source_line, report.m_text.c_str());
}

MSG_STDERR_POLICY& MSG_STDERR_POLICY::instance() noexcept {
  static MSG_STDERR_POLICY policy;
  return policy;
}

void MSG_INTERNAL_ERROR::report(const std::string& text, const char* module, const char* source,
                                int source_line) noexcept {
  dispatch(text.c_str(), module, source, source_line);
}

void MSG_INTERNAL_ERROR::report(const char* condition, const char* module, const char* source,
                                int source_line) noexcept {
  dispatch(condition, module, source, source_line);
}

MSG_POLICY* MSG_INTERNAL_ERROR::set_policy(MSG_POLICY* policy) noexcept {
  MSG_POLICY* previous = g_policy;
  g_policy = policy;
  return previous;
}

MSG_POLICY* MSG_INTERNAL_ERROR::get_policy() noexcept {
  return g_policy != nullptr ? g_policy : &MSG_STDERR_POLICY::instance();
}

std::size_t MSG_INTERNAL_ERROR::get_report_count() noexcept { return g_report_count; }

MSG_CAPTURE::MSG_CAPTURE(bool forward) noexcept
    : m_previous(MSG_INTERNAL_ERROR::set_policy(this)), m_forward(forward) {}

MSG_CAPTURE::~MSG_CAPTURE() { MSG_INTERNAL_ERROR::set_policy(m_previous); }

void MSG_CAPTURE::on_report(const MSG_REPORT& report) noexcept {
  try {
    m_reports.push_back(report);
  } catch (...) {
    MSG_STDERR_POLICY::instance().on_report(report);
  }
  if (m_forward) {
    (m_previous != nullptr ? *m_previous : MSG_STDERR_POLICY::instance()).on_report(report);
  }
}

std::vector<std::string> MSG_CAPTURE::get_texts() const {
  std::vector<std::string> texts;
  texts.reserve(m_reports.size());
  for (const MSG_REPORT& report : m_reports) {
    texts.push_back(report.m_text);
  }
  return texts;
}

std::size_t MSG_CAPTURE::count_text(const std::string& text) const noexcept {
  return static_cast<std::size_t>(std::count_if(
      m_reports.begin(), m_reports.end(),
      [&text](const MSG_REPORT& report) { return report.m_text == text; }));
}
