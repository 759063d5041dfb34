#include <geom/foundation/entity.h>
#include <geom/spatial/octree.h>
#include <kr/containers.h>
#include <kr/fs_allocator.h>

#include <kr/stopwatch.h>
#include "fetch_ahead.h"
#include "large_array.h"
#include "octree_keys.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

namespace krGeom {

namespace {

using octreeKeys::BoxCells;
using octreeKeys::cellOnAxis;
using octreeKeys::Item;
using octreeKeys::kKeyLevels;
using octreeKeys::kSpread;

// At most this many levels are split by one counting-sort pass (8^3 = 512 buckets).
constexpr int kMaxPassLevels = 3;
// How far ahead of each bucket's cursor a counting sort fetches the lines it writes.
constexpr std::size_t kFetchBucket = 128;

// True unless every point of the run first ... end-1 lies within one float step of the point
// `lead` (the run's first in index order, whose key is leadKey) on every axis. Such a run cannot
// be split by halving boxes and stays a leaf. Two points two cells apart on an axis whose inner
// cells are not empty (bit a of wideAxes), neither in cell 0, settle it without reading
// coordinates.
bool isSeparable(const float* v, const Item* run, int first, int end, int lead,
                 std::uint32_t leadKey, unsigned wideAxes) {
  if (end - first < 2) return false;
  for (int a = 0; a < 3; ++a) {
    if (!(wideAxes >> a & 1u)) continue;
    const std::uint32_t at = cellOnAxis(leadKey, a);
    if (at == 0) continue;
    for (int i = first; i < end; ++i) {
      const std::uint32_t cell = cellOnAxis(run[i].key, a);
      if (cell != 0 && cell - at + 1u > 2u) return true;
    }
  }
  const float* p = v + 3 * static_cast<std::size_t>(lead);
  for (int i = first; i < end; ++i) {
    const float* q = v + 3 * static_cast<std::size_t>(run[i].index);
    for (int k = 0; k < 3; ++k) {
      const float x = p[k];
      const float y = q[k];
      const float next = std::nextafterf(x, y);
      if ((y > x && y > next) || (x > y && next > y)) return true;
    }
  }
  return false;
}

}  // namespace

// Lives only while the constructor runs. A node's run of points sits in one of two buffers of
// items at the run's positions; a pass reads it from one buffer and writes the children's runs
// to the other.
struct OctreePartitionData {
  kr::vector<int> freeLeafNums;  // leaf numbers of split nodes, reused last in, first out
  LargeArray<Item> buffers[2];
  int* remap = nullptr;
  int nextLeafNum = 0;
  // The cell tables of the root, then of up to eight children being coded again (see
  // Octree::recodeChildren); each use ends before the next begins.
  std::unique_ptr<BoxCells[]> childAxes;
};

// What recoding a child leaves for its split: its key levels and wide axes.
struct OctreeChildKeys {
  int levels[8];
  unsigned wideAxes[8];
  bool recoded[8];
};

// One counting-sort pass that splits a node `levels` levels deep at once. A digit is the node's
// descendant at the pass's last level (the octant codes of those levels). Descendants that will
// not be split share one cursor for all their digits, so their runs keep index order; the others
// get one run per digit, in index order too, in the order of a depth-first walk.
struct OctreePass {
  int levels = 1;         // levels split by this pass
  int keyLevels = 1;      // key levels left below the node
  unsigned wideAxes = 0;  // the axes whose key cells are not empty (see isSeparable)
  int from = 0;           // the buffer the pass reads
  int to = 1;             // the buffer the pass writes
  int shift = 0;          // of the digit in the key
  std::uint32_t mask = 0;
  int count[1 << (3 * kMaxPassLevels)];
  int leadIndex[1 << (3 * kMaxPassLevels)];          // the smallest point index of each digit
  std::uint32_t leadKey[1 << (3 * kMaxPassLevels)];  // and its key
  int start[(1 << (3 * kMaxPassLevels)) + 1];
  int group[1 << (3 * kMaxPassLevels)];  // the digit whose cursor each digit uses

