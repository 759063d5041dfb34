#include <geom/topology/mesh_coord.h>
#include <geom/topology/topo_mesh.h>
#include <geom/topology/topo_mesh_point.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

using namespace krGeom;
using krLinear::Point;

const Point p0(0, 0, 0), p1(4, 0, 0), p2(0, 4, 0);

// The corner or side index onVertexBase / onEdgeBase report; -1 when they say no and leave the
// index unwritten.
int onVertex(const MeshCoordBase& c, double tolerance) {
  int index = -1;
  return c.onVertexBase(p0, p1, p2, tolerance, &index) ? index : index == -1 ? -1 : -2;
}
int onEdge(const MeshCoordBase& c, double tolerance) {
  int index = -1;
  return c.onEdgeBase(p0, p1, p2, tolerance, &index) ? index : index == -1 ? -1 : -2;
}

std::string addresses(const char* fmt, const void* a, const void* b = nullptr,
                      const void* c = nullptr) {
  char text[128];
  std::snprintf(text, sizeof text, fmt, a, b, c);
  return text;
}

TEST(MeshCoordBase, SetFromPointGivesSignedWeightsSnapsToCornersAndRefusesDegenerates) {
  MeshCoordBase c;
  EXPECT_TRUE(c.setFromPointBase(p0, p1, p2, Point(1, 1, 0)));
  EXPECT_EQ(c, MeshCoordBase(0.5, 0.25, 0.25));
  EXPECT_EQ(c.evaluateBase(p0, p1, p2), Point(1, 1, 0));
  EXPECT_TRUE(c.setFromPointBase(p0, p1, p2, Point(-4, 2, 0)));
  EXPECT_EQ(c, MeshCoordBase(1.5, -1.0, 0.5));

  // Within krLinear::epsilonTol of a corner the weights are exactly that corner's.
  EXPECT_TRUE(c.setFromPointBase(p0, p1, p2, Point(4 + 0.9e-6, 0, 0)));
  EXPECT_EQ(c, MeshCoordBase(0, 1, 0));
  EXPECT_TRUE(c.setFromPointBase(p0, p1, p2, Point(4 + 1.1e-6, 0, 0)));
  EXPECT_NE(c.w1(), 1.0);
  EXPECT_NEAR(c.w1(), 1.0, 1e-6);

  // Degenerate: |n|² below epsilon2Tol (n = (p2 − p1) × (p0 − p1), |n| = leg² here).
  EXPECT_FALSE(c.setFromPointBase(p0, p1, Point(8, 0, 0), Point(1, 0, 0)));
  const double small = std::sqrt(0.9e-6), large = std::sqrt(1.1e-6);
  EXPECT_FALSE(c.setFromPointBase(p0, Point(small, 0, 0), Point(0, small, 0),
                                  Point(small / 4, small / 4, 0)));
  EXPECT_TRUE(c.setFromPointBase(p0, Point(large, 0, 0), Point(0, large, 0),
                                 Point(large / 4, large / 4, 0)));
}

TEST(MeshCoordBase, OnVertexAndOnEdgeAreStrictAtTheToleranceAndPreferLowerIndices) {
  const MeshCoordBase nearP0(0.875, 0.125, 0);  // (0.5, 0, 0): 0.5 from p0, on side 0
  EXPECT_EQ(onVertex(nearP0, 0.5), -1);
  EXPECT_EQ(onVertex(nearP0, 0.5000001), 0);
  EXPECT_EQ(onVertex(MeshCoordBase(0.5, 0.5, 0), 3), 0) << "equally near p0 and p1";
  EXPECT_EQ(onVertex(MeshCoordBase(-0.25, 0.625, 0.625), 3), 1) << "equally near p1 and p2";

  const MeshCoordBase inside(0.625, 0.25, 0.125);  // (1, 0.5, 0): 0.5 from side 0, 1 from side 2
  EXPECT_EQ(onEdge(inside, 0.5), -1);
  EXPECT_EQ(onEdge(inside, 0.51), 0);
  EXPECT_EQ(onEdge(MeshCoordBase(0.125, 0.625, 0.25), 1.5), 1) << "(2.5, 1, 0): 0.5/sqrt(2) away";
  // (5, 0.25, 0) is 0.25 from the line of side 0 but sqrt(1.0625) from the segment.
  const MeshCoordBase beyond(-0.3125, 1.25, 0.0625);
  EXPECT_EQ(onEdge(beyond, 1.0), -1);
  EXPECT_EQ(onEdge(beyond, 1.04), 0) << "sides 0 and 1 tie at p1";
}

