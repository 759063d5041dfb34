// Single-precision twins of Point, Vector and Point2, for data stored as floats (mesh vertices,
// boxes). Widening to double is implicit and exact; narrowing from double is explicit and rounds
// each coordinate to the nearest float.
//
//   krLinear::PointFlt pf(krLinear::Point(0.1, 0.2, 0.3));   // rounded to nearest
//   krLinear::Point p = pf;                                   // exact
//
// Plain values; the usual rules of value types apply (one thread per object).
#pragma once

#include <kr/linear/point.h>
#include <kr/linear/point2.h>
#include <kr/linear/vector.h>

#include <cmath>

namespace krLinear {

// A 3D vector of floats. Default: zero.
class VectorFlt : public detail::Triple<VectorFlt, float> {
 public:
  // From Triple: construction from x, y, z or (explicit) three consecutive floats, and the
  // components x(), y(), z(), [i], data(), get(out), set(x, y, z).
  using Triple::Triple;
  constexpr VectorFlt() noexcept = default;
  // Rounds each component to the nearest float.
  explicit constexpr VectorFlt(const Vector& v) noexcept
      : Triple(static_cast<float>(v.x()), static_cast<float>(v.y()), static_cast<float>(v.z())) {}
  // Exact widening to double.
  constexpr operator Vector() const noexcept { return {x(), y(), z()}; }

  // Length, computed in float.
  float length() const noexcept { return std::sqrt(x() * x() + y() * y() + z() * z()); }

  constexpr VectorFlt& operator+=(const VectorFlt& o) noexcept { return addEach(o); }
  constexpr VectorFlt& operator-=(const VectorFlt& o) noexcept { return subtractEach(o); }
  constexpr VectorFlt& operator*=(float s) noexcept { return scaleEach(s); }

  constexpr bool operator==(const VectorFlt&) const noexcept = default;
};

constexpr VectorFlt operator+(VectorFlt a, const VectorFlt& b) noexcept {
  return a += b;
}
constexpr VectorFlt operator-(VectorFlt a, const VectorFlt& b) noexcept {
  return a -= b;
}
constexpr VectorFlt operator*(VectorFlt a, float s) noexcept {
  return a *= s;
}
constexpr VectorFlt operator*(float s, VectorFlt a) noexcept {
  return a *= s;
}

// A 3D point of floats. Default: the origin.
class PointFlt : public detail::Triple<PointFlt, float> {
 public:
  // From Triple: construction from x, y, z or (explicit) three consecutive floats, and the
  // coordinates x(), y(), z(), [i], data(), get(out), set(x, y, z).
  using Triple::Triple;
  constexpr PointFlt() noexcept = default;
  // Rounds each coordinate to the nearest float.
  explicit constexpr PointFlt(const Point& p) noexcept
      : Triple(static_cast<float>(p.x()), static_cast<float>(p.y()), static_cast<float>(p.z())) {}
  // Exact widening to double.
  constexpr operator Point() const noexcept { return {x(), y(), z()}; }

  // set(x, y, z) from Triple, and set from three consecutive values.
  using Triple::set;
  constexpr void set(const float* xyz) noexcept { *this = PointFlt(xyz); }

  constexpr PointFlt& operator+=(const VectorFlt& d) noexcept { return addEach(d); }
  constexpr PointFlt& operator-=(const VectorFlt& d) noexcept { return subtractEach(d); }

  constexpr bool operator==(const PointFlt&) const noexcept = default;
};

constexpr VectorFlt operator-(const PointFlt& a, const PointFlt& b) noexcept {
  return {a.x() - b.x(), a.y() - b.y(), a.z() - b.z()};
}
constexpr PointFlt operator+(PointFlt p, const VectorFlt& d) noexcept {
  return p += d;
}
constexpr PointFlt operator-(PointFlt p, const VectorFlt& d) noexcept {
  return p -= d;
}

// A 2D point of floats. Default: the origin.
class Point2Flt {
 public:
  constexpr Point2Flt() noexcept = default;
  constexpr Point2Flt(float x, float y) noexcept : v_{x, y} {}
  // Rounds each coordinate to the nearest float.
  explicit constexpr Point2Flt(const Tuple2& p) noexcept
      : v_{static_cast<float>(p.x()), static_cast<float>(p.y())} {}
  // Exact widening to double.
  constexpr operator Point2() const noexcept { return {v_[0], v_[1]}; }

  constexpr float x() const noexcept { return v_[0]; }
  constexpr float y() const noexcept { return v_[1]; }
  constexpr float& x() noexcept { return v_[0]; }
  constexpr float& y() noexcept { return v_[1]; }
  constexpr float operator[](int i) const noexcept { return v_[i]; }
  constexpr float& operator[](int i) noexcept { return v_[i]; }
  constexpr const float* data() const noexcept { return v_; }
  // Writes x, y to out[0..1].
  constexpr void get(float* out) const noexcept {
    out[0] = v_[0];
    out[1] = v_[1];
  }
  constexpr void set(float x, float y) noexcept { *this = Point2Flt(x, y); }

  constexpr bool operator==(const Point2Flt&) const noexcept = default;

 private:
  float v_[2] = {0.0f, 0.0f};
};

}  // namespace krLinear
