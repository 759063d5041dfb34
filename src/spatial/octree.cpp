#include <geom/foundation/entity.h>
#include <geom/spatial/octree.h>
#include <kr/containers.h>
#include <kr/fs_allocator.h>

#include <kr/stopwatch.h>
#include "large_array.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

namespace krGeom {

namespace {

// One point of the build's scratch: its coordinates travel with its index, so every split reads
// and writes memory in order instead of gathering from the caller's array through the remap.
struct Item {
  float x, y, z;
  int index;
};

// Where the points of one level and their octant codes sit: position i of a run is at
// items[i - offset] and codes[i - offset].
struct ItemView {
  Item* items;
  std::uint8_t* codes;
  int offset;
  Item& operator[](int i) const { return items[i - offset]; }
  std::uint8_t& code(int i) const { return codes[i - offset]; }
};

// True unless every point of the run first ... end-1 lies within one float step of the first
// point on every axis. Such a run cannot be split by halving boxes and stays a leaf.
bool isSeparable(ItemView view, int first, int end) {
  if (end - first < 2) return false;
  const Item& a = view[first];
  for (int i = first + 1; i < end; ++i) {
    const float xs[3] = {a.x, a.y, a.z};
    const float ys[3] = {view[i].x, view[i].y, view[i].z};
    for (int k = 0; k < 3; ++k) {
      const float x = xs[k];
      const float y = ys[k];
      const float next = std::nextafterf(x, y);
      if ((y > x && y > next) || (x > y && next > y)) return true;
    }
  }
  return false;
}

// The octant code of p in a box with centre c, branch-free: a point on a mid-plane goes up.
inline int octantOf(float x, float y, float z, float cx, float cy, float cz) {
  return int(x >= cx) | (int(y >= cy) << 1) | (int(z >= cz) << 2);
}

}  // namespace

// Lives only while the constructor runs. The root's points are read from the caller's array.
// Levels 2, 4, 6 ... keep their points in `even` at their run positions. Levels 3, 5, 7 ... keep
// them in `odd`, which holds one level-2 subtree at a time (the one being split), shifted by that
// subtree's first position; so a split reads one buffer in order and writes its children's
// points to the other, and `odd` needs only the size of the largest level-2 run.
// Each point carries the octant code it takes in the box of the node that holds it (evenCodes,
// oddCodes), computed when the point was written there; so a split is one pass that moves each
// point to its child and codes it for the child's split. The per-child counts of those codes
// are kept by level in `counts`: entry (depth, child c, octant g) counts the points of child c
// at level depth that fall into its octant g.
struct OctreePartitionData {
  kr::vector<int> freeLeafNums;  // leaf numbers of split nodes, reused last in, first out
  LargeArray<Item> even;
  LargeArray<std::uint8_t> evenCodes;
  LargeArray<Item> odd;
  LargeArray<std::uint8_t> oddCodes;
  std::unique_ptr<int[]> counts;  // 64 per level
  const int* pending = nullptr;   // the code counts of the node about to be split
  int oddOffset = 0;
  int* remap = nullptr;
  int nextLeafNum = 0;

  // The points of nodes at level (2 and below).
  ItemView level(int l) const {
    return (l & 1) == 0 ? ItemView{even.get(), evenCodes.get(), 0}
                        : ItemView{odd.get(), oddCodes.get(), oddOffset};
  }
  // The 64 code counts of the children of a node whose children are at level depth.
  int* countsAt(int depth) const { return counts.get() + 64 * static_cast<std::size_t>(depth); }
};

struct Octree::Storage : kr::ReferenceCount {
  explicit Storage(int n)
      : pool(sizeof(Node), 8192), remap(static_cast<std::size_t>(std::max(n, 0))) {
    pool.setLazy();
  }
  ~Storage() override = default;