// Triangles f = (a, b, c) and g = (b, d, c) sharing the edge b-c.
struct Strip : ::testing::Test {
  ~Strip() noexcept override {}  // the mesh's destructor may throw; a test's may not

  TopoMesh mesh;
  TopoMeshVertex a = mesh.allocVertex(p0), b = mesh.allocVertex(p1), c = mesh.allocVertex(p2),
                 d = mesh.allocVertex({4, 4, 0});
  TopoMeshFace f = mesh.allocTriangle(a, b, c), g = mesh.allocTriangle(b, d, c);
  TopoMeshEdge ab = f.firstEdge(), bc = ab.next(), ca = ab.prev();
  TopoMeshEdge bd = g.firstEdge(), dc = bd.next(), cb = bd.prev();
};

TEST_F(Strip, TopoMeshCoordCornersAndSidesFollowTheFaceLoop) {
  TopoMeshVertex v;
  TopoMeshEdge e;
  EXPECT_TRUE(TopoMeshCoord(g, 0.9, 0.05, 0.05).onVertex(1, v));
  EXPECT_EQ(v, b);
  EXPECT_TRUE(TopoMeshCoord(g, 0, 0.5, 0.5).onEdge(0.1, e));
  EXPECT_EQ(e, dc);
  EXPECT_TRUE(TopoMeshCoord(g, 0.5, 0, 0.5).onEdge(0.1, e));
  EXPECT_EQ(e, cb);
  EXPECT_EQ(TopoMeshCoord(g, 0.25, 0.25, 0.5).evaluate(), Point(2, 3, 0));

  TopoMeshCoord coord;
  EXPECT_TRUE(coord.setFromPoint(g, d.point()));
  EXPECT_EQ(coord, TopoMeshCoord(g, 0, 1, 0));
}

TEST_F(Strip, EdgePointWeightsGoWhereTheEdgeSitsInTheLoop) {
  const struct {
    TopoMeshEdge edge;
    MeshCoordBase weights;
    Point point;
  } cases[] = {{ab, {0.25, 0.75, 0}, {3, 0, 0}},
               {bc, {0, 0.25, 0.75}, {1, 3, 0}},
               {ca, {0.75, 0, 0.25}, {0, 1, 0}}};
  for (const auto& k : cases) {
    TopoMeshPoint point(k.edge, f, 0.25, 0.75);
    SCOPED_TRACE(point.asString().c_str());
    EXPECT_EQ(point.getEdge(), k.edge);
    EXPECT_EQ(static_cast<const MeshCoordBase&>(point.getCoord()), k.weights);
    EXPECT_EQ(point.point(), k.point);
    double wa = 0, wb = 0;
    point.getEdgeWeights(wa, wb);
    EXPECT_EQ(wa, 0.25);
    EXPECT_EQ(wb, 0.75);
  }
}

