#include <kr/linear.h>

#include "near.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace krLinear;
using linear_test::near;

// A general affine transform: rotation, non-uniform scale with a mirror, translation.
AffineMatrix general() {
  return AffineMatrix::rotation(Vector(1, 2, 3), 0.7) * AffineMatrix::scaling(2.0, -3.0, 0.5) *
         AffineMatrix::translation(Vector(4, -5, 6));
}

// A perspective projection: 90 degrees, aspect 1, near 1, far 10 (eye looks down −z).
ProjMatrix perspective() {
  ProjMatrix m;
  m.setZero();
  m(0, 0) = 1.0;
  m(1, 1) = 1.0;
  m(2, 2) = 11.0 / -9.0;
  m(2, 3) = -1.0;
  m(3, 2) = 20.0 / -9.0;
  return m;
}

TEST(AffineMatrix, ProductsApplyTheLeftOperandFirst) {
  const AffineMatrix move = AffineMatrix::translation(Vector(1, 0, 0));
  const AffineMatrix grow = AffineMatrix::scaling(2, 2, 2);
  EXPECT_EQ(Point::origin() * (move * grow), Point(2, 0, 0));
  EXPECT_EQ(Point::origin() * (grow * move), Point(1, 0, 0));
  AffineMatrix m = move;
  m *= grow;
  EXPECT_EQ(m, move * grow);
  // Vectors ignore the translation row.
  EXPECT_EQ(Vector(1, 1, 1) * (move * grow), Vector(2, 2, 2));
  // A quarter turn about z takes x to y (right-handed).
  EXPECT_TRUE(
      near(Vector::xAxis() * AffineMatrix::rotation(Vector::zAxis(), pi / 2), Vector::yAxis()));
  EXPECT_EQ(AffineMatrix(1.0), AffineMatrix::identity());
  EXPECT_EQ(AffineMatrix(), AffineMatrix::identity());
}

TEST(AffineMatrix, SetFrameAndTranslate) {
  AffineMatrix m;
  m.setFrame(Point(1, 2, 3), Vector(0, 1, 0), Vector(0, 0, 1), Vector(1, 0, 0));
  EXPECT_EQ(Point::origin() * m, Point(1, 2, 3));
  EXPECT_EQ(Point(1, 0, 0) * m, Point(1, 3, 3));
  EXPECT_EQ(Point(0, 1, 0) * m, Point(1, 2, 4));
  EXPECT_EQ(Point(0, 0, 1) * m, Point(2, 2, 3));
  // translate appends a move to whatever the matrix already does.
  AffineMatrix s = AffineMatrix::scaling(2, 2, 2);
  s.translate(Vector(0, 0, 5));
  EXPECT_EQ(Point(1, 1, 1) * s, Point(2, 2, 7));
}

TEST(AffineMatrix, Det3x3) {
  EXPECT_EQ(AffineMatrix::scaling(2, 3, 4).det3x3(), 24.0);
  EXPECT_EQ(AffineMatrix::scaling(-1, 1, 1).det3x3(), -1.0);
  EXPECT_NEAR(AffineMatrix::rotation(Vector(1, 1, 0), 1.0).det3x3(), 1.0, 1e-15);
  AffineMatrix m;
  m.setRow(0, {1, 2, 3});
  m.setRow(1, {0, 1, 4});
  m.setRow(2, {5, 6, 0});
  EXPECT_EQ(det3x3(m), 1.0);
}

TEST(AffineMatrix, InverseOfAKnownMatrix) {
  AffineMatrix m;
  m.setRow(0, {1, 2, 3});
  m.setRow(1, {0, 1, 4});
  m.setRow(2, {5, 6, 0});
  m.setRow(3, {1, 1, 1});
  AffineMatrix expected;
  expected.setRow(0, {-24, 18, 5});
  expected.setRow(1, {20, -15, -4});
  expected.setRow(2, {-5, 4, 1});
  expected.setRow(3, {9, -7, -2});  // −(1, 1, 1) times the inverse linear part
  EXPECT_TRUE(near(inverse(m), expected));
  EXPECT_TRUE(near(m * inverse(m), AffineMatrix::identity()));
}

