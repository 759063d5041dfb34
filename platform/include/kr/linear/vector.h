// Vector (a free 3D direction with length) and Normal (a unit direction), in double precision.
//
//   krLinear::Vector v(3.0, 0.0, 4.0);   // v.length() == 5
//   krLinear::Normal n(v);               // (0.6, 0, 0.8); a Normal is always unit length
//   double c = krLinear::dot(n, krLinear::Vector::zAxis());
//
// Plain values; the usual rules of value types apply (one thread per object).
#pragma once

#include <kr/linear/tolerance.h>
#include <kr/linear/triple.h>

#include <cmath>

namespace krLinear {

// A 3D vector of doubles. Default: the zero vector.
class Vector : public detail::Triple<Vector, double> {
 public:
  // From Triple: construction from x, y, z or (explicit) three consecutive doubles, and the
  // components x(), y(), z(), [i], data(), get(out), set(x, y, z).
  using Triple::Triple;

  // The unit vectors along the axes. (Named xAxis, not x, because x() reads the component.)
  static constexpr Vector xAxis() noexcept { return {1.0, 0.0, 0.0}; }
  static constexpr Vector yAxis() noexcept { return {0.0, 1.0, 0.0}; }
  static constexpr Vector zAxis() noexcept { return {0.0, 0.0, 1.0}; }

  // set(x, y, z) from Triple, and set from three consecutive values.
  using Triple::set;
  constexpr void set(const double* xyz) noexcept { *this = Vector(xyz); }

  // Length
  double length() const noexcept { return std::sqrt(lengthSquared()); }
  constexpr double lengthSquared() const noexcept { return x() * x() + y() * y() + z() * z(); }
  // Scales to unit length and returns the previous length; the zero vector stays zero.
  double normalise() noexcept {
    double len = length();
    if (len > 0.0) *this /= len;
    return len;
  }

  // Arithmetic
  constexpr Vector& operator+=(const Vector& o) noexcept { return addEach(o); }
  constexpr Vector& operator-=(const Vector& o) noexcept { return subtractEach(o); }
  constexpr Vector& operator*=(double s) noexcept { return scaleEach(s); }
  constexpr Vector& operator/=(double s) noexcept {
    for (int i = 0; i < 3; ++i) (*this)[i] /= s;
    return *this;
  }

  // Exact component-wise equality; see equivalent() for a tolerant test.
  constexpr bool operator==(const Vector&) const noexcept = default;
};

constexpr Vector operator+(Vector a, const Vector& b) noexcept {
  return a += b;
}
constexpr Vector operator-(Vector a, const Vector& b) noexcept {
  return a -= b;
}
constexpr Vector operator-(const Vector& a) noexcept {
  return {-a.x(), -a.y(), -a.z()};
}
constexpr Vector operator*(Vector a, double s) noexcept {
  return a *= s;
}
constexpr Vector operator*(double s, Vector a) noexcept {
  return a *= s;
}
constexpr Vector operator/(Vector a, double s) noexcept {
  return a /= s;
}

// Scalar product.
constexpr double dot(const Vector& a, const Vector& b) noexcept {
  return a.x() * b.x() + a.y() * b.y() + a.z() * b.z();
}
// Cross product a × b (right-handed: cross(xAxis, yAxis) == zAxis).
constexpr Vector cross(const Vector& a, const Vector& b) noexcept {
  return {a.y() * b.z() - a.z() * b.y(), a.z() * b.x() - a.x() * b.z(),
          a.x() * b.y() - a.y() * b.x()};
}

// True when |a − b| ≤ tolerance.
inline bool equivalent(const Vector& a, const Vector& b, double tolerance = epsilonTol) noexcept {
  return (a - b).lengthSquared() <= tolerance * tolerance;
}

// True when a and b are parallel or anti-parallel: the sine of the angle between them is at most
// `tolerance`. A zero vector has no direction and counts as parallel to everything.
inline bool isParallel(const Vector& a, const Vector& b, double tolerance = parallelTol) noexcept {
  double c2 = cross(a, b).lengthSquared();
  return c2 <= tolerance * tolerance * a.lengthSquared() * b.lengthSquared();
}

// A unit direction. Every way of making one normalises its input, so Normal(0, 0, 2) is
// (0, 0, 1). The zero vector is the one input that cannot be normalised: it gives the zero
// normal, which callers treat as "no direction". Default: the z axis. Components are read-only.
class Normal {
 public:
  // Construction (always normalising)
  Normal() noexcept : v_(0.0, 0.0, 1.0) {}
  Normal(double x, double y, double z) noexcept : v_(x, y, z) { v_.normalise(); }
  // Implicit on purpose: assigning a Vector to a Normal normalises it.
  Normal(const Vector& v) noexcept : v_(v) { v_.normalise(); }

  // The unit vectors along the axes (xAxis rather than x, which reads the component).
  static Normal xAxis() noexcept { return Normal(Vector::xAxis(), Unit{}); }
  static Normal yAxis() noexcept { return Normal(Vector::yAxis(), Unit{}); }
  static Normal zAxis() noexcept { return Normal(Vector::zAxis(), Unit{}); }

  // Components (read-only, to keep the unit length).
  double x() const noexcept { return v_.x(); }
  double y() const noexcept { return v_.y(); }
  double z() const noexcept { return v_.z(); }
  double operator[](int i) const noexcept { return v_[i]; }
  const double* data() const noexcept { return v_.data(); }
  void get(double* out) const noexcept { v_.get(out); }
  // The direction as a Vector; a Normal converts implicitly wherever a Vector is expected.
  const Vector& vector() const noexcept { return v_; }
  operator const Vector&() const noexcept { return v_; }

  // Points the normal the other way.
  void reverse() noexcept { v_ = -v_; }
  Normal operator-() const noexcept { return Normal(-v_, Unit{}); }

  // Exact component-wise equality.
  bool operator==(const Normal&) const noexcept = default;

 private:
  struct Unit {};
  Normal(const Vector& unit, Unit) noexcept : v_(unit) {}

  Vector v_;
};

}  // namespace krLinear
