// krGeom::MeshSubset: an immutable pair of index lists picking vertices and triangles of a mesh.
//
//   kr::Reference<krGeom::MeshSubset> s(new krGeom::MeshSubset(2, verts, 1, tris));
//
// The lists are copied; indices are not checked. One thread at a time.
#pragma once

#include <geom/export.h>
#include <kr/reference.h>

#include <memory>

namespace krGeom {

class KRGEOM_EXPORT MeshSubset : public kr::ReferenceCount {
 public:
  // Copies both lists. A negative count makes the allocation fail with std::bad_alloc.
  MeshSubset(int numVertices, const int* vertexRefs, int numTriangles, const int* triangleRefs);
  MeshSubset(const MeshSubset&) = delete;
  MeshSubset& operator=(const MeshSubset&) = delete;
  ~MeshSubset() override;

  int getNumVertices() const { return numVertices_; }
  int getNumTriangles() const { return numTriangles_; }
  const int* getVertexRefs() const { return vertexRefs_.get(); }
  const int* getTriangleRefs() const { return triangleRefs_.get(); }

 private:
  int numVertices_;
  int numTriangles_;
  std::unique_ptr<int[]> vertexRefs_;
  std::unique_ptr<int[]> triangleRefs_;
};

}  // namespace krGeom
