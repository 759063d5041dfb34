// TopoMesh: splitting vertices, edges and faces, gluing boundary edges, flipping diagonals.
#include <geom/topology/topo_mesh.h>

#include "topo_mesh_edit.h"
#include "topo_mesh_impl.h"

#include <cassert>

namespace krGeom {

namespace {

void clearTwin(TopoMeshImpl& m, TopoMeshEdgeData* e) {
  if (!e || !e->twin) return;
  m.recordChange(e);
  e->twin = nullptr;
}

}  // namespace

TopoMeshVertex TopoMesh::splitVertex(TopoMeshVertex vertex, TopoMeshEdge edge) {
  TopoMeshImpl& m = *impl_;
  TopoMeshVertexData* v = vertex.data();
  TopoMeshEdgeData* e = edge.data();
  TopoMeshEdgeData* t = e->twin;
  assert(e->vertex == v && "e must leave v");
  assert(t && vertex.onBoundary() && "splitVertex needs a boundary vertex and an interior edge");
  topo::prepare(m, 1, [&] { return 4 * topo::fanSize(v) + 32; });

  TopoMeshVertexData* w = topo::newVertex(m, v->point);
  clearTwin(m, e);
  clearTwin(m, t);
  topo::setFirstEdge(m, v, e);
  w->firstEdge = t->next;
  topo::claimFan(m, w);
  return w;
}

TopoMeshVertex TopoMesh::splitVertex(TopoMeshEdge edge1, TopoMeshEdge edge2) {
  TopoMeshImpl& m = *impl_;
  TopoMeshEdgeData* e1 = edge1.data();
  TopoMeshEdgeData* e2 = edge2.data();
  TopoMeshEdgeData* s = e1->twin;
  TopoMeshEdgeData* r = e2->twin;
  TopoMeshVertexData* x = e2->vertex;
  topo::prepare(m, 1, [&] { return 4 * topo::fanSize(x) + 32; });

  clearTwin(m, e1);
  clearTwin(m, s);
  clearTwin(m, e2);
  clearTwin(m, r);
  TopoMeshVertexData* nv = topo::newVertex(m, x->point);
  nv->firstEdge = s;
  topo::setFirstEdge(m, x, e2);
  // Turn from s through prev->twin up to the cut; the start check guards a fan that was not
  // actually cut.
  for (TopoMeshEdgeData* h = s; h; h = h->prev->twin) {
    topo::setOrigin(m, h, nv);
    if (h->prev->twin == s) break;
  }
  return nv;
}

void TopoMesh::splitEdge(TopoMeshEdge edge) {
  TopoMeshImpl& m = *impl_;
  TopoMeshEdgeData* e = edge.data();
  TopoMeshEdgeData* t = e->twin;
  TopoMeshVertexData* a = e->vertex;
  TopoMeshVertexData* b = e->next->vertex;
  assert(t && "splitEdge needs an interior edge");
  assert(TopoMeshVertex(a).onBoundary() && TopoMeshVertex(b).onBoundary() &&
         "splitEdge needs both ends on the boundary");
  topo::prepare(m, 2, [&] { return 4 * (topo::fanSize(a) + topo::fanSize(b)) + 32; });

  TopoMeshVertexData* a1 = topo::newVertex(m, a->point);
  TopoMeshVertexData* b1 = topo::newVertex(m, b->point);
  clearTwin(m, e);
  clearTwin(m, t);
  topo::setFirstEdge(m, a, e);
  topo::setFirstEdge(m, b, e->next);
  a1->firstEdge = t->next;
  b1->firstEdge = t;
  topo::claimFan(m, a1);
  topo::claimFan(m, b1);
}

TopoMeshFace TopoMesh::splitFace(TopoMeshEdge edge1, TopoMeshEdge edge2) {
  topo::prepare(*impl_, 3, [&] { return 8 * topo::loopSize(edge1.data()->face) + 32; });
  return topo::cutLoop(*impl_, edge1.data(), edge2.data(), false).g;
}

void TopoMesh::mergeVertices(TopoMeshEdge edge1, TopoMeshEdge edge2) {
  TopoMeshImpl& m = *impl_;
  TopoMeshEdgeData* e1 = edge1.data();
  TopoMeshEdgeData* e2 = edge2.data();
  TopoMeshVertexData* a1 = e1->vertex;
  TopoMeshVertexData* b1 = e1->next->vertex;
  TopoMeshVertexData* a2 = e2->vertex;
  TopoMeshVertexData* b2 = e2->next->vertex;
  topo::prepare(m, 0, [&] {
    return 4 * (topo::fanSize(a1) + topo::fanSize(b1) + topo::fanSize(a2) + topo::fanSize(b2)) + 32;
  });

  if (a1 == b2 && b1 == a2) {
    topo::pair(m, e1, e2);
  } else if (a1 == b2) {
    topo::releaseVertex(m, a2);
    topo::setOrigin(m, e2, b1);
    topo::pair(m, e1, e2);
    topo::claimFan(m, b1);
  } else if (b1 == a2) {
    topo::releaseVertex(m, b2);
    topo::setOrigin(m, e2->next, a1);
    topo::pair(m, e1, e2);
    topo::claimFan(m, a1);
  } else {
    topo::releaseVertex(m, a2);
    topo::releaseVertex(m, b2);
    topo::setOrigin(m, e2, b1);
    topo::setOrigin(m, e2->next, a1);
    topo::pair(m, e1, e2);
    topo::claimFan(m, a1);
    topo::claimFan(m, b1);
  }
}

bool TopoMesh::swapEdge(TopoMeshEdge edge) {
  TopoMeshImpl& m = *impl_;
  TopoMeshEdgeData* e = edge.data();
  TopoMeshEdgeData* t = e->twin;
  assert(t && "swapEdge needs an interior edge");
  // e: a -> b in (a, b, c); t: b -> a in (b, a, d).
  TopoMeshEdgeData* n = e->next;
  TopoMeshEdgeData* p = e->prev;
  TopoMeshEdgeData* tn = t->next;
  TopoMeshEdgeData* tp = t->prev;
  TopoMeshVertexData* a = e->vertex;
  TopoMeshVertexData* b = n->vertex;
  TopoMeshVertexData* c = p->vertex;
  TopoMeshVertexData* d = tp->vertex;
  if (topo::joined(c, d)) return false;
  topo::prepare(m, 0, [&] { return 48; });

  m.recordChange(e);
  m.recordChange(t);
  m.recordChange(n);
  m.recordChange(p);
  m.recordChange(tn);
  m.recordChange(tp);
  n->prev = tp;
  topo::setFirstEdge(m, b, n);
  tp->next = n;
  topo::setFirstEdge(m, d, tp);
  tn->prev = p;
  topo::setFirstEdge(m, a, tn);
  p->next = tn;
  topo::setFirstEdge(m, c, p);

  // e: c -> d in (c, d, b).
  e->vertex = c;
  topo::setFirstEdge(m, c, e);
  e->next = tp;
  e->prev = n;
  n->next = e;
  tp->prev = e;
  n->face = tp->face = e->face;
  topo::setFirstEdge(m, e->face, e);

  // t: d -> c in (d, c, a).
  t->vertex = d;
  topo::setFirstEdge(m, d, t);
  t->next = p;
  t->prev = tn;
  tn->next = t;
  p->prev = t;
  tn->face = p->face = t->face;
  topo::setFirstEdge(m, t->face, t);
  return true;
}

}  // namespace krGeom
