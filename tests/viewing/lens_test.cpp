// AngleAspect, EyeSpaceFrustum and Viewport: conversions checked against each other.
#include <geom/geom.h>

#include "capture.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using krGeom::AngleAspect;
using krGeom::EyeSpaceFrustum;
using krGeom::Viewport;
using krLinear::ProjMatrix;

void expectIdentity(const ProjMatrix& m, double tol = 1e-12) {
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) EXPECT_NEAR(m(r, c), r == c ? 1.0 : 0.0, tol) << r << "," << c;
}

EyeSpaceFrustum frame(double l, double r, double b, double t, double n, double f, bool ortho) {
  EyeSpaceFrustum e;
  e.setFrame({l, b}, {r, t});
  e.setDepthRange(n, f, false);
  e.setOrthographic(ortho);
  return e;
}

TEST(LensTest, DefaultLensGivesTheSymmetricFrustumAndMatrixReadersInvertIt) {
  const AngleAspect lens;
  EXPECT_DOUBLE_EQ(lens.getAngleOfViewRad(), krLinear::toRadians(55.0));
  EyeSpaceFrustum f;
  lens.getEyeSpaceFrustum(f);
  EXPECT_NEAR(f.getTop(), 0.5206, 1e-4);
  EXPECT_DOUBLE_EQ(f.getRight(), f.getTop());
  EXPECT_DOUBLE_EQ(f.getLeft(), -f.getTop());
  EXPECT_EQ(f.getNearDist(), 1.0);
  EXPECT_EQ(f.getFarDist(), 100.0);

  AngleAspect wide;
  wide.setAngleOfViewRad(1.2);
  wide.setAspectRatio(1.75);
  ProjMatrix m;
  wide.getMatrix(m, false);
  EXPECT_NEAR(krGeom::getVerticalAngleRadians(m), 1.2, 1e-12);
  EXPECT_NEAR(krGeom::getAspectRatio(m), 1.75, 1e-12);
  // The lens's frustum has the same matrix, finite and infinite.
  EyeSpaceFrustum wf;
  wide.getEyeSpaceFrustum(wf);
  for (bool infinite : {false, true}) {
    ProjMatrix a, b;
    wide.getMatrix(a, infinite);
    wf.getMatrix(b, infinite);
    EXPECT_TRUE(krLinear::equivalent(a, b, 1e-12));
  }
  wide.getMatrix(m, true);
  const double e = static_cast<double>(krLinear::epsilonTolFlt);
  EXPECT_EQ(m(2, 2), e - 1.0);
  EXPECT_EQ(m(3, 2), (e - 2.0) * 1.0);
  EXPECT_NEAR(wide.getHeightAtDepth(3.0), 2.0 * std::tan(0.6) * 3.0, 1e-12);
}

TEST(LensTest, EqualityUsesTheAngleAndLengthTolerancesStrictly) {
  const double angleTol = krLinear::toRadians(krLinear::degreeTol);
  AngleAspect a, b;
  b.setAngleOfViewRad(a.getAngleOfViewRad() + angleTol * 0.5);
  EXPECT_TRUE(a == b);
  b.setAngleOfViewRad(a.getAngleOfViewRad() + angleTol * 1.5);
  EXPECT_FALSE(a == b);
  b = a;
  b.setDepthRange(1.0 + krLinear::epsilonTol * 2, 100.0);
  EXPECT_FALSE(a == b);

  EyeSpaceFrustum f, g;
  g.setDepthRange(1.0, 100.0 + krLinear::epsilonTol / 2, false);
  EXPECT_TRUE(f == g);
  g.setOrthographic(true);
  EXPECT_FALSE(f == g);
  Viewport v, w;
  w.setOrigin(krLinear::Tuple2(0.0, krLinear::epsilonTol * 2));
  EXPECT_FALSE(v == w);
}

TEST(LensTest, InverseMatricesInvertTheFiniteProjection) {
  for (bool ortho : {false, true}) {
    const EyeSpaceFrustum f = frame(-0.7, 1.3, -0.4, 0.9, 0.5, 40.0, ortho);
    ProjMatrix m, inv;
    f.getMatrix(m, false);
    f.getInverseMatrix(inv);
    SCOPED_TRACE(ortho);
    expectIdentity(m * inv, 1e-9);
  }
  // An orthographic matrix gives its box back.
  const EyeSpaceFrustum box = frame(-3.0, 5.0, -1.0, 2.0, 0.25, 9.0, true);
  ProjMatrix m;
  box.getMatrix(m, true);  // the flag is ignored for orthographic frustums
  EyeSpaceFrustum back;
  back.setFromOrthographicProjection(m);
  EXPECT_TRUE(back == box);
}

