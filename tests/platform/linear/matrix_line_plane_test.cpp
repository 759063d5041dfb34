#include <kr/linear.h>

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace krLinear;

// Succeeds when every double of a and b (points, vectors, matrices: plain arrays of doubles
// behind data()) differs by at most tol.
template <class A, class B>
::testing::AssertionResult near(const A& a, const B& b, double tol = 1e-12) {
  for (std::size_t i = 0; i < sizeof(A) / sizeof(double); ++i)
    if (!(std::abs(a.data()[i] - b.data()[i]) <= tol))
      return ::testing::AssertionFailure() << i << ": " << a.data()[i] << " vs " << b.data()[i];
  return ::testing::AssertionSuccess();
}

// A general affine transform: rotation, non-uniform scale with a mirror, translation.
const AffineMatrix general = AffineMatrix::rotation(Vector(1, 2, 3), 0.7) *
                             AffineMatrix::scaling(2.0, -3.0, 0.5) *
                             AffineMatrix::translation(Vector(4, -5, 6));

// A perspective projection: 90 degrees, aspect 1, near 1, far 10 (eye looks down −z).
ProjMatrix perspective() {
  ProjMatrix m =
      AffineMatrix::scaling(1, 1, -11.0 / 9) * AffineMatrix::translation({0, 0, -20.0 / 9});
  m(2, 3) = -1.0;
  m(3, 3) = 0.0;
  return m;
}

TEST(AffineMatrix, ProductsApplyTheLeftOperandFirst) {
  const AffineMatrix move = AffineMatrix::translation(Vector(1, 0, 0));
  const AffineMatrix grow = AffineMatrix::scaling(2, 2, 2);
  EXPECT_EQ(Point::origin() * (move * grow), Point(2, 0, 0));
  EXPECT_EQ(Point::origin() * (grow * move), Point(1, 0, 0));
  EXPECT_EQ(Vector(1, 1, 1) * (move * grow), Vector(2, 2, 2));  // vectors ignore translation
  // A quarter turn about z takes x to y (right-handed).
  EXPECT_TRUE(
      near(Vector(1, 0, 0) * AffineMatrix::rotation(Vector(0, 0, 1), pi / 2), Vector(0, 1, 0)));
  AffineMatrix m;
  m.setFrame(Point(1, 2, 3), Vector(0, 1, 0), Vector(0, 0, 1), Vector(1, 0, 0));
  EXPECT_EQ(Point(1, 1, 1) * m, Point(2, 3, 4));
  EXPECT_EQ(m.det3x3(), 1.0);
  EXPECT_EQ(AffineMatrix::scaling(-1, 2, 3).det3x3(), -6.0);
}

TEST(AffineMatrix, InverseOfKnownAndGeneralMatrices) {
  AffineMatrix m, expected;
  m.setFrame(Point(1, 1, 1), Vector(1, 2, 3), Vector(0, 1, 4), Vector(5, 6, 0));
  // The inverse linear part, and −(1, 1, 1) times it as the translation.
  expected.setFrame(Point(9, -7, -2), Vector(-24, 18, 5), Vector(20, -15, -4), Vector(-5, 4, 1));
  EXPECT_TRUE(near(inverse(m), expected));
  AffineMatrix inv = general;
  ASSERT_TRUE(inv.invert());
  EXPECT_TRUE(near(general * inv, AffineMatrix::identity()));
}

TEST(AffineMatrix, SingularityIsJudgedIndependentlyOfScale) {
  // A flattening transform cannot be inverted: invert() leaves it, inverse() gives NaNs.
  AffineMatrix flat = AffineMatrix::scaling(1, 1, 0) * AffineMatrix::translation(Vector(1, 2, 3));
  const AffineMatrix before = flat;
  EXPECT_FALSE(flat.invert());
  EXPECT_EQ(flat, before);
  EXPECT_TRUE(std::isnan(flat.inverse()(3, 2)));
  // A rotated flattening is singular too, although rounding leaves a tiny determinant.
  AffineMatrix rotatedFlat = AffineMatrix::rotation(Vector(1, 2, 3), 0.4) *
                             AffineMatrix::scaling(3, 3, 0) *
                             AffineMatrix::rotation(Vector(-2, 1, 5), 1.1);
  EXPECT_FALSE(rotatedFlat.invert());
  AffineMatrix tiny = AffineMatrix::scaling(1e-8, 1e-8, 1e-8);  // tiny but regular
  ASSERT_TRUE(tiny.invert());
  EXPECT_TRUE(near(tiny, AffineMatrix::scaling(1e8, 1e8, 1e8), 1e-4));
}