  // Sets up a pass over n points in buffer `in`: about as many levels as the run needs to reach
  // leaves of vertsPerLeaf points, so that small runs do not pay for 512 buckets.
  OctreePass(int n, int vertsPerLeaf, int keyLevelsLeft, unsigned wide, int in)
      : keyLevels(keyLevelsLeft), wideAxes(wide), from(in), to(1 - in) {
    for (long long reach = 8LL * std::max(vertsPerLeaf, 1);
         levels < kMaxPassLevels && levels < keyLevels && n > reach; reach *= 8)
      ++levels;
    shift = 3 * (keyLevels - levels);
    mask = (1u << (3 * levels)) - 1;
    std::fill(count, count + (1 << (3 * levels)), 0);
  }
  int digitOf(std::uint32_t key) const { return static_cast<int>((key >> shift) & mask); }
  void add(const Item& item) {
    const int d = digitOf(item.key);
    if (count[d]++ == 0) {
      leadIndex[d] = item.index;
      leadKey[d] = item.key;
    }
  }
  // Stores points first ... first+n-1 with their keys as items, and counts them.
  void addKeys(Item* items, int first, const std::uint32_t* keys, int n) {
    for (int l = 0; l < n; ++l) {
      items[first + l] = Item{keys[l], first + l};
      add(items[first + l]);
    }
  }
};

#if KRGEOM_SPATIAL_AVX2
// Clouds of this many points and more make the root's keys eight at a time where the processor
// can.
constexpr int kEightLaneMin = 1 << 16;

// The root's keys of points 0 ... end-1 (a multiple of eight), eight at a time, counted into the
// first pass as the four-lane loop counts them; the processor must have AVX2.
__attribute__((target("avx2"))) void rootKeys8(const float* v, const BoxCells& axes, int end,
                                               Item* items, OctreePass& pass) {
  for (int i = 0; i < end; i += 8) {
    fetchAhead(v + 3 * static_cast<std::size_t>(i), 2048);
    std::uint32_t keys[8];
    axes.keysOf8(v + 3 * static_cast<std::size_t>(i), keys);
    pass.addKeys(items, i, keys, 8);
  }
}
#endif

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
    data.buffers[0] = LargeArray<Item>(count);
    data.buffers[1] = LargeArray<Item>(count);
  } else {
    for (int i = 0; i < n; ++i) remap_[i] = i;
  }

  krOS::StopWatch watch;
  watch.start();
  root_ = allocNode(0, size, data);
  numNodes_ = 1;
  if (split) maxDepth_ = splitRoot(root_, limit, data);
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
  // A leaf uses only its run and number; a split sets all eight children.
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

// The key levels of a node whose children are at level depth: down to level limit + 1, the
// deepest that can exist.
static int keyLevelsAt(int depth, int limit) {
  return std::max(1, std::min(kKeyLevels, limit - depth + 2));
}

// The cell tables of box for `levels` levels, and which of its axes are wide.
// The cell tables of box for `levels` levels; returns its wide axes.
static unsigned initAxes(const BoundingBox& box, int levels, BoxCells& cells) {
  float minPt[3], maxPt[3];
  box.minPt(minPt);
  box.maxPt(maxPt);
  return cells.init(minPt, maxPt, levels);
}

int Octree::splitRoot(Node* node, int limit, OctreePartitionData& data) {
  const int levels = keyLevelsAt(2, limit);
  if (!data.childAxes) data.childAxes.reset(new BoxCells[8]);
  const BoxCells& axes = data.childAxes[0];  // free until children are coded again
  const unsigned wideAxes = initAxes(box_, levels, data.childAxes[0]);
  Item* items = data.buffers[0].get();
  const int end = node->leaf.end;
  OctreePass pass(end, vertsPerLeaf_, levels, wideAxes, 0);
  // The first pass's counts are taken as the keys are made.
  int i = 0;
#if KRGEOM_SPATIAL_AVX2
  static const bool avx2 = __builtin_cpu_supports("avx2");
  if (avx2 && end >= kEightLaneMin) {
    i = end / 8 * 8;
    rootKeys8(vertices_, axes, i, items, pass);
  }
#endif
  for (; i + 4 <= end; i += 4) {
    // The points are read in order, but faster than the hardware fetches them unasked.
    fetchAhead(vertices_ + 3 * static_cast<std::size_t>(i), 2048);
    std::uint32_t keys[4];
    axes.keysOf4(vertices_ + 3 * static_cast<std::size_t>(i), keys);
    pass.addKeys(items, i, keys, 4);
  }
  for (; i < end; ++i) {
    const std::uint32_t key = axes.keyOf(vertices_ + 3 * static_cast<std::size_t>(i));
    pass.addKeys(items, i, &key, 1);
  }
  return splitCounted(node, box_, 2, limit, pass, data);
}

