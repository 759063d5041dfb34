// The records of a TopoMesh (vertices, half-edges, faces) and the handles through which the rest
// of the system reaches them.
//
//   for (krGeom::TopoMeshFace f = mesh.firstFace(); f; f = f.nextInMesh())
//     total += f.numVertices();
//   krGeom::TopoMeshEdge e = f.firstEdge();
//   krGeom::TopoMeshVertex a = e.v1(), b = e.v2();   // e runs from a to b
//
// Records live in the mesh's fixed-size pools and are owned by the mesh. A handle is one pointer
// to a record; a null handle means "none" (searches that find nothing return one). Handles are
// not checked: passing a null handle, a handle into another mesh or a metadata slot outside 0..19
// is undefined behaviour. A handle dangles once its record is deleted, unless the mesh keeps a
// transaction log (deleted records then stay allocated while a saved state can bring them back).
// Handles write their records directly: metadata set through them is not seen by a mesh's
// transaction log. TopoMesh::setState puts back whole records as they were just before their
// first logged change after the state was taken, so a metadata write through a handle is undone
// only in a record that a logged edit had already changed since that state; elsewhere it stays.
#pragma once

#include <geom/export.h>
#include <geom/topology/blind_data.h>

#include <kr/linear/point.h>
#include <kr/linear/point2.h>
#include <kr/linear/vector.h>

#include <cstddef>
#include <cstdint>
#include <functional>

namespace krGeom {

struct TopoMeshVertexData;
struct TopoMeshEdgeData;
struct TopoMeshFaceData;

struct TopoMeshTypedefs {
  // What a TopoMeshEntity holds (values are fixed).
  enum EntityType : std::int32_t { eVertex = 0, eEdge = 1, eFace = 2 };
};

// Number of metadata slots on every vertex, half-edge and face record.
inline constexpr int kTopoMeshMetadataSlots = 20;

// ---- Records -----------------------------------------------------------------------------------

// A vertex: its position, one outgoing half-edge, its place in the mesh's vertex list, metadata.
struct TopoMeshVertexData {
  krLinear::Point point;
  TopoMeshEdgeData* firstEdge;  // an outgoing half-edge, null for an isolated vertex
  TopoMeshVertexData* nextInMesh;
  TopoMeshVertexData* prevInMesh;
  BlindData metadata[kTopoMeshMetadataSlots];
};

// A half-edge: it starts at `vertex`, ends at `next->vertex` and belongs to `face`'s loop. `twin`
// is the opposite half-edge in the neighbouring face, null on the mesh boundary.
struct TopoMeshEdgeData {
  TopoMeshVertexData* vertex;
  TopoMeshEdgeData* next;
  TopoMeshEdgeData* prev;
  TopoMeshEdgeData* twin;
  TopoMeshFaceData* face;
  BlindData metadata[kTopoMeshMetadataSlots];
  TopoMeshEdgeData* nextInMesh;
  TopoMeshEdgeData* prevInMesh;
};

// A face: one half-edge of its loop, its place in the mesh's face list, metadata.
struct TopoMeshFaceData {
  TopoMeshEdgeData* firstEdge;
  TopoMeshFaceData* nextInMesh;
  TopoMeshFaceData* prevInMesh;
  BlindData metadata[kTopoMeshMetadataSlots];
};

// The pools are created with these exact record sizes.
static_assert(sizeof(TopoMeshVertexData) == 368);
static_assert(sizeof(TopoMeshEdgeData) == 376);
static_assert(sizeof(TopoMeshFaceData) == 344);

class TopoMeshEdge;
class TopoMeshFace;

// ---- Handles -----------------------------------------------------------------------------------
// Trivially copyable, one pointer each. They convert to their record pointer, so `if (v)`,
// `a == b` and `v == nullptr` compare records; `<` orders by record address.

class KRGEOM_EXPORT TopoMeshVertex {
 public:
  TopoMeshVertex(TopoMeshVertexData* d = nullptr) noexcept : d_(d) {}

