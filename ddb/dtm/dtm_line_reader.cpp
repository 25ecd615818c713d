#include "dtm_line_reader.h"

#include <cstring>

DTM_LINE_READER::DTM_LINE_READER(const char* file_name)
    : m_file(file_name != nullptr ? std::fopen(file_name, "rb") : nullptr) {
  if (m_file != nullptr) {
    // Left uninitialised: only the bytes that fread stores are ever read.
    m_chunk = static_cast<char*>(MEM_MANAGER::allocate(CHUNK_SIZE));
  }
}

DTM_LINE_READER::~DTM_LINE_READER() {
  if (m_file != nullptr) {
    std::fclose(m_file);
  }
  MEM_MANAGER::deallocate(m_chunk, CHUNK_SIZE);
}

bool DTM_LINE_READER::refill() {
  m_position = 0;
  m_end = std::fread(m_chunk, 1, CHUNK_SIZE, m_file);
  return m_end > 0;
}

bool DTM_LINE_READER::next_line(char*& line, std::size_t& length, bool keep_unterminated) {
  if (m_file == nullptr) {
    return false;
  }
  std::size_t total = 0;
  std::size_t kept = 0;
  for (;;) {
    if (m_position == m_end && !refill()) {
      if (total > 0 && keep_unterminated) {
        break;
      }
      return false;
    }
    const char* start = m_chunk + m_position;
    const std::size_t available = m_end - m_position;
    const auto* newline = static_cast<const char*>(std::memchr(start, '\n', available));
    const std::size_t piece =
        newline != nullptr ? static_cast<std::size_t>(newline - start) : available;
    const std::size_t room = LINE_BUFFER - 1 - kept;
    const std::size_t copied = piece < room ? piece : room;
    std::memcpy(m_line + kept, start, copied);
    kept += copied;
    total += piece;
    if (newline != nullptr) {
      m_position += piece + 1;
      break;
    }
    m_position = m_end;
  }
  m_line[kept] = '\0';
  line = m_line;
  length = total;
  return true;
}
