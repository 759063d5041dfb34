// MoveableMesh, MeshSubset and the arrangement functions.
#include <geom/foundation/moveable_array_allocator.h>
#include <geom/meshes/arrangement.h>
#include <geom/meshes/mesh_subset.h>
#include <geom/meshes/moveable_mesh.h>

#include <algorithm>

namespace krGeom {

// --- MoveableMesh ---

MoveableMesh::MoveableMesh(CompactMesh& mesh) : mesh_(mesh) {
  if (MoveableArrayAllocator* a = getAllocator()) a->map();
}

MoveableMesh::~MoveableMesh() {
  if (MoveableArrayAllocator* a = getAllocator()) a->unmap();
}

MoveableArrayAllocator* MoveableMesh::getAllocator() {
  return dynamic_cast<MoveableArrayAllocator*>(mesh_.getArrayAllocator().get());
}

// --- MeshSubset ---

MeshSubset::MeshSubset(int numVertices, const int* vertexRefs, int numTriangles,
                       const int* triangleRefs)
    : numVertices_(numVertices),
      numTriangles_(numTriangles),
      vertexRefs_(new int[static_cast<std::size_t>(numVertices)]),
      triangleRefs_(new int[static_cast<std::size_t>(numTriangles)]) {
  std::copy(vertexRefs, vertexRefs + numVertices, vertexRefs_.get());
  std::copy(triangleRefs, triangleRefs + numTriangles, triangleRefs_.get());
}

MeshSubset::~MeshSubset() = default;

// --- Arrangements ---

void addMeshToArrangement(kr::list<MeshPlacement>& list, CompactMesh& mesh) {
  list.push_back({krLinear::AffineMatrixFlt::identity(), &mesh});
}

void addMeshToArrangement(kr::list<MeshPlacement>& list, CompactMesh& mesh,
                          krLinear::AffineMatrixFlt& m) {
  list.push_back({m, &mesh});
}

void deleteMeshesInArrangement(kr::list<MeshPlacement>& list) {
  for (MeshPlacement& p : list) {
    delete p.mesh;
    p.mesh = nullptr;
  }
}

}  // namespace krGeom
