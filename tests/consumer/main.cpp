// Builds against the installed package and exercises a little of each family.
#include <geom/geom.h>

#include <cstdio>

int main() {
  kr::Reference<krGeom::CompactMesh> mesh(new krGeom::CompactMesh());
  const krGeom::MeshVertex v[3] = {{0.f, 0.f, 0.f}, {1.f, 0.f, 0.f}, {0.f, 1.f, 0.f}};
  mesh->copyVertices(3, v);
  krLinear::Point p = v[1].asPoint() * krLinear::AffineMatrix::identity();

  // An octree over the same points, and a half-edge triangle with a saved state.
  const float xyz[9] = {0.f, 0.f, 0.f, 1.f, 0.f, 0.f, 0.f, 1.f, 0.f};
  const float lo[3] = {0.f, 0.f, 0.f}, hi[3] = {1.f, 1.f, 1.f};
  kr::Reference<krGeom::Octree> tree(
      new krGeom::Octree(3, xyz, krGeom::BoundingBox(lo, hi), false, 1));
  kr::Reference<krGeom::TopoMesh> topo(new krGeom::TopoMesh());
  topo->enableTransactions();
  kr::Reference<krGeom::TopoMeshState> empty = topo->createState();
  topo->allocTriangle(topo->allocVertex(v[0].asPoint()), topo->allocVertex(v[1].asPoint()),
                      topo->allocVertex(v[2].asPoint()));
  const bool built = topo->numFaces() == 1 && topo->findBrokenInvariant().empty();
  topo->setState(empty);

  // A camera looking down -z projects a point ahead onto the middle of its window.
  krGeom::Camera camera;
  camera.setWorldToEye(krLinear::Point(0, 0, -1), krLinear::Point(0, 0, 0),
                       krLinear::Normal::yAxis());
  krLinear::Point window;
  const bool projected = camera.project(krLinear::Point(0, 0, -10), window) && window.x() == 0.5;

  // The mesh through a packet stream in memory.
  ioWriteContext out;
  krGeom::packetFile::writeMesh(out, mesh.get(), 1.0, false);
  out.close();
  ioPacketRegistry registry;
  ioReadContext in(registry);
  krGeom::packetFile::ReadInterface reader(in);
  krGeom::packetFile::registerTypes(&registry, &reader);
  const bool packets = in.readBuffer(out.buffer().data(), out.buffer().size()).ok() &&
                       reader.getLastMesh(false)->getNumVertices() == 3;

  if (!projected || !packets || mesh->getNumVertices() != 3 || p.x() != 1.0 ||
      tree->numLeafNodes() != 3 || !built || topo->numVertices() != 0 ||
      krGeom::numberOfActiveEntities() != 3) {  // and the copy read
    std::puts("consumer: unexpected result");
    return 1;
  }
  std::puts("consumer: ok");
  return 0;
}
