// Point clouds shared by the spatial-index benchmarks: n points as flat x, y, z floats, made
// from a fixed generator state so every run and every peer sees the same data.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace bench {

enum class Cloud { kUniform, kClustered, kSurface };

inline const char* cloudName(Cloud c) {
  switch (c) {
    case Cloud::kUniform:
      return "uniform";
    case Cloud::kClustered:
      return "clustered";
    case Cloud::kSurface:
      return "surface";
  }
  return "?";
}

// Uniform: in the unit cube. Clustered: 64 Gaussian blobs (sigma 0.01) at uniform centres.
// Surface: on the unit sphere, like the vertices of a scanned closed surface.
inline std::vector<float> makeCloud(Cloud kind, int n, std::uint32_t rngSeed = 12345) {
  std::mt19937 rng(rngSeed);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  std::vector<float> xyz(3 * static_cast<std::size_t>(n));
  if (kind == Cloud::kUniform) {
    for (float& v : xyz) v = unit(rng);
  } else if (kind == Cloud::kClustered) {
    std::vector<float> centres(3 * 64);
    for (float& v : centres) v = unit(rng);
    std::normal_distribution<float> blob(0.0f, 0.01f);
    std::uniform_int_distribution<int> pick(0, 63);
    for (int i = 0; i < n; ++i) {
      int c = pick(rng);
      for (int k = 0; k < 3; ++k) xyz[3 * i + k] = centres[3 * c + k] + blob(rng);
    }
  } else {
    std::normal_distribution<float> gauss(0.0f, 1.0f);
    for (int i = 0; i < n; ++i) {
      float x = gauss(rng), y = gauss(rng), z = gauss(rng);
      float r = std::sqrt(x * x + y * y + z * z);
      if (r == 0.0f) r = 1.0f, x = 1.0f;
      xyz[3 * i] = x / r;
      xyz[3 * i + 1] = y / r;
      xyz[3 * i + 2] = z / r;
    }
  }
  return xyz;
}

// The same points projected to 2D (x, y), for the quadtree.
inline std::vector<float> projectXY(const std::vector<float>& xyz) {
  std::vector<float> xy(xyz.size() / 3 * 2);
  for (std::size_t i = 0; i < xyz.size() / 3; ++i) {
    xy[2 * i] = xyz[3 * i];
    xy[2 * i + 1] = xyz[3 * i + 1];
  }
  return xy;
}

}  // namespace bench
