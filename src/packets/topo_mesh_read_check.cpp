#include "topo_mesh_read_check.h"

#include <cstring>

namespace krGeom::packets {

namespace {

constexpr int kTagSlot = kTopoMeshMetadataSlots - 1;

// The tag: the mesh the record was read for, and whether its mesh list holds it.
struct Tag {
  const TopoMesh* mesh;
  std::uint32_t listed;
  std::uint32_t unused;
};
static_assert(sizeof(Tag) == sizeof(BlindData));

template <class Rec>
Tag tagOf(const Rec* r) {
  Tag t;
  std::memcpy(&t, &r->metadata[kTagSlot], sizeof t);
  return t;
}
template <class Rec>
void setTag(Rec* r, const Tag& t) {
  std::memcpy(static_cast<void*>(&r->metadata[kTagSlot]), &t, sizeof t);
}
// True when r is a record of this mesh's lists (null is not).
template <class Rec>
bool listed(const Rec* r, const TopoMesh* mesh) {
  if (!r) return false;
  const Tag t = tagOf(r);
  return t.mesh == mesh && t.listed;
}

// Walks one list: records of this mesh, each once, back links, tail and counter.
template <class Rec>
std::string walkList(const char* what, const TopoMesh* mesh, Rec* first, Rec* last,
                     std::int32_t count) {
  if (count < 0) return std::string(what) + " counter is negative";
  const Rec* prev = nullptr;
  std::int64_t n = 0;
  // Each step marks a new record of this mesh, so the walk ends within the records read for it.
  for (Rec* r = first; r; r = r->nextInMesh, ++n) {
    Tag t = tagOf(r);
    if (t.mesh != mesh) return std::string(what) + " list holds records of another mesh";
    if (t.listed) return std::string(what) + " list holds a record twice";
    if (n == count) return std::string(what) + " list holds more records than its counter";
    if (r->prevInMesh != prev) return std::string(what) + " list: prevInMesh is wrong";
    t.listed = 1;
    setTag(r, t);
    prev = r;
  }
  if (n != count) return std::string(what) + " list length differs from its counter";
  if (prev != last) return std::string(what) + " list tail is not its last record";
  return {};
}

template <class Rec>
void clearTags(Rec* first) {
  for (Rec* r = first; r; r = r->nextInMesh)
    std::memset(static_cast<void*>(&r->metadata[kTagSlot]), 0, sizeof(BlindData));
}

}  // namespace

void tagRecord(void* metadata, const TopoMesh* mesh) {
  const Tag t{mesh, 0, 0};
  std::memcpy(metadata, &t, sizeof t);
}

std::string checkReadMesh(TopoMesh& mesh) {
  TopoMeshLists& l = mesh.getImpl()->lists;
  const TopoMesh* m = &mesh;
  std::string broken = walkList("vertex", m, l.firstVertex, l.lastVertex, l.numVertices);
  if (broken.empty()) broken = walkList("half-edge", m, l.firstEdge, l.lastEdge, l.numEdges);
  if (broken.empty()) broken = walkList("face", m, l.firstFace, l.lastFace, l.numFaces);
  if (!broken.empty()) return broken;

  for (const TopoMeshEdgeData* h = l.firstEdge; h; h = h->nextInMesh) {
    if (!listed(h->vertex, m)) return "half-edge origin is not a vertex of the mesh";
    if (!h->vertex->firstEdge) return "vertex with an outgoing half-edge has no firstEdge";
    if (!listed(h->next, m) || !listed(h->prev, m))
      return "half-edge next or prev is not a half-edge of the mesh";
    if (h->next->prev != h || h->prev->next != h) return "half-edge next and prev disagree";
    if (!listed(h->face, m)) return "half-edge face is not a face of the mesh";
    if (h->next->face != h->face) return "half-edge next lies in another face";
  }
  for (const TopoMeshEdgeData* h = l.firstEdge; h; h = h->nextInMesh) {
    const TopoMeshEdgeData* t = h->twin;
    if (!t) continue;
    if (!listed(t, m) || t == h || t->twin != h) return "half-edge twins disagree";
    if (t->vertex != h->next->vertex || t->next->vertex != h->vertex)
      return "half-edge twin does not run the opposite way";
  }
  std::int64_t inLoops = 0;
  for (const TopoMeshFaceData* f = l.firstFace; f; f = f->nextInMesh) {
    const TopoMeshEdgeData* h = f->firstEdge;
    if (!listed(h, m) || h->face != f) return "face firstEdge is not a half-edge of its loop";
    std::int64_t n = 0;
    do {
      if (++n > l.numEdges) return "face loop does not close";
      h = h->next;
    } while (h != f->firstEdge);
    inLoops += n;
  }
  if (inLoops != l.numEdges) return "face loops do not hold every half-edge once";
  for (const TopoMeshVertexData* v = l.firstVertex; v; v = v->nextInMesh)
    if (v->firstEdge && (!listed(v->firstEdge, m) || v->firstEdge->vertex != v))
      return "vertex firstEdge does not leave it";

  clearTags(l.firstVertex);
  clearTags(l.firstEdge);
  clearTags(l.firstFace);
  return {};
}

}  // namespace krGeom::packets
