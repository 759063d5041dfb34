// Point: a position in 3D space, in double precision.
//
//   krLinear::Point p(1.0, 2.0, 3.0);
//   krLinear::Vector d = p - krLinear::Point::origin();   // Point − Point → Vector
//   krLinear::Point q = p + 2.0 * d;                       // Point + Vector → Point
//
// Plain values; the usual rules of value types apply (one thread per object).
#pragma once

#include <kr/export.h>
#include <kr/linear/vector.h>

namespace krLinear {

// A 3D point of doubles. Default: the origin.
class Point {
 public:
  // Construction
  constexpr Point() noexcept = default;
  constexpr Point(double x, double y, double z) noexcept : v_{x, y, z} {}
  // From three consecutive doubles x, y, z.
  explicit constexpr Point(const double* xyz) noexcept : v_{xyz[0], xyz[1], xyz[2]} {}

  // The origin (0, 0, 0).
  static constexpr Point origin() noexcept { return {}; }

  // Components (read and write); i in 0..2.
  constexpr double x() const noexcept { return v_[0]; }
  constexpr double y() const noexcept { return v_[1]; }
  constexpr double z() const noexcept { return v_[2]; }
  constexpr double& x() noexcept { return v_[0]; }
  constexpr double& y() noexcept { return v_[1]; }
  constexpr double& z() noexcept { return v_[2]; }
  constexpr double operator[](int i) const noexcept { return v_[i]; }
  constexpr double& operator[](int i) noexcept { return v_[i]; }
  // The three coordinates as a contiguous array.
  constexpr const double* data() const noexcept { return v_; }
  constexpr void set(double x, double y, double z) noexcept { *this = Point(x, y, z); }
  constexpr void set(const double* xyz) noexcept { *this = Point(xyz); }
  // Writes x, y, z to out[0..2].
  constexpr void get(double* out) const noexcept {
    out[0] = v_[0];
    out[1] = v_[1];
    out[2] = v_[2];
  }
  // The position vector from the origin to this point.
  constexpr Vector toVector() const noexcept { return {v_[0], v_[1], v_[2]}; }

  // Moving by a vector
  constexpr Point& operator+=(const Vector& d) noexcept {
    for (int i = 0; i < 3; ++i) v_[i] += d[i];
    return *this;
  }
  constexpr Point& operator-=(const Vector& d) noexcept {
    for (int i = 0; i < 3; ++i) v_[i] -= d[i];
    return *this;
  }

  // Exact coordinate-wise equality; see equivalent() for a tolerant test.
  constexpr bool operator==(const Point&) const noexcept = default;

 private:
  double v_[3] = {0.0, 0.0, 0.0};
};

constexpr Vector operator-(const Point& a, const Point& b) noexcept {
  return {a.x() - b.x(), a.y() - b.y(), a.z() - b.z()};
}
constexpr Point operator+(Point p, const Vector& d) noexcept {
  return p += d;
}
constexpr Point operator+(const Vector& d, Point p) noexcept {
  return p += d;
}
constexpr Point operator-(Point p, const Vector& d) noexcept {
  return p -= d;
}

// Euclidean distance between two points.
inline double distance(const Point& a, const Point& b) noexcept {
  return (a - b).length();
}
// Squared distance between two points.
constexpr double distanceSquared(const Point& a, const Point& b) noexcept {
  return (a - b).lengthSquared();
}
// True when the points are at most `tolerance` apart.
inline bool equivalent(const Point& a, const Point& b, double tolerance = epsilonTol) noexcept {
  return distanceSquared(a, b) <= tolerance * tolerance;
}

// The average of points[0..n−1]; the origin when n ≤ 0.
KR_PLATFORM_EXPORT Point combine(int n, const Point* points) noexcept;

// True when the three points lie on one line: the point opposite the longest side of the
// triangle they form is at most `tolerance` (a length) from that side's line. Coincident points
// are collinear.
KR_PLATFORM_EXPORT bool areCollinear(const Point& a, const Point& b, const Point& c,
                                     double tolerance = epsilonTol) noexcept;

}  // namespace krLinear
