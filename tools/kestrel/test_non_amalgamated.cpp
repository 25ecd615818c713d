#include <cstring>

#include "dtm_line_reader.h"
#include "kestrel.h"

bool test_non_amalgamated(const char* file_name) {
  DTM_LINE_READER reader(file_name);
  char* line = nullptr;
  std::size_t length = 0;
  if (!reader.next_line(line, length, /*keep_unterminated=*/true)) {
    return true;
  }
  return std::strstr(line, "***DEVICE_LISTING") == nullptr;
}
