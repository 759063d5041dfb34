#include <geom/spatial/oriented_box.h>
#include <geom/viewing/camera.h>

#include <cmath>
#include <utility>

namespace krGeom {

using krLinear::Normal;
using krLinear::Point;
using krLinear::Vector;

namespace {

// Grows `extent` to d about its middle, moving `origin` back along `axis`.
void growTo(double d, const Normal& axis, Point& origin, double& extent) {
  if (extent >= d) return;
  origin -= axis.vector() * ((d - extent) / 2.0);
  extent = d;
}

// The plane through the box centre across `normalAxis`, with the given in-plane axes.
OrientedPlane midPlane(const OrientedBox& box, const Normal& normalAxis, double normalExtent,
                       const Normal& u, double uExtent, const Normal& v, double vExtent) {
  OrientedPlane p;
  p.origin = box.origin + normalAxis.vector() * (normalExtent / 2.0);
  p.normal = normalAxis;
  p.uAxis = u;
  p.vAxis = v;
  p.uExtent = uExtent;
  p.vExtent = vExtent;
  return p;
}

}  // namespace

// --- OrientedPlane ---

void OrientedPlane::makeAtLeast(double d) {
  growTo(d, uAxis, origin, uExtent);
  growTo(d, vAxis, origin, vExtent);
}

krLinear::ParamPlane OrientedPlane::asParamPlane() const {
  return {origin, normal, uAxis.vector() * uExtent, vAxis.vector() * vExtent};
}

krLinear::ParamPlane OrientedPlane::asParamPlane(double d) const {
  OrientedPlane grown = *this;
  grown.makeAtLeast(d);
  return grown.asParamPlane();
}

void OrientedPlane::transform(const krLinear::AffineMatrix& m) {
  krLinear::AffineMatrix normals;
  const bool haveNormals = m.normalMatrix(normals);
  const Vector u = uAxis.vector() * m, v = vAxis.vector() * m;
  origin = origin * m;
  if (haveNormals) normal = normal.vector() * normals;
  uExtent = ((uAxis.vector() * uExtent) * m).length();
  vExtent = ((vAxis.vector() * vExtent) * m).length();
  uAxis = u;
  vAxis = v;
}

// --- OrientedBox ---

OrientedBox::OrientedBox(const Point& corner, const Vector& e0, const Vector& e1,
                         const Vector& e2) {
  set(corner, e0, e1, e2);
}

OrientedBox::OrientedBox(const krLinear::Range3d& range)
    : origin(range.lower()),
      axis0(Normal::xAxis()),
      axis1(Normal::yAxis()),
      axis2(Normal::zAxis()),
      extent0(range.size().x()),
      extent1(range.size().y()),
      extent2(range.size().z()) {}

OrientedBox::OrientedBox(const krLinear::ParamPlane& plane) {
  set(plane);
}

void OrientedBox::set(const Point& p) {
  set(p, Normal::xAxis(), Normal::yAxis(), Normal::zAxis(), 0.0, 0.0, 0.0);
}

void OrientedBox::set(const Point& corner, const Vector& e0, const Vector& e1, const Vector& e2) {
  set(corner, e0, e1, e2, e0.length(), e1.length(), e2.length());
}

void OrientedBox::set(const Point& corner, const Normal& a0, const Normal& a1, const Normal& a2,
                      double x0, double x1, double x2) {
  origin = corner;
  axis0 = a0;
  axis1 = a1;
  axis2 = a2;
  extent0 = x0;
  extent1 = x1;
  extent2 = x2;
}

void OrientedBox::set(const krLinear::ParamPlane& plane) {
  set(plane.point(), plane.normal(), plane.uVector(), plane.vVector(), 0.0,
      plane.uVector().length(), plane.vVector().length());
}

Point OrientedBox::eval(double s, double t, double r) const {
  return origin + axis0.vector() * (s * extent0) + axis1.vector() * (t * extent1) +
         axis2.vector() * (r * extent2);
}

krLinear::AffineMatrix OrientedBox::frame() const {
  krLinear::AffineMatrix m(1.0);
  m.setFrame(origin, axis1, axis2, axis0);
  return m;
}

krLinear::Range3d OrientedBox::axisAlignedExtent() const {
  krLinear::Range3d r;
  r.set(origin);
  r.include(origin + axis0.vector() * extent0);
  r.include(origin + axis1.vector() * extent1);
  r.include(origin + axis2.vector() * extent2);
  return r;
}

void OrientedBox::makeAtLeast(double d) {
  growTo(d, axis0, origin, extent0);
  growTo(d, axis1, origin, extent1);
  growTo(d, axis2, origin, extent2);
}

void OrientedBox::enlarge(double d) {
  extent0 += d;
  extent1 += d;
  extent2 += d;
  origin -= (axis0.vector() + axis1.vector() + axis2.vector()) * (d / 2.0);
}

void OrientedBox::transform(const krLinear::AffineMatrix& m) {
  const auto moveEdge = [&m](Normal& axis, double& extent) {
    const Vector edge = (extent != 0.0 ? axis.vector() * extent : axis.vector()) * m;
    axis = edge;
    if (extent != 0.0) extent = edge.length();
  };
  origin = origin * m;
  moveEdge(axis0, extent0);
  moveEdge(axis1, extent1);
  moveEdge(axis2, extent2);
}

OrientedPlane OrientedBox::uvMidplane() const {
  return midPlane(*this, axis0, extent0, axis2, extent2, axis1, extent1);
}

OrientedPlane OrientedBox::dominantMidPlane(const Vector& direction) const {
  const Normal dir = direction;
  const double d0 = std::fabs(dot(dir, axis0));
  const double d1 = std::fabs(dot(dir, axis1));
  const double d2 = std::fabs(dot(dir, axis2));
  if (d0 > d1 && d0 > d2) return uvMidplane();
  if (d0 > d1 || d2 > d1) return midPlane(*this, axis2, extent2, axis0, extent0, axis1, extent1);
  return midPlane(*this, axis1, extent1, axis0, extent0, axis2, extent2);
}

// --- Free functions ---

OrientedBox intersect(const krLinear::Range3d& range, const krLinear::Plane& plane) {
  const Normal& n = plane.normal();
  krLinear::Line inPlane(plane.point(), Normal::xAxis());
  if (!krLinear::isParallel(n, Vector::zAxis(), krLinear::parallelTol))
    krLinear::intersect(plane, krLinear::Plane(Point::origin(), Vector::xAxis(), Vector::yAxis()),
                        inPlane);
  const Normal u = inPlane.direction();
  const Normal w = krLinear::cross(u, n);
  const krLinear::Range1d uRange =
      krLinear::projectParam(range, krLinear::Line(Point::origin(), u));
  const krLinear::Range1d wRange =
      krLinear::projectParam(range, krLinear::Line(Point::origin(), w));
  const double t = krLinear::projectParam(plane, krLinear::Line(Point::origin(), n));
  OrientedBox box;
  box.set(
      Point::origin() + n.vector() * t + w.vector() * wRange.lower() + u.vector() * uRange.lower(),
      u, w, n, uRange.size(), wRange.size(), 0.0);
  return box;
}

void orientPlane(OrientedPlane& plane, const Camera& camera) {
  const Normal up = camera.getUpVector();
  const Normal right = camera.getRightVector();
  const Normal view = camera.getViewVector();
  if (std::fabs(dot(up, plane.uAxis)) > std::fabs(dot(up, plane.vAxis))) {
    std::swap(plane.uAxis, plane.vAxis);
    std::swap(plane.uExtent, plane.vExtent);
  }
  if (dot(right, plane.uAxis) < 0.0) {
    plane.origin += plane.uAxis.vector() * plane.uExtent;
    plane.uAxis.reverse();
  }
  if (dot(up, plane.vAxis) < 0.0) {
    plane.origin += plane.vAxis.vector() * plane.vExtent;
    plane.vAxis.reverse();
  }
  if (dot(view, plane.normal) > 0.0) plane.normal.reverse();
}

}  // namespace krGeom
