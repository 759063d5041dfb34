// TopoMeshBoundaryIterator: follows a boundary of a TopoMesh (half-edges without twin) from one
// boundary half-edge to the next.
//
//   for (krGeom::TopoMeshBoundaryIterator it(vertex); it.valid(); it.next())
//     use(it.edge());   // it.edge().twin() is null
//
// Forward, the walk goes along the half-edges (from the end vertex of the current one to the
// boundary half-edge leaving it); backward, against them. It stops, becoming invalid, when it
// would reach its start half-edge again. The iterator borrows the mesh's records: the mesh must
// not be edited during a walk. One thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/topology/topo_mesh_entities.h>

namespace krGeom {

class KRGEOM_EXPORT TopoMeshBoundaryIterator {
 public:
  // ---- Starting ----

  // Starts at the boundary half-edge e. Precondition: e has no twin.
  explicit TopoMeshBoundaryIterator(TopoMeshEdge e, bool forward = true) noexcept {
    reset(e, forward);
  }
  // Starts at the first outgoing half-edge of v without twin, in edge-vertex iterator order;
  // not valid when v has none (an interior or isolated vertex).
  explicit TopoMeshBoundaryIterator(TopoMeshVertex v, bool forward = true) noexcept {
    reset(v, forward);
  }
  void reset(TopoMeshEdge e, bool forward = true) noexcept;
  void reset(TopoMeshVertex v, bool forward = true) noexcept;

  // ---- Walking ----

  // False once the walk is over, or from the start when no boundary half-edge was found.
  bool valid() const noexcept { return current_ != nullptr; }
  // The current boundary half-edge (null when not valid).
  TopoMeshEdge edge() const noexcept { return current_; }
  // True when the walk follows the direction of the half-edges.
  bool forward() const noexcept { return forward_; }
  // Moves to the next boundary half-edge in the walk's direction; becomes invalid when that is
  // the start half-edge (or when the boundary is broken and there is none). Does nothing once
  // the walk is over.
  void next() noexcept;

  // The boundary half-edge that next() would move to, without moving; unlike next(), this
  // returns the start half-edge itself when the walk is about to close. Null when not valid.
  TopoMeshEdge nextEdge() const noexcept;
  // The boundary half-edge on the other side of the current one (the one a walk in the opposite
  // direction would move to). Null when not valid.
  TopoMeshEdge prevEdge() const noexcept;

  // ---- Boundary half-edges at a vertex ----

  // Sets prev to the boundary half-edge arriving at v and next to the one leaving v, each null
  // when absent. Where the boundary passes v more than once, the last ones found in
  // edge-vertex iterator order are returned (deliberately: later finds overwrite earlier ones).
  static void getPrevNextEdges(TopoMeshVertex v, TopoMeshEdge& prev, TopoMeshEdge& next) noexcept;

 private:
  // The boundary half-edge after the current one along the half-edges' direction (along =
  // true) or before it (along = false); null when not valid.
  TopoMeshEdge neighbour(bool along) const noexcept;

  TopoMeshEdge current_;
  TopoMeshEdge start_;
  bool forward_ = true;
};

}  // namespace krGeom
