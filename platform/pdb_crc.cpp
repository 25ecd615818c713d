// CRC-32 of the .ddb checksums. Long buffers are folded 64 bytes per step
// with carry-less multiplication where the processor has it; the rest goes
// eight bytes per step through tables (slicing by eight). Both give the same
// value: the fold reduces the buffer modulo the same polynomial.
#include <array>
#include <bit>
#include <cstring>

#include "pdb_sys.h"

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#include <immintrin.h>
#define PDB_CRC_FOLD 1
#endif

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

// `c` is the running register (the complemented CRC).
std::uint32_t crc_tables(const unsigned char* p, std::size_t size, std::uint32_t c) noexcept {
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
  return c;
}

#ifdef PDB_CRC_FOLD

__attribute__((target("pclmul,sse2"))) inline __m128i load(const unsigned char* at) noexcept {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

// `lane` times the two halves of `k` (x^(n+32) and x^(n-32) mod P, for a
// fold forward by n bits), added to `next`.
__attribute__((target("pclmul,sse2"))) inline __m128i fold(__m128i lane, __m128i k,
                                                           __m128i next) noexcept {
  const __m128i lo = _mm_clmulepi64_si128(lane, k, 0x00);
  const __m128i hi = _mm_clmulepi64_si128(lane, k, 0x11);
  return _mm_xor_si128(_mm_xor_si128(lo, hi), next);
}

// Folds the leading multiple of 16 bytes (at least 64) of `p` into the
// register `c` and answers the new register. Four 128-bit lanes are each
// multiplied forward by x^512 (mod P) and added to the next 64 bytes, then
// the lanes are folded into one, the remaining 16-byte blocks are folded in
// (x^128), and the 128 bits are reduced to 32 (Barrett). The constants are
// powers of x modulo P, bit-reflected like the register.
__attribute__((target("pclmul,sse2"))) std::uint32_t crc_fold(const unsigned char* p,
                                                              std::size_t size,
                                                              std::uint32_t c) noexcept {
  const __m128i k_512 = _mm_set_epi64x(0x01c6e41596LL, 0x0154442bd4LL);
  const __m128i k_128 = _mm_set_epi64x(0x00ccaa009eLL, 0x01751997d0LL);
  const __m128i k_64 = _mm_set_epi64x(0, 0x0163cd6124LL);
  const __m128i k_barrett = _mm_set_epi64x(0x01f7011641LL, 0x01db710641LL);
  const __m128i low32 = _mm_set_epi32(0, -1, 0, -1);

  __m128i a = _mm_xor_si128(load(p), _mm_cvtsi32_si128(static_cast<int>(c)));
  __m128i b = load(p + 16);
  __m128i d = load(p + 32);
  __m128i e = load(p + 48);
  p += 64;
  size -= 64;
  while (size >= 64) {
    a = fold(a, k_512, load(p));
    b = fold(b, k_512, load(p + 16));
    d = fold(d, k_512, load(p + 32));
    e = fold(e, k_512, load(p + 48));
    p += 64;
    size -= 64;
  }
  a = fold(a, k_128, b);
  a = fold(a, k_128, d);
  a = fold(a, k_128, e);
  while (size >= 16) {
    a = fold(a, k_128, load(p));
    p += 16;
    size -= 16;
  }
  // 128 bits to 64, then to a 64-bit value whose top 32 bits remain.
  a = _mm_xor_si128(_mm_srli_si128(a, 8), _mm_clmulepi64_si128(a, k_128, 0x10));
  a = _mm_xor_si128(_mm_srli_si128(a, 4),
                    _mm_clmulepi64_si128(_mm_and_si128(a, low32), k_64, 0x00));
  // Barrett reduction modulo P.
  __m128i q = _mm_clmulepi64_si128(_mm_and_si128(a, low32), k_barrett, 0x10);
  q = _mm_clmulepi64_si128(_mm_and_si128(q, low32), k_barrett, 0x00);
  a = _mm_xor_si128(a, q);
  return static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(a, 4)));
}

bool has_fold() noexcept {
  static const bool available = __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse2");
  return available;
}

#endif

}  // namespace

std::uint32_t pdb_crc32(const void* data, std::size_t size, std::uint32_t crc) noexcept {
  const unsigned char* p = static_cast<const unsigned char*>(data);
  std::uint32_t c = ~crc;
#ifdef PDB_CRC_FOLD
  if (size >= 64 && has_fold()) {
    const std::size_t folded = size & ~static_cast<std::size_t>(15);
    c = crc_fold(p, folded, c);
    p += folded;
    size -= folded;
  }
#endif
  return ~crc_tables(p, size, c);
}
