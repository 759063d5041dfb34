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
