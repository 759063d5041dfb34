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
class Point : public detail::Triple<Point, double> {
 public:
  // From Triple: construction from x, y, z or (explicit) three consecutive doubles, and the
  // coordinates x(), y(), z(), [i], data(), get(out), set(x, y, z).
  using Triple::Triple;

  // The origin (0, 0, 0).
  static constexpr Point origin() noexcept { return {}; }

  // set(x, y, z) from Triple, and set from three consecutive values.
  using Triple::set;
  constexpr void set(const double* xyz) noexcept { *this = Point(xyz); }
  // The position vector from the origin to this point.
  constexpr Vector toVector() const noexcept { return {x(), y(), z()}; }

  // Moving by a vector
  constexpr Point& operator+=(const Vector& d) noexcept { return addEach(d); }
  constexpr Point& operator-=(const Vector& d) noexcept { return subtractEach(d); }

  // Exact coordinate-wise equality; see equivalent() for a tolerant test.
  constexpr bool operator==(const Point&) const noexcept = default;
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
