#include <geom/spatial/quadtree.h>

#include <kr/stopwatch.h>
#include "large_array.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <memory>
#include <type_traits>
#include <vector>

namespace krGeom {

namespace {

using Node = Quadtree::Node;

// Levels one key holds: a quadrant code of two bits per level in 32 bits.
constexpr int kMaxKeyLevels = 16;
// Levels split by one counting-sort pass at most (4^4 = 256 buckets).
constexpr int kMaxPassLevels = 4;

// One point of the build's scratch: its quadrant codes for the levels below the box its key was
// made in (two bits per level, the first level in the top bits) and its index.
struct Item {
  std::uint32_t key;
  int index;
};

// An x, y box as the build halves it.
struct Box {
  float lo[2], hi[2];
};

// The half of `box` that `quadrant` names, halved exactly as Quadtree::getSubBox() halves it.
Box subBox(const Box& box, int quadrant) {
  Box sub = box;
  for (int axis = 0; axis < 2; ++axis) {
    const float mid = (box.lo[axis] + box.hi[axis]) * 0.5f;
    if (quadrant & (1 << axis))
      sub.lo[axis] = mid;
    else
      sub.hi[axis] = mid;
  }
  return sub;
}

// Float equality that counts NaN equal to NaN: a NaN bound gives a NaN centre either way.
bool sameBound(float a, float b) {
  return a == b || (a != a && b != b);
}

// True when float halving has run out: the sub-box equals its parent's box in x and y.
bool sameXY(const Box& a, const Box& b) {
  return sameBound(a.lo[0], b.lo[0]) && sameBound(a.lo[1], b.lo[1]) &&
         sameBound(a.hi[0], b.hi[0]) && sameBound(a.hi[1], b.hi[1]);
}

// Bit i of a 16-bit number moved to bit 2i.
inline std::uint32_t spread(std::uint32_t x) {
  x = (x | (x << 8)) & 0x00ff00ffu;
  x = (x | (x << 4)) & 0x0f0f0f0fu;
  x = (x | (x << 2)) & 0x33333333u;
  return (x | (x << 1)) & 0x55555555u;
}

// One axis of a box halved `levels` times exactly as the sub-boxes halve it. A coordinate's cell
// is the path of "x >= mid goes up" choices from the box down, which is what a key records.
class AxisCells {
 public:
  // `edges` holds at least 2^levels + 1 floats.
  void init(float min, float max, int levels, float* edges) {
    e_ = edges;
    cells_ = 1 << levels;
    e_[0] = min;
    e_[cells_] = max;
    for (int step = cells_; step > 1; step /= 2)
      for (int l = 0; l < cells_; l += step) e_[l + step / 2] = (e_[l] + e_[l + step]) * 0.5f;
    // With ascending inner edges the path is the number of inner edges <= x; it is then found
    // from a linear guess checked against the two edges around it (the outer ones infinite).
    sorted_ = true;
    for (int j = 1; j + 1 < cells_; ++j) sorted_ = sorted_ && e_[j] <= e_[j + 1];
    e_[0] = -std::numeric_limits<float>::infinity();
    e_[cells_] = std::numeric_limits<float>::infinity();
    lo_ = min;
    scale_ = static_cast<float>(cells_) / (max - min);
    top_ = static_cast<float>(cells_ - 1);
  }

  std::uint32_t cellOf(float x) const {
    if (sorted_) {
      float t = (x - lo_) * scale_;
      if (!(t >= 0.0f)) t = 0.0f;  // NaN included
      if (t > top_) t = top_;
      const int i = static_cast<int>(t);
      if (e_[i] <= x && x < e_[i + 1]) return static_cast<std::uint32_t>(i);
    }
    int l = 0, r = cells_;  // descend the halvings
    while (r - l > 1) {
      const int m = (l + r) / 2;
      if (x >= e_[m])
        l = m;
      else
        r = m;
    }
    return static_cast<std::uint32_t>(l);
  }

