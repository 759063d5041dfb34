// The navigation and query functions of the TopoMesh handles that walk loops and fans.
#include <geom/topology/edge_vertex_iterator.h>
#include <geom/topology/topo_mesh_entities.h>

#include <kr/containers.h>

namespace krGeom {

// ---- TopoMeshVertex ----

int TopoMeshVertex::valence() const noexcept {
  int k = 0;
  for (TopoMeshEdgeVertexIterator it(*this); it.valid(); it.next()) ++k;
  return k;
}

bool TopoMeshVertex::onBoundary() const noexcept {
  for (TopoMeshEdgeVertexIterator it(*this); it.valid(); it.next())
    if (!it.edge().data()->twin) return true;
  return false;
}

TopoMeshFace TopoMeshVertex::adjacent(TopoMeshVertex other) const noexcept {
  for (TopoMeshEdgeVertexIterator it(*this); it.valid(); it.next()) {
    TopoMeshFaceData* f = it.edge().data()->face;
    const TopoMeshEdgeData* h = f->firstEdge;
    do {
      if (h->vertex == other.d_) return f;
      h = h->next;
    } while (h != f->firstEdge);
  }
  return nullptr;
}

// ---- TopoMeshEdge ----

krLinear::Vector TopoMeshEdge::vector() const noexcept {
  return d_->next->vertex->point - d_->vertex->point;
}

bool TopoMeshEdge::adjacent(TopoMeshVertex v) const noexcept {
  return d_->vertex == v.data() || d_->next->vertex == v.data();
}

TopoMeshVertex TopoMeshEdge::adjacent(TopoMeshEdge other) const noexcept {
  if (other.d_ == d_ || (d_->twin && other.d_ == d_->twin)) return nullptr;
  TopoMeshVertexData* o1 = other.d_->vertex;
  TopoMeshVertexData* o2 = other.d_->next->vertex;
  TopoMeshVertexData* v1 = d_->vertex;
  TopoMeshVertexData* v2 = d_->next->vertex;
  if (v1 == o1 || v1 == o2) return v1;
  if (v2 == o1 || v2 == o2) return v2;
  return nullptr;
}

// ---- TopoMeshFace ----

int TopoMeshFace::numVertices() const noexcept {
  int n = 0;
  const TopoMeshEdgeData* h = d_->firstEdge;
  do {
    ++n;
    h = h->next;
  } while (h != d_->firstEdge);
  return n;
}

krLinear::Point TopoMeshFace::centroid() const {
  kr::vector<krLinear::Point> points;
  const TopoMeshEdgeData* h = d_->firstEdge;
  do {
    points.push_back(h->vertex->point);
    h = h->next;
  } while (h != d_->firstEdge);
  return krLinear::combine(static_cast<int>(points.size()), points.data());
}

TopoMeshEdge TopoMeshFace::adjacent(TopoMeshVertex v) const noexcept {
  TopoMeshEdgeData* h = d_->firstEdge;
  do {
    if (h->vertex == v.data()) return h;
    h = h->next;
  } while (h != d_->firstEdge);
  return nullptr;
}

TopoMeshEdge TopoMeshFace::adjacent(TopoMeshFace f) const noexcept {
  TopoMeshEdgeData* h = d_->firstEdge;
  do {
    if (h->twin && h->twin->face == f.data()) return h;
    h = h->next;
  } while (h != d_->firstEdge);
  return nullptr;
}

// ---- TopoMeshEntity ----

TopoMeshVertex TopoMeshEntity::asVertex() const noexcept {
  if (type_ != TopoMeshTypedefs::eVertex) return nullptr;
  return static_cast<TopoMeshVertexData*>(const_cast<void*>(d_));
}

TopoMeshEdge TopoMeshEntity::asEdge() const noexcept {
  if (type_ != TopoMeshTypedefs::eEdge) return nullptr;
  return static_cast<TopoMeshEdgeData*>(const_cast<void*>(d_));
}

TopoMeshFace TopoMeshEntity::asFace() const noexcept {
  if (type_ != TopoMeshTypedefs::eFace) return nullptr;
  return static_cast<TopoMeshFaceData*>(const_cast<void*>(d_));
}

const char* TopoMeshEntity::getTypeName() const noexcept {
  switch (type_) {
    case TopoMeshTypedefs::eVertex:
      return "Vertex";
    case TopoMeshTypedefs::eEdge:
      return "Edge";
    case TopoMeshTypedefs::eFace:
      return "Face";
  }
  return "Unknown";
}

// ---- TopoMeshEdgeVertexIterator ----

void TopoMeshEdgeVertexIterator::resetFirstEdge() noexcept {
  TopoMeshVertexData* v = vertex_.data();
  for (TopoMeshEdgeVertexIterator it(vertex_); it.valid(); it.next()) {
    if (!it.edge().data()->twin) {
      v->firstEdge = it.edge();
      return;
    }
  }
}

}  // namespace krGeom
