// ProjMatrix: a projective transform as 4 x 4 doubles, for viewing (eye to clip space and the
// like). Same conventions as AffineMatrix: homogeneous row vectors on the left, so p' = p * m and
// a * b applies a first. An AffineMatrix converts implicitly (its columns 0..2, with column 3
// set to (0, 0, 0, 1)). Points go through HPoint (<kr/linear/homogeneous.h>).
//
// Plain values; the usual rules of value types apply (one thread per object).
#pragma once

#include <kr/export.h>
#include <kr/linear/matrix.h>
#include <kr/linear/tolerance.h>

namespace krLinear {

class KR_PLATFORM_EXPORT ProjMatrix {
 public:
  // Construction
  // The identity.
  constexpr ProjMatrix() noexcept
      : m_{{1.0, 0.0, 0.0, 0.0}, {0.0, 1.0, 0.0, 0.0}, {0.0, 0.0, 1.0, 0.0}, {0.0, 0.0, 0.0, 1.0}} {
  }
  static constexpr ProjMatrix identity() noexcept { return {}; }
  // The affine transform as a projective one (implicit: the conversion is exact).
  constexpr ProjMatrix(const AffineMatrix& a) noexcept : m_{} {
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 3; ++c) m_[r][c] = a(r, c);
    m_[3][3] = 1.0;
  }

  // Elements
  // Element at row r (0..3), column c (0..3).
  constexpr double& operator()(int r, int c) noexcept { return m_[r][c]; }
  constexpr double operator()(int r, int c) const noexcept { return m_[r][c]; }
  // The sixteen elements, row by row.
  constexpr const double* data() const noexcept { return &m_[0][0]; }
  constexpr void setIdentity() noexcept { *this = ProjMatrix(); }
  // Sets every element to 0.
  constexpr void setZero() noexcept {
    for (auto& row : m_)
      for (double& e : row) e = 0.0;
  }

  // Determinant and inverses
  double determinant() const noexcept;
  // Inverts in place (Gauss-Jordan with partial pivoting). A singular matrix (relative volume
  // below 1e-12 of its row lengths' product) is left unchanged and false is returned.
  bool invert() noexcept;
  // The inverse; a singular matrix gives a matrix of NaNs, so the failure shows downstream.
  ProjMatrix inverse() const noexcept;

  // Composition: *this = *this * b (this transform first, then b).
  ProjMatrix& operator*=(const ProjMatrix& b) noexcept;

  constexpr bool operator==(const ProjMatrix&) const noexcept = default;

 private:
  double m_[4][4];
};

// The product a * b: applies a, then b.
KR_PLATFORM_EXPORT ProjMatrix operator*(const ProjMatrix& a, const ProjMatrix& b) noexcept;
// The inverse of m, as m.inverse().
inline ProjMatrix inverse(const ProjMatrix& m) noexcept {
  return m.inverse();
}
// True when every element of a and b differs by at most `tolerance`.
KR_PLATFORM_EXPORT bool equivalent(const ProjMatrix& a, const ProjMatrix& b,
                                   double tolerance = epsilonTol) noexcept;

}  // namespace krLinear