 private:
  float* e_ = nullptr;
  int cells_ = 1;
  float lo_ = 0.0f, scale_ = 0.0f, top_ = 0.0f;
  bool sorted_ = true;
};

// Key levels for a node of `count` points: enough that a cell rarely needs more, with tables of
// at most about 2 count edges per axis.
int keyLevels(int count) {
  return std::clamp(static_cast<int>(std::bit_width(static_cast<unsigned>(count))) - 1, 8, kMaxKeyLevels);
}

// The run a pass reads: the root's keys with the point index implied by the position, or items.
struct KeysIn {
  const std::uint32_t* keys;
  std::uint32_t key(int i) const { return keys[i]; }
  int index(int i) const { return i; }
};
struct ItemsIn {
  const Item* items;
  std::uint32_t key(int i) const { return items[i].key; }
  int index(int i) const { return items[i].index; }
};

// A run of the nodes, in blocks that are freed together.
class NodeArena {
 public:
  explicit NodeArena(int expected) : nextBlock_(std::max(expected, 64)) {}
  Node* alloc(int count) {
    if (left_ < count) {
      blocks_.emplace_back();
      blocks_.back() = std::make_unique_for_overwrite<Node[]>(static_cast<std::size_t>(nextBlock_));
      next_ = blocks_.back().get();
      left_ = nextBlock_;
      nextBlock_ *= 2;
    }
    Node* made = next_;
    next_ += count;
    left_ -= count;
    return made;
  }

 private:
  std::vector<std::unique_ptr<Node[]>> blocks_;
  Node* next_ = nullptr;
  int left_ = 0;
  int nextBlock_;
};

// The counted depth: for each child that was split in turn, one more than the largest depth
// reached so far within its parent.
int countedDepth(const Node* node, int depth) {
  int d = depth;
  for (const Node* child : node->children)
    if (!child->isLeaf) d = std::max(countedDepth(child, d + 1), d);
  return d;
}

}  // namespace

struct Quadtree::Storage {
  LargeArray<int> remap;
  Node* root = nullptr;
  std::unique_ptr<NodeArena> nodes;
};

// Builds the nodes and the remap of one tree. Each point gets a key of its quadrant codes for up
// to 16 levels below the root box, made exactly as halving the boxes makes them; then a node's
// run is split by up to four levels per pass: a histogram of the pass's codes decides which of
// those levels' nodes split (more than 300 points, not all equal, a box that still halves),
// every run that stays a leaf becomes one bucket (so it keeps index order) and one stable
// counting sort moves the run. Nodes that need more levels are queued as tasks over their run;
// a node whose keys run out gets new keys from its box. Runs live in two item buffers at their
// final positions, each pass moving its run from one to the other.
class Quadtree::Builder {
 public:
  Builder(Quadtree& tree, NodeArena& nodes)
      : tree_(tree), nodes_(nodes), v_(tree.vertices_), n_(tree.numVertices_) {}

  void build(Node* root, const Box& box) {
    const auto n = static_cast<std::size_t>(n_);
    keys_ = LargeArray<std::uint32_t>(n);
    buf_[0] = LargeArray<Item>(n);
    buf_[1] = LargeArray<Item>(n);
    const int levels = keyLevels(n_);
    edges_.resize(2 * ((std::size_t{1} << levels) + 1));
    makeRootKeys(box, levels);
    tasks_.push_back(Task{root, box, 0, n_, -1, 0, levels, kUnknown, true});
    while (!tasks_.empty()) {
      const Task task = tasks_.back();
      tasks_.pop_back();
      if (task.buffer < 0)
        process(task, KeysIn{keys_.get()});
      else
        process(task, ItemsIn{buf_[task.buffer].get()});
    }
  }

 private:
  // A node to split, holding the run first ... end-1 of more than 300 points in buffer `buffer`
  // (-1: the root's keys). Its keys were made `levels` levels above the node's level plus
  // `used`; `points` says whether its points are known to be all equal; `force` (the root) splits
  // it even so.
  enum Points { kUnknown, kUnequal, kEqual };
  struct Task {
    Node* node;
    Box box;
    int first, end;
    int buffer;
    int used, levels;
    Points points;
    bool force;
  };

