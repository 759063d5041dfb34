#include <geom/topology/boundary_iterator.h>
#include <geom/topology/edge_vertex_iterator.h>

namespace krGeom {

void TopoMeshBoundaryIterator::reset(TopoMeshEdge e, bool forward) noexcept {
  current_ = start_ = e;
  forward_ = forward;
}

void TopoMeshBoundaryIterator::reset(TopoMeshVertex v, bool forward) noexcept {
  forward_ = forward;
  current_ = start_ = nullptr;
  for (TopoMeshEdgeVertexIterator it(v); it.valid(); it.next()) {
    if (!it.edge().data()->twin) {
      current_ = start_ = it.edge();
      return;
    }
  }
}

void TopoMeshBoundaryIterator::getPrevNextEdges(TopoMeshVertex v, TopoMeshEdge& prev,
                                                TopoMeshEdge& next) noexcept {
  prev = next = nullptr;
  for (TopoMeshEdgeVertexIterator it(v); it.valid(); it.next()) {
    TopoMeshEdgeData* h = it.edge().data();
    if (!h->twin) next = h;
    if (!h->prev->twin) prev = h->prev;
  }
}

TopoMeshEdge TopoMeshBoundaryIterator::neighbour(bool along) const noexcept {
  if (!current_) return nullptr;
  TopoMeshEdge prev, next;
  if (along) {
    // The boundary half-edge leaving the current one's end vertex.
    getPrevNextEdges(current_.data()->next->vertex, prev, next);
    return next;
  }
  // The boundary half-edge arriving at the current one's origin.
  getPrevNextEdges(current_.data()->vertex, prev, next);
  return prev;
}

void TopoMeshBoundaryIterator::next() noexcept {
  if (!current_) return;
  TopoMeshEdge e = neighbour(forward_);
  current_ = e == start_ ? TopoMeshEdge() : e;
}

TopoMeshEdge TopoMeshBoundaryIterator::nextEdge() const noexcept {
  return neighbour(forward_);
}

TopoMeshEdge TopoMeshBoundaryIterator::prevEdge() const noexcept {
  return neighbour(!forward_);
}

}  // namespace krGeom
