#include "topo_mesh_state_impl.h"

#include "topo_mesh_log.h"

#include <cassert>

namespace krGeom {

TopoMeshStateImpl::~TopoMeshStateImpl() {
  assert(refs_ == 0 && "state destroyed while referenced");
}

void TopoMeshStateImpl::addReference() const {
  ++refs_;
}

void TopoMeshStateImpl::release() const {
  assert(refs_ > 0 && "release without a matching addReference");
  if (--refs_ != 0) return;
  // States are never created const; the const interface is kr::Reference's.
  auto* self = const_cast<TopoMeshStateImpl*>(this);
  if (log)
    log->prune(self);
  else
    delete self;
}

}  // namespace krGeom
