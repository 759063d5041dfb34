// TopoMesh handles, construction, pairing, deletion, copying and the invariant checker.
#include "topo_fixtures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace krGeom;
using namespace topofix;

TEST(TopoMeshHandleTest, ValenceAdjacencyMetadataAndResetFirstEdge) {
  TopoMesh fanMesh;
  Fan6 fan = buildFan6(fanMesh);
  TopoMeshVertex isolated = fanMesh.allocVertex({5, 5, 5});
  // A boundary ring vertex has three edges but two faces; an isolated vertex is not on a boundary.
  const TopoMeshVertex vs[] = {fan.centre, fan.ring[0], isolated};
  const int valences[] = {6, 2, 0};
  for (int i = 0; i < 3; ++i) EXPECT_EQ(vs[i].valence(), valences[i]);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(vs[i].onBoundary(), i == 1);

  TopoMesh mesh;
  Strip2 s = buildStrip2(mesh);
  TopoMeshEdge ac = edge(s.a, s.c), ca = edge(s.c, s.a), ab = edge(s.a, s.b), bc = edge(s.b, s.c);
  EXPECT_EQ(ac.twin(), ca);
  EXPECT_EQ(edge(s.b, s.d), TopoMeshEdge());
  EXPECT_FALSE(ac.adjacent(ca));  // both vertices shared, yet twins give null
  EXPECT_EQ(ab.adjacent(ac), s.a);
  EXPECT_EQ(bc.adjacent(ac), s.c);
  EXPECT_EQ(ab.adjacent(edge(s.c, s.d)), TopoMeshVertex());
  EXPECT_TRUE(ab.adjacent(s.b));
  EXPECT_EQ(s.b.adjacent(s.d), TopoMeshFace());
  EXPECT_EQ(s.d.adjacent(s.a), s.second);
  EXPECT_EQ(s.first.adjacent(s.c), bc.next());
  EXPECT_EQ(s.first.adjacent(s.second), ca);
  EXPECT_EQ(s.second.adjacent(s.first), ac);

  // Twins share metadata; a boundary half keeps its own.
  tag(ac, 17, 4);
  EXPECT_EQ(tagOf(ca, 4), 17);
  ab.setMetadata(4, BlindData(2.5f));
  EXPECT_EQ(ab.getMetadata(4).data().f, 2.5f);

  // resetFirstEdge moves to the twinless outgoing half-edge. A ring vertex leaves towards the
  // centre (twinned) and along the rim (no twin).
  for (int i = 0; i < 6; ++i) {
    TopoMeshEdgeVertexIterator(fan.ring[i]).resetFirstEdge();
    EXPECT_EQ(fan.ring[i].firstEdge(), edge(fan.ring[i], fan.ring[(i + 1) % 6]));
  }
  TopoMeshEdge before = fan.centre.firstEdge();
  TopoMeshEdgeVertexIterator(fan.centre).resetFirstEdge();
  EXPECT_EQ(fan.centre.firstEdge(), before);
}

TEST(TopoMeshBuildTest, SizesLoopsFirstEdgesAndCreationOrder) {
  TopoMesh mesh;
  EXPECT_EQ(mesh.getSizeInBytes(), 144);
  EXPECT_TRUE(shape(mesh, 0, 0, 0));
  Triangle t = buildTriangle(mesh);
  EXPECT_EQ(mesh.getSizeInBytes(), 200);
  EXPECT_TRUE(shape(mesh, 3, 3, 1));
  EXPECT_EQ(loop(t.face), Corners({t.a, t.b, t.c}));
  TopoMeshEdge e0 = t.face.firstEdge();
  EXPECT_EQ(mesh.firstEdge(), e0);
  EXPECT_EQ(e0.nextInMesh(), e0.next());
  EXPECT_EQ(e0.next().nextInMesh(), e0.prev());
  EXPECT_EQ(t.c.firstEdge(), e0.prev());
  EXPECT_EQ(vertices(mesh), Corners({t.a, t.b, t.c}));
  EXPECT_EQ(e0.getMetadata(7).type(), BlindData::eUndefined);  // new half-edges are zeroed
}

