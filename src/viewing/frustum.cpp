#include <geom/viewing/frustum.h>

#include <utility>

namespace krGeom {

using krLinear::Point;

Frustum::Frustum(double left, double right, double bottom, double top, double nearDist,
                 double farDist, bool perspective) {
  if (perspective)
    setPersp(left, right, bottom, top, nearDist, farDist);
  else
    setOrtho(left, right, bottom, top, nearDist, farDist);
  computePlanes();
}

Frustum::Frustum(const Point& p0, const Point& p4, const Point& p1, const Point& p5,
                 const Point& p2, const Point& p6, const Point& p3, const Point& p7) {
  const Point* corners[8] = {&p0, &p1, &p2, &p3, &p4, &p5, &p6, &p7};
  for (int i = 0; i < 8; ++i) setPoint(i, *corners[i]);
  computePlanes();
}

void Frustum::swap(Frustum& o) noexcept {
  std::swap(points_, o.points_);
  std::swap(planes_, o.planes_);
}

void Frustum::setOrtho(double left, double right, double bottom, double top, double nearDist,
                       double farDist) {
  const double x[4] = {right, left, left, right}, y[4] = {top, top, bottom, bottom};
  for (int i = 0; i < 4; ++i) {
    setPoint(i, {x[i], y[i], -nearDist});
    setPoint(i + 4, {x[i], y[i], -farDist});
  }
}

void Frustum::setPersp(double left, double right, double bottom, double top, double nearDist,
                       double farDist) {
  setOrtho(left, right, bottom, top, nearDist, farDist);
  const double k = farDist / nearDist;
  for (int i = 0; i < 4; ++i) setPoint(i + 4, Point::origin() + getPoint(i).toVector() * k);
}

void Frustum::setPoint(int i, const Point& p) {
  p.get(points_ + 3 * i);
}

Point Frustum::getNearCenter() const {
  Point c[4] = {getPoint(0), getPoint(1), getPoint(2), getPoint(3)};
  return krLinear::combine(4, c);
}

Point Frustum::getFarCenter() const {
  Point c[4] = {getPoint(4), getPoint(5), getPoint(6), getPoint(7)};
  return krLinear::combine(4, c);
}

krLinear::Vector Frustum::getVector() const {
  return getFarCenter() - getNearCenter();
}

krLinear::Line Frustum::getRay() const {
  return {getNearCenter(), getVector()};
}

void Frustum::transform(const krLinear::AffineMatrix& m) {
  for (int i = 0; i < 8; ++i) setPoint(i, getPoint(i) * m);
  if (m.det3x3() < 0.0) {
    // A mirror turns the corner order around; swapping it back keeps the normals outward.
    const int pairs[4][2] = {{0, 3}, {1, 2}, {4, 7}, {5, 6}};
    for (const auto& p : pairs) {
      const Point a = getPoint(p[0]);
      setPoint(p[0], getPoint(p[1]));
      setPoint(p[1], a);
    }
  }
  computePlanes();
}

void Frustum::computePlanes() {
  for (int i = 0; i < 4; ++i) {
    const Point a = getPoint(i);
    const krLinear::Vector u = getPoint((i + 1) % 4) - a;
    const krLinear::Vector w = getPoint(i + 4) - a;
    planes_[i].set(a, krLinear::cross(w, u));
  }
  computePlane(1, 2, 0, planes_[4]);
  computePlane(5, 4, 6, planes_[5]);
}

void Frustum::computePlane(int a, int b, int c, krLinear::Plane& plane) const {
  const Point pa = getPoint(a);
  plane.set(pa, krLinear::cross(getPoint(b) - pa, getPoint(c) - pa));
}

}  // namespace krGeom
