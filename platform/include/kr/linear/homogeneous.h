// HPoint: a homogeneous point (x, y, z, w), the result of multiplying a point by a ProjMatrix.
//
//   krLinear::HPoint h = worldPoint * worldToClip;
//   if (h.insideView(true)) krLinear::Point ndc = h.toPoint();   // divided by w
//
// Clip space follows the usual convention: a point is in view when w > 0 and −w ≤ x, y, z ≤ w.
//
// Plain values; the usual rules of value types apply (one thread per object).
#pragma once

#include <kr/linear/point.h>
#include <kr/linear/proj_matrix.h>

namespace krLinear {

class HPoint {
 public:
  // Construction
  // (0, 0, 0, 1): the origin.
  constexpr HPoint() noexcept = default;
  constexpr HPoint(double x, double y, double z, double w) noexcept : v_{x, y, z, w} {}
  // The point with weight 1.
  explicit constexpr HPoint(const Point& p) noexcept : v_{p.x(), p.y(), p.z(), 1.0} {}

  // Components (read and write); i in 0..3.
  constexpr double x() const noexcept { return v_[0]; }
  constexpr double y() const noexcept { return v_[1]; }
  constexpr double z() const noexcept { return v_[2]; }
  constexpr double w() const noexcept { return v_[3]; }
  constexpr double& x() noexcept { return v_[0]; }
  constexpr double& y() noexcept { return v_[1]; }
  constexpr double& z() noexcept { return v_[2]; }
  constexpr double& w() noexcept { return v_[3]; }
  constexpr double operator[](int i) const noexcept { return v_[i]; }
  constexpr double& operator[](int i) noexcept { return v_[i]; }
  constexpr const double* data() const noexcept { return v_; }

  // The 3D point (x/w, y/w, z/w). Precondition: w != 0 (otherwise the result is infinite or NaN).
  constexpr Point toPoint() const noexcept { return {v_[0] / v_[3], v_[1] / v_[3], v_[2] / v_[3]}; }

  // True when the clip-space point lies in the view volume: w > 0 (in front of the eye) and
  // −w ≤ x ≤ w and −w ≤ y ≤ w (inside the side planes). With `testDepth` also −w ≤ z ≤ w
  // (between the near and far planes); without it the depth range is ignored. Points on the
  // boundary are inside; NaNs are outside.
  constexpr bool insideView(bool testDepth) const noexcept {
    const double w = v_[3];
    if (!(w > 0.0)) return false;
    if (!(-w <= v_[0] && v_[0] <= w && -w <= v_[1] && v_[1] <= w)) return false;
    return !testDepth || (-w <= v_[2] && v_[2] <= w);
  }

  constexpr bool operator==(const HPoint&) const noexcept = default;

 private:
  double v_[4] = {0.0, 0.0, 0.0, 1.0};
};

// The homogeneous product h * m.
constexpr HPoint operator*(const HPoint& h, const ProjMatrix& m) noexcept {
  HPoint r(0.0, 0.0, 0.0, 0.0);
  for (int c = 0; c < 4; ++c)
    r[c] = h[0] * m(0, c) + h[1] * m(1, c) + h[2] * m(2, c) + h[3] * m(3, c);
  return r;
}
// The point (weight 1) times m.
constexpr HPoint operator*(const Point& p, const ProjMatrix& m) noexcept {
  return HPoint(p) * m;
}

}  // namespace krLinear
