#include <geom/topology/mesh_coord.h>
#include <geom/topology/topo_mesh.h>
#include <geom/topology/topo_mesh_point.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <utility>
#include <vector>

namespace {

using namespace krGeom;
using krLinear::Point;

const Point p0(0, 0, 0), p1(4, 0, 0), p2(0, 4, 0);

// The corner or side index onVertexBase / onEdgeBase report; -1 when they say no and leave the
// index unwritten.
int onVertex(const MeshCoordBase& c, double tolerance, bool side = false) {
  int index = -1;
  const bool on = side ? c.onEdgeBase(p0, p1, p2, tolerance, &index)
                       : c.onVertexBase(p0, p1, p2, tolerance, &index);
  return on ? index : index == -1 ? -1 : -2;
}

TEST(MeshCoordBase, SetFromPointSnapsAndRefusesDegeneratesAndOnTestsAreStrict) {
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

  // Degenerate: |n|² below epsilon2Tol (n = (p2 − p1) × (p0 − p1), |n| = leg² here).
  const double small = std::sqrt(0.9e-6), large = std::sqrt(1.1e-6);
  EXPECT_FALSE(c.setFromPointBase(p0, Point(small, 0, 0), Point(0, small, 0),
                                  Point(small / 4, small / 4, 0)));
  EXPECT_TRUE(c.setFromPointBase(p0, Point(large, 0, 0), Point(0, large, 0),
                                 Point(large / 4, large / 4, 0)));

  // onVertexBase and onEdgeBase are strict at the tolerance.
  // (0.5, 0, 0) is 0.5 from p0 and on side 0; ties go to the lower index.
  const MeshCoordBase nearP0(0.875, 0.125, 0);
  EXPECT_EQ(onVertex(nearP0, 0.5), -1);
  EXPECT_EQ(onVertex(nearP0, 0.5000001), 0);
  EXPECT_EQ(onVertex(MeshCoordBase(0.5, 0.5, 0), 3), 0);
  EXPECT_EQ(onVertex(MeshCoordBase(-0.25, 0.625, 0.625), 3), 1);
  // (1, 0.5, 0): 0.5 from side 0. (5, 0.25, 0) is 0.25 from the line of side 0 but
  // sqrt(1.0625) from the segment; sides 0 and 1 tie at p1.
  const MeshCoordBase inside(0.625, 0.25, 0.125), beyond(-0.3125, 1.25, 0.0625);
  EXPECT_EQ(onVertex(inside, 0.5, true), -1);
  EXPECT_EQ(onVertex(inside, 0.51, true), 0);
  EXPECT_EQ(onVertex(beyond, 1.0, true), -1);
  EXPECT_EQ(onVertex(beyond, 1.04, true), 0);
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
    double wa = 0, wb = 0;
    point.getEdgeWeights(wa, wb);
    EXPECT_EQ(static_cast<const MeshCoordBase&>(point.getCoord()), k.weights);
    EXPECT_EQ(point.point(), k.point);
    EXPECT_EQ(std::make_pair(wa, wb), std::make_pair(0.25, 0.75));
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

  // (1, 2.9, 0) is 0.1/sqrt(2) inside the side b-c: projected onto it.
  TopoMeshPoint nearBC(TopoMeshCoord(f, 0.025, 0.25, 0.725), 0.1);
  ASSERT_TRUE(nearBC.isEdgePoint());
  EXPECT_EQ(nearBC.getEdge(), bc);
  EXPECT_NEAR(nearBC.point().x(), 1.05, 1e-12);
  EXPECT_NEAR(nearBC.point().y(), 2.95, 1e-12);
  EXPECT_TRUE(TopoMeshPoint(TopoMeshCoord(f, 0.5, 0.25, 0.25), 0.1).isFacePoint());

  // A vertex point's coordinate comes from the given face, else its firstEdge's face.
  EXPECT_EQ(TopoMeshPoint(b, g).getCoord(), TopoMeshCoord(g, 1, 0, 0));
  EXPECT_EQ(TopoMeshPoint(b).getCoord(), TopoMeshCoord(f, 0, 1, 0));
  EXPECT_FALSE(TopoMeshPoint(mesh.allocVertex({9, 9, 9})).getCoord().valid());
}

TEST_F(Strip, AdjacencyEquivalenceBoundaryAndText) {
  const TopoMeshPoint va(a), vb(b), vd(d), eab(ab, f, 0.5, 0.5), ebc(bc, f, 0.5, 0.5),
      ecb(cb, g, 0.5, 0.5), ebd(bd, g, 0.5, 0.5), ff(TopoMeshCoord(f, 0.5, 0.25, 0.25), 0),
      fg(TopoMeshCoord(g, 0.5, 0.25, 0.25), 0);
  const TopoMeshFace none;

  EXPECT_TRUE(va.adjacent(f));
  EXPECT_FALSE(va.adjacent(g));
  EXPECT_TRUE(ebc.adjacent(g)) << "through the twin";
  EXPECT_FALSE(eab.adjacent(g));
  // Shared faces: d lies in the twin's face; of two shared faces the first edge's own wins.
  const struct {
    const TopoMeshPoint &p, &q;
    TopoMeshFace face;
  } pairs[] = {{va, vb, f},   {va, vd, none}, {vd, ebc, g},   {va, ebd, none}, {ebc, ecb, f},
               {ecb, ebc, g}, {ff, ff, f},    {ff, fg, none}, {fg, ebc, g}};
  for (const auto& k : pairs) EXPECT_EQ(k.p.adjacent(k.q), k.face) << k.p.asString().c_str();

  EXPECT_TRUE(ebc.equivalent(ecb));
  EXPECT_TRUE(va.equivalent(TopoMeshPoint(a, f)));
  EXPECT_FALSE(eab.equivalent(ebc));
  EXPECT_FALSE(ff.equivalent(ff)) << "face points are never equivalent";

  EXPECT_EQ(
      (std::vector<bool>{va.onBoundary(), eab.onBoundary(), ebc.onBoundary(), ff.onBoundary()}),
      (std::vector<bool>{true, true, false, false}));

  const void* corners[] = {b.data(), d.data(), c.data()};
  char text[128];
  std::snprintf(text, sizeof text, "face(%p,%p,%p)", corners[0], corners[1], corners[2]);
  EXPECT_EQ(TopoMeshPoint(TopoMeshCoord(g, 0.5, 0.25, 0.25), 0).asString().str(), text);
}

}  // namespace
