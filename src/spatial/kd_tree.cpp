#include <geom/spatial/kd_tree.h>

#include "kd_tree_impl.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <memory>
#include <vector>

namespace krGeom {

namespace {

using Node = KDTreeImpl::Node;

bool inside(const float* p, const float* box) {
  return box[0] <= p[0] && p[0] <= box[3] && box[1] <= p[1] && p[1] <= box[4] && box[2] <= p[2] &&
         p[2] <= box[5];
}

// inside() evaluated in full, as 0 or 1, for branch-free filtering.
std::size_t insideFlag(const float* p, const float* box) {
  return std::size_t{box[0] <= p[0]} & std::size_t{p[0] <= box[3]} & std::size_t{box[1] <= p[1]} &
         std::size_t{p[1] <= box[4]} & std::size_t{box[2] <= p[2]} & std::size_t{p[2] <= box[5]};
}

bool overlaps(const float* b, const float* box) {
  return box[0] <= b[3] && b[0] <= box[3] && box[1] <= b[4] && b[1] <= box[4] && box[2] <= b[5] &&
         b[2] <= box[5];
}

bool contains(const float* box, const float* b) {
  return box[0] <= b[0] && b[3] <= box[3] && box[1] <= b[1] && b[4] <= box[4] && box[2] <= b[2] &&
         b[5] <= box[5];
}

// The pending subtrees of a pre-order walk: a small inline stack that spills to the heap for
// deep (badly ordered) trees.
template <class Entry>
class WalkStack {
 public:
  bool empty() const { return size_ == 0 && spill_.empty(); }
  void push(const Entry& e) {
    if (size_ == kInline)
      spill_.push_back(e);
    else
      inline_[size_++] = e;
  }
  Entry pop() {
    if (!spill_.empty()) {
      Entry e = spill_.back();
      spill_.pop_back();
      return e;
    }
    return inline_[--size_];
  }

 private:
  static constexpr int kInline = 64;
  Entry inline_[kInline];
  int size_ = 0;
  std::vector<Entry> spill_;
};

// Walks the nodes in pre-order, calling found(index) for every point inside the box until it
// returns true. Returns the number of nodes visited.
template <class Found>
std::int64_t walkNodes(const KDTreeImpl& t, const float* box, Found found) {
  struct Entry {
    std::uint32_t node;
    int axis;
  };
  const Node* nodes = t.nodes.get();
  const float* xyz = t.xyz.get();
  WalkStack<Entry> stack;
  std::int64_t visited = 0;
  Entry e{0, 0};
  for (;;) {
    ++visited;
    const Node& n = nodes[e.node];
    if (inside(xyz + 3 * std::size_t{e.node}, box) && found(n.index)) return visited;
    const float c = n.split;
    const int next = e.axis == 2 ? 0 : e.axis + 1;
    const bool goLow = n.low && c >= box[e.axis];
    const bool goHigh = n.high && box[3 + e.axis] >= c;
    if (goLow) {
      if (goHigh) stack.push({n.high, next});
      e = {n.low, next};
    } else if (goHigh) {
      e = {n.high, next};
    } else if (stack.empty()) {
      return visited;
    } else {
      e = stack.pop();
    }
  }
}

// Search hits as keys (rank << 32 | index): inline for typical boxes, spilling to the heap.
class Hits {
 public:
  void push_back(std::uint64_t key) {
    if (size_ < kInline)
      inline_[size_++] = key;
    else
      spill_.push_back(key);
  }
  void append(const std::uint64_t* keys, std::size_t n) {
    if (size_ + n <= kInline) {
      std::copy(keys, keys + n, inline_ + size_);
      size_ += n;
      return;
    }
    for (std::size_t i = 0; i < n; ++i) push_back(keys[i]);
  }
  // Room for n more keys in the inline buffer, or null; commit(m) keeps the first m written.
  std::uint64_t* room(std::size_t n) { return size_ + n <= kInline ? inline_ + size_ : nullptr; }
  void commit(std::size_t m) { size_ += m; }
  // Sorts the hits by rank and returns them; `rankBits` bounds the ranks.
  std::uint64_t* sorted(int rankBits) {
    std::uint64_t* keys = inline_;
    std::size_t n = size_;
    if (!spill_.empty()) {
      spill_.insert(spill_.end(), inline_, inline_ + size_);
      size_ = 0;
      keys = spill_.data();
      n = spill_.size();
    }
    if (n < kRadixFrom) {
      std::sort(keys, keys + n);
      return keys;
    }
    if (spill_.empty()) return radixSort(keys, scratch_, n, rankBits);
    std::vector<std::uint64_t> scratch(n);
    std::uint64_t* result = radixSort(keys, scratch.data(), n, rankBits);
    if (result != keys) std::copy(result, result + n, keys);
    return keys;
  }
  std::size_t size() const { return size_ + spill_.size(); }
  // The key of least rank. Precondition: size() > 0.
  std::uint64_t first() const {
    std::uint64_t best = size_ ? *std::min_element(inline_, inline_ + size_) : spill_[0];
    for (const std::uint64_t key : spill_) best = std::min(best, key);
    return best;
  }

