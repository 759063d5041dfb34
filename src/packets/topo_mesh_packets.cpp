// TopoMesh packets: one packet for the mesh and one per vertex, half-edge and face record, with
// links written as references and fixed up by the reader.
#include <geom/topology/topo_mesh.h>
#include <kr/packet.h>

#include "../topology/topo_mesh_impl.h"
#include "topo_mesh_read_check.h"

#include <cstring>
#include <memory>
#include <string>
#include <unordered_set>

namespace krGeom {

namespace {

constexpr const char* kMesh = "kr.geom.topomesh";
constexpr const char* kVertex = "kr.geom.topomesh.vertex";
constexpr const char* kEdge = "kr.geom.topomesh.edge";
constexpr const char* kFace = "kr.geom.topomesh.face";

// Meshes read but not yet verified or destroyed, shared by the four packet types of a registry:
// a record packet may only name one of these.
struct ReadState {
  std::unordered_set<const TopoMesh*> meshes;
};

template <class T>
void readLink(ioReadContext& in, T*& field, const char* type) {
  field = nullptr;
  in.readPointer(reinterpret_cast<void**>(&field), type);
}

// The mesh a record packet names, or null (failing the packet).
TopoMesh* readOwner(ioReadContext& in, const ReadState& state) {
  auto* mesh = static_cast<TopoMesh*>(in.getReferenceDefinition(in.readReference()));
  if (!mesh || !state.meshes.count(mesh)) {
    in.fail("half-edge mesh record names no half-edge mesh read before it");
    return nullptr;
  }
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
    state_->meshes.erase(mesh);
    reason = packets::checkReadMesh(*mesh);
    if (!reason.empty()) {
      reason = "half-edge mesh is inconsistent: " + reason;
      return false;
    }
    return true;
  }
  void destroyObject(void* object) override {
    auto* mesh = static_cast<TopoMesh*>(object);
    state_->meshes.erase(mesh);
    delete mesh;
  }
};

void readMeshPacket(ioReadContext& in, ReadState& state) {
  auto made = std::make_unique<TopoMesh>();
  state.meshes.insert(made.get());
  TopoMesh* mesh = made.release();
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
  packets::tagRecord(&rec->metadata[kTopoMeshMetadataSlots - 1], mesh);
  in.defineReference(rec);
  return rec;
}

void readVertexPacket(ioReadContext& in, ReadState& state) {
  TopoMesh* mesh = readOwner(in, state);
  if (!mesh) return;
  auto* v = newRecord<TopoMeshVertexData>(in, mesh, *mesh->getImpl()->vertexPool);
  double p[3];
  in.readDoubles(p, 3);
  v->point.set(p);
  readLink(in, v->firstEdge, kEdge);
  readLink(in, v->nextInMesh, kVertex);
  readLink(in, v->prevInMesh, kVertex);
}

void readEdgePacket(ioReadContext& in, ReadState& state) {
  TopoMesh* mesh = readOwner(in, state);
  if (!mesh) return;
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
  TopoMesh* mesh = readOwner(in, state);
  if (!mesh) return;
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
