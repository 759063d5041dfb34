// TopoMesh: contracting and collapsing edges.
#include <geom/topology/topo_mesh.h>

#include "topo_mesh_edit.h"
#include "topo_mesh_impl.h"

#include <cassert>

namespace krGeom {

namespace {

// The first (or, with `last`, the final) outgoing half-edge of v in fan order whose face is
// neither f1 nor f2; null if none.
TopoMeshEdgeData* outgoingOutside(TopoMeshVertexData* v, const TopoMeshFaceData* f1,
                                  const TopoMeshFaceData* f2, bool last) {
  TopoMeshEdgeData* found = nullptr;
  for (TopoMeshEdgeVertexIterator it(v); it.valid(); it.next()) {
    TopoMeshEdgeData* h = it.edge();
    if (h->face == f1 || h->face == f2) continue;
    found = h;
    if (!last) break;
  }
  return found;
}

bool firstEdgeIn(const TopoMeshVertexData* v, const TopoMeshFaceData* f1,
                 const TopoMeshFaceData* f2) {
  return v->firstEdge && (v->firstEdge->face == f1 || v->firstEdge->face == f2);
}

}  // namespace

TopoMeshVertex TopoMesh::contractEdge(TopoMeshEdge edge) {
  TopoMeshImpl& m = *impl_;
  TopoMeshEdgeData* e = edge.data();
  TopoMeshVertexData* u = e->vertex;
  TopoMeshVertexData* w = e->next->vertex;
  topo::prepare(m, 0, [&] { return 8 * topo::loopSize(e->face) + 4 * topo::fanSize(u) + 32; });
  TopoMeshEdgeData* pt = e->prev->twin;
  TopoMeshEdgeData* nt = e->next->twin;

  topo::deleteFace(m, e->face);
  // Without pt nothing is re-pointed, which is only sound when u kept no other half-edge.
  assert((pt || !u->firstEdge) && "contractEdge needs a twin on the side before e");
  if (pt) {
    // The origin field does not steer the fan walk, so u's fan can be re-pointed as it is walked.
    for (TopoMeshEdgeVertexIterator it(u); it.valid(); it.next()) topo::setOrigin(m, it.edge(), w);
    topo::setFirstEdge(m, w, pt);
    if (nt) topo::pair(m, pt, nt);
  }
  topo::releaseVertex(m, u);
  return w;
}

TopoMeshVertex TopoMesh::collapseEdge(TopoMeshEdge edge) {
  TopoMeshEdgeData* e = edge.data();
  TopoMeshEdgeData* t = e->twin;
  if (!t) return contractEdge(edge);

  TopoMeshImpl& m = *impl_;
  // e: u -> w in f1 (e, n, p); t: w -> u in f2 (t, tn, tp); c and d are the far corners.
  TopoMeshEdgeData* n = e->next;
  TopoMeshEdgeData* p = e->prev;
  TopoMeshEdgeData* tn = t->next;
  TopoMeshEdgeData* tp = t->prev;
  TopoMeshVertexData* u = e->vertex;
  TopoMeshVertexData* w = n->vertex;
  TopoMeshVertexData* c = p->vertex;
  TopoMeshVertexData* d = tp->vertex;
  TopoMeshFaceData* f1 = e->face;
  TopoMeshFaceData* f2 = t->face;

  TopoMeshEdgeData* pt = p->twin;
  TopoMeshEdgeData* nt = n->twin;
  TopoMeshEdgeData* tpt = tp->twin;
  TopoMeshEdgeData* tnt = tn->twin;
  topo::prepare(m, 0, [&] {
    return 8 * (topo::loopSize(f1) + topo::loopSize(f2)) +
           4 * (topo::fanSize(u) + topo::fanSize(w) + topo::fanSize(c) + topo::fanSize(d)) + 64;
  });

  // u's outgoing half-edges that survive the two deletions, in fan order.
  topo::EdgeList kept;
  for (TopoMeshEdgeVertexIterator it(u); it.valid(); it.next())
    if (it.edge().data()->face != f1 && it.edge().data()->face != f2) kept.push(it.edge());

  // Replacement firstEdge fields: the first found for w, the last found for c and d.
  const bool wNeeds = w->firstEdge == n || w->firstEdge == t;
  TopoMeshEdgeData* wNew = wNeeds ? outgoingOutside(w, f1, f2, false) : nullptr;
  TopoMeshEdgeData* cNew = firstEdgeIn(c, f1, f2) ? outgoingOutside(c, f1, f2, true) : nullptr;
  TopoMeshEdgeData* dNew = firstEdgeIn(d, f1, f2) ? outgoingOutside(d, f1, f2, true) : nullptr;

  // Unlink e and t before their faces go, so that neither deletion writes into a half-edge the
  // other has already released.
  m.recordChange(e);
  m.recordChange(t);
  e->twin = nullptr;
  t->twin = nullptr;
  topo::deleteFace(m, f1);
  topo::deleteFace(m, f2);

  if (wNew) topo::setFirstEdge(m, w, wNew);
  for (std::size_t i = 0; i < kept.size(); ++i) topo::setOrigin(m, kept[i], w);
  if (wNeeds && !wNew && !kept.empty()) topo::setFirstEdge(m, w, kept[0]);

  if (!w->firstEdge) topo::setFirstEdge(m, w, pt ? pt : tpt);
  if (pt && nt) topo::pair(m, pt, nt);
  if (tpt && tnt) topo::pair(m, tpt, tnt);

  topo::releaseVertex(m, u);
  if (cNew) topo::setFirstEdge(m, c, cNew);
  if (dNew) topo::setFirstEdge(m, d, dNew);
  if (!c->firstEdge) topo::releaseVertex(m, c);
  if (d != c && !d->firstEdge) topo::releaseVertex(m, d);
  return w;
}

}  // namespace krGeom
