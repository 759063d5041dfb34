// The half-edge side of the tool: building a TopoMesh from a triangle mesh, reading its topology
// (boundary loops, non-manifold edges, Euler characteristic, genus), and turning it back into
// triangles.
#pragma once

#include <geom/meshes/compact_mesh.h>
#include <geom/topology/mesh_boundaries.h>
#include <geom/topology/topo_mesh.h>
#include <kr/reference.h>

#include <vector>

namespace krgeom {

struct BuiltTopoMesh {
  kr::Reference<krGeom::TopoMesh> mesh;
  // The half-edge vertex of each mesh vertex, by index.
  std::vector<krGeom::TopoMeshVertex> vertices;
  // Triangles left out because they would have made an edge carry more than two faces, or two
  // faces run the same way along it (which a half-edge structure cannot hold).
  int trianglesLeftOut = 0;
};

// One vertex per mesh vertex, then one face per triangle in order.
BuiltTopoMesh buildTopoMesh(const krGeom::CompactMesh& mesh);

struct TopologyReport {
  int usedVertices = 0;
  int isolatedVertices = 0;
  int triangles = 0;
  long long edges = 0;                // undirected edges of the triangles
  long long boundaryEdges = 0;        // edges with one triangle
  long long nonManifoldEdges = 0;     // edges with three or more triangles
  long long misorientedEdges = 0;     // edges whose two triangles run the same way along them
  int components = 0;                 // connected sets of triangles
  long long eulerCharacteristic = 0;  // used vertices - edges + triangles
  // (2 components - Euler characteristic - boundary loops) / 2, when the surface is a manifold
  // with consistent orientation; -1 otherwise.
  int genus = -1;
  // Boundary loops of the half-edge mesh, as vertex-index lists.
  kr::Reference<krGeom::MeshBoundaries> boundaries;
};

TopologyReport reportTopology(const krGeom::CompactMesh& mesh, const BuiltTopoMesh& topo);

// The faces of a half-edge mesh as triangles (fans for larger faces), vertices in list order.
kr::Reference<krGeom::CompactMesh> toCompactMesh(const krGeom::TopoMesh& mesh);

}  // namespace krgeom
