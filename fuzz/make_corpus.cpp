// Writes the starting corpus of the packet reader fuzz target: small valid streams covering every
// mesh packet, references, sequences and half-edge meshes. Usage: make_corpus FOLDER
#include <geom/geom.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace {

kr::Reference<krGeom::CompactMesh> smallMesh(bool everything) {
  kr::Reference<krGeom::CompactMesh> m(new krGeom::CompactMesh());
  const krGeom::MeshVertex v[4] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, -0.f}};
  m->copyVertices(4, v);
  m->resizeTriangleArray(2);
  const int tris[6] = {0, 1, 2, 0, 2, 3};
  std::copy(tris, tris + 6, m->getTrianglesRaw());
  if (everything) {
    m->allocNormalArray();
    m->setNormalsComputed(false);
    m->allocUVArray();
    m->allocSTArray();
    m->allocColourArray();
    m->allocTriangleNormalArray();
    m->setTriNormalsComputed(false);
    for (float* a : {m->getNormalsRaw(), m->getUVsRaw(), m->getSTsRaw(), m->getColoursRaw(),
                     m->getTriangleNormalsRaw()})
      for (int i = 0; i < 6; ++i) a[i] = 0.25f * i;
    m->resizeTriStripArrays(4, 1);
    const int strip[4] = {0, 1, 3, 2};
    std::copy(strip, strip + 4, m->getTriStripPoints());
    m->getTriStripLengths()[0] = 4;
    m->resizePolyArrays(4, 1);
    std::copy(strip, strip + 4, m->getPolyPoints());
    m->getPolyLengths()[0] = 4;
    m->setDrawFlags(5);
  }
  return m;
}

kr::Reference<krGeom::TopoMesh> smallTopo() {
  kr::Reference<krGeom::TopoMesh> t(new krGeom::TopoMesh());
  krGeom::TopoMeshVertex a = t->allocVertex({0, 0, 0}), b = t->allocVertex({1, 0, 0}),
                         c = t->allocVertex({1, 1, 0}), d = t->allocVertex({0, 1, 0});
  t->allocTriangle(a, b, c);
  t->allocTriangle(a, c, d);
  return t;
}

void save(const std::string& path, const std::vector<std::uint8_t>& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_corpus FOLDER\n");
    return 2;
  }
  const std::string dir = argv[1];
  const auto write = [&](const char* name, auto body) {
    ioWriteContext out;
    body(out);
    out.close();
    save(dir + "/" + name, out.buffer());
  };
  write("mesh_plain", [](ioWriteContext& o) {
    krGeom::packetFile::writeMesh(o, smallMesh(false).get(), 1.0, false);
  });
  write("mesh_everything_refs", [](ioWriteContext& o) {
    krGeom::packetFile::writeMesh(o, smallMesh(true).get(), 2.0, true);
  });
  write("topomesh", [](ioWriteContext& o) { smallTopo()->writePF(o); });
  write("mixed", [](ioWriteContext& o) {
    krGeom::packetFile::writeMesh(o, smallMesh(true).get(), 1.0, false);
    smallTopo()->writePF(o);
    kr::Reference<krGeom::TopoMesh> empty(new krGeom::TopoMesh());
    empty->writePF(o);
    krGeom::packetFile::writeMesh(o, smallMesh(false).get(), 1.0, true);
  });
  return 0;
}
