#include "crc32c.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace {

using krPacket::crc32c;
using krPacket::crc32cHardware;
using krPacket::crc32cHardwareAvailable;
using krPacket::crc32cPortable;

using CrcFn = std::uint32_t (*)(std::uint32_t, const void*, std::size_t);

// Both implementations; the hardware one only where the CPU has it.
std::vector<CrcFn> paths() {
  std::vector<CrcFn> p{crc32cPortable};
  if (crc32cHardwareAvailable()) p.push_back(crc32cHardware);
  return p;
}

TEST(Crc32c, KnownVectorsOnEveryPath) {
  std::uint8_t zeros[32] = {}, ones[32], up[32];
  std::memset(ones, 0xFF, sizeof ones);
  for (int i = 0; i < 32; ++i) up[i] = static_cast<std::uint8_t>(i);
  for (CrcFn f : paths()) {
    EXPECT_EQ(f(0, "123456789", 9), 0xE3069283u);
    EXPECT_EQ(f(0, "", 0), 0u);
    EXPECT_EQ(f(0, zeros, 32), 0x8A9136AAu);
    EXPECT_EQ(f(0, ones, 32), 0x62A8AB43u);
    EXPECT_EQ(f(0, up, 32), 0x46DD794Eu);
  }
}

// Lengths around the hardware path's three-stream blocks (3 x 128 and 3 x 2048 bytes), odd offsets,
// and split computations.
TEST(Crc32c, PathsAgreeOnAllLengthsAndSplits) {
  std::mt19937 rng(20261125);
  std::vector<std::uint8_t> data(20000);
  for (auto& b : data) b = static_cast<std::uint8_t>(rng());
  for (std::size_t n : {1u, 7u, 8u, 9u, 383u, 384u, 385u, 6143u, 6144u, 6529u, 19999u}) {
    std::uint32_t expect = crc32cPortable(0, data.data() + 1, n);
    for (CrcFn f : paths()) {
      EXPECT_EQ(f(0, data.data() + 1, n), expect) << n;
      std::size_t half = n / 3;
      EXPECT_EQ(f(f(0, data.data() + 1, half), data.data() + 1 + half, n - half), expect) << n;
    }
    EXPECT_EQ(crc32c(0, data.data() + 1, n), expect);
  }
}

}  // namespace
