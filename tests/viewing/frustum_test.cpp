// Frustum: corner layout, outward planes and transforms, mirrors included.
#include <geom/geom.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <random>

namespace {

using krGeom::Frustum;
using krLinear::Normal;
using krLinear::Point;

// Every corner lies on the inner side of every plane, or on it.
void expectOutwardPlanes(const Frustum& f, double tol = 1e-9) {
  for (int p = 0; p < 6; ++p)
    for (int i = 0; i < 8; ++i)
      EXPECT_LT(f.getPlanes()[p].signedDistance(f.getPoint(i)), tol)
          << "plane " << p << " corner " << i;
  // And the middle of the volume lies strictly inside.
  const Point mid = krLinear::combine(2, std::array{f.getNearCenter(), f.getFarCenter()}.data());
  for (int p = 0; p < 6; ++p) EXPECT_LT(f.getPlanes()[p].signedDistance(mid), 0.0) << p;
}

TEST(FrustumTest, OrthographicPlanesAndRay) {
  const Frustum f(-1, 1, -1, 1, 1, 100, false);
  const Normal expected[6] = {{0, 1, 0}, {-1, 0, 0}, {0, -1, 0}, {1, 0, 0}, {0, 0, 1}, {0, 0, -1}};
  for (int p = 0; p < 6; ++p)
    EXPECT_TRUE(krLinear::equivalent(f.getPlanes()[p].normal(), expected[p].vector(), 1e-15)) << p;
  EXPECT_EQ(f.getPoint(0), Point(1, 1, -1));
  EXPECT_EQ(f.getPoint(6), Point(-1, -1, -100));
  const krLinear::Line ray = f.getRay();
  EXPECT_EQ(ray.point(), Point(0, 0, -1));
  EXPECT_EQ(ray.direction(), Normal(0, 0, -1));
  EXPECT_EQ(f.getVector(), krLinear::Vector(0, 0, -99));
}

TEST(FrustumTest, PerspectiveFarCornersScaleFromTheEye) {
  const Frustum f(-0.5, 0.75, -0.25, 0.4, 1, 100, true);
  for (int i = 0; i < 4; ++i)
    EXPECT_TRUE(krLinear::equivalent(f.getPoint(i + 4),
                                     Point::origin() + f.getPoint(i).toVector() * 100.0, 1e-12));
  expectOutwardPlanes(f);
  // The eight-point form with the same corners gives the same planes.
  const Frustum g(f.getPoint(0), f.getPoint(4), f.getPoint(1), f.getPoint(5), f.getPoint(2),
                  f.getPoint(6), f.getPoint(3), f.getPoint(7));
  for (int p = 0; p < 6; ++p) EXPECT_EQ(g.getPlanes()[p], f.getPlanes()[p]);
}

TEST(FrustumTest, TransformsKeepNormalsOutwardMirrorsIncluded) {
  std::mt19937 rng(41);
  std::printf("rngSeed = 41\n");
  std::uniform_real_distribution<double> u(-2.0, 2.0);
  for (int c = 0; c < 50; ++c) {
    Frustum f(-1.0, 0.5, -0.7, 0.9, 0.5, 20.0, c % 2 == 0);
    krLinear::AffineMatrix m = krLinear::AffineMatrix::rotation({u(rng), u(rng), u(rng)}, u(rng));
    const double sx = c % 3 == 0 ? -1.5 : 1.5;  // every third one mirrors
    m *= krLinear::AffineMatrix::scaling(sx, 0.5, 2.0);
    m.translate({u(rng), u(rng), u(rng)});
    const Point nearCentre = f.getNearCenter() * m;
    f.transform(m);
    SCOPED_TRACE(c);
    expectOutwardPlanes(f, 1e-8);
    EXPECT_TRUE(krLinear::equivalent(f.getNearCenter(), nearCentre, 1e-9));
  }
  Frustum a(-1, 1, -1, 1, 1, 10, true), b(-2, 2, -2, 2, 2, 20, false);
  const Frustum a0 = a, b0 = b;
  a.swap(b);
  EXPECT_EQ(a.getPoint(7), b0.getPoint(7));
  EXPECT_EQ(b.getPlanes()[5], a0.getPlanes()[5]);
}

}  // namespace
