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
  b.vertices.reserve(torus.points.size());
  for (const auto& p : torus.points)
    b.vertices.push_back(b.mesh->add_vertex(OMesh::Point(p[0], p[1], p[2])));
  for (const auto& t : torus.triangles)
    b.mesh->add_face(b.vertices[t[0]], b.vertices[t[1]], b.vertices[t[2]]);
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
  b.vertices.reserve(torus.points.size());
  for (const auto& p : torus.points)
    b.vertices.push_back(b.mesh->add_vertex(Kernel::Point_3(p[0], p[1], p[2])));
  for (const auto& t : torus.triangles)
    b.mesh->add_face(b.vertices[t[0]], b.vertices[t[1]], b.vertices[t[2]]);
  return b;
}

}  // namespace bench
