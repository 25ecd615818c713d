#include <sys/stat.h>

#include "fio_sys.h"

bool FIO_FILE_SYSTEM::exists(const char* name) noexcept {
  if (name == nullptr || *name == '\0') {
    return false;
  }
  struct stat info {};
  return ::stat(name, &info) == 0;
}

bool FIO_FILE_SYSTEM::exists(const std::string& name) noexcept { return exists(name.c_str()); }