TEST(TopoMeshBuildTest, AttachingAFaceOverwritesTheExistingHalfMetadata) {
  TopoMesh mesh;
  Square q = square(mesh);
  TopoMeshFace f1 = mesh.allocTriangle(q.a, q.b, q.c);
  TopoMeshEdge ca = edge(q.c, q.a);
  tag(ca, 9);
  ca.setMetadata(19, BlindData(1.5));
  TopoMeshFace f2 = mesh.allocTriangle(q.a, q.c, q.d);
  EXPECT_MESH_VALID(mesh);
  TopoMeshEdge ac = f2.firstEdge();
  EXPECT_EQ(ac.twin(), ca);
  EXPECT_EQ(ca.face(), f1);
  EXPECT_EQ(ca.getMetadata(0).type(), BlindData::eUndefined);
  EXPECT_EQ(ca.getMetadata(19).type(), BlindData::eUndefined);
  // The existing firstEdge fields stay; only d got one.
  EXPECT_EQ(q.a.firstEdge(), f1.firstEdge());
  EXPECT_EQ(q.d.firstEdge(), ac.prev());
}

TEST(TopoMeshBuildTest, QuadsAndPolygonsPairAlongSharedSides) {
  TopoMesh mesh;
  QuadGrid g = buildQuadGrid(mesh, 3, 4);
  EXPECT_TRUE(shape(mesh, 20, 48, 12));
  int twinned = 0;
  for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInMesh()) twinned += e.twin() ? 1 : 0;
  EXPECT_EQ(twinned, 2 * (3 * 3 + 2 * 4));  // interior edges: vertical 3x3, horizontal 2x4
  EXPECT_EQ(g.at(1, 1).valence(), 4);
  EXPECT_FALSE(g.at(1, 1).onBoundary());

  TopoMesh poly;
  kr::vector<TopoMeshVertex> pentagon;
  for (int i = 0; i < 5; ++i) pentagon.push_back(poly.allocVertex({double(i), 0, 0}));
  TopoMeshFace f = poly.allocFace(pentagon);
  TopoMeshFace back = poly.allocFace({pentagon[1], pentagon[0], poly.allocVertex({0, -1, 0})});
  EXPECT_TRUE(shape(poly, 6, 8, 2));
  EXPECT_EQ(back.firstEdge().twin(), f.firstEdge());
}

TEST(TopoMeshBuildTest, DeleteFaceAndDeleteEdge) {
  TopoMesh tri;
  Triangle t = buildTriangle(tri);
  tri.deleteFace(t.face);
  EXPECT_TRUE(shape(tri, 3, 0, 0));
  for (TopoMeshVertex v : {t.a, t.b, t.c}) EXPECT_FALSE(v.firstEdge());

  TopoMesh fanMesh;
  Fan6 fan = buildFan6(fanMesh);
  fanMesh.deleteFace(fan.faces[0]);
  EXPECT_TRUE(shape(fanMesh, 7, 15, 5));
  EXPECT_FALSE(edge(fan.centre, fan.ring[1]).twin());
  EXPECT_EQ(fan.centre.valence(), 5);
  EXPECT_TRUE(fan.centre.onBoundary());
  EXPECT_EQ(fan.ring[1].firstEdge(), edge(fan.ring[1], fan.ring[2]));

  // deleteEdge merges into the first face and a cut splits it again.
  TopoMesh mesh;
  Strip2 s = buildStrip2(mesh);
  EXPECT_FALSE(mesh.deleteEdge(edge(s.a, s.b)));  // a boundary edge stays
  EXPECT_TRUE(shape(mesh, 4, 6, 2));
  ASSERT_TRUE(mesh.deleteEdge(edge(s.c, s.a)));  // the first face's half of the diagonal
  EXPECT_TRUE(shape(mesh, 4, 4, 1));
  EXPECT_EQ(loop(s.first), Corners({s.a, s.b, s.c, s.d}));
  EXPECT_EQ(s.c.firstEdge(), edge(s.c, s.d));

  TopoMeshEdge diag = mesh.subdivideFace(s.first, s.a, s.c);
  EXPECT_TRUE(shape(mesh, 4, 6, 2));
  EXPECT_EQ(diag, edge(s.a, s.c));
  EXPECT_EQ(diag.face(), s.first);
  EXPECT_TRUE(hasFaces(mesh, {{s.a, s.c, s.d}, {s.a, s.b, s.c}}));
}

