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
  krGeom::TopoMesh& m = *b.mesh;
  b.vertices = addTorus(
      torus, [&](double x, double y, double z) { return m.allocVertex(krLinear::Point(x, y, z)); },
      [&](auto u, auto v, auto w) { m.allocTriangle(u, v, w); });
  return b;
}

}  // namespace bench
