// TopoMesh topology edits: exact records, loops, twins, firstEdge fields and metadata after each.
#include "topo_fixtures.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

using namespace krGeom;
using namespace topofix;
using krLinear::Point;

using Edges = std::vector<TopoMeshEdge>;
using Points = std::vector<Point>;

Points points(const Corners& cs) {
  Points out;
  for (TopoMeshVertex v : cs) out.push_back(v.point());
  return out;
}
// The loop of every face in list order.
std::vector<Corners> loops(const TopoMesh& mesh) {
  std::vector<Corners> out;
  for (TopoMeshFace f : faces(mesh)) out.push_back(loop(f));
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
  EXPECT_EQ((Edges{m2, v.firstEdge(), e.twin(), m.twin()}), (Edges{edge(v, s.a), m, m2, t}));
  // e keeps its slots and shares them with m2; t takes m's zero slots.
  EXPECT_EQ(std::make_pair(tagOf(m2), tagOf(t)), std::make_pair(3, -1));

  TopoMeshVertex w = mesh.subdivideEdge(edge(s.a, s.b), Point(0.5, 0, 0));
  EXPECT_TRUE(shape(mesh, 6, 9, 2));
  EXPECT_TRUE(!edge(w, s.b).twin() && w.valence() == 1);
}

TEST(TopoMeshSubdivideTest, FanOfAQuadAndCutOffASide) {
  TopoMesh mesh;
  Quad q = buildQuad(mesh);
  TopoMeshEdge ab = q.face.firstEdge();
  TopoMeshVertex c = mesh.subdivideFace(q.face, Point(0.5, 0.5, 0));
  EXPECT_TRUE(shape(mesh, 5, 12, 4));
  EXPECT_TRUE(c.valence() == 4 && q.face.firstEdge() == ab && c.firstEdge() == ab.prev());
  // New faces follow the loop order and start at the old side.
  EXPECT_EQ(loops(mesh),
            (std::vector<Corners>{{q.a, q.b, c}, {q.b, q.c, c}, {q.c, q.d, c}, {q.d, q.a, c}}));

  TopoMesh tri;
  Triangle t = buildTriangle(tri);
  TopoMeshEdge e = t.face.firstEdge(), bc = e.next();  // a -> b
  TopoMeshVertex x = tri.subdivideFace(t.face, e, Point(0.4, 0.1, 0));
  EXPECT_TRUE(shape(tri, 4, 7, 2));
  EXPECT_EQ(loops(tri), (std::vector<Corners>{{t.a, x, t.b, t.c}, {t.a, t.b, x}}));
  // e was the firstEdge; it stays with the cut-off face and has no twin.
  EXPECT_EQ(
      (Edges{t.face.firstEdge(), e.face().firstEdge(), x.firstEdge(), t.b.firstEdge(), e.twin()}),
      (Edges{edge(t.a, x), e, edge(x, t.b), bc, {}}));
  EXPECT_EQ(x.firstEdge().face(), t.face);
}

TEST(TopoMeshSubdivideTest, ChainThroughPointsInEveryConfiguration) {
  const Point p1(0.2, 0.6, 0), p2(0.4, 0.4, 0), p3(0.6, 0.2, 0), o(0, 0, 0), x(1, 0, 0), y(0, 1, 0),
      xy(1, 1, 0);
  // The face is the square a, b, c, d or the triangle a, b, d; the chain runs from corner `from`
  // to corner `to` (0 = a, 1 = b, 2 = c) and `beyond` is the face it returns.
  const struct {
    bool quad;
    int from, to;
    Points chain;
    int numVertices, numEdges;
    Points face, beyond;
  } cases[] = {
      // Opposite corners: a new diagonal, then a split along it.
      {true, 0, 2, {p1, p2}, 6, 10, {o, p1, p2, xy, y}, {xy, p2, p1, o, x}},
      // a -> b is a side of the face: its end is cut off first.
      {false, 0, 1, {p1, p2}, 6, 9, {o, p1, p2, x, y}, {o, x, p2, p1}},
      // b -> a is a side: the last point is cut off first and the others go in right after it,
      // so three points come out of order (kept on purpose).
      {false, 1, 0, {p1, p2, p3}, 7, 11, {o, p3, p1, p2, x, y}, {o, x, p2, p1, p3}},
  };
  for (const auto& c : cases) {
    TopoMesh mesh;
    const Square q = square(mesh);
    const TopoMeshVertex corner[] = {q.a, q.b, q.c};
    TopoMeshFace f =
        c.quad ? mesh.allocQuad(q.a, q.b, q.c, q.d) : mesh.allocTriangle(q.a, q.b, q.d);
    TopoMeshFace beyond = mesh.subdivideFace(f, corner[c.from], corner[c.to], c.chain);
    EXPECT_TRUE(shape(mesh, c.numVertices, c.numEdges, 2));
    EXPECT_EQ(points(loop(f)), c.face);
    EXPECT_EQ(points(loop(beyond)), c.beyond);
  }
}

