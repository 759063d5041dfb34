// Intervals and axis-aligned boxes in double precision: Range1d, Range2d, Range3d.
//
// Each axis has a lower and an upper bound. A range is in one of these states:
//   - empty: lower > upper on some axis. The default range is empty with lower = +infinity and
//     upper = −infinity, so include() needs no special case: the first point included gives
//     exactly that point. setEmpty() restores this state.
//   - unbounded: every axis spans −infinity to +infinity (setUnbounded()); the whole space.
//   - bounded: anything else that is not empty. A half-infinite range is neither empty nor
//     unbounded.
//
//   krLinear::Range3d box;                  // empty
//   box.include(krLinear::Point(1, 2, 3));  // the single point (1, 2, 3)
//   box.include(krLinear::Point(0, 0, 0));  // [0,1] x [0,2] x [0,3]
//
// Plain values; the usual rules of value types apply (one thread per object).
#pragma once

#include <kr/export.h>
#include <kr/linear/point.h>
#include <kr/linear/point2.h>
#include <kr/linear/tolerance.h>

#include <algorithm>
#include <limits>

namespace krLinear {

namespace detail {
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();
// Extent of one axis: 0 for an empty axis, so that size() of an empty range is zero.
constexpr double axisSize(double lo, double hi) noexcept {
  return lo > hi ? 0.0 : hi - lo;
}
}  // namespace detail

// A closed interval [lower, upper] of doubles.
class Range1d {
 public:
  // Construction
  // The empty interval.
  constexpr Range1d() noexcept = default;
  // [lower, upper]; lower > upper gives an empty interval.
  constexpr Range1d(double lower, double upper) noexcept : lo_(lower), hi_(upper) {}

  // Bounds
  constexpr double lower() const noexcept { return lo_; }
  constexpr double upper() const noexcept { return hi_; }
  constexpr void set(double lower, double upper) noexcept {
    lo_ = lower;
    hi_ = upper;
  }
  // The single value v.
  constexpr void set(double v) noexcept { set(v, v); }
  constexpr void setLower(double v) noexcept { lo_ = v; }
  constexpr void setUpper(double v) noexcept { hi_ = v; }

  // States
  constexpr void setEmpty() noexcept { set(detail::kInfinity, -detail::kInfinity); }
  constexpr void setUnbounded() noexcept { set(-detail::kInfinity, detail::kInfinity); }
  constexpr bool isEmpty() const noexcept { return lo_ > hi_; }
  constexpr bool isUnbounded() const noexcept {
    return lo_ == -detail::kInfinity && hi_ == detail::kInfinity;
  }

  // Measures
  // upper − lower; 0 when empty.
  constexpr double size() const noexcept { return detail::axisSize(lo_, hi_); }
  // (lower + upper) / 2; meaningful for bounded, non-empty intervals only.
  constexpr double mid() const noexcept { return (lo_ + hi_) * 0.5; }
  // True when lower ≤ v ≤ upper.
  constexpr bool contains(double v) const noexcept { return lo_ <= v && v <= hi_; }

  // Growing
  // Widens the interval to contain v.
  constexpr void include(double v) noexcept {
    lo_ = std::min(lo_, v);
    hi_ = std::max(hi_, v);
  }
  // Widens the interval to contain r (an empty r changes nothing).
  constexpr void include(const Range1d& r) noexcept {
    if (r.isEmpty()) return;
    include(r.lo_);
    include(r.hi_);
  }

  constexpr bool operator==(const Range1d&) const noexcept = default;

 private:
  double lo_ = detail::kInfinity;
  double hi_ = -detail::kInfinity;
};

// An axis-aligned rectangle of doubles.
class Range2d {
 public:
  // The empty rectangle.
  constexpr Range2d() noexcept
      : lo_(detail::kInfinity, detail::kInfinity), hi_(-detail::kInfinity, -detail::kInfinity) {}
  // From the lower and upper corners; lower > upper on an axis gives an empty rectangle.
  constexpr Range2d(const Point2& lower, const Point2& upper) noexcept : lo_(lower), hi_(upper) {}

  // Bounds
  constexpr const Point2& lower() const noexcept { return lo_; }
  constexpr const Point2& upper() const noexcept { return hi_; }
  constexpr void set(const Point2& lower, const Point2& upper) noexcept {
    lo_ = lower;
    hi_ = upper;
  }
  // The single point p.
  constexpr void set(const Point2& p) noexcept { set(p, p); }
  // The interval of one axis (0 x, 1 y).
  constexpr Range1d axis(int i) const noexcept { return {lo_[i], hi_[i]}; }

  // States
  constexpr void setEmpty() noexcept { *this = Range2d(); }
  constexpr void setUnbounded() noexcept {
    set({-detail::kInfinity, -detail::kInfinity}, {detail::kInfinity, detail::kInfinity});
  }
  constexpr bool isEmpty() const noexcept { return lo_.x() > hi_.x() || lo_.y() > hi_.y(); }
  constexpr bool isUnbounded() const noexcept {
    return axis(0).isUnbounded() && axis(1).isUnbounded();
  }

