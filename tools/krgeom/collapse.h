// Simplifying a half-edge mesh for the topo command: the shortest edges are collapsed one at a
// time (always the shortest edge left whose collapse keeps the surface a manifold), with saved
// states along the way, and the saved original is restored and compared with the start.
#pragma once

#include <geom/topology/topo_mesh.h>

#include <string>
#include <vector>

namespace krgeom {

class Progress;

// The mesh as vertex positions and face loops, in list order: two equal snapshots mean the
// same records in the same order with the same links and points.
struct TopoSnapshot {
  std::vector<double> points;
  std::vector<int> loops;  // per face: vertex count, then vertex list positions
  bool operator==(const TopoSnapshot&) const = default;
};
TopoSnapshot takeSnapshot(const krGeom::TopoMesh& mesh);

struct CollapseResult {
  int collapsed = 0;
  // Edges whose collapse would have pinched the surface or folded it flat.
  int refused = 0;
  int statesSaved = 0;
  double seconds = 0;
};

// Collapses up to `count` edges, the shortest first, with transactions on; saves a state before
// the first and after every tenth of the work, so the caller can go back to any of them.
// `states` receives them, the original first.
CollapseResult collapseShortestEdges(krGeom::TopoMesh& mesh, int count,
                                     std::vector<kr::Reference<krGeom::TopoMeshState>>& states,
                                     Progress& progress);

}  // namespace krgeom
