#include <geom/spatial/octree_voxels.h>

namespace krGeom {

OctreeTris::~OctreeTris() = default;

int OctreeTris::numBytesUsed() const {
  return 4 * (voxels_.getNumSets() + voxels_.getSets().size()) + 64;
}

OctreeLines::~OctreeLines() = default;

int OctreeLines::numBytesUsed() const {
  return 4 * (voxels_.getNumSets() + voxels_.getSets().size()) + 64;
}

}  // namespace krGeom