TEST(AffineMatrix, NormalMatrixKeepsNormalsPerpendicular) {
  const AffineMatrix& a = general;
  AffineMatrix n;
  ASSERT_TRUE(a.normalMatrix(n));
  const Normal normal(1, -2, 0.5);
  const Vector nt = normal.vector() * n;
  EXPECT_NEAR(dot(nt, cross(normal, Vector::xAxis()) * a), 0.0, 1e-12);
  // No normal matrix for a singular transform; the output is left alone.
  EXPECT_FALSE(AffineMatrix::scaling(1, 0, 1).normalMatrix(n));
  EXPECT_EQ(nt, normal.vector() * n);
  // equivalent() compares every element, the translation included.
  AffineMatrix b = a;
  b(3, 2) += 1.5e-6;
  EXPECT_FALSE(equivalent(a, b));
  EXPECT_TRUE(equivalent(a, b, 2e-6));
}

TEST(ProjMatrix, ConversionProductsAndInverses) {
  const AffineMatrix a = general, b = AffineMatrix::rotation(Vector(0, 1, 0), 0.3);
  EXPECT_TRUE(near((Point(1, 2, 3) * ProjMatrix(a)).toPoint(), Point(1, 2, 3) * a));
  EXPECT_TRUE(near(ProjMatrix(a) * ProjMatrix(b), ProjMatrix(a * b)));
  ProjMatrix q = ProjMatrix(a) * perspective();
  q(0, 3) = 0.25;  // fully projective
  EXPECT_TRUE(near(q * inverse(q), ProjMatrix::identity()));
  // A zero in the first pivot forces a row swap, which flips the determinant's sign.
  ProjMatrix m;
  m.setZero();
  m(0, 1) = m(1, 0) = 1;
  m(2, 2) = 2;
  m(3, 3) = 3;
  EXPECT_EQ(m.determinant(), -6.0);
  ProjMatrix s = perspective();
  for (int c = 0; c < 4; ++c) s(3, c) = 2.0 * s(1, c) - s(0, c);  // dependent rows
  const ProjMatrix before = s;
  EXPECT_FALSE(s.invert());
  EXPECT_EQ(s, before);
  EXPECT_TRUE(std::isnan(s.inverse()(2, 2)));
}

TEST(HPoint, InsideViewWithAndWithoutDepth) {
  const ProjMatrix p = perspective();
  EXPECT_TRUE((Point(4, -4, -5) * p).insideView(true));
  EXPECT_FALSE((Point(6, 0, -5) * p).insideView(false));  // beyond the right plane
  EXPECT_FALSE((Point(0, 0, 0) * p).insideView(false));   // at the eye: w = 0
  // Beyond the far plane or before the near plane: outside only when depth is tested.
  for (double z : {-20.0, -0.5})
    EXPECT_TRUE(!(Point(0, 0, z) * p).insideView(true) && (Point(0, 0, z) * p).insideView(false));
  // The far plane maps to depth 1 after division.
  EXPECT_TRUE(near((Point(1, 0, -10) * p).toPoint(), Point(0.1, 0, 1)));
}

