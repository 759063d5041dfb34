// TopoMeshEdgeVertexIterator: visits the outgoing half-edges around one vertex.
//
//   for (krGeom::TopoMeshEdgeVertexIterator it(v); it.valid(); it.next())
//     use(it.edge());   // it.edge().v1() == v
//
// From the vertex's firstEdge the walk turns through prev->twin until it is back at firstEdge.
// At a boundary (a null twin) it returns to firstEdge and goes on the other way through
// twin->next until the next null twin. Each outgoing half-edge is visited once; on a boundary
// vertex, first those reached one way, then the rest the other way.
#pragma once

#include <geom/export.h>
#include <geom/topology/topo_mesh_entities.h>

#include <cstddef>
#include <cstdint>

namespace krGeom {

class KRGEOM_EXPORT TopoMeshEdgeVertexIterator {
 public:
  explicit TopoMeshEdgeVertexIterator(TopoMeshVertex v) noexcept { reset(v); }

  // Starts again at v's firstEdge, forward.
  void reset(TopoMeshVertex v) noexcept {
    vertex_ = v;
    edge_ = v.data()->firstEdge;
    forward_ = true;
  }

  // False once the walk is over (or at once for an isolated vertex).
  bool valid() const noexcept { return edge_ != nullptr; }
  // The current outgoing half-edge.
  TopoMeshEdge edge() const noexcept { return edge_; }

  // Moves to the next outgoing half-edge; does nothing once the walk is over.
  void next() noexcept {
    TopoMeshEdgeData* h = edge_;
    if (!h) return;
    if (forward_) {
      TopoMeshEdgeData* c = h->prev->twin;
      prefetchLoop(c);
      if (c) {
        if (c == vertex_.data()->firstEdge) {
          edge_ = nullptr;
          forward_ = false;
        } else {
          edge_ = c;
        }
      } else {
        forward_ = false;
        TopoMeshEdgeData* t = vertex_.data()->firstEdge->twin;
        edge_ = t ? t->next : nullptr;
      }
    } else {
      prefetchLoop(h->twin);
      edge_ = h->twin ? h->twin->next : nullptr;
    }
  }

  // On a boundary vertex, moves the vertex's firstEdge to its outgoing half-edge without twin,
  // so that a later walk covers the whole fan forward. Nothing happens for an interior vertex.
  // The iterator does not know the mesh, so a transaction log does not see this write: on a mesh
  // with transactions enabled, setState() will not undo it and may leave the vertex pointing at
  // a half-edge of another state. Use it on meshes without a log, or before enableTransactions().
  void resetFirstEdge() noexcept;

 private:
  // A walk reads the loop neighbours (next, prev) of each half-edge it reaches, and the
  // half-edges of one face are usually taken from the pool together, within two records of each
  // other: start loading those records with h itself, so that a step waits for one miss, not
  // three in a row. Only a hint: nothing is read through these addresses.
  static void prefetchLoop(const TopoMeshEdgeData* h) noexcept {
#if defined(__GNUC__)
    constexpr std::uintptr_t kStride =
        (sizeof(TopoMeshEdgeData) + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) *
        alignof(std::max_align_t);  // the pool's distance between records
    const auto p = reinterpret_cast<std::uintptr_t>(h);
    if (!p) return;
    __builtin_prefetch(reinterpret_cast<const void*>(p - 2 * kStride));
    __builtin_prefetch(reinterpret_cast<const void*>(p - kStride));
    __builtin_prefetch(reinterpret_cast<const void*>(p + kStride));
    __builtin_prefetch(reinterpret_cast<const void*>(p + 2 * kStride));
#else
    (void)h;
#endif
  }

  TopoMeshVertex vertex_;
  TopoMeshEdgeData* edge_;
  bool forward_;
};

}  // namespace krGeom
