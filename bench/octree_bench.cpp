// Octree construction on 1 and 10 million points (uniform, clustered, on a surface) with 8, 32
// and 64 points per leaf, beside a std::memcpy of the same point array.
#include "octree_bench_common.h"

#include <geom/spatial/octree.h>

namespace bench {
namespace {

void Memcpy(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<float>& src = cachedCloud(Cloud::kUniform, n);
  std::vector<float> dst(src.size(), 1.0f);
  timeBuilds(
      state, n, [] {},
      [&] {
        std::memcpy(dst.data(), src.data(), src.size() * sizeof(float));
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
      });
}

void OctreeBuild(benchmark::State& state, Cloud kind) {
  const int n = static_cast<int>(state.range(0));
  const int leaf = static_cast<int>(state.range(1));
  const std::vector<float>& xyz = cachedCloud(kind, n);
  const krGeom::BoundingBox box = boundsOf(xyz);
  int nodes = 0, depth = 0;
  timeBuilds(
      state, n, [] {},
      [&] {
        krGeom::Octree tree(n, xyz.data(), box, false, leaf);
        nodes = tree.numNodes();
        depth = tree.maxDepth();
        benchmark::DoNotOptimize(tree.getRemap());
      });
  state.counters["nodes"] = nodes;
  state.counters["depth"] = depth;
}

BENCHMARK(Memcpy)
    ->Arg(kMillion)
    ->Arg(10 * kMillion)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OctreeBuild, uniform, Cloud::kUniform)->Apply(buildArgs);
BENCHMARK_CAPTURE(OctreeBuild, clustered, Cloud::kClustered)->Apply(buildArgs);
BENCHMARK_CAPTURE(OctreeBuild, surface, Cloud::kSurface)->Apply(buildArgs);

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
