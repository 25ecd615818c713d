// File-system service of the platform.
#pragma once

#include <string>

class FIO_FILE_SYSTEM {
public:
  // True when a file-system entry of that name exists (a file, a directory,
  // or anything else stat() can see; symbolic links are followed).
  static bool exists(const std::string& name) noexcept;
  static bool exists(const char* name) noexcept;
};
