// Reports and messages on standard error: the reporter policy that prints
// "FILE: message" and counts, the tool's own messages, and the detour of the
// library's standard output.
#include <cstdio>
#include <iostream>
#include <streambuf>
#include <string>

#include "dtmtool.h"
#include "msg_sys.h"

namespace {

std::string g_prefix = "dtmtool";

// Writes text to standard error unbuffered, with the progress line out of
// the way.
void write_error(const std::string& text) {
  const DTMTOOL_PROGRESS::PAUSE pause;
  std::cout.flush();
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

}  // namespace

void dtmtool_set_command(const char* command) { g_prefix = std::string("dtmtool ") + command; }

void dtmtool_error(const std::string& text) { write_error(g_prefix + ": " + text + "\n"); }

// --- The reporter ---------------------------------------------------------------------
class DTMTOOL_REPORTER::POLICY final : public MSG_POLICY {
 public:
  void on_report(const MSG_REPORT& report) noexcept override {
    ++m_count;
    try {
      // Some messages end with their own line end; the line gets one.
      std::string text = report.m_text;
      while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
        text.pop_back();
      }
      write_error(m_file + ": " + text + "\n");
    } catch (...) {
      std::fputs("dtmtool: out of memory while printing a report\n", stderr);
    }
  }

  std::string m_file = "dtmtool";
  std::size_t m_count = 0;
  MSG_POLICY* m_previous = nullptr;
};

DTMTOOL_REPORTER::DTMTOOL_REPORTER() : m_policy(std::make_unique<POLICY>()) {
  m_policy->m_previous = MSG_INTERNAL_ERROR::set_policy(m_policy.get());
}

DTMTOOL_REPORTER::~DTMTOOL_REPORTER() { MSG_INTERNAL_ERROR::set_policy(m_policy->m_previous); }

void DTMTOOL_REPORTER::set_file(const std::string& file) { m_policy->m_file = file; }

const std::string& DTMTOOL_REPORTER::get_file() const { return m_policy->m_file; }

std::size_t DTMTOOL_REPORTER::get_count() const { return m_policy->m_count; }

// --- The library's standard output ---------------------------------------------------
// Collects what is written into lines and passes each one to standard error
// with the reporter's current file in front.
class DTMTOOL_LIBRARY_OUTPUT::BUFFER final : public std::streambuf {
 public:
  explicit BUFFER(const DTMTOOL_REPORTER& reporter) : m_reporter(reporter) {}
  ~BUFFER() override { flush_line(); }

  std::streambuf* m_saved = nullptr;  // standard output's own buffer

  void flush_line() {
    if (!m_line.empty()) {
      write_error(m_reporter.get_file() + ": " + m_line + "\n");
      m_line.clear();
    }
  }

 protected:
  int_type overflow(int_type c) override {
    if (traits_type::eq_int_type(c, traits_type::eof())) {
      return traits_type::not_eof(c);
    }
    if (traits_type::to_char_type(c) == '\n') {
      flush_line();
    } else {
      m_line += traits_type::to_char_type(c);
    }
    return c;
  }
  std::streamsize xsputn(const char* text, std::streamsize count) override {
    for (std::streamsize i = 0; i < count; ++i) {
      overflow(traits_type::to_int_type(text[i]));
    }
    return count;
  }

 private:
  const DTMTOOL_REPORTER& m_reporter;
  std::string m_line;
};

DTMTOOL_LIBRARY_OUTPUT::DTMTOOL_LIBRARY_OUTPUT(const DTMTOOL_REPORTER& reporter)
    : m_buffer(std::make_unique<BUFFER>(reporter)) {
  std::cout.flush();
  m_buffer->m_saved = std::cout.rdbuf(m_buffer.get());
}

DTMTOOL_LIBRARY_OUTPUT::~DTMTOOL_LIBRARY_OUTPUT() {
  std::cout.rdbuf(m_buffer->m_saved);
  m_buffer->flush_line();
}
