#include <kr/linear/range.h>

#include <algorithm>

namespace krLinear {

namespace {

// Intersects one axis in place: [lo, hi] becomes the overlap, or the middle of a gap no wider
// than the tolerance. Returns false when the gap is wider.
bool intersectAxis(double aLo, double aHi, double bLo, double bHi, double tolerance, double& lo,
                   double& hi) {
  lo = std::max(aLo, bLo);
  hi = std::min(aHi, bHi);
  if (lo <= hi) return true;
  if (lo - hi > tolerance) return false;
  lo = hi = (lo + hi) * 0.5;
  return true;
}

// Intersects N-axis ranges axis by axis; they meet only when every axis does.
template <int N, class Range>
bool intersectAxes(const Range& a, const Range& b, Range& result, double tolerance) {
  auto lo = a.lower(), hi = a.upper();
  bool meet = !a.isEmpty() && !b.isEmpty();
  for (int i = 0; meet && i < N; ++i)
    meet = intersectAxis(a.lower()[i], a.upper()[i], b.lower()[i], b.upper()[i], tolerance, lo[i],
                         hi[i]);
  if (meet)
    result.set(lo, hi);
  else
    result.setEmpty();
  return meet;
}

}  // namespace

bool intersect(const Range1d& a, const Range1d& b, Range1d& result, double tolerance) noexcept {
  double lo = 0.0, hi = 0.0;
  if (a.isEmpty() || b.isEmpty() ||
      !intersectAxis(a.lower(), a.upper(), b.lower(), b.upper(), tolerance, lo, hi)) {
    result.setEmpty();
    return false;
  }
  result.set(lo, hi);
  return true;
}

bool intersect(const Range2d& a, const Range2d& b, Range2d& result, double tolerance) noexcept {
  return intersectAxes<2>(a, b, result, tolerance);
}

bool intersect(const Range3d& a, const Range3d& b, Range3d& result, double tolerance) noexcept {
  return intersectAxes<3>(a, b, result, tolerance);
}

Range1d intersect(const Range1d& a, const Range1d& b, double tolerance) noexcept {
  Range1d r;
  intersect(a, b, r, tolerance);
  return r;
}

}  // namespace krLinear
