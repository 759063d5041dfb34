// TopoMesh's transaction calls, forwarded to its log.
#include <geom/topology/topo_mesh.h>

#include "topo_mesh_impl.h"
#include "topo_mesh_log.h"

#include <cassert>

namespace krGeom {

void TopoMeshImpl::logRecord(void* rec, TopoMeshRecordKind kind, TopoMeshRecordStatus status) {
  log_->record(rec, kind, status);
}

void TopoMesh::enableTransactions() {
  if (impl_->log_) return;
  impl_->log_ = std::make_unique<TopoMeshLog>(*impl_->vertexPool, *impl_->edgePool,
                                              *impl_->facePool, impl_->lists);
}

kr::Reference<TopoMeshState> TopoMesh::createState() {
  assert(impl_->log_ && "createState needs enableTransactions");
  return impl_->log_->createState();
}

void TopoMesh::setState(kr::Reference<TopoMeshState> state) {
  assert(impl_->log_ && "setState needs enableTransactions");
  impl_->log_->setState(state.get());
}

}  // namespace krGeom
