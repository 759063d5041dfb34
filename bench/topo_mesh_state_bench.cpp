// Saved states of a TopoMesh on a mesh of about a million triangles: the cost of edits with the
// transaction log off and on, of createState, of setState per record moved, restoring a
// 1,000-edit state against copying the whole mesh, and the memory an undo stack keeps.
//
// All benchmarks share one mesh. The log cannot be switched off again, so the log-off
// benchmarks come first (they are skipped once the log is on): run the file unfiltered.
#include "topology/topo_mesh_impl.h"
#include "topology/topo_mesh_log.h"

#include <geom/topology.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <random>
#include <vector>

namespace {

using krGeom::TopoMesh;
using krGeom::TopoMeshEdge;
using krGeom::TopoMeshFace;
using krGeom::TopoMeshVertex;
using StateRef = kr::Reference<krGeom::TopoMeshState>;

constexpr int kGrid = 708;  // 708 x 708 quads, two triangles each: 1,002,528 faces
constexpr std::size_t kEditsPerBatch = 10000;
constexpr std::size_t kBatches = 40;
constexpr unsigned kRngSeed = 12345;

struct Shared {
  TopoMesh mesh;
  std::vector<TopoMeshVertex> vertices;
  std::vector<TopoMeshFace> faces;
  std::vector<TopoMeshEdge> interior;  // half-edges with a twin
};

Shared& shared() {
  static std::unique_ptr<Shared> s = [] {
    auto d = std::make_unique<Shared>();
    for (int r = 0; r <= kGrid; ++r)
      for (int c = 0; c <= kGrid; ++c)
        d->vertices.push_back(d->mesh.allocVertex({double(c), double(r), 0}));
    auto at = [&](int r, int c) { return d->vertices[r * (kGrid + 1) + c]; };
    for (int r = 0; r < kGrid; ++r)
      for (int c = 0; c < kGrid; ++c) {
        d->faces.push_back(d->mesh.allocTriangle(at(r, c), at(r, c + 1), at(r + 1, c + 1)));
        d->faces.push_back(d->mesh.allocTriangle(at(r, c), at(r + 1, c + 1), at(r + 1, c)));
      }
    for (TopoMeshEdge e = d->mesh.firstEdge(); e; e = e.nextInMesh())
      if (e.twin()) d->interior.push_back(e);
    return d;
  }();
  return *s;
}

void refreshInterior() {
  Shared& d = shared();
  d.interior.clear();
  for (TopoMeshEdge e = d.mesh.firstEdge(); e; e = e.nextInMesh())
    if (e.twin()) d.interior.push_back(e);
}

bool logOn() {
  return shared().mesh.getImpl()->hasLog();
}

// `count` distinct random picks from `items`, the same for every run.
template <class T>
std::vector<T> sample(const std::vector<T>& items, std::size_t count, unsigned salt) {
  std::mt19937 rng(kRngSeed + salt);
  std::vector<std::size_t> idx(items.size());
  for (std::size_t i = 0; i < idx.size(); ++i) idx[i] = i;
  for (std::size_t i = 0; i < count; ++i)
    std::swap(idx[i], idx[std::uniform_int_distribution<std::size_t>(i, idx.size() - 1)(rng)]);
  std::vector<T> out;
  for (std::size_t i = 0; i < count; ++i) out.push_back(items[idx[i]]);
  return out;
}

enum class Edit { kSetPoint, kSwapEdge, kSubdivideFace };

// A batch of edits on distinct random records. With the log on, each batch is undone (untimed)
// by returning to the state taken before it, so every batch pays for first-touch copies; with
// the log off, subdivided faces are folded back (untimed) by deleting the fan centres.
void runEdits(benchmark::State& state, Edit kind, bool wantLog) {
  Shared& d = shared();
  if (logOn() != wantLog) {
    if (wantLog) {
      d.mesh.enableTransactions();
    } else {
      state.SkipWithError("the log is already on; run the file unfiltered");
      return;
    }
  }
  TopoMesh& mesh = d.mesh;
  // Batches cycle through distinct records, so that edits meet cold records as they would in
  // a large mesh: the records a batch touches are not in the cache from the batch before.
  const std::size_t n = kEditsPerBatch * kBatches;
  const auto vs = sample(d.vertices, n, 1);
  const auto es = sample(d.interior, n, 2);
  std::vector<std::size_t> faceIdx(d.faces.size());
  for (std::size_t i = 0; i < faceIdx.size(); ++i) faceIdx[i] = i;
  faceIdx = sample(faceIdx, n, 3);
  std::vector<TopoMeshVertex> centres(kEditsPerBatch);
  StateRef before = wantLog ? mesh.createState() : StateRef();
  std::size_t batch = 0;
  for (auto _ : state) {
    const std::size_t first = (batch++ % kBatches) * kEditsPerBatch;
    const auto z = static_cast<double>(batch);
    switch (kind) {
      case Edit::kSetPoint:
        for (std::size_t k = first; k < first + kEditsPerBatch; ++k)
          mesh.setPoint(vs[k], {vs[k].point().x(), vs[k].point().y(), z});
        break;
      case Edit::kSwapEdge:
        for (std::size_t k = first; k < first + kEditsPerBatch; ++k)
          benchmark::DoNotOptimize(mesh.swapEdge(es[k]));
        break;
      case Edit::kSubdivideFace:
        for (std::size_t k = 0; k < kEditsPerBatch; ++k) {
          TopoMeshFace f = d.faces[faceIdx[first + k]];
          centres[k] = mesh.subdivideFace(f, f.centroid());
        }
        break;
    }
    state.PauseTiming();
    if (wantLog) {
      mesh.setState(before);
    } else if (kind == Edit::kSubdivideFace) {
      for (std::size_t k = 0; k < kEditsPerBatch; ++k)
        d.faces[faceIdx[first + k]] = mesh.deleteVertex(centres[k]);
    }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kEditsPerBatch));
  state.counters["ns_per_edit"] =
      benchmark::Counter(static_cast<double>(state.iterations() * kEditsPerBatch) * 1e-9,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  // Folding fans back deleted some of the original half-edges.
  if (!wantLog && kind == Edit::kSubdivideFace) refreshInterior();
}

void BM_SetPoint_LogOff(benchmark::State& s) {
  runEdits(s, Edit::kSetPoint, false);
}
void BM_SwapEdge_LogOff(benchmark::State& s) {
  runEdits(s, Edit::kSwapEdge, false);
}
void BM_SubdivideFace_LogOff(benchmark::State& s) {
  runEdits(s, Edit::kSubdivideFace, false);
}

// A full copy of the mesh: what a caller without a log does before an edit to be able to undo it.
void BM_FullCopy(benchmark::State& state) {
  for (auto _ : state) {
    TopoMesh copy(shared().mesh);
    benchmark::DoNotOptimize(copy.numFaces());
  }
}

void BM_SetPoint_LogOn(benchmark::State& s) {
  runEdits(s, Edit::kSetPoint, true);
}
void BM_SwapEdge_LogOn(benchmark::State& s) {
  runEdits(s, Edit::kSwapEdge, true);
}
void BM_SubdivideFace_LogOn(benchmark::State& s) {
  runEdits(s, Edit::kSubdivideFace, true);
}

// createState after a one-record edit, as an undo stack of 64 states sees it; only the call is
// timed.
void BM_CreateState(benchmark::State& state) {
  Shared& d = shared();
  if (!logOn()) d.mesh.enableTransactions();
  const auto vs = sample(d.vertices, 4096, 4);
  std::deque<StateRef> stack;
  std::size_t k = 0;
  for (auto _ : state) {
    TopoMeshVertex v = vs[k++ % vs.size()];
    d.mesh.setPoint(v, {v.point().x(), v.point().y(), double(k)});
    const auto t0 = std::chrono::steady_clock::now();
    StateRef s = d.mesh.createState();
    const auto t1 = std::chrono::steady_clock::now();
    state.SetIterationTime(std::chrono::duration<double>(t1 - t0).count());
    stack.push_back(std::move(s));
    if (stack.size() > 64) stack.pop_front();
  }
}

// Undo and redo of a change set of `range(0)` changed vertices; reported per record moved.
void BM_SetStatePerRecord(benchmark::State& state) {
  Shared& d = shared();
  if (!logOn()) d.mesh.enableTransactions();
  const auto n = static_cast<std::size_t>(state.range(0));
  const auto vs = sample(d.vertices, n, 5);
  StateRef s0 = d.mesh.createState();
  for (TopoMeshVertex v : vs) d.mesh.setPoint(v, {v.point().x(), v.point().y(), 7});
  StateRef s1 = d.mesh.createState();
  for (auto _ : state) {
    d.mesh.setState(s0);
    d.mesh.setState(s1);
  }
  state.counters["ns_per_record"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * 2 * n * 1e-9,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  d.mesh.setState(s0);
}

// Restoring the state before 1,000 edge swaps (undo, then redo), against one full copy of the
// mesh timed in the same run.
void BM_Restore1000Edits(benchmark::State& state) {
  Shared& d = shared();
  if (!logOn()) d.mesh.enableTransactions();
  const auto t0 = std::chrono::steady_clock::now();
  {
    TopoMesh copy(d.mesh);
    benchmark::DoNotOptimize(copy.numFaces());
  }
  const double copySeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();

  const auto es = sample(d.interior, 1000, 6);
  StateRef s0 = d.mesh.createState();
  for (TopoMeshEdge e : es) d.mesh.swapEdge(e);
  StateRef s1 = d.mesh.createState();
  const std::int64_t records =
      static_cast<krGeom::TopoMeshStateImpl*>(s1.get())->changes.entries.size();
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    d.mesh.setState(s0);
    d.mesh.setState(s1);
  }
  const double restoreSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() /
      (2.0 * static_cast<double>(state.iterations()));
  state.counters["records"] = static_cast<double>(records);
  state.counters["restore_us"] = restoreSeconds * 1e6;
  state.counters["copy_ms"] = copySeconds * 1e3;
  state.counters["copy_over_restore"] = copySeconds / restoreSeconds;
  d.mesh.setState(s0);
}

// 10,000 edits with a state after each, kept as an undo stack of the last 100 states; reports
// what the log holds against the size of the records the kept states' change sets touch.
void BM_UndoStackMemory(benchmark::State& state) {
  Shared& d = shared();
  if (!logOn()) d.mesh.enableTransactions();
  TopoMesh& mesh = d.mesh;
  const auto es = sample(d.interior, 10000, 7);
  const auto vs = sample(d.vertices, 10000, 8);
  krGeom::TopoMeshLogUsage u;
  std::int64_t extraRecords = 0;
  for (auto _ : state) {
    std::deque<StateRef> stack;
    for (int i = 0; i < 10000; ++i) {
      switch (i % 4) {
        case 0:
        case 1:
          mesh.swapEdge(es[i]);
          break;
        case 2:
          mesh.setPoint(vs[i], {vs[i].point().x(), vs[i].point().y(), double(i)});
          break;
        case 3: {
          TopoMeshFace f = es[i].face();
          mesh.subdivideFace(f, f.centroid());
          break;
        }
      }
      stack.push_back(mesh.createState());
      if (stack.size() > 100) stack.pop_front();
    }
    u = mesh.getImpl()->log()->usage();
    const krGeom::TopoMeshImpl& m = *mesh.getImpl();
    extraRecords = static_cast<std::int64_t>(m.vertexPool->numItems() + m.edgePool->numItems() +
                                             m.facePool->numItems()) -
                   (mesh.numVertices() + mesh.numEdges() + mesh.numFaces());
  }
  state.counters["states"] = static_cast<double>(u.states);
  state.counters["entries"] = static_cast<double>(u.entries);
  state.counters["log_MB"] = static_cast<double>(u.bytes) / 1e6;
  state.counters["touched_MB"] = static_cast<double>(u.touchedBytes) / 1e6;
  state.counters["log_over_touched"] =
      static_cast<double>(u.bytes) / static_cast<double>(u.touchedBytes);
  state.counters["extra_pool_records"] = static_cast<double>(extraRecords);
}

// Build the mesh outside any timing.
void BM_BuildMesh(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(shared().mesh.numFaces());
  state.counters["faces"] = shared().mesh.numFaces();
}

}  // namespace

BENCHMARK(BM_BuildMesh)->Iterations(1);
BENCHMARK(BM_SetPoint_LogOff)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SwapEdge_LogOff)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SubdivideFace_LogOff)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FullCopy)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_SetPoint_LogOn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SwapEdge_LogOn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SubdivideFace_LogOn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CreateState)->UseManualTime();
BENCHMARK(BM_SetStatePerRecord)->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(BM_Restore1000Edits)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_UndoStackMemory)->Unit(benchmark::kMillisecond)->Iterations(1);

BENCHMARK_MAIN();
