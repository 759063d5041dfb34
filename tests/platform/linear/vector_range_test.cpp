#include <kr/linear.h>

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace {

using namespace krLinear;
constexpr double inf = std::numeric_limits<double>::infinity();

TEST(Vector, NormalsProductsAndArithmetic) {
  EXPECT_EQ(Normal(), Normal::zAxis());
  EXPECT_EQ(Normal(Vector(3.0, 0.0, 4.0)).vector(), Vector(0.6, 0.0, 0.8));
  Normal n = Vector(0.0, -7.0, 0.0);  // conversion from a vector normalises too
  EXPECT_EQ(n, -Normal::yAxis());
  // The zero vector cannot be normalised and stays zero instead of turning into NaNs.
  EXPECT_EQ(Normal(Vector()).vector(), Vector());

  EXPECT_EQ(cross(Vector(1, 2, 3), Vector(4, 5, 6)), Vector(-3, 6, -3));
  EXPECT_EQ(cross(Vector2(1, 0), Vector2(0, 1)), 1.0);  // positive: counter-clockwise turn
  EXPECT_EQ(dot(Vector(1, 2, 3), Vector(4, -5, 6)), 12.0);
  Vector v(0.0, 0.0, 5.0);
  EXPECT_EQ(v.normalise(), 5.0);
  EXPECT_EQ(v, Vector::zAxis());
  EXPECT_EQ((Vector(1, 2, 3) + Vector(1, 1, 1)) * 2.0 - Vector(0, 0, 8) / 2.0, Vector(4, 6, 4));
  EXPECT_EQ(Point(1, 2, 3) - Point(0, 2, 5) + Point(1, 1, 1), Point(2, 1, -1));
}

TEST(Comparisons, DistanceAngleAndHeightTolerances) {
  // equivalent() measures distance, not per-component differences.
  const Point p(1.0, 2.0, 3.0);
  EXPECT_TRUE(equivalent(p, p + Vector(0.6e-6, 0.0, 0.6e-6)));   // 0.85e-6 apart
  EXPECT_FALSE(equivalent(p, p + Vector(0.8e-6, 0.0, 0.8e-6)));  // 1.13e-6 apart
  // isParallel() measures the sine of the angle, whatever the lengths; zero is parallel to all.
  EXPECT_TRUE(isParallel(Vector(1, 0, 0), Vector(-3, 1e-7, 0)));
  EXPECT_FALSE(isParallel(Vector(1e6, 0, 0), Vector(1e6, 10.0, 0)));
  EXPECT_TRUE(isParallel(Vector(), Vector(0, 1, 0)));
  // areCollinear() uses the height over the longest side, in any order of the points.
  const Point a(0, 0, 0), b(10, 0, 0);
  EXPECT_TRUE(areCollinear(Point(5, 0.8e-6, 0), a, b));
  EXPECT_FALSE(areCollinear(b, Point(5, 2e-6, 0), a));
  EXPECT_FALSE(areCollinear(a, Point(1, 0, 0), Point(1000, 0.01, 0)));
  EXPECT_TRUE(areCollinear(a, a, a));
  EXPECT_FALSE(areCollinear(Point2(0, 0), Point2(1, 1), Point2(3, 3.001)));

  const Point pts[] = {{0, 0, 0}, {3, 0, 0}, {0, 6, 0}, {1, 2, 8}};
  EXPECT_EQ(combine(4, pts), Point(1.0, 2.0, 2.0));
  EXPECT_EQ(combine(0, pts), Point::origin());
}

TEST(FloatTwins, NarrowingRoundsToNearestAndWideningIsExact) {
  // 1 + 0.75 ulp(float) is nearer to 1 + 1 ulp than to 1: truncation would give 1.
  constexpr float eps = std::numeric_limits<float>::epsilon();
  const double justAbove = 1.0 + 0.75 * eps;
  EXPECT_EQ(PointFlt(Point(justAbove, -justAbove, 0.1)), PointFlt(1 + eps, -1 - eps, 0.1f));
  EXPECT_EQ(VectorFlt(Vector(0.1, justAbove, 0)), VectorFlt(0.1f, 1 + eps, 0));
  const VectorFlt v(3.0f, 4.0f, 12.0f);
  EXPECT_EQ(v.length(), 13.0f);
  EXPECT_EQ(PointFlt(1, 2, 3) + v * 2.0f - PointFlt(1, 1, 1), VectorFlt(6, 9, 26));
}

TEST(Range, EmptyBoundedAndUnboundedStates) {
  Range3d r;
  r.include(Point(1, 2, 3));  // the first point gives exactly that point
  EXPECT_EQ(r, Range3d(Point(1, 2, 3), Point(1, 2, 3)));
  r.include(Point(-1, 5, 3));
  r.include(Range3d());  // an empty range changes nothing
  EXPECT_EQ(r, Range3d(-1, 2, 3, 1, 5, 3));
  EXPECT_EQ(r.size(), Vector(2, 3, 0));
  EXPECT_EQ(r.mid(), Point(0, 3.5, 3));
  EXPECT_FALSE(r.contains(Point(1, 5.5, 3)));
  r.setUnbounded();
  EXPECT_TRUE(r.isUnbounded() && !r.isEmpty());
  // Inverted on one axis only: empty, with zero size on that axis alone.
  EXPECT_TRUE(Range3d(0, 0, 0, 1, -1, 1).isEmpty());
  EXPECT_EQ(Range2d({0, 1}, {1, 0}).size(), Vector2(1, 0));
  const Range3d half(Point(0, 0, 0), Point(inf, inf, inf));  // neither empty nor unbounded
  EXPECT_FALSE(half.isEmpty() || half.isUnbounded());
  Range2d r2;
  r2.include(Point2(4, 1));
  r2.include(Range2d({0, 3}, {0, 3}));
  EXPECT_EQ(r2, Range2d({0, 1}, {4, 3}));
}

TEST(Range, IntersectionMeetsAcrossAToleratedGap) {
  Range1d r;
  EXPECT_EQ(intersect(Range1d(5, 9), Range1d(0, 6)), Range1d(5, 6));
  EXPECT_TRUE(intersect(Range1d(0, 1), Range1d(1.5, 2), r, 1.0));  // meets mid-gap
  EXPECT_EQ(r, Range1d(1.25, 1.25));
  // A wider gap, or an empty operand, does not meet and leaves an empty result.
  EXPECT_FALSE(intersect(Range1d(0, 1), Range1d(1 + 1.5e-6, 2), r));
  EXPECT_TRUE(r.isEmpty());
  EXPECT_FALSE(intersect(Range1d(0, 1), Range1d(), r, 1e300));
  Range3d box;
  EXPECT_TRUE(intersect(Range3d(0, 0, 0, 2, 2, 2), Range3d(1, -1, 1, 3, 1, 5), box));
  EXPECT_EQ(box, Range3d(1, 0, 1, 2, 1, 2));
  EXPECT_FALSE(intersect(Range3d(0, 0, 0, 2, 2, 2), Range3d(1, 1, 3, 3, 3, 5), box));
  Range2d rect;
  EXPECT_TRUE(intersect(Range2d({0, 0}, {2, 2}), Range2d({1, 2.5}, {5, 5}), rect, 1.0));
  EXPECT_EQ(rect, Range2d({1, 2.25}, {2, 2.25}));
}

TEST(Range, ProjectionOntoALineMatchesTheEightCorners) {
  const unsigned rngSeed = 20240611;
  SCOPED_TRACE(::testing::Message() << "rngSeed " << rngSeed);
  std::mt19937 rng(rngSeed);
  std::uniform_real_distribution<double> u(-5.0, 5.0);
  for (int trial = 0; trial < 200; ++trial) {
    Range3d box;
    for (int k = 0; k < 2; ++k) box.include(Point(u(rng), u(rng), u(rng)));
    const Line line(Point(u(rng), u(rng), u(rng)), Vector(u(rng), u(rng), u(rng)));
    const Point &l = box.lower(), &h = box.upper();
    Range1d corners;
    for (int c = 0; c < 8; ++c)
      corners.include(
          projectParam(Point((c & 1 ? h : l).x(), (c & 2 ? h : l).y(), (c & 4 ? h : l).z()), line));
    const Range1d r = projectParam(box, line);
    ASSERT_NEAR(r.lower(), corners.lower(), 1e-12) << "trial " << trial;
    ASSERT_NEAR(r.upper(), corners.upper(), 1e-12) << "trial " << trial;
  }
  // A line along an axis over a box unbounded only across it stays finite (no 0 · infinity).
  const Range3d slab(-inf, -inf, 2, inf, inf, 5);
  EXPECT_EQ(projectParam(slab, Line(Point(7, 7, 1), Vector(0, 0, -1))), Range1d(-4, -1));
  const Range3d all(-inf, -inf, -inf, inf, inf, inf);
  EXPECT_TRUE(projectParam(all, Line(Point::origin(), Vector(1, 1, 1))).isUnbounded());
  EXPECT_TRUE(projectParam(Range3d(), Line()).isEmpty());
}

}  // namespace
