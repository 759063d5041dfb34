// Private implementation of krGeom::KDTree.
//
// The tree itself is one node array allocated once; nodes keep a copy of their point's
// coordinate on their split axis and link their children by node number, and a second array
// keeps all three coordinates of each node's point, so insertion and the plain walk never touch
// the caller's array. Nodes of 16 bytes never straddle a cache line: insertion, a chain of
// dependent loads down the tree, reads one line per level. A search returns exactly the points
// inside the box, ordered by their rank in the tree's pre-order (the pruning of the walk never
// skips a point inside). So searches may use any structure that finds the same points, then sort
// them by rank: the search cache, rebuilt lazily after inserts, is a balanced k-d tree over copies
// of the points and their ranks, split at medians down to leaves of at most kLeafSize points and
// stored implicitly (children of inner node k are 2k + 1 and 2k + 2).
#pragma once

#include <kr/reference.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace krGeom {

class KDTreeImpl : public kr::ImplBase {
 public:
  // A tree node. Node 0 is the root and never anybody's child, so 0 means "no child".
  struct alignas(16) Node {
    std::uint32_t low;   // child whose points lie strictly below this one on the split axis
    std::uint32_t high;  // child whose points lie at or above it
    float split;         // the point's coordinate on the split axis (depth mod 3)
    int index;           // the point index
  };

  static_assert(sizeof(Node) == 16);

  // A point of the search cache with its rank in the tree's pre-order.
  struct Point {
    float xyz[3];
    int index;
    std::uint32_t rank;
  };

  // Inserted points are linked into the tree this many at a time (and before any search), so
  // that their walks down the tree overlap their cache misses.
  static constexpr std::uint32_t kBatch = 16;

  // The search cache holds at most this many points per leaf.
  static constexpr std::uint32_t kLeafSize = 8;

  explicit KDTreeImpl(int capacity);
  ~KDTreeImpl() override;

  // Links the nodes inserted since the last call into the tree, in insertion order.
  void linkPending() const;

  // Makes the search cache current if it is stale and a rebuild pays off; returns whether
  // the cache may be used. `staleWork` counts the nodes visited by searches of the plain
  // tree since the last rebuild.
  bool prepareCache() const;
  // Rebuilds the search cache from the nodes.
  void buildCache() const;

  std::unique_ptr<Node[]> nodes;  // nodes[0] is the root
  std::unique_ptr<float[]> xyz;   // the coordinates of node k's point at 3k, copied at insertion
  int capacity;
  int count = 0;
  mutable int linked = 0;  // nodes [linked, count) hold their point but are not linked yet
  bool hasNaN = false;     // a NaN coordinate was inserted: searches always walk the nodes

  // Search cache, rebuilt by const searches (objects are used from one thread at a time).
  mutable std::vector<float> cacheXyz;           // coordinates of the points, grouped by leaf
  mutable std::vector<std::uint64_t> cacheKeys;  // rank << 32 | index of the same points
  mutable std::vector<float> cacheSplits;        // split value of each inner node
  mutable std::vector<std::uint8_t> cacheAxes;   // split axis of each inner node
  mutable int cacheDepth = 0;                    // levels of inner nodes
  mutable float cacheBounds[6] = {};             // bounding box of all points
  mutable int cachedCount = 0;                   // count when the cache was built
  mutable bool cacheFresh = false;
  mutable std::int64_t staleWork = 0;
};

}  // namespace krGeom