  TopoMeshVertexData* data() const noexcept { return d_; }
  operator TopoMeshVertexData*() const noexcept { return d_; }
  bool operator<(const TopoMeshVertex& o) const noexcept { return std::less<>()(d_, o.d_); }
  bool operator>(const TopoMeshVertex& o) const noexcept { return std::less<>()(o.d_, d_); }

  // The next vertex of the mesh's vertex list (creation order), null at the tail.
  TopoMeshVertex nextInMesh() const noexcept { return d_->nextInMesh; }

  // Position.
  const krLinear::Point& point() const noexcept { return d_->point; }
  void point(krLinear::Point& p) const noexcept { p = d_->point; }
  // Copies x and y only.
  void point(krLinear::Point2& p) const noexcept {
    p = krLinear::Point2(d_->point.x(), d_->point.y());
  }

  // One outgoing half-edge, null for an isolated vertex.
  TopoMeshEdge firstEdge() const noexcept;

  // A copy of metadata slot i.
  BlindData getMetadata(int i) const noexcept { return d_->metadata[i]; }
  // Overwrites slot i of this vertex only.
  void setMetadata(int i, BlindData b) const noexcept { d_->metadata[i] = b; }

  // The number of outgoing half-edges a TopoMeshEdgeVertexIterator visits from this vertex: the
  // number of incident edges for an interior vertex, one less (the number of incident faces) for
  // a boundary vertex, 0 for an isolated one. Deliberately not the edge count on the boundary.
  int valence() const noexcept;
  // True when one of the outgoing half-edges has no twin; false for an isolated vertex.
  bool onBoundary() const noexcept;
  // The first face, in outgoing half-edge order, whose loop also passes through `other`; null
  // if none.
  TopoMeshFace adjacent(TopoMeshVertex other) const noexcept;

 private:
  TopoMeshVertexData* d_;
};

class KRGEOM_EXPORT TopoMeshEdge {
 public:
  TopoMeshEdge(TopoMeshEdgeData* d = nullptr) noexcept : d_(d) {}

  TopoMeshEdgeData* data() const noexcept { return d_; }
  operator TopoMeshEdgeData*() const noexcept { return d_; }
  bool operator<(const TopoMeshEdge& o) const noexcept { return std::less<>()(d_, o.d_); }

  // The next half-edge of the mesh's half-edge list (creation order), null at the tail.
  TopoMeshEdge nextInMesh() const noexcept { return d_->nextInMesh; }

  // Loop and twin links.
  TopoMeshEdge next() const noexcept { return d_->next; }
  TopoMeshEdge prev() const noexcept { return d_->prev; }
  TopoMeshEdge twin() const noexcept { return d_->twin; }
  TopoMeshFace face() const noexcept;

  // The origin (where the half-edge starts) and the second vertex (where it ends).
  TopoMeshVertex firstVertex() const noexcept { return d_->vertex; }
  TopoMeshVertex secondVertex() const noexcept { return d_->next->vertex; }
  TopoMeshVertex v1() const noexcept { return firstVertex(); }
  TopoMeshVertex v2() const noexcept { return secondVertex(); }
  // Second vertex's point minus the origin's point.
  krLinear::Vector vector() const noexcept;

  // True when v is the origin or the second vertex.
  bool adjacent(TopoMeshVertex v) const noexcept;
  // The vertex shared with `other`: null when `other` is this half-edge or its twin; otherwise
  // this origin if `other` touches it, else this second vertex if `other` touches it, else null.
  TopoMeshVertex adjacent(TopoMeshEdge other) const noexcept;

  // A copy of metadata slot i.
  BlindData getMetadata(int i) const noexcept { return d_->metadata[i]; }
  // Writes slot i of this half-edge and of its twin, so both halves of the edge stay equal.
  void setMetadata(int i, BlindData b) const noexcept {
    d_->metadata[i] = b;
    if (d_->twin) d_->twin->metadata[i] = b;
  }

