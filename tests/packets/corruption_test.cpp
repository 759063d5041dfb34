// A small stream holding a mesh with every array, a half-edge mesh and references, truncated at
// every length and with every byte overwritten: each read returns a status, and whatever it hands
// out is consistent. Run under the asan preset this also proves no read leaves the input.
#include "packet_fixtures.h"

#include <gtest/gtest.h>

namespace {

std::vector<std::uint8_t> sample() {
  return writeStream([](ioWriteContext& out) {
    kr::Reference<krGeom::CompactMesh> m(new krGeom::CompactMesh());
    const krGeom::MeshVertex v[4] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    m->copyVertices(4, v);
    m->resizeTriangleArray(2);
    const int tris[6] = {0, 1, 2, 0, 2, 3};
    std::copy(tris, tris + 6, m->getTrianglesRaw());
    m->allocUVArray();
    for (int i = 0; i < 8; ++i) m->getUVsRaw()[i] = 0.125f * i;
    m->resizeTriStripArrays(4, 1);
    const int strip[4] = {0, 1, 3, 2};
    std::copy(strip, strip + 4, m->getTriStripPoints());
    m->getTriStripLengths()[0] = 4;
    krGeom::packetFile::writeMesh(out, m.get(), 1.0, true);
    krGeom::TopoMesh t;
    const krGeom::TopoMeshVertex a = t.allocVertex({0, 0, 0}), b = t.allocVertex({1, 0, 0}),
                                 c = t.allocVertex({1, 1, 0}), d = t.allocVertex({0, 1, 0});
    t.allocTriangle(a, b, c);
    t.allocTriangle(a, c, d);
    t.writePF(out);
  });
}

// Reads the bytes; the status must say ok only when everything handed out is consistent.
void readAndCheck(const std::vector<std::uint8_t>& bytes, const char* what, std::size_t where) {
  PacketReader r;
  const ioStatus s = r.read(bytes);
  EXPECT_TRUE(s.ok() || std::string(s.message()) != "") << what << " at " << where;
  for (const auto& t : r.topoMeshes())
    EXPECT_TRUE(t->findBrokenInvariant().empty()) << what << " at " << where;
  if (const krGeom::CompactMesh* m = r.reader.getLastMesh(false)) {
    for (int i = 0; i < 3 * m->getNumTriangles(); ++i) {
      const int k = m->getTrianglesRaw()[i];
      EXPECT_TRUE(k >= 0 && k < m->getNumVertices()) << what << " at " << where;
    }
    const krGeom::MeshSequence& strips = m->getTriStrips();
    long long sum = 0;
    for (int i = 0; i < strips.getNumSequences(); ++i) sum += strips.getLengths()[i];
    EXPECT_LE(sum, strips.getNumPoints()) << what << " at " << where;
  }
}

TEST(PacketCorruptionTest, EveryTruncationAndByteChangeGivesAStatus) {
  const std::vector<std::uint8_t> good = sample();
  ASSERT_GT(good.size(), 100u);
  {
    PacketReader r;
    ASSERT_TRUE(r.read(good).ok());
  }
  for (std::size_t n = 0; n < good.size(); ++n) {
    std::vector<std::uint8_t> cut(good.begin(), good.begin() + static_cast<long>(n));
    readAndCheck(cut, "truncated", n);
  }
  for (std::size_t i = 0; i < good.size(); ++i) {
    for (int variant = 0; variant < 5; ++variant) {
      std::vector<std::uint8_t> bad = good;
      const std::uint8_t values[4] = {0x00, 0xFF, 0x7F, 0x80};
      bad[i] = variant < 4 ? values[variant] : static_cast<std::uint8_t>(bad[i] ^ 1);
      if (bad[i] == good[i]) continue;
      readAndCheck(bad, "changed byte", i);
    }
  }
}

}  // namespace
