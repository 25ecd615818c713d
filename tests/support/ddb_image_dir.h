// A private directory for model databases (in memory when /dev/shm is
// there) holding "in.ddb": a link to an anonymous in-memory file. A caller
// puts a file image there and reads it through the loader's usual path,
// thousands of times, without touching a disk; saves go beside it. Removed,
// with everything in it, when the object goes. Used by the damage tests and
// by the fuzz targets.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

class DDB_IMAGE_DIR {
 public:
  // `tag` names the in-memory file and the directory (for whoever lists them).
  explicit DDB_IMAGE_DIR(const char* tag) : m_fd(::memfd_create(tag, 0)) {
    std::error_code error;
    std::filesystem::path base("/dev/shm");
    if (!std::filesystem::is_directory(base, error) || ::access("/dev/shm", W_OK) != 0) {
      base = std::filesystem::temp_directory_path();
    }
    std::string pattern = (base / (std::string(tag) + "-XXXXXX")).string();
    if (m_fd < 0 || ::mkdtemp(pattern.data()) == nullptr) {
      std::abort();
    }
    m_dir = pattern;
    const std::string target = "/proc/self/fd/" + std::to_string(m_fd);
    if (::symlink(target.c_str(), (m_dir / "in.ddb").c_str()) != 0) {
      std::abort();
    }
  }
  ~DDB_IMAGE_DIR() {
    std::error_code ignored;
    std::filesystem::remove_all(m_dir, ignored);
    ::close(m_fd);
  }
  DDB_IMAGE_DIR(const DDB_IMAGE_DIR&) = delete;
  DDB_IMAGE_DIR& operator=(const DDB_IMAGE_DIR&) = delete;

  // Makes `image` the content of "in.ddb"; answers its archive (the path
  // without extension).
  std::string put(const std::string& image) const {
    if (::ftruncate(m_fd, 0) != 0) {
      std::abort();
    }
    std::size_t written = 0;
    while (written < image.size()) {
      const ssize_t n = ::pwrite(m_fd, image.data() + written, image.size() - written,
                                 static_cast<off_t>(written));
      if (n <= 0) {
        std::abort();
      }
      written += static_cast<std::size_t>(n);
    }
    return stem("in");
  }
  // The archive of the database `name` of the directory.
  std::string stem(const std::string& name) const { return (m_dir / name).string(); }
  // The bytes of the database of archive `stem` ("" when there is none).
  static std::string read(const std::string& stem) {
    std::string image;
    if (FILE* file = std::fopen((stem + ".ddb").c_str(), "rb")) {
      char buffer[8192];
      std::size_t got;
      while ((got = std::fread(buffer, 1, sizeof(buffer), file)) > 0) {
        image.append(buffer, got);
      }
      std::fclose(file);
    }
    return image;
  }

 private:
  int m_fd;
  std::filesystem::path m_dir;
};
