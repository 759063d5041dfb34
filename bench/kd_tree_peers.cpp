// CGAL's Kd_tree on the same clouds and boxes as kd_tree_bench.cpp, for comparison only: the
// tree is built (CGAL's default splitter and bucket size) outside the timing, then the same
// 10,000 boxes are searched with Fuzzy_iso_box (epsilon 0, closed like ours). CGAL reports the
// points themselves rather than indices.
#include "kd_tree_bench.h"

#include <CGAL/Fuzzy_iso_box.h>
#include <CGAL/Kd_tree.h>
#include <CGAL/Search_traits_3.h>
#include <CGAL/Simple_cartesian.h>
#include <benchmark/benchmark.h>

#include <iterator>
#include <memory>

namespace kdbench {

namespace {

using Kernel = CGAL::Simple_cartesian<float>;
using Point = Kernel::Point_3;
using Traits = CGAL::Search_traits_3<Kernel>;
using Tree = CGAL::Kd_tree<Traits>;
using Box = CGAL::Fuzzy_iso_box<Traits>;

void CgalSearch(benchmark::State& state, bench::Cloud kind, bool large) {
  const int n = static_cast<int>(state.range(0));
  const Data& d = data(kind, n);
  std::vector<Point> points;
  points.reserve(n);
  for (int i = 0; i < n; ++i) points.emplace_back(d.xyz[3 * i], d.xyz[3 * i + 1], d.xyz[3 * i + 2]);
  Tree tree(points.begin(), points.end());
  tree.build();
  const std::vector<float>& boxes = large ? d.largeBoxes : d.smallBoxes;
  std::vector<Point> found;
  long long hits = 0;
  for (auto _ : state) {
    hits = 0;
    for (int b = 0; b < kNumBoxes; ++b) {
      const float* q = &boxes[6 * b];
      found.clear();
      tree.search(std::back_inserter(found), Box(Point(q[0], q[1], q[2]), Point(q[3], q[4], q[5])));
      hits += static_cast<long long>(found.size());
    }
    benchmark::DoNotOptimize(hits);
  }
  state.counters["per_box"] = benchmark::Counter(
      kNumBoxes, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["hits_per_box"] = static_cast<double>(hits) / kNumBoxes;
}

}  // namespace

void registerPeers(bench::Cloud kind, int n, const std::string& suffix) {
  for (bool large : {false, true})
    benchmark::RegisterBenchmark(
        (std::string("CgalKdSearch/") + (large ? "large/" : "small/") + suffix).c_str(), CgalSearch,
        kind, large)
        ->Arg(n)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

}  // namespace kdbench
