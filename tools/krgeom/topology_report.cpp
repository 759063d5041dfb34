#include "topology_report.h"

#include <geom/topology/boundary_iterator.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <unordered_map>

namespace krgeom {
namespace {

using krGeom::TopoMeshEdge;
using krGeom::TopoMeshVertex;

// Disjoint sets over vertex indices, for counting components.
struct UnionFind {
  std::vector<int> parent;
  explicit UnionFind(int n) : parent(n) { std::iota(parent.begin(), parent.end(), 0); }
  int find(int i) {
    while (parent[i] != i) i = parent[i] = parent[parent[i]];
    return i;
  }
  void join(int a, int b) { parent[find(a)] = find(b); }
};

// Counts edges from the triangles alone: each triangle side as (low, high, runs-upward), sorted
// so the sides of one edge are neighbours.
void countEdges(const krGeom::CompactMesh& mesh, TopologyReport& r) {
  std::vector<std::uint64_t> sides;
  sides.reserve(3 * static_cast<std::size_t>(mesh.getNumTriangles()));
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const krGeom::MeshTriangle& tri = mesh.getTriangles()[t];
    for (int k = 0; k < 3; ++k) {
      const std::uint32_t a = tri[k], b = tri[(k + 1) % 3];
      const std::uint64_t lo = std::min(a, b), hi = std::max(a, b);
      sides.push_back((lo << 33) | (hi << 1) | (a < b ? 1u : 0u));
    }
  }
  std::sort(sides.begin(), sides.end());
  for (std::size_t i = 0; i < sides.size();) {
    std::size_t j = i;
    int up = 0;
    while (j < sides.size() && (sides[j] >> 1) == (sides[i] >> 1)) up += int(sides[j++] & 1);
    const std::size_t count = j - i;
    ++r.edges;
    if (count == 1) ++r.boundaryEdges;
    if (count > 2) ++r.nonManifoldEdges;
    if (count == 2 && up != 1) ++r.misorientedEdges;
    i = j;
  }
}

// Boundary loops: every half-edge without twin starts a walk unless an earlier walk took it.
kr::Reference<krGeom::MeshBoundaries> findBoundaries(const BuiltTopoMesh& topo) {
  std::unordered_map<const krGeom::TopoMeshVertexData*, int> indexOf;
  for (std::size_t i = 0; i < topo.vertices.size(); ++i)
    indexOf.emplace(topo.vertices[i].data(), static_cast<int>(i));
  std::unordered_map<const krGeom::TopoMeshEdgeData*, bool> taken;
  std::vector<int> points, lengths;
  const int limit = topo.mesh->numEdges();
  for (TopoMeshEdge e = topo.mesh->firstEdge(); e; e = e.nextInMesh()) {
    if (e.twin() || taken.count(e.data())) continue;
    int length = 0;
    // The step limit keeps a walk finite where a vertex joins several boundaries.
    for (krGeom::TopoMeshBoundaryIterator it(e); it.valid() && length < limit; it.next()) {
      if (!taken.emplace(it.edge().data(), true).second) break;
      points.push_back(indexOf.at(it.edge().v1().data()));
      ++length;
    }
    lengths.push_back(length);
  }
  kr::Reference<krGeom::MeshBoundaries> b(new krGeom::MeshBoundaries());
  krGeom::MeshSequence& seq = b->getSequence();
  seq.resize(static_cast<int>(points.size()), static_cast<int>(lengths.size()));
  std::copy(points.begin(), points.end(), seq.getPoints());
  std::copy(lengths.begin(), lengths.end(), seq.getLengths());
  return b;
}

}  // namespace

