// The private implementation of TopoMesh: the three record pools, the three lists with their
// counters, and the transaction log. Shared by the editing operations, the log and the checker.
#pragma once

#include <geom/topology/topo_mesh_entities.h>

#include <kr/fs_allocator.h>

#include <cstdint>
#include <memory>

namespace krGeom {

class TopoMeshLog;

// Record kinds and change statuses as the transaction log receives them.
enum TopoMeshRecordKind : std::int32_t { eVertexRecord = 0, eEdgeRecord = 1, eFaceRecord = 2 };
enum TopoMeshRecordStatus : std::int32_t { eCreated = 0, eChanged = 1, eDeleted = 2 };

// Heads, tails and counters of the mesh's lists; saved and restored whole by the log.
struct TopoMeshLists {
  TopoMeshVertexData* firstVertex = nullptr;
  TopoMeshVertexData* lastVertex = nullptr;
  TopoMeshFaceData* firstFace = nullptr;
  TopoMeshFaceData* lastFace = nullptr;
  TopoMeshEdgeData* firstEdge = nullptr;
  TopoMeshEdgeData* lastEdge = nullptr;
  std::int32_t numVertices = 0;
  std::int32_t numFaces = 0;
  std::int32_t numEdges = 0;
};

class TopoMeshImpl {
 public:
  TopoMeshImpl();
  ~TopoMeshImpl();
  TopoMeshImpl(const TopoMeshImpl&) = delete;
  TopoMeshImpl& operator=(const TopoMeshImpl&) = delete;

  // Every operation reports a record here before its first write to it, right after taking it
  // from a pool, and when deleting it. Without a log this is one predictable branch.
  void record(void* rec, TopoMeshRecordKind kind, TopoMeshRecordStatus status) {
    if (log_) [[unlikely]]
      logRecord(rec, kind, status);
  }
  void recordChange(TopoMeshVertexData* v) { record(v, eVertexRecord, eChanged); }
  void recordChange(TopoMeshEdgeData* e) { record(e, eEdgeRecord, eChanged); }
  void recordChange(TopoMeshFaceData* f) { record(f, eFaceRecord, eChanged); }

  bool hasLog() const noexcept { return log_ != nullptr; }
  TopoMeshLog* log() const noexcept { return log_.get(); }

  std::unique_ptr<krOS::FSAllocator> vertexPool;
  std::unique_ptr<krOS::FSAllocator> edgePool;
  std::unique_ptr<krOS::FSAllocator> facePool;
  TopoMeshLists lists;

 private:
  friend class TopoMesh;
  void logRecord(void* rec, TopoMeshRecordKind kind, TopoMeshRecordStatus status);

  std::unique_ptr<TopoMeshLog> log_;
};

}  // namespace krGeom