TEST(TopoMeshSplitTest, SplitFaceAndSwapEdge) {
  TopoMesh mesh;
  Quad q = buildQuad(mesh);
  TopoMeshEdge ab = edge(q.a, q.b), cd = edge(q.c, q.d);
  TopoMeshFace g = mesh.splitFace(ab, cd);
  EXPECT_TRUE(shape(mesh, 4, 6, 2));
  EXPECT_EQ(loops(mesh), (std::vector<Corners>{{q.a, q.c, q.d}, {q.c, q.a, q.b}}));
  EXPECT_EQ((Edges{g.firstEdge().next(), q.face.firstEdge().next()}), (Edges{ab, cd}));

  // Flip the new diagonal a-c to b-d.
  TopoMeshEdge e = q.face.firstEdge(), t = e.twin();  // a -> c in (a, c, d); c -> a
  ASSERT_TRUE(mesh.swapEdge(e));
  EXPECT_TRUE(shape(mesh, 4, 6, 2));
  EXPECT_EQ(loops(mesh), (std::vector<Corners>{{q.d, q.b, q.c}, {q.b, q.d, q.a}}));
  EXPECT_EQ(
      (Edges{g.firstEdge(), q.a.firstEdge(), q.b.firstEdge(), q.c.firstEdge(), q.d.firstEdge()}),
      (Edges{t, ab, t, cd, e}));

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
  EXPECT_EQ((Edges{e.twin(), s.a.firstEdge(), w.firstEdge()}), (Edges{{}, e, t.next()}));
  EXPECT_EQ(loops(mesh), (std::vector<Corners>{{w, s.b, s.c}, {s.a, s.c, s.d}}));

  // e's end already is t's origin: w goes and a takes its place.
  mesh.mergeVertices(e, t);
  EXPECT_TRUE(shape(mesh, 4, 6, 2));
  EXPECT_EQ(chain(mesh.firstVertex()), Corners({s.a, s.b, s.c, s.d}));
  EXPECT_TRUE(e.twin() == t && tagOf(t) == 6);
  EXPECT_EQ(loop(s.first), Corners({s.a, s.b, s.c}));

  // Split again and merge the other way round: a goes, w takes its place.
  w = mesh.splitVertex(s.a, e);
  mesh.mergeVertices(t, e);
  EXPECT_TRUE(shape(mesh, 4, 6, 2));
  EXPECT_EQ(chain(mesh.firstVertex()), Corners({s.b, s.c, s.d, w}));
  EXPECT_EQ(loop(s.second), Corners({w, s.c, s.d}));

  // splitEdge gives both ends a copy; merging pairs the halves again.
  mesh.splitEdge(e);
  EXPECT_TRUE(shape(mesh, 6, 6, 2));
  std::vector<TopoMeshVertex> vs = chain(mesh.firstVertex());
  TopoMeshVertex w1 = vs[4], c1 = vs[5];
  EXPECT_EQ(w1.point(), w.point());
  EXPECT_EQ(loops(mesh), (std::vector<Corners>{{w1, s.b, c1}, {w, s.c, s.d}}));
  EXPECT_EQ((Edges{s.c.firstEdge(), c1.firstEdge()}), (Edges{e.next(), t}));
  for (TopoMeshEdge h = mesh.firstEdge(); h; h = h.nextInMesh()) EXPECT_FALSE(h.twin());
  mesh.mergeVertices(e, t);
  EXPECT_TRUE(shape(mesh, 4, 6, 2));
  EXPECT_EQ(chain(mesh.firstVertex()), Corners({s.b, s.c, s.d, w}));
  EXPECT_EQ(e.twin(), t);

  // Splitting an interior grid vertex between two edges.
  TopoMesh grid;
  QuadGrid g = buildQuadGrid(grid, 2, 2);
  TopoMeshVertex x = g.at(1, 1);
  TopoMeshVertex nv = grid.splitVertex(edge(g.at(0, 1), x), edge(x, g.at(2, 1)));
  EXPECT_TRUE(shape(grid, 10, 16, 4));
  EXPECT_TRUE(x.firstEdge() == edge(x, g.at(2, 1)) && nv.firstEdge().v2() == g.at(0, 1));
  EXPECT_EQ(loops(grid), (std::vector<Corners>{{g.at(0, 0), g.at(0, 1), x, g.at(1, 0)},
                                               {g.at(0, 1), g.at(0, 2), g.at(1, 2), nv},
                                               {g.at(1, 0), x, g.at(2, 1), g.at(2, 0)},
                                               {nv, g.at(1, 2), g.at(2, 2), g.at(2, 1)}}));
}

