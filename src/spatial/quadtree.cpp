#include <geom/spatial/quadtree.h>

#include <kr/fs_allocator.h>
#include <kr/stopwatch.h>
#include "axis_cells.h"
#include "fetch_ahead.h"
#include "large_array.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

namespace krGeom {

namespace {

using Node = Quadtree::Node;

// Levels a key is made for (32 bits hold 16 quadrant codes of two bits): enough for the clouds
// the benchmarks build, while the cells stay wide enough for few coordinates to need the table of
// edges. Nodes below them get new keys.
constexpr int kKeyLevels = 14;
static_assert(kKeyLevels <= 16);
// Levels split by one counting-sort pass at most: four (256 buckets) for the root and for runs far
// beyond the caches; six (4096 buckets) for runs of kDeepPassMin points and more that fit in them,
// whose nodes then mostly end within the pass rather than queue many small runs for another.
constexpr int kMaxPassLevels = 4;
constexpr int kDeepPassLevels = 6;
constexpr int kDeepPassMin = 1 << 12;
// Runs of this many points and more are far larger than the caches: their passes write through
// line buffers straight to memory.
constexpr int kWideRun = 1 << 22;
// Clouds of this many points and more make their keys eight at a time where the processor can.
constexpr int kEightLaneMin = 1 << 16;
// How far ahead loops that read a run in order fetch it.
constexpr std::size_t kFetchAhead = 1024;
// How far ahead of each bucket's cursor a counting sort fetches the lines it writes.
constexpr std::size_t kFetchBucket = 128;

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

// spread() in lanes.
constexpr SpreadSteps kSpreadSteps = {{8, 4, 2, 1},
                                      {0x00ff00ff, 0x0f0f0f0f, 0x33333333, 0x55555555}};

// Key levels for a node of `count` points: enough that a cell rarely needs more, with tables of
// at most about 2 count edges per axis.
int keyLevels(int count) {
  return std::clamp(static_cast<int>(std::bit_width(static_cast<unsigned>(count))) - 1, 8,
                    kKeyLevels);
}

// An uninitialised array whose pages are all committed when it is made: it is carved from 2 MiB
// items taken one after the other from one pool block, which commits a mapped block's pages a
// step ahead, in one system call per 2 MiB rather than one page fault per 4 KiB. The block's
// first item, whose pages would fault one by one, is left unused.
template <class T>
class CommittedArray {
 public:
  CommittedArray() = default;
  explicit CommittedArray(std::size_t count) {
    constexpr std::size_t step = std::size_t{2} << 20;
    const std::size_t bytes = std::max<std::size_t>(count, 1) * sizeof(T);
    if (bytes <= step) {  // small: from the heap
      pool_ = std::make_unique<krOS::FSAllocator>(bytes, 1);
      data_ = static_cast<T*>(pool_->alloc());
      return;
    }
    const std::size_t items = (bytes + step - 1) / step + 1;
    if (items > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw std::bad_alloc();
    pool_ = std::make_unique<krOS::FSAllocator>(step, static_cast<int>(items));
    pool_->alloc();
    data_ = static_cast<T*>(pool_->alloc());
    for (std::size_t i = 2; i < items; ++i) pool_->alloc();  // the next 2 MiB, in address order
  }
  T* get() const { return data_; }

 private:
  std::unique_ptr<krOS::FSAllocator> pool_;
  T* data_ = nullptr;
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
  CommittedArray<int> remap;
  Node* root = nullptr;
  std::unique_ptr<NodeArena> nodes;
};

// Builds the nodes and the remap of one tree. Each point gets a key of its quadrant codes for up
// to 14 levels below the root box, made exactly as halving the boxes makes them; then a node's
// run is split by up to four (or six) levels per pass: a histogram of the pass's codes decides
// which of those levels' nodes split (more than 300 points, not all equal, a box that still
// halves), every run that stays a leaf becomes one bucket (so it keeps index order) and one stable
// counting sort moves the run. Nodes that need more levels are queued as tasks over their run;
// a node whose keys run out gets new keys from its box. A run's point indices are kept in the
// remap at their final positions, its keys in one of two key arrays at the same positions; a
// pass copies the run's indices aside and sorts keys and indices back, the keys into the other
// key array.
class Quadtree::Builder {
 public:
  Builder(Quadtree& tree, NodeArena& nodes)
      : tree_(tree), nodes_(nodes), v_(tree.vertices_), n_(tree.numVertices_) {}