  void makeRootKeys(const Box& box, int levels) {
    AxisCells cx, cy;
    const std::size_t stride = (std::size_t{1} << levels) + 1;
    cx.init(box.lo[0], box.hi[0], levels, edges_.data());
    cy.init(box.lo[1], box.hi[1], levels, edges_.data() + stride);
    const int shift = 32 - 2 * levels;
    std::uint32_t* keys = keys_.get();
    for (int i = 0; i < n_; ++i) {
      const float x = v_[2 * std::size_t(i)], y = v_[2 * std::size_t(i) + 1];
      keys[i] = (spread(cx.cellOf(x)) | (spread(cy.cellOf(y)) << 1)) << shift;
    }
  }

  // New keys for the task's run from its box, into buffer `to` at the run's positions (which may
  // be the run itself). Returns whether all its points are equal when `checkEqual` (else false).
  template <class In>
  bool rekey(Task& task, In in, int to, bool checkEqual) {
    const int levels = keyLevels(task.end - task.first);
    const std::size_t stride = (std::size_t{1} << levels) + 1;
    AxisCells cx, cy;
    cx.init(task.box.lo[0], task.box.hi[0], levels, edges_.data());
    cy.init(task.box.lo[1], task.box.hi[1], levels, edges_.data() + stride);
    const int shift = 32 - 2 * levels;
    Item* out = buf_[to].get();
    const int p0 = in.index(task.first);
    const float x0 = v_[2 * std::size_t(p0)], y0 = v_[2 * std::size_t(p0) + 1];
    bool equal = checkEqual;
    for (int i = task.first; i < task.end; ++i) {
      const int p = in.index(i);
      const float x = v_[2 * std::size_t(p)], y = v_[2 * std::size_t(p) + 1];
      equal = equal && x == x0 && y == y0;
      out[i] = Item{(spread(cx.cellOf(x)) | (spread(cy.cellOf(y)) << 1)) << shift, p};
    }
    task.buffer = to;
    task.used = 0;
    task.levels = levels;
    return equal;
  }

  // True when every point of the run equals the first in x and y (value comparison).
  template <class In>
  bool allEqual(In in, int first, int end) const {
    const int p0 = in.index(first);
    const float x0 = v_[2 * std::size_t(p0)], y0 = v_[2 * std::size_t(p0) + 1];
    for (int i = first + 1; i < end; ++i) {
      const int p = in.index(i);
      if (!(v_[2 * std::size_t(p)] == x0 && v_[2 * std::size_t(p) + 1] == y0)) return false;
    }
    return true;
  }

  template <class In>
  void leafRun(In in, int first, int end) {
    int* remap = tree_.remap_;
    for (int i = first; i < end; ++i) remap[i] = in.index(i);
  }

  // Splits the task's node and the nodes below it, down to the levels its keys hold; queues the
  // nodes that need more.
  template <class In>
  void process(Task task, In in) {
    for (;;) {
      if (task.used == task.levels) {
        // The keys have run out: new ones from the node's box.
        const bool equal = rekey(task, in, std::max(task.buffer, 0), task.points == kUnknown);
        if (task.points == kUnknown) task.points = equal ? kEqual : kUnequal;
        if (task.points == kEqual && !task.force) {
          leafRun(ItemsIn{buf_[task.buffer].get()}, task.first, task.end);
          return;
        }
        if constexpr (std::is_same_v<In, KeysIn>) {
          process(task, ItemsIn{buf_[task.buffer].get()});
          return;
        }
      }
      const int m = task.end - task.first;
      const int remaining = task.levels - task.used;
      // Levels this pass: those a uniform run of m points needs, in as few passes of at most
      // four levels as possible, spread evenly.
      int need = 1;
      for (int c = m / 4; c > kVertsPerLeaf; c /= 4) ++need;
      const int passes = (need + kMaxPassLevels - 1) / kMaxPassLevels;
      const int depth = std::min((need + passes - 1) / passes, remaining);
      const int shift = 32 - 2 * (task.used + depth);
      const std::uint32_t digitMask = (1u << (2 * depth)) - 1u;

      int* hist = count_ + levelOffset(depth);
      std::fill(hist, hist + (1 << (2 * depth)), 0);
      const std::uint32_t key0 = in.key(task.first);
      std::uint32_t diff = 0;
      for (int i = task.first; i < task.end; ++i) {
        const std::uint32_t key = in.key(i);
        diff |= key ^ key0;
        ++hist[(key >> shift) & digitMask];
      }
      diff &= ~0u >> (2 * task.used);  // the levels already split are shared anyway
      if (task.points == kUnknown) {
        task.points = diff != 0 || !allEqual(in, task.first, task.end) ? kUnequal : kEqual;
        if (task.points == kEqual && !task.force) {
          leafRun(in, task.first, task.end);
          return;
        }
      }
      // Levels all the run's points share: a chain of nodes with all points in one child.
      const int shared = diff == 0 ? remaining : std::countl_zero(diff << (2 * task.used)) / 2;
      if (shared > 0) {
        if (!chain(task, in, shared)) return;
        continue;
      }
      splitPass(task, in, depth, shift, digitMask);
      return;
    }
  }

