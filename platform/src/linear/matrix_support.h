// Helpers shared by the matrix sources (private to the linear sources).
#pragma once

#include <cmath>
#include <initializer_list>
#include <limits>

namespace krLinear::detail {

// A matrix is treated as singular when |det| is at most this fraction of the product of its row
// lengths (Hadamard's bound, which |det| never exceeds). The ratio is the sine-like "volume" of
// the rows and does not change when the matrix is scaled, so tiny and huge transforms are judged
// alike; 1e-12 leaves about four digits of a double's sixteen in the inverse.
inline constexpr double kSingularRatio = 1e-12;

// True when `det` is negligible against the rows' lengths (squared lengths given).
inline bool isSingular(double det, std::initializer_list<double> rowLengths2) {
  double bound2 = 1.0;
  for (double l2 : rowLengths2) bound2 *= l2;
  return !(det * det > kSingularRatio * kSingularRatio * bound2);
}

// The inverse of m, or a Rows x Cols matrix of NaNs when m is singular, so that the failure
// shows downstream.
template <int Rows, int Cols, class Matrix>
Matrix inverseOrNaN(Matrix m) {
  if (!m.invert())
    for (int r = 0; r < Rows; ++r)
      for (int c = 0; c < Cols; ++c) m(r, c) = std::numeric_limits<double>::quiet_NaN();
  return m;
}

// True when each of the n elements of a and b differs by at most `tolerance`.
inline bool elementsWithin(const double* a, const double* b, int n, double tolerance) {
  for (int i = 0; i < n; ++i)
    if (!(std::abs(a[i] - b[i]) <= tolerance)) return false;
  return true;
}

}  // namespace krLinear::detail