 private:
  static constexpr std::size_t kInline = 512;
  // From this many hits on, a radix sort on the rank bytes beats comparison sorting.
  static constexpr std::size_t kRadixFrom = 64;

  // Least significant digit first, one byte of the rank per pass, skipping bytes that all keys
  // share. Returns whichever of keys and scratch holds the result.
  static std::uint64_t* radixSort(std::uint64_t* keys, std::uint64_t* scratch, std::size_t n,
                                  int rankBits) {
    const int passes = (rankBits + 7) / 8;
    std::uint32_t counts[4][256];
    std::fill(counts[0], counts[0] + 256 * passes, 0u);
    for (std::size_t i = 0; i < n; ++i)
      for (int d = 0; d < passes; ++d) ++counts[d][(keys[i] >> (32 + 8 * d)) & 0xff];
    for (int d = 0; d < passes; ++d) {
      std::uint32_t* count = counts[d];
      if (count[(keys[0] >> (32 + 8 * d)) & 0xff] == n) continue;
      std::uint32_t sum = 0;
      for (int b = 0; b < 256; ++b) {
        const std::uint32_t c = count[b];
        count[b] = sum;
        sum += c;
      }
      for (std::size_t i = 0; i < n; ++i)
        scratch[count[(keys[i] >> (32 + 8 * d)) & 0xff]++] = keys[i];
      std::swap(keys, scratch);
    }
    return keys;
  }

  std::uint64_t inline_[kInline];
  std::uint64_t scratch_[kInline];
  std::size_t size_ = 0;
  std::vector<std::uint64_t> spill_;
};

int indexOf(std::uint64_t key) {
  return static_cast<int>(static_cast<std::uint32_t>(key));
}

// Collects the points of the search cache inside the box.
class CacheSearch {
 public:
  CacheSearch(const KDTreeImpl& t, const float* box, Hits& hits)
      : xyz_(t.cacheXyz.data()),
        keys_(t.cacheKeys.data()),
        splits_(t.cacheSplits.data()),
        axes_(t.cacheAxes.data()),
        depth_(t.cacheDepth),
        box_(box),
        hits_(hits) {
    if (!overlaps(t.cacheBounds, box)) return;
    float cell[6];
    std::copy(t.cacheBounds, t.cacheBounds + 6, cell);
    visit(0, 0, static_cast<std::uint32_t>(t.count), 0, cell);
    while (queued_ > 0) take(queue_[(next_ + kQueue - queued_--) % kQueue]);
  }

 private:
  // A run of points found by the walk: all inside the box, or to be tested one by one.
  struct Run {
    std::uint32_t lo, hi;
    bool all;
  };
  // Runs wait in a short queue with their first cache lines requested, so that the misses of
  // several runs overlap instead of each stalling the walk.
  static constexpr std::size_t kQueue = 8;

  void take(const Run& r) {
    if (r.all) {
      hits_.append(keys_ + r.lo, r.hi - r.lo);
      return;
    }
    if (std::uint64_t* out = hits_.room(r.hi - r.lo)) {
      // Without branches: about half the tests of a run that straddles the box fail.
      std::size_t m = 0;
      for (std::uint32_t p = r.lo; p < r.hi; ++p) {
        out[m] = keys_[p];
        m += insideFlag(xyz_ + 3 * std::size_t{p}, box_);
      }
      hits_.commit(m);
      return;
    }
    for (std::uint32_t p = r.lo; p < r.hi; ++p)
      if (inside(xyz_ + 3 * std::size_t{p}, box_)) hits_.push_back(keys_[p]);
  }

