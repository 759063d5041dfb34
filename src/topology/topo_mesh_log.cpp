// Placeholder log: records nothing and saves no states (being replaced by the real log).
#include "topo_mesh_log.h"

namespace krGeom {

class TopoMeshLogData {};

TopoMeshLog::TopoMeshLog(krOS::FSAllocator&, krOS::FSAllocator&, krOS::FSAllocator&,
                         TopoMeshLists&) {}
TopoMeshLog::~TopoMeshLog() = default;
void TopoMeshLog::record(void*, TopoMeshRecordKind, TopoMeshRecordStatus) {}
kr::Reference<TopoMeshState> TopoMeshLog::createState() {
  return nullptr;
}
void TopoMeshLog::setState(TopoMeshState*) {}

}  // namespace krGeom
