// krGeom::Octree: partitions a flat array of points into an octree whose leaves hold runs of a
// permutation of the point indices; krGeom::OctreeIterator walks it from the root.
//
//   kr::Reference<krGeom::Octree> tree(new krGeom::Octree(n, xyz, box, false, 32));
//   int order[8];
//   krGeom::Octree::getNodeOrdering(viewDirection, order);   // nearest octants first
//   krGeom::OctreeIterator root = tree->getRoot();
//   // visit(it): if it.isLeaf(), it.getVertexRange(first, end) names tree->getRemap()[first ...
//   // end-1] and it.getLeafNum() indexes per-leaf data; else for c in order: copy it,
//   // descend(c) and visit when the copy's getBox() meets the region of interest.
//
// Octants: bit 0 set = upper half in x, bit 1 = upper half in y, bit 2 = upper half in z. A point
// goes to the upper half of an axis when its coordinate is >= the box centre's (a point on a
// mid-plane goes up). Points outside the given box are still placed by that rule.
//
// The tree is built completely by the constructor and is immutable afterwards. The caller's point
// array (x, y, z floats per point) is kept, not copied: it must not change or go away while the
// tree is used. Iterators hold raw node pointers and are invalidated when the last octree sharing
// the nodes is destroyed. Objects are used from one thread at a time.
//
// Choices of this implementation:
// - Nodes come from a krOS::FSAllocator with blocks of 8192 nodes (items, not bytes), in lazy
//   mode; they are never freed one by one.
// - The node pool and the remap array live in one storage object under a reference count: a copy
//   shares them with its source (no tree is cloned) and the last of them to go releases them.
// - The build first gives each point a key holding its octant codes for up to ten levels below
//   the root, made from per-axis tables of the boxes' halving planes, so the codes are exactly
//   those of the halved boxes. A node is then split up to three levels at a time by one stable
//   counting sort of the (key, index) pairs on those levels' codes; descendants that stay leaves
//   share one bucket, so every run keeps index order. Nodes below the keys' levels get new keys
//   in their own box, all the children of a node in one stream. It needs 16 bytes per point of
//   temporary memory, released before the constructor returns; the results are exactly those
//   of splitting one level at a time.
// - With n <= 0 the root is one empty leaf and, the depth limit being undefined, the root box is
//   widened by E / 1000 alone (E: the box's largest extent).
// - The build time is reported on krGeom::debugChannel() as
//   "Octree: vertices(%d) vertsPerLeaf(%d) numNodes(%d)\n        maxDepth(%d): %f s\n".
#pragma once

#include <geom/export.h>
#include <geom/spatial/bounding_box.h>
#include <kr/linear.h>
#include <kr/reference.h>

namespace krGeom {

class OctreeIterator;
struct OctreePartitionData;
struct OctreePass;
struct OctreeChildKeys;

class KRGEOM_EXPORT Octree : public kr::ReferenceCount {
 public:
  // A node of the tree: a leaf with a run of the remap, or an inner node with eight children.
  struct Node {
    // Leaves only: the half-open run remap[first] ... remap[end-1] and the dense leaf number.
    struct Leaf {
      int first;
      int end;
      int leafNum;
    };
    // True when created, false once split.
    bool isLeaf;
    union {
      Leaf leaf;
      // Inner nodes only: children by octant; null where an octant has none.
      Node* children[8];
    };
  };

  // --- Construction ---
  // Builds the tree over the n points of `vertices` (borrowed, see above) in `box`. Leaves keep
  // at most vertsPerLeaf points unless the depth limit ceil(2 ln n / ln 8) is reached or their
  // points all lie within one float step of the first on every axis. With keepEmpty, every split
  // of a box that is not flat makes all eight children, empty ones as leaves with first == end;
  // otherwise empty octants have no child. On std::bad_alloc nothing is left behind.
  Octree(int n, const float* vertices, const BoundingBox& box, bool keepEmpty, int vertsPerLeaf);
  // Shares the source's nodes, remap and points (no tree is cloned); the copy has a fresh count.
  Octree(const Octree& other);
  // Not assignable: a built tree is immutable.
  Octree& operator=(const Octree&) = delete;
  // Releases the nodes and the remap when no copy shares them any more.
  ~Octree() override;

