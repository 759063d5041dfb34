// krGeom::GridMesh: a PointMesh whose vertices form a regular nu x nv grid, row by row.
//
//   krGeom::GridMesh grid(4, 3, vertices, nullptr, nullptr, nullptr);
//   int n = grid.vertexNum(1, 2);          // 1 + 2 * 4 = 9
//
// One thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/meshes/point_mesh.h>

namespace krGeom {

class KRGEOM_EXPORT GridMesh : public PointMesh {
 public:
  // A PointMesh of nu x nv vertices made from the arrays as PointMesh's counted constructor makes
  // it (null arrays are not made), then the grid's size.
  GridMesh(int nu, int nv, const MeshVertex* v, const MeshNormal* nm, const MeshUV* uv,
           const MeshColour* c);
  GridMesh(const GridMesh& other) : PointMesh(other), nu_(other.nu_), nv_(other.nv_) {}
  ~GridMesh() override;
  // PointMesh's assignment, then the grid's size.
  GridMesh& operator=(const GridMesh& other);

  int nu() const { return nu_; }
  int nv() const { return nv_; }
  // Vertex u of row v: u + v * nu.
  int vertexNum(int u, int v) const { return u + v * nu_; }
  // v = n / nv and u = n % nv. Deliberately nv in both, where vertexNum uses nu: the two are
  // inverse only on square grids.
  void uvIndexes(int n, int& u, int& v) const {
    v = n / nv_;
    u = n % nv_;
  }

 private:
  int nu_;
  int nv_;
};

}  // namespace krGeom
