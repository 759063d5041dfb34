// TopoMeshPoint: a reference-counted location on the surface of a TopoMesh that knows whether it
// lies on a vertex, on an edge or inside a face, with its coordinate in a triangular face and
// its position.
//
//   kr::Reference<krGeom::TopoMeshPoint> p(new krGeom::TopoMeshPoint(coord, 1e-4));
//   if (p->isEdgePoint()) split(p->getEdge(), p->point());
//
// The vertex, edge and face handles are borrowed from the mesh: a point must not be used after
// the records it names are deleted. Faces read by the constructors and by getEdgeWeights and
// asString must be triangles. One thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/topology/mesh_coord.h>
#include <geom/topology/topo_mesh_entities.h>

#include <kr/linear/point.h>
#include <kr/reference.h>
#include <kr/string.h>

#include <cstdint>

namespace krGeom {

class KRGEOM_EXPORT TopoMeshPoint : public kr::ReferenceCount {
 public:
  // What the point lies on (values are fixed).
  enum Type : std::int32_t { eVertexPoint = 0, eEdgePoint = 1, eFacePoint = 2 };

  // ---- Construction ----

  // A vertex point at v. The coordinate is set from v's position in f or, when f is null, in
  // the face of v's firstEdge. An isolated v with a null f gets an invalid coordinate (weights
  // 0, null face).
  explicit TopoMeshPoint(TopoMeshVertex v, TopoMeshFace f = TopoMeshFace());
  // An edge point on e in face f, a being the weight of e's origin and b that of its end. The
  // weights go where e lies in f's loop: (a, b, 0) when e is f's firstEdge, (0, a, b) when it is
  // the next one, else (b, 0, a). The position is the evaluated coordinate. Precondition: e is
  // a side of the triangle f.
  TopoMeshPoint(TopoMeshEdge e, TopoMeshFace f, double a, double b);
  // Classifies c: a vertex point when c lies within `tolerance` of a corner (coordinate set
  // again from that vertex's position); else an edge point when within `tolerance` of a side
  // (position projected onto the side's segment, coordinate set again from it); else a face
  // point at the evaluated coordinate. Precondition: c's face is a live triangle.
  TopoMeshPoint(const TopoMeshCoord& c, double tolerance);
  // Copies every field; the copy has a fresh reference count.
  TopoMeshPoint(const TopoMeshPoint&) = default;
  TopoMeshPoint& operator=(const TopoMeshPoint&) = default;
  ~TopoMeshPoint() override;

  // ---- Queries ----

  Type getType() const noexcept { return type_; }
  bool isVertexPoint() const noexcept { return type_ == eVertexPoint; }
  bool isEdgePoint() const noexcept { return type_ == eEdgePoint; }
  bool isFacePoint() const noexcept { return type_ == eFacePoint; }
  // The vertex of a vertex point, null otherwise.
  TopoMeshVertex getVertex() const noexcept { return vertex_; }
  // The half-edge of an edge point, null otherwise.
  TopoMeshEdge getEdge() const noexcept { return edge_; }
  // The coordinate's face.
  TopoMeshFace getFace() const noexcept { return coord_.face(); }
  const TopoMeshCoord& getCoord() const noexcept { return coord_; }
  // The position.
  const krLinear::Point& point() const noexcept { return point_; }

  // a = the coordinate weight of the corner where the point's edge starts (weight 0 when the
  // edge is the face's firstEdge, 1 when it is the next one, else 2), b = 1 − a. Meant for edge
  // points whose edge lies in the coordinate's face.
  void getEdgeWeights(double& a, double& b) const noexcept;

  // ---- Relations ----

  // True when the point touches f: a vertex point when f's loop passes through the vertex, an
  // edge point when the edge or its twin lies in f, a face point when its face is f.
  bool adjacent(TopoMeshFace f) const noexcept;
  // A face both points touch, or null: two vertex points give TopoMeshVertex::adjacent; a vertex
  // and an edge point the edge's face if its loop holds the vertex, else the twin's face if the
  // twin's loop does; two edge points the first face of the first edge (its own, then its
  // twin's) that the second edge also lies in. A face point pairs with any point through its
  // face: the face when the other point touches it (adjacent(f)), null otherwise.
  TopoMeshFace adjacent(const TopoMeshPoint& other) const noexcept;
  // Two vertex points at one vertex, or two edge points on one half-edge or on the two halves
  // of one edge. Deliberately false for face points, even for a point compared with itself.
  bool equivalent(const TopoMeshPoint& other) const noexcept;
  // True for a vertex point on a boundary vertex and for an edge point on an edge without twin.
  bool onBoundary() const noexcept;

  // ---- Text ----

  // "vertex", "edge", "face", or "<none>" for any other type value.
  const char* typeName() const noexcept;
  // "vertex(%p)" with the vertex record, "edge(%p,%p)" with the records of the edge's origin and
  // end, "face(%p,%p,%p)" with the three corner records of the face; empty for another type.
  krString::CString asString() const;

 private:
  TopoMeshCoord coord_;
  TopoMeshVertex vertex_;
  TopoMeshEdge edge_;
  krLinear::Point point_;
  Type type_ = eFacePoint;
};

}  // namespace krGeom
