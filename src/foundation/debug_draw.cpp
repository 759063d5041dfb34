#include <geom/debug_draw.h>
#include <kr/debug_draw.h>

namespace krDebugDraw {

namespace {

// The module's interface, looked up on first use (thread-safe) and kept.
MeshIFace* iface() {
  static MeshIFace* const found = static_cast<MeshIFace*>(loadIFace("getMeshIFace"));
  return found;
}

}  // namespace

void drawMesh(const krGeom::CompactMesh& mesh) {
  if (MeshIFace* i = iface()) i->drawMesh(mesh);
}
void drawAddMesh(const krGeom::CompactMesh& mesh) {
  if (MeshIFace* i = iface()) i->addMesh(mesh);
}
void drawAddMeshPtr(const krGeom::CompactMesh* mesh) {
  if (MeshIFace* i = iface()) i->addMeshPtr(mesh);
}
void drawTopoMesh(const krGeom::TopoMesh& mesh) {
  if (MeshIFace* i = iface()) i->drawTopoMesh(mesh);
}
void drawAddTopoMesh(const krGeom::TopoMesh& mesh) {
  if (MeshIFace* i = iface()) i->addTopoMesh(mesh);
}
void drawAddTopoMeshPtr(const krGeom::TopoMesh* mesh) {
  if (MeshIFace* i = iface()) i->addTopoMeshPtr(mesh);
}

}  // namespace krDebugDraw