void Octree::recodeChildren(Node* node, const BoundingBox& box, int depth, int limit, int buffer,
                            OctreePartitionData& data, OctreeChildKeys& keys) {
  Item* run = data.buffers[buffer].get();
  BoxCells* axes = data.childAxes.get();  // made by splitRoot
  int hi = 0;
  for (int c = 0; c < 8; ++c) {
    const Node* child = node->children[c];
    keys.recoded[c] =
        child && depth <= limit && child->leaf.end - child->leaf.first > vertsPerLeaf_;
    if (!keys.recoded[c]) continue;
    hi = child->leaf.end;
    BoundingBox childBox;
    getSubBox(c, box, childBox);
    keys.levels[c] = keyLevelsAt(depth + 1, limit);
    keys.wideAxes[c] = initAxes(childBox, keys.levels[c], axes[c]);
  }
  // The children's points are in index order, scattered over the caller's array: one stream over
  // all of them fetches ahead across the children's boundaries, which short runs alone cannot.
  constexpr int kAhead = 96;
  for (int c = 0; c < 8; ++c) {
    if (!keys.recoded[c]) continue;
    const BoxCells& childAxes = axes[c];
    for (int i = node->children[c]->leaf.first, end = node->children[c]->leaf.end; i < end; ++i) {
      if (i + kAhead < hi)
        __builtin_prefetch(vertices_ + 3 * static_cast<std::size_t>(run[i + kAhead].index));
      run[i].key = childAxes.keyOf(vertices_ + 3 * static_cast<std::size_t>(run[i].index));
    }
  }
}

int Octree::splitCounted(Node* node, const BoundingBox& box, int depth, int limit, OctreePass& pass,
                         OctreePartitionData& data) {
  const int first = node->leaf.first;
  const int end = node->leaf.end;
  const int digits = 1 << (3 * pass.levels);
  const Item* src = data.buffers[pass.from].get();
  Item* dst = data.buffers[pass.to].get();
  pass.start[0] = first;
  for (int d = 0; d < digits; ++d) pass.start[d + 1] = pass.start[d] + pass.count[d];

  // Which descendants may be split, judged by size and depth alone: a run that is not
  // separable is put back in index order when the walk meets it.
  const auto mark = [&](auto& self, int j, int d0) -> void {
    const int span = digits >> (3 * (j + 1));
    for (int c = 0; c < 8; ++c) {
      const int d = d0 + c * span;
      if (span > 1 && pass.start[d + span] - pass.start[d] > vertsPerLeaf_ && depth + j <= limit)
        self(self, j + 1, d);
      else
        std::fill(pass.group + d, pass.group + d + span, d);
    }
  };
  mark(mark, 0, 0);

  int cursor[1 << (3 * kMaxPassLevels)];
  std::copy_n(pass.start, digits, cursor);
  // The runs go to lines in no cache (written long ago, or never): each bucket's cursor fetches
  // a little ahead, so that its store misses overlap instead of stalling the scatter one by one.
  for (int i = first; i < end; ++i) {
    const Item item = src[i];
    const int at = cursor[pass.group[pass.digitOf(item.key)]]++;
    fetchAhead(dst + at, kFetchBucket);
    dst[at] = item;
  }
  return visitPass(node, box, depth, limit, 0, 0, pass, data);
}

int Octree::splitLevels(Node* node, const BoundingBox& box, int depth, int limit, int keyLevels,
                        unsigned wideAxes, int from, OctreePartitionData& data) {
  const int first = node->leaf.first;
  const int end = node->leaf.end;
  OctreePass pass(end - first, vertsPerLeaf_, keyLevels, wideAxes, from);
  const Item* src = data.buffers[from].get();
  for (int i = first; i < end; ++i) {
    if (i % 8 == 0) fetchAhead(src + i, 1024);  // the run was written long ago
    pass.add(src[i]);
  }
  return splitCounted(node, box, depth, limit, pass, data);
}

