#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fio_sys.h"

namespace {

constexpr FIO_SYSTEM_CALLS k_system_calls = {
    [](int fd, const void* data, std::size_t size) { return ::write(fd, data, size); },
    [](int fd, const void* data, std::size_t size, off_t offset) {
      return ::pwrite(fd, data, size, offset);
    },
    [](int fd) { return ::fsync(fd); },
    [](int fd) { return ::close(fd); },
    [](const char* from, const char* to) { return ::rename(from, to); },
    [](char* pattern) { return ::mkstemp(pattern); },
};

}  // namespace

const FIO_SYSTEM_CALLS* FIO_FILE_SYSTEM::s_calls = &k_system_calls;

const FIO_SYSTEM_CALLS& FIO_FILE_SYSTEM::default_system_calls() noexcept { return k_system_calls; }

void FIO_FILE_SYSTEM::set_system_calls(const FIO_SYSTEM_CALLS* calls) noexcept {
  s_calls = calls != nullptr ? calls : &k_system_calls;
}

bool FIO_FILE_SYSTEM::exists(const char* name) noexcept {
  if (name == nullptr || *name == '\0') {
    return false;
  }
  struct stat info {};
  return ::stat(name, &info) == 0;
}

bool FIO_FILE_SYSTEM::exists(const std::string& name) noexcept { return exists(name.c_str()); }
