// OrientedBox and OrientedPlane: construction quirks, transforms against moving points, the cut of
// a plane through a range and planes turned toward a camera.
#include <geom/geom.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <random>

namespace {

using krGeom::OrientedBox;
using krGeom::OrientedPlane;
using krLinear::Normal;
using krLinear::Point;
using krLinear::Vector;

bool near(const Point& a, const Point& b, double tol = 1e-9) {
  return krLinear::equivalent(a, b, tol);
}

TEST(OrientedBoxTest, ConstructionAndResizingKeepTheCentre) {
  OrientedBox box(krLinear::Range3d(0, 0, 0, 1, 2, 3));
  EXPECT_EQ(box.origin, Point(0, 0, 0));
  EXPECT_EQ(box.extent1, 2.0);
  EXPECT_EQ(box.mid(), Point(0.5, 1, 1.5));
  OrientedBox same = box;
  same.makeAtLeast(0.0);
  EXPECT_EQ(same.origin, box.origin);
  same.makeAtLeast(2.5);  // grows extents 0 and 1 about the centre, leaves 3 alone
  EXPECT_TRUE(near(same.mid(), box.mid()));
  EXPECT_EQ(same.extent0, 2.5);
  EXPECT_EQ(same.extent2, 3.0);
  box.setUnbounded();
  EXPECT_FALSE(box.isBounded());

  OrientedBox cube(krLinear::Range3d(0, 0, 0, 1, 1, 1));
  EXPECT_EQ(cube.axisAlignedExtent(), krLinear::Range3d(0, 0, 0, 1, 1, 1));
  cube.enlarge(2.0);
  EXPECT_EQ(cube.origin, Point(-1, -1, -1));
  EXPECT_EQ(cube.extent2, 3.0);

  // Edge vectors: normalised axes with the lengths as extents.
  const OrientedBox edges(Point(1, 1, 1), Vector(0, 3, 0), Vector(0, 0, -2), Vector(4, 0, 0));
  EXPECT_EQ(edges.axis1, Normal(0, 0, -1));
  EXPECT_EQ(edges.extent0, 3.0);
  EXPECT_EQ(edges.eval(1, 1, 1), Point(5, 4, -1));
  // The frame runs axis1, axis2, axis0 from the corner.
  EXPECT_EQ(Point(1, 0, 0) * edges.frame(), Point(1, 1, 0));
  EXPECT_EQ(Point(0, 0, 1) * edges.frame(), Point(1, 2, 1));
  // A rotated box's deliberately partial extent: the far corner (sum of all edges) is left out.
  const OrientedBox tilted(Point(0, 0, 0), Vector(1, 1, 0), Vector(-1, 1, 0), Vector(0, 0, 1));
  EXPECT_EQ(tilted.axisAlignedExtent().upper().y(), 1.0);
  EXPECT_GT(tilted.eval(1, 1, 1).y(), 1.9);

  // A parametric plane is a flat box across its normal.
  const OrientedBox flat(krLinear::ParamPlane(Point(0, 0, 5), Vector(2, 0, 0), Vector(0, 3, 0)));
  EXPECT_EQ(flat.axis0, Normal(0, 0, 1));
  EXPECT_EQ(flat.extent0, 0.0);
  EXPECT_EQ(flat.extent2, 3.0);
}

TEST(OrientedBoxTest, MidPlanesChooseTheDominantAxisWithStrictComparisons) {
  const OrientedBox box(krLinear::Range3d(0, 0, 0, 2, 4, 6));
  const OrientedPlane uv = box.uvMidplane();
  EXPECT_EQ(uv.origin, Point(1, 0, 0));
  EXPECT_EQ(uv.uAxis, box.axis2);
  EXPECT_EQ(uv.vExtent, 4.0);
  EXPECT_EQ(box.dominantMidPlane({1, 0.2, 0.1}).normal, box.axis0);
  EXPECT_EQ(box.dominantMidPlane({1, 1, 0}).normal, box.axis1);  // d0 = d1 > d2
  EXPECT_EQ(box.dominantMidPlane({1, 0, 1}).normal, box.axis2);  // d0 = d2 > d1
  const OrientedPlane z = box.dominantMidPlane({0.1, 0.2, -1});
  EXPECT_EQ(z.origin, Point(0, 0, 3));
  EXPECT_EQ(z.uAxis, box.axis0);
  EXPECT_EQ(z.vExtent, 4.0);
  const OrientedPlane y = box.dominantMidPlane({0, 1, 0});
  EXPECT_EQ(y.vAxis, box.axis2);
  EXPECT_EQ(y.uExtent, 2.0);
}

TEST(OrientedBoxTest, TransformsMoveEveryPointLikeTheMatrix) {
  std::mt19937 rng(51);
  std::printf("rngSeed = 51\n");
  std::uniform_real_distribution<double> u(-2.0, 2.0), t(0.0, 1.0);
  for (int c = 0; c < 30; ++c) {
    krLinear::AffineMatrix m = krLinear::AffineMatrix::rotation({u(rng), u(rng), u(rng)}, u(rng));
    m.translate({u(rng), u(rng), u(rng)});
    m *= krLinear::AffineMatrix::scaling(1.5, 1.5, 1.5);
    OrientedBox box(Point(u(rng), u(rng), u(rng)), Vector(u(rng), u(rng), u(rng)),
                    Vector(u(rng), u(rng), u(rng)), Vector(u(rng), u(rng), u(rng)));
    const OrientedBox before = box;
    box.transform(m);
    const double s = t(rng), q = t(rng), r = t(rng);
    EXPECT_TRUE(near(box.eval(s, q, r), before.eval(s, q, r) * m, 1e-9)) << c;

    OrientedPlane plane = box.uvMidplane();
    const OrientedPlane pb = plane;
    plane.transform(m);
    EXPECT_TRUE(near(plane.asParamPlane().eval(s, q), pb.asParamPlane().eval(s, q) * m, 1e-9));
  }
  // A zero extent keeps its axis's direction through the transform.
  OrientedBox flat(krLinear::ParamPlane(Point(0, 0, 0), Vector(1, 0, 0), Vector(0, 1, 0)));
  flat.transform(krLinear::AffineMatrix::rotation(Vector::xAxis(), krLinear::pi / 2));
  EXPECT_TRUE(krLinear::equivalent(flat.axis0, Vector(0, -1, 0), 1e-12));
  EXPECT_EQ(flat.extent0, 0.0);

  OrientedPlane small = flat.uvMidplane();
  const krLinear::ParamPlane grown = small.asParamPlane(3.0);
  EXPECT_EQ(grown.uVector().length(), 3.0);
  EXPECT_EQ(small.uExtent, 1.0);  // the plane itself is unchanged
}

TEST(OrientedBoxTest, IntersectCoversTheCutOfThePlaneThroughTheRange) {
  std::mt19937 rng(61);
  std::printf("rngSeed = 61\n");
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  const krLinear::Range3d range(-1, -2, -0.5, 2, 1, 1.5);
  for (int c = 0; c < 60; ++c) {
    const Normal n =
        c == 0 ? Normal(0, 0, 1) : Normal(u(rng), u(rng), u(rng));  // z: the x-axis line
    const krLinear::Plane plane(Point(u(rng) * 0.5, u(rng) * 0.5, 0.5 + u(rng) * 0.5), n);
    const OrientedBox cut = krGeom::intersect(range, plane);
    SCOPED_TRACE(c);
    EXPECT_EQ(cut.extent2, 0.0);
    EXPECT_TRUE(krLinear::equivalent(cut.axis2, n.vector(), 1e-12));
    for (double s : {0.0, 1.0})
      for (double t : {0.0, 1.0}) EXPECT_NEAR(plane.signedDistance(cut.eval(s, t, 0)), 0.0, 1e-9);
    // Every point of the range on the plane lies inside the flat box.
    for (int i = 0; i < 200; ++i) {
      const Point p =
          krLinear::project(Point(range.mid() + Vector(u(rng) * 1.5, u(rng) * 1.5, u(rng))), plane);
      if (!range.contains(p)) continue;
      const Vector d = p - cut.origin;
      const double a = dot(d, cut.axis0), b = dot(d, cut.axis1);
      EXPECT_TRUE(a >= -1e-9 && a <= cut.extent0 + 1e-9 && b >= -1e-9 && b <= cut.extent1 + 1e-9);
    }
  }
}

TEST(OrientedBoxTest, OrientPlaneTurnsTheRectangleUprightWithoutMovingIt) {
  std::mt19937 rng(71);
  std::printf("rngSeed = 71\n");
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  for (int c = 0; c < 60; ++c) {
    krGeom::Camera cam;
    cam.setWorldToEye(Point(0, 0, 0), Point(u(rng) * 9, u(rng) * 9, u(rng) * 9),
                      Normal(u(rng), u(rng), u(rng)));
    OrientedBox box(Point(u(rng), u(rng), u(rng)), Vector(u(rng), u(rng), u(rng)),
                    Vector(u(rng), u(rng), u(rng)), Vector(u(rng), u(rng), u(rng)));
    OrientedPlane plane = box.dominantMidPlane(cam.getViewVector());
    const krLinear::ParamPlane before = plane.asParamPlane();
    krGeom::orientPlane(plane, cam);
    const krLinear::ParamPlane after = plane.asParamPlane();
    SCOPED_TRACE(c);
    // The same four corners, in some order.
    for (double s : {0.0, 1.0})
      for (double t : {0.0, 1.0}) {
        const Point corner = after.eval(s, t);
        bool found = false;
        for (double s0 : {0.0, 1.0})
          for (double t0 : {0.0, 1.0}) found = found || near(corner, before.eval(s0, t0));
        EXPECT_TRUE(found);
      }
    EXPECT_GE(dot(cam.getRightVector(), plane.uAxis), 0.0);
    EXPECT_GE(dot(cam.getUpVector(), plane.vAxis), 0.0);
    EXPECT_LE(dot(cam.getViewVector(), plane.normal), 0.0);
    EXPECT_LE(std::abs(dot(cam.getUpVector(), plane.uAxis)),
              std::abs(dot(cam.getUpVector(), plane.vAxis)));
  }
  // Looking along the normal reverses it.
  krGeom::Camera cam;
  cam.setWorldToEye(Point(0, 0, 0), Point(0, 0, 5), Normal::yAxis());
  OrientedPlane p;
  p.normal = Normal(0, 0, -1);
  p.uAxis = Normal::xAxis();
  p.vAxis = Normal::yAxis();
  krGeom::orientPlane(p, cam);
  EXPECT_EQ(p.normal, Normal(0, 0, 1));
}

}  // namespace
