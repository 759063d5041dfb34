// TopoMeshImpl's pools and lists, and the record-level helpers every editing operation uses.
#include "topo_mesh_impl.h"

#include "topo_mesh_edit.h"
#include "topo_mesh_log.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace krGeom {

namespace {

// Items per pool block. Blocks are lazy and their pages untouched until used, so a large block
// costs nothing until the mesh grows into it.
constexpr int kRecordsPerBlock = 0x100000;

std::unique_ptr<krOS::FSAllocator> makePool(std::size_t recordSize) {
  auto pool = std::make_unique<krOS::FSAllocator>(recordSize, kRecordsPerBlock);
  pool->setLazy();
  return pool;
}

// Appends rec to the doubly linked list [first, last], reporting the old tail before linking.
template <class Rec>
void append(TopoMeshImpl& m, Rec* rec, Rec*& first, Rec*& last) {
  rec->nextInMesh = nullptr;
  rec->prevInMesh = last;
  if (last) {
    m.recordChange(last);
    last->nextInMesh = rec;
  } else {
    first = rec;
  }
  last = rec;
}

// Unlinks rec from [first, last], reporting the neighbours it touches; rec is not written.
template <class Rec>
void unlink(TopoMeshImpl& m, Rec* rec, Rec*& first, Rec*& last) {
  Rec* prev = rec->prevInMesh;
  Rec* next = rec->nextInMesh;
  if (prev) {
    m.recordChange(prev);
    prev->nextInMesh = next;
  } else {
    first = next;
  }
  if (next) {
    m.recordChange(next);
    next->prevInMesh = prev;
  } else {
    last = prev;
  }
}

}  // namespace

TopoMeshImpl::TopoMeshImpl()
    : vertexPool(makePool(sizeof(TopoMeshVertexData))),
      edgePool(makePool(sizeof(TopoMeshEdgeData))),
      facePool(makePool(sizeof(TopoMeshFaceData))) {}

TopoMeshImpl::~TopoMeshImpl() {
  // The log first (it points into the pools and lists), then the lists, then the pools, which
  // take every record with them.
  log_.reset();
  lists = TopoMeshLists();
  vertexPool.reset();
  edgePool.reset();
  facePool.reset();
}

namespace topo {

void reservePools(TopoMeshImpl& m, std::size_t records) {
  m.vertexPool->reserve(records);
  m.edgePool->reserve(records);
  m.facePool->reserve(records);
}

void prepareLogged(TopoMeshImpl& m, std::size_t newRecords, std::size_t touched) {
  reservePools(m, newRecords + touched);  // saved copies come from the pools too
  m.log()->reserve(newRecords + touched);
}

std::size_t fanSize(TopoMeshVertexData* v) {
  return static_cast<std::size_t>(TopoMeshVertex(v).valence());
}

std::size_t loopSize(const TopoMeshFaceData* f) {
  std::size_t n = 0;
  const TopoMeshEdgeData* h = f->firstEdge;
  if (h) do {
      ++n;
      h = h->next;
    } while (h != f->firstEdge);
  return n;
}

TopoMeshVertexData* newVertex(TopoMeshImpl& m, const krLinear::Point& p) {
  auto* v = static_cast<TopoMeshVertexData*>(m.vertexPool->alloc());
  m.record(v, eVertexRecord, eCreated);
  ++m.lists.numVertices;
  v->firstEdge = nullptr;
  append(m, v, m.lists.firstVertex, m.lists.lastVertex);
  v->point = p;
  return v;
}

TopoMeshEdgeData* newEdge(TopoMeshImpl& m) {
  // Zero-filled, so its metadata slots read as tag 0; fresh pool pages are zero already.
  auto* e = static_cast<TopoMeshEdgeData*>(m.edgePool->allocZeroed());
  m.record(e, eEdgeRecord, eCreated);
  ++m.lists.numEdges;
  append(m, e, m.lists.firstEdge, m.lists.lastEdge);
  return e;
}

TopoMeshFaceData* newFace(TopoMeshImpl& m) {
  auto* f = static_cast<TopoMeshFaceData*>(m.facePool->alloc());
  m.record(f, eFaceRecord, eCreated);
  ++m.lists.numFaces;
  f->firstEdge = nullptr;
  append(m, f, m.lists.firstFace, m.lists.lastFace);
  return f;
}

void releaseVertex(TopoMeshImpl& m, TopoMeshVertexData* v) {
  unlink(m, v, m.lists.firstVertex, m.lists.lastVertex);
  m.record(v, eVertexRecord, eDeleted);
  --m.lists.numVertices;
  if (!m.hasLog()) m.vertexPool->free(v);
}

void releaseEdge(TopoMeshImpl& m, TopoMeshEdgeData* e) {
  unlink(m, e, m.lists.firstEdge, m.lists.lastEdge);
  m.record(e, eEdgeRecord, eDeleted);
  --m.lists.numEdges;
  if (!m.hasLog()) m.edgePool->free(e);
}

void releaseFace(TopoMeshImpl& m, TopoMeshFaceData* f) {
  unlink(m, f, m.lists.firstFace, m.lists.lastFace);
  m.record(f, eFaceRecord, eDeleted);
  --m.lists.numFaces;
  if (!m.hasLog()) m.facePool->free(f);
}

namespace {

// Links two half-edges as twins, logging both.
void linkTwins(TopoMeshImpl& m, TopoMeshEdgeData* first, TopoMeshEdgeData* second) {
  m.recordChange(first);
  m.recordChange(second);
  first->twin = second;
  second->twin = first;
}

bool metadataIsZero(const TopoMeshEdgeData* e) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(e->metadata);
  std::uint64_t any = 0;
  for (std::size_t i = 0; i < sizeof(e->metadata); i += 8) {
    std::uint64_t word;
    std::memcpy(&word, bytes + i, 8);
    any |= word;
  }
  return any == 0;
}

}  // namespace

