#include <kr/linear/matrix2.h>

#include "matrix_support.h"

namespace krLinear {

bool AffineMatrix2::invert() noexcept {
  const double a = m_[0][0], b = m_[0][1], c = m_[1][0], d = m_[1][1];
  const double det = det2x2();
  if (detail::isSingular(det, {a * a + b * b, c * c + d * d})) return false;
  AffineMatrix2 inv;
  inv(0, 0) = d / det;
  inv(0, 1) = -b / det;
  inv(1, 0) = -c / det;
  inv(1, 1) = a / det;
  const Vector2 t = -(Vector2(m_[2][0], m_[2][1]) * inv);
  inv(2, 0) = t.x();
  inv(2, 1) = t.y();
  *this = inv;
  return true;
}

AffineMatrix2 AffineMatrix2::inverse() const noexcept {
  return detail::inverseOrNaN<3, 2>(*this);
}

AffineMatrix2& AffineMatrix2::operator*=(const AffineMatrix2& b) noexcept {
  return *this = *this * b;
}

AffineMatrix2 operator*(const AffineMatrix2& a, const AffineMatrix2& b) noexcept {
  AffineMatrix2 r;
  for (int i = 0; i < 2; ++i) {
    Vector2 row = Vector2(a(i, 0), a(i, 1)) * b;
    r(i, 0) = row.x();
    r(i, 1) = row.y();
  }
  Point2 t = Point2(a(2, 0), a(2, 1)) * b;
  r(2, 0) = t.x();
  r(2, 1) = t.y();
  return r;
}

bool equivalent(const AffineMatrix2& a, const AffineMatrix2& b, double tolerance) noexcept {
  return detail::elementsWithin(a.data(), b.data(), 6, tolerance);
}

}  // namespace krLinear
