#include <kr/linear.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace krLinear;

TEST(Normal, IsAlwaysUnitLength) {
  EXPECT_EQ(Normal(0.0, 0.0, 2.0), Normal(0.0, 0.0, 1.0));
  EXPECT_EQ(Normal(0.0, 0.0, 2.0).z(), 1.0);
  Normal n(Vector(3.0, 0.0, 4.0));
  EXPECT_EQ(n.x(), 0.6);
  EXPECT_EQ(n.z(), 0.8);
  // Assignment from a vector normalises too.
  n = Vector(0.0, -7.0, 0.0);
  EXPECT_EQ(n, -Normal::yAxis());
  EXPECT_DOUBLE_EQ(Normal(1.0, 2.0, 3.0).vector().length(), 1.0);
}

TEST(Normal, DefaultsReverseAndZeroVector) {
  EXPECT_EQ(Normal(), Normal::zAxis());
  Normal n = Normal::xAxis();
  n.reverse();
  EXPECT_EQ(n.vector(), Vector(-1.0, 0.0, 0.0));
  // The zero vector cannot be normalised and stays zero instead of turning into NaNs.
  EXPECT_EQ(Normal(Vector()).vector(), Vector());
  // Normals take part in vector arithmetic through their implicit conversion.
  EXPECT_EQ(Point(1.0, 1.0, 1.0) + Normal::zAxis() * 2.0, Point(1.0, 1.0, 3.0));
}

TEST(Vector, CrossIsRightHandedAndDotIsScalarProduct) {
  EXPECT_EQ(cross(Vector::xAxis(), Vector::yAxis()), Vector::zAxis());
  EXPECT_EQ(cross(Vector::yAxis(), Vector::zAxis()), Vector::xAxis());
  EXPECT_EQ(cross(Vector(1, 2, 3), Vector(4, 5, 6)), Vector(-3, 6, -3));
  EXPECT_EQ(dot(Vector(1, 2, 3), Vector(4, -5, 6)), 12.0);
  EXPECT_EQ(Vector(2.0, 3.0, 6.0).length(), 7.0);
  Vector v(0.0, 0.0, 5.0);
  EXPECT_EQ(v.normalise(), 5.0);
  EXPECT_EQ(v, Vector::zAxis());
}

TEST(Equivalent, PointsAndVectorsCompareDistanceWithTolerance) {
  const Point p(1.0, 2.0, 3.0);
  EXPECT_TRUE(equivalent(p, p, 0.0));
  EXPECT_TRUE(equivalent(p, p + Vector(0.6e-6, 0.0, 0.6e-6)));   // 0.85e-6 apart
  EXPECT_FALSE(equivalent(p, p + Vector(0.8e-6, 0.0, 0.8e-6)));  // 1.13e-6 apart
  EXPECT_TRUE(equivalent(Vector(1, 0, 0), Vector(1.05, 0, 0), 0.1));
  EXPECT_FALSE(equivalent(Vector(1, 0, 0), Vector(-1, 0, 0), 0.1));
  EXPECT_TRUE(equivalent(Point2(1.0, 1.0), Point2(1.0, 1.0 + 1e-7)));
  EXPECT_FALSE(equivalent(Point2(1.0, 1.0), Point2(1.0, 1.0 + 1e-5)));
}

TEST(IsParallel, MeasuresTheSineOfTheAngle) {
  EXPECT_TRUE(isParallel(Vector(1, 0, 0), Vector(-3, 0, 0)));
  EXPECT_TRUE(isParallel(Vector(1, 0, 0), Vector(1, 1e-7, 0)));
  EXPECT_FALSE(isParallel(Vector(1, 0, 0), Vector(1, 1e-5, 0)));
  // Scale does not matter: the same angle between long vectors.
  EXPECT_FALSE(isParallel(Vector(1e6, 0, 0), Vector(1e6, 10.0, 0)));
  EXPECT_TRUE(isParallel(Vector(), Vector(0, 1, 0)));
}

