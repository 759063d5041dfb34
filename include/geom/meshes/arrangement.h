// Arrangements: lists of meshes, each placed by a single-precision matrix.
//
//   kr::list<krGeom::MeshPlacement> scene;
//   krGeom::addMeshToArrangement(scene, *new krGeom::CompactMesh(), placement);
//   ...
//   krGeom::deleteMeshesInArrangement(scene);   // deletes the meshes; the caller clears the list
//
// Adding takes no reference: the arrangement owns its meshes only in that
// deleteMeshesInArrangement deletes them (directly, not through their counts), so meshes put in
// an arrangement must not be held by kr::Reference. One thread at a time.
#pragma once

#include <geom/export.h>
#include <kr/containers.h>
#include <kr/linear.h>

namespace krGeom {

class CompactMesh;

// One entry of an arrangement: the placement and the mesh.
struct MeshPlacement {
  krLinear::AffineMatrixFlt matrix;
  CompactMesh* mesh = nullptr;
};

// Appends the mesh with the identity placement.
KRGEOM_EXPORT void addMeshToArrangement(kr::list<MeshPlacement>& list, CompactMesh& mesh);
// Appends the mesh with a copy of m.
KRGEOM_EXPORT void addMeshToArrangement(kr::list<MeshPlacement>& list, CompactMesh& mesh,
                                        krLinear::AffineMatrixFlt& m);
// Deletes every mesh that is not null yet and nulls its pointer; the placements stay.
KRGEOM_EXPORT void deleteMeshesInArrangement(kr::list<MeshPlacement>& list);

}  // namespace krGeom
