#include "gen_sys.h"

namespace {

int lower(unsigned char c) noexcept { return (c >= 'A' && c <= 'Z') ? c - 'A' + 'a' : c; }

template <class FOLD>
int compare(const char* a, const char* b, FOLD fold) noexcept {
  if (a == nullptr || b == nullptr) {
    return (a == nullptr ? 0 : 1) - (b == nullptr ? 0 : 1);
  }
  const auto* x = reinterpret_cast<const unsigned char*>(a);
  const auto* y = reinterpret_cast<const unsigned char*>(b);
  while (*x != 0 && fold(*x) == fold(*y)) {
    ++x;
    ++y;
  }
  return fold(*x) - fold(*y);
}

}  // namespace

int gen_strcmp(const char* a, const char* b) noexcept {
  return compare(a, b, [](unsigned char c) { return static_cast<int>(c); });
}

int gen_stricmp(const char* a, const char* b) noexcept { return compare(a, b, lower); }

char* gen_itoa(int value, char* buffer, int radix) noexcept {
  if (buffer == nullptr) {
    return buffer;
  }
  if (radix < 2 || radix > 36) {
    buffer[0] = '\0';
    return buffer;
  }
  // Work on the magnitude as unsigned so that INT_MIN needs no special case.
  unsigned magnitude = value < 0 ? 0u - static_cast<unsigned>(value) : static_cast<unsigned>(value);
  char digits[33];
  int count = 0;
  do {
    const unsigned digit = magnitude % static_cast<unsigned>(radix);
    digits[count++] = static_cast<char>(digit < 10 ? '0' + digit : 'a' + digit - 10);
    magnitude /= static_cast<unsigned>(radix);
  } while (magnitude != 0);
  char* out = buffer;
  if (value < 0) {
    *out++ = '-';
  }
  while (count > 0) {
    *out++ = digits[--count];
  }
  *out = '\0';
  return buffer;
}
