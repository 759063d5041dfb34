// The build keys of the octree: each point's octant codes for several levels at once, made
// exactly as halving the boxes would make them.
#pragma once

#include "axis_cells.h"

#include <array>
#include <cstdint>

namespace krGeom {
namespace octreeKeys {

// Key levels computed at once: ten octant codes of three bits fit one 32-bit key.
constexpr int kKeyLevels = 10;

// One point of the build's scratch: its octant codes for up to kKeyLevels levels below the node
// whose box the key was made in (three bits per level, the first level highest), and its index.
struct Item {
  std::uint32_t key;
  int index;
};

// Bit i of a 10-bit cell number moved to bit 3i, for interleaving the three axes.
inline constexpr auto kSpread = [] {
  std::array<std::uint32_t, 1 << kKeyLevels> table{};
  for (std::uint32_t i = 0; i < table.size(); ++i)
    for (int b = 0; b < kKeyLevels; ++b) table[i] |= ((i >> b) & 1u) << (3 * b);
  return table;
}();

// The cell tables of a box's three axes, with room for kKeyLevels levels each.
struct BoxCells {
  float edges[3][(1 << kKeyLevels) + 1];
  AxisCells axis[3];

  // Makes the tables for `levels` levels; returns the wide axes (bit a for axis a).
  unsigned init(const float* minPt, const float* maxPt, int levels) {
    unsigned wide = 0;
    for (int a = 0; a < 3; ++a) {
      axis[a].init(minPt[a], maxPt[a], levels, edges[a]);
      wide |= unsigned(axis[a].wide()) << a;
    }
    return wide;
  }
  // The key of point p: its cells on the three axes, interleaved.
  std::uint32_t keyOf(const float* p) const {
    return kSpread[axis[0].cellOf(p[0])] | kSpread[axis[1].cellOf(p[1])] << 1 |
           kSpread[axis[2].cellOf(p[2])] << 2;
  }
  // The keys of the four points p[0 ... 11], as keyOf makes them.
  void keysOf4(const float* p, std::uint32_t* keys) const {
#if KRGEOM_SPATIAL_SSE2
    __m128i key = _mm_setzero_si128();
    for (int a = 0; a < 3; ++a) {
      const __m128i cell = axis[a].cellOf4(_mm_setr_ps(p[a], p[3 + a], p[6 + a], p[9 + a]));
      key = _mm_or_si128(key, _mm_slli_epi32(spreadLanes(cell, kSpreadSteps), a));
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(keys), key);
#else
    for (int l = 0; l < 4; ++l) keys[l] = keyOf(p + 3 * l);
#endif
  }
#if KRGEOM_SPATIAL_AVX2
  // The keys of the eight points p[0 ... 23], as keyOf makes them; the processor must have AVX2.
  __attribute__((target("avx2"))) void keysOf8(const float* p, std::uint32_t* keys) const {
    __m256i key = _mm256_setzero_si256();
    for (int a = 0; a < 3; ++a) {
      const __m256 x = _mm256_setr_ps(p[a], p[3 + a], p[6 + a], p[9 + a], p[12 + a], p[15 + a],
                                      p[18 + a], p[21 + a]);
      key =
          _mm256_or_si256(key, _mm256_slli_epi32(spreadLanes(axis[a].cellOf8(x), kSpreadSteps), a));
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(keys), key);
  }
#endif

 private:
  // Bit i of each lane's 10-bit number moved to bit 3i.
  static constexpr SpreadSteps kSpreadSteps = {{16, 8, 4, 2},
                                               {0x030000ff, 0x0300f00f, 0x030c30c3, 0x09249249}};
};

// The cell number on axis a (0 to 2) of a key.
inline std::uint32_t cellOnAxis(std::uint32_t key, int a) {
  std::uint32_t x = (key >> a) & 0x09249249u;
  x = (x ^ (x >> 2)) & 0x030c30c3u;
  x = (x ^ (x >> 4)) & 0x0300f00fu;
  x = (x ^ (x >> 8)) & 0xff0000ffu;
  return (x ^ (x >> 16)) & 0x3ffu;
}

}  // namespace octreeKeys
}  // namespace krGeom
