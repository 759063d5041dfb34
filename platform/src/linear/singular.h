// Shared test for singular matrices (private to the linear sources).
#pragma once

#include <cmath>
#include <initializer_list>

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

}  // namespace krLinear::detail
