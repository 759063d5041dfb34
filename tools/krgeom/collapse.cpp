#include "collapse.h"

#include "progress.h"

#include <geom/topology/edge_vertex_iterator.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <unordered_map>

namespace krgeom {
namespace {

using krGeom::TopoMeshEdge;
using krGeom::TopoMeshVertex;

// The vertices sharing an edge with v: the ends of its outgoing half-edges and the starts of
// the half-edges arriving along a boundary.
std::vector<TopoMeshVertex> neighbours(TopoMeshVertex v) {
  std::vector<TopoMeshVertex> out;
  for (krGeom::TopoMeshEdgeVertexIterator it(v); it.valid(); it.next()) {
    out.push_back(it.edge().v2());
    if (!it.edge().prev().twin()) out.push_back(it.edge().prev().v1());
  }
  std::sort(out.begin(), out.end());
  out.erase(std::unique(out.begin(), out.end()), out.end());
  return out;
}

bool isTriangle(TopoMeshEdge e) {
  return e.next().next().next() == e;
}

// The usual conditions for a collapse that keeps a manifold: triangles on both sides, the ends
// share no neighbour but the triangles' third corners, an interior edge does not join two
// boundary vertices, and no third corner is left with fewer than three edges.
bool collapsible(TopoMeshEdge e) {
  const TopoMeshEdge t = e.twin();
  if (!isTriangle(e) || (t && !isTriangle(t))) return false;
  const TopoMeshVertex a = e.v1(), b = e.v2();
  if (t && a.onBoundary() && b.onBoundary()) return false;
  std::vector<TopoMeshVertex> corners = {e.prev().v1()};
  if (t) corners.push_back(t.prev().v1());
  for (TopoMeshVertex c : corners)
    if (c.valence() <= (c.onBoundary() ? 2 : 3)) return false;
  const std::vector<TopoMeshVertex> na = neighbours(a), nb = neighbours(b);
  std::vector<TopoMeshVertex> shared;
  std::set_intersection(na.begin(), na.end(), nb.begin(), nb.end(), std::back_inserter(shared));
  std::sort(corners.begin(), corners.end());
  return shared == corners;
}

double lengthOf(TopoMeshEdge e) {
  return e.vector().length();
}

// Half-edges by length; entries of deleted half-edges leave with their records.
class EdgeQueue {
 public:
  void put(TopoMeshEdge e) {
    const double l = lengthOf(e);
    auto [it, added] = length_.emplace(e.data(), l);
    if (!added) {
      byLength_.erase({it->second, e.data()});
      it->second = l;
    }
    byLength_.insert({l, e.data()});
  }
  void drop(TopoMeshEdge e) {
    auto it = length_.find(e.data());
    if (it == length_.end()) return;
    byLength_.erase({it->second, e.data()});
    length_.erase(it);
  }
  bool empty() const { return byLength_.empty(); }
  TopoMeshEdge shortest() const { return byLength_.begin()->second; }

 private:
  std::set<std::pair<double, krGeom::TopoMeshEdgeData*>> byLength_;
  std::unordered_map<krGeom::TopoMeshEdgeData*, double> length_;
};

}  // namespace

TopoSnapshot takeSnapshot(const krGeom::TopoMesh& mesh) {
  TopoSnapshot s;
  std::unordered_map<const krGeom::TopoMeshVertexData*, int> indexOf;
  for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.nextInMesh()) {
    indexOf.emplace(v.data(), static_cast<int>(indexOf.size()));
    s.points.insert(s.points.end(), {v.point().x(), v.point().y(), v.point().z()});
  }
  for (krGeom::TopoMeshFace f = mesh.firstFace(); f; f = f.nextInMesh()) {
    s.loops.push_back(f.numVertices());
    TopoMeshEdge e = f.firstEdge();
    do {
      s.loops.push_back(indexOf.at(e.v1().data()));
      e = e.next();
    } while (e != f.firstEdge());
  }
  return s;
}

CollapseResult collapseShortestEdges(krGeom::TopoMesh& mesh, int count,
                                     std::vector<kr::Reference<krGeom::TopoMeshState>>& states,
                                     Progress& progress) {
  const auto start = std::chrono::steady_clock::now();
  CollapseResult result;
  mesh.enableTransactions();
  states.push_back(mesh.createState());
  EdgeQueue queue;
  for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInMesh()) queue.put(e);
  const int every = std::max(1, count / 10);

  while (result.collapsed < count && !queue.empty()) {
    const TopoMeshEdge e = queue.shortest();
    if (!collapsible(e)) {
      queue.drop(e);
      ++result.refused;
      continue;
    }
    // The collapse deletes the triangles on both sides of e with their half-edges.
    for (TopoMeshEdge side : {e, e.twin()}) {
      if (!side) continue;
      queue.drop(side.next().next());
      queue.drop(side.next());
      queue.drop(side);
    }
    const TopoMeshVertex kept = mesh.collapseEdge(e);
    // Every half-edge leaving or reaching the kept vertex may have changed length; each one
    // reaching it is the prev of one leaving it.
    for (krGeom::TopoMeshEdgeVertexIterator it(kept); it.valid(); it.next()) {
      queue.put(it.edge());
      queue.put(it.edge().prev());
    }
    if (++result.collapsed % every == 0) {
      states.push_back(mesh.createState());
      progress.step("collapsed " + std::to_string(result.collapsed) + " of " +
                    std::to_string(count) + " edges");
    }
  }
  if (result.collapsed % every != 0) states.push_back(mesh.createState());
  result.statesSaved = static_cast<int>(states.size());
  result.seconds = secondsSince(start);
  return result;
}

}  // namespace krgeom
