// TopoMesh packets: one packet for the mesh and one per vertex, half-edge and face record, with
// links written as references and fixed up by the reader.
#include <geom/topology/topo_mesh.h>
#include <kr/packet.h>

#include "../topology/topo_mesh_impl.h"

#include <cstring>
#include <memory>
#include <string>
#include <unordered_map>

namespace krGeom {

namespace {

constexpr const char* kMesh = "kr.geom.topomesh";
constexpr const char* kVertex = "kr.geom.topomesh.vertex";
constexpr const char* kEdge = "kr.geom.topomesh.edge";
constexpr const char* kFace = "kr.geom.topomesh.face";

// While a mesh is being read, the last metadata slot of each of its records holds the mesh's
// address, so that verification can tell its records from those of another mesh of the stream.
constexpr int kTagSlot = kTopoMeshMetadataSlots - 1;

template <class Rec>
void tag(Rec* rec, const TopoMesh* mesh) {
  std::memset(static_cast<void*>(&rec->metadata[kTagSlot]), 0, sizeof(BlindData));
  std::memcpy(static_cast<void*>(&rec->metadata[kTagSlot]), &mesh, sizeof mesh);
}
template <class Rec>
bool taggedWith(const Rec* rec, const TopoMesh* mesh) {
  const TopoMesh* owner;
  std::memcpy(&owner, &rec->metadata[kTagSlot], sizeof owner);
  return owner == mesh;
}

// Walks one list checking that every record was read for this mesh. A list longer than the
// records read for the mesh repeats one, which the walk reports without following it further.
template <class Rec>
bool ownsList(const TopoMesh* mesh, Rec* first, std::int64_t recordsRead) {
  std::int64_t left = recordsRead;
  for (Rec* r = first; r; r = r->nextInMesh, --left)
    if (left == 0 || !taggedWith(r, mesh)) return false;
  return true;
}
template <class Rec>
void clearTags(Rec* first, std::int32_t count) {
  for (Rec* r = first; r && count > 0; r = r->nextInMesh, --count)
    std::memset(static_cast<void*>(&r->metadata[kTagSlot]), 0, sizeof(BlindData));
}

// Meshes read but not yet verified or destroyed, with the records read for each, shared by the
// four packet types of a registry: a record packet may only name one of these.
struct ReadState {
  struct Records {
    std::int64_t vertices = 0, edges = 0, faces = 0;
  };
  std::unordered_map<const TopoMesh*, Records> meshes;
};

template <class T>
void readLink(ioReadContext& in, T*& field, const char* type) {
  field = nullptr;
  in.readPointer(reinterpret_cast<void**>(&field), type);
}

// The mesh a record packet names, or null (failing the packet).
TopoMesh* readOwner(ioReadContext& in, ReadState& state, ReadState::Records*& records) {
  auto* mesh = static_cast<TopoMesh*>(in.getReferenceDefinition(in.readReference()));
  const auto it = state.meshes.find(mesh);
  if (!mesh || it == state.meshes.end()) {
    in.fail("half-edge mesh record names no half-edge mesh read before it");
    return nullptr;
  }
  records = &it->second;
  return mesh;
}

class TopoMeshPacketType : public ioPacketType {
 public:
  using ReadFn = void (*)(ioReadContext&, ReadState&);
  TopoMeshPacketType(const char* name, ReadFn read, std::shared_ptr<ReadState> state)
      : ioPacketType(name), read_(read), state_(std::move(state)) {}
  void readPacket(ioReadContext& in) override { read_(in, *state_); }
  // Records live in their mesh's pools: the reader never hands them out or frees them.
  void memoryNotReferenced(ioReadContext&, void*) override {}

