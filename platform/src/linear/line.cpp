#include <kr/linear/line.h>

namespace krLinear {

Range1d projectParam(const Range3d& box, const Line& line) noexcept {
  if (box.isEmpty()) return Range1d();
  // The parameter is linear in the point, so per axis the lower or upper bound gives the
  // extreme, by the sign of the direction. Axes the direction ignores contribute nothing
  // (skipping them also keeps 0 · infinity out of the sums).
  const Normal& d = line.direction();
  double lo = -dot(line.point().toVector(), d);
  double hi = lo;
  for (int i = 0; i < 3; ++i) {
    if (d[i] == 0.0) continue;
    const double a = box.lower()[i] * d[i], b = box.upper()[i] * d[i];
    lo += a < b ? a : b;
    hi += a < b ? b : a;
  }
  return {lo, hi};
}

}  // namespace krLinear
