// TopoMesh: construction, copying, sizes, list heads and the link and geometry setters.
#include <geom/topology/topo_mesh.h>

#include "topo_mesh_edit.h"
#include "topo_mesh_impl.h"
#include "topo_mesh_log.h"

#include <cstring>
#include <utility>

namespace krGeom {

namespace {

template <class Map, class Key>
typename Map::mapped_type translate(const Map& map, Key key) {
  if (!key) return nullptr;
  return map.find(key)->second;
}

}  // namespace

TopoMesh::TopoMesh() : impl_(std::make_unique<TopoMeshImpl>()) {}

TopoMesh::TopoMesh(const TopoMesh& other) : Entity(other), impl_(std::make_unique<TopoMeshImpl>()) {
  CopyData maps;
  copy(other, maps);
}

TopoMesh& TopoMesh::operator=(const TopoMesh& other) {
  CopyData maps;
  copy(other, maps);
  return *this;
}

TopoMesh::~TopoMesh() = default;

void TopoMesh::copy(const TopoMesh& source, CopyData& maps) {
  // The source stays untouched until the fresh implementation is complete, so self-copy works.
  auto fresh = std::make_unique<TopoMeshImpl>();
  const TopoMeshLists& from = source.impl_->lists;

  for (const TopoMeshVertexData* v = from.firstVertex; v; v = v->nextInMesh) {
    TopoMeshVertexData* c = topo::newVertex(*fresh, v->point);
    std::memcpy(static_cast<void*>(c->metadata), v->metadata, sizeof(v->metadata));
    maps.vertexMap[v] = c;
  }
  for (const TopoMeshEdgeData* e = from.firstEdge; e; e = e->nextInMesh) {
    TopoMeshEdgeData* c = topo::newEdge(*fresh);
    std::memcpy(static_cast<void*>(c->metadata), e->metadata, sizeof(e->metadata));
    maps.edgeMap[e] = c;
  }
  for (const TopoMeshFaceData* f = from.firstFace; f; f = f->nextInMesh) {
    TopoMeshFaceData* c = topo::newFace(*fresh);
    std::memcpy(static_cast<void*>(c->metadata), f->metadata, sizeof(f->metadata));
    maps.faceMap[f] = c;
  }

  // Second pass: translate every link through the maps.
  for (const TopoMeshVertexData* v = from.firstVertex; v; v = v->nextInMesh)
    maps.vertexMap[v]->firstEdge = translate(maps.edgeMap, v->firstEdge);
  for (const TopoMeshEdgeData* e = from.firstEdge; e; e = e->nextInMesh) {
    TopoMeshEdgeData* c = maps.edgeMap[e];
    c->vertex = translate(maps.vertexMap, e->vertex);
    c->next = translate(maps.edgeMap, e->next);
    c->prev = translate(maps.edgeMap, e->prev);
    c->twin = translate(maps.edgeMap, e->twin);
    c->face = translate(maps.faceMap, e->face);
  }
  for (const TopoMeshFaceData* f = from.firstFace; f; f = f->nextInMesh)
    maps.faceMap[f]->firstEdge = translate(maps.edgeMap, f->firstEdge);

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