TEST(Combine, AveragesPoints) {
  const Point pts[] = {{0, 0, 0}, {3, 0, 0}, {0, 6, 0}, {1, 2, 8}};
  EXPECT_EQ(combine(4, pts), Point(1.0, 2.0, 2.0));
  EXPECT_EQ(combine(1, pts + 1), pts[1]);
  EXPECT_EQ(combine(0, pts), Point::origin());
}

TEST(AreCollinear, UsesTheHeightOverTheLongestSide) {
  const Point a(0, 0, 0), b(10, 0, 0);
  EXPECT_TRUE(areCollinear(a, b, Point(5, 0.5e-6, 0)));
  EXPECT_FALSE(areCollinear(a, b, Point(5, 2e-6, 0)));
  // The order of the points does not matter.
  EXPECT_TRUE(areCollinear(Point(5, 0.5e-6, 0), a, b));
  EXPECT_FALSE(areCollinear(b, Point(5, 2e-6, 0), a));
  // A point far beyond the end of a short pair still has to lie on the line.
  EXPECT_TRUE(areCollinear(a, Point(1, 0, 0), Point(1000, 0, 0)));
  EXPECT_FALSE(areCollinear(a, Point(1, 0, 0), Point(1000, 0.01, 0)));
  EXPECT_TRUE(areCollinear(a, a, a));
  EXPECT_TRUE(areCollinear(Point2(0, 0), Point2(1, 1), Point2(3, 3)));
  EXPECT_FALSE(areCollinear(Point2(0, 0), Point2(1, 1), Point2(3, 3.001)));
}

TEST(Vector2, CrossSignGivesTurnDirection) {
  const Vector2 east(1, 0), north(0, 1);
  EXPECT_EQ(cross(east, north), 1.0);   // counter-clockwise turn
  EXPECT_EQ(cross(north, east), -1.0);  // clockwise turn
  EXPECT_EQ(Point2(4, 6) - Point2(1, 2), Vector2(3, 4));
  EXPECT_EQ(distance(Point2(1, 2), Point2(4, 6)), 5.0);
  Tuple2 t;
  t.set(1.5, -2.5);
  double x = 0, y = 0;
  t.get(x, y);
  EXPECT_EQ(x, 1.5);
  EXPECT_EQ(y, -2.5);
}

TEST(FloatTwins, NarrowingRoundsToNearestAndWideningIsExact) {
  // 1 + 0.75 ulp(float) is nearer to 1 + 1 ulp than to 1: truncation would give 1.
  const double justAbove = 1.0 + 0.75 * std::numeric_limits<float>::epsilon();
  const PointFlt pf(Point(justAbove, -justAbove, 0.1));
  EXPECT_EQ(pf.x(), 1.0f + std::numeric_limits<float>::epsilon());
  EXPECT_EQ(pf.y(), -(1.0f + std::numeric_limits<float>::epsilon()));
  EXPECT_EQ(pf.z(), 0.1f);
  const Point back = pf;
  EXPECT_EQ(back.z(), static_cast<double>(0.1f));

  float out[3];
  PointFlt(1.0f, 2.0f, 3.0f).get(out);
  EXPECT_EQ(out[0], 1.0f);
  EXPECT_EQ(out[2], 3.0f);
  VectorFlt v(3.0f, 4.0f, 12.0f);
  EXPECT_EQ(v.length(), 13.0f);
  v.get(out);
  EXPECT_EQ(out[1], 4.0f);
  EXPECT_EQ(Point2Flt(Point2(0.1, 2.0)).x(), 0.1f);
}

TEST(Angles, ConvertBetweenDegreesAndRadians) {
  EXPECT_DOUBLE_EQ(toRadians(180.0), pi);
  EXPECT_DOUBLE_EQ(toDegrees(pi / 2.0), 90.0);
  EXPECT_DOUBLE_EQ(toDegrees(toRadians(55.0)), 55.0);
  EXPECT_EQ(epsilon2Tol, epsilonTol * epsilonTol);
}

}  // namespace
