#include <kr/linear.h>

#include "near.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace krLinear;
using linear_test::near;

TEST(Line, DirectionIsUnitAndParameterIsDistance) {
  const Line line(Point(1, 0, 0), Vector(2, 0, 0));
  EXPECT_EQ(line.direction(), Normal::xAxis());
  EXPECT_EQ(line.eval(3.0), Point(4, 0, 0));
  const Point x(4, 5, 6);
  EXPECT_EQ(projectParam(x, line), 3.0);
  EXPECT_EQ(project(x, line), Point(4, 0, 0));
  EXPECT_EQ(distance(x, line), std::sqrt(61.0));
  // Points behind the line's point get negative parameters.
  EXPECT_EQ(projectParam(Point(-2, 1, 1), line), -3.0);
}

TEST(ParamLine, EvalAndProjectBoundedClampsTheParameter) {
  const ParamLine seg(Point(0, 0, 0), Point(2, 0, 0));
  EXPECT_EQ(seg.eval(0.5), Point(1, 0, 0));
  EXPECT_EQ(seg.end(), Point(2, 0, 0));
  EXPECT_EQ(projectParam(Point(3, 1, 0), seg), 1.5);
  EXPECT_EQ(seg.projectBounded(Point(3, 1, 0), 0.0, 1.0), Point(2, 0, 0));
  EXPECT_EQ(seg.projectBounded(Point(-1, 1, 0), 0.0, 1.0), Point(0, 0, 0));
  EXPECT_EQ(seg.projectBounded(Point(1, 5, -5), 0.0, 1.0), Point(1, 0, 0));
  // Other bounds clamp the same way.
  EXPECT_EQ(seg.projectBounded(Point(9, 0, 0), -1.0, 2.0), Point(4, 0, 0));
  EXPECT_EQ(seg.projectBounded(Point(-9, 0, 0), 0.25, 2.0), Point(0.5, 0, 0));
  // A degenerate segment projects everything onto its single point.
  const ParamLine dot(Point(1, 1, 1), Point(1, 1, 1));
  EXPECT_EQ(dot.projectBounded(Point(5, 5, 5), 0.0, 1.0), Point(1, 1, 1));
}

TEST(Plane, ConstructionAndOrthogonalProjection) {
  const Plane raised(Point(0, 0, 1), Vector(0, 0, 2));
  EXPECT_EQ(raised.normal(), Normal::zAxis());
  EXPECT_EQ(project(Point(3, 4, 7), raised), Point(3, 4, 1));
  EXPECT_EQ(raised.signedDistance(Point(3, 4, 7)), 6.0);
  EXPECT_EQ(raised.signedDistance(Point(3, 4, -1)), -2.0);

  const Plane tilted(Point::origin(), Vector(1, 1, 0));
  EXPECT_TRUE(near(project(Point(1, 0, 0), tilted), Point(0.5, -0.5, 0)));
  // From a point and two spanning vectors the normal is their normalised cross product.
  const Plane spanned(Point(0, 0, 5), Vector(3, 0, 0), Vector(0, 0.5, 0));
  EXPECT_EQ(spanned.normal(), Normal::zAxis());
  EXPECT_EQ(Plane(Point(), Vector(0, 1, 0), Vector(1, 0, 0)).normal(), -Normal::zAxis());
}

TEST(IntersectPlanes, GivesTheCommonLine) {
  Line line;
  ASSERT_TRUE(intersect(Plane(Point(5, 5, 0), Normal::zAxis()),
                        Plane(Point(2, 7, 7), Normal::xAxis()), line));
  EXPECT_EQ(line.direction(), Normal::yAxis());     // z × x
  EXPECT_TRUE(near(line.point(), Point(2, 0, 0)));  // the line's point nearest the origin

  // Oblique planes x + y = 2 and z = 3: both contain every point of the result.
  const Plane a(Point(2, 0, 0), Vector(1, 1, 0)), b(Point(0, 0, 3), Vector(0, 0, 1));
  ASSERT_TRUE(intersect(a, b, line));
  EXPECT_TRUE(near(line.point(), Point(1, 1, 3)));
  for (double t : {-10.0, 0.0, 7.5}) {
    EXPECT_NEAR(a.signedDistance(line.eval(t)), 0.0, 1e-12);
    EXPECT_NEAR(b.signedDistance(line.eval(t)), 0.0, 1e-12);
  }
}

TEST(IntersectPlanes, ParallelPlanesDoNotMeet) {
  Line line(Point(9, 9, 9), Vector::xAxis());
  EXPECT_FALSE(
      intersect(Plane(Point(), Vector(0, 0, 1)), Plane(Point(0, 0, 4), Vector(0, 0, -1)), line));
  EXPECT_FALSE(
      intersect(Plane(Point(), Vector(0, 0, 1)), Plane(Point(), Vector(1e-8, 0, 1)), line));
  EXPECT_EQ(line, Line(Point(9, 9, 9), Vector::xAxis()));
}

TEST(ProjectPlaneOntoLine, GivesTheCrossingParameter) {
  const Plane plane(Point(4, 4, 3), Normal::zAxis());
  EXPECT_EQ(projectParam(plane, Line(Point::origin(), Vector::zAxis())), 3.0);
  EXPECT_EQ(projectParam(plane, Line(Point(0, 0, 10), Vector(0, 0, -1))), 7.0);
  EXPECT_DOUBLE_EQ(projectParam(plane, Line(Point::origin(), Vector(1, 0, 1))),
                   3.0 * std::sqrt(2.0));
}

TEST(ParamPlane, EvalAndTransform) {
  ParamPlane pp(Point(1, 0, 0), Vector(1, 1, 0), Vector(0, 0, 1));
  EXPECT_TRUE(near(pp.normal(), Normal(1, -1, 0).vector()));
  EXPECT_EQ(pp.eval(1.0, 2.0), Point(2, 1, 2));
  EXPECT_EQ(pp.plane(), Plane(Point(1, 0, 0), Normal(1, -1, 0)));

  // Stretching x by 2 and moving: the normal follows the normal matrix, staying perpendicular
  // to the new parameter vectors, and parameters keep naming the same points.
  AffineMatrix m = AffineMatrix::scaling(2, 1, 1);
  m.translate(Vector(0, 0, 3));
  const Point before = pp.eval(0.5, 0.25);
  pp.transform(m);
  EXPECT_EQ(pp.point(), Point(2, 0, 3));
  EXPECT_EQ(pp.uVector(), Vector(2, 1, 0));
  EXPECT_EQ(pp.vVector(), Vector(0, 0, 1));
  EXPECT_TRUE(near(pp.normal(), Normal(1, -2, 0).vector()));
  EXPECT_TRUE(near(pp.eval(0.5, 0.25), before * m));

  // A singular transform keeps the normal.
  ParamPlane flat(Point(), Vector(1, 0, 0), Vector(0, 1, 0));
  flat.transform(AffineMatrix::scaling(1, 1, 0));
  EXPECT_EQ(flat.normal(), Normal::zAxis());
}

}  // namespace
