#include <kr/linear/point.h>
#include <kr/linear/point2.h>

#include <algorithm>

namespace krLinear {

Point combine(int n, const Point* points) noexcept {
  if (n <= 0) return Point::origin();
  Vector sum;
  for (int i = 0; i < n; ++i) sum += points[i].toVector();
  return Point::origin() + sum / static_cast<double>(n);
}

namespace {

// The triangle's height over its longest side is |cross| / longest side; compare it squared
// so that no square root is needed.
bool collinear(double cross2, double ab2, double bc2, double ca2, double tolerance) {
  double longest2 = std::max({ab2, bc2, ca2});
  if (longest2 == 0.0) return true;  // all three points coincide
  return cross2 <= tolerance * tolerance * longest2;
}

}  // namespace

bool areCollinear(const Point& a, const Point& b, const Point& c, double tolerance) noexcept {
  Vector ab = b - a, bc = c - b, ca = a - c;
  return collinear(cross(ab, ca).lengthSquared(), ab.lengthSquared(), bc.lengthSquared(),
                   ca.lengthSquared(), tolerance);
}

bool areCollinear(const Point2& a, const Point2& b, const Point2& c, double tolerance) noexcept {
  Vector2 ab = b - a, bc = c - b, ca = a - c;
  double z = cross(ab, ca);
  return collinear(z * z, ab.lengthSquared(), bc.lengthSquared(), ca.lengthSquared(), tolerance);
}

}  // namespace krLinear
