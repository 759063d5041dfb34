// krGeom::Quadtree: partitions 2D points into leaves that hold runs of a permutation of the
// point indices; callers walk it from the root with a QuadtreeIterator.
//
//   krGeom::Quadtree tree(n, xy, box);          // xy: 2 floats per point, kept, not copied
//   krGeom::QuadtreeIterator it = tree.getRoot();
//   krGeom::QuadtreeIterator child = it;        // there is no ascend: copy before descending
//   if (child.descend(3)) { ... }               // quadrant 3: upper x, upper y
//   int first, end;
//   child.getVertexRange(first, end);           // leaf points: getRemap()[first ... end-1]
//
// Building. A node holding more than 300 points is split into four quadrants about its box
// centre; a coordinate greater than or equal to the centre's goes to the upper half (bit 0 of
// the quadrant = upper x, bit 1 = upper y), so a point on a centre line goes up. All four
// children are always made, empty ones as empty leaves. Each split is a stable counting sort,
// so points keep their input order within a leaf. Only x and y of the box are used; sub-boxes
// have z 0. The box should enclose the points; points outside it are still sorted by the
// centre-line rule.
//
// Depth counting (deliberate): maxDepth() starts at 1 for the root. The children of the root are
// level 2; within one node, the level passed to a later sibling's split is one more than the
// largest depth any earlier sibling's subtree returned, so maxDepth() can exceed the number of
// levels actually present.
//
// Coincident points. Splitting stops at a child whose points are all equal (x and y), and at a
// child whose sub-box equals its parent's box in x and y (float halving has run out, or the box
// is NaN: the centre no longer moves); such a child stays a leaf however many points it holds.
// Neither stop changes any tree whose build would end without it: a child of more than 300
// equal points gets all of them into one quadrant at every later split, and a child whose box
// equals its parent's has the same centre and so sends all its points to the same quadrant
// again, with the same box; either way the unguarded build would split forever. With the stops
// every path ends, because each axis of a box can shrink only a bounded number of times.
//
// Storage. The points are referenced, not copied, and must outlive the tree and not change.
// The build works on private scratch that it frees before returning: a key per point holding its
// quadrant codes for many levels, made from the coordinates exactly as halving the boxes decides
// them (so points on centre lines, outside the box and NaN go where the description above sends
// them), and the keys sorted by up to four levels per pass. The remap order, node counts and
// depths it produces are those of the counting-sort description above. Nodes are made in a few
// blocks rather than one by one. Nodes and remap are shared by copies of a tree (copy
// construction and assignment are shallow) under a reference count: the last tree to go frees
// the node blocks and the remap. Iterators hold raw node pointers and die with the last tree
// sharing the nodes. One thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/spatial/bounding_box.h>
#include <kr/linear.h>

#include <memory>

namespace krGeom {

class QuadtreeIterator;

class KRGEOM_EXPORT Quadtree {
 public:
  // The largest number of points a leaf keeps without being split.
  static constexpr int kVertsPerLeaf = 300;

  // A node: a leaf holds a run of the remap, an inner node four children (never null).
  struct Node {
    // The half-open run remap[first] ... remap[end-1] of a leaf.
    struct Leaf {
      int first;
      int end;
    };
    int isLeaf;  // 1 for a leaf, 0 once split
    union {
      Leaf leaf;
      Node* children[4];  // indexed by quadrant
    };
  };

  // --- Construction and assignment ---
  // Builds the tree over n points (2 floats each) in `box` (x and y used). `vertices` must
  // outlive the tree and every copy of it. Precondition: n >= 0. On std::bad_alloc nothing is
  // left behind; copies share the built nodes and never allocate.
  Quadtree(int n, const float* vertices, const BoundingBox& box);
  // Shares the other tree's nodes and remap (no tree is cloned).
  Quadtree(const Quadtree& other);
  // Copies every member, so this tree shares the other's nodes and remap; its own previous
  // nodes go when no other tree shares them.
  Quadtree& operator=(const Quadtree& other);
  // Deletes the nodes and the remap when no other tree shares them.
  ~Quadtree();

  // --- Walking ---
  // An iterator on the root with the box given at construction.
  QuadtreeIterator getRoot() const;

  // --- Results ---
  // The permutation of point indices; every leaf's points are a run of it.
  const int* getRemap() const noexcept { return remap_; }
  // The caller's points.
  const float* getVertices() const noexcept { return vertices_; }
  int numVertices() const noexcept { return numVertices_; }
  // All nodes, the root included.
  int numNodes() const noexcept { return numNodes_; }
  // The depth counted as described above; 1 for a root that was not split.
  int maxDepth() const noexcept { return maxDepth_; }
  // Seconds spent building.
  double partitionTime() const noexcept { return partitionTime_; }

  // --- Traversal order ---
  // Fills order[0 ... 3] with the quadrants sorted by the dot product of their corner vector
  // (+-1, +-1, 0) with `direction`, ascending; ties keep ascending quadrant order.
  static void getNodeOrdering(const krLinear::Vector& direction, int* const order);

 private:
  friend class QuadtreeIterator;
  struct Storage;
  class Builder;

  // The half of `box` in x and y that `quadrant` names, with z 0. `sub` may be `box`.
  static void getSubBox(int quadrant, const BoundingBox& box, BoundingBox& sub);

  BoundingBox box_;
  int* remap_ = nullptr;  // owned by storage_
  const float* vertices_ = nullptr;
  Node* root_ = nullptr;  // owned by storage_
  int numVertices_ = 0;
  int numNodes_ = 0;
  int maxDepth_ = 1;
  double partitionTime_ = 0.0;
  std::shared_ptr<Storage> storage_;  // nodes and remap, shared by copies
};

// A position in a quadtree: a node and its box. A plain value; invalid when default-made.
class KRGEOM_EXPORT QuadtreeIterator {
 public:
  // No node, zero box.
  QuadtreeIterator() = default;
  // The given node with its box; the node belongs to a tree that must outlive the iterator.
  QuadtreeIterator(Quadtree::Node* node, const BoundingBox& box) : box_(box), node_(node) {}

  // True when there is a node.
  bool valid() const noexcept { return node_ != nullptr; }
  // True on a leaf. Precondition: valid().
  bool isLeaf() const noexcept { return node_->isLeaf != 0; }
  // Moves to the child in `quadrant` (0 to 3) and narrows the box to its sub-box; false, and
  // nothing changes, on a leaf. Precondition: valid().
  bool descend(int quadrant);
  // The leaf's half-open run in getRemap(). Precondition: isLeaf().
  void getVertexRange(int& first, int& end) const noexcept {
    first = node_->leaf.first;
    end = node_->leaf.end;
  }
  // The current node's box (z is 0 below the root).
  const BoundingBox& getBox() const noexcept { return box_; }
  // The current node, or null.
  Quadtree::Node* getNode() const noexcept { return node_; }

 private:
  BoundingBox box_;
  Quadtree::Node* node_ = nullptr;
};

}  // namespace krGeom
