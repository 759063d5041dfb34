// Builds against the installed package and exercises a little of it.
#include <geom/geom.h>

#include <cstdio>

int main() {
  kr::Reference<krGeom::CompactMesh> mesh(new krGeom::CompactMesh());
  const krGeom::MeshVertex v[3] = {{0.f, 0.f, 0.f}, {1.f, 0.f, 0.f}, {0.f, 1.f, 0.f}};
  mesh->copyVertices(3, v);
  krLinear::Point p = v[1].asPoint() * krLinear::AffineMatrix::identity();
  if (mesh->getNumVertices() != 3 || p.x() != 1.0 || krGeom::numberOfActiveEntities() != 1) {
    std::puts("consumer: unexpected result");
    return 1;
  }
  std::puts("consumer: ok");
  return 0;
}
