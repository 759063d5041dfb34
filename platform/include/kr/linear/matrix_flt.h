// AffineMatrixFlt: the single-precision twin of AffineMatrix (4 rows x 3 columns of floats, same
// row-vector convention), for transforming float data without widening it.
//
// Plain values; the usual rules of value types apply (one thread per object).
#pragma once

#include <kr/linear/matrix.h>
#include <kr/linear/point_flt.h>

namespace krLinear {

class AffineMatrixFlt {
 public:
  // Construction
  // The identity.
  constexpr AffineMatrixFlt() noexcept
      : m_{{1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 0.0f}} {}
  static constexpr AffineMatrixFlt identity() noexcept { return {}; }
  // Rounds each element to the nearest float.
  explicit constexpr AffineMatrixFlt(const AffineMatrix& m) noexcept : m_{} {
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 3; ++c) m_[r][c] = static_cast<float>(m(r, c));
  }
  // Exact widening to double.
  explicit constexpr operator AffineMatrix() const noexcept {
    AffineMatrix d;
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 3; ++c) d(r, c) = m_[r][c];
    return d;
  }

  // Elements
  // Element at row r (0..3), column c (0..2).
  constexpr float& operator()(int r, int c) noexcept { return m_[r][c]; }
  constexpr float operator()(int r, int c) const noexcept { return m_[r][c]; }
  // The twelve elements, row by row.
  constexpr const float* data() const noexcept { return &m_[0][0]; }
  constexpr void setIdentity() noexcept { *this = AffineMatrixFlt(); }

  constexpr bool operator==(const AffineMatrixFlt&) const noexcept = default;

 private:
  float m_[4][3];
};

// The transformed point p * m, computed in float.
constexpr PointFlt operator*(const PointFlt& p, const AffineMatrixFlt& m) noexcept {
  return {p.x() * m(0, 0) + p.y() * m(1, 0) + p.z() * m(2, 0) + m(3, 0),
          p.x() * m(0, 1) + p.y() * m(1, 1) + p.z() * m(2, 1) + m(3, 1),
          p.x() * m(0, 2) + p.y() * m(1, 2) + p.z() * m(2, 2) + m(3, 2)};
}
// The transformed vector v * m (no translation), computed in float.
constexpr VectorFlt operator*(const VectorFlt& v, const AffineMatrixFlt& m) noexcept {
  return {v.x() * m(0, 0) + v.y() * m(1, 0) + v.z() * m(2, 0),
          v.x() * m(0, 1) + v.y() * m(1, 1) + v.z() * m(2, 1),
          v.x() * m(0, 2) + v.y() * m(1, 2) + v.z() * m(2, 2)};
}

}  // namespace krLinear
