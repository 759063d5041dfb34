// Shared data of the kd-tree benchmarks (kd_tree_bench.cpp) and their CGAL peers
// (kd_tree_peers.cpp): one cloud, its two insertion orders and two box sets per (kind, n).
#pragma once

#include "point_clouds.h"

#include <string>
#include <vector>

namespace kdbench {

constexpr int kNumBoxes = 10'000;

struct Data {
  std::vector<float> xyz;
  std::vector<int> randomOrder;
  std::vector<int> scanOrder;
  std::vector<float> smallBoxes;  // kNumBoxes boxes of 6 floats, about 10 points each
  std::vector<float> largeBoxes;  // about 200 points each
};

// Made once per (kind, n) and kept.
const Data& data(bench::Cloud kind, int n);

// Registers the peer benchmarks for one cloud, right after ours (a no-op without peers).
void registerPeers(bench::Cloud kind, int n, const std::string& suffix);

}  // namespace kdbench