  // Splits `levels` levels of nodes that each send all the run's points to one child. Returns
  // false when the run ends in a leaf (all points equal, or a box that no longer halves).
  template <class In>
  bool chain(Task& task, In in, int levels) {
    const std::uint32_t key = in.key(task.first);
    for (int l = 0; l < levels; ++l) {
      const int q = static_cast<int>((key >> (30 - 2 * task.used)) & 3u);
      Node* kids = nodes_.alloc(4);
      for (int c = 0; c < 4; ++c) {
        kids[c].isLeaf = 1;
        kids[c].leaf.first = c <= q ? task.first : task.end;
        kids[c].leaf.end = c < q ? task.first : task.end;
      }
      Node* node = task.node;
      node->isLeaf = 0;
      for (int c = 0; c < 4; ++c) node->children[c] = kids + c;
      tree_.numNodes_ += 4;
      const Box sub = subBox(task.box, q);
      const bool stuck = sameXY(sub, task.box);
      task.node = kids + q;
      task.box = sub;
      ++task.used;
      task.force = false;
      if (task.points != kUnequal || stuck) {
        leafRun(in, task.first, task.end);
        return false;
      }
    }
    return true;
  }

  static int levelOffset(int level) { return ((1 << (2 * level)) - 1) / 3; }

  // The pass proper: the histogram in count_ at level `depth` decides the nodes; then one stable
  // counting sort moves the run.
  template <class In>
  void splitPass(const Task& task, In in, int depth, int shift, std::uint32_t digitMask) {
    depth_ = depth;
    // Counts and largest bucket per node of each level of the pass.
    for (int i = 0, b = levelOffset(depth); i < (1 << (2 * depth)); ++i) largest_[b + i] = count_[b + i];
    for (int level = depth - 1; level >= 0; --level) {
      const int at = levelOffset(level), below = levelOffset(level + 1);
      for (int p = 0; p < (1 << (2 * level)); ++p) {
        const int* c = count_ + below + 4 * p;
        const int* g = largest_ + below + 4 * p;
        count_[at + p] = c[0] + c[1] + c[2] + c[3];
        largest_[at + p] = std::max(std::max(g[0], g[1]), std::max(g[2], g[3]));
      }
    }
    numBuckets_ = 0;
    pos_ = task.first;
    hasLeaf_ = hasTask_ = false;
    out_ = task.buffer < 0 ? 1 : 1 - task.buffer;
    decide(task.node, task.box, 0, 0, task);

    int* cursor = cursor_;
    const std::uint16_t* bucketOf = bucketOf_;
    int* remap = tree_.remap_;
    Item* out = buf_[out_].get();
    if (hasTask_ && hasLeaf_) {
      for (int i = task.first; i < task.end; ++i) {
        const std::uint32_t key = in.key(i);
        const int at = cursor[bucketOf[(key >> shift) & digitMask]]++;
        out[at] = Item{key, in.index(i)};
        remap[at] = in.index(i);
      }
    } else if (hasTask_) {
      for (int i = task.first; i < task.end; ++i) {
        const std::uint32_t key = in.key(i);
        const int at = cursor[bucketOf[(key >> shift) & digitMask]]++;
        out[at] = Item{key, in.index(i)};
      }
    } else {
      for (int i = task.first; i < task.end; ++i) {
        const std::uint32_t key = in.key(i);
        remap[cursor[bucketOf[(key >> shift) & digitMask]]++] = in.index(i);
      }
    }
  }

