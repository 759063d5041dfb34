// The search cache of KDTreeImpl: the pre-order ranks of the nodes, then a balanced k-d tree
// over copies of the points.
#include "kd_tree_impl.h"

#include <algorithm>
#include <limits>

namespace krGeom {

namespace {

using Point = KDTreeImpl::Point;

struct Builder {
  Point* points;
  float* splits;
  std::uint8_t* axes;
  int depth;

  // Splits points [lo, hi) at the median of the axis along which they spread most, judged on
  // at most about 64 of them. The points' spread rather than the cell's shape: on a curved
  // surface the cell's longest side often runs across the surface, where the points hardly
  // spread, and its leaves then straddle every box that cuts the surface.
  void build(std::size_t k, std::uint32_t lo, std::uint32_t hi, int level) {
    if (level == depth) return;
    constexpr float inf = std::numeric_limits<float>::infinity();
    float low[3] = {inf, inf, inf}, high[3] = {-inf, -inf, -inf};
    for (std::uint32_t p = lo, step = (hi - lo) / 64 + 1; p < hi; p += step)
      for (int a = 0; a < 3; ++a)
        low[a] = std::min(low[a], points[p].xyz[a]), high[a] = std::max(high[a], points[p].xyz[a]);
    int axis = 0;
    for (int a = 1; a < 3; ++a)
      if (high[a] - low[a] > high[axis] - low[axis]) axis = a;
    const std::uint32_t mid = lo + (hi - lo) / 2;
    float split = 0;
    if (hi > lo) {
      std::nth_element(
          points + lo, points + mid, points + hi,
          [axis](const Point& p, const Point& q) { return p.xyz[axis] < q.xyz[axis]; });
      split = points[mid].xyz[axis];
    }
    splits[k] = split;
    axes[k] = static_cast<std::uint8_t>(axis);
    build(2 * k + 1, lo, mid, level + 1);
    build(2 * k + 2, mid, hi, level + 1);
  }
};

}  // namespace

bool KDTreeImpl::prepareCache() const {
  if (cacheFresh) return true;
  if (hasNaN) return false;
  // Rebuild once the tree has grown by an eighth since the last build, or once searches of
  // the plain tree have visited as many nodes as the tree holds. Both bound the rebuild cost
  // by a constant factor of the inserts and searches that preceded it, also when single
  // inserts and searches alternate.
  const std::int64_t grown = count - cachedCount;
  if (8 * grown < count && staleWork < count) return false;
  buildCache();
  cachedCount = count;
  staleWork = 0;
  cacheFresh = true;
  return true;
}

void KDTreeImpl::buildCache() const {
  const auto n = static_cast<std::uint32_t>(count);
  // Pre-order ranks by two linear passes, whose memory accesses are independent of each
  // other (unlike a walk along the links). A child is always inserted after its parent, so
  // going down the array meets children first: `a` is then the size of each subtree. Going
  // up, each parent turns its children's sizes into their ranks.
  std::vector<std::uint32_t> a(n);
  for (std::uint32_t i = n; i-- > 0;) {
    const Node& node = nodes[i];
    a[i] = 1 + (node.low ? a[node.low] : 0) + (node.high ? a[node.high] : 0);
  }
  if (n) a[0] = 0;
  std::vector<Point> points(n);
  constexpr float inf = std::numeric_limits<float>::infinity();
  float bounds[6] = {inf, inf, inf, -inf, -inf, -inf};
  for (std::uint32_t i = 0; i < n; ++i) {
    const Node& node = nodes[i];
    const float* p = xyz.get() + 3 * std::size_t{i};
    const std::uint32_t rank = a[i];
    const std::uint32_t lowSize = node.low ? a[node.low] : 0;
    if (node.low) a[node.low] = rank + 1;
    if (node.high) a[node.high] = rank + 1 + lowSize;
    points[i] = Point{{p[0], p[1], p[2]}, node.index, rank};
    for (int k = 0; k < 3; ++k)
      bounds[k] = std::min(bounds[k], p[k]), bounds[3 + k] = std::max(bounds[3 + k], p[k]);
  }
  std::copy(bounds, bounds + 6, cacheBounds);

  int depth = 0;
  while ((static_cast<std::uint64_t>(kLeafSize) << depth) < n) ++depth;
  cacheDepth = depth;
  const std::size_t inner = (std::size_t{1} << depth) - 1;
  cacheSplits.resize(inner);
  cacheAxes.resize(inner);
  Builder{points.data(), cacheSplits.data(), cacheAxes.data(), depth}.build(0, 0, n, 0);
  // Searches test coordinates and copy keys: apart, each pass reads only what it uses.
  cacheXyz.resize(3 * std::size_t{n});
  cacheKeys.resize(n);
  for (std::uint32_t i = 0; i < n; ++i) {
    const Point& p = points[i];
    std::copy(p.xyz, p.xyz + 3, cacheXyz.data() + 3 * std::size_t{i});
    cacheKeys[i] = std::uint64_t{p.rank} << 32 | static_cast<std::uint32_t>(p.index);
  }
}

}  // namespace krGeom
