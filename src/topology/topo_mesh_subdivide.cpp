// TopoMesh: subdividing edges and faces.
#include <geom/topology/topo_mesh.h>

#include "topo_mesh_edit.h"
#include "topo_mesh_impl.h"

#include <cassert>

namespace krGeom {

namespace {

// A new half-edge from v inserted after h in h's loop.
TopoMeshEdgeData* insertAfter(TopoMeshImpl& m, TopoMeshEdgeData* h, TopoMeshVertexData* v) {
  TopoMeshEdgeData* x = topo::newEdge(m);
  TopoMeshEdgeData* next = h->next;
  x->prev = h;
  x->next = next;
  x->vertex = v;
  x->face = h->face;
  m.recordChange(next);
  next->prev = x;
  m.recordChange(h);
  h->next = x;
  if (!v->firstEdge) topo::setFirstEdge(m, v, x);
  return x;
}

// The half-edge of f's loop that starts at v; null if none.
TopoMeshEdgeData* loopEdgeFrom(TopoMeshFaceData* f, const TopoMeshVertexData* v) {
  TopoMeshEdgeData* h = f->firstEdge;
  do {
    if (h->vertex == v) return h;
    h = h->next;
  } while (h != f->firstEdge);
  return nullptr;
}

}  // namespace

TopoMeshVertex TopoMesh::subdivideEdge(TopoMeshEdge edge, const krLinear::Point& p) {
  TopoMeshImpl& m = *impl_;
  TopoMeshEdgeData* e = edge.data();
  TopoMeshEdgeData* t = e->twin;
  // The pairings below read both halves' metadata: start loading it now.
  topo::prefetchRecord(e);
  if (t) topo::prefetchRecord(t);
  topo::prepare(m, 3, [&] { return 48; });
  TopoMeshVertexData* v = topo::newVertex(m, p);

  TopoMeshEdgeData* x = insertAfter(m, e, v);
  e->twin = nullptr;  // e was reported by insertAfter
  if (t) {
    TopoMeshEdgeData* x2 = insertAfter(m, t, v);
    // Each pairing copies from its first half-edge: t takes x's zero metadata, x2 takes e's.
    topo::pairNew(m, x, t);
    topo::pairOntoNew(m, e, x2);
  }
  return v;
}

TopoMeshVertex TopoMesh::subdivideFace(TopoMeshFace face, const krLinear::Point& p) {
  TopoMeshImpl& m = *impl_;
  TopoMeshFaceData* f = face.data();
  const std::size_t n = topo::loopSize(f);
  topo::prepare(m, 3 * n + 1, [&] { return 12 * n + 16; });
  TopoMeshVertexData* c = topo::newVertex(m, p);

  // Each loop half-edge h (x -> y) becomes the triangle h, a (y -> c), b (c -> x).
  TopoMeshEdgeData* const h0 = f->firstEdge;
  TopoMeshEdgeData* firstB = nullptr;
  TopoMeshEdgeData* prevA = nullptr;
  TopoMeshEdgeData* h = h0;
  do {
    TopoMeshEdgeData* next = h->next;
    TopoMeshFaceData* g = f;
    m.recordChange(h);
    if (h != h0) {
      g = topo::newFace(m);
      g->firstEdge = h;
      h->face = g;
    }
    TopoMeshEdgeData* a = topo::newEdge(m);
    TopoMeshEdgeData* b = topo::newEdge(m);
    a->vertex = next->vertex;
    b->vertex = c;
    a->face = b->face = g;
    h->next = a;
    a->next = b;
    b->next = h;
    h->prev = b;
    b->prev = a;
    a->prev = h;
    if (h == h0) {
      c->firstEdge = b;
      firstB = b;
    } else {
      topo::pair(m, prevA, b);
    }
    prevA = a;
    h = next;
  } while (h != h0);
  topo::pair(m, firstB, prevA);
  return c;
}

TopoMeshEdge TopoMesh::subdivideFace(TopoMeshFace face, TopoMeshVertex a, TopoMeshVertex b) {
  TopoMeshEdgeData* ha = loopEdgeFrom(face.data(), a.data());
  TopoMeshEdgeData* hb = loopEdgeFrom(face.data(), b.data());
  assert(ha && hb && "both vertices must be corners of the face");
  topo::prepare(*impl_, 3, [&] { return 8 * topo::loopSize(face.data()) + 32; });
  // The half-edge from a to b stays in the face; its partner goes with a .. b into the new one.
  return topo::cutLoop(*impl_, ha, hb, true).y;
}

TopoMeshFace TopoMesh::subdivideFace(TopoMeshFace f, TopoMeshVertex a, TopoMeshVertex b,
                                     const kr::vector<krLinear::Point>& points) {
  const std::size_t k = points.size();
  TopoMeshEdgeData* h1 = topo::findEdge(a.data(), b.data());
  TopoMeshEdgeData* h2 = topo::findEdge(b.data(), a.data());
  // Room for the whole chain, so that no step of it can fail after the first.
  topo::prepare(*impl_, 3 * k + 6, [&] { return 8 * topo::loopSize(f.data()) + 64 * k + 64; });
  TopoMeshEdge s;
  if (h1 && h1->face == f.data()) {
    // a -> b is a side of f: cut it off with the first point, then split the new side c -> b.
    assert(k >= 1 && "cutting along an existing side needs a point");
    subdivideFace(f, TopoMeshEdge(h1), points[0]);
    s = h1->next->twin;
    for (std::size_t i = 1; i < k; ++i) {
      subdivideEdge(s, points[i]);
      s = s.next();
    }
  } else if (h2 && h2->face == f.data()) {
    // b -> a is a side of f: cut it off with the last point, then split the new side next to
    // that point with the others, last to first, without walking on. Deliberately kept: with
    // three or more points the chain does not run in point order (see the header).
    assert(k >= 1 && "cutting along an existing side needs a point");
    subdivideFace(f, TopoMeshEdge(h2), points[k - 1]);
    s = h2->next->twin;
    for (std::size_t i = k - 1; i-- > 0;) subdivideEdge(s, points[i]);
  } else {
    s = subdivideFace(f, a, b);
    for (const krLinear::Point& p : points) {
      subdivideEdge(s, p);
      s = s.next();
    }
  }
  return s.twin().face();
}

TopoMeshVertex TopoMesh::subdivideFace(TopoMeshFace face, TopoMeshEdge edge,
                                       const krLinear::Point& p) {
  TopoMeshImpl& m = *impl_;
  TopoMeshFaceData* f = face.data();
  TopoMeshEdgeData* e = edge.data();
  TopoMeshEdgeData* ePrev = e->prev;
  TopoMeshEdgeData* eNext = e->next;
  TopoMeshVertexData* a = e->vertex;
  TopoMeshVertexData* b = eNext->vertex;
  topo::prepare(m, 6, [&] { return 8 * topo::loopSize(f) + 48; });

  TopoMeshVertexData* c = topo::newVertex(m, p);
  TopoMeshEdgeData* x = topo::newEdge(m);  // a -> c, in f
  TopoMeshEdgeData* y = topo::newEdge(m);  // c -> b, in f
  TopoMeshEdgeData* z = topo::newEdge(m);  // c -> a, in g
  TopoMeshEdgeData* w = topo::newEdge(m);  // b -> c, in g
  TopoMeshFaceData* g = topo::newFace(m);

  // f: ePrev, x, y, eNext.
  x->vertex = a;
  y->vertex = c;
  x->face = y->face = f;
  m.recordChange(ePrev);
  m.recordChange(eNext);
  ePrev->next = x;
  x->prev = ePrev;
  x->next = y;
  y->prev = x;
  y->next = eNext;
  eNext->prev = y;
  if (f->firstEdge == e) topo::setFirstEdge(m, f, x);

  // g: e, w, z.
  z->vertex = c;
  w->vertex = b;
  m.recordChange(e);
  e->face = w->face = z->face = g;
  e->next = w;
  w->next = z;
  z->next = e;
  e->prev = z;
  z->prev = w;
  w->prev = e;
  g->firstEdge = e;

  c->firstEdge = y;
  topo::setFirstEdge(m, b, eNext);
  topo::pair(m, x, z);
  topo::pair(m, y, w);
  return c;
}

}  // namespace krGeom