  // Splits `node` (pass level `level`, prefix `prefix` of the pass's codes) into four children;
  // each stays a leaf, is split here, or is queued.
  void decide(Node* node, const Box& box, int level, int prefix, const Task& task) {
    Node* kids = nodes_.alloc(4);
    node->isLeaf = 0;
    for (int q = 0; q < 4; ++q) node->children[q] = kids + q;
    tree_.numNodes_ += 4;
    const int below = levelOffset(level + 1);
    for (int q = 0; q < 4; ++q) {
      Node* child = kids + q;
      const int p = 4 * prefix + q;
      const int count = count_[below + p];
      child->isLeaf = 1;
      child->leaf.first = pos_;
      child->leaf.end = pos_ + count;
      const Box sub = subBox(box, q);
      bool queued = false;
      if (count > kVertsPerLeaf && !sameXY(sub, box)) {
        if (level + 1 < depth_ && largest_[below + p] != count) {
          // Points in two buckets of the pass differ: split here.
          decide(child, sub, level + 1, p, task);
          continue;
        }
        tasks_.push_back(Task{child, sub, pos_, pos_ + count, out_, task.used + level + 1,
                              task.levels, kUnknown, false});
        queued = hasTask_ = true;
      }
      if (!queued && count > 0) hasLeaf_ = true;
      // One bucket for all the pass codes below the child.
      const int span = 1 << (2 * (depth_ - level - 1));
      for (int d = p * span; d < (p + 1) * span; ++d)
        bucketOf_[d] = static_cast<std::uint16_t>(numBuckets_);
      cursor_[numBuckets_++] = pos_;
      pos_ += count;
    }
  }

  Quadtree& tree_;
  NodeArena& nodes_;
  const float* v_;
  int n_;
  LargeArray<std::uint32_t> keys_;
  LargeArray<Item> buf_[2];
  std::vector<float> edges_;
  std::vector<Task> tasks_;
  // The current pass.
  int count_[341];    // per level of the pass, the points of each node
  int largest_[341];  // per level of the pass, the largest bucket below each node
  std::uint16_t bucketOf_[256];
  int cursor_[256];
  int depth_ = 0, numBuckets_ = 0, pos_ = 0, out_ = 0;
  bool hasLeaf_ = false, hasTask_ = false;
};

Quadtree::Quadtree(int n, const float* vertices, const BoundingBox& box)
    : box_(box), vertices_(vertices), numVertices_(n) {
  storage_ = std::make_shared<Storage>();
  storage_->remap = LargeArray<int>(static_cast<std::size_t>(n));
  remap_ = storage_->remap.get();

  krOS::StopWatch watch;
  watch.start();
  // About the nodes of a uniform cloud; more blocks follow if needed.
  storage_->nodes = std::make_unique<NodeArena>(n / 48);
  Node* root = storage_->nodes->alloc(1);
  root->isLeaf = 1;
  root->leaf.first = 0;
  root->leaf.end = n;
  root_ = storage_->root = root;
  numNodes_ = 1;
  if (n > kVertsPerLeaf) {
    Box b;
    float lo[3], hi[3];
    box_.minPt(lo);
    box_.maxPt(hi);
    b.lo[0] = lo[0], b.lo[1] = lo[1], b.hi[0] = hi[0], b.hi[1] = hi[1];
    Builder(*this, *storage_->nodes).build(root_, b);
    maxDepth_ = countedDepth(root_, 2);
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
