// TopoMesh: creating vertices and faces, deleting faces, edges and vertices.
#include <geom/topology/topo_mesh.h>

#include "topo_mesh_edit.h"
#include "topo_mesh_impl.h"

#include <cassert>
#include <vector>

namespace krGeom {

namespace topo {

TopoMeshFaceData* allocLoop(TopoMeshImpl& m, const TopoMeshVertex* vertices, std::size_t n,
                            TopoMeshEdgeData** edges) {
  assert(n >= 1 && "a face needs at least one vertex");
  TopoMeshFaceData* f = newFace(m);
  for (std::size_t i = 0; i < n; ++i) edges[i] = newEdge(m);
  f->firstEdge = edges[0];

  for (std::size_t i = 0; i < n; ++i) {
    TopoMeshEdgeData* h = edges[i];
    TopoMeshVertexData* v = vertices[i].data();
    h->face = f;
    h->next = edges[(i + 1) % n];
    h->prev = edges[(i + n - 1) % n];
    h->vertex = v;
    if (!v->firstEdge) setFirstEdge(m, v, h);
  }

  // Half-edge i (vertex i to vertex i+1) pairs with the first half-edge running back; the new
  // half-edge goes first, so the existing one takes its zero metadata.
  for (std::size_t i = 0; i < n; ++i) {
    TopoMeshEdgeData* back = findEdge(vertices[(i + 1) % n].data(), vertices[i].data());
    if (back) pairNew(m, edges[i], back);
  }
  return f;
}

void deleteFace(TopoMeshImpl& m, TopoMeshFaceData* f) {
  TopoMeshEdgeData* const first = f->firstEdge;
  TopoMeshEdgeData* h = first;
  do {
    moveFirstEdgeOff(m, h);
    h = h->next;
  } while (h != first);

  h = first;
  do {
    TopoMeshEdgeData* next = h->next;  // read before h is released
    TopoMeshEdgeData* t = h->twin;
    // A twin inside this same loop is released here as well and needs no clearing.
    if (t && t->face != f) {
      m.recordChange(t);
      t->twin = nullptr;
    }
    releaseEdge(m, h);
    h = next;
  } while (h != first);

  releaseFace(m, f);
}

}  // namespace topo

TopoMeshVertex TopoMesh::allocVertex(const krLinear::Point& p) {
  topo::prepare(*impl_, 1, [&] { return 4; });
  return topo::newVertex(*impl_, p);
}

TopoMeshFace TopoMesh::allocTriangle(TopoMeshVertex a, TopoMeshVertex b, TopoMeshVertex c) {
  const TopoMeshVertex vertices[3] = {a, b, c};
  TopoMeshEdgeData* edges[3];
  topo::prepare(*impl_, 4, [&] { return 26; });
  return topo::allocLoop(*impl_, vertices, 3, edges);
}

TopoMeshFace TopoMesh::allocQuad(TopoMeshVertex a, TopoMeshVertex b, TopoMeshVertex c,
                                 TopoMeshVertex d) {
  const TopoMeshVertex vertices[4] = {a, b, c, d};
  TopoMeshEdgeData* edges[4];
  topo::prepare(*impl_, 5, [&] { return 32; });
  return topo::allocLoop(*impl_, vertices, 4, edges);
}

TopoMeshFace TopoMesh::allocFace(const kr::vector<TopoMeshVertex>& vertices) {
  std::vector<TopoMeshEdgeData*> edges(vertices.size());
  topo::prepare(*impl_, vertices.size() + 1, [&] { return 6 * vertices.size() + 8; });
  return topo::allocLoop(*impl_, vertices.data(), vertices.size(), edges.data());
}

void TopoMesh::deleteFace(TopoMeshFace f) {
  topo::prepare(*impl_, 0, [&] { return 8 * topo::loopSize(f.data()) + 8; });
  topo::deleteFace(*impl_, f.data());
}

bool TopoMesh::deleteEdge(TopoMeshEdge edge) {
  TopoMeshImpl& m = *impl_;
  TopoMeshEdgeData* e = edge.data();
  TopoMeshEdgeData* t = e->twin;
  if (!t) return false;
  topo::prepare(m, 0, [&] { return 8 * (topo::loopSize(e->face) + topo::loopSize(t->face)) + 32; });

  // g's loop joins e's face.
  TopoMeshFaceData* face = e->face;
  TopoMeshFaceData* g = t->face;
  TopoMeshEdgeData* h = t;
  do {
    m.recordChange(h);
    h->face = face;
    h = h->next;
  } while (h != t);
  if (face->firstEdge == e) topo::setFirstEdge(m, face, e->next);

  topo::moveFirstEdgeOff(m, e);
  topo::moveFirstEdgeOff(m, t);

  // Splice the two loops around the removed edge.
  TopoMeshEdgeData* a = e->next;
  TopoMeshEdgeData* b = e->prev;
  TopoMeshEdgeData* c = t->next;
  TopoMeshEdgeData* d = t->prev;
  m.recordChange(a);
  m.recordChange(b);
  m.recordChange(c);
  m.recordChange(d);
  b->next = c;
  a->prev = d;
  c->prev = b;
  d->next = a;

  m.recordChange(e);
  e->twin = nullptr;
  t->twin = nullptr;  // t was reported while its loop joined e's face
  topo::releaseEdge(m, e);
  topo::releaseEdge(m, t);
  topo::setFirstEdge(m, g, nullptr);
  topo::releaseFace(m, g);
  return true;
}

TopoMeshFace TopoMesh::deleteVertex(TopoMeshVertex vertex) {
  TopoMeshImpl& m = *impl_;
  TopoMeshVertexData* v = vertex.data();
  const int k = vertex.valence();
  // Other valences would leave half-edges starting at the released vertex.
  assert((k <= 1 || k == 3) && "deleteVertex needs a vertex of valence 0, 1 or 3");

  topo::prepare(m, 4, [&] {
    std::size_t loops = 0;
    for (TopoMeshEdgeVertexIterator it(v); it.valid(); it.next())
      loops += topo::loopSize(it.edge().data()->face);
    return 8 * loops + 64;
  });
  TopoMeshFaceData* result = nullptr;
  if (k == 1) {
    topo::deleteFace(m, v->firstEdge->face);
  } else if (k == 3) {
    TopoMeshFaceData* faces[3];
    TopoMeshVertex outer[3];
    TopoMeshEdgeData* outerTwins[3];
    int i = 0;
    for (TopoMeshEdgeVertexIterator it(v); it.valid(); it.next(), ++i) {
      TopoMeshEdgeData* h = it.edge();
      faces[i] = h->face;
      outer[i] = h->next->vertex;
      outerTwins[i] = h->next->twin;
    }
    for (TopoMeshFaceData* f : faces) topo::deleteFace(m, f);

    TopoMeshEdgeData* edges[3];
    result = topo::allocLoop(m, outer, 3, edges);
    for (i = 0; i < 3; ++i)
      if (outerTwins[i] && !outerTwins[i]->twin) topo::pair(m, edges[i], outerTwins[i]);
  }
  topo::releaseVertex(m, v);
  return result;
}

void TopoMesh::deleteValenceTwoVertex(TopoMeshVertex vertex) {
  const int k = vertex.valence();
  if (!(k == 2 || (k == 1 && vertex.onBoundary()))) return;

  TopoMeshImpl& m = *impl_;
  TopoMeshVertexData* v = vertex.data();
  TopoMeshEdgeData* h = v->firstEdge;
  TopoMeshEdgeData* p = h->prev;
  TopoMeshEdgeData* n = h->next;
  TopoMeshEdgeData* t = p->twin;
  TopoMeshEdgeData* tp = t ? t->prev : nullptr;
  TopoMeshEdgeData* tn = t ? t->next : nullptr;
  // Either face would shrink to two sides.
  if (n->next == p || (t && tn->next == tp)) return;
  topo::prepare(m, 0, [&] { return 32; });

  m.recordChange(p);
  m.recordChange(n);
  p->next = n;
  n->prev = p;
  if (h->face->firstEdge == h) topo::setFirstEdge(m, h->face, p);
  topo::releaseEdge(m, h);

  if (t) {
    m.recordChange(tp);
    m.recordChange(tn);
    tp->next = tn;
    tn->prev = tp;
    if (t->face->firstEdge == t) topo::setFirstEdge(m, t->face, tp);
    // The joined edge's two halves become twins; their metadata stays as it is.
    tp->twin = p;
    p->twin = tp;
    topo::releaseEdge(m, t);
  }
  topo::releaseVertex(m, v);
}

}  // namespace krGeom
