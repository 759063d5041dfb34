#include <geom/topology/topo_mesh.h>
#include <geom/topology/topo_mesh_state.h>

namespace krGeom {

TopoMeshState::~TopoMeshState() = default;

TopoMeshModification::TopoMeshModification(const TopoMesh* mesh, Type type) noexcept
    : EntityModification(mesh, eMesh), type_(type) {}

TopoMeshModification::~TopoMeshModification() = default;

}  // namespace krGeom