TEST(LensTest, ConversionsKeepTheViewAndMakeTheFrameSymmetric) {
  // Perspective -> orthographic -> perspective at one depth restores a symmetric frustum.
  const EyeSpaceFrustum persp = frame(-0.8, 0.8, -0.5, 0.5, 2.0, 50.0, false);
  EyeSpaceFrustum f = persp;
  f.setOrthographic(true, 10.0);
  EXPECT_TRUE(f.getOrthographic());
  EXPECT_NEAR(f.getTop(), 0.5 * 10.0 / 2.0, 1e-12);  // same view height at depth 10
  EXPECT_NEAR(f.getHeightAtDepth(123.0), persp.getHeightAtDepth(10.0), 1e-12);
  f.setOrthographic(true, 99.0);  // no change of kind: nothing happens
  EXPECT_NEAR(f.getTop(), 2.5, 1e-12);
  f.setOrthographic(false, 10.0);
  EXPECT_TRUE(f == persp);

  // keepAngle on an off-centre frustum keeps angle and aspect but centres the frame.
  EyeSpaceFrustum off = frame(-0.2, 1.0, -0.1, 0.5, 1.0, 10.0, false);
  AngleAspect before, after;
  off.getAngleAspect(before);
  off.setDepthRange(2.0, 30.0, true);
  off.getAngleAspect(after);
  EXPECT_NEAR(after.getAngleOfViewRad(), before.getAngleOfViewRad(), 1e-12);
  EXPECT_NEAR(after.getAspectRatio(), before.getAspectRatio(), 1e-12);
  EXPECT_DOUBLE_EQ(off.getLeft(), -off.getRight());
  EXPECT_DOUBLE_EQ(off.getBottom(), -off.getTop());
  EXPECT_EQ(off.getFarDist(), 30.0);
  // Without keepAngle (or orthographic) only near and far change.
  EyeSpaceFrustum plain = frame(-0.2, 1.0, -0.1, 0.5, 1.0, 10.0, true);
  plain.setDepthRange(2.0, 30.0, true);
  EXPECT_EQ(plain.getLeft(), -0.2);

  // The cross-section at a depth: centred, corners at parameters (0, 0) and (1, 1).
  krLinear::ParamPlane p;
  persp.getPlaneAtDepth(4.0, p);
  EXPECT_TRUE(krLinear::equivalent(p.eval(0, 0), {-1.6, -1.0, -4.0}, 1e-12));
  EXPECT_TRUE(krLinear::equivalent(p.eval(1, 1), {1.6, 1.0, -4.0}, 1e-12));
}

TEST(LensTest, ViewportTransformsMapTheNormalisedSquareOntoTheWindow) {
  Viewport vp;
  vp.setOrigin(10.0, 20.0);
  vp.setSize(krLinear::Tuple2(640.0, 480.0));
  krLinear::AffineMatrix fwd, inv;
  vp.getViewTransform(fwd);
  vp.getInverseViewTransform(inv);
  EXPECT_TRUE(krLinear::equivalent(krLinear::Point(-1, -1, -1) * fwd, {10, 20, 0}));
  EXPECT_TRUE(krLinear::equivalent(krLinear::Point(1, 1, 1) * fwd, {650, 500, 1}));
  expectIdentity(ProjMatrix(fwd) * ProjMatrix(inv));
  krLinear::AffineMatrix2 fwd2, inv2;
  vp.getViewTransform(fwd2);
  vp.getInverseViewTransform(inv2);
  const krLinear::Point2 w = krLinear::Point2(0.5, -0.25) * fwd2;
  EXPECT_DOUBLE_EQ(w.x(), 10 + 320 * 1.5);
  const krLinear::Point2 back = w * inv2;
  EXPECT_DOUBLE_EQ(back.x(), 0.5);
  EXPECT_DOUBLE_EQ(back.y(), -0.25);
  krLinear::Point2 c;
  vp.getCenter(c);
  EXPECT_EQ(c, krLinear::Point2(330, 260));

  // Depth terms are kept as they are: for a depth range not starting at 0 they do not invert.
  vp.setDepthRange(0.5, 1.0);
  vp.getViewTransform(fwd);
  vp.getInverseViewTransform(inv);
  EXPECT_EQ(inv(3, 2), -1.5);
  EXPECT_EQ(fwd(3, 2), 0.25 - 0.5);

  // The pick transform maps the region onto the square; a flat axis scales by 1.
  krLinear::AffineMatrix pick;
  vp.getPickTransform({{110.0, 20.0}, {150.0, 20.0}}, pick);
  const krLinear::Point regionMin = krLinear::Point(110.0 / 320 - 1 - 10.0 / 320, -1.0, 0.0) * pick;
  EXPECT_NEAR(regionMin.x(), -1.0, 1e-12);
  EXPECT_EQ(pick(1, 1), 480.0);
}

TEST(LensTest, DebugTextIsExact) {
  CapturedChannel out;
  AngleAspect lens;
  lens.setAngleOfViewRad(1.0);
  lens.debugPrint(out.channel, "main");
  lens.debugPrint(out.channel, nullptr);
  EXPECT_EQ(out.text,
            "main AngleAspect is\nmain lens is\n  aov 1.000\n  asp 1.000\n  nea 1.000\n"
            "  far 100.000\n"
            "unnamed AngleAspect is\n(null) lens is\n  aov 1.000\n  asp 1.000\n  nea 1.000\n"
            "  far 100.000\n");
  out.text.clear();
  frame(-1.5, 2.25, -0.125, 0.5, 0.1, 1000.0, false).debugPrint(out.channel, nullptr);
  EXPECT_EQ(out.text,
            "unnamed frustum is\n  top 0.500\n  bot -0.125\n  lef -1.500\n  rig 2.250\n"
            "  nea 0.100\n  far 1000.000\n");
  out.text.clear();
  Viewport vp;
  vp.setOrigin(1.0, 2.5);
  vp.setSize(800.0, 600.0);
  vp.debugPrint(out.channel, "vp");
  EXPECT_EQ(out.text,
            "vp Viewport is\n  origin 1.00 2.50\n  size   800.00 600.00\n"
            "  range  0.00 1.00\n");

  CapturedChannel off(false);
  lens.debugPrint(off.channel, "x");
  EyeSpaceFrustum().debugPrint(off.channel, "x");
  vp.debugPrint(off.channel, "x");
  EXPECT_EQ(off.text, "");
}

}  // namespace
