// Camera: hand-computed conventions, round-trip oracles on random cameras, depth fitting and the
// change signals.
#include <geom/geom.h>

#include "capture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <random>

namespace {

using krGeom::BoundingBox;
using krGeom::Camera;
using krLinear::Point;
using krLinear::Point2;

krGeom::Viewport viewport(double w, double h, double x = 0.0, double y = 0.0) {
  krGeom::Viewport vp;
  vp.setOrigin(x, y);
  vp.setSize(w, h);
  return vp;
}

// Looking down -z from the origin, 90 degrees vertically, a 100 x 100 window.
Camera simpleCamera() {
  Camera cam;
  cam.setWorldToEye(Point(0, 0, -1), Point(0, 0, 0), krLinear::Normal::yAxis());
  krGeom::AngleAspect lens;
  lens.setAngleOfViewRad(krLinear::pi / 2);
  cam.setFrustum(lens);
  cam.setViewport(viewport(100, 100));
  return cam;
}

BoundingBox box(const Point& lo, const Point& hi) {
  return BoundingBox(lo.data(), hi.data());
}

TEST(CameraTest, SimpleCameraPinsTheConventions) {
  Camera cam = simpleCamera();
  krLinear::AffineMatrix w2e;
  cam.getWorldToEye(w2e);
  EXPECT_TRUE(krLinear::equivalent(w2e, krLinear::AffineMatrix::identity(), 1e-15));
  Point win;
  ASSERT_TRUE(cam.project({0, 0, -10}, win));
  EXPECT_NEAR(win.x(), 50, 1e-9);
  EXPECT_NEAR(win.y(), 50, 1e-9);
  EXPECT_NEAR(win.z(), (810.0 / 990.0 + 1.0) / 2.0, 1e-12);  // NDC depth 81/99 at distance 10
  ASSERT_TRUE(cam.project({5, -5, -10}, win));
  EXPECT_NEAR(win.x(), 75, 1e-9);
  EXPECT_NEAR(win.y(), 25, 1e-9);
  EXPECT_NEAR(cam.getWorldPointToViewport({5, -5, -10}).y(), 75, 1e-9);  // y flipped
  // Out of view: false, window untouched.
  win = Point(7, 7, 7);
  EXPECT_FALSE(cam.project({0, 0, 10}, win));
  EXPECT_EQ(win, Point(7, 7, 7));
  EXPECT_FALSE(cam.project({20, 0, -10}, win));

  krLinear::Line ray;
  cam.getWorldSpaceRay(Point2(100, 50), ray);  // right edge, middle: 45 degrees to the right
  EXPECT_TRUE(krLinear::equivalent(ray.point(), Point(0, 0, 0)));
  EXPECT_TRUE(krLinear::equivalent(ray.direction(), krLinear::Normal(1, 0, -1), 1e-12));
  EXPECT_EQ(cam.getViewVector(), krLinear::Normal(0, 0, -1));
  EXPECT_EQ(cam.getRightVector(), krLinear::Normal(1, 0, 0));
  EXPECT_DOUBLE_EQ(cam.pixelScaleForDepth(10.0, 100.0), 20.0);  // view height at depth 10
  EXPECT_EQ(cam.pixelScaleOrtho(), 0.0);
  EXPECT_EQ(cam.screenDepthAtPoint({3, 4, -6}), 6.0);
  EXPECT_EQ(cam.screenDepthAtPoint({0, 0, 1}), -1.0);
  EXPECT_FALSE(cam.pointInFrontOfCamera({0, 0, 1}));
  EXPECT_TRUE(cam.pointInFrontOfCamera({0, 0, 0}));

  // A moved eye: world-to-eye translation is -eye, eye-to-world row 3 the eye.
  cam.setWorldToEye(Point(1, 2, -7), Point(1, 2, 3), krLinear::Normal::yAxis());
  cam.getWorldToEye(w2e);
  EXPECT_TRUE(krLinear::equivalent(w2e.row(3), krLinear::Vector(-1, -2, -3), 1e-15));
  EXPECT_EQ(cam.getEyeLocation(), Point(1, 2, 3));
  EXPECT_DOUBLE_EQ(cam.distanceToPoint({1, 2, 0}), 3.0);

  double d = 0;
  cam = simpleCamera();
  EXPECT_TRUE(cam.pixelDistance({0, 0, -10}, {5, 0, -10}, d));
  EXPECT_NEAR(d, 25.0, 1e-9);
  EXPECT_FALSE(cam.pixelDistance({0, 0, -10}, {0, 0, 5}, d));
  EXPECT_EQ(d, std::numeric_limits<double>::max());
}

// A random camera around the origin, perspective or orthographic, with a symmetric frustum.
Camera randomCamera(std::mt19937& rng, bool ortho) {
  std::uniform_real_distribution<double> u(-10.0, 10.0), a(0.3, 2.0), s(100.0, 1000.0);
  Camera cam;
  Point eye(u(rng), u(rng), u(rng));
  cam.setWorldToEye(Point(u(rng) * 0.1, u(rng) * 0.1, u(rng) * 0.1), eye,
                    krLinear::Normal(u(rng), u(rng), u(rng)));
  krGeom::AngleAspect lens;
  lens.setAngleOfViewRad(a(rng));
  lens.setAspectRatio(a(rng));
  lens.setDepthRange(0.5, 60.0);
  krGeom::EyeSpaceFrustum f;
  lens.getEyeSpaceFrustum(f);
  if (ortho) f.setOrthographic(true, 15.0);
  cam.setFrustum(f);
  cam.setViewport(viewport(s(rng), s(rng), u(rng), u(rng)));
  return cam;
}

// A random point inside the camera's view volume, through the inverse mapping.
Point pointInView(const Camera& cam, std::mt19937& rng) {
  std::uniform_real_distribution<double> ndc(-0.95, 0.95);
  krLinear::ProjMatrix w2c;
  cam.getWorldToClip(w2c);
  return (krLinear::HPoint(ndc(rng), ndc(rng), ndc(rng), 1.0) * w2c.inverse()).toPoint();
}

TEST(CameraTest, ProjectedPointsLieOnTheirPickRays) {
  const unsigned seeds[] = {11, 12, 13};
  std::printf("rngSeed = 11, 12, 13\n");
  for (unsigned rngSeed : seeds) {
    std::mt19937 rng(rngSeed);
    for (int c = 0; c < 40; ++c) {
      const bool ortho = c % 2 == 1;
      const Camera cam = randomCamera(rng, ortho);
      for (int i = 0; i < 25; ++i) {
        const Point world = pointInView(cam, rng);
        Point win;
        ASSERT_TRUE(cam.project(world, win)) << "rngSeed " << rngSeed << " camera " << c;
        krLinear::Line ray;
        cam.getWorldSpaceRay(Point2(win.x(), win.y()), ray);
        const double scale = 1.0 + krLinear::distance(ray.point(), world);
        EXPECT_LT(krLinear::distance(world, ray), 1e-9 * scale) << "rngSeed " << rngSeed;
        krLinear::Vector dir;
        cam.getWorldSpaceRay(world, dir);
        EXPECT_TRUE(krLinear::isParallel(dir, ray.direction(), 1e-6));
        Point back;
        cam.getWorldSpacePoint(Point2(win.x(), win.y()), win.z(), back);
        EXPECT_LT(krLinear::distance(back, world), 1e-8 * scale);
        // The window-to-world matrix undoes the world-to-window one.
        krLinear::ProjMatrix v2w;
        cam.getViewportToWorld(v2w);
        EXPECT_LT(krLinear::distance((win * v2w).toPoint(), world), 1e-8 * scale);
      }
    }
  }
}

TEST(CameraTest, FrustumCornersProjectOntoTheViewportCorners) {
  std::mt19937 rng(21);
  std::printf("rngSeed = 21\n");
  for (int c = 0; c < 20; ++c) {
    const bool ortho = c % 2 == 1;
    const Camera cam = randomCamera(rng, ortho);
    krGeom::EyeSpaceFrustum f;
    cam.getFrustum(f);
    krGeom::Frustum corners(f.getLeft(), f.getRight(), f.getBottom(), f.getTop(), f.getNearDist(),
                            f.getFarDist(), !ortho);
    krLinear::AffineMatrix e2w;
    cam.getEyeToWorld(e2w);
    corners.transform(e2w);
    krGeom::Viewport vp;
    cam.getViewport(vp);
    double x, y, w, h;
    vp.getOrigin(x, y);
    vp.getSize(w, h);
    const double wx[4] = {x + w, x, x, x + w}, wy[4] = {y + h, y + h, y, y};
    krLinear::ProjMatrix w2v;
    cam.getWorldToViewport(w2v);
    for (int i = 0; i < 8; ++i) {
      const Point q = (corners.getPoint(i) * w2v).toPoint();
      EXPECT_NEAR(q.x(), wx[i % 4], 1e-7 * w) << "camera " << c << " corner " << i;
      EXPECT_NEAR(q.y(), wy[i % 4], 1e-7 * h) << "camera " << c << " corner " << i;
      EXPECT_NEAR(q.z(), i < 4 ? 0.0 : 1.0, 1e-7) << "camera " << c << " corner " << i;
    }
    // The world-space planes of the camera have every corner on their inner side.
    for (int p = 0; p < 6; ++p)
      for (int i = 0; i < 8; ++i)
        EXPECT_LT(corners.getPlanes()[p].signedDistance(corners.getPoint(i)), 1e-9 * 60);
  }
}

TEST(CameraTest, SetNearFarEnclosesTheBox) {
  // Hand-computed: corners from depth 10 to 20 straight ahead.
  Camera cam = simpleCamera();
  cam.update();
  cam.setNearFar(box({-1, -1, -20}, {1, 1, -10}));
  krGeom::EyeSpaceFrustum f;
  cam.getFrustum(f);
  EXPECT_DOUBLE_EQ(f.getNearDist(), 9.9);
  EXPECT_DOUBLE_EQ(f.getFarDist(), 20.2);
  EXPECT_TRUE(cam.isDirty());
  cam.update();
  cam.setNearFar(box({-1, -1, -20}, {1, 1, -10}));  // unchanged: not dirty
  EXPECT_FALSE(cam.isDirty());
  // Entirely behind the eye: far 1, near the floor 0.001.
  cam.setNearFar(box({-1, -1, 5}, {1, 1, 6}));
  cam.getFrustum(f);
  EXPECT_EQ(f.getFarDist(), 1.0);
  EXPECT_EQ(f.getNearDist(), 0.001);

  std::mt19937 rng(31);
  std::printf("rngSeed = 31\n");
  std::uniform_real_distribution<double> u(-3.0, 3.0);
  for (int c = 0; c < 50; ++c) {
    Camera rc = randomCamera(rng, false);
    const Point centre = rc.getEyeLocation() + rc.getViewVector().vector() * (8.0 + u(rng));
    const krLinear::Vector half(std::abs(u(rng)), std::abs(u(rng)), std::abs(u(rng)));
    const BoundingBox b = box(centre - half, centre + half);
    rc.setNearFar(b);
    rc.getFrustum(f);
    for (int i = 0; i < 8; ++i) {
      krLinear::PointFlt p;
      b.getPoint(i, p);
      const double depth = rc.screenDepthAtPoint({p.x(), p.y(), p.z()});
      if (depth < 0) continue;  // a corner behind the eye only pulls near to its floor
      EXPECT_GE(depth, f.getNearDist()) << "camera " << c;
      EXPECT_LE(depth, f.getFarDist()) << "camera " << c;
    }
    EXPECT_GE(f.getNearDist(), std::max(0.001, f.getFarDist() / 2048));
  }
}

TEST(CameraTest, PickMatricesMapTheRegionOntoTheNormalisedSquare) {
  Camera cam = simpleCamera();
  cam.setMinimumPickRadius(2.0);
  krLinear::ProjMatrix point, flat;
  cam.getPickMatrix(Point2(30, 40), point, 1.0);
  cam.getPickMatrix(krLinear::Range2d({30, 40}, {30, 40}), flat);
  EXPECT_TRUE(krLinear::equivalent(point, flat, 0.0));
  // The world point under window (30, 40) maps to the middle; the region's edge to +-1.
  Point under, edge;
  cam.getWorldSpacePoint(Point2(30, 40), 0.5, under);
  cam.getWorldSpacePoint(Point2(33, 43), 0.5, edge);
  const Point m = (under * point).toPoint(), e = (edge * point).toPoint();
  EXPECT_NEAR(m.x(), 0.0, 1e-9);
  EXPECT_NEAR(m.y(), 0.0, 1e-9);
  EXPECT_NEAR(e.x(), 1.0, 1e-9);
  EXPECT_NEAR(e.y(), 1.0, 1e-9);
  // Open frustums still pick with the finite projection.
  cam.setOpenFrustum(true);
  krLinear::ProjMatrix open;
  cam.getPickMatrix(Point2(30, 40), open, 1.0);
  EXPECT_TRUE(krLinear::equivalent(point, open, 0.0));
  krLinear::ProjMatrix e2c;
  cam.getEyeToClip(e2c);
  EXPECT_EQ(e2c(2, 2), static_cast<double>(krLinear::epsilonTolFlt) - 1.0);
}

TEST(CameraTest, SignalsComeOnlyFromUpdateAndEndInteraction) {
  Camera cam = simpleCamera();
  int changed = 0, started = 0, ended = 0;
  const Camera* sender = nullptr;
  cam.changedSignal.connect([&](Camera& c) {
    ++changed;
    sender = &c;
  });
  cam.interactionStartedSignal.connect([&](const Camera&) { ++started; });
  cam.interactionEndedSignal.connect([&](Camera&) { ++ended; });

  cam.update();  // dirty from construction-time setters
  EXPECT_EQ(changed, 1);
  EXPECT_EQ(sender, &cam);
  cam.update();
  cam.setViewport(viewport(100, 100));  // equal: not dirty
  cam.setOpenFrustum(false);
  cam.update();
  EXPECT_EQ(changed, 1);

  cam.beginInteraction();
  cam.setDirty();
  EXPECT_EQ(changed + started, 1);  // setters send nothing
  cam.update();
  cam.setViewport(viewport(200, 100));
  cam.update();
  cam.endInteraction();
  EXPECT_EQ(changed, 3);
  EXPECT_EQ(started, 1);
  EXPECT_EQ(ended, 1);

  cam.beginInteraction();  // nothing changed: nothing sent
  cam.endInteraction();
  cam.beginInteraction();  // a change noticed only at the end still opens and closes
  cam.setOpenFrustum(true);
  cam.endInteraction();
  EXPECT_EQ(changed, 4);
  EXPECT_EQ(started, 2);
  EXPECT_EQ(ended, 2);

  // Copies take settings and flags, not connections.
  cam.setDirty();
  Camera copy(cam);
  std::unique_ptr<Camera> clone(cam.clone());
  copy.update();
  clone->update();
  EXPECT_EQ(changed, 4);
  EXPECT_TRUE(copy.equivalent(cam) && clone->equivalent(cam));
  copy = copy;
  EXPECT_TRUE(copy.equivalent(cam));
  cam = copy;  // assignment keeps cam's observers
  cam.setDirty();
  cam.update();
  EXPECT_EQ(changed, 5);
  copy.setOpenFrustum(false);
  EXPECT_FALSE(copy.equivalent(cam));
}

TEST(CameraTest, DebugTextIsExact) {
  Camera cam;
  cam.setWorldToEye(krLinear::AffineMatrix::translation({0.25, 0, -2}));
  cam.setViewport(viewport(640, 480));
  CapturedChannel out;
  cam.debugPrint(out.channel, "main");
  EXPECT_EQ(out.text,
            "main Camera is\n"
            "main Viewport is\n  origin 0.00 0.00\n  size   640.00 480.00\n  range  0.00 1.00\n"
            "main frustum is\n  top 1.000\n  bot -1.000\n  lef -1.000\n  rig 1.000\n"
            "  nea 1.000\n  far 100.000\n"
            "w2e Matrix is\n"
            "  1.000000000000 0.000000000000 0.000000000000\n"
            "  0.000000000000 1.000000000000 0.000000000000\n"
            "  0.000000000000 0.000000000000 1.000000000000\n"
            "  0.250000000000 0.000000000000 -2.000000000000\n");
  CapturedChannel off(false);
  cam.debugPrint(off.channel, nullptr);
  EXPECT_EQ(off.text, "");
  out.text.clear();
  cam.debugPrint(out.channel, nullptr);
  EXPECT_EQ(out.text.substr(0, 37), "unnamed Camera is\nunnamed Viewport is");
}

}  // namespace
