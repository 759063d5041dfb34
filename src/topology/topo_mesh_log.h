// The transaction log of a TopoMesh: the pending changes since the last saved state, and the
// tree of saved states whose edges carry change sets.
//
// Every record an edit touches gets one entry per change set; a changed record also gets a
// copy of its contents before the first change, taken from the mesh's pool of its kind.
// Moving between states exchanges live records with their copies along the tree path, so the
// same step undoes a change set going up and redoes it going down. Records and copies go back
// to their pools as soon as no state left in the tree can bring them back: copies made
// redundant by pruning, records created on a dropped branch, records deleted above a dropped
// root, records created and deleted between two states (at the next createState or setState).
#pragma once

#include "topo_mesh_impl.h"
#include "topo_mesh_log_changes.h"
#include "topo_mesh_state_impl.h"

#include <geom/export.h>
#include <geom/topology/topo_mesh_state.h>

#include <kr/reference.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace krGeom {

// What a log holds, for tests and benchmarks.
struct TopoMeshLogUsage {
  std::int64_t states = 0;          // states in the tree
  std::int64_t entries = 0;         // entries of the tree's change sets
  std::int64_t copies = 0;          // saved copies held by them
  std::int64_t heldRecords = 0;     // records they keep that are not live in the current state
  std::int64_t pendingEntries = 0;  // entries since the last state
  std::int64_t pendingCopies = 0;
  std::int64_t bytes = 0;  // copies and held records by record size, plus entry and index storage
  std::int64_t touchedBytes = 0;  // the size of the records the tree's change sets touch
};

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
  // to it, eDeleted when it is unlinked (it is then not returned to its pool; the log returns
  // it once no state can bring it back, never during the operation that deleted it).
  void record(void* rec, TopoMeshRecordKind kind, TopoMeshRecordStatus status);

  // Makes room for n more recorded records (entries, index slots, records created and deleted
  // within one operation), so that recording them allocates nothing but their saved copies,
  // which the caller reserves in the pools. Throws std::bad_alloc; the log is then unchanged.
  void reserve(std::size_t n);

  // The current state when nothing changed since it; otherwise a new child of it, made current.
  kr::Reference<TopoMeshState> createState();
  // Discards pending changes, then moves along the tree to `state`.
  // Precondition: `state` belongs to this log.
  void setState(TopoMeshState* state);

  // Removes `state` (unreferenced) and then its ancestors from the tree while each is neither
  // current, referenced nor a branching point. Called by a state at its last release. When
  // memory runs short for merging two change sets the walk stops there: the state stays in the
  // tree, still correct, until a later prune passes it or the log goes.
  void prune(TopoMeshStateImpl* state) noexcept;

  // ---- Diagnostics ----
  TopoMeshStateImpl* root() const noexcept { return root_; }
  TopoMeshStateImpl* current() const noexcept { return current_; }
  const TopoMeshChangeSet& pending() const noexcept { return pending_; }
  // Exported for tests and benchmarks only; the header is not installed.
  KRGEOM_EXPORT TopoMeshLogUsage usage() const;

 private:
  struct DeadRecord {
    void* record;
    TopoMeshRecordKind kind;
  };

  std::int32_t takeTag();
  void freeRecord(void* rec, TopoMeshRecordKind kind) noexcept;
  void freeDeadRecords() noexcept;
  void discardPending();
  void apply(const TopoMeshChangeSet& changes) noexcept;
  void merge(TopoMeshStateImpl* state, TopoMeshStateImpl* child);
  void freeState(TopoMeshStateImpl* state) noexcept;

  krOS::FSAllocator* pools_[3];
  TopoMeshLists* lists_;
  // Changes since the current state, indexed by record.
  TopoMeshChangeSet pending_;
  // Records created and deleted since the current state: returned once the operation is over.
  std::vector<DeadRecord> dead_;
  // The way down from the common ancestor during setState (kept to reuse its storage).
  std::vector<TopoMeshStateImpl*> path_;
  alignas(std::max_align_t) unsigned char scratch_[kTopoMeshMaxRecordBytes];
  TopoMeshStateImpl* root_ = nullptr;
  TopoMeshStateImpl* current_ = nullptr;
  std::int32_t tagCounter_ = 0;
  std::vector<std::int32_t> freedTags_;
};

}  // namespace krGeom