 private:
  TopoMeshEdgeData* d_;
};

class KRGEOM_EXPORT TopoMeshFace {
 public:
  TopoMeshFace(TopoMeshFaceData* d = nullptr) noexcept : d_(d) {}

  TopoMeshFaceData* data() const noexcept { return d_; }
  operator TopoMeshFaceData*() const noexcept { return d_; }
  bool operator<(const TopoMeshFace& o) const noexcept { return std::less<>()(d_, o.d_); }

  // The next face of the mesh's face list (creation order), null at the tail.
  TopoMeshFace nextInMesh() const noexcept { return d_->nextInMesh; }

  // One half-edge of the face's loop.
  TopoMeshEdge firstEdge() const noexcept { return d_->firstEdge; }
  // The number of half-edges (and corners) of the loop.
  int numVertices() const noexcept;
  // The average of the loop's corner points.
  krLinear::Point centroid() const;
  // The first loop half-edge, from firstEdge on, whose origin is v; null if none.
  TopoMeshEdge adjacent(TopoMeshVertex v) const noexcept;
  // The first loop half-edge, from firstEdge on, whose twin lies in face f; null if none.
  TopoMeshEdge adjacent(TopoMeshFace f) const noexcept;

  // A copy of metadata slot i.
  BlindData getMetadata(int i) const noexcept { return d_->metadata[i]; }
  // Overwrites slot i of this face only.
  void setMetadata(int i, BlindData b) const noexcept { d_->metadata[i] = b; }

 private:
  TopoMeshFaceData* d_;
};

inline TopoMeshEdge TopoMeshVertex::firstEdge() const noexcept {
  return d_->firstEdge;
}
inline TopoMeshFace TopoMeshEdge::face() const noexcept {
  return d_->face;
}

// Any one of the three handles, tagged with its kind.
class KRGEOM_EXPORT TopoMeshEntity {
 public:
  using EntityType = TopoMeshTypedefs::EntityType;

  // A null vertex.
  TopoMeshEntity() noexcept = default;
  TopoMeshEntity(TopoMeshVertex v) noexcept : type_(TopoMeshTypedefs::eVertex), d_(v.data()) {}
  TopoMeshEntity(TopoMeshEdge e) noexcept : type_(TopoMeshTypedefs::eEdge), d_(e.data()) {}
  TopoMeshEntity(TopoMeshFace f) noexcept : type_(TopoMeshTypedefs::eFace), d_(f.data()) {}
  TopoMeshEntity(const void* record, EntityType type) noexcept : type_(type), d_(record) {}

  EntityType getType() const noexcept { return type_; }
  const void* data() const noexcept { return d_; }
  operator const void*() const noexcept { return d_; }

  // The record as the matching handle, or a null handle when the tag differs.
  TopoMeshVertex asVertex() const noexcept;
  TopoMeshEdge asEdge() const noexcept;
  TopoMeshFace asFace() const noexcept;

  // "Vertex", "Edge", "Face", or "Unknown" for any other tag.
  const char* getTypeName() const noexcept;

 private:
  EntityType type_ = TopoMeshTypedefs::eVertex;
  const void* d_ = nullptr;
};

}  // namespace krGeom

// Handles hash by record address, so they can key unordered containers.
template <>
struct std::hash<krGeom::TopoMeshVertex> {
  std::size_t operator()(krGeom::TopoMeshVertex v) const noexcept {
    return std::hash<const void*>()(v.data());
  }
};
template <>
struct std::hash<krGeom::TopoMeshEdge> {
  std::size_t operator()(krGeom::TopoMeshEdge e) const noexcept {
    return std::hash<const void*>()(e.data());
  }
};
template <>
struct std::hash<krGeom::TopoMeshFace> {
  std::size_t operator()(krGeom::TopoMeshFace f) const noexcept {
    return std::hash<const void*>()(f.data());
  }
};
