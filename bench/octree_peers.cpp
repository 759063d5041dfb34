// Peers of the octree build on the same clouds, for comparison only:
// - CGAL's Octree (Orthtree) refine with the octree's bucket size and a depth bound equal to the
//   octree's deepest possible level. CGAL reorders its point range, so each build starts from a
//   fresh copy made outside the timing; its constructor also computes the bounding box, which the
//   krGeom octree is given.
// - nanoflann's KDTreeSingleIndexAdaptor::buildIndex with the same leaf size, given the box.
#include "octree_bench_common.h"

#include <CGAL/Octree.h>
#include <CGAL/Simple_cartesian.h>
#include <nanoflann.hpp>

#include <cstdint>

namespace bench {
namespace {

using Kernel = CGAL::Simple_cartesian<float>;
using CgalPoints = std::vector<Kernel::Point_3>;
using CgalOctree = CGAL::Octree<Kernel, CgalPoints>;

void CgalOctreeRefine(benchmark::State& state, Cloud kind) {
  const int n = static_cast<int>(state.range(0));
  const int leaf = static_cast<int>(state.range(1));
  const std::vector<float>& xyz = cachedCloud(kind, n);
  CgalPoints source;
  source.reserve(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) source.emplace_back(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]);
  CgalPoints points;
  timeBuilds(
      state, n, [&] { points = source; },
      [&] {
        CgalOctree tree(points);
        tree.refine(static_cast<std::size_t>(octreeDepthLimit(n)), static_cast<std::size_t>(leaf));
        benchmark::DoNotOptimize(&tree);
      });
}

// nanoflann's dataset adaptor over the flat point array.
struct FlatCloud {
  const float* xyz;
  std::size_t n;
  krGeom::BoundingBox box;
  std::size_t kdtree_get_point_count() const { return n; }
  float kdtree_get_pt(std::size_t i, std::size_t dim) const { return xyz[3 * i + dim]; }
  template <class Bbox>
  bool kdtree_get_bbox(Bbox& bb) const {
    float lo[3], hi[3];
    box.minPt(lo);
    box.maxPt(hi);
    for (int k = 0; k < 3; ++k) bb[k].low = lo[k], bb[k].high = hi[k];
    return true;
  }
};

using KdTree = nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<float, FlatCloud>,
                                                   FlatCloud, 3, std::uint32_t>;

void NanoflannBuildIndex(benchmark::State& state, Cloud kind) {
  const int n = static_cast<int>(state.range(0));
  const int leaf = static_cast<int>(state.range(1));
  const std::vector<float>& xyz = cachedCloud(kind, n);
  const FlatCloud cloud{xyz.data(), static_cast<std::size_t>(n), boundsOf(xyz)};
  timeBuilds(
      state, n, [] {},
      [&] {
        KdTree tree(3, cloud,
                    nanoflann::KDTreeSingleIndexAdaptorParams(
                        static_cast<std::size_t>(leaf),
                        nanoflann::KDTreeSingleIndexAdaptorFlags::SkipInitialBuildIndex));
        tree.buildIndex();
        benchmark::DoNotOptimize(&tree);
      });
}

BENCHMARK_CAPTURE(CgalOctreeRefine, uniform, Cloud::kUniform)->Apply(buildArgs);
BENCHMARK_CAPTURE(CgalOctreeRefine, clustered, Cloud::kClustered)->Apply(buildArgs);
BENCHMARK_CAPTURE(CgalOctreeRefine, surface, Cloud::kSurface)->Apply(buildArgs);
BENCHMARK_CAPTURE(NanoflannBuildIndex, uniform, Cloud::kUniform)->Apply(buildArgs);
BENCHMARK_CAPTURE(NanoflannBuildIndex, clustered, Cloud::kClustered)->Apply(buildArgs);
BENCHMARK_CAPTURE(NanoflannBuildIndex, surface, Cloud::kSurface)->Apply(buildArgs);

}  // namespace
}  // namespace bench
