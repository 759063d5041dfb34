#include <geom/topology/mesh_boundaries.h>

#include <algorithm>
#include <vector>

namespace krGeom {

MeshBoundaries::~MeshBoundaries() = default;

MeshBoundaries& MeshBoundaries::operator=(const MeshBoundaries& o) {
  if (this != &o) {
    MeshBoundaries copy(o);
    swap(copy);
  }
  return *this;
}

void MeshBoundaries::extract(int i, MeshSequence& out) const {
  // Copied out first: `out` may be this object's own sequence.
  const std::vector<int> indices(getStart(i), getEnd(i));
  const int n = static_cast<int>(indices.size());
  out.resize(n, 1);
  out.getLengths()[0] = n;
  std::copy(indices.begin(), indices.end(), out.getPoints());
  out.clearCaches();
}

int MeshBoundaries::numBytesUsed() const {
  return 4 * (sequence_.getNumPoints() + sequence_.getNumSequences() +
              2 * sequence_.getNumStarts() + sequence_.getNumOffsets());
}

}  // namespace krGeom
