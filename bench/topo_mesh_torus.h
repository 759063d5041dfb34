// A closed triangulated torus and the edit sets that the half-edge mesh benchmarks run on it,
// shared by the krGeom benchmarks and the optional peer-library ones so that every library
// builds the same faces and makes the same edits.
//
// Grid vertex (i, j), 0 <= i < nu, 0 <= j < nv, has index j * nu + i; both directions wrap.
// Quad (i, j) spans (i, j), (i+1, j), (i+1, j+1), (i, j+1) and is cut by the diagonal from
// (i, j) to (i+1, j+1) into the triangles ((i,j), (i+1,j), (i+1,j+1)) and
// ((i,j), (i+1,j+1), (i,j+1)), both counter-clockwise seen from outside. nu and nv must be at
// least 4 (smaller grids would repeat edges) and multiples of 4 (for the collapse set).
#pragma once

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <ctime>
#include <utility>
#include <vector>

namespace bench {

struct Torus {
  int nu = 0, nv = 0;
  std::vector<std::array<double, 3>> points;  // index j * nu + i
  std::vector<std::array<int, 3>> triangles;  // 2 * nu * nv, quad by quad

  int vertex(int i, int j) const { return ((j % nv + nv) % nv) * nu + (i % nu + nu) % nu; }

  // The quad diagonals, from (i, j) to (i+1, j+1). Every one of them can be flipped, one after
  // the other in this order: the flipped diagonal (i+1, j)-(i, j+1) is never an edge already.
  // Every one can also be subdivided.
  std::vector<std::pair<int, int>> diagonals() const {
    std::vector<std::pair<int, int>> edges;
    edges.reserve(static_cast<std::size_t>(nu) * nv);
    for (int j = 0; j < nv; ++j)
      for (int i = 0; i < nu; ++i) edges.emplace_back(vertex(i, j), vertex(i + 1, j + 1));
    return edges;
  }

  // Grid edges from (i, j) to (i+1, j) for i and j multiples of 4: collapsing each removes
  // (i, j). Their two ends share exactly the two opposite corners (the link condition), and
  // the collapses are too far apart to change each other's neighbourhoods, so all stay valid.
  std::vector<std::pair<int, int>> collapsible() const {
    std::vector<std::pair<int, int>> edges;
    for (int j = 0; j < nv; j += 4)
      for (int i = 0; i < nu; i += 4) edges.emplace_back(vertex(i, j), vertex(i + 1, j));
    return edges;
  }
};

// A ring torus with major radius 3 and minor radius 1; i runs around the tube's axis of
// revolution, j around the tube.
inline Torus makeTorus(int nu, int nv) {
  Torus t;
  t.nu = nu;
  t.nv = nv;
  t.points.resize(static_cast<std::size_t>(nu) * nv);
  const double twoPi = 6.283185307179586;
  for (int j = 0; j < nv; ++j) {
    const double b = twoPi * j / nv;
    for (int i = 0; i < nu; ++i) {
      const double a = twoPi * i / nu;
      const double r = 3.0 + std::cos(b);
      t.points[t.vertex(i, j)] = {r * std::cos(a), r * std::sin(a), std::sin(b)};
    }
  }
  // Faces go in row by row, quad by quad, except in the last row. Adding triangles one at a
  // time, twins are found by walking the fan at a vertex from its firstEdge, which sees only one
  // fan where a vertex is pinched (two fans meeting at a point). Joining the last row to row 0
  // pinches one vertex unavoidably; the order below closes that pinch with the very next
  // triangle, from the side on which the fan walk finds the twin. Any other new triangle meets
  // the fans at its corners along an edge.
  t.triangles.reserve(2 * t.points.size());
  auto quad = [&](int i, int j, int half) {
    const int v00 = t.vertex(i, j), v10 = t.vertex(i + 1, j), v11 = t.vertex(i + 1, j + 1),
              v01 = t.vertex(i, j + 1);
    if (half == 0)
      t.triangles.push_back({v00, v10, v11});
    else
      t.triangles.push_back({v00, v11, v01});
  };
  for (int j = 0; j + 1 < nv; ++j) {
    for (int i = 0; i < nu; ++i) {
      quad(i, j, 0);
      quad(i, j, 1);
    }
  }
  const int last = nv - 1;
  quad(0, last, 1);       // pinches (0, last) against the last row's fan ...
  quad(nu - 1, last, 0);  // ... and this closes the pinch
  quad(0, last, 0);
  for (int i = 1; i + 1 < nu; ++i) {
    quad(i, last, 1);
    quad(i, last, 0);
  }
  quad(nu - 1, last, 1);
  return t;
}

// Builds the torus face by face in any mesh: vertex(x, y, z) for every point, in order, then
// face(a, b, c) for every triangle with the handles vertex() returned. Returns those handles.
template <class Vertex, class Face>
auto addTorus(const Torus& t, Vertex vertex, Face face) {
  std::vector<decltype(vertex(0.0, 0.0, 0.0))> handles;
  handles.reserve(t.points.size());
  for (const auto& p : t.points) handles.push_back(vertex(p[0], p[1], p[2]));
  for (const auto& tri : t.triangles) face(handles[tri[0]], handles[tri[1]], handles[tri[2]]);
  return handles;
}

// The midpoint of two grid vertices, where the subdivision benchmarks put their new vertices.
inline std::array<double, 3> midpoint(const Torus& t, int a, int b) {
  const auto& p = t.points[a];
  const auto& q = t.points[b];
  return {(p[0] + q[0]) / 2, (p[1] + q[1]) / 2, (p[2] + q[2]) / 2};
}

// Times fn() in CPU time of the calling thread (user and system, so page faults count): the
// benchmark machines are shared, and wall time would also count other processes' turns.
template <class Fn>
double timed(Fn&& fn) {
  timespec start{}, stop{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &start);
  fn();
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &stop);
  return static_cast<double>(stop.tv_sec - start.tv_sec) +
         1e-9 * static_cast<double>(stop.tv_nsec - start.tv_nsec);
}

// Sets the counter `name` to nanoseconds per item over the whole run.
inline void reportPerItem(benchmark::State& state, const char* name, double seconds,
                          std::size_t itemsPerIteration) {
  state.counters[name] =
      seconds * 1e9 /
      (static_cast<double>(itemsPerIteration) * static_cast<double>(state.iterations()));
}

// Times build() once per iteration and reports ns_per_face. `valid(result)` checks each built
// mesh (it may skip the benchmark with an error and return false to stop).
template <class Build, class Valid>
void timeBuilds(benchmark::State& state, const Torus& torus, Build build, Valid valid) {
  double seconds = 0;
  for (auto _ : state) {
    decltype(build()) built;
    const double s = timed([&] { built = build(); });
    state.SetIterationTime(s);
    seconds += s;
    if (!valid(built)) break;
  }
  reportPerItem(state, "ns_per_face", seconds, torus.triangles.size());
}

// The torus sizes every half-edge mesh benchmark runs: 20,000 and 1,000,000 triangles.
inline void torusSizes(benchmark::internal::Benchmark* b) {
  b->Args({100, 100})->Args({500, 1000})->Unit(benchmark::kMillisecond)->UseManualTime();
}

}  // namespace bench