TEST(TopoMeshBuildTest, DeleteVertex) {
  TopoMesh mesh;
  Octahedron o = buildOctahedron(mesh);
  // Fan the top face into three, then delete the new valence-3 centre again.
  tag(edge(o.e[0], o.e[1]), 5);
  TopoMeshVertex c = mesh.subdivideFace(o.faces[0], krLinear::Point(0.3, 0.3, 0.4));
  TopoMeshFace f = mesh.deleteVertex(c);
  EXPECT_TRUE(shape(mesh, 6, 24, 8));
  EXPECT_TRUE(hasFaces(mesh, {{o.top, o.e[0], o.e[1]}}));
  TopoMeshEdge h = f.firstEdge();
  for (int i = 0; i < 3; ++i, h = h.next()) EXPECT_TRUE(h.twin());
  // The new triangle is paired with the outer halves and overwrites their metadata.
  EXPECT_EQ(tagOf(edge(o.e[1], o.e[0])), -1);

  TopoMesh tri;
  Triangle t = buildTriangle(tri);
  EXPECT_FALSE(tri.deleteVertex(t.a));  // valence 1: its face goes too
  EXPECT_TRUE(shape(tri, 2, 0, 0));
  EXPECT_EQ(vertices(tri), Corners({t.b, t.c}));
}

TEST(TopoMeshBuildTest, DeleteValenceTwoVertexJoinsTwoEdges) {
  TopoMesh mesh;
  QuadGrid g = buildQuadGrid(mesh, 1, 2);
  TopoMeshVertex mid = mesh.subdivideEdge(edge(g.at(0, 1), g.at(1, 1)), {1, 0.5, 0});
  mesh.deleteValenceTwoVertex(mid);
  EXPECT_TRUE(shape(mesh, 6, 8, 2));
  EXPECT_EQ(edge(g.at(0, 1), g.at(1, 1)).twin(), edge(g.at(1, 1), g.at(0, 1)));
  EXPECT_EQ(loop(g.faces[0]).size(), 4u);

  TopoMesh quad;  // a boundary vertex in the middle of a quad side goes
  Quad q = buildQuad(quad);
  quad.deleteValenceTwoVertex(quad.subdivideEdge(edge(q.a, q.b), {0.5, 0, 0}));
  EXPECT_TRUE(shape(quad, 4, 4, 1));
  EXPECT_EQ(loop(q.face), Corners({q.a, q.b, q.c, q.d}));

  TopoMesh tri;  // a corner of a lone triangle would leave a two-gon: nothing happens
  tri.deleteValenceTwoVertex(buildTriangle(tri).a);
  EXPECT_TRUE(shape(tri, 3, 3, 1));
  TopoMesh fanMesh;  // an interior vertex of valence 6 is left alone
  fanMesh.deleteValenceTwoVertex(buildFan6(fanMesh).centre);
  EXPECT_TRUE(shape(fanMesh, 7, 18, 6));
}

