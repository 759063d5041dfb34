// krGeom::MoveableMesh: a scoped guard that keeps a mesh's moveable storage mapped while it lives.
//
//   {
//     krGeom::MoveableMesh guard(*mesh);    // maps the mesh's MoveableArrayAllocator, if it has
//     one use(guard.get());
//   }                                        // unmaps it again
//
// The guard neither owns nor counts the mesh, which must outlive it. Guards are not counted:
// with nested guards on one mesh the first to go unmaps. One thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/meshes/compact_mesh.h>
#include <kr/reference.h>

namespace krGeom {

class MoveableArrayAllocator;

class KRGEOM_EXPORT MoveableMesh : public kr::ReferenceCount {
 public:
  // Maps the mesh's allocator when it is a MoveableArrayAllocator; otherwise does nothing.
  explicit MoveableMesh(CompactMesh& mesh);
  MoveableMesh(const MoveableMesh&) = delete;
  MoveableMesh& operator=(const MoveableMesh&) = delete;
  // Unmaps the mesh's allocator when it is a MoveableArrayAllocator.
  ~MoveableMesh() override;

  CompactMesh& get() { return mesh_; }

 private:
  // The mesh's allocator as a MoveableArrayAllocator, or null.
  MoveableArrayAllocator* getAllocator();

  CompactMesh& mesh_;
};

}  // namespace krGeom
