// The transaction log of a TopoMesh: the pending changes since the last saved state, and the
// tree of saved states whose edges carry change sets.
#pragma once

#include "topo_mesh_impl.h"

#include <geom/topology/topo_mesh_state.h>

#include <kr/reference.h>

#include <memory>

namespace krGeom {

class TopoMeshLogData;

class TopoMeshLog {
 public:
  // Logs changes to records of these pools and lists (all owned by the mesh, which outlives
  // the log). Creates the root state and makes it current.
  TopoMeshLog(krOS::FSAllocator& vertexPool, krOS::FSAllocator& edgePool,
              krOS::FSAllocator& facePool, TopoMeshLists& lists);
  // Frees every state still in the tree; states still referenced are detached and live on.
  ~TopoMeshLog();
  TopoMeshLog(const TopoMeshLog&) = delete;
  TopoMeshLog& operator=(const TopoMeshLog&) = delete;

  // Notes a record: eCreated right after taking it from a pool, eChanged before the first write
  // to it, eDeleted when it is unlinked (it is then not returned to its pool).
  void record(void* rec, TopoMeshRecordKind kind, TopoMeshRecordStatus status);

  kr::Reference<TopoMeshState> createState();
  // Precondition: `state` belongs to this log.
  void setState(TopoMeshState* state);

 private:
  std::unique_ptr<TopoMeshLogData> d_;
};

}  // namespace krGeom
