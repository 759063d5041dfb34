// Fuzz target: the packet reader with the mesh and half-edge mesh packet types registered. Whatever
// the input, the read must return a status without crashing, and what it hands out must be
// consistent: half-edge meshes pass their checker, triangle indices name vertices.
#include <geom/geom.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ioPacketRegistry registry;
  ioReadContext in(registry);
  krGeom::packetFile::ReadInterface reader(in);
  krGeom::packetFile::registerTypes(&registry, &reader);
  const ioStatus status = in.readBuffer(data, size);
  (void)status;
  for (void* p : in.takeObjects("kr.geom.topomesh")) {
    kr::Reference<krGeom::TopoMesh> mesh(static_cast<krGeom::TopoMesh*>(p));
    if (!mesh->findBrokenInvariant().empty()) std::abort();
  }
  if (const krGeom::CompactMesh* mesh = reader.getLastMesh(false)) {
    const int* t = mesh->getTrianglesRaw();
    for (int i = 0; i < 3 * mesh->getNumTriangles(); ++i)
      if (t[i] < 0 || t[i] >= mesh->getNumVertices()) std::abort();
  }
  return 0;
}
