// Quadtree build on 1 and 10 million points (uniform, clustered and surface clouds projected to
// x, y), beside std::memcpy of the same point array (the bytes-moved floor). The peers build
// adds CGAL's Quadtree refine with the same bucket size (quadtree_peers.cpp).
#include "point_clouds.h"

#include <geom/spatial/quadtree.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

namespace qtbench {

// The projected cloud, made once per (kind, n).
const std::vector<float>& points2D(bench::Cloud kind, int n) {
  static std::map<std::pair<int, int>, std::vector<float>> cache;
  auto [it, fresh] = cache.try_emplace({static_cast<int>(kind), n});
  if (fresh) it->second = bench::projectXY(bench::makeCloud(kind, n));
  return it->second;
}

// The bounding box of the points in x and y.
void bounds(const std::vector<float>& xy, float* lo, float* hi) {
  lo[0] = lo[1] = 3.4e38f;
  hi[0] = hi[1] = -3.4e38f;
  for (std::size_t i = 0; i < xy.size(); i += 2) {
    for (int k = 0; k < 2; ++k) {
      lo[k] = std::min(lo[k], xy[i + k]);
      hi[k] = std::max(hi[k], xy[i + k]);
    }
  }
  lo[2] = hi[2] = 0.0f;
}

namespace {

void Memcpy(benchmark::State& state, bench::Cloud kind) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<float>& xy = points2D(kind, n);
  std::vector<float> copy(xy.size());
  for (auto _ : state) {
    std::memcpy(copy.data(), xy.data(), xy.size() * sizeof(float));
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void KrQuadtree(benchmark::State& state, bench::Cloud kind) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<float>& xy = points2D(kind, n);
  float lo[3], hi[3];
  bounds(xy, lo, hi);
  const krGeom::BoundingBox box(lo, hi);
  int nodes = 0, depth = 0;
  for (auto _ : state) {
    krGeom::Quadtree tree(n, xy.data(), box);
    nodes = tree.numNodes();
    depth = tree.maxDepth();
    benchmark::DoNotOptimize(tree.getRemap());
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.counters["nodes"] = nodes;
  state.counters["maxDepth"] = depth;
}

void registerAll() {
  for (bench::Cloud kind :
       {bench::Cloud::kUniform, bench::Cloud::kClustered, bench::Cloud::kSurface}) {
    const std::string name = bench::cloudName(kind);
    for (auto [label, fn] : {std::pair{"Memcpy/", &Memcpy}, std::pair{"Quadtree/", &KrQuadtree}})
      benchmark::RegisterBenchmark((label + name).c_str(), fn, kind)
          ->Arg(1'000'000)
          ->Arg(10'000'000)
          ->Unit(benchmark::kMillisecond)
          ->UseRealTime();
  }
}

[[maybe_unused]] const int registered = (registerAll(), 0);

}  // namespace
}  // namespace qtbench

BENCHMARK_MAIN();