  void build(Node* root, const Box& box) {
    const auto n = static_cast<std::size_t>(n_);
    keys_[0] = CommittedArray<std::uint32_t>(n);
    keys_[1] = CommittedArray<std::uint32_t>(n);
    const int levels = keyLevels(n_);
    edges_.resize(2 * ((std::size_t{1} << levels) + 1));
    makeRootKeys(box, levels, std::min(kMaxPassLevels, levels));
    process(Task{root, box, 0, n_, 0, 0, levels, kUnknown, true}, RootIn{keys_[0].get()});
    while (!tasks_.empty()) {
      const Task task = tasks_.back();
      tasks_.pop_back();
      process(task, RunIn{keys_[task.buffer].get(), tree_.remap_, 0});
    }
  }

 private:
  // A node to split, holding the run first ... end-1 of more than 300 points with keys in key
  // array `buffer`. Its keys were made `levels` levels above the node's level plus `used`;
  // `points` says whether its points are known to be all equal; `force` (the root) splits it
  // even so.
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

  // The root's run: its keys, each point's index its position.
  struct RootIn {
    const std::uint32_t* keys;
    std::uint32_t key(int i) const { return keys[i]; }
    int index(int i) const { return i; }
  };
  // A later run: keys, and point indices at indices[i - offset].
  struct RunIn {
    const std::uint32_t* keys;
    const int* indices;
    int offset;
    std::uint32_t key(int i) const { return keys[i]; }
    int index(int i) const { return indices[i - offset]; }
  };

