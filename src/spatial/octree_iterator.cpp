#include <geom/spatial/octree.h>

#include <cassert>

namespace krGeom {

bool OctreeIterator::descend(int octant) {
  assert(node_ && octant >= 0 && octant < 8);
  if (node_->isLeaf) return false;
  Octree::Node* child = node_->children[octant];
  if (!child) return false;
  Octree::getSubBox(octant, box_, box_);
  node_ = child;
  return true;
}

void OctreeIterator::getVertexRange(int& first, int& end) const {
  assert(node_ && node_->isLeaf);
  first = node_->leaf.first;
  end = node_->leaf.end;
}

int OctreeIterator::getLeafNum() const {
  assert(node_ && node_->isLeaf);
  return node_->leaf.leafNum;
}

}  // namespace krGeom
