// CRC-32 of the .ddb checksums, eight bytes per step (slicing by eight).
#include <array>
#include <bit>
#include <cstring>

#include "pdb_sys.h"

namespace {

using TABLES = std::array<std::array<std::uint32_t, 256>, 8>;

constexpr TABLES make_tables() {
  TABLES t{};
  for (std::uint32_t i = 0; i < 256; ++i) {
    std::uint32_t c = i;
    for (int k = 0; k < 8; ++k) {
      c = (c & 1U) != 0 ? 0xEDB88320U ^ (c >> 1) : c >> 1;
    }
    t[0][i] = c;
  }
  for (std::uint32_t i = 0; i < 256; ++i) {
    for (std::size_t s = 1; s < 8; ++s) {
      t[s][i] = (t[s - 1][i] >> 8) ^ t[0][t[s - 1][i] & 0xFFU];
    }
  }
  return t;
}

constexpr TABLES k_tables = make_tables();

}  // namespace

std::uint32_t pdb_crc32(const void* data, std::size_t size, std::uint32_t crc) noexcept {
  const unsigned char* p = static_cast<const unsigned char*>(data);
  std::uint32_t c = ~crc;
  while (size >= 8) {
    std::uint32_t lo;
    std::uint32_t hi;
    std::memcpy(&lo, p, 4);
    std::memcpy(&hi, p + 4, 4);
    if constexpr (std::endian::native == std::endian::big) {
      lo = __builtin_bswap32(lo);
      hi = __builtin_bswap32(hi);
    }
    lo ^= c;
    c = k_tables[7][lo & 0xFFU] ^ k_tables[6][(lo >> 8) & 0xFFU] ^ k_tables[5][(lo >> 16) & 0xFFU] ^
        k_tables[4][lo >> 24] ^ k_tables[3][hi & 0xFFU] ^ k_tables[2][(hi >> 8) & 0xFFU] ^
        k_tables[1][(hi >> 16) & 0xFFU] ^ k_tables[0][hi >> 24];
    p += 8;
    size -= 8;
  }
  while (size-- > 0) {
    c = k_tables[0][(c ^ *p++) & 0xFFU] ^ (c >> 8);
  }
  return ~c;
}
