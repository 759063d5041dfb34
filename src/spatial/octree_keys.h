// The build keys of the octree: each point's octant codes for several levels at once, made
// exactly as halving the boxes would make them.
#pragma once

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

// One axis of a box halved `levels` times exactly as getSubBox() halves it: edge[j] is the lower
// edge of cell j. A coordinate's cell is the path of "x >= mid goes up" choices from the box.
struct AxisCells {
  float edge[(1 << kKeyLevels) + 1];
  int cells = 1;
  float lo = 0.0f, scale = 0.0f;
  bool sorted = true;
  bool wide = false;

  void init(float min, float max, int levels) {
    cells = 1 << levels;
    edge[0] = min;
    edge[cells] = max;
    for (int step = cells; step > 1; step /= 2)
      for (int l = 0; l < cells; l += step) edge[l + step / 2] = (edge[l] + edge[l + step]) * 0.5f;
    lo = min;
    scale = static_cast<float>(cells) / (max - min);
    // With ascending inner edges, the path of a coordinate is the number of inner edges <= it;
    // that count is then found from a guess and checked against the two edges around it.
    sorted = true;
    for (int j = 1; j + 1 < cells; ++j) sorted = sorted && edge[j] <= edge[j + 1];
    // Whether no inner cell is empty: then points two or more cells apart, neither in cell 0
    // (where NaN goes), are more than one float step apart.
    wide = true;
    for (int j = 1; j + 1 < cells; ++j) wide = wide && edge[j] < edge[j + 1];
  }

  int cellOf(float x) const {
    if (sorted) {
      float t = (x - lo) * scale;
      if (!(t >= 0.0f)) t = 0.0f;  // NaN included
      const float top = static_cast<float>(cells - 1);
      if (t > top) t = top;
      const int i = static_cast<int>(t);
      if ((i == 0 || edge[i] <= x) && (i == cells - 1 || x < edge[i + 1])) return i;
    }
    int l = 0, r = cells;  // descend the halvings
    while (r - l > 1) {
      const int m = (l + r) / 2;
      if (x >= edge[m])
        l = m;
      else
        r = m;
    }
    return l;
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
