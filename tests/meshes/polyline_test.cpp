// Polylines and line strips: hand-computed shapes, and evaluation and lengths against direct
// interpolation and fine sampling.
#include <geom/geom.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>

namespace {

using krGeom::Polyline;
using krGeom::Polyline2d;
using krLinear::Point;
using krLinear::Point2;

// An L: (0,0,0) -> (2,0,0) -> (2,1,0), parameters 0, 1, 3.
Polyline ell() {
  const Point p[3] = {{0, 0, 0}, {2, 0, 0}, {2, 1, 0}};
  const double t[3] = {0, 1, 3};
  return Polyline(3, p, t);
}

TEST(PolylineTest, EvaluationSearchAndLengthsOnAnL) {
  const Polyline l = ell();
  EXPECT_EQ(l.getDomain(), krLinear::Range1d(0, 3));
  EXPECT_EQ(l.eval(-5), Point(0, 0, 0));  // clamped at both ends, exactly
  EXPECT_EQ(l.eval(7), Point(2, 1, 0));
  EXPECT_EQ(l.eval(0.25), Point(0.5, 0, 0));
  EXPECT_EQ(l.eval(2), Point(2, 0.5, 0));
  EXPECT_EQ(l.findSpan(3), 1);  // the last parameter: n - 2
  EXPECT_EQ(l.findSpan(0.5), 0);
  EXPECT_EQ(l.findSpan(1), 1);
  int span;
  double w0, w1;
  l.getInterpolants(5, span, w0, w1);  // extrapolates past the end
  EXPECT_EQ(span, 1);
  EXPECT_DOUBLE_EQ(w1, 2.0);
  EXPECT_DOUBLE_EQ(w0, -1.0);
  EXPECT_DOUBLE_EQ(l.getLength(), 3.0);
  EXPECT_DOUBLE_EQ(l.getLength(0, 1), 2.0);
  EXPECT_EQ(l.getLength(1, 1), 0.0);
  EXPECT_DOUBLE_EQ(l.getLength(0.5, 2.0), 1.0 + 0.5);
  EXPECT_EQ(l.getLength(2.0, 0.5), 0.0);
  EXPECT_FALSE(l.getClosed());
  EXPECT_EQ(l.getBoundingBox(), krLinear::Range3d(0, 0, 0, 2, 1, 0));

  // Empty and single-vertex polylines read nothing past their arrays.
  const Polyline empty;
  EXPECT_TRUE(empty.getDomain().isEmpty());
  EXPECT_EQ(empty.eval(1), Point());
  EXPECT_TRUE(empty.getBoundingBox().isEmpty());
  EXPECT_EQ(empty.getLength(0.0, 1.0), 0.0);
  const Point one[1] = {{1, 2, 3}};
  Polyline single;
  single.initializeUniform(1, one);
  EXPECT_EQ(single.findSpan(4), 0);
  single.getInterpolants(4, span, w0, w1);
  EXPECT_EQ(w0, 1.0);
}

TEST(PolylineTest, EvalAndPartialLengthsMatchDirectComputation) {
  std::mt19937 rng(81);
  std::printf("rngSeed = 81\n");
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<Point> pts(40);
  for (Point& p : pts) p = Point(u(rng), u(rng), u(rng));
  Polyline line;
  line.initializeArcLength(static_cast<int>(pts.size()), pts.data());
  EXPECT_EQ(line.getVertex(0).parameter, 0.0);
  EXPECT_NEAR(line.getDomain().upper(), line.getLength(), 1e-12);
  const double end = line.getDomain().upper();
  for (int k = 0; k < 200; ++k) {
    const double t = (u(rng) + 1.0) / 2.0 * end;
    // eval against a linear scan for the span.
    int i = 0;
    while (line.getVertex(i + 1).parameter <= t) ++i;
    const auto& a = line.getVertex(i);
    const auto& b = line.getVertex(i + 1);
    const double s = (t - a.parameter) / (b.parameter - a.parameter);
    const Point direct = a.position + (b.position - a.position) * s;
    EXPECT_LT(krLinear::distance(line.eval(t), direct), 1e-12);
    // getLength(a, b) against summing a finely sampled eval (the samples include the vertices
    // inside [lo, hi], so that no corner is cut).
    const double lo = std::min(t, end - t), hi = std::max(t, end - t);
    std::vector<double> at;
    const int steps = 400;
    for (int j = 0; j <= steps; ++j) at.push_back(lo + (hi - lo) * j / steps);
    for (int j = 0; j < line.getNumVertices(); ++j)
      if (line.getVertex(j).parameter > lo && line.getVertex(j).parameter < hi)
        at.push_back(line.getVertex(j).parameter);
    std::sort(at.begin(), at.end());
    double sampled = 0.0;
    for (std::size_t j = 0; j + 1 < at.size(); ++j)
      sampled += krLinear::distance(line.eval(at[j]), line.eval(at[j + 1]));
    EXPECT_NEAR(line.getLength(lo, hi), sampled, 1e-9);
  }
}

TEST(PolylineTest, AppendingAndTurningOrderIn2d) {
  Polyline2d square;
  for (Point2 p : {Point2(0, 0), Point2(1, 0), Point2(1, 1), Point2(0, 1)}) square.appendVertex(p);
  square.appendVertex(Point2(1, 1));  // equals vertex 2: refused
  EXPECT_EQ(square.getNumVertices(), 4);
  EXPECT_EQ(square.getOrder(), Polyline2d::eUnknownOrder);  // not refreshed by the readers
  EXPECT_FALSE(square.getClosed());
  EXPECT_EQ(square.getOrder(), Polyline2d::eCounterClockwise);
  square.appendVertex(Point2(0, 0));  // equals vertex 0, deliberately not compared: closes it
  EXPECT_EQ(square.getLastVertex().parameter, 4.0);
  EXPECT_TRUE(square.getClosed());
  EXPECT_TRUE(square.isCounterClockwise());
  EXPECT_TRUE(square.isConvex());

  // Clockwise is convex only when closed; an L with a right and a left turn is mixed.
  Polyline2d cw;
  for (Point2 p : {Point2(0, 0), Point2(0, 1), Point2(1, 1), Point2(1, 0)}) cw.appendVertex(p);
  cw.getBoundingBox();
  EXPECT_TRUE(cw.isClockwise());
  EXPECT_FALSE(cw.isConvex());
  cw.appendVertex(Point2(0, 0));
  cw.getClosed();
  EXPECT_TRUE(cw.isConvex());
  Polyline2d mixed;
  for (Point2 p : {Point2(0, 0), Point2(2, 0), Point2(2, 1), Point2(3, 1)}) mixed.appendVertex(p);
  mixed.getClosed();
  EXPECT_EQ(mixed.getOrder(), Polyline2d::eMixed);
  mixed.makeUniform();
  EXPECT_EQ(mixed.getVertex(3).parameter, 3.0);
  Polyline2d copy(mixed);
  EXPECT_EQ(copy.getOrder(), Polyline2d::eMixed);
  copy.swap(square);
  EXPECT_EQ(copy.getNumVertices(), 5);
}

TEST(PolylineTest, LineStripOffsetsFollowTheLengths) {
  krGeom::LineStrips a;
  a.lengths.resize(3);
  a.lengths[0] = 3;
  a.lengths[1] = 2;
  a.lengths[2] = 4;
  a.vertices.resize(9);
  a.computeOffsets();
  ASSERT_EQ(a.offsets.size(), 3);
  EXPECT_EQ(a.offsets[1], 3);
  EXPECT_EQ(a.offsets[2], 5);
  EXPECT_EQ(a.getSizeInBytes(), ((9 + 6) * 3 + 3 + 3) * 4);
  krGeom::LineStrips b = a;
  b.add(a);  // offsets copied unchanged until recomputed
  EXPECT_EQ(b.offsets[4], 3);
  b.computeOffsets();
  EXPECT_EQ(b.offsets[4], 12);
  krGeom::LineStrips moved(std::move(b));
  EXPECT_EQ(moved.vertices.size(), 18);
  EXPECT_EQ(b.vertices.size(), 0);
}

}  // namespace
