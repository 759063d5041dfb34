// krGeom::KDTree: an insert-only 3D k-d tree over point indices, for finding the points inside
// an axis-aligned box.
//
//   krGeom::KDTree tree(n);                    // room for n points, allocated once
//   for (int i = 0; i < n; ++i) tree.insert(xyz, i);
//   const float box[6] = {0, 0, 0, 1, 1, 1};   // min x, y, z, then max x, y, z
//   std::vector<int> found;
//   tree.searchAll(xyz, box, found);           // appends, in the tree's pre-order
//
// Every call takes the caller's flat point array (x, y, z floats per point) and the tree keeps
// no pointer to it, so the array may move between calls. Each node keeps a copy of its point's
// coordinates, taken at insertion, and searches read only those copies; the array passed to
// later calls must still hold, for every point inserted, the coordinates it had when inserted
// (the tree's order is meaningful only then anyway).
//
// The split axis cycles x, y, z with depth from the root. A point goes to the `low` side of a
// node when the node's coordinate on the split axis is strictly greater than its own, else to
// the `high` side (so equal coordinates go high). The tree is not balanced: its shape follows
// the insertion order. Containment is closed: a point on a face of the query box is inside.
// Results come in the tree's pre-order (node, its low subtree, its high subtree).
//
// Capacity is fixed at construction and insertion allocates nothing. Inserting more than
// capacity() points is a caller error: debug builds assert, release builds write past the node
// array. Memory: 24 bytes per point of capacity for the nodes.
//
// Search cache: a search returns exactly the points inside the box, in the tree's pre-order,
// so the first search after inserts may build a cache that finds the same points faster: a
// balanced k-d tree over copies of the points and their pre-order ranks (about 21 bytes per
// point, built in O(n log n), about 0.3 us per point at a million points); hits are then
// sorted by rank. It is used until the next insert, and rebuilt once the tree has grown by an
// eighth since the last build or once the searches made meanwhile on the plain tree have
// visited as many nodes as it holds, so alternating inserts and searches stay cheap. The
// cache never changes results. Trees holding a NaN coordinate are always searched without it.
// Searches without the cache walk the nodes iteratively, so even a degenerate (list-shaped)
// tree cannot exhaust the stack. A tree is used from one thread at a time, searches included
// (they may rebuild the cache).
#pragma once

#include <geom/export.h>

#include <vector>

namespace krGeom {

class KDTreeImpl;

class KRGEOM_EXPORT KDTree {
 public:
  // --- Construction ---
  // An empty tree with room for `capacity` points. Precondition: capacity >= 0.
  explicit KDTree(int capacity);
  // Frees the node array, then the implementation.
  ~KDTree();
  KDTree(const KDTree&) = delete;
  KDTree& operator=(const KDTree&) = delete;

  // --- Building ---
  // Adds point i, whose coordinates are points[3i], points[3i+1], points[3i+2].
  // Precondition: size() < capacity().
  void insert(const float* points, int i);

  // --- Searching (box: min x, min y, min z, max x, max y, max z) ---
  // A search may first rebuild the tree's search cache. When that runs out of memory it throws
  // std::bad_alloc and the tree stays as it was, searchable (with or without its old cache).
  // The index of the first point inside the box in pre-order, or -1 when there is none.
  int search(const float* points, const float* const box) const;
  // Appends the index of every point inside the box, in pre-order; `result` is not cleared.
  void searchAll(const float* points, const float* const box, std::vector<int>& result) const;

  // --- Sizes ---
  // The number of points inserted.
  int size() const noexcept;
  // The number of points the tree has room for.
  int capacity() const noexcept;

 private:
  KDTreeImpl* impl_;
  bool ownsImpl_;
};

}  // namespace krGeom
