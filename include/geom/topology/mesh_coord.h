// Barycentric coordinates of points in triangles: MeshCoordBase (the three weights and the
// operations on three corner points), TopoMeshCoord (the weights in a face of a TopoMesh) and
// MeshCoord (the weights in a triangle of an indexed triangle mesh).
//
//   krGeom::TopoMeshCoord c;
//   if (c.setFromPoint(face, x)) {          // false for a degenerate triangle
//     krGeom::TopoMeshVertex v;
//     if (c.onVertex(1e-3, v)) snapTo(v);   // within 1e-3 of a corner
//     krLinear::Point y = c.evaluate();     // x again, up to rounding
//   }
//
// Weight k belongs to corner k. A coordinate whose three weights are all exactly 0.0 is invalid.
// Plain values; one thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/topology/topo_mesh_entities.h>

#include <kr/linear/point.h>

namespace krGeom {

class KRGEOM_EXPORT MeshCoordBase {
 public:
  // ---- Construction ----

  // All weights 0 (invalid).
  constexpr MeshCoordBase() noexcept = default;
  constexpr MeshCoordBase(double w0, double w1, double w2) noexcept : w_{w0, w1, w2} {}

  // ---- Weights ----

  // Weight of corner i (0..2, not checked).
  constexpr double weight(int i) const noexcept { return w_[i]; }
  constexpr double w0() const noexcept { return w_[0]; }
  constexpr double w1() const noexcept { return w_[1]; }
  constexpr double w2() const noexcept { return w_[2]; }
  constexpr void setWeights(double w0, double w1, double w2) noexcept {
    w_[0] = w0;
    w_[1] = w1;
    w_[2] = w2;
  }
  // True when any weight differs from 0.0.
  constexpr bool valid() const noexcept { return w_[0] != 0.0 || w_[1] != 0.0 || w_[2] != 0.0; }
  // Sets all weights to 0 and returns false (so failing setters can `return setInvalid();`).
  constexpr bool setInvalid() noexcept {
    setWeights(0.0, 0.0, 0.0);
    return false;
  }

  // Exact comparison of the weights.
  constexpr bool operator==(const MeshCoordBase&) const noexcept = default;

  // ---- Operations on the corners p0, p1, p2 ----

  // w0·p0 + w1·p1 + w2·p2.
  krLinear::Point evaluateBase(const krLinear::Point& p0, const krLinear::Point& p1,
                               const krLinear::Point& p2) const noexcept;
  // The corner nearest to the evaluated point when it is closer than `tolerance` (strictly);
  // ties go to the lower index. Writes the corner index (0..2) to *corner when corner is not null.
  bool onVertexBase(const krLinear::Point& p0, const krLinear::Point& p1, const krLinear::Point& p2,
                    double tolerance, int* corner = nullptr) const noexcept;
  // The same test against the three sides (0: p0-p1, 1: p1-p2, 2: p2-p0), measuring to the
  // nearest point of each side segment.
  bool onEdgeBase(const krLinear::Point& p0, const krLinear::Point& p1, const krLinear::Point& p2,
                  double tolerance, int* edge = nullptr) const noexcept;
  // Sets the weights of x in the triangle. A degenerate triangle (squared normal length below
  // krLinear::epsilon2Tol) gives weights 0 and false. An x within krLinear::epsilonTol of a
  // corner gets exactly that corner's unit weight. Otherwise w0 and w1 are signed area ratios of
  // the sub-triangles (x, p1, p2) and (x, p2, p0) and w2 = 1 − w0 − w1; for an x off the
  // triangle's plane these are ratios of the sub-triangles' true areas, not of a projection.
  bool setFromPointBase(const krLinear::Point& p0, const krLinear::Point& p1,
                        const krLinear::Point& p2, const krLinear::Point& x) noexcept;
  // Sets the weights of the point of the closed triangle nearest to x's projection onto the
  // triangle's plane: two non-positive weights snap to the third corner, one clamps to the
  // opposite side. A degenerate triangle gives weights 0 and false.
  bool projectBase(const krLinear::Point& p0, const krLinear::Point& p1, const krLinear::Point& p2,
                   const krLinear::Point& x) noexcept;

 private:
  double w_[3] = {0.0, 0.0, 0.0};
};

// A barycentric coordinate in a triangular face of a TopoMesh. The corners, in weight order, are
// the origin of the face's firstEdge h0, the origin of h0.next and the origin of h0.next.next;
// the sides, in order, are h0, h0.next and h0.prev. The face is borrowed: the coordinate must
// not be used after the face is deleted. Precondition for every operation below that reads the
// face: it is a triangle of a live mesh.
class KRGEOM_EXPORT TopoMeshCoord : public MeshCoordBase {
 public:
  // ---- Construction ----