  // The root's keys from the caller's points, with the histogram of the root's first pass
  // (`depth` levels) and the bits in which some key differs from the first.
  void makeRootKeys(const Box& box, int levels, int depth) {
    AxisCells cx, cy;
    const std::size_t stride = (std::size_t{1} << levels) + 1;
    cx.init(box.lo[0], box.hi[0], levels, edges_.data());
    cy.init(box.lo[1], box.hi[1], levels, edges_.data() + stride);
    const int shift = 32 - 2 * levels, digitShift = 32 - 2 * depth;
    int* hist = count_ + levelOffset(depth);
    std::fill(hist, hist + (1 << (2 * depth)), 0);
    std::uint32_t* keys = keys_[0].get();
    auto keyOf = [&](std::size_t i) {
      return (spread(cx.cellOf(v_[2 * i])) | (spread(cy.cellOf(v_[2 * i + 1])) << 1)) << shift;
    };
    const std::uint32_t key0 = keyOf(0);
    std::uint32_t diff = 0;
    std::size_t i = 0;
#if KRGEOM_SPATIAL_AVX2
    static const bool avx2 = __builtin_cpu_supports("avx2");
    if (avx2 && n_ >= kEightLaneMin) {
      i = static_cast<std::size_t>(n_) / 8 * 8;
      diff = rootKeys8(cx, cy, i, shift, digitShift, key0, keys, hist);
    }
#endif
#if KRGEOM_SPATIAL_SSE2
    const __m128i shiftBy = _mm_cvtsi32_si128(shift), digitBy = _mm_cvtsi32_si128(digitShift);
    const __m128i first = _mm_set1_epi32(static_cast<int>(key0));
    // Past the caches the keys go straight to memory.
    const bool stream = n_ >= kWideRun && reinterpret_cast<std::uintptr_t>(keys) % 16 == 0;
    __m128i diffs = _mm_setzero_si128();
    for (; i + 4 <= static_cast<std::size_t>(n_); i += 4) {
      fetchAhead(v_ + 2 * i, 2 * kFetchAhead);
      const __m128 a = _mm_loadu_ps(v_ + 2 * i), b = _mm_loadu_ps(v_ + 2 * i + 4);
      const __m128 xs = _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0));
      const __m128 ys = _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
      const __m128i ix = cx.cellOf4(xs), iy = cy.cellOf4(ys);
      const __m128i key =
          _mm_sll_epi32(_mm_or_si128(spreadLanes(ix, kSpreadSteps),
                                     _mm_slli_epi32(spreadLanes(iy, kSpreadSteps), 1)),
                        shiftBy);
      if (stream)
        _mm_stream_si128(reinterpret_cast<__m128i*>(keys + i), key);
      else
        _mm_storeu_si128(reinterpret_cast<__m128i*>(keys + i), key);
      diffs = _mm_or_si128(diffs, _mm_xor_si128(key, first));
      alignas(16) std::uint32_t digit[4];
      _mm_store_si128(reinterpret_cast<__m128i*>(digit), _mm_srl_epi32(key, digitBy));
      ++hist[digit[0]];
      ++hist[digit[1]];
      ++hist[digit[2]];
      ++hist[digit[3]];
    }
    if (stream) _mm_sfence();
    alignas(16) std::uint32_t lanes[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), diffs);
    diff |= lanes[0] | lanes[1] | lanes[2] | lanes[3];
#endif
    for (; i < static_cast<std::size_t>(n_); ++i) {
      const std::uint32_t key = keyOf(i);
      keys[i] = key;
      diff |= key ^ key0;
      ++hist[key >> digitShift];
    }
    rootDiff_ = diff;
    rootScanned_ = true;
  }

#if KRGEOM_SPATIAL_AVX2
  // The keys of points 0 ... end-1 (a multiple of eight) as makeRootKeys() makes them, eight at
  // a time; the processor must have AVX2. Returns the bits in which some key differs from key0.
  __attribute__((target("avx2"))) std::uint32_t rootKeys8(const AxisCells& cx, const AxisCells& cy,
                                                          std::size_t end, int shift,
                                                          int digitShift, std::uint32_t key0,
                                                          std::uint32_t* keys, int* hist) {
    const __m128i shiftBy = _mm_cvtsi32_si128(shift), digitBy = _mm_cvtsi32_si128(digitShift);
    const __m256i first = _mm256_set1_epi32(static_cast<int>(key0));
    // Past the caches the keys go straight to memory.
    const bool stream = n_ >= kWideRun && reinterpret_cast<std::uintptr_t>(keys) % 32 == 0;
    __m256i diffs = _mm256_setzero_si256();
    for (std::size_t i = 0; i < end; i += 8) {
      fetchAhead(v_ + 2 * i, 2 * kFetchAhead);
      const __m256 a = _mm256_loadu_ps(v_ + 2 * i), b = _mm256_loadu_ps(v_ + 2 * i + 8);
      // Points 0 1 4 5 2 3 6 7 of the eight in each; their keys are put back in order below.
      const __m256 xs = _mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0));
      const __m256 ys = _mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
      const __m256i ix = cx.cellOf8(xs), iy = cy.cellOf8(ys);
      const __m256i mixed =
          _mm256_sll_epi32(_mm256_or_si256(spreadLanes(ix, kSpreadSteps),
                                           _mm256_slli_epi32(spreadLanes(iy, kSpreadSteps), 1)),
                           shiftBy);
      const __m256i key = _mm256_permute4x64_epi64(mixed, _MM_SHUFFLE(3, 1, 2, 0));
      if (stream)
        _mm256_stream_si256(reinterpret_cast<__m256i*>(keys + i), key);
      else
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(keys + i), key);
      diffs = _mm256_or_si256(diffs, _mm256_xor_si256(key, first));
      alignas(32) std::uint32_t digit[8];
      _mm256_store_si256(reinterpret_cast<__m256i*>(digit), _mm256_srl_epi32(key, digitBy));
      for (int l = 0; l < 8; ++l) ++hist[digit[l]];
    }
    if (stream) _mm_sfence();
    alignas(32) std::uint32_t lanes[8];
    _mm256_store_si256(reinterpret_cast<__m256i*>(lanes), diffs);
    std::uint32_t diff = 0;
    for (int l = 0; l < 8; ++l) diff |= lanes[l];
    return diff;
  }
