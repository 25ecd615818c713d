// Scratch files for tests: each TEST_DIR is a fresh directory under the
// system's temporary directory, removed with everything in it on destruction.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class TEST_DIR {
public:
  TEST_DIR() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kestrel-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
      std::abort();
    }
    m_path = pattern;
  }
  ~TEST_DIR() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TEST_DIR(const TEST_DIR&) = delete;
  TEST_DIR& operator=(const TEST_DIR&) = delete;

  std::string path(const std::string& name) const { return (m_path / name).string(); }

  // Writes `content` byte for byte and returns the file's path.
  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream out(path(name), std::ios::binary | std::ios::trunc);
    out << content;
    return path(name);
  }

  static std::string read(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

private:
  std::filesystem::path m_path;
};