 protected:
  ReadFn read_;
  std::shared_ptr<ReadState> state_;
};

// The mesh packet type owns the meshes until they are handed out, and checks them whole.
class TopoMeshMeshType : public TopoMeshPacketType {
 public:
  using TopoMeshPacketType::TopoMeshPacketType;
  void memoryNotReferenced(ioReadContext& in, void* object) override {
    ioPacketType::memoryNotReferenced(in, object);
  }
  bool verifyObject(void* object, std::string& reason) override {
    auto* mesh = static_cast<TopoMesh*>(object);
    const auto it = state_->meshes.find(mesh);
    const ReadState::Records read = it != state_->meshes.end() ? it->second : ReadState::Records();
    state_->meshes.erase(mesh);
    const TopoMeshLists& l = mesh->getImpl()->lists;
    if (!ownsList(mesh, l.firstVertex, read.vertices) || !ownsList(mesh, l.firstEdge, read.edges) ||
        !ownsList(mesh, l.firstFace, read.faces)) {
      reason = "half-edge mesh lists hold records of another mesh";
      return false;
    }
    const krString::CString broken = mesh->findBrokenInvariant();
    if (!broken.empty()) {
      reason = std::string("half-edge mesh is inconsistent: ") + broken.c_str();
      return false;
    }
    clearTags(l.firstVertex, l.numVertices);
    clearTags(l.firstEdge, l.numEdges);
    clearTags(l.firstFace, l.numFaces);
    return true;
  }
  void destroyObject(void* object) override {
    auto* mesh = static_cast<TopoMesh*>(object);
    state_->meshes.erase(mesh);
    delete mesh;
  }
};

void readMeshPacket(ioReadContext& in, ReadState& state) {
  auto* mesh = new TopoMesh();
  state.meshes.emplace(mesh, ReadState::Records());
  in.defineReference(mesh);  // from here the reader owns it, also if this packet fails
  TopoMeshLists& l = mesh->getImpl()->lists;
  readLink(in, l.firstVertex, kVertex);
  readLink(in, l.lastVertex, kVertex);
  readLink(in, l.firstFace, kFace);
  readLink(in, l.lastFace, kFace);
  readLink(in, l.firstEdge, kEdge);
  readLink(in, l.lastEdge, kEdge);
  l.numVertices = in.readInt();
  l.numFaces = in.readInt();
  l.numEdges = in.readInt();
}

// Takes a record from the mesh's pool directly: not listed, counted or logged.
template <class Rec>
Rec* newRecord(ioReadContext& in, const TopoMesh* mesh, krOS::FSAllocator& pool) {
  auto* rec = static_cast<Rec*>(pool.alloc());
  tag(rec, mesh);
  in.defineReference(rec);
  return rec;
}

void readVertexPacket(ioReadContext& in, ReadState& state) {
  ReadState::Records* records = nullptr;
  TopoMesh* mesh = readOwner(in, state, records);
  if (!mesh) return;
  ++records->vertices;
  auto* v = newRecord<TopoMeshVertexData>(in, mesh, *mesh->getImpl()->vertexPool);
  double p[3];
  in.readDoubles(p, 3);
  v->point.set(p);
  readLink(in, v->firstEdge, kEdge);
  readLink(in, v->nextInMesh, kVertex);
  readLink(in, v->prevInMesh, kVertex);
}

void readEdgePacket(ioReadContext& in, ReadState& state) {
  ReadState::Records* records = nullptr;
  TopoMesh* mesh = readOwner(in, state, records);
  if (!mesh) return;
  ++records->edges;
  auto* e = newRecord<TopoMeshEdgeData>(in, mesh, *mesh->getImpl()->edgePool);
  readLink(in, e->vertex, kVertex);
  readLink(in, e->next, kEdge);
  readLink(in, e->prev, kEdge);
  readLink(in, e->twin, kEdge);
  readLink(in, e->face, kFace);
  readLink(in, e->nextInMesh, kEdge);
  readLink(in, e->prevInMesh, kEdge);
}

void readFacePacket(ioReadContext& in, ReadState& state) {
  ReadState::Records* records = nullptr;
  TopoMesh* mesh = readOwner(in, state, records);
  if (!mesh) return;
  ++records->faces;
  auto* f = newRecord<TopoMeshFaceData>(in, mesh, *mesh->getImpl()->facePool);
  readLink(in, f->firstEdge, kEdge);
  readLink(in, f->nextInMesh, kFace);
  readLink(in, f->prevInMesh, kFace);
}

}  // namespace

void TopoMesh::registerTypes(ioPacketRegistry& registry) {
  auto state = std::make_shared<ReadState>();
  registry.supportedType(new TopoMeshMeshType(kMesh, readMeshPacket, state));
  registry.supportedType(new TopoMeshPacketType(kVertex, readVertexPacket, state));
  registry.supportedType(new TopoMeshPacketType(kEdge, readEdgePacket, state));
  registry.supportedType(new TopoMeshPacketType(kFace, readFacePacket, state));
}

void TopoMesh::writePF(ioWriteContext& out) const {
  const TopoMeshLists& l = impl_->lists;
  out.startPacket(kMesh, this);
  out.writePointer(l.firstVertex, 0);
  out.writePointer(l.lastVertex, 0);
  out.writePointer(l.firstFace, 0);
  out.writePointer(l.lastFace, 0);
  out.writePointer(l.firstEdge, 0);
  out.writePointer(l.lastEdge, 0);
  out.writeInt(l.numVertices);
  out.writeInt(l.numFaces);
  out.writeInt(l.numEdges);
  out.endPacket();
  for (const TopoMeshVertexData* v = l.firstVertex; v; v = v->nextInMesh) {
    out.startPacket(kVertex, v);
    out.writePointer(this, 0);
    out.writeDoubles(v->point.data(), 3);
    out.writePointer(v->firstEdge, 0);
    out.writePointer(v->nextInMesh, 0);
    out.writePointer(v->prevInMesh, 0);
    out.endPacket();
  }
  for (const TopoMeshEdgeData* e = l.firstEdge; e; e = e->nextInMesh) {
    out.startPacket(kEdge, e);
    out.writePointer(this, 0);
    for (const void* link :
         {static_cast<const void*>(e->vertex), static_cast<const void*>(e->next),
          static_cast<const void*>(e->prev), static_cast<const void*>(e->twin),
          static_cast<const void*>(e->face), static_cast<const void*>(e->nextInMesh),
          static_cast<const void*>(e->prevInMesh)})
      out.writePointer(link, 0);
    out.endPacket();
  }
  for (const TopoMeshFaceData* f = l.firstFace; f; f = f->nextInMesh) {
    out.startPacket(kFace, f);
    out.writePointer(this, 0);
    out.writePointer(f->firstEdge, 0);
    out.writePointer(f->nextInMesh, 0);
    out.writePointer(f->prevInMesh, 0);
    out.endPacket();
  }
}

}  // namespace krGeom
