// The torus of topo_mesh_torus.h built face by face as a krGeom::TopoMesh, shared by the
// half-edge mesh benchmarks and the cold-start program.
#pragma once

#include "topo_mesh_torus.h"

#include <geom/topology/topo_mesh.h>

#include <vector>

namespace bench {

struct Built {
  kr::Reference<krGeom::TopoMesh> mesh;
  std::vector<krGeom::TopoMeshVertex> vertices;
};

inline Built build(const bench::Torus& torus) {
  Built b{new krGeom::TopoMesh(), {}};
  b.vertices.reserve(torus.points.size());
  for (const auto& p : torus.points)
    b.vertices.push_back(b.mesh->allocVertex(krLinear::Point(p[0], p[1], p[2])));
  for (const auto& t : torus.triangles)
    b.mesh->allocTriangle(b.vertices[t[0]], b.vertices[t[1]], b.vertices[t[2]]);
  return b;
}

}  // namespace bench
