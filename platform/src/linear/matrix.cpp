#include <kr/linear/matrix.h>

#include "matrix_support.h"

#include <cmath>

namespace krLinear {

AffineMatrix AffineMatrix::translation(const Vector& d) noexcept {
  AffineMatrix m;
  m.setRow(3, d);
  return m;
}

AffineMatrix AffineMatrix::scaling(double sx, double sy, double sz) noexcept {
  AffineMatrix m;
  m(0, 0) = sx;
  m(1, 1) = sy;
  m(2, 2) = sz;
  return m;
}

AffineMatrix AffineMatrix::rotation(const Vector& axis, double radians) noexcept {
  Vector k = axis;
  if (k.normalise() == 0.0) return AffineMatrix();
  // Rodrigues' formula transposed for row vectors: c·I − s·[k]× + (1 − c)·k kᵀ.
  double c = std::cos(radians), s = std::sin(radians), t = 1.0 - c;
  double x = k.x(), y = k.y(), z = k.z();
  AffineMatrix m;
  m.setRow(0, {t * x * x + c, t * x * y + s * z, t * x * z - s * y});
  m.setRow(1, {t * x * y - s * z, t * y * y + c, t * y * z + s * x});
  m.setRow(2, {t * x * z + s * y, t * y * z - s * x, t * z * z + c});
  return m;
}

void AffineMatrix::setFrame(const Point& origin, const Vector& xAxis, const Vector& yAxis,
                            const Vector& zAxis) noexcept {
  setRow(0, xAxis);
  setRow(1, yAxis);
  setRow(2, zAxis);
  setRow(3, origin.toVector());
}

double AffineMatrix::det3x3() const noexcept {
  return dot(row(0), cross(row(1), row(2)));
}

namespace {

// The cofactors of the linear part laid out as the rows of the inverse transpose times det:
// row i of the result is (row j × row k) for (i, j, k) cyclic.
void cofactorRows(const AffineMatrix& m, Vector out[3]) {
  out[0] = cross(m.row(1), m.row(2));
  out[1] = cross(m.row(2), m.row(0));
  out[2] = cross(m.row(0), m.row(1));
}

bool linearPartSingular(const AffineMatrix& m, double det) {
  return detail::isSingular(
      det, {m.row(0).lengthSquared(), m.row(1).lengthSquared(), m.row(2).lengthSquared()});
}

}  // namespace

bool AffineMatrix::invert() noexcept {
  double det = det3x3();
  if (linearPartSingular(*this, det)) return false;
  // inverse(L) = transpose(cofactors) / det; the translation t becomes −t · inverse(L).
  Vector cof[3];
  cofactorRows(*this, cof);
  AffineMatrix inv;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) inv(r, c) = cof[c][r] / det;
  inv.setRow(3, -(row(3) * inv));
  *this = inv;
  return true;
}

AffineMatrix AffineMatrix::inverse() const noexcept {
  return detail::inverseOrNaN<4, 3>(*this);
}

bool AffineMatrix::normalMatrix(AffineMatrix& result) const noexcept {
  double det = det3x3();
  if (linearPartSingular(*this, det)) return false;
  Vector cof[3];
  cofactorRows(*this, cof);
  AffineMatrix n;
  for (int r = 0; r < 3; ++r) n.setRow(r, cof[r] / det);
  n.setRow(3, Vector());
  result = n;
  return true;
}

AffineMatrix& AffineMatrix::operator*=(const AffineMatrix& b) noexcept {
  return *this = *this * b;
}

AffineMatrix operator*(const AffineMatrix& a, const AffineMatrix& b) noexcept {
  AffineMatrix r;
  for (int i = 0; i < 3; ++i) r.setRow(i, a.row(i) * b);
  r.setRow(3, (Point::origin() + a.row(3)) * b - Point::origin());
  return r;
}

bool equivalent(const AffineMatrix& a, const AffineMatrix& b, double tolerance) noexcept {
  return detail::elementsWithin(a.data(), b.data(), 12, tolerance);
}

}  // namespace krLinear
