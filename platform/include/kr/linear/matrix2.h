// AffineMatrix2: a 2D affine transform as 3 rows x 2 columns of doubles. Same conventions as
// AffineMatrix: row vectors on the left, rows 0..1 the linear part, row 2 the translation.
//
// Plain values; the usual rules of value types apply (one thread per object).
#pragma once

#include <kr/export.h>
#include <kr/linear/point2.h>
#include <kr/linear/tolerance.h>

namespace krLinear {

class KR_PLATFORM_EXPORT AffineMatrix2 {
 public:
  // Construction
  // The identity.
  constexpr AffineMatrix2() noexcept : AffineMatrix2(1.0) {}
  // `s` on the diagonal of the linear part, zero elsewhere.
  explicit constexpr AffineMatrix2(double s) noexcept : m_{{s, 0.0}, {0.0, s}, {0.0, 0.0}} {}
  static constexpr AffineMatrix2 identity() noexcept { return AffineMatrix2(1.0); }

  // Elements
  // Element at row r (0..2), column c (0..1).
  constexpr double& operator()(int r, int c) noexcept { return m_[r][c]; }
  constexpr double operator()(int r, int c) const noexcept { return m_[r][c]; }
  // The six elements, row by row.
  constexpr const double* data() const noexcept { return &m_[0][0]; }
  constexpr void setIdentity() noexcept { *this = AffineMatrix2(1.0); }

  // Determinant and inverses
  // Determinant of the linear (2 x 2) part.
  constexpr double det2x2() const noexcept { return m_[0][0] * m_[1][1] - m_[0][1] * m_[1][0]; }
  // Inverts in place; a singular matrix is left unchanged and false is returned.
  bool invert() noexcept;
  // The inverse; a singular matrix gives a matrix of NaNs.
  AffineMatrix2 inverse() const noexcept;

  // Composition: *this = *this * b (this transform first, then b).
  AffineMatrix2& operator*=(const AffineMatrix2& b) noexcept;

  constexpr bool operator==(const AffineMatrix2&) const noexcept = default;

 private:
  double m_[3][2];
};

// The product a * b: applies a, then b.
KR_PLATFORM_EXPORT AffineMatrix2 operator*(const AffineMatrix2& a, const AffineMatrix2& b) noexcept;

// The transformed point p * m (with translation).
constexpr Point2 operator*(const Point2& p, const AffineMatrix2& m) noexcept {
  return {p.x() * m(0, 0) + p.y() * m(1, 0) + m(2, 0), p.x() * m(0, 1) + p.y() * m(1, 1) + m(2, 1)};
}
// The transformed vector v * m (no translation).
constexpr Vector2 operator*(const Vector2& v, const AffineMatrix2& m) noexcept {
  return {v.x() * m(0, 0) + v.y() * m(1, 0), v.x() * m(0, 1) + v.y() * m(1, 1)};
}

// True when every element of a and b differs by at most `tolerance`.
KR_PLATFORM_EXPORT bool equivalent(const AffineMatrix2& a, const AffineMatrix2& b,
                                   double tolerance = epsilonTol) noexcept;

}  // namespace krLinear
