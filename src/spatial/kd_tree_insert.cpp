// KDTree insertion. insert() stores the point in the next node; linkPending() links a batch of
// such nodes into the tree. Each node's walk down from the root is a chain of dependent loads
// that mostly miss the cache, so the batch walks them side by side: first every walk through
// the tree as it was before the batch (read only, so the walks are independent), then, in
// insertion order, each walk resumes where it stopped, below any nodes of the batch linked
// before it. The tree comes out exactly as one-by-one insertion makes it.
#include <geom/spatial/kd_tree.h>

#include "kd_tree_impl.h"

#include <cassert>
#include <cstddef>
#include <cstdint>

namespace krGeom {

namespace {

using Node = KDTreeImpl::Node;

int nextAxis(int axis) {
  return axis == 2 ? 0 : axis + 1;
}

// Follows the walk of the point `p` from node `at` (split axis `axis`) to the null child where
// it ends; links `fresh` there, giving it its split coordinate.
void linkBelow(Node* nodes, std::uint32_t at, int axis, std::uint32_t fresh, const float* p) {
  for (;;) {
    Node& n = nodes[at];
    std::uint32_t& side = n.split > p[axis] ? n.low : n.high;
    axis = nextAxis(axis);
    if (!side) {
      side = fresh;
      nodes[fresh].split = p[axis];
      return;
    }
    at = side;
  }
}

}  // namespace

void KDTree::insert(const float* points, int i) {
  KDTreeImpl& t = *impl_;
  assert(t.count < t.capacity && "KDTree::insert beyond capacity");
  const float* p = points + 3 * static_cast<std::ptrdiff_t>(i);
  const auto fresh = static_cast<std::uint32_t>(t.count++);
  float* xyz = t.xyz.get() + 3 * std::size_t{fresh};
  xyz[0] = p[0];
  xyz[1] = p[1];
  xyz[2] = p[2];
  t.nodes[fresh] = Node{0, 0, p[0], i};  // the root splits on x; others get theirs when linked
  t.cacheFresh = false;
  // The plain walk skips both subtrees of a node whose coordinate is NaN; the cache would not.
  if (p[0] != p[0] || p[1] != p[1] || p[2] != p[2]) t.hasNaN = true;
  if (fresh - static_cast<std::uint32_t>(t.linked) + 1 >= KDTreeImpl::kBatch) t.linkPending();
}

void KDTreeImpl::linkPending() const {
  auto first = static_cast<std::uint32_t>(linked);
  const auto end = static_cast<std::uint32_t>(count);
  if (first == 0 && end > 0) first = 1;  // node 0 is the root as it stands
  Node* const tree = nodes.get();
  const float* const coords = xyz.get();
  for (std::uint32_t batch = first; batch < end; batch += kBatch) {
    const std::uint32_t m = end - batch < kBatch ? end - batch : kBatch;
    std::uint32_t at[kBatch] = {};
    int axis[kBatch] = {};
    bool walking[kBatch];
    for (std::uint32_t j = 0; j < m; ++j) walking[j] = true;
    // Walk every point through the nodes linked before the batch, one level per round.
    for (bool any = true; any;) {
      any = false;
      for (std::uint32_t j = 0; j < m; ++j) {
        if (!walking[j]) continue;
        const Node& n = tree[at[j]];
        const std::uint32_t side =
            n.split > coords[3 * std::size_t{batch + j} + axis[j]] ? n.low : n.high;
        if (!side) {
          walking[j] = false;  // ends below at[j]
          continue;
        }
#if defined(__GNUC__)
        __builtin_prefetch(tree + side);
#endif
        at[j] = side;
        axis[j] = nextAxis(axis[j]);
        any = true;
      }
    }
    for (std::uint32_t j = 0; j < m; ++j)
      linkBelow(tree, at[j], axis[j], batch + j, coords + 3 * std::size_t{batch + j});
  }
  linked = count;
}

}  // namespace krGeom
