// A saved state of a TopoMesh: a node of its log's state tree.
#pragma once

#include "topo_mesh_impl.h"
#include "topo_mesh_log_changes.h"

#include <geom/export.h>
#include <geom/topology/topo_mesh_state.h>

#include <vector>

namespace krGeom {

class TopoMeshLog;

// Lives in its log's tree until pruned (unreferenced, and neither current nor a branching
// point) or until the log goes; a state still referenced when its log goes is detached and
// deletes itself at its last release.
class KRGEOM_EXPORT TopoMeshStateImpl final : public TopoMeshState {
 public:
  TopoMeshStateImpl(std::int32_t tag, TopoMeshLog* log, TopoMeshStateImpl* parent,
                    const TopoMeshLists& lists) noexcept
      : TopoMeshState(tag), log(log), parent(parent), lists(lists) {}
  ~TopoMeshStateImpl() override;

  void addReference() const override;
  // At zero: a detached state deletes itself; a state in a tree is handed to its log to prune.
  void release() const override;

  // The owning log; null once detached.
  TopoMeshLog* log;
  // Null for the root.
  TopoMeshStateImpl* parent;
  // The states whose change sets start here.
  std::vector<TopoMeshStateImpl*> children;
  // The records touched from the parent to this state (empty for the root).
  TopoMeshChangeSet changes;
  // True when the current state is this state or below it: the live records then hold this
  // end's versions and the copies of `changes` the parent's.
  bool currentBelow = true;
  // The mesh's list heads, tails and counters in this state.
  TopoMeshLists lists;
};

}  // namespace krGeom
