#include <geom/spatial/quadtree.h>

#include <kr/fs_allocator.h>

#include <kr/stopwatch.h>
#include "large_array.h"

#include <algorithm>
#include <cstdint>
#include <memory>

namespace krGeom {

namespace {

using Node = Quadtree::Node;

// One point of the build's working copy: its coordinates next to its index, so that every
// split reads and writes its run sequentially instead of gathering through the remap.
struct Item {
  float x;
  float y;
  int index;
};

// Children first, in quadrant order.
void deleteTree(Node* node) {
  if (!node) return;
  if (!node->isLeaf)
    for (Node* child : node->children) deleteTree(child);
  delete node;
}

// Float equality that counts NaN equal to NaN: a NaN bound gives a NaN centre either way.
bool sameBound(float a, float b) {
  return a == b || (a != a && b != b);
}

bool sameXY(const BoundingBox& a, const BoundingBox& b) {
  float amin[3], amax[3], bmin[3], bmax[3];
  a.minPt(amin);
  a.maxPt(amax);
  b.minPt(bmin);
  b.maxPt(bmax);
  return sameBound(amin[0], bmin[0]) && sameBound(amin[1], bmin[1]) &&
         sameBound(amax[0], bmax[0]) && sameBound(amax[1], bmax[1]);
}

// Where the items of one level and their quadrant codes sit: position i of a run is at
// items[i - offset] and codes[i - offset].
struct View {
  Item* items;
  std::uint8_t* codes;
  int offset;
  Item& operator[](int i) const { return items[i - offset]; }
  std::uint8_t& code(int i) const { return codes[i - offset]; }
};

// True when every item of the run equals the first in x and y (value comparison).
bool allEqual(View items, int first, int end) {
  const float x = items[first].x, y = items[first].y;
  for (int i = first + 1; i < end; ++i)
    if (!(items[i].x == x && items[i].y == y)) return false;
  return true;
}

inline int quadrantOf(float x, float y, float cx, float cy) {
  return int(x >= cx) | (int(y >= cy) << 1);
}

}  // namespace

struct Quadtree::Storage {
  LargeArray<int> remap;
  Node* root = nullptr;

  Storage() = default;
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;
  ~Storage() { deleteTree(root); }
};

// Builds the nodes and the remap of one tree. The root reads the caller's points. Levels 2, 4,
// 6 ... keep their items in `even` at their run positions; levels 3, 5, 7 ... in `odd`, which
// holds one level-2 subtree at a time, shifted by that subtree's first position, so it needs
// only the size of the largest root quadrant. Each item carries the quadrant it takes in the box
// of the node that holds it, computed when it was written there, so a split is a single pass
// that moves each item to its child and codes it for the child's split; the pass also counts
// those codes per child, which gives each child's run sizes before it is split.
class Quadtree::Builder {
 public:
  Builder(Quadtree& tree, int n)
      : tree_(tree), even_(static_cast<std::size_t>(n)), evenCodes_(static_cast<std::size_t>(n)) {}

  // Splits the root and its descendants; returns the depth counted as the header says.
  int build(Node* root, const BoundingBox& box) {
    return recursivePartition(root, box, nullptr, 2, 2);
  }

 private:
  View level(int lvl) const {
    return (lvl & 1) == 0 ? View{even_.get(), evenCodes_.get(), 0}
                          : View{odd_.get(), oddCodes_.get(), oddOffset_};
  }

  // Splits `node` (its children are on tree level `lvl`; `count` holds its quadrant sizes, or
  // is null for the root), then its children that hold too many points. `depth` is the
  // counted depth of the children, which may exceed `lvl`. Returns the depth reached.
  int recursivePartition(Node* node, const BoundingBox& box, const int* count, int depth, int lvl) {
    int next[16];
    partition(node, box, count, lvl, next);
    const View items = level(lvl);
    int d = depth;
    for (int q = 0; q < 4; ++q) {
      Node* child = node->children[q];
      const int first = child->leaf.first, end = child->leaf.end;
      if (end - first > kVertsPerLeaf && !allEqual(items, first, end)) {
        BoundingBox sub;
        getSubBox(q, box, sub);
        if (!sameXY(sub, box)) {
          d = std::max(recursivePartition(child, sub, next + 4 * q, d + 1, lvl + 1), d);
          continue;
        }
      }
      int* remap = tree_.remap_;
      for (int i = first; i < end; ++i) remap[i] = items[i].index;
    }
    return d;
  }

