// krGeom::MeshCurve: a curve drawn on the surface of an indexed triangle mesh, as a sequence of
// MeshCoords, open or closed, that becomes a Polyline on a given mesh.
//
//   kr::Reference<krGeom::MeshCurve> c(new krGeom::MeshCurve(coords, true));
//   kr::Reference<krGeom::Polyline> line = c->asPolyline(*mesh);   // null below 2 coordinates
//
// One thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/meshes/polyline.h>
#include <geom/topology/mesh_coord.h>
#include <kr/reference.h>

#include <deque>

namespace krGeom {

class CompactMesh;

class KRGEOM_EXPORT MeshCurve : public kr::ReferenceCount {
 public:
  MeshCurve(const std::deque<MeshCoord>& coords, bool closed) : coords_(coords), closed_(closed) {}
  // Copies and moves take the coordinates and the flag, not the reference count.
  MeshCurve(const MeshCurve& o) : kr::ReferenceCount(o), coords_(o.coords_), closed_(o.closed_) {}
  MeshCurve(MeshCurve&& o) noexcept : coords_(std::move(o.coords_)), closed_(o.closed_) {}
  MeshCurve& operator=(const MeshCurve& o) {
    coords_ = o.coords_;
    closed_ = o.closed_;
    return *this;
  }
  MeshCurve& operator=(MeshCurve&& o) noexcept {
    coords_ = std::move(o.coords_);
    closed_ = o.closed_;
    return *this;
  }
  ~MeshCurve() override;

  const std::deque<MeshCoord>& getCoords() const { return coords_; }
  bool isClosed() const { return closed_; }

  // The curve's points on the mesh, in order (the first again at the end when closed), with
  // parameters 0, 1, 2, ...; null with fewer than 2 coordinates. Every coordinate must name a
  // triangle of the mesh.
  kr::Reference<Polyline> asPolyline(const CompactMesh& mesh) const;

 private:
  std::deque<MeshCoord> coords_;
  bool closed_;
};

}  // namespace krGeom