TEST(AffineMatrix, InverseOfAGeneralTransformBothWays) {
  const AffineMatrix a = general();
  AffineMatrix inv = a;
  ASSERT_TRUE(inv.invert());
  EXPECT_TRUE(near(a * inv, AffineMatrix::identity()));
  EXPECT_TRUE(near(inv * a, AffineMatrix::identity()));
  const Point p(0.3, -7.0, 2.5);
  EXPECT_TRUE(near(p * a * inv, p));
}

TEST(AffineMatrix, SingularityIsJudgedIndependentlyOfScale) {
  // A flattening transform cannot be inverted; invert() leaves it unchanged.
  AffineMatrix flat = AffineMatrix::scaling(1, 1, 0) * AffineMatrix::translation(Vector(1, 2, 3));
  const AffineMatrix before = flat;
  EXPECT_FALSE(flat.invert());
  EXPECT_EQ(flat, before);
  EXPECT_TRUE(std::isnan(flat.inverse()(0, 0)));
  EXPECT_TRUE(std::isnan(flat.inverse()(3, 2)));
  // A rotated flattening is singular too, although rounding leaves a tiny determinant.
  AffineMatrix rotatedFlat = AffineMatrix::rotation(Vector(1, 2, 3), 0.4) *
                             AffineMatrix::scaling(3, 3, 0) *
                             AffineMatrix::rotation(Vector(-2, 1, 5), 1.1);
  EXPECT_FALSE(rotatedFlat.invert());
  // A tiny but regular transform is invertible.
  AffineMatrix tiny = AffineMatrix::scaling(1e-8, 1e-8, 1e-8);
  ASSERT_TRUE(tiny.invert());
  EXPECT_TRUE(near(tiny, AffineMatrix::scaling(1e8, 1e8, 1e8), 1e-4));
}

TEST(AffineMatrix, NormalMatrixKeepsNormalsPerpendicular) {
  // Stretching x by 2 turns the plane x + y = 0 into 2y + x = 0: its normal becomes (1, 2, 0).
  const AffineMatrix stretch = AffineMatrix::scaling(2, 1, 1);
  AffineMatrix n;
  ASSERT_TRUE(stretch.normalMatrix(n));
  EXPECT_TRUE(near(n, AffineMatrix::scaling(0.5, 1, 1)));
  const Normal transformed = Vector(1, 1, 0) * n;
  EXPECT_TRUE(near(transformed, Normal(1, 2, 0).vector()));

  // On a general transform, transformed tangents stay perpendicular to the transformed normal.
  const AffineMatrix a = general();
  ASSERT_TRUE(a.normalMatrix(n));
  EXPECT_EQ(n.row(3), Vector());
  const Normal normal(1, -2, 0.5);
  const Vector t1 = cross(normal, Vector::xAxis()), t2 = cross(normal, Vector::yAxis());
  const Vector nt = normal.vector() * n;
  EXPECT_NEAR(dot(nt, t1 * a), 0.0, 1e-12);
  EXPECT_NEAR(dot(nt, t2 * a), 0.0, 1e-12);

  // No normal matrix for a singular transform; the output is left alone.
  AffineMatrix untouched = AffineMatrix::scaling(7, 7, 7);
  EXPECT_FALSE(AffineMatrix::scaling(1, 0, 1).normalMatrix(untouched));
  EXPECT_EQ(untouched, AffineMatrix::scaling(7, 7, 7));
}

TEST(AffineMatrix, EquivalentComparesEveryElement) {
  AffineMatrix a = general(), b = a;
  EXPECT_TRUE(equivalent(a, b, 0.0));
  b(3, 2) += 0.5e-6;
  EXPECT_TRUE(equivalent(a, b));
  b(3, 2) += 1e-6;
  EXPECT_FALSE(equivalent(a, b));
}

TEST(ProjMatrix, ConversionFromAffineAndProducts) {
  const AffineMatrix a = general();
  const ProjMatrix pa = a;
  EXPECT_EQ(pa(0, 3), 0.0);
  EXPECT_EQ(pa(3, 3), 1.0);
  EXPECT_EQ(pa(3, 1), a(3, 1));
  const Point p(1, 2, 3);
  const HPoint h = p * pa;
  EXPECT_EQ(h.w(), 1.0);
  EXPECT_TRUE(near(h.toPoint(), p * a));
  const AffineMatrix b = AffineMatrix::rotation(Vector(0, 1, 0), 0.3);
  EXPECT_TRUE(near(ProjMatrix(a) * ProjMatrix(b), ProjMatrix(a * b)));
}

