// AffineMatrix: a 3D affine transform as 4 rows x 3 columns of doubles.
//
// Points and vectors are row vectors multiplied on the left: p' = p * m. Rows 0..2 hold the
// images of the x, y and z unit vectors (the linear part) and row 3 the translation, which only
// points receive. The product a * b applies a first, then b.
//
//   krLinear::AffineMatrix m = krLinear::AffineMatrix::scaling(2.0, 2.0, 2.0);
//   m.translate(krLinear::Vector(0.0, 0.0, 5.0));        // scale, then move up
//   krLinear::Point q = krLinear::Point(1, 1, 1) * m;    // (2, 2, 7)
//
// Plain values; the usual rules of value types apply (one thread per object).
#pragma once

#include <kr/export.h>
#include <kr/linear/point.h>
#include <kr/linear/tolerance.h>
#include <kr/linear/vector.h>

namespace krLinear {

class KR_PLATFORM_EXPORT AffineMatrix {
 public:
  // Construction
  // The identity.
  constexpr AffineMatrix() noexcept : AffineMatrix(1.0) {}
  // `s` on the diagonal of the linear part, zero elsewhere: AffineMatrix(1.0) is the identity.
  explicit constexpr AffineMatrix(double s) noexcept
      : m_{{s, 0.0, 0.0}, {0.0, s, 0.0}, {0.0, 0.0, s}, {0.0, 0.0, 0.0}} {}
  static constexpr AffineMatrix identity() noexcept { return AffineMatrix(1.0); }
  // Translation by d.
  static AffineMatrix translation(const Vector& d) noexcept;
  // Scaling along the axes.
  static AffineMatrix scaling(double sx, double sy, double sz) noexcept;
  // Right-handed rotation by `radians` about `axis` through the origin (the axis need not be
  // unit length; a zero axis gives the identity).
  static AffineMatrix rotation(const Vector& axis, double radians) noexcept;

  // Elements
  // Element at row r (0..3), column c (0..2).
  constexpr double& operator()(int r, int c) noexcept { return m_[r][c]; }
  constexpr double operator()(int r, int c) const noexcept { return m_[r][c]; }
  // The twelve elements, row by row.
  constexpr const double* data() const noexcept { return &m_[0][0]; }
  // Row r as a vector.
  constexpr Vector row(int r) const noexcept { return {m_[r][0], m_[r][1], m_[r][2]}; }
  constexpr void setRow(int r, const Vector& v) noexcept {
    m_[r][0] = v.x();
    m_[r][1] = v.y();
    m_[r][2] = v.z();
  }
  constexpr void setIdentity() noexcept { *this = AffineMatrix(1.0); }

  // Building transforms
  // The local-to-world transform of a frame: (1,0,0) maps to origin + xAxis, (0,1,0) to
  // origin + yAxis, (0,0,1) to origin + zAxis. Rows 0..2 become the axes as given (not
  // normalised) and row 3 the origin; every element is overwritten.
  void setFrame(const Point& origin, const Vector& xAxis, const Vector& yAxis,
                const Vector& zAxis) noexcept;
  // Appends a translation: afterwards p * m is the old p * m moved by d.
  void translate(const Vector& d) noexcept { setRow(3, row(3) + d); }

  // Determinant and inverses
  // Determinant of the linear (upper 3 x 3) part; negative for a mirroring transform.
  double det3x3() const noexcept;
  // Inverts in place. A singular matrix (linear part of relative volume below 1e-12 of its
  // row lengths' product) is left unchanged and false is returned.
  bool invert() noexcept;
  // The inverse; a singular matrix gives a matrix of NaNs, so the failure shows downstream.
  AffineMatrix inverse() const noexcept;
  // The transform for normals: the inverse transpose of the linear part, zero translation.
  // Returns false, leaving `result` untouched, when the linear part is singular.
  bool normalMatrix(AffineMatrix& result) const noexcept;

  // Composition: *this = *this * b (this transform first, then b).
  AffineMatrix& operator*=(const AffineMatrix& b) noexcept;

  // Exact element-wise equality; see equivalent() for a tolerant test.
  constexpr bool operator==(const AffineMatrix&) const noexcept = default;

 private:
  double m_[4][3];
};

// The product a * b: applies a, then b.
KR_PLATFORM_EXPORT AffineMatrix operator*(const AffineMatrix& a, const AffineMatrix& b) noexcept;

// The transformed point p * m (with translation).
constexpr Point operator*(const Point& p, const AffineMatrix& m) noexcept {
  return {p.x() * m(0, 0) + p.y() * m(1, 0) + p.z() * m(2, 0) + m(3, 0),
          p.x() * m(0, 1) + p.y() * m(1, 1) + p.z() * m(2, 1) + m(3, 1),
          p.x() * m(0, 2) + p.y() * m(1, 2) + p.z() * m(2, 2) + m(3, 2)};
}
// The transformed vector v * m (linear part only, no translation). A Normal passed here is
// transformed as a plain vector; use normalMatrix() for surface normals.
constexpr Vector operator*(const Vector& v, const AffineMatrix& m) noexcept {
  return {v.x() * m(0, 0) + v.y() * m(1, 0) + v.z() * m(2, 0),
          v.x() * m(0, 1) + v.y() * m(1, 1) + v.z() * m(2, 1),
          v.x() * m(0, 2) + v.y() * m(1, 2) + v.z() * m(2, 2)};
}

// The inverse of m, as m.inverse().
inline AffineMatrix inverse(const AffineMatrix& m) noexcept {
  return m.inverse();
}
// Determinant of m's linear part, as m.det3x3().
inline double det3x3(const AffineMatrix& m) noexcept {
  return m.det3x3();
}
// True when every element of a and b differs by at most `tolerance`.
KR_PLATFORM_EXPORT bool equivalent(const AffineMatrix& a, const AffineMatrix& b,
                                   double tolerance = epsilonTol) noexcept;

}  // namespace krLinear