TEST(TopoMeshBuildTest, CopyTranslatesEveryLinkAndMetadata) {
  TopoMesh mesh;
  Octahedron o = buildOctahedron(mesh);
  tag(edge(o.top, o.e[2]), 42);
  o.faces[3].setMetadata(1, BlindData(7));
  mesh.deleteFace(o.faces[5]);  // a boundary, so that null twins are copied as well

  TopoMesh::CopyData maps;
  TopoMesh copy;
  copy.copy(mesh, maps);
  EXPECT_TRUE(shape(copy, 6, 21, 7));
  ASSERT_EQ(maps.edgeMap.size(), 21u);
  for (const auto& [src, dst] : maps.edgeMap) {
    EXPECT_EQ(dst->vertex, maps.vertexMap[src->vertex]);
    EXPECT_EQ(dst->next, maps.edgeMap[src->next]);
    EXPECT_EQ(dst->prev, maps.edgeMap[src->prev]);
    EXPECT_EQ(dst->twin, src->twin ? maps.edgeMap[src->twin] : nullptr);
    EXPECT_EQ(dst->face, maps.faceMap[src->face]);
    EXPECT_EQ(std::memcmp(dst->metadata, src->metadata, sizeof(src->metadata)), 0);
  }
  for (const auto& [src, dst] : maps.vertexMap) {
    EXPECT_EQ(dst->point, src->point);
    EXPECT_EQ(dst->firstEdge, maps.edgeMap[src->firstEdge]);
  }
  EXPECT_EQ(TopoMeshFace(maps.faceMap[o.faces[3]]).getMetadata(1).data().i, 7);
  TopoMeshVertex v = copy.firstVertex();  // list order is kept
  for (TopoMeshVertex s = mesh.firstVertex(); s; s = s.nextInMesh(), v = v.nextInMesh())
    EXPECT_EQ(v.data(), maps.vertexMap[s]);

  TopoMesh assigned;
  buildTriangle(assigned);
  assigned = mesh;
  EXPECT_TRUE(shape(assigned, 6, 21, 7));
  TopoMesh::CopyData self;
  mesh.copy(mesh, self);
  EXPECT_TRUE(shape(mesh, 6, 21, 7));
  EXPECT_EQ(
      tagOf(edge(TopoMeshVertex(self.vertexMap[o.e[2]]), TopoMeshVertex(self.vertexMap[o.top]))),
      42);
  TopoMesh small;
  Triangle t = buildTriangle(small);
  mesh.swap(small);
  EXPECT_EQ(mesh.firstFace(), t.face);
  EXPECT_EQ(small.numFaces(), 7);
}

TEST(TopoMeshBuildTest, CheckerNamesTheFirstBrokenInvariant) {
  const struct {
    const char* expected;
    void (*corrupt)(Strip2&);
  } cases[] = {
      {"does not point back", [](Strip2& s) { edge(s.a, s.c).data()->twin = nullptr; }},
      {"does not run the opposite way",
       [](Strip2& s) {
         TopoMeshEdge ac = edge(s.a, s.c), ab = edge(s.a, s.b);
         ab.data()->twin = ac.data();
         ac.data()->twin = ab.data();
         edge(s.c, s.a).data()->twin = nullptr;
       }},
      {"next->prev is not itself",
       [](Strip2& s) { s.first.firstEdge().data()->next = s.second.firstEdge().data(); }},
      {"firstEdge", [](Strip2& s) { s.a.data()->firstEdge = s.second.firstEdge().next().data(); }},
      {"next lies in another face",
       [](Strip2& s) { s.first.firstEdge().data()->face = s.second.data(); }},
      {"prevInMesh is wrong", [](Strip2& s) { s.c.data()->prevInMesh = s.a.data(); }},
  };
  for (const auto& c : cases) {
    TopoMesh mesh;
    Strip2 s = buildStrip2(mesh);
    c.corrupt(s);
    EXPECT_THAT(mesh.findBrokenInvariant().str(), ::testing::HasSubstr(c.expected));
  }
}

}  // namespace
