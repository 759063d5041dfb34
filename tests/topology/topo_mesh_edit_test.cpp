// TopoMesh topology edits: exact records, loops, twins, firstEdge fields and metadata after each.
#include "topo_fixtures.h"

#include <gtest/gtest.h>

namespace {

using namespace krGeom;
using namespace topofix;
using krLinear::Point;

std::vector<Point> points(const Corners& cs) {
  std::vector<Point> out;
  for (TopoMeshVertex v : cs) out.push_back(v.point());
  return out;
}

TEST(TopoMeshSubdivideTest, EdgeSplitKeepsTwinsAndDropsMetadataOnTheTwinSide) {
  TopoMesh mesh;
  Strip2 s = buildStrip2(mesh);
  TopoMeshEdge e = edge(s.a, s.c), t = e.twin();
  tag(e, 3);
  TopoMeshVertex v = mesh.subdivideEdge(e, Point(0.5, 0.5, 0));
  EXPECT_TRUE(shape(mesh, 5, 8, 2));
  TopoMeshEdge m = e.next(), m2 = t.next();
  EXPECT_EQ(loop(s.second), Corners({s.a, v, s.c, s.d}));
  EXPECT_EQ(m2, edge(v, s.a));
  EXPECT_EQ(v.firstEdge(), m);
  EXPECT_EQ(e.twin(), m2);
  EXPECT_EQ(m.twin(), t);
  // e keeps its slots and shares them with m2; t takes m's zero slots.
  EXPECT_EQ(tagOf(m2), 3);
  EXPECT_EQ(tagOf(t), -1);

  TopoMeshVertex w = mesh.subdivideEdge(edge(s.a, s.b), Point(0.5, 0, 0));
  EXPECT_TRUE(shape(mesh, 6, 9, 2));
  EXPECT_FALSE(edge(w, s.b).twin());
  EXPECT_EQ(w.valence(), 1);
}

TEST(TopoMeshSubdivideTest, FanOfAQuadAndCutOffASide) {
  TopoMesh mesh;
  Quad q = buildQuad(mesh);
  TopoMeshEdge ab = q.face.firstEdge();
  TopoMeshVertex c = mesh.subdivideFace(q.face, Point(0.5, 0.5, 0));
  EXPECT_TRUE(shape(mesh, 5, 12, 4));
  EXPECT_EQ(c.valence(), 4);
  EXPECT_EQ(q.face.firstEdge(), ab);
  EXPECT_EQ(loop(q.face), Corners({q.a, q.b, c}));
  EXPECT_EQ(c.firstEdge(), ab.prev());
  // New faces follow the loop order and start at the old side.
  std::vector<TopoMeshFace> fs = faces(mesh);
  EXPECT_EQ(loop(fs[1]), Corners({q.b, q.c, c}));
  EXPECT_EQ(loop(fs[2]), Corners({q.c, q.d, c}));
  EXPECT_EQ(loop(fs[3]), Corners({q.d, q.a, c}));

  TopoMesh tri;
  Triangle t = buildTriangle(tri);
  TopoMeshEdge e = t.face.firstEdge(), bc = e.next();  // a -> b
  TopoMeshVertex x = tri.subdivideFace(t.face, e, Point(0.4, 0.1, 0));
  EXPECT_TRUE(shape(tri, 4, 7, 2));
  EXPECT_EQ(loop(t.face), Corners({t.a, x, t.b, t.c}));
  EXPECT_EQ(t.face.firstEdge(), edge(t.a, x));  // e was the firstEdge
  EXPECT_EQ(e.face().firstEdge(), e);
  EXPECT_EQ(loop(e.face()), Corners({t.a, t.b, x}));
  EXPECT_EQ(x.firstEdge(), edge(x, t.b));
  EXPECT_EQ(x.firstEdge().face(), t.face);
  EXPECT_EQ(t.b.firstEdge(), bc);
  EXPECT_FALSE(e.twin());
}

TEST(TopoMeshSubdivideTest, ChainThroughPointsInEveryConfiguration) {
  const Point p1(0.2, 0.6, 0), p2(0.4, 0.4, 0), p3(0.6, 0.2, 0), o(0, 0, 0), x(1, 0, 0), y(0, 1, 0),
      xy(1, 1, 0);
  {  // a and b are opposite corners: a new diagonal, then split along it.
    TopoMesh mesh;
    Quad q = buildQuad(mesh);
    TopoMeshFace beyond = mesh.subdivideFace(q.face, q.a, q.c, {p1, p2});
    EXPECT_TRUE(shape(mesh, 6, 10, 2));
    EXPECT_EQ(points(loop(q.face)), std::vector<Point>({o, p1, p2, xy, y}));
    EXPECT_EQ(points(loop(beyond)), std::vector<Point>({xy, p2, p1, o, x}));
  }
  {  // a -> b is a side of the face: its end is cut off first.
    TopoMesh mesh;
    Triangle t = buildTriangle(mesh);
    TopoMeshFace beyond = mesh.subdivideFace(t.face, t.a, t.b, {p1, p2});
    EXPECT_TRUE(shape(mesh, 5, 9, 2));
    EXPECT_EQ(points(loop(t.face)), std::vector<Point>({o, p1, p2, x, y}));
    EXPECT_EQ(beyond, t.face.firstEdge().twin().face());
    EXPECT_EQ(loop(beyond).size(), 4u);
  }
  {  // b -> a is a side: the last point is cut off first and the others go in right after it,
     // so three points come out of order (kept on purpose).
    TopoMesh mesh;
    Triangle t = buildTriangle(mesh);
    TopoMeshFace beyond = mesh.subdivideFace(t.face, t.b, t.a, {p1, p2, p3});
    EXPECT_TRUE(shape(mesh, 6, 11, 2));
    EXPECT_EQ(points(loop(t.face)), std::vector<Point>({o, p3, p1, p2, x, y}));
    EXPECT_EQ(points(loop(beyond)), std::vector<Point>({o, x, p2, p1, p3}));
  }
}

TEST(TopoMeshSplitTest, SplitFaceAndSwapEdge) {
  TopoMesh mesh;
  Quad q = buildQuad(mesh);
  TopoMeshEdge ab = edge(q.a, q.b), cd = edge(q.c, q.d);
  TopoMeshFace g = mesh.splitFace(ab, cd);
  EXPECT_TRUE(shape(mesh, 4, 6, 2));
  EXPECT_EQ(loop(g), Corners({q.c, q.a, q.b}));
  EXPECT_EQ(g.firstEdge().next(), ab);
  EXPECT_EQ(loop(q.face), Corners({q.a, q.c, q.d}));
  EXPECT_EQ(q.face.firstEdge().next(), cd);

  // Flip the new diagonal a-c to b-d.
  TopoMeshEdge e = q.face.firstEdge(), t = e.twin();  // a -> c in (a, c, d); c -> a
  ASSERT_TRUE(mesh.swapEdge(e));
  EXPECT_TRUE(shape(mesh, 4, 6, 2));
  EXPECT_EQ(loop(q.face), Corners({q.d, q.b, q.c}));
  EXPECT_EQ(g.firstEdge(), t);
  EXPECT_EQ(loop(g), Corners({q.b, q.d, q.a}));
  EXPECT_EQ((std::vector<TopoMeshEdge>{q.a.firstEdge(), q.b.firstEdge(), q.c.firstEdge(),
                                       q.d.firstEdge()}),
            (std::vector<TopoMeshEdge>{ab, t, cd, e}));

  // In a tetrahedron every flip would duplicate an edge.
  TopoMesh tet;
  const TopoMeshVertex v[4] = {tet.allocVertex({0, 0, 0}), tet.allocVertex({1, 0, 0}),
                               tet.allocVertex({0, 1, 0}), tet.allocVertex({0, 0, 1})};
  const int corners[4][3] = {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {2, 0, 3}};
  for (const auto& c : corners) tet.allocTriangle(v[c[0]], v[c[1]], v[c[2]]);
  TopoMeshEdge flip = edge(v[0], v[1]);
  EXPECT_FALSE(tet.swapEdge(flip));
  EXPECT_TRUE(shape(tet, 4, 12, 4));
  EXPECT_EQ(loop(flip.face()), Corners({v[0], v[1], v[3]}));
}

TEST(TopoMeshSplitTest, SplitVertexOrEdgeAndMergeBack) {
  TopoMesh mesh;
  Strip2 s = buildStrip2(mesh);
  TopoMeshEdge e = edge(s.a, s.c), t = e.twin();  // e in the second triangle
  tag(e, 6);
  TopoMeshVertex w = mesh.splitVertex(s.a, e);
  EXPECT_TRUE(shape(mesh, 5, 6, 2));
  EXPECT_FALSE(e.twin());
  EXPECT_EQ(s.a.firstEdge(), e);
  EXPECT_EQ(w.firstEdge(), t.next());
  EXPECT_EQ(loop(s.first), Corners({w, s.b, s.c}));
  EXPECT_EQ(loop(s.second), Corners({s.a, s.c, s.d}));

  // e's end already is t's origin: w goes and a takes its place.
  mesh.mergeVertices(e, t);
  EXPECT_TRUE(shape(mesh, 4, 6, 2));
  EXPECT_EQ(vertices(mesh), Corners({s.a, s.b, s.c, s.d}));
  EXPECT_EQ(e.twin(), t);
  EXPECT_EQ(tagOf(t), 6);
  EXPECT_EQ(loop(s.first), Corners({s.a, s.b, s.c}));

  // Split again and merge the other way round: a goes, w takes its place.
  w = mesh.splitVertex(s.a, e);
  mesh.mergeVertices(t, e);
  EXPECT_TRUE(shape(mesh, 4, 6, 2));
  EXPECT_EQ(vertices(mesh), Corners({s.b, s.c, s.d, w}));
  EXPECT_EQ(loop(s.second), Corners({w, s.c, s.d}));

  // splitEdge gives both ends a copy; merging pairs the halves again.
  mesh.splitEdge(e);
  EXPECT_TRUE(shape(mesh, 6, 6, 2));
  std::vector<TopoMeshVertex> vs = vertices(mesh);
  TopoMeshVertex w1 = vs[4], c1 = vs[5];
  EXPECT_EQ(w1.point(), w.point());
  EXPECT_EQ(loop(s.first), Corners({w1, s.b, c1}));
  EXPECT_EQ(loop(s.second), Corners({w, s.c, s.d}));
  EXPECT_EQ(s.c.firstEdge(), e.next());
  EXPECT_EQ(c1.firstEdge(), t);
  for (TopoMeshEdge h = mesh.firstEdge(); h; h = h.nextInMesh()) EXPECT_FALSE(h.twin());
  mesh.mergeVertices(e, t);
  EXPECT_TRUE(shape(mesh, 4, 6, 2));
  EXPECT_EQ(vertices(mesh), Corners({s.b, s.c, s.d, w}));
  EXPECT_EQ(e.twin(), t);

  // Splitting an interior grid vertex between two edges.
  TopoMesh grid;
  QuadGrid g = buildQuadGrid(grid, 2, 2);
  TopoMeshVertex x = g.at(1, 1);
  TopoMeshVertex nv = grid.splitVertex(edge(g.at(0, 1), x), edge(x, g.at(2, 1)));
  EXPECT_TRUE(shape(grid, 10, 16, 4));
  EXPECT_EQ(x.firstEdge(), edge(x, g.at(2, 1)));
  EXPECT_EQ(nv.firstEdge().v2(), g.at(0, 1));
  EXPECT_EQ(loop(g.faces[0]), Corners({g.at(0, 0), g.at(0, 1), x, g.at(1, 0)}));
  EXPECT_EQ(loop(g.faces[2]), Corners({g.at(1, 0), x, g.at(2, 1), g.at(2, 0)}));
  EXPECT_EQ(loop(g.faces[1]), Corners({g.at(0, 1), g.at(0, 2), g.at(1, 2), nv}));
  EXPECT_EQ(loop(g.faces[3]), Corners({nv, g.at(1, 2), g.at(2, 2), g.at(2, 1)}));
}

TEST(TopoMeshCollapseTest, ContractAlongTheRimAndCollapseInteriorEdges) {
  TopoMesh mesh;
  Fan6 fan = buildFan6(mesh);
  EXPECT_EQ(mesh.contractEdge(edge(fan.ring[1], fan.ring[2])), fan.ring[2]);
  EXPECT_TRUE(shape(mesh, 6, 15, 5));
  EXPECT_EQ(loop(fan.faces[0]), Corners({fan.centre, fan.ring[0], fan.ring[2]}));
  EXPECT_EQ(fan.centre.valence(), 5);
  EXPECT_EQ(fan.ring[2].firstEdge(), edge(fan.ring[2], fan.centre));
  EXPECT_EQ(fan.ring[2].firstEdge().face(), fan.faces[0]);
  // Without a twin, collapsing is contracting.
  EXPECT_EQ(mesh.collapseEdge(edge(fan.ring[3], fan.ring[4])), fan.ring[4]);
  EXPECT_TRUE(shape(mesh, 5, 12, 4));

  TopoMesh oct;
  Octahedron o = buildOctahedron(oct);
  tag(edge(o.top, o.e[1]), 11);   // pt side
  tag(edge(o.e[0], o.e[1]), 22);  // nt side
  EXPECT_EQ(oct.collapseEdge(edge(o.top, o.e[0])), o.e[0]);
  EXPECT_TRUE(shape(oct, 5, 18, 6));
  EXPECT_TRUE(hasFaces(oct, {{o.e[0], o.e[1], o.e[2]}, {o.e[0], o.e[2], o.e[3]}}));
  for (TopoMeshVertex v : vertices(oct)) EXPECT_FALSE(v.onBoundary());
  // The surviving outer half takes its partner's metadata.
  EXPECT_EQ(tagOf(edge(o.e[0], o.e[1])), 11);
  EXPECT_EQ(tagOf(edge(o.e[1], o.e[0])), 11);

  // Both triangles of a strip go, and the corners left without edges with them.
  TopoMesh strip;
  Strip2 s = buildStrip2(strip);
  EXPECT_EQ(strip.collapseEdge(edge(s.a, s.c)), s.c);
  EXPECT_TRUE(shape(strip, 1, 0, 0));
  EXPECT_EQ(vertices(strip), Corners({s.c}));
}

}  // namespace
