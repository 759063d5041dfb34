// The torus of topo_mesh_torus.h built face by face with OpenMesh's TriMesh and CGAL's
// Surface_mesh, shared by the peer benchmarks and the cold-start program.
#pragma once

#include "topo_mesh_torus.h"

#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>

#include <CGAL/Simple_cartesian.h>
#include <CGAL/Surface_mesh.h>

#include <memory>
#include <vector>

namespace bench {

using OMesh = OpenMesh::TriMesh_ArrayKernelT<>;

struct OBuilt {
  std::unique_ptr<OMesh> mesh;
  std::vector<OMesh::VertexHandle> vertices;
};

inline OBuilt buildOpenMesh(const bench::Torus& torus, bool withStatus) {
  OBuilt b{std::make_unique<OMesh>(), {}};
  if (withStatus) {  // collapse needs deletion flags
    b.mesh->request_vertex_status();
    b.mesh->request_edge_status();
    b.mesh->request_face_status();
  }
  OMesh& m = *b.mesh;
  b.vertices = addTorus(
      torus,
      [&](double x, double y, double z) {
        return OMesh::VertexHandle(m.add_vertex(OMesh::Point(x, y, z)));
      },
      [&](auto u, auto v, auto w) { m.add_face(u, v, w); });
  return b;
}

using Kernel = CGAL::Simple_cartesian<double>;
using SMesh = CGAL::Surface_mesh<Kernel::Point_3>;

struct CBuilt {
  std::unique_ptr<SMesh> mesh;
  std::vector<SMesh::Vertex_index> vertices;
};

inline CBuilt buildCgal(const bench::Torus& torus) {
  CBuilt b{std::make_unique<SMesh>(), {}};
  SMesh& m = *b.mesh;
  b.vertices = addTorus(
      torus, [&](double x, double y, double z) { return m.add_vertex(Kernel::Point_3(x, y, z)); },
      [&](auto u, auto v, auto w) { m.add_face(u, v, w); });
  return b;
}

}  // namespace bench