BuiltTopoMesh buildTopoMesh(const krGeom::CompactMesh& mesh) {
  BuiltTopoMesh built;
  built.mesh = kr::Reference<krGeom::TopoMesh>(new krGeom::TopoMesh());
  krGeom::TopoMesh& topo = *built.mesh;
  const int n = mesh.getNumVertices();
  built.vertices.reserve(n);
  for (int i = 0; i < n; ++i)
    built.vertices.push_back(topo.allocVertex(mesh.getVertices()[i].asPoint()));

  // Half-edges by (from, to). allocTriangle pairs a new half-edge only with a reverse it finds
  // in its start's fan, and while faces arrive in file order a vertex's fan can still be in
  // pieces; the pairs it misses are made here.
  std::unordered_map<std::uint64_t, TopoMeshEdge> byEnds;
  byEnds.reserve(3 * static_cast<std::size_t>(mesh.getNumTriangles()));
  const auto key = [](int a, int b) {
    return (std::uint64_t(std::uint32_t(a)) << 32) | std::uint32_t(b);
  };
  const auto find = [&](int a, int b) {
    auto it = byEnds.find(key(a, b));
    return it == byEnds.end() ? TopoMeshEdge() : it->second;
  };
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const krGeom::MeshTriangle& tri = mesh.getTriangles()[t];
    // A triangle fits when none of its sides exists yet and each side's reverse, if any, is
    // still unpaired; degenerate triangles never fit.
    bool fits = tri[0] != tri[1] && tri[1] != tri[2] && tri[2] != tri[0];
    for (int k = 0; fits && k < 3; ++k) {
      const TopoMeshEdge reverse = find(tri[(k + 1) % 3], tri[k]);
      fits = !find(tri[k], tri[(k + 1) % 3]) && (!reverse || !reverse.twin());
    }
    if (!fits) {
      ++built.trianglesLeftOut;
      continue;
    }
    const krGeom::TopoMeshFace f =
        topo.allocTriangle(built.vertices[tri[0]], built.vertices[tri[1]], built.vertices[tri[2]]);
    TopoMeshEdge e = f.firstEdge();
    for (int k = 0; k < 3; ++k, e = e.next()) {
      byEnds.emplace(key(tri[k], tri[(k + 1) % 3]), e);
      if (e.twin()) continue;
      if (const TopoMeshEdge reverse = find(tri[(k + 1) % 3], tri[k])) topo.setTwins(e, reverse);
    }
  }
  return built;
}

TopologyReport reportTopology(const krGeom::CompactMesh& mesh, const BuiltTopoMesh& topo) {
  TopologyReport r;
  const int n = mesh.getNumVertices();
  r.triangles = mesh.getNumTriangles();
  std::vector<char> used(n, 0);
  UnionFind sets(n);
  for (int t = 0; t < r.triangles; ++t) {
    const krGeom::MeshTriangle& tri = mesh.getTriangles()[t];
    for (int k = 0; k < 3; ++k) used[tri[k]] = 1;
    sets.join(tri[0], tri[1]);
    sets.join(tri[1], tri[2]);
  }
  for (int i = 0; i < n; ++i) {
    if (!used[i]) continue;
    ++r.usedVertices;
    if (sets.find(i) == i) ++r.components;
  }
  r.isolatedVertices = n - r.usedVertices;
  countEdges(mesh, r);
  r.eulerCharacteristic = r.usedVertices - r.edges + r.triangles;
  r.boundaries = findBoundaries(topo);
  const long long twiceGenus = 2LL * r.components - r.eulerCharacteristic - r.boundaries->size();
  const bool manifold =
      r.nonManifoldEdges == 0 && r.misorientedEdges == 0 && topo.trianglesLeftOut == 0;
  if (manifold && twiceGenus >= 0 && twiceGenus % 2 == 0)
    r.genus = static_cast<int>(twiceGenus / 2);
  return r;
}

kr::Reference<krGeom::CompactMesh> toCompactMesh(const krGeom::TopoMesh& topo) {
  std::unordered_map<const krGeom::TopoMeshVertexData*, int> indexOf;
  std::vector<krGeom::MeshVertex> points;
  points.reserve(topo.numVertices());
  for (TopoMeshVertex v = topo.firstVertex(); v; v = v.nextInMesh()) {
    indexOf.emplace(v.data(), static_cast<int>(points.size()));
    krGeom::MeshVertex p;
    p = v.point();
    points.push_back(p);
  }
  std::vector<int> triangles;
  for (krGeom::TopoMeshFace f = topo.firstFace(); f; f = f.nextInMesh()) {
    const TopoMeshEdge first = f.firstEdge();
    const int apex = indexOf.at(first.v1().data());
    for (TopoMeshEdge e = first.next(); e.next() != first; e = e.next()) {
      triangles.push_back(apex);
      triangles.push_back(indexOf.at(e.v1().data()));
      triangles.push_back(indexOf.at(e.v2().data()));
    }
  }
  kr::Reference<krGeom::CompactMesh> out(new krGeom::CompactMesh());
  out->copyVertices(static_cast<int>(points.size()), points.data());
  out->copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
  return out;
}

}  // namespace krgeom
