// The camera's own conversions point by point (world to window for 10 million points, window to
// world ray for 1 million pick positions) beside plain inline loops doing the same 4 x 4
// arithmetic by hand over the same arrays. Prints camera / inline for both (goal: at most 2), and
// the first conversion in the fresh process (it builds the camera's cached matrices).
#include <geom/viewing/camera.h>

#include <benchmark/benchmark.h>

#include "ratio_reporter.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

namespace {

constexpr int kPoints = 10'000'000;
constexpr int kPicks = 1'000'000;
constexpr unsigned kRngSeed = 20261125;

using krLinear::Point;
using krLinear::Point2;

krGeom::Camera makeCamera() {
  krGeom::Camera cam;
  cam.setWorldToEye(Point(0.5, 0.2, 0.0), Point(3.0, 4.0, 12.0), krLinear::Normal(0.1, 1.0, 0.0));
  krGeom::AngleAspect lens;
  lens.setAspectRatio(16.0 / 9.0);
  lens.setDepthRange(0.5, 50.0);
  cam.setFrustum(lens);
  krGeom::Viewport vp;
  vp.setSize(1920.0, 1080.0);
  cam.setViewport(vp);
  return cam;
}

// World points around the target (most in view) and pick positions over the window.
struct Data {
  std::vector<Point> world;
  std::vector<Point2> picks;
  Data() {
    std::mt19937 rng(kRngSeed);
    std::uniform_real_distribution<double> u(-6.0, 6.0), px(0.0, 1920.0), py(0.0, 1080.0);
    world.reserve(kPoints);
    for (int i = 0; i < kPoints; ++i) world.emplace_back(u(rng), u(rng), u(rng));
    picks.reserve(kPicks);
    for (int i = 0; i < kPicks; ++i) picks.emplace_back(px(rng), py(rng));
  }
};

const Data& data() {
  static const Data d;
  return d;
}

void BM_CameraProject(benchmark::State& state) {
  const krGeom::Camera cam = makeCamera();
  const std::vector<Point>& in = data().world;
  std::vector<Point> out(in.size());
  for (auto _ : state) {
    int inside = 0;
    for (std::size_t i = 0; i < in.size(); ++i) inside += cam.project(in[i], out[i]);
    benchmark::DoNotOptimize(inside);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_CameraProject)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_InlineProject(benchmark::State& state) {
  const krGeom::Camera cam = makeCamera();
  krLinear::ProjMatrix m;
  cam.getWorldToClip(m);
  krGeom::Viewport vp;
  cam.getViewport(vp);
  krLinear::AffineMatrix v;
  vp.getViewTransform(v);
  const std::vector<Point>& in = data().world;
  std::vector<Point> out(in.size());
  for (auto _ : state) {
    int inside = 0;
    for (std::size_t i = 0; i < in.size(); ++i) {
      const double x = in[i].x(), y = in[i].y(), z = in[i].z();
      double h[4];
      for (int c = 0; c < 4; ++c) h[c] = x * m(0, c) + y * m(1, c) + z * m(2, c) + m(3, c);
      const double w = h[3];
      if (!(w > 0.0 && -w <= h[0] && h[0] <= w && -w <= h[1] && h[1] <= w && -w <= h[2] &&
            h[2] <= w))
        continue;
      const double nx = h[0] / w, ny = h[1] / w, nz = h[2] / w;
      for (int c = 0; c < 3; ++c) out[i][c] = nx * v(0, c) + ny * v(1, c) + nz * v(2, c) + v(3, c);
      ++inside;
    }
    benchmark::DoNotOptimize(inside);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_InlineProject)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_CameraPickRay(benchmark::State& state) {
  const krGeom::Camera cam = makeCamera();
  const std::vector<Point2>& in = data().picks;
  std::vector<krLinear::Line> out(in.size());
  for (auto _ : state) {
    for (std::size_t i = 0; i < in.size(); ++i) cam.getWorldSpaceRay(in[i], out[i]);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kPicks);
}
BENCHMARK(BM_CameraPickRay)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_InlinePickRay(benchmark::State& state) {
  const krGeom::Camera cam = makeCamera();
  krGeom::Viewport vp;
  cam.getViewport(vp);
  krLinear::AffineMatrix2 inv;
  vp.getInverseViewTransform(inv);
  krLinear::ParamPlane plane;
  cam.getScreenAlignedNearPlane(plane);
  const Point eye = cam.getEyeLocation();
  const Point o = plane.point();
  const krLinear::Vector u = plane.uVector(), w = plane.vVector();
  const std::vector<Point2>& in = data().picks;
  std::vector<krLinear::Line> out(in.size());
  for (auto _ : state) {
    for (std::size_t i = 0; i < in.size(); ++i) {
      const double cx = in[i].x() * inv(0, 0) + in[i].y() * inv(1, 0) + inv(2, 0);
      const double cy = in[i].x() * inv(0, 1) + in[i].y() * inv(1, 1) + inv(2, 1);
      const double s = (cx + 1.0) * 0.5, t = (cy + 1.0) * 0.5;
      double d[3];
      for (int c = 0; c < 3; ++c) d[c] = o[c] + u[c] * s + w[c] * t - eye[c];
      const double len = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
      out[i].set(eye, krLinear::Normal(d[0] / len, d[1] / len, d[2] / len));
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kPicks);
}
BENCHMARK(BM_InlinePickRay)->Unit(benchmark::kMillisecond)->UseRealTime();

// The first project() and getWorldSpaceRay() of a new camera, in this fresh process.
void printFirstCalls() {
  using Clock = std::chrono::steady_clock;
  const krGeom::Camera cam = makeCamera();
  Point window;
  krLinear::Line ray;
  const auto t0 = Clock::now();
  const bool inside = cam.project(Point(0.5, 0.2, 0.0), window);
  const auto t1 = Clock::now();
  cam.getWorldSpaceRay(Point2(960.0, 540.0), ray);
  const auto t2 = Clock::now();
  std::printf("first project() %.2f us (in view %d), first getWorldSpaceRay() %.2f us\n",
              std::chrono::duration<double, std::micro>(t1 - t0).count(), inside,
              std::chrono::duration<double, std::micro>(t2 - t1).count());
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  printFirstCalls();
  std::printf("rngSeed %u, %d points, %d picks\n", kRngSeed, kPoints, kPicks);
  krbench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  const double project = reporter.time("BM_CameraProject"),
               inlineProject = reporter.time("BM_InlineProject");
  const double ray = reporter.time("BM_CameraPickRay"),
               inlineRay = reporter.time("BM_InlinePickRay");
  if (project > 0 && inlineProject > 0)
    std::printf("project / inline = %.2f (goal <= 2)\n", project / inlineProject);
  if (ray > 0 && inlineRay > 0)
    std::printf("getWorldSpaceRay / inline = %.2f (goal <= 2)\n", ray / inlineRay);
  return 0;
}
