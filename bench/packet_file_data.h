// The meshes the packet benchmarks write and read: a torus of 1 million triangles as a
// CompactMesh with positions, normals and UVs, and as a TopoMesh built face by face.
#pragma once

#include <geom/geom.h>

#include "topo_mesh_torus.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace bench {

inline const Torus& packetTorus() {
  static const Torus t = makeTorus(500, 1000);  // 500,000 vertices, 1,000,000 faces
  return t;
}

// A file name in $TMPDIR (default /tmp).
inline std::string tempPath(const char* name) {
  const char* dir = std::getenv("TMPDIR");
  return std::string(dir && *dir ? dir : "/tmp") + "/krgeom_bench_" + name;
}

inline const krGeom::CompactMesh& packetMesh() {
  using krGeom::CompactMesh;
  static const kr::Reference<CompactMesh> m = [] {
    const Torus& t = packetTorus();
    kr::Reference<CompactMesh> c(new CompactMesh());
    const int n = static_cast<int>(t.points.size());
    c->resizeVertexArray(n);
    c->allocNormalArray();
    c->setNormalsComputed(false);
    c->allocUVArray();
    for (int i = 0; i < n; ++i)
      for (int k = 0; k < 3; ++k) {
        c->getVerticesRaw()[3 * i + k] = static_cast<float>(t.points[i][k]);
        c->getNormalsRaw()[3 * i + k] = static_cast<float>(t.points[i][k] / 4);
        if (k < 2) c->getUVsRaw()[2 * i + k] = static_cast<float>(t.points[i][k] / 8);
      }
    c->resizeTriangleArray(static_cast<int>(t.triangles.size()));
    std::memcpy(c->getTrianglesRaw(), t.triangles.data(), t.triangles.size() * 12);
    return c;
  }();
  return *m;
}

inline kr::Reference<krGeom::TopoMesh> buildTopo() {
  const Torus& t = packetTorus();
  kr::Reference<krGeom::TopoMesh> m(new krGeom::TopoMesh());
  std::vector<krGeom::TopoMeshVertex> v;
  v.reserve(t.points.size());
  for (const auto& p : t.points) v.push_back(m->allocVertex(krLinear::Point(p[0], p[1], p[2])));
  for (const auto& f : t.triangles) m->allocTriangle(v[f[0]], v[f[1]], v[f[2]]);
  return m;
}

inline void writeMeshFile(const std::string& path) {
  ioWriteContext out;
  out.openFile(path.c_str());
  krGeom::packetFile::writeMesh(out, &packetMesh(), 1.0, false);
  if (!out.close().ok()) std::abort();
}

inline void writeTopoFile(const std::string& path, const krGeom::TopoMesh& mesh) {
  ioWriteContext out;
  out.openFile(path.c_str());
  mesh.writePF(out);
  if (!out.close().ok()) std::abort();
}

}  // namespace bench
