// PointMesh::getBoundingBox over 10 million vertices, with the cached range invalidated before
// every scan, against one memcpy of the same vertex array. Prints the ratio scan / memcpy.
#include <geom/meshes/point_mesh.h>
#include <geom/spatial/bounding_box.h>

#include <benchmark/benchmark.h>

#include "ratio_reporter.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kVertices = 10'000'000;
constexpr unsigned kRngSeed = 20240611;

// The shared mesh: built once, filled with uniform random coordinates from a fixed generator state.
krGeom::PointMesh& mesh() {
  static const kr::Reference<krGeom::PointMesh> instance = [] {
    kr::Reference<krGeom::PointMesh> m(new krGeom::PointMesh());
    m->resizeVertexArray(kVertices);
    std::mt19937 random(kRngSeed);
    std::uniform_real_distribution<float> coordinate(-1000.f, 1000.f);
    float* p = m->getVerticesRaw();
    for (int i = 0; i < 3 * kVertices; ++i) p[i] = coordinate(random);
    return m;
  }();
  return *instance;
}

void BM_BoundingBox(benchmark::State& state) {
  krGeom::PointMesh& m = mesh();
  krGeom::BoundingBox box;
  for (auto _ : state) {
    m.getVerticesAttr()->invalidateRange();
    m.getBoundingBox(box);
    benchmark::DoNotOptimize(box);
  }
  state.SetBytesProcessed(state.iterations() * int64_t(kVertices) * 12);
}
BENCHMARK(BM_BoundingBox)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_MemcpyVertices(benchmark::State& state) {
  const float* source = mesh().getVerticesRaw();
  std::unique_ptr<float[]> target(new float[3 * std::size_t(kVertices)]);
  std::memset(target.get(), 0, 12 * std::size_t(kVertices));  // touch the pages once
  for (auto _ : state) {
    std::memcpy(target.get(), source, 12 * std::size_t(kVertices));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t(kVertices) * 12);
}
BENCHMARK(BM_MemcpyVertices)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  std::printf("rngSeed %u, %d vertices\n", kRngSeed, kVertices);
  krbench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  const auto scan = reporter.times.find("BM_BoundingBox");
  const auto copy = reporter.times.find("BM_MemcpyVertices");
  if (scan != reporter.times.end() && copy != reporter.times.end() && copy->second > 0) {
    std::printf("getBoundingBox / memcpy = %.2f\n", scan->second / copy->second);
  }
  return 0;
}
