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
  constexpr double size() const noexcept { return lo_ > hi_ ? 0.0 : hi_ - lo_; }
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

namespace detail {

// The bounds and operations Range2d and Range3d share. Derived is the concrete range, Corner the
// type of its corners (Point2 or Point), Size the matching vector type and N the number of axes.
template <class Derived, class Corner, class Size, int N>
class BoxRange {
 public:
  // The empty range.
  constexpr BoxRange() noexcept { setEmpty(); }
  // From the lower and upper corners; lower > upper on an axis gives an empty range.
  constexpr BoxRange(const Corner& lower, const Corner& upper) noexcept : lo_(lower), hi_(upper) {}

  // Bounds
  constexpr const Corner& lower() const noexcept { return lo_; }
  constexpr const Corner& upper() const noexcept { return hi_; }
  constexpr void set(const Corner& lower, const Corner& upper) noexcept {
    lo_ = lower;
    hi_ = upper;
  }
  // The single point p.
  constexpr void set(const Corner& p) noexcept { set(p, p); }
  // The interval of one axis (0 x, 1 y, 2 z).
  constexpr Range1d axis(int i) const noexcept { return {lo_[i], hi_[i]}; }

  // States
  constexpr void setEmpty() noexcept { setEveryAxis(kInfinity, -kInfinity); }
  constexpr void setUnbounded() noexcept { setEveryAxis(-kInfinity, kInfinity); }
  constexpr bool isEmpty() const noexcept {
    for (int i = 0; i < N; ++i)
      if (axis(i).isEmpty()) return true;
    return false;
  }
  constexpr bool isUnbounded() const noexcept {
    for (int i = 0; i < N; ++i)
      if (!axis(i).isUnbounded()) return false;
    return true;
  }

  // Measures
  // upper − lower per axis; 0 on an empty axis.
  constexpr Size size() const noexcept {
    Size s;
    for (int i = 0; i < N; ++i) s[i] = axis(i).size();
    return s;
  }
  // The centre; meaningful for bounded, non-empty ranges only.
  constexpr Corner mid() const noexcept {
    Corner m;
    for (int i = 0; i < N; ++i) m[i] = axis(i).mid();
    return m;
  }
  // True when p lies in the closed range.
  constexpr bool contains(const Corner& p) const noexcept {
    for (int i = 0; i < N; ++i)
      if (!axis(i).contains(p[i])) return false;
    return true;
  }

  // Growing
  constexpr void include(const Corner& p) noexcept {
    for (int i = 0; i < N; ++i) {
      lo_[i] = std::min(lo_[i], p[i]);
      hi_[i] = std::max(hi_[i], p[i]);
    }
  }
  // Widens the range to contain r (an empty r changes nothing).
  constexpr void include(const Derived& r) noexcept {
    if (r.isEmpty()) return;
    include(r.lower());
    include(r.upper());
  }

  constexpr bool operator==(const BoxRange&) const noexcept = default;

 private:
  constexpr void setEveryAxis(double lo, double hi) noexcept {
    for (int i = 0; i < N; ++i) {
      lo_[i] = lo;
      hi_[i] = hi;
    }
  }

  Corner lo_;
  Corner hi_;
};

}  // namespace detail

// An axis-aligned rectangle of doubles.
class Range2d : public detail::BoxRange<Range2d, Point2, Vector2, 2> {
 public:
  // Construction: the empty Range2d(), or Range2d(lower, upper).
  using BoxRange::BoxRange;

  constexpr bool operator==(const Range2d&) const noexcept = default;
};

// An axis-aligned box of doubles.
class Range3d : public detail::BoxRange<Range3d, Point, Vector, 3> {
 public:
  // Construction: the empty Range3d(), or Range3d(lower, upper).
  using BoxRange::BoxRange;
  constexpr Range3d() noexcept = default;
  // From the per-axis minima and maxima.
  constexpr Range3d(double xlo, double ylo, double zlo, double xhi, double yhi, double zhi) noexcept
      : BoxRange({xlo, ylo, zlo}, {xhi, yhi, zhi}) {}

  constexpr bool operator==(const Range3d&) const noexcept = default;
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
