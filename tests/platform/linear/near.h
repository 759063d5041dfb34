// Tolerant comparisons with readable failure messages for the linear-algebra tests.
#pragma once

#include <kr/linear.h>

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

namespace linear_test {

// Succeeds when the n components of a and b differ by at most tol each.
template <class A, class B>
::testing::AssertionResult componentsNear(const A& a, const B& b, int n, double tol) {
  for (int i = 0; i < n; ++i) {
    if (!(std::abs(a[i] - b[i]) <= tol)) {
      std::ostringstream s;
      s << "component " << i << ": " << a[i] << " vs " << b[i] << " (tolerance " << tol << ")";
      return ::testing::AssertionFailure() << s.str();
    }
  }
  return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult near(const krLinear::Point& a, const krLinear::Point& b,
                                       double tol = 1e-12) {
  return componentsNear(a, b, 3, tol);
}
inline ::testing::AssertionResult near(const krLinear::Vector& a, const krLinear::Vector& b,
                                       double tol = 1e-12) {
  return componentsNear(a, b, 3, tol);
}
inline ::testing::AssertionResult near(const krLinear::AffineMatrix& a,
                                       const krLinear::AffineMatrix& b, double tol = 1e-12) {
  return componentsNear(a.data(), b.data(), 12, tol);
}
inline ::testing::AssertionResult near(const krLinear::ProjMatrix& a, const krLinear::ProjMatrix& b,
                                       double tol = 1e-12) {
  return componentsNear(a.data(), b.data(), 16, tol);
}

}  // namespace linear_test