void pair(TopoMeshImpl& m, TopoMeshEdgeData* first, TopoMeshEdgeData* second) {
  linkTwins(m, first, second);
  std::memcpy(static_cast<void*>(second->metadata), first->metadata, sizeof(first->metadata));
}

void pairNew(TopoMeshImpl& m, TopoMeshEdgeData* first, TopoMeshEdgeData* second) {
  linkTwins(m, first, second);
  if (!metadataIsZero(second))
    std::memset(static_cast<void*>(second->metadata), 0, sizeof(second->metadata));
}

void pairOntoNew(TopoMeshImpl& m, TopoMeshEdgeData* first, TopoMeshEdgeData* second) {
  linkTwins(m, first, second);
  if (!metadataIsZero(first))
    std::memcpy(static_cast<void*>(second->metadata), first->metadata, sizeof(first->metadata));
}

void setOrigin(TopoMeshImpl& m, TopoMeshEdgeData* e, TopoMeshVertexData* v) {
  if (e->vertex == v) return;
  m.recordChange(e);
  e->vertex = v;
}

void setFirstEdge(TopoMeshImpl& m, TopoMeshVertexData* v, TopoMeshEdgeData* e) {
  if (v->firstEdge == e) return;
  m.recordChange(v);
  v->firstEdge = e;
}

void setFirstEdge(TopoMeshImpl& m, TopoMeshFaceData* f, TopoMeshEdgeData* e) {
  if (f->firstEdge == e) return;
  m.recordChange(f);
  f->firstEdge = e;
}

void claimFan(TopoMeshImpl& m, TopoMeshVertexData* v) {
  // The walk reads only twin, prev, next and v's firstEdge, so origins can change under it.
  for (TopoMeshEdgeVertexIterator it(v); it.valid(); it.next()) setOrigin(m, it.edge(), v);
}

TopoMeshEdgeData* otherOutgoing(TopoMeshVertexData* v, const TopoMeshEdgeData* h) {
  for (TopoMeshEdgeVertexIterator it(v); it.valid(); it.next())
    if (it.edge().data() != h) return it.edge();
  return nullptr;
}

void moveFirstEdgeOff(TopoMeshImpl& m, TopoMeshEdgeData* h) {
  TopoMeshVertexData* v = h->vertex;
  if (v->firstEdge == h) setFirstEdge(m, v, otherOutgoing(v, h));
}

TopoMeshEdgeData* findEdge(TopoMeshVertexData* a, const TopoMeshVertexData* b) {
  if (!a->firstEdge) return nullptr;
  for (TopoMeshEdgeVertexIterator it(a); it.valid(); it.next())
    if (it.edge().data()->next->vertex == b) return it.edge();
  return nullptr;
}

