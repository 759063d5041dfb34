// MeshCoord on indexed triangles (both array forms), projection onto a triangle, and curves on a
// mesh turned into polylines.
#include <geom/geom.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <random>

namespace {

using krGeom::MeshCoord;
using krLinear::Point;

// A strip of three triangles in the z = 0 plane: (0,1,2), (1,3,2), (2,3,4).
const float kVertices[] = {0, 0, 0, 2, 0, 0, 0, 2, 0, 2, 2, 0, 0, 4, 0};
const int kTriangles[] = {0, 1, 2, 1, 3, 2, 2, 3, 4};

TEST(MeshCurveTest, ProjectionSnapsToTheNearestPointOfTheTriangle) {
  MeshCoord c;
  EXPECT_FALSE(c.valid());
  EXPECT_EQ(c.getTriangle(), -1);

  // Above the interior: the weights of the foot point.
  ASSERT_TRUE(c.project(0, kVertices, kTriangles, Point(0.5, 0.5, 3.0)));
  MeshCoord foot;
  foot.setFromPoint(0, kVertices, kTriangles, Point(0.5, 0.5, 0.0));
  EXPECT_NEAR(c.w0(), foot.w0(), 1e-12);
  EXPECT_NEAR(c.w1(), foot.w1(), 1e-12);
  EXPECT_TRUE(c.isInterior(kVertices, kTriangles, 1e-6));
  // Beyond corner 1 (2, 0, 0): its unit weight. Beyond the side opposite corner 0: w0 = 0.
  c.project(0, kVertices, kTriangles, Point(3.0, -1.0, 1.0));
  EXPECT_EQ(c, MeshCoord(0, 0.0, 1.0, 0.0));
  c.project(0, kVertices, kTriangles, Point(1.5, 1.5, -2.0));
  EXPECT_NEAR(c.w0(), 0.0, 1e-12);
  EXPECT_NEAR(c.w1(), 0.5, 1e-12);
  // On an edge: neither interior nor exterior; outside: exterior.
  EXPECT_FALSE(c.isInterior(kVertices, kTriangles, 1e-6));
  EXPECT_FALSE(c.isExterior(kVertices, kTriangles, 1e-6));
  int edge = -1;
  EXPECT_TRUE(c.onEdge(kVertices, kTriangles, 1e-6, &edge));
  EXPECT_EQ(edge, 1);
  const MeshCoord outside(0, -0.5, 1.0, 0.5);
  EXPECT_TRUE(outside.isExterior(kVertices, kTriangles, 1e-6));
  // The record forms read the same arrays.
  const auto* records = reinterpret_cast<const krGeom::MeshVertex*>(kVertices);
  const auto* tris = reinterpret_cast<const krGeom::MeshTriangle*>(kTriangles);
  EXPECT_EQ(outside.evaluate(records, tris), outside.evaluate(kVertices, kTriangles));
  int corner = -1;
  EXPECT_TRUE(MeshCoord(2, 0, 0, 1).onVertex(records, tris, 1e-6, &corner));
  EXPECT_EQ(corner, 2);

  std::mt19937 rng(91);
  std::printf("rngSeed = 91\n");
  std::uniform_real_distribution<double> u(-3.0, 5.0);
  for (int i = 0; i < 500; ++i) {
    const int t = i % 3;
    MeshCoord p;
    ASSERT_TRUE(p.project(t, kVertices, kTriangles, Point(u(rng), u(rng), u(rng))));
    EXPECT_NEAR(p.w0() + p.w1() + p.w2(), 1.0, 1e-12);
    EXPECT_TRUE(p.w0() >= -1e-12 && p.w1() >= -1e-12 && p.w2() >= -1e-12);
    EXPECT_EQ(p.evaluate(kVertices, kTriangles).z(), 0.0);  // in the triangle's plane
  }
}

TEST(MeshCurveTest, CurvesBecomePolylinesOnTheMesh) {
  kr::Reference<krGeom::CompactMesh> mesh(new krGeom::CompactMesh());
  mesh->copyVertices(5, reinterpret_cast<const krGeom::MeshVertex*>(kVertices));
  mesh->resizeTriangleArray(3);
  std::copy(kTriangles, kTriangles + 9, mesh->getTrianglesRaw());
  // A curve through the centroids of the three triangles.
  const std::deque<MeshCoord> coords = {MeshCoord(0, 1 / 3.0, 1 / 3.0, 1 / 3.0),
                                        MeshCoord(1, 1 / 3.0, 1 / 3.0, 1 / 3.0),
                                        MeshCoord(2, 1 / 3.0, 1 / 3.0, 1 / 3.0)};
  const kr::Reference<krGeom::MeshCurve> closed(new krGeom::MeshCurve(coords, true));
  const kr::Reference<krGeom::Polyline> line = closed->asPolyline(*mesh);
  ASSERT_TRUE(line);
  ASSERT_EQ(line->getNumVertices(), 4);
  EXPECT_EQ(line->getVertex(3).position, line->getVertex(0).position);
  EXPECT_EQ(line->getVertex(3).parameter, 3.0);
  EXPECT_NEAR(line->getVertex(1).position.x(), 4 / 3.0, 1e-6);
  krGeom::MeshCurve open({coords.front()}, false);
  EXPECT_FALSE(open.asPolyline(*mesh));
  krGeom::MeshCurve copy(*closed);
  EXPECT_TRUE(copy.isClosed());
  EXPECT_EQ(copy.getCoords().size(), 3u);
}

}  // namespace
