// Half-edge mesh packets: every link and list order comes back; records of another mesh, links
// of the wrong kind and broken loops are refused.
#include "packet_fixtures.h"
#include "topo_fixtures.h"
#include "topology/topo_mesh_impl.h"

#include <gtest/gtest.h>

#include <map>

namespace {

using namespace topofix;

using krGeom::TopoMesh;
using krGeom::TopoMeshEdgeData;
using krGeom::TopoMeshFaceData;
using krGeom::TopoMeshVertexData;
using Topo = kr::Reference<TopoMesh>;

// List positions of every record, for comparing two meshes link by link.
struct Numbering {
  std::map<const void*, int> at;
  explicit Numbering(const TopoMesh& m) {
    int i = 0;
    for (auto* v = m.firstVertex().data(); v; v = v->nextInMesh) at[v] = i++;
    i = 0;
    for (auto* f = m.firstFace().data(); f; f = f->nextInMesh) at[f] = i++;
    i = 0;
    for (auto* e = m.getImpl()->lists.firstEdge; e; e = e->nextInMesh) at[e] = i++;
  }
  int operator()(const void* p) const { return p ? at.at(p) : -1; }
};

void expectSameStructure(const TopoMesh& a, const TopoMesh& b) {
  ASSERT_EQ(a.numVertices(), b.numVertices());
  ASSERT_EQ(a.numFaces(), b.numFaces());
  ASSERT_EQ(a.numEdges(), b.numEdges());
  ASSERT_TRUE(b.findBrokenInvariant().empty()) << b.findBrokenInvariant().c_str();
  const Numbering na(a), nb(b);
  for (auto *v = a.firstVertex().data(), *w = b.firstVertex().data(); v;
       v = v->nextInMesh, w = w->nextInMesh) {
    ASSERT_TRUE(w);
    EXPECT_EQ(v->point, w->point);
    EXPECT_EQ(na(v->firstEdge), nb(w->firstEdge));
  }
  for (auto *e = a.getImpl()->lists.firstEdge, *d = b.getImpl()->lists.firstEdge; e;
       e = e->nextInMesh, d = d->nextInMesh) {
    ASSERT_TRUE(d);
    EXPECT_EQ(na(e->vertex), nb(d->vertex));
    EXPECT_EQ(na(e->next), nb(d->next));
    EXPECT_EQ(na(e->twin), nb(d->twin));
    EXPECT_EQ(na(e->face), nb(d->face));
  }
  for (auto *f = a.firstFace().data(), *g = b.firstFace().data(); f;
       f = f->nextInMesh, g = g->nextInMesh)
    EXPECT_EQ(na(f->firstEdge), nb(g->firstEdge));
}

TEST(TopoMeshPacketsTest, MeshesComeBackLinkForLinkInListOrder) {
  TopoMesh torus, triangle, empty, holed;
  buildTorus(torus, 12, 9);
  buildTriangle(triangle);
  Octahedron o = buildOctahedron(holed);
  holed.deleteFace(o.faces[2]);  // boundary half-edges have null twins
  const TopoMesh* meshes[4] = {&torus, &triangle, &empty, &holed};
  int packets = 0;
  const auto bytes = writeStream([&](ioWriteContext& out) {
    for (const TopoMesh* m : meshes) m->writePF(out);
    krGeom::packetFile::writeMesh(out, nullptr, 1.0, false);
  });
  (void)packets;
  PacketReader r;
  const ioStatus s = r.read(bytes);
  ASSERT_TRUE(s.ok()) << s.message();
  const auto back = r.topoMeshes();
  ASSERT_EQ(back.size(), 4u);
  for (int i = 0; i < 4; ++i) {
    SCOPED_TRACE(i);
    expectSameStructure(*meshes[i], *back[i]);
  }
  EXPECT_EQ(back[2]->numVertices(), 0);
  EXPECT_FALSE(back[2]->firstVertex());
  // The records themselves are never handed out.
  EXPECT_TRUE(r.in.takeObjects("kr.geom.topomesh.edge").empty());
  // A mesh read back is an ordinary mesh: it edits and logs.
  back[1]->enableTransactions();
  back[1]->deleteFace(back[1]->firstFace());
  EXPECT_TRUE(back[1]->findBrokenInvariant().empty());
}

// Writes a triangle's packets by hand, letting `tweak` change the stream.
struct HandWritten {
  TopoMesh mesh;
  Triangle t = buildTriangle(mesh);
};

TEST(TopoMeshPacketsTest, ForeignRecordsWrongKindsAndBrokenLoopsAreRefused) {
  // Mesh B's vertex list starts with a vertex record of mesh A.
  HandWritten a;
  const auto crossed = writeStream([&](ioWriteContext& out) {
    a.mesh.writePF(out);
    const TopoMesh b;
    out.startPacket("kr.geom.topomesh", &b);
    out.writePointer(a.mesh.firstVertex().data(), 0);
    for (int i = 0; i < 5; ++i) out.writePointer(nullptr, 0);
    for (int n : {1, 0, 0}) out.writeInt(n);
    out.endPacket();
  });
  PacketReader r1;
  const ioStatus s1 = r1.read(crossed);
  EXPECT_FALSE(s1.ok());
  EXPECT_NE(std::string(s1.message()).find("another mesh"), std::string::npos) << s1.message();
  const auto kept = r1.topoMeshes();
  ASSERT_EQ(kept.size(), 1u);  // A is sound and still handed out
  expectSameStructure(a.mesh, *kept[0]);

  // A face list head naming a vertex packet: the field stays null and the read fails; the mesh
  // left (empty, as its counters say) is consistent.
  const auto wrongKind = writeStream([&](ioWriteContext& out) {
    HandWritten w;
    out.startPacket("kr.geom.topomesh", &w.mesh);
    out.writePointer(nullptr, 0);
    out.writePointer(nullptr, 0);
    out.writePointer(w.t.a.data(), 0);  // where a face is expected
    for (int i = 0; i < 3; ++i) out.writePointer(nullptr, 0);
    for (int n : {0, 0, 0}) out.writeInt(n);
    out.endPacket();
    out.startPacket("kr.geom.topomesh.vertex", w.t.a.data());
    out.writePointer(&w.mesh, 0);
    const double p[3] = {0, 0, 0};
    out.writeDoubles(p, 3);
    for (int i = 0; i < 3; ++i) out.writePointer(nullptr, 0);
    out.endPacket();
  });
  PacketReader r2;
  EXPECT_FALSE(r2.read(wrongKind).ok());
  for (const Topo& m : r2.topoMeshes()) {
    EXPECT_FALSE(m->firstFace());
    EXPECT_TRUE(m->findBrokenInvariant().empty());
  }

  // A half-edge whose next is null: the checker rejects the mesh, nothing is handed out.
  HandWritten broken;
  broken.t.face.firstEdge().data()->next->prev = nullptr;
  PacketReader r3;
  const ioStatus s3 = r3.read(writeStream([&](ioWriteContext& out) { broken.mesh.writePF(out); }));
  EXPECT_FALSE(s3.ok());
  EXPECT_NE(std::string(s3.message()).find("inconsistent"), std::string::npos) << s3.message();
  EXPECT_TRUE(r3.topoMeshes().empty());
  broken.t.face.firstEdge().data()->next->prev = broken.t.face.firstEdge().data();

  // A record packet naming no mesh.
  PacketReader r4;
  EXPECT_FALSE(r4.read(writeStream([&](ioWriteContext& out) {
                   out.startPacket("kr.geom.topomesh.face", nullptr);
                   out.writeReference(7, 0);
                   out.endPacket();
                 }))
                   .ok());
}

}  // namespace
