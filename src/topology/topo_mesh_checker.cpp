// TopoMesh::findBrokenInvariant: a full structural check for tests and debugging.
#include <geom/topology/topo_mesh.h>

#include "topo_mesh_impl.h"

#include <cstdint>
#include <unordered_map>

namespace krGeom {

namespace {

using krString::CString;

// Walks one creation-ordered list, checking the back links, the tail and the counter, and numbers
// its records (the numbers name records in messages).
template <class Rec>
CString checkList(const char* what, Rec* first, Rec* last, std::int32_t count,
                  std::unordered_map<const Rec*, int>& index) {
  if (count < 0) return CString::format("%s counter is negative (%d)", what, count);
  const Rec* prev = nullptr;
  int n = 0;
  for (const Rec* r = first; r; r = r->nextInMesh) {
    if (n == count)
      return CString::format("%s list holds more records than its counter (%d)", what, count);
    if (r->prevInMesh != prev) return CString::format("%s #%d: prevInMesh is wrong", what, n);
    if (!index.emplace(r, n).second)
      return CString::format("%s #%d: record appears twice in the list", what, n);
    prev = r;
    ++n;
  }
  if (n != count)
    return CString::format("%s list holds %d records but the counter says %d", what, n, count);
  if (prev != last) return CString::format("%s list tail is not its last record", what);
  return {};
}

}  // namespace

CString TopoMesh::findBrokenInvariant() const {
  const TopoMeshLists& l = impl_->lists;
  std::unordered_map<const TopoMeshVertexData*, int> vertices;
  std::unordered_map<const TopoMeshEdgeData*, int> edges;
  std::unordered_map<const TopoMeshFaceData*, int> faces;
  CString msg = checkList("vertex", l.firstVertex, l.lastVertex, l.numVertices, vertices);
  if (msg.empty()) msg = checkList("half-edge", l.firstEdge, l.lastEdge, l.numEdges, edges);
  if (msg.empty()) msg = checkList("face", l.firstFace, l.lastFace, l.numFaces, faces);
  if (!msg.empty()) return msg;

  for (const TopoMeshEdgeData* h = l.firstEdge; h; h = h->nextInMesh) {
    const int i = edges[h];
    if (!vertices.count(h->vertex))
      return CString::format("half-edge #%d: origin is not a vertex of the mesh", i);
    if (!h->vertex->firstEdge)
      return CString::format("vertex #%d: has outgoing half-edge #%d but no firstEdge",
                             vertices[h->vertex], i);
    if (!edges.count(h->next) || !edges.count(h->prev))
      return CString::format("half-edge #%d: next or prev is not a half-edge of the mesh", i);
    if (h->next->prev != h) return CString::format("half-edge #%d: next->prev is not itself", i);
    if (h->prev->next != h) return CString::format("half-edge #%d: prev->next is not itself", i);
    if (!faces.count(h->face))
      return CString::format("half-edge #%d: face is not a face of the mesh", i);
    if (h->next->face != h->face)
      return CString::format("half-edge #%d: next lies in another face", i);
  }
  // Twins are checked once every half-edge's own links are known to be sound, since the check
  // follows the twin's next.
  for (const TopoMeshEdgeData* h = l.firstEdge; h; h = h->nextInMesh) {
    const int i = edges[h];
    if (const TopoMeshEdgeData* t = h->twin) {
      if (!edges.count(t))
        return CString::format("half-edge #%d: twin is not a half-edge of the mesh", i);
      if (t == h) return CString::format("half-edge #%d: is its own twin", i);
      if (t->twin != h)
        return CString::format("half-edge #%d: twin #%d does not point back", i, edges[t]);
      if (t->vertex != h->next->vertex || t->next->vertex != h->vertex)
        return CString::format("half-edge #%d: twin #%d does not run the opposite way", i,
                               edges[t]);
    }
  }

  // Every loop closes on its face's firstEdge; with the per-half-edge checks above and the total
  // count, each half-edge then lies in exactly one face's loop.
  std::int64_t inLoops = 0;
  for (const TopoMeshFaceData* f = l.firstFace; f; f = f->nextInMesh) {
    const int i = faces[f];
    const TopoMeshEdgeData* h = f->firstEdge;
    if (!edges.count(h)) return CString::format("face #%d: firstEdge is not a half-edge", i);
    if (h->face != f) return CString::format("face #%d: firstEdge lies in another face", i);
    std::int64_t n = 0;
    do {
      if (++n > l.numEdges) return CString::format("face #%d: loop does not close", i);
      h = h->next;
    } while (h != f->firstEdge);
    inLoops += n;
  }
  if (inLoops != l.numEdges)
    return CString::format("face loops hold %lld half-edges but there are %d",
                           static_cast<long long>(inLoops), l.numEdges);

  for (const TopoMeshVertexData* v = l.firstVertex; v; v = v->nextInMesh) {
    if (!v->firstEdge) continue;
    const int i = vertices[v];
    if (!edges.count(v->firstEdge))
      return CString::format("vertex #%d: firstEdge is not a half-edge of the mesh", i);
    if (v->firstEdge->vertex != v)
      return CString::format("vertex #%d: firstEdge #%d does not leave it", i, edges[v->firstEdge]);
  }
  return {};
}

}  // namespace krGeom