TEST_F(Strip, CoordinatesAreClassifiedAsVertexEdgeOrFacePoints) {
  TopoMeshPoint nearA(TopoMeshCoord(f, 0.99, 0.005, 0.005), 0.1);
  EXPECT_TRUE(nearA.isVertexPoint());
  EXPECT_EQ(nearA.getVertex(), a);
  EXPECT_EQ(nearA.getCoord(), TopoMeshCoord(f, 1, 0, 0)) << "set again from the vertex";

  // (0.5, 0, 0) lies exactly `tolerance` from a: not a vertex point, but on the side a-b.
  TopoMeshPoint border(TopoMeshCoord(f, 0.875, 0.125, 0), 0.5);
  EXPECT_TRUE(border.isEdgePoint());
  EXPECT_EQ(border.getEdge(), ab);
  EXPECT_TRUE(TopoMeshPoint(TopoMeshCoord(f, 0.875, 0.125, 0), 0.5000001).isVertexPoint());

  // (1, 2.9, 0) is 0.1/sqrt(2) inside the side b-c: projected onto it.
  TopoMeshPoint nearBC(TopoMeshCoord(f, 0.025, 0.25, 0.725), 0.1);
  ASSERT_TRUE(nearBC.isEdgePoint());
  EXPECT_EQ(nearBC.getEdge(), bc);
  EXPECT_NEAR(nearBC.point().x(), 1.05, 1e-12);
  EXPECT_NEAR(nearBC.point().y(), 2.95, 1e-12);
  double wa = 0, wb = 0;
  nearBC.getEdgeWeights(wa, wb);
  EXPECT_NEAR(wa, 0.2625, 1e-12);

  TopoMeshPoint inside(TopoMeshCoord(f, 0.5, 0.25, 0.25), 0.1);
  EXPECT_TRUE(inside.isFacePoint());
  EXPECT_EQ(inside.point(), Point(1, 1, 0));
  EXPECT_EQ(inside.getCoord(), TopoMeshCoord(f, 0.5, 0.25, 0.25));

  // A vertex point's coordinate comes from the given face, else its firstEdge's face.
  EXPECT_EQ(TopoMeshPoint(b, g).getCoord(), TopoMeshCoord(g, 1, 0, 0));
  EXPECT_EQ(TopoMeshPoint(b).getCoord(), TopoMeshCoord(f, 0, 1, 0));
  TopoMeshPoint lone(mesh.allocVertex({9, 9, 9}));
  EXPECT_FALSE(lone.getCoord().valid());
  EXPECT_EQ(lone.point(), Point(9, 9, 9));
}

TEST_F(Strip, AdjacencyEquivalenceAndBoundary) {
  const TopoMeshPoint va(a), vb(b), vd(d), eab(ab, f, 0.5, 0.5), ebc(bc, f, 0.5, 0.5),
      ecb(cb, g, 0.5, 0.5), ebd(bd, g, 0.5, 0.5), ff(TopoMeshCoord(f, 0.5, 0.25, 0.25), 0),
      fg(TopoMeshCoord(g, 0.5, 0.25, 0.25), 0);
  const TopoMeshFace none;

  EXPECT_TRUE(va.adjacent(f));
  EXPECT_FALSE(va.adjacent(g));
  EXPECT_TRUE(ebc.adjacent(g)) << "through the twin";
  EXPECT_FALSE(eab.adjacent(g));

  EXPECT_EQ(va.adjacent(vb), f);
  EXPECT_EQ(vb.adjacent(vd), g);
  EXPECT_EQ(va.adjacent(vd), none);
  EXPECT_EQ(vd.adjacent(ebc), g) << "the twin's face holds d";
  EXPECT_EQ(va.adjacent(ebd), none);
  EXPECT_EQ(ebc.adjacent(ecb), f) << "both faces are shared: the first edge's own";
  EXPECT_EQ(ecb.adjacent(ebc), g);
  EXPECT_EQ(ebc.adjacent(ebd), g);
  EXPECT_EQ(ff.adjacent(ff), f);
  EXPECT_EQ(ff.adjacent(fg), none);
  EXPECT_EQ(fg.adjacent(ebc), g);

  EXPECT_TRUE(ebc.equivalent(ecb));
  EXPECT_TRUE(va.equivalent(TopoMeshPoint(a, f)));
  EXPECT_FALSE(eab.equivalent(ebc));
  EXPECT_FALSE(ff.equivalent(ff)) << "face points are never equivalent";

  EXPECT_EQ(
      (std::vector<bool>{va.onBoundary(), eab.onBoundary(), ebc.onBoundary(), ff.onBoundary()}),
      (std::vector<bool>{true, true, false, false}));
}

TEST_F(Strip, NamesAndText) {
  const TopoMeshPoint vertex(d), edge(bc, f, 0.5, 0.5), face(TopoMeshCoord(g, 0.5, 0.25, 0.25), 0);
  EXPECT_EQ(vertex.asString().str(), addresses("vertex(%p)", d.data()));
  EXPECT_EQ(edge.asString().str(), addresses("edge(%p,%p)", b.data(), c.data()));
  EXPECT_EQ(face.asString().str(), addresses("face(%p,%p,%p)", b.data(), d.data(), c.data()));
}

}  // namespace