  void enqueue(const Run& r) {
#if defined(__GNUC__)
    // The keys of every run; the coordinates of a run to be tested.
    __builtin_prefetch(keys_ + r.lo);
    __builtin_prefetch(keys_ + r.hi - 1);
    if (!r.all) {
      __builtin_prefetch(xyz_ + 3 * std::size_t{r.lo});
      __builtin_prefetch(xyz_ + 3 * std::size_t{r.hi} - 1);
    }
#endif
    if (queued_ == kQueue)
      take(queue_[next_]);
    else
      ++queued_;
    queue_[next_] = r;
    next_ = (next_ + 1) % kQueue;
  }

  // Node k holds points [lo, hi), all inside `cell`.
  void visit(std::size_t k, std::uint32_t lo, std::uint32_t hi, int level, float* cell) {
    if (contains(box_, cell)) {
      if (hi > lo) enqueue({lo, hi, true});
      return;
    }
    if (level == depth_) {
      if (hi > lo) enqueue({lo, hi, false});
      return;
    }
    const int axis = axes_[k];
    const float split = splits_[k];
    const std::uint32_t mid = lo + (hi - lo) / 2;
    const float low = cell[axis], high = cell[3 + axis];
    if (box_[axis] <= split) {
      cell[3 + axis] = split;
      visit(2 * k + 1, lo, mid, level + 1, cell);
      cell[3 + axis] = high;
    }
    if (box_[3 + axis] >= split) {
      cell[axis] = split;
      visit(2 * k + 2, mid, hi, level + 1, cell);
      cell[axis] = low;
    }
  }

  const float* xyz_;
  const std::uint64_t* keys_;
  const float* splits_;
  const std::uint8_t* axes_;
  int depth_;
  const float* box_;
  Hits& hits_;
  Run queue_[kQueue];
  std::size_t next_ = 0;    // where the next run goes; the oldest when the queue is full
  std::size_t queued_ = 0;  // runs waiting
};

}  // namespace

KDTreeImpl::KDTreeImpl(int capacity)
    : nodes(std::make_unique_for_overwrite<Node[]>(capacity)),
      xyz(std::make_unique_for_overwrite<float[]>(3 * static_cast<std::size_t>(capacity))),
      capacity(capacity) {}

KDTreeImpl::~KDTreeImpl() = default;

KDTree::KDTree(int capacity) : impl_(new KDTreeImpl(capacity)), ownsImpl_(true) {}

KDTree::~KDTree() {
  impl_->nodes.reset();
  impl_->xyz.reset();
  if (ownsImpl_) delete impl_;
}

int KDTree::search(const float* /*points*/, const float* const box) const {
  const KDTreeImpl& t = *impl_;
  if (t.count == 0) return -1;
  t.linkPending();
  if (t.prepareCache()) {
    Hits hits;
    CacheSearch(t, box, hits);
    return hits.size() ? indexOf(hits.first()) : -1;
  }
  int result = -1;
  t.staleWork += walkNodes(t, box, [&](int index) {
    result = index;
    return true;
  });
  return result;
}

void KDTree::searchAll(const float* /*points*/, const float* const box,
                       std::vector<int>& result) const {
  const KDTreeImpl& t = *impl_;
  if (t.count == 0) return;
  t.linkPending();
  if (t.prepareCache()) {
    Hits hits;
    CacheSearch(t, box, hits);
    int rankBits = 1;
    while (rankBits < 31 && (std::uint32_t{1} << rankBits) < static_cast<std::uint32_t>(t.count))
      ++rankBits;
    const std::uint64_t* keys = hits.sorted(rankBits);
    const std::size_t n = hits.size(), old = result.size();
    result.resize(old + n);
    for (std::size_t h = 0; h < n; ++h) result[old + h] = indexOf(keys[h]);
    return;
  }
  t.staleWork += walkNodes(t, box, [&](int index) {
    result.push_back(index);
    return false;
  });
}

int KDTree::size() const noexcept {
  return impl_->count;
}

int KDTree::capacity() const noexcept {
  return impl_->capacity;
}

}  // namespace krGeom
