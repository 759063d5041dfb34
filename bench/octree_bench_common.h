// Shared by the octree benchmarks: cached clouds, their boxes, the memcpy reference and the
// counters every build benchmark reports (nanoseconds per point and the ratio to a memcpy of the
// point array). Builds are timed in the thread's CPU time (page faults included), so that other
// processes on a shared machine do not inflate the figures; the Time column shows the same.
#pragma once

#include "point_clouds.h"

#include <benchmark/benchmark.h>
#include <geom/spatial/bounding_box.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>
#include <map>
#include <utility>
#include <vector>

namespace bench {

inline const std::vector<float>& cachedCloud(Cloud kind, int n) {
  static std::map<std::pair<Cloud, int>, std::vector<float>> clouds;
  auto it = clouds.find({kind, n});
  if (it == clouds.end()) it = clouds.emplace(std::make_pair(kind, n), makeCloud(kind, n)).first;
  return it->second;
}

inline krGeom::BoundingBox boundsOf(const std::vector<float>& xyz) {
  krGeom::BoundingBox box;
  box.setInvalid();
  for (std::size_t i = 0; i < xyz.size(); i += 3) box.extend({xyz[i], xyz[i + 1], xyz[i + 2]});
  return box;
}

// The depth limit of the octree, ceil(2 ln n / ln 8), for peers given a matching depth bound.
inline int octreeDepthLimit(int n) {
  return static_cast<int>(std::ceil(2.0 * std::log(n) / std::log(8.0)));
}

// The calling thread's CPU time in nanoseconds.
inline double threadNs() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) * 1e9 + static_cast<double>(t.tv_nsec);
}

// Nanoseconds per point of copying n points (12 bytes each) with std::memcpy into memory that is
// already mapped: the best of five copies, in thread CPU time.
inline double memcpyNsPerPoint(int n) {
  static std::map<int, double> cache;
  auto it = cache.find(n);
  if (it != cache.end()) return it->second;
  const std::vector<float>& src = cachedCloud(Cloud::kUniform, n);
  std::vector<float> dst(src.size(), 1.0f);
  double best = 1e300;
  for (int rep = 0; rep < 5; ++rep) {
    const double t0 = threadNs();
    std::memcpy(dst.data(), src.data(), src.size() * sizeof(float));
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
    best = std::min(best, threadNs() - t0);
  }
  return cache[n] = best / n;
}

// Times one build per iteration in thread CPU time: prepare() runs untimed, build() timed.
template <class Prepare, class Build>
void timeBuilds(benchmark::State& state, int n, Prepare prepare, Build build) {
  double totalNs = 0.0;
  for (auto _ : state) {
    prepare();
    const double t0 = threadNs();
    build();
    const double ns = threadNs() - t0;
    state.SetIterationTime(ns * 1e-9);
    totalNs += ns;
  }
  const double nsPerPoint = totalNs / static_cast<double>(state.iterations()) / n;
  state.counters["ns_per_pt"] = nsPerPoint;
  state.counters["x_memcpy"] = nsPerPoint / memcpyNsPerPoint(n);
}

constexpr int kMillion = 1000000;

// n x points-per-leaf for every build benchmark.
inline void buildArgs(benchmark::internal::Benchmark* b) {
  for (int n : {kMillion, 10 * kMillion})
    for (int leaf : {8, 32, 64}) b->Args({n, leaf});
  b->UseManualTime()->Unit(benchmark::kMillisecond);
}

}  // namespace bench