#endif

  // New keys for the task's run from its box, in place. Returns whether all its points are
  // equal when `checkEqual` (else false).
  template <class In>
  bool rekey(Task& task, In in, bool checkEqual) {
    const int levels = keyLevels(task.end - task.first);
    const std::size_t stride = (std::size_t{1} << levels) + 1;
    AxisCells cx, cy;
    cx.init(task.box.lo[0], task.box.hi[0], levels, edges_.data());
    cy.init(task.box.lo[1], task.box.hi[1], levels, edges_.data() + stride);
    const int shift = 32 - 2 * levels;
    std::uint32_t* keys = keys_[task.buffer].get();
    const int p0 = in.index(task.first);
    const float x0 = v_[2 * std::size_t(p0)], y0 = v_[2 * std::size_t(p0) + 1];
    bool equal = checkEqual;
    for (int i = task.first; i < task.end; ++i) {
      const int p = in.index(i);
      const float x = v_[2 * std::size_t(p)], y = v_[2 * std::size_t(p) + 1];
      equal = equal && x == x0 && y == y0;
      keys[i] = (spread(cx.cellOf(x)) | (spread(cy.cellOf(y)) << 1)) << shift;
    }
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

  // The run stays a leaf: its indices are in the remap already, except the root's.
  template <class In>
  void leafRun(In, int first, int end) {
    if constexpr (std::is_same_v<In, RootIn>) {
      int* remap = tree_.remap_;
      for (int i = first; i < end; ++i) remap[i] = i;
    } else {
      (void)first, (void)end;
    }
  }

  // Splits the task's node and the nodes below it, down to the levels its keys hold; queues the
  // nodes that need more.
  template <class In>
  void process(Task task, In in) {
    for (;;) {
      if (task.used == task.levels) {
        // The keys have run out: new ones from the node's box.
        const bool equal = rekey(task, in, task.points == kUnknown);
        if (task.points == kUnknown) task.points = equal ? kEqual : kUnequal;
        if (task.points == kEqual && !task.force) return leafRun(in, task.first, task.end);
      }
      const int remaining = task.levels - task.used;
      const int count = task.end - task.first;
      const int depth =
          std::min(rootScanned_ || count < kDeepPassMin || count >= kWideRun ? kMaxPassLevels
                                                                             : kDeepPassLevels,
                   remaining);
      const int shift = 32 - 2 * (task.used + depth);
      const std::uint32_t digitMask = (1u << (2 * depth)) - 1u;

      std::uint32_t diff = 0;
      if (rootScanned_) {  // made with the root's keys
        rootScanned_ = false;
        diff = rootDiff_;
      } else {
        int* hist = count_ + levelOffset(depth);
        std::fill(hist, hist + (1 << (2 * depth)), 0);
        const std::uint32_t key0 = in.key(task.first);
        for (int i = task.first; i < task.end; ++i) {
          if (i % 16 == 0) fetchAhead(in.keys + i, kFetchAhead);
          const std::uint32_t key = in.key(i);
          diff |= key ^ key0;
          ++hist[(key >> shift) & digitMask];
        }
      }
      diff &= ~0u >> (2 * task.used);  // the levels already split are shared anyway
      if (task.points == kUnknown) {
        task.points = diff != 0 || !allEqual(in, task.first, task.end) ? kUnequal : kEqual;
        if (task.points == kEqual && !task.force) return leafRun(in, task.first, task.end);
      }
      // Levels all the run's points share: a chain of nodes with all points in one child.
      const int shared = diff == 0 ? remaining : std::countl_zero(diff << (2 * task.used)) / 2;
      if (shared > 0) {
        if (!chain(task, shared)) return leafRun(in, task.first, task.end);
        continue;
      }
      splitPass(task, in, depth, shift, digitMask);
      return;
    }
  }

  // Splits `levels` levels of nodes that each send all the run's points to one child. Returns
  // false when the run ends in a leaf (all points equal, or a box that no longer halves).
  bool chain(Task& task, int levels) {
    const std::uint32_t key = keys_[task.buffer].get()[task.first];
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
      if (task.points != kUnequal || stuck) return false;
    }
    return true;
  }

  static int levelOffset(int level) {
    return ((1 << (2 * level)) - 1) / 3;
  }

  // The pass proper: the histogram in count_ at level `depth` decides the nodes; then one stable
  // counting sort moves the run.
  template <class In>
  void splitPass(const Task& task, In in, int depth, int shift, std::uint32_t digitMask) {
    depth_ = depth;
    // Counts and largest bucket per node of each level of the pass.
    const int deepest = levelOffset(depth);
    std::copy_n(count_ + deepest, 1 << (2 * depth), largest_ + deepest);
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
    hasTask_ = false;
    out_ = 1 - task.buffer;
    decide(task.node, task.box, 0, 0, task);

    int* cursor = cursor_;
    const std::uint16_t* bucketOf = bucketOf_;
    int* remap = tree_.remap_;
    if constexpr (std::is_same_v<In, RunIn>) {
      // The run's indices aside, as the sort writes them back into the remap.
      int* aside = aside_.get();
      std::copy(remap + task.first, remap + task.end, aside);
      in = RunIn{in.keys, aside, task.first};
    }
    if (hasTask_ && task.end - task.first < kWideRun) {
      // The keys go to lines mostly in no cache (fresh pages, or written long ago): fetched in
      // order first, rather than one store miss at a time.
      const std::uint32_t* out = keys_[out_].get();
      for (int i = task.first; i < task.end; i += 16) fetchAhead(out + i, 0);
    }
    if (KRGEOM_SPATIAL_SSE2 && hasTask_ && task.end - task.first >= kWideRun &&
        reinterpret_cast<std::uintptr_t>(keys_[out_].get()) % 64 == 0 &&
        reinterpret_cast<std::uintptr_t>(remap) % 64 == 0) {
      scatterToMemory(task, in, shift, digitMask);
    } else if (hasTask_) {
      std::uint32_t* out = keys_[out_].get();
      for (int i = task.first; i < task.end; ++i) {
        const std::uint32_t key = in.key(i);
        const int at = cursor[bucketOf[(key >> shift) & digitMask]]++;
        fetchAhead(out + at, kFetchBucket);
        fetchAhead(remap + at, kFetchBucket);
        out[at] = key;
        remap[at] = in.index(i);
      }
    } else {
      for (int i = task.first; i < task.end; ++i) {
        const std::uint32_t key = in.key(i);
        const int at = cursor[bucketOf[(key >> shift) & digitMask]]++;
        fetchAhead(remap + at, kFetchBucket);
        remap[at] = in.index(i);
      }
    }
  }

  // The counting sort of a run much larger than the caches: each bucket fills a line of keys and
  // a line of indices here and writes them to memory whole, past the caches; lines shared with a
  // neighbouring bucket are written item by item.
  template <class In>
  void scatterToMemory(const Task& task, In in, int shift, std::uint32_t digitMask) {
#if KRGEOM_SPATIAL_SSE2
    std::uint32_t* out = keys_[out_].get();
    int* remap = tree_.remap_;
    int* cursor = cursor_;
    const std::uint16_t* bucketOf = bucketOf_;
    std::copy_n(cursor_, numBuckets_, begin_);
    for (int i = task.first; i < task.end; ++i) {
      const std::uint32_t key = in.key(i);
      const int b = bucketOf[(key >> shift) & digitMask];
      const int at = cursor[b]++;
      const int slot = at & 15;
      lineKeys_[b].v[slot] = key;
      lineIndices_[b].v[slot] = static_cast<std::uint32_t>(in.index(i));
      if (slot == 15) {
        const int line = at - 15;
        if (line >= begin_[b]) {
          auto* toKeys = reinterpret_cast<__m128i*>(out + line);
          auto* toIndices = reinterpret_cast<__m128i*>(remap + line);
          const auto* keys = reinterpret_cast<const __m128i*>(lineKeys_[b].v);
          const auto* indices = reinterpret_cast<const __m128i*>(lineIndices_[b].v);
          for (int q = 0; q < 4; ++q) {
            _mm_stream_si128(toKeys + q, keys[q]);
            _mm_stream_si128(toIndices + q, indices[q]);
          }
        } else {
          flushPart(b, begin_[b], at + 1, out, remap);
        }
      }
    }
    for (int b = 0; b < numBuckets_; ++b)
      if (cursor[b] & 15) flushPart(b, std::max(begin_[b], cursor[b] & ~15), cursor[b], out, remap);
    _mm_sfence();
#else
    (void)task, (void)in, (void)shift, (void)digitMask;
#endif
  }

  // Positions first ... end-1 (one line) of bucket b's line buffers, item by item.
  void flushPart(int b, int first, int end, std::uint32_t* keys, int* remap) {
    for (int i = first; i < end; ++i) {
      keys[i] = lineKeys_[b].v[i & 15];
      remap[i] = static_cast<int>(lineIndices_[b].v[i & 15]);
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
      if (count > kVertsPerLeaf && !sameXY(sub, box)) {
        if (level + 1 < depth_ && largest_[below + p] != count) {
          // Points in two buckets of the pass differ: split here.
          decide(child, sub, level + 1, p, task);
          continue;
        }
        tasks_.push_back(Task{child, sub, pos_, pos_ + count, out_, task.used + level + 1,
                              task.levels, kUnknown, false});
        hasTask_ = true;
      }
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
  CommittedArray<std::uint32_t> keys_[2];
  LargeArray<int> aside_ = LargeArray<int>(static_cast<std::size_t>(n_));
  std::vector<float> edges_;
  std::vector<Task> tasks_;
  // The current pass.
  static constexpr int kCodes = 1 << (2 * kDeepPassLevels), kWideCodes = 1 << (2 * kMaxPassLevels);
  int count_[(4 * kCodes - 1) / 3];    // per level of the pass, the points of each node
  int largest_[(4 * kCodes - 1) / 3];  // per level of the pass, the largest bucket below each node
  std::uint16_t bucketOf_[kCodes];
  int cursor_[kCodes];
  int begin_[kWideCodes];
  struct alignas(64) Line {
    std::uint32_t v[16];
  };
  Line lineKeys_[kWideCodes], lineIndices_[kWideCodes];
  int depth_ = 0, numBuckets_ = 0, pos_ = 0, out_ = 0;
  std::uint32_t rootDiff_ = 0;
  bool rootScanned_ = false;  // count_ holds the root's first histogram
  bool hasTask_ = false;
};

Quadtree::Quadtree(int n, const float* vertices, const BoundingBox& box)
    : box_(box), vertices_(vertices), numVertices_(n) {
  storage_ = std::make_shared<Storage>();
  storage_->remap = CommittedArray<int>(static_cast<std::size_t>(n));
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
    // On the heap: the builder's pass tables and line buffers take about 100 KB.
    std::make_unique<Builder>(*this, *storage_->nodes)->build(root_, b);
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