  // Weights 0 (invalid) and a null face.
  TopoMeshCoord() noexcept = default;
  TopoMeshCoord(TopoMeshFace f, double w0, double w1, double w2) noexcept
      : MeshCoordBase(w0, w1, w2), face_(f) {}

  // ---- Face ----

  TopoMeshFace face() const noexcept { return face_; }
  void setFace(TopoMeshFace f) noexcept { face_ = f; }

  // Exact comparison of the weights and the face.
  bool operator==(const TopoMeshCoord&) const noexcept = default;

  // ---- Operations ----

  // The point at this coordinate.
  krLinear::Point evaluate() const noexcept;
  // Stores f, then sets the weights from x (false and weights 0 for a degenerate triangle).
  bool setFromPoint(TopoMeshFace f, const krLinear::Point& x) noexcept;
  // The corner vertex within `tolerance` (onVertexBase); v is written only on success.
  bool onVertex(double tolerance, TopoMeshVertex& v) const noexcept;
  // The side (h0, h0.next or h0.prev) within `tolerance` (onEdgeBase); e is written only on
  // success.
  bool onEdge(double tolerance, TopoMeshEdge& e) const noexcept;

  // The three corner vertices in weight order.
  void getVertices(TopoMeshVertex corners[3]) const noexcept;

 private:
  TopoMeshFace face_;
};

struct MeshVertex;
struct MeshTriangle;

// A barycentric coordinate in triangle `triangle` of an indexed triangle mesh. Operations take
// the mesh's arrays in either form: flat floats (x, y, z per vertex) with flat indices (three per
// triangle), or MeshVertex with MeshTriangle records. Corner k is the vertex of entry 3t + k.
// Nothing is checked: the triangle must exist in the arrays passed. A plain value.
class KRGEOM_EXPORT MeshCoord : public MeshCoordBase {
 public:
  // Weights 0 (invalid) and triangle -1.
  MeshCoord() = default;
  MeshCoord(int triangle, double w0, double w1, double w2)
      : MeshCoordBase(w0, w1, w2), triangle_(triangle) {}

  int getTriangle() const { return triangle_; }
  void setTriangle(int triangle) { triangle_ = triangle; }

  // The point w0 p0 + w1 p1 + w2 p2 of the triangle's corners.
  krLinear::Point evaluate(const float* vertices, const int* triangles) const;
  krLinear::Point evaluate(const MeshVertex* vertices, const MeshTriangle* triangles) const;
  // Stores the triangle, then setFromPointBase on its corners.
  bool setFromPoint(int triangle, const float* vertices, const int* triangles,
                    const krLinear::Point& x);
  bool setFromPoint(int triangle, const MeshVertex* vertices, const MeshTriangle* triangles,
                    const krLinear::Point& x);
  // Stores the triangle, then projectBase on its corners.
  bool project(int triangle, const float* vertices, const int* triangles, const krLinear::Point& x);
  bool project(int triangle, const MeshVertex* vertices, const MeshTriangle* triangles,
               const krLinear::Point& x);
  // onVertexBase and onEdgeBase on the corners (edge 0: corners 0-1, 1: 1-2, 2: 2-0).
  bool onVertex(const float* vertices, const int* triangles, double tolerance, int* corner) const;
  bool onVertex(const MeshVertex* vertices, const MeshTriangle* triangles, double tolerance,
                int* corner) const;
  bool onEdge(const float* vertices, const int* triangles, double tolerance, int* edge) const;
  bool onEdge(const MeshVertex* vertices, const MeshTriangle* triangles, double tolerance,
              int* edge) const;
  // Not on an edge and no weight below 0.
  bool isInterior(const float* vertices, const int* triangles, double tolerance) const;
  bool isInterior(const MeshVertex* vertices, const MeshTriangle* triangles,
                  double tolerance) const;
  // Not on an edge and some weight not >= 0 (a NaN weight counts as outside). Deliberately not
  // the complement of isInterior: a point on an edge is neither.
  bool isExterior(const float* vertices, const int* triangles, double tolerance) const;
  bool isExterior(const MeshVertex* vertices, const MeshTriangle* triangles,
                  double tolerance) const;

  // Exact comparison of the weights and the triangle.
  bool operator==(const MeshCoord& o) const {
    return MeshCoordBase::operator==(o) && triangle_ == o.triangle_;
  }
  bool operator!=(const MeshCoord& o) const { return !(*this == o); }

 private:
  // Loads the triangle's three corners.
  void getPoints(krLinear::Point* corners, const float* vertices, const int* triangles) const;

  int triangle_ = -1;
};

}  // namespace krGeom