TEST(ProjMatrix, InverseOfPerspectiveAndGeneralMatrices) {
  const ProjMatrix p = perspective();
  EXPECT_TRUE(near(p * inverse(p), ProjMatrix::identity()));
  ProjMatrix q = ProjMatrix(general()) * p;
  q(0, 3) = 0.25;  // make it fully projective
  ProjMatrix inv = q;
  ASSERT_TRUE(inv.invert());
  EXPECT_TRUE(near(q * inv, ProjMatrix::identity()));
  EXPECT_TRUE(near(inv * q, ProjMatrix::identity()));
}

TEST(ProjMatrix, DeterminantAndSingularMatrices) {
  // A zero in the first pivot forces a row swap, which flips the determinant's sign.
  ProjMatrix m;
  m.setZero();
  m(0, 1) = 1;
  m(1, 0) = 1;
  m(2, 2) = 2;
  m(3, 3) = 3;
  EXPECT_EQ(m.determinant(), -6.0);
  EXPECT_TRUE(near(m * m.inverse(), ProjMatrix::identity()));

  ProjMatrix s = perspective();
  for (int c = 0; c < 4; ++c) s(3, c) = 2.0 * s(1, c) - s(0, c);  // dependent rows
  const ProjMatrix before = s;
  EXPECT_FALSE(s.invert());
  EXPECT_EQ(s, before);
  EXPECT_TRUE(std::isnan(s.inverse()(2, 2)));
}

TEST(HPoint, InsideViewWithAndWithoutDepth) {
  const ProjMatrix p = perspective();
  EXPECT_TRUE((Point(0, 0, -5) * p).insideView(true));
  EXPECT_TRUE((Point(4, -4, -5) * p).insideView(true));
  EXPECT_FALSE((Point(6, 0, -5) * p).insideView(false));  // beyond the right plane
  // Beyond the far plane or before the near plane: outside only when depth is tested.
  EXPECT_FALSE((Point(0, 0, -20) * p).insideView(true));
  EXPECT_TRUE((Point(0, 0, -20) * p).insideView(false));
  EXPECT_FALSE((Point(0, 0, -0.5) * p).insideView(true));
  EXPECT_TRUE((Point(0, 0, -0.5) * p).insideView(false));
  // Behind the eye the weight is negative: never inside.
  EXPECT_FALSE((Point(0, 0, 5) * p).insideView(false));
  // The near and far planes map to depths −1 and 1 after division.
  EXPECT_TRUE(near((Point(0, 0, -1) * p).toPoint(), Point(0, 0, -1)));
  EXPECT_TRUE(near((Point(1, 0, -10) * p).toPoint(), Point(0.1, 0, 1)));
}

TEST(AffineMatrix2, InverseAndProducts) {
  AffineMatrix2 m;
  m(0, 0) = 2;
  m(0, 1) = 1;
  m(1, 0) = 1;
  m(1, 1) = 1;
  m(2, 0) = 3;
  m(2, 1) = -1;
  EXPECT_EQ(Point2(1, 1) * m, Point2(6, 1));
  EXPECT_EQ(Vector2(1, 1) * m, Vector2(3, 2));
  EXPECT_TRUE(equivalent(m * m.inverse(), AffineMatrix2::identity(), 1e-15));
  EXPECT_EQ(Point2(6, 1) * m.inverse(), Point2(1, 1));
  AffineMatrix2 flat(0.0);
  EXPECT_FALSE(flat.invert());
}

TEST(AffineMatrixFlt, RoundsFromDoubleAndTransformsInFloat) {
  AffineMatrix d = AffineMatrix::scaling(0.1, 2, 2);
  d.translate(Vector(1, 0, 0));
  const AffineMatrixFlt f(d);
  EXPECT_EQ(f(0, 0), 0.1f);
  EXPECT_EQ(PointFlt(10.0f, 1.0f, 1.0f) * f, PointFlt(10.0f * 0.1f + 1.0f, 2.0f, 2.0f));
  EXPECT_EQ(VectorFlt(10.0f, 1.0f, 1.0f) * f, VectorFlt(10.0f * 0.1f, 2.0f, 2.0f));
  EXPECT_EQ(static_cast<AffineMatrix>(f)(0, 0), static_cast<double>(0.1f));
  EXPECT_EQ(AffineMatrixFlt::identity(), AffineMatrixFlt(AffineMatrix::identity()));
}

}  // namespace