  // Stable counting sort of the node's run by quadrant into level `lvl`, in one pass; makes
  // the four children and fills next[4 q + r] with the number of child q's items in its
  // quadrant r.
  void partition(Node* node, const BoundingBox& box, const int* nodeCount, int lvl, int* next) {
    float lo[3], hi[3];
    box.minPt(lo);
    box.maxPt(hi);
    const float cx = (lo[0] + hi[0]) * 0.5f, cy = (lo[1] + hi[1]) * 0.5f;
    const int first = node->leaf.first, end = node->leaf.end;
    const float* v = tree_.vertices_;

    int count[4] = {0, 0, 0, 0};
    if (nodeCount) {
      std::copy_n(nodeCount, 4, count);
    } else {
      for (int i = first; i < end; ++i) ++count[quadrantOf(v[2 * i], v[2 * i + 1], cx, cy)];
    }
    int cursor[4];
    cursor[0] = first;
    for (int q = 1; q < 4; ++q) cursor[q] = cursor[q - 1] + count[q - 1];

    std::unique_ptr<Node> made[4];
    for (int q = 0; q < 4; ++q) {
      made[q] = std::make_unique<Node>();
      made[q]->isLeaf = 1;
      made[q]->leaf.first = cursor[q];
      made[q]->leaf.end = cursor[q] + count[q];
    }
    node->isLeaf = 0;
    for (int q = 0; q < 4; ++q) node->children[q] = made[q].release();
    tree_.numNodes_ += 4;

    // The children's centres, for coding each item as it lands in its child.
    // Each is the midpoint of the lower half [min, mid] or the upper half [mid, max] per axis,
    // computed exactly as getSubBox() would make the child's box.
    const float hx[2] = {(lo[0] + cx) * 0.5f, (cx + hi[0]) * 0.5f};
    const float hy[2] = {(lo[1] + cy) * 0.5f, (cy + hi[1]) * 0.5f};
    const float ccx[4] = {hx[0], hx[1], hx[0], hx[1]};
    const float ccy[4] = {hy[0], hy[0], hy[1], hy[1]};
    std::fill(next, next + 16, 0);

    if (!nodeCount) {
      const auto largest = static_cast<std::size_t>(*std::max_element(count, count + 4));
      odd_ = LargeArray<Item>(largest);
      oddCodes_ = LargeArray<std::uint8_t>(largest);
      const View to = level(lvl);
      for (int i = first; i < end; ++i) {
        const float x = v[2 * i], y = v[2 * i + 1];
        const int q = quadrantOf(x, y, cx, cy);
        const int at = cursor[q]++;
        to[at] = Item{x, y, i};
        const int r = quadrantOf(x, y, ccx[q], ccy[q]);
        to.code(at) = static_cast<std::uint8_t>(r);
        ++next[4 * q + r];
      }
    } else {
      if (lvl == 3) oddOffset_ = first;  // this level-2 subtree now owns `odd`
      const View from = level(lvl - 1);
      const View to = level(lvl);
      for (int i = first; i < end; ++i) {
        const Item it = from[i];
        const int q = from.code(i);
        const int at = cursor[q]++;
        to[at] = it;
        const int r = quadrantOf(it.x, it.y, ccx[q], ccy[q]);
        to.code(at) = static_cast<std::uint8_t>(r);
        ++next[4 * q + r];
      }
    }
  }

  Quadtree& tree_;
  LargeArray<Item> even_;
  LargeArray<std::uint8_t> evenCodes_;
  LargeArray<Item> odd_;
  LargeArray<std::uint8_t> oddCodes_;
  int oddOffset_ = 0;
};

Quadtree::Quadtree(int n, const float* vertices, const BoundingBox& box)
    : box_(box), vertices_(vertices), numVertices_(n) {
  storage_ = std::make_shared<Storage>();
  storage_->remap = LargeArray<int>(static_cast<std::size_t>(n));
  remap_ = storage_->remap.get();

  krOS::StopWatch watch;
  watch.start();
  auto root = std::make_unique<Node>();
  root->isLeaf = 1;
  root->leaf.first = 0;
  root->leaf.end = n;
  root_ = storage_->root = root.release();
  numNodes_ = 1;
  if (n > kVertsPerLeaf) {
    Builder builder(*this, n);
    maxDepth_ = builder.build(root_, box_);
  } else {
    for (int i = 0; i < n; ++i) remap_[i] = i;
  }
  partitionTime_ = watch.stop();
}

Quadtree::Quadtree(const Quadtree& other) = default;

Quadtree& Quadtree::operator=(const Quadtree& other) = default;

Quadtree::~Quadtree() = default;

QuadtreeIterator Quadtree::getRoot() const {
  return QuadtreeIterator(root_, box_);
}

void Quadtree::getSubBox(int quadrant, const BoundingBox& box, BoundingBox& sub) {
  float lo[3], hi[3];
  box.minPt(lo);
  box.maxPt(hi);
  for (int axis = 0; axis < 2; ++axis) {
    const float mid = (lo[axis] + hi[axis]) * 0.5f;
    if (quadrant & (1 << axis))
      lo[axis] = mid;
    else
      hi[axis] = mid;
  }
  lo[2] = hi[2] = 0.0f;
  sub = BoundingBox(lo, hi);
}

void Quadtree::getNodeOrdering(const krLinear::Vector& direction, int* const order) {
  double dot[4];
  for (int q = 0; q < 4; ++q) {
    const double cx = (q & 1) ? 1.0 : -1.0, cy = (q & 2) ? 1.0 : -1.0;
    dot[q] = cx * direction.x() + cy * direction.y() + 0.0 * direction.z();
  }
  // Insertion sort: stable, and well defined even when a NaN direction makes dots unordered.
  for (int q = 0; q < 4; ++q) {
    int i = q;
    for (; i > 0 && dot[q] < dot[order[i - 1]]; --i) order[i] = order[i - 1];
    order[i] = q;
  }
}

bool QuadtreeIterator::descend(int quadrant) {
  if (node_->isLeaf) return false;
  Node* child = node_->children[quadrant];
  if (!child) return false;
  Quadtree::getSubBox(quadrant, box_, box_);
  node_ = child;
  return true;
}

}  // namespace krGeom