  // --- Walking ---
  // An iterator on the root, with the widened root box.
  OctreeIterator getRoot() const;
  // Writes the eight octants to order[0 ... 7] by ascending dot product of the corner vector
  // (+-1, +-1, +-1) with direction; ties keep ascending octant order. For a viewing direction
  // pointing into the scene, octants nearest the viewer come first.
  static void getNodeOrdering(const krLinear::Vector& direction, int* const order);

  // --- Queries ---
  // The permutation of point indices; each leaf names a run of it.
  const int* getRemap() const { return remap_; }
  // The caller's point array.
  const float* getVertices() const { return vertices_; }
  int numVertices() const { return numVertices_; }
  // All nodes, the root included.
  int numNodes() const { return numNodes_; }
  // The number of leaf numbers handed out; leaf numbers are 0 ... numLeafNodes() - 1.
  int numLeafNodes() const { return numLeafNodes_; }
  // The deepest level that holds a node; the root is level 1.
  int maxDepth() const { return maxDepth_; }
  // Seconds spent building.
  double partitionTime() const { return partitionTime_; }
  // 4 * numVertices + 72 * numNodes + 104.
  int numBytesUsed() const;

 private:
  friend class OctreeIterator;
  struct Storage;

  // A leaf from the pool for the run first ... end-1, taking a recycled leaf number if any.
  Node* allocNode(int first, int end, OctreePartitionData& data);
  // Codes every point by its octants on the levels below the root, counting the first pass as it
  // goes, then splits the root. Each split returns the deepest level reached.
  int splitRoot(Node* node, int limit, OctreePartitionData& data);
  // Codes again, in their own boxes, the points of node's children that may be split once the
  // pass that made them (writing scratch buffer `buffer`) has used its keys' last level. depth
  // is the level of node's children.
  void recodeChildren(Node* node, const BoundingBox& box, int depth, int limit, int buffer,
                      OctreePartitionData& data, OctreeChildKeys& keys);
  // Splits node by one counting-sort pass over up to three levels of its points' codes, of which
  // keyLevels are left, then walks what the pass made. wideAxes: the axes whose key cells are
  // not empty.
  int splitLevels(Node* node, const BoundingBox& box, int depth, int limit, int keyLevels,
                  unsigned wideAxes, int from, OctreePartitionData& data);
  // The same once the pass has counted node's points.
  int splitCounted(Node* node, const BoundingBox& box, int depth, int limit, OctreePass& pass,
                   OctreePartitionData& data);
  // Splits node, at level j of the pass below the digits d0 ..., into the runs the pass made and
  // splits its children further in octant order.
  int visitPass(Node* node, const BoundingBox& box, int depth, int limit, int j, int d0,
                OctreePass& pass, OctreePartitionData& data);
  // The octant's half of box per axis; sub may be box itself.
  static void getSubBox(int octant, const BoundingBox& box, BoundingBox& sub);

  BoundingBox box_;
  kr::Reference<Storage> storage_;  // the node pool and the remap, shared with copies
  int* remap_ = nullptr;            // owned by storage_
  const float* vertices_ = nullptr;
  Node* root_ = nullptr;
  int vertsPerLeaf_ = 0;
  int numVertices_ = 0;
  int numNodes_ = 0;
  int numLeafNodes_ = 0;
  int maxDepth_ = 1;
  bool keepEmpty_ = false;
  double partitionTime_ = 0.0;
};

// A position in an Octree: the current node and its box. A plain value; the default iterator
// has no node. Copy it before descending to keep the parent (there is no ascend).
class KRGEOM_EXPORT OctreeIterator {
 public:
  // --- Construction ---
  // No node, zero box: not valid.
  OctreeIterator() = default;
  // On node, whose box is box.
  OctreeIterator(Octree::Node* node, const BoundingBox& box) : box_(box), node_(node) {}

  // --- Position ---
  // True when there is a current node.
  bool valid() const { return node_ != nullptr; }
  // Precondition: valid().
  bool isLeaf() const { return node_->isLeaf; }
  // The current node's box.
  const BoundingBox& getBox() const { return box_; }
  // Moves to the child in octant (0 to 7) and its sub-box; returns false and changes nothing when
  // the current node is a leaf or has no child there. Precondition: valid().
  bool descend(int octant);

  // --- Leaves (precondition: valid() and isLeaf()) ---
  // The leaf's half-open run in Octree::getRemap().
  void getVertexRange(int& first, int& end) const;
  // The leaf's dense number.
  int getLeafNum() const;

 private:
  BoundingBox box_;
  Octree::Node* node_ = nullptr;
};

}  // namespace krGeom
