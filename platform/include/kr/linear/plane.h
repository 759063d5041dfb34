// Planes in 3D.
//
// Plane is a point and a unit normal. ParamPlane adds two parameter vectors u and v, so that
// eval(s, t) = point + s·u + t·v; it describes a parallelogram (s, t in [0, 1]) as well as the
// plane through it.
//
//   krLinear::Plane ground(krLinear::Point::origin(), krLinear::Normal::zAxis());
//   krLinear::Point foot = krLinear::project(x, ground);
//   krLinear::Line axis;
//   bool ok = krLinear::intersect(planeA, planeB, axis);   // false when parallel
//
// Plain values; the usual rules of value types apply (one thread per object).
#pragma once

#include <kr/export.h>
#include <kr/linear/line.h>
#include <kr/linear/matrix.h>
#include <kr/linear/point.h>
#include <kr/linear/vector.h>

namespace krLinear {

// An infinite plane: a point on it and a unit normal. Default: the xy plane, normal +z.
class Plane {
 public:
  Plane() noexcept = default;
  // The plane through `point` with `normal` (normalised; a Vector converts).
  Plane(const Point& point, const Normal& normal) noexcept : p_(point), n_(normal) {}
  // The plane through `point` spanned by u and v; normal = normalise(u × v).
  Plane(const Point& point, const Vector& u, const Vector& v) noexcept
      : p_(point), n_(cross(u, v)) {}

  const Point& point() const noexcept { return p_; }
  const Normal& normal() const noexcept { return n_; }
  void set(const Point& point, const Normal& normal) noexcept {
    p_ = point;
    n_ = normal;
  }
  // Signed distance of x from the plane, positive on the side the normal points to.
  double signedDistance(const Point& x) const noexcept { return dot(x - p_, n_); }

  bool operator==(const Plane&) const noexcept = default;

 private:
  Point p_;
  Normal n_;
};

// A plane with a parametrisation: point, unit normal and parameter vectors u and v.
// Default: the xy plane with u = x axis, v = y axis.
class KR_PLATFORM_EXPORT ParamPlane {
 public:
  ParamPlane() noexcept = default;
  // From a point and two parameter vectors; normal = normalise(u × v).
  ParamPlane(const Point& point, const Vector& u, const Vector& v) noexcept
      : p_(point), n_(cross(u, v)), u_(u), v_(v) {}
  // From all four parts as given (the normal is normalised but not checked against u and v).
  ParamPlane(const Point& point, const Normal& normal, const Vector& u, const Vector& v) noexcept
      : p_(point), n_(normal), u_(u), v_(v) {}

  const Point& point() const noexcept { return p_; }
  const Normal& normal() const noexcept { return n_; }
  const Vector& uVector() const noexcept { return u_; }
  const Vector& vVector() const noexcept { return v_; }
  // The plane without its parametrisation.
  Plane plane() const noexcept { return {p_, n_}; }

  // point + s·u + t·v.
  Point eval(double s, double t) const noexcept { return p_ + u_ * s + v_ * t; }

  // Moves the plane by m: the point as a point, u and v as vectors, the normal by m's normal
  // matrix (kept unchanged when m's linear part is singular).
  void transform(const AffineMatrix& m) noexcept;

  bool operator==(const ParamPlane&) const noexcept = default;

 private:
  Point p_;
  Normal n_;
  Vector u_ = Vector::xAxis();
  Vector v_ = Vector::yAxis();
};

// The orthogonal projection of x onto the plane.
inline Point project(const Point& x, const Plane& plane) noexcept {
  return x - plane.normal().vector() * plane.signedDistance(x);
}
// The parameter (signed distance along `line`) at which the line crosses the plane. For a line
// along the plane's normal this is the plane's position on that line. A line parallel to the
// plane gives an infinite or NaN result.
inline double projectParam(const Plane& plane, const Line& line) noexcept {
  return dot(plane.point() - line.point(), plane.normal()) / dot(line.direction(), plane.normal());
}
// The line where planes a and b meet: direction normalise(a.normal × b.normal), point the one of
// the line nearest to the origin. Returns false, leaving `result` untouched, when the planes are
// parallel within parallelTol.
KR_PLATFORM_EXPORT bool intersect(const Plane& a, const Plane& b, Line& result) noexcept;

}  // namespace krLinear
