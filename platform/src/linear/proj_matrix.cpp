#include <kr/linear/proj_matrix.h>

#include "matrix_support.h"

#include <cmath>
#include <utility>

namespace krLinear {

namespace {

using Rows = double[4][4];

double rowLength2(const ProjMatrix& m, int r) {
  return m(r, 0) * m(r, 0) + m(r, 1) * m(r, 1) + m(r, 2) * m(r, 2) + m(r, 3) * m(r, 3);
}

// Gauss-Jordan elimination with partial pivoting on a copy of `m`. Returns the determinant;
// when `inv` is given it receives the inverse (meaningful only for a nonzero determinant).
double eliminate(const ProjMatrix& src, ProjMatrix* inv) {
  Rows a, b;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) {
      a[r][c] = src(r, c);
      b[r][c] = r == c ? 1.0 : 0.0;
    }
  double det = 1.0;
  for (int col = 0; col < 4; ++col) {
    int pivot = col;
    for (int r = col + 1; r < 4; ++r)
      if (std::abs(a[r][col]) > std::abs(a[pivot][col])) pivot = r;
    if (a[pivot][col] == 0.0) return 0.0;
    if (pivot != col) {
      std::swap(a[pivot], a[col]);
      std::swap(b[pivot], b[col]);
      det = -det;
    }
    const double p = a[col][col];
    det *= p;
    for (int c = 0; c < 4; ++c) {
      a[col][c] /= p;
      b[col][c] /= p;
    }
    for (int r = 0; r < 4; ++r) {
      if (r == col || a[r][col] == 0.0) continue;
      const double f = a[r][col];
      for (int c = 0; c < 4; ++c) {
        a[r][c] -= f * a[col][c];
        b[r][c] -= f * b[col][c];
      }
    }
  }
  if (inv)
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c) (*inv)(r, c) = b[r][c];
  return det;
}

bool singular(const ProjMatrix& m, double det) {
  return detail::isSingular(
      det, {rowLength2(m, 0), rowLength2(m, 1), rowLength2(m, 2), rowLength2(m, 3)});
}

}  // namespace

double ProjMatrix::determinant() const noexcept {
  return eliminate(*this, nullptr);
}

bool ProjMatrix::invert() noexcept {
  ProjMatrix inv;
  const double det = eliminate(*this, &inv);
  if (singular(*this, det)) return false;
  *this = inv;
  return true;
}

ProjMatrix ProjMatrix::inverse() const noexcept {
  return detail::inverseOrNaN<4, 4>(*this);
}

ProjMatrix& ProjMatrix::operator*=(const ProjMatrix& b) noexcept {
  return *this = *this * b;
}

ProjMatrix operator*(const ProjMatrix& a, const ProjMatrix& b) noexcept {
  ProjMatrix r;
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j)
      r(i, j) = a(i, 0) * b(0, j) + a(i, 1) * b(1, j) + a(i, 2) * b(2, j) + a(i, 3) * b(3, j);
  return r;
}

bool equivalent(const ProjMatrix& a, const ProjMatrix& b, double tolerance) noexcept {
  return detail::elementsWithin(a.data(), b.data(), 16, tolerance);
}

}  // namespace krLinear
