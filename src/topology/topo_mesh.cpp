// TopoMesh: construction, copying, sizes, list heads and the link and geometry setters.
#include <geom/topology/topo_mesh.h>

#include "topo_mesh_edit.h"
#include "topo_mesh_impl.h"
#include "topo_mesh_log.h"
#include "topo_mesh_log_changes.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <utility>
#include <vector>

namespace krGeom {

namespace {

// Source record -> copied record, for one kind of record: the copies in source list order and an
// index from source address to list position. Much cheaper than ordered maps for whole meshes.
template <class Rec>
class CopyTable {
 public:
  explicit CopyTable(std::size_t n) {
    copies_.reserve(n);
    index_.reserve(n);
  }
  void add(const Rec* source, Rec* copy) {
    index_.insert(source, static_cast<std::uint32_t>(copies_.size()));
    copies_.push_back(copy);
  }
  Rec* operator[](const Rec* source) const {
    return source ? copies_[index_.find(source)] : nullptr;
  }
  // Adds every correspondence to `map` (overwriting what it held for the same keys).
  template <class Map>
  void exportTo(const Rec* first, Map& map) const {
    std::vector<std::pair<const Rec*, Rec*>> pairs;
    pairs.reserve(copies_.size());
    std::size_t i = 0;
    for (const Rec* r = first; r; r = r->nextInMesh) pairs.emplace_back(r, copies_[i++]);
    // In key order every insertion lands at the end: linear instead of n log n.
    std::sort(pairs.begin(), pairs.end(), [](const auto& x, const auto& y) {
      return std::less<const Rec*>()(x.first, y.first);
    });
    for (const auto& [from, to] : pairs) map.insert_or_assign(map.end(), from, to);
  }

 private:
  std::vector<Rec*> copies_;
  TopoMeshLogIndex index_;
};

}  // namespace

TopoMesh::TopoMesh() : impl_(std::make_unique<TopoMeshImpl>()) {}

TopoMesh::TopoMesh(const TopoMesh& other) : Entity(other), impl_(std::make_unique<TopoMeshImpl>()) {
  copyFrom(other, nullptr);
}

TopoMesh& TopoMesh::operator=(const TopoMesh& other) {
  copyFrom(other, nullptr);
  return *this;
}

TopoMesh::~TopoMesh() = default;

void TopoMesh::copy(const TopoMesh& source, CopyData& maps) {
  copyFrom(source, &maps);
}

void TopoMesh::copyFrom(const TopoMesh& source, CopyData* maps) {
  // The source stays untouched until the fresh implementation is complete, so self-copy works.
  auto fresh = std::make_unique<TopoMeshImpl>();
  const TopoMeshLists& from = source.impl_->lists;
  CopyTable<TopoMeshVertexData> vertices(from.numVertices);
  CopyTable<TopoMeshEdgeData> edges(from.numEdges);
  CopyTable<TopoMeshFaceData> faces(from.numFaces);

  for (const TopoMeshVertexData* v = from.firstVertex; v; v = v->nextInMesh) {
    TopoMeshVertexData* c = topo::newVertex(*fresh, v->point);
    std::memcpy(static_cast<void*>(c->metadata), v->metadata, sizeof(v->metadata));
    vertices.add(v, c);
  }
  for (const TopoMeshEdgeData* e = from.firstEdge; e; e = e->nextInMesh) {
    TopoMeshEdgeData* c = topo::newEdge(*fresh);
    std::memcpy(static_cast<void*>(c->metadata), e->metadata, sizeof(e->metadata));
    edges.add(e, c);
  }
  for (const TopoMeshFaceData* f = from.firstFace; f; f = f->nextInMesh) {
    TopoMeshFaceData* c = topo::newFace(*fresh);
    std::memcpy(static_cast<void*>(c->metadata), f->metadata, sizeof(f->metadata));
    faces.add(f, c);
  }

  // Second pass: translate every link.
  for (const TopoMeshVertexData* v = from.firstVertex; v; v = v->nextInMesh)
    vertices[v]->firstEdge = edges[v->firstEdge];
  for (const TopoMeshEdgeData* e = from.firstEdge; e; e = e->nextInMesh) {
    TopoMeshEdgeData* c = edges[e];
    c->vertex = vertices[e->vertex];
    c->next = edges[e->next];
    c->prev = edges[e->prev];
    c->twin = edges[e->twin];
    c->face = faces[e->face];
  }
  for (const TopoMeshFaceData* f = from.firstFace; f; f = f->nextInMesh)
    faces[f]->firstEdge = edges[f->firstEdge];

  if (maps) {
    vertices.exportTo(from.firstVertex, maps->vertexMap);
    edges.exportTo(from.firstEdge, maps->edgeMap);
    faces.exportTo(from.firstFace, maps->faceMap);
  }
  impl_.swap(fresh);
  // `fresh` now holds the old implementation and destroys it here.
}

void TopoMesh::swap(TopoMesh& other) noexcept {
  impl_.swap(other.impl_);
}

std::int64_t TopoMesh::getSizeInBytes() const noexcept {
  const TopoMeshLists& l = impl_->lists;
  return 8 * (static_cast<std::int64_t>(l.numVertices) + l.numFaces + l.numEdges) + 144;
}

int TopoMesh::numVertices() const noexcept {
  return impl_->lists.numVertices;
}
int TopoMesh::numFaces() const noexcept {
  return impl_->lists.numFaces;
}
int TopoMesh::numEdges() const noexcept {
  return impl_->lists.numEdges;
}
TopoMeshVertex TopoMesh::firstVertex() const noexcept {
  return impl_->lists.firstVertex;
}
TopoMeshFace TopoMesh::firstFace() const noexcept {
  return impl_->lists.firstFace;
}
TopoMeshEdge TopoMesh::firstEdge() const noexcept {
  return impl_->lists.firstEdge;
}

TopoMeshEdge TopoMesh::findEdge(TopoMeshVertex a, TopoMeshVertex b) noexcept {
  return topo::findEdge(a.data(), b.data());
}

void TopoMesh::setTwins(TopoMeshEdge e1, TopoMeshEdge e2) {
  topo::pair(*impl_, e1.data(), e2.data());
}

void TopoMesh::setPoint(TopoMeshVertex v, const krLinear::Point& p) {
  impl_->recordChange(v.data());
  v.data()->point = p;
}

void TopoMesh::modified(TopoMeshModification& m) {
  sendMessage(m);
}

}  // namespace krGeom
