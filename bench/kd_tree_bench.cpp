// KDTree on 1 and 10 million points (uniform, clustered and surface clouds): inserting every
// point in random order and in scan order (by scan line of y, then x, as a scanner delivers
// them), then 10,000 box searches on each tree, with boxes sized to hold about 10 ("small") or
// about 200 ("large") points. References in the same run: std::memcpy of the point array, and
// a linear scan over all points for the first 100 boxes. The counters give seconds per
// point inserted (per_point) or per box searched (per_box) and the mean hits per box.
// KdInsertSearch adds one search after inserting, which builds the tree's search cache; the
// KdSearch runs search a tree whose cache is built. The
// peers build adds CGAL's Kd_tree with Fuzzy_iso_box on the same boxes (kd_tree_peers.cpp).
#include "kd_tree_bench.h"

#include <geom/spatial/kd_tree.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <tuple>

namespace kdbench {

namespace {

// Points of the sample used to size the boxes.
constexpr int kSampleSize = 100'000;

// Side of the cube that holds about `target` points on average around the given centres,
// estimated on an even sample of the cloud by bisection over the logarithm of the side.
float sideFor(const std::vector<float>& xyz, const std::vector<float>& centres, double target) {
  const int n = static_cast<int>(xyz.size() / 3);
  const int step = std::max(1, n / kSampleSize);
  const double scale = static_cast<double>(n) / ((n + step - 1) / step);
  const int numCentres = 200;
  double lo = std::log(1e-5), hi = std::log(4.0);
  for (int iter = 0; iter < 24; ++iter) {
    const double mid = 0.5 * (lo + hi);
    const float h = static_cast<float>(std::exp(mid)) * 0.5f;
    long long hits = 0;
    for (int c = 0; c < numCentres; ++c) {
      const float* q = &centres[3 * c];
      for (int i = 0; i < n; i += step) {
        const float* p = &xyz[3 * static_cast<std::size_t>(i)];
        hits += std::fabs(p[0] - q[0]) <= h && std::fabs(p[1] - q[1]) <= h &&
                std::fabs(p[2] - q[2]) <= h;
      }
    }
    (hits * scale / numCentres < target ? lo : hi) = mid;
  }
  return static_cast<float>(std::exp(0.5 * (lo + hi)));
}

}  // namespace

const Data& data(bench::Cloud kind, int n) {
  static std::map<std::pair<int, int>, Data> cache;
  auto [it, fresh] = cache.try_emplace({static_cast<int>(kind), n});
  Data& d = it->second;
  if (!fresh) return d;
  d.xyz = bench::makeCloud(kind, n);

  const unsigned rngSeed = 4242u + static_cast<unsigned>(kind);
  std::printf("%s %d: rngSeed %u for order and boxes\n", bench::cloudName(kind), n, rngSeed);
  std::mt19937 rng(rngSeed);
  d.randomOrder.resize(n);
  std::iota(d.randomOrder.begin(), d.randomOrder.end(), 0);
  std::shuffle(d.randomOrder.begin(), d.randomOrder.end(), rng);

  // Scan order: sqrt(n) scan lines across the y range, each walked in increasing x.
  float ylo = 3.4e38f, yhi = -3.4e38f;
  for (int i = 0; i < n; ++i)
    ylo = std::min(ylo, d.xyz[3 * i + 1]), yhi = std::max(yhi, d.xyz[3 * i + 1]);
  const int lines = static_cast<int>(std::sqrt(static_cast<double>(n)));
  std::vector<std::pair<std::pair<int, float>, int>> keyed(n);
  for (int i = 0; i < n; ++i) {
    const int line =
        std::min(lines - 1, static_cast<int>((d.xyz[3 * i + 1] - ylo) / (yhi - ylo) * lines));
    keyed[i] = {{line, d.xyz[3 * i]}, i};
  }
  std::sort(keyed.begin(), keyed.end());
  d.scanOrder.resize(n);
  for (int i = 0; i < n; ++i) d.scanOrder[i] = keyed[i].second;

  // Box centres on random points, so that every box lies where the cloud is.
  std::vector<float> centres(3 * kNumBoxes);
  std::uniform_int_distribution<int> anyPoint(0, n - 1);
  for (int b = 0; b < kNumBoxes; ++b) {
    const int p = anyPoint(rng);
    for (int k = 0; k < 3; ++k) centres[3 * b + k] = d.xyz[3 * p + k];
  }
  for (int s = 0; s < 2; ++s) {
    const float side = sideFor(d.xyz, centres, s == 0 ? 10.0 : 200.0);
    std::vector<float>& boxes = s == 0 ? d.smallBoxes : d.largeBoxes;
    boxes.resize(6 * kNumBoxes);
    for (int b = 0; b < kNumBoxes; ++b)
      for (int k = 0; k < 3; ++k) {
        boxes[6 * b + k] = centres[3 * b + k] - 0.5f * side;
        boxes[6 * b + 3 + k] = centres[3 * b + k] + 0.5f * side;
      }
  }
  return d;
}

namespace {

const char* sizeName(bool large) {
  return large ? "large" : "small";
}

// The tree of the last (kind, n, order) asked for; building 10 million points takes seconds.
const krGeom::KDTree& tree(bench::Cloud kind, int n, bool scan) {
  static std::tuple<int, int, bool> key{-1, 0, false};
  static std::unique_ptr<krGeom::KDTree> cached;
  if (key != std::tuple{static_cast<int>(kind), n, scan}) {
    cached.reset();
    const Data& d = data(kind, n);
    cached = std::make_unique<krGeom::KDTree>(n);
    for (int i : scan ? d.scanOrder : d.randomOrder) cached->insert(d.xyz.data(), i);
    key = {static_cast<int>(kind), n, scan};
  }
  return *cached;
}

void perItem(benchmark::State& state, const char* name, double items) {
  state.counters[name] = benchmark::Counter(
      items, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void Memcpy(benchmark::State& state, bench::Cloud kind) {
  const int n = static_cast<int>(state.range(0));
  const Data& d = data(kind, n);
  std::vector<float> copy(d.xyz.size());
  for (auto _ : state) {
    std::memcpy(copy.data(), d.xyz.data(), d.xyz.size() * sizeof(float));
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  perItem(state, "per_point", n);
}

void Insert(benchmark::State& state, bench::Cloud kind, bool scan) {
  const int n = static_cast<int>(state.range(0));
  const Data& d = data(kind, n);
  const std::vector<int>& order = scan ? d.scanOrder : d.randomOrder;
  for (auto _ : state) {
    krGeom::KDTree t(n);
    for (int i : order) t.insert(d.xyz.data(), i);
    benchmark::DoNotOptimize(&t);
  }
  perItem(state, "per_point", n);
}

// Inserting, then one search, which builds the search cache.
void InsertSearch(benchmark::State& state, bench::Cloud kind, bool scan) {
  const int n = static_cast<int>(state.range(0));
  const Data& d = data(kind, n);
  const std::vector<int>& order = scan ? d.scanOrder : d.randomOrder;
  std::vector<int> found;
  for (auto _ : state) {
    krGeom::KDTree t(n);
    for (int i : order) t.insert(d.xyz.data(), i);
    found.clear();
    t.searchAll(d.xyz.data(), d.smallBoxes.data(), found);
    benchmark::DoNotOptimize(found.data());
  }
  perItem(state, "per_point", n);
}

void Search(benchmark::State& state, bench::Cloud kind, bool scan, bool large) {
  const int n = static_cast<int>(state.range(0));
  const Data& d = data(kind, n);
  const krGeom::KDTree& t = tree(kind, n, scan);
  const std::vector<float>& boxes = large ? d.largeBoxes : d.smallBoxes;
  std::vector<int> found;
  // The first search after inserting builds the search cache (timed by KdInsertSearch).
  t.searchAll(d.xyz.data(), boxes.data(), found);
  long long hits = 0;
  for (auto _ : state) {
    hits = 0;
    for (int b = 0; b < kNumBoxes; ++b) {
      found.clear();
      t.searchAll(d.xyz.data(), &boxes[6 * b], found);
      hits += static_cast<long long>(found.size());
    }
    benchmark::DoNotOptimize(hits);
  }
  perItem(state, "per_box", kNumBoxes);
  state.counters["hits_per_box"] = static_cast<double>(hits) / kNumBoxes;
}

void LinearScan(benchmark::State& state, bench::Cloud kind, bool large) {
  const int n = static_cast<int>(state.range(0));
  const Data& d = data(kind, n);
  const std::vector<float>& boxes = large ? d.largeBoxes : d.smallBoxes;
  constexpr int kScanBoxes = 100;
  std::vector<int> found;
  for (auto _ : state) {
    for (int b = 0; b < kScanBoxes; ++b) {
      found.clear();
      const float* box = &boxes[6 * b];
      const float* p = d.xyz.data();
      for (int i = 0; i < n; ++i, p += 3)
        if (box[0] <= p[0] && p[0] <= box[3] && box[1] <= p[1] && p[1] <= box[4] &&
            box[2] <= p[2] && p[2] <= box[5])
          found.push_back(i);
      benchmark::DoNotOptimize(found.data());
    }
  }
  perItem(state, "per_box", kScanBoxes);
}

void registerAll() {
  for (int n : {1'000'000, 10'000'000}) {
    for (bench::Cloud kind :
         {bench::Cloud::kUniform, bench::Cloud::kClustered, bench::Cloud::kSurface}) {
      const std::string suffix = std::string(bench::cloudName(kind)) + "/" + std::to_string(n);
      auto reg = [&](const std::string& name, auto fn, auto... args) {
        benchmark::RegisterBenchmark((name + "/" + suffix).c_str(), fn, kind, args...)
            ->Arg(n)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
      };
      reg("Memcpy", Memcpy);
      for (bool scan : {false, true}) {
        const std::string order = scan ? "scan" : "random";
        reg("KdInsert/" + order, Insert, scan);
        reg("KdInsertSearch/" + order, InsertSearch, scan);
        for (bool large : {false, true})
          reg("KdSearch/" + order + "/" + sizeName(large), Search, scan, large);
      }
      for (bool large : {false, true})
        reg(std::string("LinearScan/") + sizeName(large), LinearScan, large);
      registerPeers(kind, n, suffix);
    }
  }
}

[[maybe_unused]] const int registered = (registerAll(), 0);

}  // namespace

#ifndef KRGEOM_KD_PEERS
void registerPeers(bench::Cloud, int, const std::string&) {}
#endif

}  // namespace kdbench

BENCHMARK_MAIN();
