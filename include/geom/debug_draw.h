// Debug-draw hooks: hand a CompactMesh or TopoMesh to an optional debug-drawing module.
//
// The module implements krDebugDraw::MeshIFace and exports it with C linkage under the name
// "getMeshIFace" (see <kr/debug_draw.h>). The first hook called looks it up once and keeps it for
// the life of the process; when no module provides it, every hook does nothing.
//
//   krDebugDraw::drawAddMesh(*mesh);   // a copy joins the debug scene, if a module is there
//
// The hooks may be called from any thread; the module's interface decides what it tolerates.
#pragma once

#include <geom/export.h>
#include <kr/debug_draw.h>

namespace krGeom {
class CompactMesh;
class TopoMesh;
}  // namespace krGeom

namespace krDebugDraw {

// What a debug-drawing module implements.
class MeshIFace {
 public:
  virtual ~MeshIFace() = default;
  // Draws the mesh once, now.
  virtual void drawMesh(const krGeom::CompactMesh& mesh) = 0;
  // Adds a copy of the mesh to the debug scene.
  virtual void addMesh(const krGeom::CompactMesh& mesh) = 0;
  // Adds the mesh itself; the caller keeps it alive while the scene shows it.
  virtual void addMeshPtr(const krGeom::CompactMesh* mesh) = 0;
  virtual void drawTopoMesh(const krGeom::TopoMesh& mesh) = 0;
  virtual void addTopoMesh(const krGeom::TopoMesh& mesh) = 0;
  virtual void addTopoMeshPtr(const krGeom::TopoMesh* mesh) = 0;
};

// The hooks: each forwards to the module's interface, or does nothing without one.
KRGEOM_EXPORT void drawMesh(const krGeom::CompactMesh& mesh);
KRGEOM_EXPORT void drawAddMesh(const krGeom::CompactMesh& mesh);
KRGEOM_EXPORT void drawAddMeshPtr(const krGeom::CompactMesh* mesh);
KRGEOM_EXPORT void drawTopoMesh(const krGeom::TopoMesh& mesh);
KRGEOM_EXPORT void drawAddTopoMesh(const krGeom::TopoMesh& mesh);
KRGEOM_EXPORT void drawAddTopoMeshPtr(const krGeom::TopoMesh* mesh);

}  // namespace krDebugDraw
