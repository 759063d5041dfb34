#include <geom/meshes/grid_mesh.h>

namespace krGeom {

GridMesh::GridMesh(int nu, int nv, const MeshVertex* v, const MeshNormal* nm, const MeshUV* uv,
                   const MeshColour* c)
    : PointMesh(nu * nv, v, nm, uv, c), nu_(nu), nv_(nv) {}

GridMesh::~GridMesh() = default;

GridMesh& GridMesh::operator=(const GridMesh& other) {
  PointMesh::operator=(other);
  nu_ = other.nu_;
  nv_ = other.nv_;
  return *this;
}

}  // namespace krGeom