int Octree::visitPass(Node* node, const BoundingBox& box, int depth, int limit, int j, int d0,
                      OctreePass& pass, OctreePartitionData& data) {
  float minPt[3], maxPt[3];
  box.minPt(minPt);
  box.maxPt(maxPt);
  const bool flat = minPt[0] == maxPt[0] || minPt[1] == maxPt[1] || minPt[2] == maxPt[2];
  const int span = (1 << (3 * pass.levels)) >> (3 * (j + 1));

  // The first child allocated takes over this node's leaf number.
  node->isLeaf = false;
  data.freeLeafNums.push_back(node->leaf.leafNum);
  for (int c = 0; c < 8; ++c) {
    const int d = d0 + c * span;
    const int first = pass.start[d];
    const int end = pass.start[d + span];
    if (first == end && (flat || !keepEmpty_)) {
      node->children[c] = nullptr;
    } else {
      node->children[c] = allocNode(first, end, data);
      ++numNodes_;
    }
  }

  Item* run = data.buffers[pass.to].get();
  // Children at the keys' last level are coded again before their separability is judged, so
  // that the test can use the new keys.
  const bool recode = span == 1 && pass.keyLevels == pass.levels;
  OctreeChildKeys keys;
  if (recode) {
    recodeChildren(node, box, depth, limit, pass.to, data, keys);
  } else if (pass.keyLevels - j < 3) {
    // Keys with one level left below the children cannot settle their separability, which then
    // reads the coordinates of each child's lead and next points: request them all together.
    for (int c = 0; c < 8; ++c) {
      const Node* child = node->children[c];
      if (!child || child->leaf.end - child->leaf.first <= std::max(vertsPerLeaf_, 1)) continue;
      const int d = d0 + c * span;
      int lead = -1;
      for (int k = d; k < d + span; ++k)
        if (pass.count[k] > 0 && (lead < 0 || pass.leadIndex[k] < lead)) lead = pass.leadIndex[k];
      __builtin_prefetch(vertices_ + 3 * static_cast<std::size_t>(lead));
      __builtin_prefetch(vertices_ + 3 * static_cast<std::size_t>(run[child->leaf.first].index));
      __builtin_prefetch(vertices_ +
                         3 * static_cast<std::size_t>(run[child->leaf.first + 1].index));
    }
  }
  int result = depth;
  for (int c = 0; c < 8; ++c) {
    Node* child = node->children[c];
    if (!child) continue;
    const int d = d0 + c * span;
    const int first = child->leaf.first;
    const int end = child->leaf.end;
    const bool mayBeSplit = depth <= limit && end - first > vertsPerLeaf_;
    if (mayBeSplit) {
      bool separable;
      if (recode) {
        // A run that starts a pass is in index order: its first point is its lead.
        separable = isSeparable(vertices_, run, first, end, run[first].index, run[first].key,
                                keys.wideAxes[c]);
      } else {
        int leadDigit = -1;
        for (int k = d; k < d + span; ++k)
          if (pass.count[k] > 0 && (leadDigit < 0 || pass.leadIndex[k] < pass.leadIndex[leadDigit]))
            leadDigit = k;
        separable = isSeparable(vertices_, run, first, end, pass.leadIndex[leadDigit],
                                pass.leadKey[leadDigit], pass.wideAxes);
      }
      if (separable) {
        BoundingBox childBox;
        getSubBox(c, box, childBox);
        int reached;
        if (span > 1)
          reached = visitPass(child, childBox, depth + 1, limit, j + 1, d, pass, data);
        else if (recode)
          reached = splitLevels(child, childBox, depth + 1, limit, keys.levels[c], keys.wideAxes[c],
                                pass.to, data);
        else
          reached = splitLevels(child, childBox, depth + 1, limit, pass.keyLevels - pass.levels,
                                pass.wideAxes, pass.to, data);
        result = std::max(result, reached);
        continue;
      }
      // Not separable: the pass sorted it by its descendants; put it back in index order.
      if (span > 1)
        std::sort(run + first, run + end,
                  [](const Item& a, const Item& b) { return a.index < b.index; });
    }
    // A final leaf: its points are in their final order now.
    for (int i = first; i < end; ++i) data.remap[i] = run[i].index;
  }
  return result;
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
