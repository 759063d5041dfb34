#include <kr/linear.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace {

using namespace krLinear;
constexpr double inf = std::numeric_limits<double>::infinity();

TEST(Range3d, EmptyUnboundedAndBoundedStates) {
  Range3d r;
  EXPECT_TRUE(r.isEmpty());
  EXPECT_FALSE(r.isUnbounded());
  EXPECT_EQ(r.size(), Vector());

  // The first point included gives exactly that point.
  r.include(Point(1, 2, 3));
  EXPECT_FALSE(r.isEmpty());
  EXPECT_EQ(r.lower(), Point(1, 2, 3));
  EXPECT_EQ(r.upper(), Point(1, 2, 3));
  r.include(Point(-1, 5, 3));
  EXPECT_EQ(r.lower(), Point(-1, 2, 3));
  EXPECT_EQ(r.upper(), Point(1, 5, 3));
  EXPECT_EQ(r.size(), Vector(2, 3, 0));
  EXPECT_EQ(r.mid(), Point(0, 3.5, 3));
  EXPECT_TRUE(r.contains(Point(1, 5, 3)));
  EXPECT_FALSE(r.contains(Point(1, 5.5, 3)));

  // Including an empty range changes nothing; including a box widens.
  const Range3d before = r;
  r.include(Range3d());
  EXPECT_EQ(r, before);
  r.include(Range3d(Point(0, 0, 0), Point(0, 0, 10)));
  EXPECT_EQ(r.upper(), Point(1, 5, 10));

  r.setUnbounded();
  EXPECT_TRUE(r.isUnbounded());
  EXPECT_FALSE(r.isEmpty());
  EXPECT_TRUE(r.contains(Point(1e300, -1e300, 0)));
  r.setEmpty();
  EXPECT_TRUE(r.isEmpty());

  // A range inverted on one axis only is empty; a half-infinite one is neither state.
  EXPECT_TRUE(Range3d(0, 0, 0, 1, -1, 1).isEmpty());
  const Range3d half(Point(0, 0, 0), Point(inf, inf, inf));
  EXPECT_FALSE(half.isEmpty());
  EXPECT_FALSE(half.isUnbounded());
}

TEST(Range1dAnd2d, StatesAndMeasures) {
  Range1d r1(2.0, 6.0);
  EXPECT_EQ(r1.size(), 4.0);
  EXPECT_EQ(r1.mid(), 4.0);
  EXPECT_EQ(Range1d(1.0, 0.0).size(), 0.0);
  Range1d e;
  e.include(-3.0);
  EXPECT_EQ(e, Range1d(-3.0, -3.0));

  Range2d r2;
  EXPECT_TRUE(r2.isEmpty());
  r2.include(Point2(4, 1));
  r2.include(Point2(0, 3));
  EXPECT_EQ(r2.lower(), Point2(0, 1));
  EXPECT_EQ(r2.upper(), Point2(4, 3));
  EXPECT_EQ(r2.size(), Vector2(4, 2));
  EXPECT_EQ(r2.mid(), Point2(2, 2));
  r2.setUnbounded();
  EXPECT_TRUE(r2.isUnbounded());
}

TEST(IntersectRanges, OverlapTouchAndToleratedGap) {
  Range1d r;
  EXPECT_TRUE(intersect(Range1d(0, 2), Range1d(1, 3), r, epsilonTol));
  EXPECT_EQ(r, Range1d(1, 2));
  EXPECT_TRUE(intersect(Range1d(0, 1), Range1d(1, 2), r, epsilonTol));
  EXPECT_EQ(r, Range1d(1, 1));
  // A gap within the tolerance meets in the middle of the gap.
  EXPECT_TRUE(intersect(Range1d(0, 1), Range1d(1.5, 2), r, 1.0));
  EXPECT_EQ(r, Range1d(1.25, 1.25));
  // A wider gap, or an empty operand, does not meet and leaves an empty result.
  EXPECT_FALSE(intersect(Range1d(0, 1), Range1d(1 + 2e-6, 2), r, epsilonTol));
  EXPECT_TRUE(r.isEmpty());
  EXPECT_FALSE(intersect(Range1d(0, 1), Range1d(), r, 1e300));
  EXPECT_TRUE(intersect(Range1d(5, 9), Range1d(0, 6)) == Range1d(5, 6));

  Range3d box;
  EXPECT_TRUE(intersect(Range3d(0, 0, 0, 2, 2, 2), Range3d(1, -1, 1, 3, 1, 5), box));
  EXPECT_EQ(box, Range3d(1, 0, 1, 2, 1, 2));
  EXPECT_FALSE(intersect(Range3d(0, 0, 0, 2, 2, 2), Range3d(1, 1, 3, 3, 3, 5), box));
  Range2d rect;
  EXPECT_TRUE(intersect(Range2d({0, 0}, {2, 2}), Range2d({1, 1}, {5, 5}), rect));
  EXPECT_EQ(rect, Range2d({1, 1}, {2, 2}));
}

TEST(ProjectRangeOntoLine, MatchesTheEightCornersOnRandomLines) {
  const unsigned seed = 20240611;
  SCOPED_TRACE(::testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(-5.0, 5.0);
  for (int trial = 0; trial < 200; ++trial) {
    Point a(u(rng), u(rng), u(rng)), b(u(rng), u(rng), u(rng));
    Range3d box;
    box.include(a);
    box.include(b);
    const Line line(Point(u(rng), u(rng), u(rng)), Vector(u(rng), u(rng), u(rng)));
    double lo = inf, hi = -inf;
    for (int c = 0; c < 8; ++c) {
      Point corner((c & 1 ? box.upper() : box.lower()).x(), (c & 2 ? box.upper() : box.lower()).y(),
                   (c & 4 ? box.upper() : box.lower()).z());
      lo = std::min(lo, projectParam(corner, line));
      hi = std::max(hi, projectParam(corner, line));
    }
    const Range1d r = projectParam(box, line);
    ASSERT_NEAR(r.lower(), lo, 1e-12) << "trial " << trial;
    ASSERT_NEAR(r.upper(), hi, 1e-12) << "trial " << trial;
  }
}

TEST(ProjectRangeOntoLine, HandValuesAndSpecialBoxes) {
  const Range3d unit(0, 0, 0, 1, 1, 1);
  const Range1d diag = projectParam(unit, Line(Point::origin(), Vector(1, 1, 0)));
  EXPECT_DOUBLE_EQ(diag.lower(), 0.0);
  EXPECT_DOUBLE_EQ(diag.upper(), std::sqrt(2.0));
  EXPECT_EQ(projectParam(unit, Line(Point(1, 0, 0), Vector(-1, 0, 0))), Range1d(0, 1));

  // An axis-aligned line over a box unbounded only across it stays finite.
  Range3d slab(-inf, -inf, 2, inf, inf, 5);
  EXPECT_EQ(projectParam(slab, Line(Point::origin(), Vector::zAxis())), Range1d(2, 5));
  Range3d all;
  all.setUnbounded();
  EXPECT_TRUE(projectParam(all, Line(Point::origin(), Vector(1, 1, 1))).isUnbounded());
  EXPECT_TRUE(projectParam(Range3d(), Line()).isEmpty());
}

}  // namespace
