// The half-edge mesh benchmarks of topo_mesh_bench.cpp run on OpenMesh's TriMesh and CGAL's
// Surface_mesh: the same torus built face by face (add_face), then the same flips, edge splits
// (a vertex inserted into the edge, faces grow by one corner, as subdivideEdge does) and
// collapses (the edge's origin removed). Built only with -DKRGEOM_BENCH_PEERS=ON.
//
// Checks match what TopoMesh does: swapEdge refuses a flip that would duplicate an edge, so
// OpenMesh runs is_flip_ok first and CGAL looks the new edge up; collapseEdge and subdivideEdge
// check nothing, so neither do the peers.
#include "topo_mesh_peer_builds.h"
#include "topo_mesh_torus.h"

#include <CGAL/boost/graph/Euler_operations.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace {

using bench::buildCgal;
using bench::buildOpenMesh;
using bench::CBuilt;
using bench::Kernel;
using bench::OBuilt;
using bench::OMesh;
using bench::SMesh;

// ---- OpenMesh ----

void BM_OpenMeshBuild(benchmark::State& state) {
  const bench::Torus torus = bench::makeTorus(state.range(0), state.range(1));
  bench::timeBuilds(
      state, torus, [&] { return buildOpenMesh(torus, false); },
      [&](const OBuilt& b) {
        if (b.mesh->n_faces() == torus.triangles.size()) return true;
        state.SkipWithError("unexpected mesh size");
        return false;
      });
}
BENCHMARK(BM_OpenMeshBuild)->Apply(bench::torusSizes);

template <class Edit>
void runOpenMeshEdits(benchmark::State& state,
                      std::vector<std::pair<int, int>> (bench::Torus::*set)() const, Edit edit) {
  const bench::Torus torus = bench::makeTorus(state.range(0), state.range(1));
  const auto pairs = (torus.*set)();
  double seconds = 0;
  for (auto _ : state) {
    OBuilt b = buildOpenMesh(torus, true);
    std::vector<OMesh::HalfedgeHandle> edges;
    edges.reserve(pairs.size());
    for (auto [from, to] : pairs)
      edges.push_back(b.mesh->find_halfedge(b.vertices[from], b.vertices[to]));
    int refused = 0;
    const double s = bench::timed([&] {
      for (std::size_t k = 0; k < edges.size(); ++k)
        refused += !edit(*b.mesh, edges[k], torus, pairs[k]);
    });
    state.SetIterationTime(s);
    seconds += s;
    if (refused) {
      state.SkipWithError("an edit was refused");
      break;
    }
  }
  bench::reportPerItem(state, "ns_per_edit", seconds, pairs.size());
}

void BM_OpenMeshFlip(benchmark::State& state) {
  runOpenMeshEdits(state, &bench::Torus::diagonals,
                   [](OMesh& m, OMesh::HalfedgeHandle h, const bench::Torus&, std::pair<int, int>) {
                     const OMesh::EdgeHandle e = m.edge_handle(h);
                     if (!m.is_flip_ok(e)) return false;
                     m.flip(e);
                     return true;
                   });
}
BENCHMARK(BM_OpenMeshFlip)->Apply(bench::torusSizes);

void BM_OpenMeshSplitEdge(benchmark::State& state) {
  runOpenMeshEdits(
      state, &bench::Torus::diagonals,
      [](OMesh& m, OMesh::HalfedgeHandle h, const bench::Torus& torus, std::pair<int, int> ends) {
        const auto p = bench::midpoint(torus, ends.first, ends.second);
        // The polygonal split: TriMesh's own split_edge also cuts the two triangles.
        m.OpenMesh::PolyConnectivity::split_edge(m.edge_handle(h),
                                                 m.add_vertex(OMesh::Point(p[0], p[1], p[2])));
        return true;
      });
}
BENCHMARK(BM_OpenMeshSplitEdge)->Apply(bench::torusSizes);

