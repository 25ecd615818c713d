// The .ddb checksum against a bit-at-a-time CRC-32 written from the
// polynomial: every length around the folding and table steps, every
// alignment, continued checksums, and a buffer large enough for the long
// folding loop.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "pdb_sys.h"

namespace {

// One bit per step: the definition the faster ways must agree with.
std::uint32_t crc_by_bits(const unsigned char* p, std::size_t size, std::uint32_t crc) {
  std::uint32_t c = ~crc;
  for (std::size_t i = 0; i < size; ++i) {
    c ^= p[i];
    for (int bit = 0; bit < 8; ++bit) {
      c = (c & 1U) != 0 ? (c >> 1) ^ 0xEDB88320U : c >> 1;
    }
  }
  return ~c;
}

std::vector<unsigned char> random_bytes(std::size_t size, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<unsigned char> bytes(size);
  for (unsigned char& byte : bytes) {
    byte = static_cast<unsigned char>(random());
  }
  return bytes;
}

TEST(PdbCrc, KnownCheckValue) {
  // The published check value of this CRC-32 for the nine digits.
  EXPECT_EQ(pdb_crc32("123456789", 9), 0xCBF43926U);
  EXPECT_EQ(pdb_crc32("", 0), 0U);
  EXPECT_EQ(pdb_crc32(nullptr, 0, 0x12345678U), 0x12345678U);
}

TEST(PdbCrc, EveryLengthAndAlignmentMatchesTheBitwiseCrc) {
  const std::vector<unsigned char> bytes = random_bytes(16 + 400, 7);
  const std::uint32_t starts[] = {0U, 0xFFFFFFFFU, 0x89ABCDEFU};
  for (std::size_t offset = 0; offset < 16; ++offset) {
    for (std::size_t size = 0; size <= 400; ++size) {
      for (const std::uint32_t start : starts) {
        ASSERT_EQ(pdb_crc32(bytes.data() + offset, size, start),
                  crc_by_bits(bytes.data() + offset, size, start))
            << "offset " << offset << ", size " << size << ", start " << start;
      }
    }
  }
}

TEST(PdbCrc, ContinuedChecksumEqualsOnePass) {
  const std::vector<unsigned char> bytes = random_bytes(1000, 11);
  const std::uint32_t whole = crc_by_bits(bytes.data(), bytes.size(), 0);
  const std::size_t splits[] = {0, 1, 15, 16, 63, 64, 65, 127, 128, 500, 999, 1000};
  for (const std::size_t split : splits) {
    const std::uint32_t first = pdb_crc32(bytes.data(), split);
    EXPECT_EQ(pdb_crc32(bytes.data() + split, bytes.size() - split, first), whole)
        << "split at " << split;
  }
}

TEST(PdbCrc, LargeBuffersMatchTheBitwiseCrc) {
  struct CASE {
    std::size_t size;
    unsigned seed;
  };
  const CASE cases[] = {{1 << 20, 1}, {(1 << 20) + 13, 2}, {300007, 3}};
  for (const CASE& c : cases) {
    const std::vector<unsigned char> bytes = random_bytes(c.size, c.seed);
    EXPECT_EQ(pdb_crc32(bytes.data(), bytes.size()), crc_by_bits(bytes.data(), bytes.size(), 0))
        << "size " << c.size;
  }
}

TEST(PdbCrc, EverySingleBitFlipChangesTheChecksum) {
  std::vector<unsigned char> bytes = random_bytes(256, 5);
  const std::uint32_t original = pdb_crc32(bytes.data(), bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    for (int bit = 0; bit < 8; ++bit) {
      bytes[i] ^= static_cast<unsigned char>(1U << bit);
      EXPECT_NE(pdb_crc32(bytes.data(), bytes.size()), original) << "byte " << i << " bit " << bit;
      bytes[i] ^= static_cast<unsigned char>(1U << bit);
    }
  }
}

}  // namespace
