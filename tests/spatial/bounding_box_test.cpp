#include <geom/spatial/bounding_box.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using krGeom::BoundingBox;
using krLinear::PointFlt;
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

BoundingBox box(float x0, float y0, float z0, float x1, float y1, float z1) {
  const float lo[3] = {x0, y0, z0}, hi[3] = {x1, y1, z1};
  return BoundingBox(lo, hi);
}

const BoundingBox unit = box(0, 0, 0, 1, 1, 1);

TEST(BoundingBox, CornerNumberingDiffersFromVertexOrder) {
  const BoundingBox b = box(1, 2, 3, 4, 5, 6);
  // getVertices walks the min-z face around, then the max-z face: these getPoint corners.
  const int vertexCorner[8] = {0, 2, 3, 1, 4, 6, 7, 5};
  const kr::vector<krLinear::Point> v = b.getVertices();
  ASSERT_EQ(v.size(), 8u);
  for (int i = 0; i < 8; ++i) {
    PointFlt p, q;
    b.getPoint(i, p);
    b.getPoint(vertexCorner[i], q);
    EXPECT_EQ(p, PointFlt(i & 1 ? 4.f : 1.f, i & 2 ? 5.f : 2.f, i & 4 ? 6.f : 3.f)) << i;
    EXPECT_EQ(v[i], krLinear::Point(q)) << i;
  }
}

TEST(BoundingBox, ContainsAndEquivalentAreStrictIntersectsIsClosed) {
  EXPECT_TRUE(unit.contains(box(0.25f, 0.25f, 0.25f, 0.75f, 0.75f, 0.75f)));
  EXPECT_FALSE(unit.contains(box(0.25f, 0.25f, 0.f, 0.75f, 0.75f, 0.5f)));  // shares a min face
  EXPECT_FALSE(unit.contains(box(0.25f, 0.25f, 0.5f, 0.75f, 0.75f, 1.f)));  // shares a max face
  EXPECT_TRUE(unit.intersects(box(1, 1, 1, 2, 2, 2)));                      // a shared corner

  // Separated along one axis, on either side; intersects2D ignores z.
  for (const BoundingBox& t :
       {box(1.5f, 0, 0, 2, 1, 1), box(-2, 0, 0, -.5f, 1, 1), box(0, 1.5f, 0, 1, 2, 1),
        box(0, -2, 0, 1, -.5f, 1), box(0, 0, 1.5f, 1, 1, 2), box(0, 0, -2, 1, 1, -.5f)}) {
    EXPECT_FALSE(unit.intersects(t) || t.intersects(unit)) << t.minPt().x() << t.minPt().y();
    EXPECT_EQ(unit.intersects2D(t), t.minPt().z() != 0) << t.minPt().x() << t.minPt().y();
  }

  const BoundingBox b = box(-1, 0.1f, 2, 3, 4, 5), far = box(-1, 0.1f, 2, 3, 4, 5.5f);
  EXPECT_FALSE(krGeom::equivalent(b, far, 0.5f)) << "differences must be strictly less";
  EXPECT_TRUE(krGeom::equivalent(b, far, 0.51f));
  EXPECT_FALSE(krGeom::equivalent(box(nan, 0.1f, 2, 3, 4, 5), b, 1e30f));
}

TEST(BoundingBox, DefaultInvalidGrowShrinkClipAndDistance) {
  BoundingBox b;
  EXPECT_EQ(b, box(0, 0, 0, 0, 0, 0)) << "the default box is the origin";
  b.setInvalid();
  EXPECT_TRUE(!b.isValid() && b.asRange3d().isUnbounded());
  b.extend(PointFlt(1.f, 2.f, 3.f));
  EXPECT_EQ(b, box(1, 2, 3, 1, 2, 3)) << "the invalid box absorbs extension";
  EXPECT_FALSE(box(0, 0, 0, 1, nan, 1).isValid());
  EXPECT_EQ(box(-1, 0.1f, 2, 3, 4, 5).asRange3d(), krLinear::Range3d(-1, 0.1f, 2, 3, 4, 5));

  b = unit;
  b.extend(2.0f);
  EXPECT_EQ(b, box(-1, -1, -1, 2, 2, 2));
  b.scale(-1.f);
  EXPECT_EQ(b, box(2, 2, 2, -1, -1, -1));  // inside out, not corrected
  b = box(0, 0, 0, 4, 2, 0);
  b.extendToCube();
  EXPECT_EQ(b, box(0, -1, -2, 4, 3, 2));
  b.clipTo(box(5, 0, -1, 6, 4, 1));
  EXPECT_EQ(b, box(5, 0, -1, 4, 3, 1));  // disjoint in x: left inverted

  // Distance is summed in float: the square is rounded before it is widened.
  EXPECT_EQ(unit.distance2(PointFlt(nan, -2.f, 0.5f)), 4.0) << "NaN adds nothing";
  const float d = 1.1f - 1.0f;
  EXPECT_EQ(unit.distance2(PointFlt(1.1f, 0.5f, 0.5f)), static_cast<double>(d * d));
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
  EXPECT_EQ(b, box(-1, -1, 0.5f, tiny, 0, 1.5f));
}

}  // namespace