  krOS::FSAllocator pool;  // every node; released whole
  LargeArray<int> remap;
};

Octree::Octree(int n, const float* vertices, const BoundingBox& box, bool keepEmpty,
               int vertsPerLeaf)
    : box_(box),
      vertices_(vertices),
      vertsPerLeaf_(vertsPerLeaf),
      numVertices_(n),
      keepEmpty_(keepEmpty) {
  // Depth limit: levels up to limit may be split.
  const bool haveLimit = n > 0;
  const int limit = haveLimit ? static_cast<int>(std::ceil(2.0 * std::log(n) / std::log(8.0))) : 0;

  // Widen thin axes so that no box of the tree has zero thickness where it can be avoided.
  float minPt[3], maxPt[3], extent[3];
  box.minPt(minPt);
  box.maxPt(maxPt);
  box.diagonal(extent);
  const float largest = std::max({extent[0], extent[1], extent[2]});
  float minExtent = largest / 1000.0f;
  if (haveLimit) {
    const float tiny = static_cast<float>(std::pow(2.0, limit + 1)) * 1.1754944e-38f;
    minExtent = std::max(minExtent, tiny);
  }
  for (int a = 0; a < 3; ++a) {
    if (extent[a] < minExtent) {
      const float centre = (minPt[a] + maxPt[a]) * 0.5f;
      minPt[a] = centre - minExtent * 0.5f;
      maxPt[a] = centre + minExtent * 0.5f;
    }
  }
  box_ = BoundingBox(minPt, maxPt);

  storage_ = new Storage(n);
  remap_ = storage_->remap.get();

  const bool split = n > vertsPerLeaf;
  const int size = std::max(n, 0);
  OctreePartitionData data;
  data.remap = remap_;
  if (split) {
    const auto count = static_cast<std::size_t>(size);
    data.even = LargeArray<Item>(count);
    data.evenCodes = LargeArray<std::uint8_t>(count);
    data.counts = std::make_unique_for_overwrite<int[]>(64 * static_cast<std::size_t>(limit + 3));
  } else {
    for (int i = 0; i < n; ++i) remap_[i] = i;
  }

  krOS::StopWatch watch;
  watch.start();
  root_ = allocNode(0, size, data);
  numNodes_ = 1;
  if (split) maxDepth_ = recursivePartition(root_, box_, 2, limit, data);
  partitionTime_ = watch.stop();
  numLeafNodes_ = data.nextLeafNum;

  debugChannel().print(
      "Octree: vertices(%d) vertsPerLeaf(%d) numNodes(%d)\n        maxDepth(%d): %f s\n",
      numVertices_, vertsPerLeaf_, numNodes_, maxDepth_, partitionTime_);
}

Octree::Octree(const Octree& other) = default;

Octree::~Octree() = default;

int Octree::numBytesUsed() const {
  return 4 * numVertices_ + 72 * numNodes_ + 104;
}

Octree::Node* Octree::allocNode(int first, int end, OctreePartitionData& data) {
  Node* node = static_cast<Node*>(storage_->pool.alloc());
  // A leaf uses only its run and number; partition() sets all eight children when it splits.
  node->isLeaf = true;
  node->leaf.first = first;
  node->leaf.end = end;
  if (!data.freeLeafNums.empty()) {
    node->leaf.leafNum = data.freeLeafNums.back();
    data.freeLeafNums.pop_back();
  } else {
    node->leaf.leafNum = data.nextLeafNum++;
  }
  return node;
}

int Octree::recursivePartition(Node* node, const BoundingBox& box, int depth, int limit,
                               OctreePartitionData& data) {
  partition(node, box, depth, data);
  const ItemView items = data.level(depth);
  int result = depth;
  for (int c = 0; c < 8; ++c) {
    Node* child = node->children[c];
    if (!child) continue;
    const int first = child->leaf.first;
    const int end = child->leaf.end;
    if (depth <= limit && end - first > vertsPerLeaf_ && isSeparable(items, first, end)) {
      BoundingBox childBox;
      getSubBox(c, box, childBox);
      // The child's code counts, made by partition() above; the child's subtree writes only
      // deeper levels of `counts`.
      data.pending = data.countsAt(depth) + 8 * c;
      result = std::max(result, recursivePartition(child, childBox, depth + 1, limit, data));
    } else {
      // A final leaf: its points are in their final order now.
      for (int i = first; i < end; ++i) data.remap[i] = items[i].index;
    }
  }
  return result;
}

void Octree::partition(Node* node, const BoundingBox& box, int depth, OctreePartitionData& data) {
  const int first = node->leaf.first;
  const int end = node->leaf.end;
  const int leafNum = node->leaf.leafNum;
  float centre[3], minPt[3], maxPt[3];
  box.center(centre);
  box.minPt(minPt);
  box.maxPt(maxPt);
  const bool flat = minPt[0] == maxPt[0] || minPt[1] == maxPt[1] || minPt[2] == maxPt[2];

  // The node's octant sizes: counted here for the root, by the parent's split otherwise.
  int count[8] = {0, 0, 0, 0, 0, 0, 0, 0};
  const float* v = vertices_;
  if (depth == 2) {
    for (int i = first; i < end; ++i) {
      const float* p = v + 3 * static_cast<std::size_t>(i);
      ++count[octantOf(p[0], p[1], p[2], centre[0], centre[1], centre[2])];
    }
  } else {
    std::copy_n(data.pending, 8, count);
  }
  int cursor[8];
  for (int c = 0, at = first; c < 8; ++c) {
    cursor[c] = at;
    at += count[c];
  }

  // The first child allocated takes over this node's leaf number.
  node->isLeaf = false;
  data.freeLeafNums.push_back(leafNum);
  for (int c = 0; c < 8; ++c) {
    if (count[c] == 0 && (flat || !keepEmpty_)) {
      node->children[c] = nullptr;
    } else {
      node->children[c] = allocNode(cursor[c], cursor[c] + count[c], data);
      ++numNodes_;
    }
  }

  // The children's centres, for coding each point as it lands in its child.
  // Each is the midpoint of the lower half [min, mid] or the upper half [mid, max] per axis,
  // computed exactly as getSubBox() and BoundingBox::center() would.
  float half[3][2];
  for (int k = 0; k < 3; ++k) {
    const float mid = (minPt[k] + maxPt[k]) * 0.5f;
    half[k][0] = (minPt[k] + mid) * 0.5f;
    half[k][1] = (mid + maxPt[k]) * 0.5f;
  }
  float cx[8], cy[8], cz[8];
  for (int c = 0; c < 8; ++c) {
    cx[c] = half[0][c & 1];
    cy[c] = half[1][(c >> 1) & 1];
    cz[c] = half[2][(c >> 2) & 1];
  }
  int* next = data.countsAt(depth);
  std::fill(next, next + 64, 0);

  // A stable counting sort of the run into the next level's buffer, in one pass.
  if (depth == 2) {
    const auto largest = static_cast<std::size_t>(*std::max_element(count, count + 8));
    data.odd = LargeArray<Item>(largest);
    data.oddCodes = LargeArray<std::uint8_t>(largest);
    Item* to = data.even.get();
    std::uint8_t* toCodes = data.evenCodes.get();
    for (int i = first; i < end; ++i) {
      const float* p = v + 3 * static_cast<std::size_t>(i);
      const float x = p[0], y = p[1], z = p[2];
      const int c = octantOf(x, y, z, centre[0], centre[1], centre[2]);
      const int at = cursor[c]++;
      to[at] = Item{x, y, z, i};
      const int g = octantOf(x, y, z, cx[c], cy[c], cz[c]);
      toCodes[at] = static_cast<std::uint8_t>(g);
      ++next[8 * c + g];
    }
  } else {
    if (depth == 3) data.oddOffset = first;  // this level-2 subtree now owns `odd`
    const ItemView from = data.level(depth - 1);
    const ItemView to = data.level(depth);
    for (int i = first; i < end; ++i) {
      const Item p = from[i];
      const int c = from.code(i);
      const int at = cursor[c]++;
      to[at] = p;
      const int g = octantOf(p.x, p.y, p.z, cx[c], cy[c], cz[c]);
      to.code(at) = static_cast<std::uint8_t>(g);
      ++next[8 * c + g];
    }
  }
}

void Octree::getSubBox(int octant, const BoundingBox& box, BoundingBox& sub) {
  float minPt[3], maxPt[3];
  box.minPt(minPt);
  box.maxPt(maxPt);
  for (int a = 0; a < 3; ++a) {
    const float mid = (minPt[a] + maxPt[a]) * 0.5f;
    if (octant & (1 << a))
      minPt[a] = mid;
    else
      maxPt[a] = mid;
  }
  sub = BoundingBox(minPt, maxPt);
}

OctreeIterator Octree::getRoot() const {
  return OctreeIterator(root_, box_);
}

void Octree::getNodeOrdering(const krLinear::Vector& direction, int* const order) {
  double dots[8];
  for (int i = 0; i < 8; ++i) {
    const double x = (i & 1) ? 1.0 : -1.0;
    const double y = (i & 2) ? 1.0 : -1.0;
    const double z = (i & 4) ? 1.0 : -1.0;
    dots[i] = x * direction.x() + y * direction.y() + z * direction.z();
  }
  // Insertion sort: stable, so equal dot products keep ascending octant order.
  for (int i = 0; i < 8; ++i) {
    int j = i;
    for (; j > 0 && dots[i] < dots[order[j - 1]]; --j) order[j] = order[j - 1];
    order[j] = i;
  }
}

}  // namespace krGeom