  // Measures
  // upper − lower per axis; 0 on an empty axis.
  constexpr Vector2 size() const noexcept {
    return {detail::axisSize(lo_.x(), hi_.x()), detail::axisSize(lo_.y(), hi_.y())};
  }
  // The centre; meaningful for bounded, non-empty rectangles only.
  constexpr Point2 mid() const noexcept {
    return {(lo_.x() + hi_.x()) * 0.5, (lo_.y() + hi_.y()) * 0.5};
  }
  // True when p lies in the closed rectangle.
  constexpr bool contains(const Point2& p) const noexcept {
    return axis(0).contains(p.x()) && axis(1).contains(p.y());
  }

  // Growing
  constexpr void include(const Point2& p) noexcept {
    for (int i = 0; i < 2; ++i) {
      lo_[i] = std::min(lo_[i], p[i]);
      hi_[i] = std::max(hi_[i], p[i]);
    }
  }
  constexpr void include(const Range2d& r) noexcept {
    if (r.isEmpty()) return;
    include(r.lo_);
    include(r.hi_);
  }

  constexpr bool operator==(const Range2d&) const noexcept = default;

 private:
  Point2 lo_;
  Point2 hi_;
};

// An axis-aligned box of doubles.
class Range3d {
 public:
  // The empty box.
  constexpr Range3d() noexcept
      : lo_(detail::kInfinity, detail::kInfinity, detail::kInfinity),
        hi_(-detail::kInfinity, -detail::kInfinity, -detail::kInfinity) {}
  // From the lower and upper corners; lower > upper on an axis gives an empty box.
  constexpr Range3d(const Point& lower, const Point& upper) noexcept : lo_(lower), hi_(upper) {}
  // From the per-axis minima and maxima.
  constexpr Range3d(double xlo, double ylo, double zlo, double xhi, double yhi, double zhi) noexcept
      : lo_(xlo, ylo, zlo), hi_(xhi, yhi, zhi) {}

  // Bounds
  constexpr const Point& lower() const noexcept { return lo_; }
  constexpr const Point& upper() const noexcept { return hi_; }
  constexpr void set(const Point& lower, const Point& upper) noexcept {
    lo_ = lower;
    hi_ = upper;
  }
  // The single point p.
  constexpr void set(const Point& p) noexcept { set(p, p); }
  // The interval of one axis (0 x, 1 y, 2 z).
  constexpr Range1d axis(int i) const noexcept { return {lo_[i], hi_[i]}; }

  // States
  constexpr void setEmpty() noexcept { *this = Range3d(); }
  constexpr void setUnbounded() noexcept {
    constexpr double inf = detail::kInfinity;
    set({-inf, -inf, -inf}, {inf, inf, inf});
  }
  constexpr bool isEmpty() const noexcept {
    return lo_.x() > hi_.x() || lo_.y() > hi_.y() || lo_.z() > hi_.z();
  }
  constexpr bool isUnbounded() const noexcept {
    return axis(0).isUnbounded() && axis(1).isUnbounded() && axis(2).isUnbounded();
  }

  // Measures
  // upper − lower per axis; 0 on an empty axis.
  constexpr Vector size() const noexcept {
    return {detail::axisSize(lo_.x(), hi_.x()), detail::axisSize(lo_.y(), hi_.y()),
            detail::axisSize(lo_.z(), hi_.z())};
  }
  // The centre; meaningful for bounded, non-empty boxes only.
  constexpr Point mid() const noexcept {
    return {(lo_.x() + hi_.x()) * 0.5, (lo_.y() + hi_.y()) * 0.5, (lo_.z() + hi_.z()) * 0.5};
  }
  // True when p lies in the closed box.
  constexpr bool contains(const Point& p) const noexcept {
    return axis(0).contains(p.x()) && axis(1).contains(p.y()) && axis(2).contains(p.z());
  }

  // Growing
  constexpr void include(const Point& p) noexcept {
    for (int i = 0; i < 3; ++i) {
      lo_[i] = std::min(lo_[i], p[i]);
      hi_[i] = std::max(hi_[i], p[i]);
    }
  }
  constexpr void include(const Range3d& r) noexcept {
    if (r.isEmpty()) return;
    include(r.lo_);
    include(r.hi_);
  }

  constexpr bool operator==(const Range3d&) const noexcept = default;

 private:
  Point lo_;
  Point hi_;
};

// Intersection of two ranges with a tolerance. The result is [max of lowers, min of uppers]
// per axis. Where that is inverted by no more than `tolerance` (the ranges miss each other by at
// most that gap, or only touch) the axis collapses to the middle of the gap, so nearly touching
// ranges meet in a single value. Returns false, with `result` empty, when on some axis the gap
// is wider than `tolerance` or either range is empty.
KR_PLATFORM_EXPORT bool intersect(const Range1d& a, const Range1d& b, Range1d& result,
                                  double tolerance = epsilonTol) noexcept;
KR_PLATFORM_EXPORT bool intersect(const Range2d& a, const Range2d& b, Range2d& result,
                                  double tolerance = epsilonTol) noexcept;
KR_PLATFORM_EXPORT bool intersect(const Range3d& a, const Range3d& b, Range3d& result,
                                  double tolerance = epsilonTol) noexcept;
// The same intersection returned by value (empty when the ranges do not meet).
KR_PLATFORM_EXPORT Range1d intersect(const Range1d& a, const Range1d& b,
                                     double tolerance = epsilonTol) noexcept;

}  // namespace krLinear
