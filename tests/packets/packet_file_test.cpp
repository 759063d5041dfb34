// Mesh, camera and viewport packets: bit-exact round trips, run splitting, header defaults and
// the read interface's rules.
#include "packet_fixtures.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

namespace {

using krGeom::CompactMesh;
using krGeom::packetFile;
using Mesh = kr::Reference<CompactMesh>;

// Floats that a lossy path would change: signed zero, NaN payloads, denormals, infinities.
float special(int i) {
  static const float values[] = {-0.0f,
                                 std::bit_cast<float>(0x7FC12345u),
                                 std::bit_cast<float>(0xFF800001u),
                                 std::numeric_limits<float>::denorm_min(),
                                 -std::numeric_limits<float>::infinity(),
                                 std::numeric_limits<float>::max(),
                                 1.0f / 3.0f};
  return i % 9 < 7 ? values[i % 9] : static_cast<float>(i) * 0.5f;
}

void fill(float* p, long long n, int salt) {
  for (long long i = 0; i < n; ++i) p[i] = special(static_cast<int>(i) + salt);
}

// A mesh of n vertices and about n / 2 triangles with every optional array when `everything`.
Mesh makeMesh(int n, bool everything) {
  Mesh m(new CompactMesh());
  m->resizeVertexArray(n);
  fill(m->getVerticesRaw(), 3LL * n, 0);
  const int t = n / 2;
  if (t > 0) {
    m->resizeTriangleArray(t);
    for (int i = 0; i < 3 * t; ++i) m->getTrianglesRaw()[i] = (i * 7) % n;
  }
  if (everything) {
    m->allocNormalArray();
    m->setNormalsComputed(false);
    m->allocUVArray();
    m->setUVRange({{-0.5, 0.25}, {1.5, 2.0}});
    m->allocSTArray();
    m->allocColourArray();
    fill(m->getNormalsRaw(), 3LL * n, 1);
    fill(m->getUVsRaw(), 2LL * n, 2);
    fill(m->getSTsRaw(), 2LL * n, 3);
    fill(m->getColoursRaw(), 4LL * n, 4);
    if (t > 0) {
      m->allocTriangleNormalArray();
      m->setTriNormalsComputed(false);
      fill(m->getTriangleNormalsRaw(), 3LL * t, 5);
    }
    if (n >= 4) {
      // One strip over every vertex, and polygons of four.
      m->resizeTriStripArrays(n, 1);
      for (int i = 0; i < n; ++i) m->getTriStripPoints()[i] = n - 1 - i;
      m->getTriStripLengths()[0] = n;
      m->resizeLineStripArrays(n, n / 4);
      for (int i = 0; i < n; ++i) m->getLineStripPoints()[i] = i;
      for (int i = 0; i < n / 4; ++i) m->getLineStripLengths()[i] = 4;
    }
    m->setDrawFlags(0x55);
    m->setFlatShaded(true);
  }
  return m;
}

template <class T>
bool sameBytes(const T* a, const T* b, long long n) {
  if (!a || !b) return a == b;
  return std::memcmp(a, b, static_cast<std::size_t>(n) * sizeof(T)) == 0;
}

void expectSameMesh(const CompactMesh& a, const CompactMesh& b) {
  const int n = a.getNumVertices(), t = a.getNumTriangles();
  ASSERT_EQ(b.getNumVertices(), n);
  ASSERT_EQ(b.getNumTriangles(), t);
  EXPECT_TRUE(sameBytes(a.getVerticesRaw(), b.getVerticesRaw(), 3LL * n));
  EXPECT_TRUE(sameBytes(a.getTrianglesRaw(), b.getTrianglesRaw(), 3LL * t));
  EXPECT_TRUE(sameBytes(a.getNormalsRaw(), b.getNormalsRaw(), 3LL * n));
  EXPECT_TRUE(sameBytes(a.getUVsRaw(), b.getUVsRaw(), 2LL * n));
  EXPECT_TRUE(sameBytes(a.getSTsRaw(), b.getSTsRaw(), 2LL * n));
  EXPECT_TRUE(sameBytes(a.getColoursRaw(), b.getColoursRaw(), 4LL * n));
  EXPECT_TRUE(sameBytes(a.getTriangleNormalsRaw(), b.getTriangleNormalsRaw(), 3LL * t));
  EXPECT_TRUE(sameBytes(a.getTriStripPoints(), b.getTriStripPoints(), a.getNumTriStripPoints()));
  EXPECT_TRUE(sameBytes(a.getTriStripLengths(), b.getTriStripLengths(), a.getNumTriStrips()));
  EXPECT_TRUE(sameBytes(a.getLineStripPoints(), b.getLineStripPoints(), a.getNumLineStripPoints()));
  EXPECT_TRUE(sameBytes(a.getLineStripLengths(), b.getLineStripLengths(), a.getNumLineStrips()));
  EXPECT_EQ(b.getNumPolys(), a.getNumPolys());
  EXPECT_EQ(b.getDrawFlags(), a.getDrawFlags());
  EXPECT_EQ(b.getFlatShaded(), a.getFlatShaded());
  if (a.getUVs()) {
    const krLinear::Range2d r = b.getUVRange();
    EXPECT_EQ(r.lower().x(), -0.5);
    EXPECT_EQ(r.upper().y(), 2.0);
  }
}

TEST(PacketFileTest, MeshesRoundTripBitForBit) {
  for (int n : {0, 1, 1000, 1001, 2500}) {
    for (bool everything : {false, true}) {
      SCOPED_TRACE(std::to_string(n) + (everything ? " everything" : " plain"));
      const Mesh mesh = makeMesh(n, everything);
      const auto bytes =
          writeStream([&](ioWriteContext& o) { packetFile::writeMesh(o, mesh.get(), 1.0, false); });
      PacketReader r;
      const ioStatus s = r.read(bytes);
      ASSERT_TRUE(s.ok()) << s.message();
      const Mesh back(r.reader.getLastMesh(true));
      ASSERT_TRUE(back);
      expectSameMesh(*mesh, *back);
    }
  }
}

TEST(PacketFileTest, SeveralMeshesWithReferencesComeBackInOrder) {
  const Mesh meshes[3] = {makeMesh(5, true), makeMesh(1200, false), makeMesh(8, true)};
  meshes[0]->setRenderInfo(meshes[1].get());  // an opaque pointer that names no packet
  const auto bytes = writeStream([&](ioWriteContext& o) {
    for (const Mesh& m : meshes) packetFile::writeMesh(o, m.get(), 1.0, true);
  });
  PacketReader r;
  ASSERT_TRUE(r.read(bytes).ok());
  const std::vector<void*> back = r.in.takeObjects("kr.st.mesh");
  ASSERT_EQ(back.size(), 3u);
  for (int i = 0; i < 3; ++i) {
    const Mesh m(static_cast<CompactMesh*>(back[i]));
    expectSameMesh(*meshes[i], *m);
  }
  EXPECT_EQ(static_cast<CompactMesh*>(back[0])->getRenderInfo(), nullptr);
  EXPECT_EQ(r.reader.getLastMesh(false), back[2]);
}

// Counts the runs of the vertex packets in place of the library's handler.
struct RunSpy : ioPacketType {
  std::vector<std::pair<int, int>> runs;
  RunSpy() : ioPacketType("kr.st.mesh.vertices") {}
  void readPacket(ioReadContext& in) override {
    in.readReference();
    const int first = in.readInt();
    runs.emplace_back(first, in.readInt());
  }
};

TEST(PacketFileTest, WritingSplitsRunsScalesPositionsAndSkipsComputedNormals) {
  Mesh mesh = makeMesh(2500, true);
  for (int i = 0; i < 3 * 2500; ++i) mesh->getVerticesRaw()[i] = 0.1f * i;
  mesh->setNormalsComputed(true);
  const auto bytes = writeStream([&](ioWriteContext& o) {
    packetFile::writeMesh(o, mesh.get(), 2.0, false);
    packetFile::writeMesh(o, nullptr, 1.0, false);  // writes nothing
  });
  PacketReader r;
  ASSERT_TRUE(r.read(bytes).ok());
  const CompactMesh* back = r.reader.getLastMesh(false);
  EXPECT_EQ(back->getNormals(), nullptr);
  const float two = static_cast<float>(2.0);
  for (int i = 0; i < 3 * 2500; ++i)
    ASSERT_EQ(back->getVerticesRaw()[i], mesh->getVerticesRaw()[i] * two) << i;
  EXPECT_TRUE(sameBytes(back->getUVsRaw(), mesh->getUVsRaw(), 2 * 2500));  // not scaled

  ioPacketRegistry registry;
  ioReadContext in(registry);
  packetFile::ReadInterface reader(in);
  packetFile::registerTypes(&registry, &reader);
  auto* spy = new RunSpy;
  registry.supportedType(spy);
  ASSERT_TRUE(in.readBuffer(bytes.data(), bytes.size()).ok());
  EXPECT_EQ(spy->runs, (std::vector<std::pair<int, int>>{{0, 1000}, {1000, 1000}, {2000, 500}}));
}

TEST(PacketFileTest, ShortHeadersReadWithDefaults) {
  const auto bytes = writeStream([](ioWriteContext& o) {
    o.startPacket("kr.st.mesh", nullptr);
    o.writeInt(3);
    o.writeInt(1);
    o.endPacket();
  });
  PacketReader r;
  const ioStatus s = r.read(bytes);
  ASSERT_TRUE(s.ok()) << s.message();
  const CompactMesh* m = r.reader.getLastMesh(false);
  ASSERT_TRUE(m);
  EXPECT_EQ(m->getNumVertices(), 3);
  EXPECT_EQ(m->getNumTriangles(), 1);
  EXPECT_EQ(m->getNormals(), nullptr);
  EXPECT_EQ(m->getUVs(), nullptr);
  EXPECT_EQ(m->getColours(), nullptr);
  EXPECT_EQ(m->getDrawFlags(), 0);
  EXPECT_FALSE(m->getFlatShaded());
  EXPECT_EQ(m->getTrianglesRaw()[2], 0);  // zero-filled
  EXPECT_EQ(r.reader.getLastMesh(false), m);
  const int live = krGeom::numberOfActiveEntities();
  const CompactMesh* taken = r.reader.getLastMesh(true);  // the caller owns it now
  EXPECT_EQ(taken, m);
  EXPECT_EQ(r.reader.getLastMesh(true), nullptr);
  delete taken;
  EXPECT_EQ(krGeom::numberOfActiveEntities(), live - 1);
}

TEST(PacketFileTest, IgnoredMeshesLeaveTheLastMeshAlone) {
  const Mesh mesh = makeMesh(10, true);
  const auto bytes =
      writeStream([&](ioWriteContext& o) { packetFile::writeMesh(o, mesh.get(), 1.0, false); });
  PacketReader r;
  r.reader.setIgnoreMesh(true);
  EXPECT_TRUE(r.reader.getIgnoreMesh());
  EXPECT_TRUE(r.read(bytes).ok());  // skipped packets are not an error
  EXPECT_EQ(r.reader.getLastMesh(false), nullptr);
  r.reader.setIgnoreMesh(false);
  EXPECT_TRUE(r.read(bytes).ok());
  EXPECT_NE(r.reader.getLastMesh(false), nullptr);
}

TEST(PacketFileTest, HostileRunsAreRefused) {
  const struct {
    const char* what;
    void (*write)(ioWriteContext&);
  } cases[] = {
      {"run without a header",
       [](ioWriteContext& o) {
         o.startPacket("kr.st.mesh.vertices", nullptr);
         o.writeReference(0, 0);
         o.writeInt(0);
         o.writeInt(1);
         const float v[3] = {1, 2, 3};
         o.writeFloats(v, 3);
         o.endPacket();
       }},
      {"run past the array",
       [](ioWriteContext& o) {
         packetFile::writeMesh(o, makeMesh(4, false).get(), 1.0, false);
         o.startPacket("kr.st.mesh.vertices", nullptr);
         o.writeReference(0, 0);
         o.writeInt(3);
         o.writeInt(2);
         const float v[6] = {};
         o.writeFloats(v, 6);
         o.endPacket();
       }},
      {"index past the vertices",
       [](ioWriteContext& o) {
         Mesh m = makeMesh(4, false);
         m->getTrianglesRaw()[4] = 4;
         packetFile::writeMesh(o, m.get(), 1.0, false);
       }},
      {"lengths past the points",
       [](ioWriteContext& o) {
         Mesh m = makeMesh(8, true);
         m->getLineStripLengths()[1] = 5;
         packetFile::writeMesh(o, m.get(), 1.0, false);
       }},
      {"huge counts",
       [](ioWriteContext& o) {
         o.startPacket("kr.st.mesh", nullptr);
         o.writeInt(1 << 30);
         o.writeInt(1 << 30);
         o.endPacket();
       }},
  };
  for (const auto& c : cases) {
    PacketReader r;
    const ioStatus s = r.read(writeStream(c.write));
    EXPECT_FALSE(s.ok()) << c.what;
    if (const CompactMesh* m = r.reader.getLastMesh(false)) {
      for (int i = 0; i < 3 * m->getNumTriangles(); ++i)
        EXPECT_LT(m->getTrianglesRaw()[i], m->getNumVertices()) << c.what;
    }
  }
}

// A packet of the caller's holding a camera, a viewport and a frustum as sub-packets.
struct ViewPacket : ioPacketType {
  krGeom::packetFile::ReadInterface* reader;
  krGeom::Camera camera;
  krGeom::Viewport viewport;
  krGeom::EyeSpaceFrustum frustum;
  explicit ViewPacket(krGeom::packetFile::ReadInterface* r)
      : ioPacketType("test.view"), reader(r) {}
  void readPacket(ioReadContext&) override {
    reader->readCamera(camera);
    reader->readViewport(viewport);
    reader->readEyeSpaceFrustum(frustum);
  }
};

TEST(PacketFileTest, CamerasViewportsAndFrustumsRoundTrip) {
  krGeom::Camera cam;
  cam.setWorldToEye(krLinear::Point(1, 2, 3), krLinear::Point(4, -5, 6), krLinear::Normal(0, 0, 1));
  krGeom::AngleAspect lens;
  lens.setAspectRatio(1.5);
  cam.setFrustum(lens);
  cam.setOpenFrustum(true);
  krGeom::Viewport vp;
  vp.setOrigin(3, 4);
  vp.setSize(640, 480);
  vp.setDepthRange(0.25, 0.75);
  krGeom::EyeSpaceFrustum off;
  off.setFrame({-0.25, -1}, {2, 0.5});
  off.setDepthRange(0.125, 9, false);
  off.setOrthographic(true);
  cam.setViewport(vp);
  const auto bytes = writeStream([&](ioWriteContext& o) {
    o.startPacket("test.view", nullptr);
    packetFile::writeCamera(o, cam);
    packetFile::writeViewport(o, vp);
    packetFile::writeEyeSpaceFrustum(o, off);
    o.endPacket();
  });
  PacketReader r;
  auto* view = new ViewPacket(&r.reader);
  r.registry.supportedType(view);
  ASSERT_TRUE(r.read(bytes).ok());
  EXPECT_TRUE(view->camera.equivalent(cam));
  EXPECT_TRUE(view->camera.getOpenFrustum());
  EXPECT_TRUE(view->viewport == vp);
  EXPECT_TRUE(view->frustum == off);
  EXPECT_EQ(view->frustum.getLeft(), -0.25);  // exact, not merely within tolerance
}

}  // namespace
