#include <geom/spatial/bounding_box.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>

namespace krGeom {
void PrintTo(const BoundingBox& b, std::ostream* os) {
  const krLinear::PointFlt lo = b.minPt(), hi = b.maxPt();
  *os << "[" << lo[0] << " " << lo[1] << " " << lo[2] << " .. " << hi[0] << " " << hi[1] << " "
      << hi[2] << "]";
}
}  // namespace krGeom

namespace {

using krGeom::BoundingBox;
using krLinear::PointFlt;
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

BoundingBox box(float x0, float y0, float z0, float x1, float y1, float z1) {
  const float lo[3] = {x0, y0, z0}, hi[3] = {x1, y1, z1};
  return BoundingBox(lo, hi);
}

const BoundingBox unit = box(0, 0, 0, 1, 1, 1);

TEST(BoundingBox, DefaultIsTheOriginAndTheInvalidBoxAbsorbsExtension) {
  BoundingBox b;
  EXPECT_TRUE(b.isValid());
  EXPECT_EQ(b, box(0, 0, 0, 0, 0, 0));
  b.setInvalid();
  EXPECT_FALSE(b.isValid());
  b.extend(PointFlt(1.f, 2.f, 3.f));
  EXPECT_EQ(b, box(1, 2, 3, 1, 2, 3));

  BoundingBox empty, u = unit;
  empty.setInvalid();
  u.extend(empty);
  EXPECT_EQ(u, unit);
  empty.extend(unit);
  EXPECT_EQ(empty, unit);

  EXPECT_FALSE(box(0, 0, 0, 1, nan, 1).isValid());
  EXPECT_TRUE(box(0, 0, 1, 1, 1, 1).isValid());  // flat
}

TEST(BoundingBox, CornerNumberingDiffersFromVertexOrder) {
  const BoundingBox b = box(1, 2, 3, 4, 5, 6);
  // getPoint: bit 0 -> max x, bit 1 -> max y, bit 2 -> max z.
  const float corners[8][3] = {{1, 2, 3}, {4, 2, 3}, {1, 5, 3}, {4, 5, 3},
                               {1, 2, 6}, {4, 2, 6}, {1, 5, 6}, {4, 5, 6}};
  // getVertices: the min-z face walked around, then the max-z face.
  const double vertices[8][3] = {{1, 2, 3}, {1, 5, 3}, {4, 5, 3}, {4, 2, 3},
                                 {1, 2, 6}, {1, 5, 6}, {4, 5, 6}, {4, 2, 6}};
  const kr::vector<krLinear::Point> v = b.getVertices();
  ASSERT_EQ(v.size(), 8u);
  for (int i = 0; i < 8; ++i) {
    PointFlt p;
    b.getPoint(i, p);
    for (int a = 0; a < 3; ++a) {
      EXPECT_EQ(p[a], corners[i][a]) << "corner " << i;
      EXPECT_EQ(v[i][a], vertices[i][a]) << "vertex " << i;
    }
  }
}

TEST(BoundingBox, ContainsIsStrictAndIntersectsIsClosed) {
  const BoundingBox inner = box(0.25f, 0.25f, 0.25f, 0.75f, 0.75f, 0.75f);
  EXPECT_TRUE(unit.contains(inner));
  EXPECT_FALSE(inner.contains(unit));
  EXPECT_FALSE(unit.contains(unit));
  EXPECT_FALSE(unit.contains(box(0.25f, 0.25f, 0.f, 0.75f, 0.75f, 0.5f)));  // shares min-z face
  EXPECT_FALSE(unit.contains(box(0.25f, 0.25f, 0.5f, 0.75f, 0.75f, 1.f)));  // shares max-z face

  // Touching at a face, an edge or a corner intersects.
  for (const BoundingBox& t :
       {box(1, 0, 0, 2, 1, 1), box(0, 1, 1, 1, 2, 2), box(-1, -1, -1, 0, 0, 0)}) {
    EXPECT_TRUE(unit.intersects(t) && t.intersects(unit));
  }
  // Separated along exactly one axis, on either side; intersects2D ignores z.
  for (int a = 0; a < 3; ++a) {
    for (float shift : {1.5f, -1.5f}) {
      float lo[3] = {0, 0, 0}, hi[3] = {1, 1, 1};
      lo[a] += shift;
      hi[a] += shift;
      const BoundingBox t(lo, hi);
      EXPECT_FALSE(unit.intersects(t) || t.intersects(unit)) << "axis " << a << " by " << shift;
      EXPECT_EQ(unit.intersects2D(t), a == 2) << "axis " << a << " by " << shift;
    }
  }
}

TEST(BoundingBox, GrowShrinkAndClip) {
  const float p[3] = {1.f, 2.f, 3.f};
  EXPECT_EQ(BoundingBox(p, 0.5f), box(0.5f, 1.5f, 2.5f, 1.5f, 2.5f, 3.5f));

  BoundingBox b = unit;
  b.extend(2.0f);
  EXPECT_EQ(b, box(-1, -1, -1, 2, 2, 2));
  b = unit;
  b.extendFractionally();
  const float r = static_cast<float>(0.01 * std::sqrt(3.0f));
  EXPECT_EQ(b, box(-r, -r, -r, 1 + r, 1 + r, 1 + r));
  b = box(0, 0, 0, 4, 2, 0);
  b.extendToCube();
  EXPECT_EQ(b, box(0, -1, -2, 4, 3, 2));

  b = unit;
  b.scale(2.f);
  EXPECT_EQ(b, box(-0.5f, -0.5f, -0.5f, 1.5f, 1.5f, 1.5f));
  b = unit;
  b.scale(-1.f);
  EXPECT_EQ(b, box(1, 1, 1, 0, 0, 0));  // inside out, not corrected

  b = unit;
  b.clipTo(box(0.5f, -1, 0.25f, 2, 0.5f, 0.75f));
  EXPECT_EQ(b, box(0.5f, 0, 0.25f, 1, 0.5f, 0.75f));
  b = unit;
  b.clipTo(box(2, 0, 0, 3, 1, 1));
  EXPECT_EQ(b, box(2, 0, 0, 1, 1, 1));
  EXPECT_FALSE(b.isValid());
}

TEST(BoundingBox, TransformInFloatAndInDouble) {
  // 45 degrees about z. The extremes come from corners 2 (min x), 1 (max x) and 3 (max y), so
  // transforming only the min and max corners would fail.
  const float c = static_cast<float>(std::sqrt(0.5));
  krLinear::AffineMatrixFlt rot;
  rot(0, 0) = c, rot(0, 1) = c, rot(1, 0) = -c, rot(1, 1) = c;
  BoundingBox b = box(0, 0, 3, 1, 1, 8);
  b.transform(rot);
  EXPECT_EQ(b, box(-c, 0, 3, c, 2 * c, 8));

  // The double form multiplies in double and rounds once: x * (1 + 1e-9) - 1 survives at x = 1,
  // where a matrix rounded to float would give 0.
  krLinear::AffineMatrix m = krLinear::AffineMatrix::identity();
  m(0, 0) = 1.0 + 1e-9, m(1, 1) = -1.0, m(3, 0) = -1.0, m(3, 2) = 0.5;
  b = unit;
  b.transform(m);
  const float tiny = static_cast<float>((1.0 + 1e-9) - 1.0);
  ASSERT_GT(tiny, 0.f);
  EXPECT_EQ(b, box(-1, -1, 0.5f, tiny, 0, 1.5f));
}

TEST(BoundingBox, DistanceIsComputedInFloat) {
  EXPECT_EQ(unit.distance2(PointFlt(3.f, 0.f, 0.f)), 4.0);
  EXPECT_EQ(unit.distance2(PointFlt(0.5f, 0.5f, 1.f)), 0.0);
  EXPECT_EQ(unit.distance2(PointFlt(-1.f, 3.f, 0.5f)), 5.0);
  EXPECT_EQ(unit.distance2(PointFlt(nan, 3.f, 0.5f)), 4.0);
  EXPECT_EQ(BoundingBox().distance(PointFlt(3.f, 4.f, 0.f)), 5.0);

  // The square is rounded to float before it is widened.
  const float d = 1.1f - 1.0f;
  ASSERT_NE(static_cast<double>(d * d), static_cast<double>(d) * d);
  EXPECT_EQ(unit.distance2(PointFlt(1.1f, 0.5f, 0.5f)), static_cast<double>(d * d));
}

TEST(BoundingBox, RangeConversionAndEquivalence) {
  BoundingBox b;
  b.setInvalid();
  EXPECT_TRUE(b.asRange3d().isUnbounded());
  b = box(-1, 0.1f, 2, 3, 4, 5);
  const krLinear::Range3d r = b.asRange3d();
  EXPECT_EQ(r.lower(), krLinear::Point(-1, 0.1f, 2));
  EXPECT_EQ(r.upper(), krLinear::Point(3, 4, 5));
  BoundingBox back;
  back = r;
  EXPECT_EQ(back, b);

  EXPECT_FALSE(krGeom::equivalent(b, b, 0.f));
  EXPECT_TRUE(krGeom::equivalent(b, b, 1e-6f));
  EXPECT_FALSE(krGeom::equivalent(b, box(-1, 0.1f, 2, 3, 4, 5.5f), 0.5f));  // strictly less
  EXPECT_TRUE(krGeom::equivalent(b, box(-1, 0.1f, 2, 3, 4, 5.5f), 0.51f));
  EXPECT_FALSE(krGeom::equivalent(box(nan, 0.1f, 2, 3, 4, 5), b, 1e30f));
}

}  // namespace
