// Saved states of a TopoMesh and the notice a TopoMesh sends when it changes.
//
//   mesh.enableTransactions();
//   kr::Reference<krGeom::TopoMeshState> before = mesh.createState();
//   mesh.collapseEdge(e);
//   mesh.setState(before);   // undo; a state taken after the edit would redo it
//
// States form a tree: each createState() after some edits adds a child of the current state,
// and setState() walks the tree to any state in either direction. A state stays restorable
// while a kr::Reference holds it; states nobody holds are pruned from the tree (their change
// sets merge into their neighbours'), so an undo stack that drops old states does not grow.
#pragma once

#include <geom/export.h>
#include <geom/foundation/entity.h>

#include <kr/reference.h>

#include <cstdint>

namespace krGeom {

class TopoMesh;

// A saved state of a TopoMesh with transactions enabled. Hold it with kr::Reference; its count
// is its own (refs()), moved by kr::Reference through addReference() and release().
class KRGEOM_EXPORT TopoMeshState : public kr::ReferenceCount {
 public:
  ~TopoMeshState() override;

  // A small number naming the state; tags of pruned states are handed out again.
  std::int32_t getTag() const noexcept { return tag_; }
  // The number of references held on this state.
  std::int32_t refs() const noexcept { return refs_; }

  // Takes a reference.
  virtual void addReference() const = 0;
  // Drops a reference. At zero a state still in its mesh's tree is handed back for pruning; a
  // state whose mesh has gone deletes itself.
  virtual void release() const = 0;

  // What kr::Reference calls.
  void ref() const { addReference(); }
  void unref() const { release(); }

 protected:
  explicit TopoMeshState(std::int32_t tag) noexcept : tag_(tag) {}

  std::int32_t tag_;
  mutable std::int32_t refs_ = 0;
};

// The notice a TopoMesh sends (through modified()) to say it was transformed or its topology
// changed.
class KRGEOM_EXPORT TopoMeshModification : public EntityModification {
 public:
  enum Type : std::int32_t { eTransformed = 0, eTopologyModified = 1 };

  TopoMeshModification(const TopoMesh* mesh, Type type) noexcept;
  TopoMeshModification(const TopoMeshModification&) noexcept = default;
  ~TopoMeshModification() override;

  Type getType() const noexcept { return type_; }
  bool transformed() const noexcept { return type_ == eTransformed; }
  bool topologyModified() const noexcept { return type_ == eTopologyModified; }

 private:
  Type type_;
};

}  // namespace krGeom
