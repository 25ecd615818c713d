// Internal-error reporter and program wrapper.
//
// Every failure of the library, in its input or of an internal invariant, is
// handed to MSG_INTERNAL_ERROR::report. What happens then is the installed
// policy's business; the default policy writes one line to standard error and
// returns. A report never throws.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// One report as the reporter received it.
struct MSG_REPORT {
  std::string m_module;
  std::string m_source;
  int m_source_line = 0;
  std::string m_text;
};

// What the reporter does with a report. Implementations must not throw.
class MSG_POLICY {
public:
  virtual ~MSG_POLICY() = default;
  virtual void on_report(const MSG_REPORT& report) noexcept = 0;
};

// The default policy: "<module> <source>:<line>: <text>" on standard error.
class MSG_STDERR_POLICY final : public MSG_POLICY {
public:
  void on_report(const MSG_REPORT& report) noexcept override;
  static MSG_STDERR_POLICY& instance() noexcept;
};

class MSG_INTERNAL_ERROR {
public:
  // An input error or other message built by the caller.
  static void report(const std::string& text, const char* module, const char* source,
                     int source_line) noexcept;
  // A failed invariant, given by the text of the tested condition.
  static void report(const char* condition, const char* module, const char* source,
                     int source_line) noexcept;

  // Installs a policy and returns the one it replaces. Null restores the
  // default policy. The caller keeps ownership of the policy object.
  static MSG_POLICY* set_policy(MSG_POLICY* policy) noexcept;
  static MSG_POLICY* get_policy() noexcept;

  // Number of reports made since the process started.
  static std::size_t get_report_count() noexcept;
};

// Scoped capture: while alive, every report is collected here, in order,
// instead of going to the previous policy (unless forwarding is asked for).
// Captures nest; destruction restores the policy that was installed before.
class MSG_CAPTURE final : public MSG_POLICY {
public:
  explicit MSG_CAPTURE(bool forward = false) noexcept;
  ~MSG_CAPTURE() override;
  MSG_CAPTURE(const MSG_CAPTURE&) = delete;
  MSG_CAPTURE& operator=(const MSG_CAPTURE&) = delete;

  void on_report(const MSG_REPORT& report) noexcept override;

  const std::vector<MSG_REPORT>& get_reports() const noexcept { return m_reports; }
  std::size_t get_count() const noexcept { return m_reports.size(); }
  // The report texts alone, in order.
  std::vector<std::string> get_texts() const;
  // How many reports carry exactly this text.
  std::size_t count_text(const std::string& text) const noexcept;
  void clear() noexcept { m_reports.clear(); }

private:
  MSG_POLICY* m_previous;
  bool m_forward;
  std::vector<MSG_REPORT> m_reports;
};

// The program's real main function, as msg_exe_main receives it.
using MSG_MAIN_FUNCTION = int (*)(int argc, const char** argv);

// Runs main_function with the program's arguments and returns its result as
// the exit status. A stray exception is reported and gives exit status 1.
int msg_exe_main(int argc, char** argv, MSG_MAIN_FUNCTION main_function);

// Asks for a stack of at least `bytes` bytes for the program; 0 keeps the
// system's default. Returns false when the request could not be granted.
bool msg_set_stack_size(int bytes);
