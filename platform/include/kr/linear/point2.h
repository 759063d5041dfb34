// Two-dimensional values: Tuple2 (a plain pair of doubles), Point2 (a position) and Vector2
// (a direction with length). Point2 and Vector2 are Tuple2s, so either can be passed where an
// interface takes a Tuple2.
//
//   krLinear::Point2 a(1.0, 2.0), b(4.0, 6.0);
//   double d = krLinear::distance(a, b);   // 5
//
// Plain values; the usual rules of value types apply (one thread per object).
#pragma once

#include <kr/export.h>
#include <kr/linear/tolerance.h>

#include <cmath>

namespace krLinear {

// A pair of doubles with no geometric meaning of its own. Default: (0, 0).
class Tuple2 {
 public:
  constexpr Tuple2() noexcept = default;
  constexpr Tuple2(double x, double y) noexcept : v_{x, y} {}

  // Components (read and write); i in 0..1.
  constexpr double x() const noexcept { return v_[0]; }
  constexpr double y() const noexcept { return v_[1]; }
  constexpr double& x() noexcept { return v_[0]; }
  constexpr double& y() noexcept { return v_[1]; }
  constexpr double operator[](int i) const noexcept { return v_[i]; }
  constexpr double& operator[](int i) noexcept { return v_[i]; }
  constexpr const double* data() const noexcept { return v_; }
  // Reads both components.
  constexpr void get(double& x, double& y) const noexcept {
    x = v_[0];
    y = v_[1];
  }
  // Writes both components.
  constexpr void set(double x, double y) noexcept {
    v_[0] = x;
    v_[1] = y;
  }

  // Exact component-wise equality.
  constexpr bool operator==(const Tuple2&) const noexcept = default;

 private:
  double v_[2] = {0.0, 0.0};
};

// A 2D vector. Default: zero.
class Vector2 : public Tuple2 {
 public:
  constexpr Vector2() noexcept = default;
  constexpr Vector2(double x, double y) noexcept : Tuple2(x, y) {}
  explicit constexpr Vector2(const Tuple2& t) noexcept : Tuple2(t) {}

  double length() const noexcept { return std::sqrt(lengthSquared()); }
  constexpr double lengthSquared() const noexcept { return x() * x() + y() * y(); }

  constexpr Vector2& operator+=(const Vector2& o) noexcept {
    x() += o.x();
    y() += o.y();
    return *this;
  }
  constexpr Vector2& operator-=(const Vector2& o) noexcept {
    x() -= o.x();
    y() -= o.y();
    return *this;
  }
  constexpr Vector2& operator*=(double s) noexcept {
    x() *= s;
    y() *= s;
    return *this;
  }
};

// A 2D point. Default: the origin.
class Point2 : public Tuple2 {
 public:
  constexpr Point2() noexcept = default;
  constexpr Point2(double x, double y) noexcept : Tuple2(x, y) {}
  explicit constexpr Point2(const Tuple2& t) noexcept : Tuple2(t) {}

  constexpr Point2& operator+=(const Vector2& d) noexcept {
    x() += d.x();
    y() += d.y();
    return *this;
  }
  constexpr Point2& operator-=(const Vector2& d) noexcept {
    x() -= d.x();
    y() -= d.y();
    return *this;
  }
};

constexpr Vector2 operator+(Vector2 a, const Vector2& b) noexcept {
  return a += b;
}
constexpr Vector2 operator-(Vector2 a, const Vector2& b) noexcept {
  return a -= b;
}
constexpr Vector2 operator-(const Vector2& a) noexcept {
  return {-a.x(), -a.y()};
}
constexpr Vector2 operator*(Vector2 a, double s) noexcept {
  return a *= s;
}
constexpr Vector2 operator*(double s, Vector2 a) noexcept {
  return a *= s;
}
constexpr Vector2 operator-(const Point2& a, const Point2& b) noexcept {
  return {a.x() - b.x(), a.y() - b.y()};
}
constexpr Point2 operator+(Point2 p, const Vector2& d) noexcept {
  return p += d;
}
constexpr Point2 operator-(Point2 p, const Vector2& d) noexcept {
  return p -= d;
}

// Scalar product.
constexpr double dot(const Vector2& a, const Vector2& b) noexcept {
  return a.x() * b.x() + a.y() * b.y();
}
// The z component of the 3D cross product of (a, 0) and (b, 0): positive when b turns
// counter-clockwise from a.
constexpr double cross(const Vector2& a, const Vector2& b) noexcept {
  return a.x() * b.y() - a.y() * b.x();
}

// Euclidean distance between two points.
inline double distance(const Point2& a, const Point2& b) noexcept {
  return (a - b).length();
}
// True when the points are at most `tolerance` apart.
inline bool equivalent(const Point2& a, const Point2& b, double tolerance = epsilonTol) noexcept {
  return (a - b).lengthSquared() <= tolerance * tolerance;
}
// True when the three points lie on one line, as the 3D areCollinear.
KR_PLATFORM_EXPORT bool areCollinear(const Point2& a, const Point2& b, const Point2& c,
                                     double tolerance = epsilonTol) noexcept;

}  // namespace krLinear
