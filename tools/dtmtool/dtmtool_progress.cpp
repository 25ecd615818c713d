// The progress line of a build. The build is one library call that reads the
// file, checks and converts its lines; the only outside view of how far it
// has come is the offset of the file it reads. An interval timer's signal
// draws the line: the handler finds the input among the process's open files
// (/proc/self/fd), reads its offset (/proc/self/fdinfo) and writes the line,
// all with async-signal-safe calls only, into buffers prepared beforehand.
// Once the file is closed again the line says that the lines are being
// checked and converted.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "dtmtool.h"

namespace {

constexpr long k_default_delay_ms = 500;
constexpr long k_interval_ms = 150;
constexpr int k_highest_fd = 1024;

// Shared with the signal handler; written only while the signal is blocked
// or before the timer starts.
volatile sig_atomic_t g_running = 0;  // the timer is set
volatile sig_atomic_t g_shown = 0;    // a progress line stands on the terminal
volatile sig_atomic_t g_fd = -1;      // where the input was last found open
volatile sig_atomic_t g_seen = 0;     // the input has been seen open
volatile sig_atomic_t g_ticks = 0;
char g_path[PATH_MAX + 1];  // the input, resolved
std::size_t g_path_length = 0;
char g_label[512];  // "dtmtool build: FILE: "
std::size_t g_label_length = 0;
long long g_size = 0;  // of the input, in bytes
timespec g_start{};
struct sigaction g_saved_action {};
int g_pause_depth = 0;  // not used by the handler

// --- Async-signal-safe helpers ------------------------------------------------------
struct LINE {
  char m_text[768];
  std::size_t m_length = 0;

  void add(const char* text, std::size_t length) {
    for (std::size_t i = 0; i < length && m_length < sizeof m_text; ++i) {
      m_text[m_length++] = text[i];
    }
  }
  void add(const char* text) { add(text, std::strlen(text)); }
  void add_number(long long value) {
    char digits[24];
    std::size_t count = 0;
    do {
      digits[count++] = static_cast<char>('0' + value % 10);
      value /= 10;
    } while (value > 0 && count < sizeof digits);
    while (count > 0) {
      add(&digits[--count], 1);
    }
  }
};

void write_all(const char* text, std::size_t length) {
  while (length > 0) {
    const ssize_t written = ::write(STDERR_FILENO, text, length);
    if (written <= 0) {
      if (written < 0 && errno == EINTR) {
        continue;
      }
      return;
    }
    text += written;
    length -= static_cast<std::size_t>(written);
  }
}

bool is_input(int fd) {
  LINE link;
  link.add("/proc/self/fd/");
  link.add_number(fd);
  link.add("\0", 1);
  char target[PATH_MAX + 1];
  const ssize_t length = ::readlink(link.m_text, target, sizeof target);
  return length == static_cast<ssize_t>(g_path_length) &&
         std::memcmp(target, g_path, g_path_length) == 0;
}

// The offset of the input's open file, or -1 when it is not open.
long long read_offset() {
  int fd = g_fd;
  if (fd < 0 || !is_input(fd)) {
    fd = -1;
    for (int candidate = 3; candidate < k_highest_fd; ++candidate) {
      if (is_input(candidate)) {
        fd = candidate;
        break;
      }
    }
    g_fd = fd;
  }
  if (fd < 0) {
    return -1;
  }
  LINE info;
  info.add("/proc/self/fdinfo/");
  info.add_number(fd);
  info.add("\0", 1);
  const int info_fd = ::open(info.m_text, O_RDONLY | O_CLOEXEC);
  if (info_fd < 0) {
    return -1;
  }
  char text[256];
  const ssize_t length = ::read(info_fd, text, sizeof text - 1);
  ::close(info_fd);
  if (length <= 0) {
    return -1;
  }
  text[length] = '\0';
  const char* pos = std::strstr(text, "pos:");
  if (pos == nullptr) {
    return -1;
  }
  pos += 4;
  while (*pos == ' ' || *pos == '\t') {
    ++pos;
  }
  long long offset = 0;
  for (; *pos >= '0' && *pos <= '9'; ++pos) {
    offset = offset * 10 + (*pos - '0');
  }
  return offset;
}

void draw() {
  static const char k_spinner[] = {'|', '/', '-', '\\'};
  const long long offset = read_offset();
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  const long long tenths =
      (now.tv_sec - g_start.tv_sec) * 10LL + (now.tv_nsec - g_start.tv_nsec) / 100000000LL;

  LINE line;
  line.add("\r");
  line.add(g_label, g_label_length);
  line.add(&k_spinner[g_ticks % 4], 1);
  line.add(" ");
  if (offset >= 0) {
    g_seen = 1;
    line.add("reading ");
    const long long percent = g_size > 0 ? (offset >= g_size ? 100 : offset * 100 / g_size) : 100;
    line.add_number(percent);
    line.add("%");
  } else if (g_seen != 0) {
    line.add("checking and converting the lines");
  } else {
    line.add("opening");
  }
  line.add(", ");
  line.add_number(tenths > 0 ? tenths / 10 : 0);
  line.add(".");
  line.add_number(tenths > 0 ? tenths % 10 : 0);
  line.add(" s\033[K");
  write_all(line.m_text, line.m_length);
  g_shown = 1;
  g_ticks = g_ticks + 1;
}

extern "C" void on_alarm(int) {
  const int saved_errno = errno;
  if (g_running != 0) {
    draw();
  }
  errno = saved_errno;
}

void clear_line() {
  if (g_shown != 0) {
    static const char k_clear[] = "\r\033[K";
    write_all(k_clear, sizeof k_clear - 1);
    g_shown = 0;
  }
}

void block_alarm(bool block) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGALRM);
  sigprocmask(block ? SIG_BLOCK : SIG_UNBLOCK, &set, nullptr);
}