namespace {

// The fan findEdge walks at one vertex, taken from both ends: forward through prev->twin and
// backward through twin->next, starting at firstEdge. The two ends stop at a missing twin or
// when they meet, so together they visit exactly the half-edges of the one-way walk (the forward
// step is a one-to-one map whose inverse is the backward step: a fan is a cycle or a path).
struct FanEnds {
  TopoMeshEdgeData* first;
  TopoMeshEdgeData* fwd;  // null once that end has stopped
  TopoMeshEdgeData* bwd;
  const TopoMeshVertexData* target;

  FanEnds(TopoMeshVertexData* v, const TopoMeshVertexData* to)
      : first(v->firstEdge), fwd(first), bwd(first), target(to) {}
  bool ends(const TopoMeshEdgeData* h) const noexcept { return h->next->vertex == target; }
  // The half-edges of a face are usually taken from the pool together, so h's loop neighbours
  // (read next) tend to lie within two records of h: start loading them with h itself.
  static void prefetchLoop(const TopoMeshEdgeData* h) noexcept {
#if defined(__GNUC__)
    constexpr std::uintptr_t kStride = (sizeof(TopoMeshEdgeData) + alignof(std::max_align_t) - 1) /
                                       alignof(std::max_align_t) * alignof(std::max_align_t);
    const auto p = reinterpret_cast<std::uintptr_t>(h);
    for (std::uintptr_t q : {p - 2 * kStride, p - kStride, p + kStride, p + 2 * kStride})
      __builtin_prefetch(reinterpret_cast<const void*>(q));
#else
    (void)h;
#endif
  }
  // One step at each end; true when a visited half-edge ends at the target.
  bool step() noexcept {
    if (fwd) {
      TopoMeshEdgeData* h = fwd->prev->twin;
      if (h) prefetchLoop(h);
      if (!h || h == first || h == bwd) {
        fwd = nullptr;
        if (h) bwd = nullptr;  // met: the whole cycle is seen
      } else {
        fwd = h;
        if (ends(h)) return true;
      }
    }
    if (bwd) {
      TopoMeshEdgeData* t = bwd->twin;
      if (t) prefetchLoop(t);
      TopoMeshEdgeData* h = t ? t->next : nullptr;
      if (!h || h == first || h == fwd) {
        bwd = nullptr;
        if (h) fwd = nullptr;
      } else {
        bwd = h;
        if (ends(h)) return true;
      }
    }
    return false;
  }
  bool active() const noexcept {
    return fwd || bwd;
  }
};

}  // namespace

bool joined(TopoMeshVertexData* a, TopoMeshVertexData* b) {
  if (!a->firstEdge) return findEdge(b, a) != nullptr;
  if (!b->firstEdge) return findEdge(a, b) != nullptr;
  FanEnds fa(a, b), fb(b, a);
  FanEnds::prefetchLoop(fa.first);
  FanEnds::prefetchLoop(fb.first);
  if (fa.ends(fa.first) || fb.ends(fb.first)) return true;
  while (fa.active() || fb.active())
    if (fa.step() || fb.step()) return true;
  return false;
}

Cut cutLoop(TopoMeshImpl& m, TopoMeshEdgeData* e1, TopoMeshEdgeData* e2, bool yFirst) {
  TopoMeshFaceData* f = e1->face;
  TopoMeshEdgeData* e1Prev = e1->prev;
  TopoMeshEdgeData* e2Prev = e2->prev;
  Cut cut;
  if (yFirst) {
    cut.y = newEdge(m);
    cut.x = newEdge(m);
  } else {
    cut.x = newEdge(m);
    cut.y = newEdge(m);
  }
  cut.g = newFace(m);
  TopoMeshEdgeData* x = cut.x;
  TopoMeshEdgeData* y = cut.y;
  x->vertex = e2->vertex;
  y->vertex = e1->vertex;
  x->next = e1;
  x->prev = e2Prev;
  y->next = e2;
  y->prev = e1Prev;
  m.recordChange(e1);
  m.recordChange(e2);
  m.recordChange(e1Prev);
  m.recordChange(e2Prev);
  e1->prev = x;
  e2Prev->next = x;
  e2->prev = y;
  e1Prev->next = y;

  cut.g->firstEdge = x;
  x->face = cut.g;
  for (TopoMeshEdgeData* h = e1; h != x; h = h->next) {
    m.recordChange(h);
    h->face = cut.g;
  }
  y->face = f;
  setFirstEdge(m, f, y);
  if (yFirst)
    pairNew(m, y, x);
  else
    pairNew(m, x, y);
  return cut;
}

}  // namespace topo
}  // namespace krGeom
