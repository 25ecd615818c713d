// Buffered reader of the physical lines of a DMF file, shared by the file
// scanners. Reading is linear in the file size and the memory it holds is
// bounded: an over-long line is measured but never kept whole.
#pragma once

#include <cstddef>
#include <cstdio>

#include "mem_alloc_sys.h"

class DTM_LINE_READER {
 public:
  // Room for the longest kept line plus its terminator: what a bounded read
  // into a 300-character buffer can hold.
  static constexpr std::size_t LINE_BUFFER = 300;
  // Bytes read from the file at a time.
  static constexpr std::size_t CHUNK_SIZE = std::size_t{1} << 16;

  explicit DTM_LINE_READER(const char* file_name);
  ~DTM_LINE_READER();
  DTM_LINE_READER(const DTM_LINE_READER&) = delete;
  DTM_LINE_READER& operator=(const DTM_LINE_READER&) = delete;

  bool is_open() const { return m_file != nullptr; }

  // Reads the next line ended by '\n'. On success `line` points to a writable,
  // zero-terminated copy of at most LINE_BUFFER - 1 characters (line end not
  // stored) and `length` is the line's full length. A last line that meets the
  // end of the file without a line end is dropped unless `keep_unterminated`.
  bool next_line(char*& line, std::size_t& length, bool keep_unterminated = false);

 private:
  bool refill();

  std::FILE* m_file;
  char* m_chunk = nullptr;  // CHUNK_SIZE bytes from the tracked memory manager
  std::size_t m_position = 0;
  std::size_t m_end = 0;
  char m_line[LINE_BUFFER];
};