long delay_ms() {
  const char* text = std::getenv("DTMTOOL_PROGRESS_DELAY");
  if (text == nullptr || *text == '\0') {
    return k_default_delay_ms;
  }
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  return *end == '\0' && value >= 0 ? value : k_default_delay_ms;
}

timeval to_timeval(long ms) {
  timeval value{};
  value.tv_sec = ms / 1000;
  value.tv_usec = (ms % 1000) * 1000;
  if (value.tv_sec == 0 && value.tv_usec == 0) {
    value.tv_usec = 1;  // zero would not start the timer
  }
  return value;
}

}  // namespace

DTMTOOL_PROGRESS::DTMTOOL_PROGRESS(const std::string& file) {
  if (::isatty(STDERR_FILENO) == 0 || g_running != 0) {
    return;
  }
  char resolved[PATH_MAX];
  struct stat status {};
  if (::realpath(file.c_str(), resolved) == nullptr || ::stat(resolved, &status) != 0) {
    return;
  }
  g_path_length = std::strlen(resolved);
  std::memcpy(g_path, resolved, g_path_length);
  g_size = static_cast<long long>(status.st_size);
  const std::string label = "dtmtool: building " + file + ": ";
  g_label_length = label.size() < sizeof g_label ? label.size() : sizeof g_label;
  std::memcpy(g_label, label.data(), g_label_length);
  g_fd = -1;
  g_seen = 0;
  g_ticks = 0;
  ::clock_gettime(CLOCK_MONOTONIC, &g_start);

  struct sigaction action {};
  action.sa_handler = &on_alarm;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;  // the library's reads and writes go on
  if (::sigaction(SIGALRM, &action, &g_saved_action) != 0) {
    return;
  }
  itimerval timer{};
  timer.it_value = to_timeval(delay_ms());
  timer.it_interval = to_timeval(k_interval_ms);
  g_running = 1;
  m_running = true;
  if (::setitimer(ITIMER_REAL, &timer, nullptr) != 0) {
    g_running = 0;
    m_running = false;
    ::sigaction(SIGALRM, &g_saved_action, nullptr);
  }
}

DTMTOOL_PROGRESS::~DTMTOOL_PROGRESS() {
  if (!m_running) {
    return;
  }
  block_alarm(true);
  const itimerval stop{};
  ::setitimer(ITIMER_REAL, &stop, nullptr);
  g_running = 0;
  clear_line();
  // Ignoring the signal discards one still pending; then the old action.
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigemptyset(&ignore.sa_mask);
  ::sigaction(SIGALRM, &ignore, nullptr);
  ::sigaction(SIGALRM, &g_saved_action, nullptr);
  block_alarm(false);
}

// Pauses nest: the signal is unblocked when the outermost one ends.
DTMTOOL_PROGRESS::PAUSE::PAUSE() {
  if (g_pause_depth++ == 0) {
    block_alarm(true);
  }
  clear_line();
}

DTMTOOL_PROGRESS::PAUSE::~PAUSE() {
  if (--g_pause_depth == 0) {
    block_alarm(false);
  }
}