TEST(TopoMeshCollapseTest, ContractAlongTheRimAndCollapseInteriorEdges) {
  TopoMesh mesh;
  Fan6 fan = buildFan6(mesh);
  EXPECT_EQ(mesh.contractEdge(edge(fan.ring[1], fan.ring[2])), fan.ring[2]);
  EXPECT_TRUE(shape(mesh, 6, 15, 5));
  EXPECT_EQ(loop(fan.faces[0]), Corners({fan.centre, fan.ring[0], fan.ring[2]}));
  EXPECT_TRUE(fan.centre.valence() == 5 &&
              fan.ring[2].firstEdge() == edge(fan.ring[2], fan.centre) &&
              fan.ring[2].firstEdge().face() == fan.faces[0]);
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
  for (TopoMeshVertex v : chain(oct.firstVertex())) EXPECT_FALSE(v.onBoundary());
  // The surviving outer half takes its partner's metadata.
  EXPECT_TRUE(tagOf(edge(o.e[0], o.e[1])) == 11 && tagOf(edge(o.e[1], o.e[0])) == 11);

  // Both triangles of a strip go, and the corners left without edges with them.
  TopoMesh strip;
  Strip2 s = buildStrip2(strip);
  EXPECT_EQ(strip.collapseEdge(edge(s.a, s.c)), s.c);
  EXPECT_TRUE(shape(strip, 1, 0, 0));
  EXPECT_EQ(chain(strip.firstVertex()), Corners({s.c}));
}

}  // namespace

// swapEdge walks the fans at both far corners together and from both ends; it must refuse
// exactly when a one-way fan walk (findEdge) sees the edge, on boundary fans (paths) and at a
// pinched vertex whose second fan the walk from firstEdge never reaches.
TEST(TopoMeshSplitTest, SwapRefusesExactlyWhenFindEdgeSeesTheFlippedEdge) {
  for (const bool pinch : {false, true}) {
    TopoMesh mesh;
    const int rows = 4, cols = 5;
    std::vector<TopoMeshVertex> v;
    for (int r = 0; r <= rows; ++r)
      for (int c = 0; c <= cols; ++c) v.push_back(mesh.allocVertex({double(c), double(r), 0}));
    auto at = [&](int r, int c) { return v[r * (cols + 1) + c]; };
    for (int r = 0; r < rows; ++r)
      for (int c = 0; c < cols; ++c) {
        if ((r + c) % 3 == 0) {
          mesh.allocTriangle(at(r, c), at(r, c + 1), at(r + 1, c + 1));
          mesh.allocTriangle(at(r, c), at(r + 1, c + 1), at(r + 1, c));
        } else {
          mesh.allocTriangle(at(r, c), at(r, c + 1), at(r + 1, c));
          mesh.allocTriangle(at(r, c + 1), at(r + 1, c + 1), at(r + 1, c));
        }
      }
    if (pinch) {
      // A second fan at corner (0, 0), reaching a far vertex that some flips bring opposite it.
      TopoMeshVertex x = mesh.allocVertex({-1, -1, 0}), y = mesh.allocVertex({-2, 0, 0});
      mesh.allocTriangle(at(0, 0), x, y);
      mesh.allocTriangle(x, at(2, 3), y);
      mesh.allocTriangle(at(0, 0), y, at(1, 0));
    }
    mesh.enableTransactions();
    std::mt19937 rng(pinch ? 11u : 7u);
    int refused = 0, done = 0;
    for (int step = 0; step < 400; ++step) {
      std::vector<TopoMeshEdge> inner;
      for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInMesh())
        if (e.twin() && e.face().numVertices() == 3 && e.twin().face().numVertices() == 3)
          inner.push_back(e);
      ASSERT_FALSE(inner.empty());
      TopoMeshEdge e = inner[rng() % inner.size()];
      TopoMeshVertex c = e.prev().v1(), d = e.twin().prev().v1();
      const bool joined = TopoMesh::findEdge(c, d) || TopoMesh::findEdge(d, c);
      kr::Reference<TopoMeshState> before = mesh.createState();
      ASSERT_EQ(mesh.swapEdge(e), !joined) << "step " << step;
      ++(joined ? refused : done);
      // Keep every other flip, so that fans change shape as the walk goes on.
      if (step % 2) mesh.setState(before);
      ASSERT_STREQ(mesh.findBrokenInvariant().c_str(), "") << "step " << step;
    }
    EXPECT_GT(refused, 20);
    EXPECT_GT(done, 20);
  }
}