void BM_OpenMeshCollapse(benchmark::State& state) {
  runOpenMeshEdits(state, &bench::Torus::collapsible,
                   [](OMesh& m, OMesh::HalfedgeHandle h, const bench::Torus&, std::pair<int, int>) {
                     m.collapse(h);  // removes the from-vertex, as collapseEdge removes the origin
                     return true;
                   });
}
BENCHMARK(BM_OpenMeshCollapse)->Apply(bench::torusSizes);

// ---- CGAL ----

void BM_CgalBuild(benchmark::State& state) {
  const bench::Torus torus = bench::makeTorus(state.range(0), state.range(1));
  bench::timeBuilds(
      state, torus, [&] { return buildCgal(torus); },
      [&](const CBuilt& b) {
        if (b.mesh->number_of_faces() == torus.triangles.size()) return true;
        state.SkipWithError("unexpected mesh size");
        return false;
      });
}
BENCHMARK(BM_CgalBuild)->Apply(bench::torusSizes);

template <class Edit>
void runCgalEdits(benchmark::State& state,
                  std::vector<std::pair<int, int>> (bench::Torus::*set)() const, Edit edit) {
  const bench::Torus torus = bench::makeTorus(state.range(0), state.range(1));
  const auto pairs = (torus.*set)();
  double seconds = 0;
  bool checked = false;
  for (auto _ : state) {
    CBuilt b = buildCgal(torus);
    std::vector<SMesh::Halfedge_index> edges;
    edges.reserve(pairs.size());
    for (auto [from, to] : pairs)
      edges.push_back(CGAL::halfedge(b.vertices[from], b.vertices[to], *b.mesh).first);
    int refused = 0;
    const double s = bench::timed([&] {
      for (std::size_t k = 0; k < edges.size(); ++k)
        refused += !edit(*b.mesh, edges[k], torus, pairs[k]);
    });
    state.SetIterationTime(s);
    seconds += s;
    if (refused) {
      state.SkipWithError("an edit was refused");
      break;
    }
    if (!checked && !b.mesh->is_valid(false)) {
      state.SkipWithError("invalid mesh after the edits");
      break;
    }
    checked = true;
  }
  bench::reportPerItem(state, "ns_per_edit", seconds, pairs.size());
}

void BM_CgalFlip(benchmark::State& state) {
  runCgalEdits(state, &bench::Torus::diagonals,
               [](SMesh& m, SMesh::Halfedge_index h, const bench::Torus&, std::pair<int, int>) {
                 const auto c = m.target(m.next(h)), d = m.target(m.next(m.opposite(h)));
                 if (CGAL::halfedge(c, d, m).second) return false;
                 CGAL::Euler::flip_edge(h, m);
                 return true;
               });
}
BENCHMARK(BM_CgalFlip)->Apply(bench::torusSizes);

void BM_CgalSplitEdge(benchmark::State& state) {
  runCgalEdits(
      state, &bench::Torus::diagonals,
      [](SMesh& m, SMesh::Halfedge_index h, const bench::Torus& torus, std::pair<int, int> ends) {
        const auto p = bench::midpoint(torus, ends.first, ends.second);
        const SMesh::Halfedge_index n = CGAL::Euler::split_edge(h, m);
        m.point(m.target(n)) = Kernel::Point_3(p[0], p[1], p[2]);
        return true;
      });
}
BENCHMARK(BM_CgalSplitEdge)->Apply(bench::torusSizes);

void BM_CgalCollapse(benchmark::State& state) {
  runCgalEdits(state, &bench::Torus::collapsible,
               [](SMesh& m, SMesh::Halfedge_index h, const bench::Torus&, std::pair<int, int>) {
                 // Removes the source of the edge's own halfedge, which may be either end
                 // of h; on the torus grid both choices make the same amount of work.
                 return CGAL::Euler::collapse_edge(m.edge(h), m) != SMesh::null_vertex();
               });
}
BENCHMARK(BM_CgalCollapse)->Apply(bench::torusSizes);

}  // namespace
