// Record-level building blocks shared by the TopoMesh editing operations: taking and releasing
// records, pairing twins, walking a vertex fan. Every helper reports the records it touches to
// the transaction log before writing them, so operations built from them log correctly.
#pragma once

#include "topo_mesh_impl.h"

#include <geom/topology/edge_vertex_iterator.h>

#include <kr/linear/point.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace krGeom::topo {

// ---- Room for an edit ----

// The two halves of prepare below.
void reservePools(TopoMeshImpl& m, std::size_t records);
void prepareLogged(TopoMeshImpl& m, std::size_t newRecords, std::size_t touched);

// Takes from the pools and the log, before an edit's first change, everything the edit may need:
// at most `newRecords` new records of each kind and at most touched() records reported to the
// log (new, changed and deleted ones together; each changed one may need a saved copy from its
// pool). An edit that has prepared cannot be stopped half-way by std::bad_alloc, so every edit
// either completes or, when this throws, leaves the mesh and its log as they were. The bound
// touched() walks loops and fans, so it is only asked for when the mesh has a log.
template <class Touched>
inline void prepare(TopoMeshImpl& m, std::size_t newRecords, Touched&& touched) {
  if (m.hasLog()) [[unlikely]]
    prepareLogged(m, newRecords, static_cast<std::size_t>(touched()));
  else if (newRecords != 0)
    reservePools(m, newRecords);
}
// Sizes for the bounds given to prepare: v's outgoing half-edges, the half-edges of f's loop.
std::size_t fanSize(TopoMeshVertexData* v);
std::size_t loopSize(const TopoMeshFaceData* f);

// Starts loading every cache line of a record, so that an edit that will read all of it (the
// metadata a pairing copies) does not wait for its lines one after another.
inline void prefetchRecord(const void* rec, std::size_t bytes) noexcept {
#if defined(__GNUC__)
  const auto first = reinterpret_cast<std::uintptr_t>(rec) & ~std::uintptr_t{63};
  const auto end = reinterpret_cast<std::uintptr_t>(rec) + bytes;
  for (std::uintptr_t line = first; line < end; line += 64)
    __builtin_prefetch(reinterpret_cast<const void*>(line));
#else
  (void)rec;
  (void)bytes;
#endif
}
inline void prefetchRecord(const TopoMeshVertexData* v) noexcept {
  prefetchRecord(v, sizeof *v);
}
inline void prefetchRecord(const TopoMeshEdgeData* e) noexcept {
  prefetchRecord(e, sizeof *e);
}
inline void prefetchRecord(const TopoMeshFaceData* f) noexcept {
  prefetchRecord(f, sizeof *f);
}

// ---- Records ----

// A new isolated vertex at p, appended to the vertex list. Metadata is left as the pool has it.
TopoMeshVertexData* newVertex(TopoMeshImpl& m, const krLinear::Point& p);
// A new zero-filled half-edge (metadata reads as tag 0), appended to the half-edge list.
TopoMeshEdgeData* newEdge(TopoMeshImpl& m);
// A new face without firstEdge, appended to the face list. Metadata is left as the pool has it.
TopoMeshFaceData* newFace(TopoMeshImpl& m);

// Unlink a record from its list, count it off and return it to its pool unless a log exists.
// The released record itself is not written.
void releaseVertex(TopoMeshImpl& m, TopoMeshVertexData* v);
void releaseEdge(TopoMeshImpl& m, TopoMeshEdgeData* e);
void releaseFace(TopoMeshImpl& m, TopoMeshFaceData* f);

// ---- Links ----

// Makes `first` and `second` twins and copies the metadata of `first` onto `second`.
void pair(TopoMeshImpl& m, TopoMeshEdgeData* first, TopoMeshEdgeData* second);
// pair() for a `first` whose metadata slots are still all zero bytes (a new half-edge): writes
// the slots of `second` only when they are not zero already, leaving clean cache lines clean.
void pairNew(TopoMeshImpl& m, TopoMeshEdgeData* first, TopoMeshEdgeData* second);
// pair() onto a `second` whose metadata slots are still all zero bytes (a new half-edge): copies
// only when `first` carries something, leaving the new record's clean cache lines unwritten.
void pairOntoNew(TopoMeshImpl& m, TopoMeshEdgeData* first, TopoMeshEdgeData* second);
// Sets a field after reporting its record; skips the write (and the report) when unchanged.
void setOrigin(TopoMeshImpl& m, TopoMeshEdgeData* e, TopoMeshVertexData* v);
void setFirstEdge(TopoMeshImpl& m, TopoMeshVertexData* v, TopoMeshEdgeData* e);
void setFirstEdge(TopoMeshImpl& m, TopoMeshFaceData* f, TopoMeshEdgeData* e);
// Gives every outgoing half-edge reached by a fan walk from v's firstEdge the origin v.
void claimFan(TopoMeshImpl& m, TopoMeshVertexData* v);

// The first outgoing half-edge of v other than h, in fan order; null if none.
TopoMeshEdgeData* otherOutgoing(TopoMeshVertexData* v, const TopoMeshEdgeData* h);
// When v's firstEdge is h, moves it to otherOutgoing(v, h).
void moveFirstEdgeOff(TopoMeshImpl& m, TopoMeshEdgeData* h);
// The first outgoing half-edge of a, in fan order, that ends at b; null if none.
TopoMeshEdgeData* findEdge(TopoMeshVertexData* a, const TopoMeshVertexData* b);
// findEdge(a, b) || findEdge(b, a), with the same half-edges examined, but the two fans walked
// together and each from both ends at once, so that the pointer chases overlap.
bool joined(TopoMeshVertexData* a, TopoMeshVertexData* b);

// ---- Shared operations ----

// Deletes a face and its half-edges (see TopoMesh::deleteFace).
void deleteFace(TopoMeshImpl& m, TopoMeshFaceData* f);
// A face over n vertices (n >= 1) with the pairing rules of allocFace; `edges` receives the n
// new half-edges in loop order.
TopoMeshFaceData* allocLoop(TopoMeshImpl& m, const TopoMeshVertex* vertices, std::size_t n,
                            TopoMeshEdgeData** edges);

// The two new half-edges and the new face of a cut (see cutLoop).
struct Cut {
  TopoMeshEdgeData* x;  // e2's origin -> e1's origin, before e1, in the new face g
  TopoMeshEdgeData* y;  // e1's origin -> e2's origin, before e2, in the old face
  TopoMeshFaceData* g;
};
// Cuts the loop holding e1 and e2 by a new edge between their origins: the new face g takes
// x and e1 .. x with x as firstEdge, the old face keeps e2 .. y with y as firstEdge, and x and
// y are paired. `yFirst` takes y from the pool before x and pairs y with x (rather than x with
// y), which shows in the creation order of the lists.
Cut cutLoop(TopoMeshImpl& m, TopoMeshEdgeData* e1, TopoMeshEdgeData* e2, bool yFirst);

// A short list of half-edges kept inline; longer lists spill to the heap.
class EdgeList {
 public:
  void push(TopoMeshEdgeData* e) {
    if (size_ < inline_.size())
      inline_[size_] = e;
    else
      spill_.push_back(e);
    ++size_;
  }
  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  TopoMeshEdgeData* operator[](std::size_t i) const noexcept {
    return i < inline_.size() ? inline_[i] : spill_[i - inline_.size()];
  }

 private:
  std::array<TopoMeshEdgeData*, 24> inline_{};
  std::vector<TopoMeshEdgeData*> spill_;
  std::size_t size_ = 0;
};

}  // namespace krGeom::topo