TEST(OtherMatrices, AffineMatrix2InverseAndFloatRounding) {
  AffineMatrix2 m;
  m(0, 0) = m(2, 0) = 2;
  m(0, 1) = m(1, 0) = m(1, 1) = 1;
  m(2, 1) = -1;
  EXPECT_EQ(Point2(1, 1) * m, Point2(5, 1));
  EXPECT_EQ(Point2(5, 1) * m.inverse(), Point2(1, 1));
  EXPECT_TRUE(std::isnan(AffineMatrix2(0.0).inverse()(2, 1)));
  const AffineMatrixFlt f(AffineMatrix::scaling(0.1, 2, 2) * AffineMatrix::translation({1, 0, 0}));
  EXPECT_EQ(PointFlt(10, 1, 1) * f, PointFlt(10 * 0.1f + 1, 2, 2));  // computed in float
  EXPECT_EQ(VectorFlt(10, 1, 1) * f, VectorFlt(10 * 0.1f, 2, 2));
}

TEST(LineAndPlane, ProjectionsAndIntersection) {
  const Line line(Point(1, 0, 0), Vector(2, 0, 0));  // direction normalised
  EXPECT_EQ(projectParam(Point(4, 5, 6), line), 3.0);
  EXPECT_EQ(distance(Point(4, 5, 6), line), std::sqrt(61.0));
  const ParamLine seg(Point(0, 0, 0), Point(2, 0, 0));
  EXPECT_EQ(projectParam(Point(3, 1, 0), seg), 1.5);
  EXPECT_EQ(seg.projectBounded(Point(3, 1, 0), 0.0, 1.0), Point(2, 0, 0));
  EXPECT_EQ(seg.projectBounded(Point(-9, 0, 0), 0.25, 2.0), Point(0.5, 0, 0));
  // A degenerate segment projects everything onto its single point.
  EXPECT_EQ(ParamLine(Point(1, 1, 1), Point(1, 1, 1)).projectBounded(Point(), 0, 1),
            Point(1, 1, 1));

  const Plane raised(Point(0, 0, 1), Vector(0, 0, 2));
  EXPECT_TRUE(near(project(Point(1, 0, 0), Plane(Point(), Vector(1, 1, 0))), Point(0.5, -0.5, 0)));
  EXPECT_EQ(Plane(Point(), Vector(0, 1, 0), Vector(1, 0, 0)).normal(), -Normal::zAxis());  // y × x
  // A line's crossing parameter is a distance along it.
  EXPECT_DOUBLE_EQ(projectParam(raised, Line(Point(0, 0, 4), Vector(1, 0, -1))), std::sqrt(18.0));

  // Planes x + y = 2 and z = 3 meet along na × nb, through the point nearest the origin.
  Line common;
  const Plane a(Point(2, 0, 0), Vector(1, 1, 0)), b(Point(0, 0, 3), Vector(0, 0, 1));
  ASSERT_TRUE(intersect(a, b, common));
  EXPECT_TRUE(near(common.direction(), Normal(1, -1, 0)));
  EXPECT_TRUE(near(common.point(), Point(1, 1, 3)));
  // Parallel planes (within the tolerance) do not meet and leave the result untouched.
  EXPECT_FALSE(intersect(b, Plane(Point(), Vector(1e-8, 0, -1)), common));
  EXPECT_TRUE(near(common.point(), Point(1, 1, 3)));
}

TEST(ParamPlane, TransformMovesTheNormalByTheNormalMatrix) {
  ParamPlane pp(Point(1, 0, 0), Vector(1, 1, 0), Vector(0, 0, 1));
  // Stretching x by 2 and moving: the normal stays perpendicular to the new parameter vectors,
  // and parameters keep naming the same points.
  const AffineMatrix m = AffineMatrix::scaling(2, 1, 1) * AffineMatrix::translation({0, 0, 3});
  const Point before = pp.eval(0.5, 0.25);
  pp.transform(m);
  EXPECT_TRUE(near(pp.normal(), Normal(1, -2, 0)));
  EXPECT_TRUE(near(pp.eval(0.5, 0.25), before * m));
  ParamPlane flat;  // a singular transform keeps the normal
  flat.transform(AffineMatrix::scaling(1, 1, 0));
  EXPECT_EQ(flat.normal(), Normal::zAxis());
}

}  // namespace
