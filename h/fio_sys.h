// File-system service of the platform.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

// The system calls through which the platform writes files (the .ddb
// writer). The table in force is the system's own; a test installs another
// (FIO_SYSTEM_CALLS_OVERRIDE) to make a write, a flush to disk, a rename or
// the creation of a file fail. Unused, it costs one indirect call per system
// call.
struct FIO_SYSTEM_CALLS {
  ssize_t (*m_write)(int fd, const void* data, std::size_t size);
  ssize_t (*m_pwrite)(int fd, const void* data, std::size_t size, off_t offset);
  int (*m_fsync)(int fd);
  int (*m_close)(int fd);
  int (*m_rename)(const char* from, const char* to);
  // Creates and opens a unique file from a name ending in XXXXXX.
  int (*m_mkstemp)(char* pattern);
};

class FIO_FILE_SYSTEM {
 public:
  // True when a file-system entry of that name exists (a file, a directory,
  // or anything else stat() can see; symbolic links are followed).
  static bool exists(const std::string& name) noexcept;
  static bool exists(const char* name) noexcept;

  // The system calls in force, and the system's own.
  static const FIO_SYSTEM_CALLS& system_calls() noexcept { return *s_calls; }
  static const FIO_SYSTEM_CALLS& default_system_calls() noexcept;
  // Puts `calls` in force (null: the system's own again). The table must
  // outlive its use; not for concurrent use with file writing.
  static void set_system_calls(const FIO_SYSTEM_CALLS* calls) noexcept;

 private:
  static const FIO_SYSTEM_CALLS* s_calls;
};

// Puts a table of system calls in force for its lifetime.
class FIO_SYSTEM_CALLS_OVERRIDE {
 public:
  explicit FIO_SYSTEM_CALLS_OVERRIDE(const FIO_SYSTEM_CALLS& calls) noexcept
      : m_previous(&FIO_FILE_SYSTEM::system_calls()) {
    FIO_FILE_SYSTEM::set_system_calls(&calls);
  }
  ~FIO_SYSTEM_CALLS_OVERRIDE() { FIO_FILE_SYSTEM::set_system_calls(m_previous); }
  FIO_SYSTEM_CALLS_OVERRIDE(const FIO_SYSTEM_CALLS_OVERRIDE&) = delete;
  FIO_SYSTEM_CALLS_OVERRIDE& operator=(const FIO_SYSTEM_CALLS_OVERRIDE&) = delete;

 private:
  const FIO_SYSTEM_CALLS* m_previous;
};
