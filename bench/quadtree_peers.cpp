// CGAL's Quadtree on the same projected clouds, for comparison only: refine with bucket size 300
// (our leaf threshold) and a depth limit of 32, which these clouds never reach. The timing
// covers the tree's construction (bounding square) and refine; the point vector is restored
// outside the timing because the tree reorders it.
#include <CGAL/Quadtree.h>
#include <CGAL/Simple_cartesian.h>
#include <benchmark/benchmark.h>

#include "point_clouds.h"

#include <string>
#include <vector>

namespace qtbench {

const std::vector<float>& points2D(bench::Cloud kind, int n);

namespace {

using Kernel = CGAL::Simple_cartesian<double>;
using Point = Kernel::Point_2;
using Tree = CGAL::Quadtree<Kernel, std::vector<Point>>;

void CgalQuadtree(benchmark::State& state, bench::Cloud kind) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<float>& xy = points2D(kind, n);
  std::vector<Point> original;
  original.reserve(n);
  for (int i = 0; i < n; ++i) original.emplace_back(xy[2 * i], xy[2 * i + 1]);
  std::vector<Point> points;
  for (auto _ : state) {
    state.PauseTiming();
    points = original;
    state.ResumeTiming();
    Tree tree(points);
    tree.refine(32, 300);
    benchmark::DoNotOptimize(&tree);
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void registerPeers() {
  for (bench::Cloud kind :
       {bench::Cloud::kUniform, bench::Cloud::kClustered, bench::Cloud::kSurface})
    benchmark::RegisterBenchmark((std::string("CgalQuadtree/") + bench::cloudName(kind)).c_str(),
                                 CgalQuadtree, kind)
        ->Arg(1'000'000)
        ->Arg(10'000'000)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

[[maybe_unused]] const int registered = (registerPeers(), 0);

}  // namespace
}  // namespace qtbench
