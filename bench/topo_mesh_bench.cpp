// TopoMesh building and editing on a closed torus of 2 · nu · nv triangles: allocTriangle face
// by face, then swapEdge, subdivideEdge and collapseEdge over fixed edge sets (see
// topo_mesh_torus.h). Reports ns_per_face for building and ns_per_edit for the edits, in thread
// CPU time; only the building or the edit loop is timed, never the set-up or the mesh's
// destruction. BM_TopoMeshRecordPools measures the memory part of building on its own.
#include "topo_mesh_build.h"
#include "topo_mesh_torus.h"

#include <geom/topology/topo_mesh.h>

#include <kr/fs_allocator.h>

#include <benchmark/benchmark.h>

#include <vector>

namespace {

using bench::build;
using bench::Built;
using krGeom::TopoMesh;
using krGeom::TopoMeshEdge;
using krGeom::TopoMeshVertex;

std::vector<TopoMeshEdge> resolve(const Built& b, const std::vector<std::pair<int, int>>& pairs) {
  std::vector<TopoMeshEdge> edges;
  edges.reserve(pairs.size());
  for (auto [from, to] : pairs)
    edges.push_back(TopoMesh::findEdge(b.vertices[from], b.vertices[to]));
  return edges;
}

// Once per benchmark: the mesh must be whole and, having been built closed, have no boundary.
bool checkOnce(benchmark::State& state, const TopoMesh& mesh, bool& checked) {
  if (checked) return true;
  checked = true;
  krString::CString broken = mesh.findBrokenInvariant();
  for (TopoMeshEdge e = mesh.firstEdge(); e && broken.empty(); e = e.nextInMesh())
    if (!e.twin()) broken = "a half-edge without twin";
  if (!broken.empty()) state.SkipWithError(broken.c_str());
  return broken.empty();
}

void BM_TopoMeshBuild(benchmark::State& state) {
  const bench::Torus torus = bench::makeTorus(state.range(0), state.range(1));
  bool checked = false;
  bench::timeBuilds(
      state, torus, [&] { return build(torus); },
      [&](const Built& b) {
        if (b.mesh->numFaces() != static_cast<int>(torus.triangles.size()) ||
            b.mesh->numEdges() != 3 * b.mesh->numFaces()) {
          state.SkipWithError("unexpected mesh size");
          return false;
        }
        return checkOnce(state, *b.mesh, checked);
      });
}
BENCHMARK(BM_TopoMeshBuild)->Apply(bench::torusSizes);

// The memory part of building alone: the records the build takes from pools like the mesh's,
// half-edges zero-filled as the mesh asks for them (fresh pool pages are zero already), nothing
// linked. With records of 344 to 376 bytes (1.7 GB for the large torus) this is a floor for
// BM_TopoMeshBuild set by fresh pages: faults and the kernel's clearing.
void BM_TopoMeshRecordPools(benchmark::State& state) {
  const std::size_t faces = 2 * static_cast<std::size_t>(state.range(0)) * state.range(1);
  double seconds = 0;
  for (auto _ : state) {
    krOS::FSAllocator vertices(sizeof(krGeom::TopoMeshVertexData), 0x100000),
        edges(sizeof(krGeom::TopoMeshEdgeData), 0x100000),
        records(sizeof(krGeom::TopoMeshFaceData), 0x100000);
    vertices.setLazy();
    edges.setLazy();
    records.setLazy();
    const double s = bench::timed([&] {
      for (std::size_t f = 0; f < faces; ++f) {
        if (f % 2 == 0)
          static_cast<krGeom::TopoMeshVertexData*>(vertices.alloc())->firstEdge = nullptr;
        for (int k = 0; k < 3; ++k)
          static_cast<krGeom::TopoMeshEdgeData*>(edges.allocZeroed())->vertex = nullptr;
        static_cast<krGeom::TopoMeshFaceData*>(records.alloc())->firstEdge = nullptr;
      }
    });
    state.SetIterationTime(s);
    seconds += s;
    benchmark::ClobberMemory();
  }
  bench::reportPerItem(state, "ns_per_face", seconds, faces);
}
BENCHMARK(BM_TopoMeshRecordPools)->Apply(bench::torusSizes);

// Builds the torus (untimed), then times `edit` over the edges of `pairs`.
template <class Edit>
void runEdits(benchmark::State& state,
              std::vector<std::pair<int, int>> (bench::Torus::*set)() const, Edit edit) {
  const bench::Torus torus = bench::makeTorus(state.range(0), state.range(1));
  const auto pairs = (torus.*set)();
  double seconds = 0;
  bool checked = false;
  for (auto _ : state) {
    Built b = build(torus);
    const std::vector<TopoMeshEdge> edges = resolve(b, pairs);
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
    if (!checkOnce(state, *b.mesh, checked)) break;
  }
  bench::reportPerItem(state, "ns_per_edit", seconds, pairs.size());
}

void BM_TopoMeshSwapEdge(benchmark::State& state) {
  runEdits(state, &bench::Torus::diagonals,
           [](TopoMesh& mesh, TopoMeshEdge e, const bench::Torus&, std::pair<int, int>) {
             return mesh.swapEdge(e);
           });
}
BENCHMARK(BM_TopoMeshSwapEdge)->Apply(bench::torusSizes);

void BM_TopoMeshSubdivideEdge(benchmark::State& state) {
  runEdits(state, &bench::Torus::diagonals,
           [](TopoMesh& mesh, TopoMeshEdge e, const bench::Torus& torus, std::pair<int, int> ends) {
             const auto m = bench::midpoint(torus, ends.first, ends.second);
             return bool(mesh.subdivideEdge(e, krLinear::Point(m[0], m[1], m[2])));
           });
}
BENCHMARK(BM_TopoMeshSubdivideEdge)->Apply(bench::torusSizes);

void BM_TopoMeshCollapseEdge(benchmark::State& state) {
  runEdits(state, &bench::Torus::collapsible,
           [](TopoMesh& mesh, TopoMeshEdge e, const bench::Torus&, std::pair<int, int>) {
             return bool(mesh.collapseEdge(e));
           });
}
BENCHMARK(BM_TopoMeshCollapseEdge)->Apply(bench::torusSizes);

}  // namespace

BENCHMARK_MAIN();
