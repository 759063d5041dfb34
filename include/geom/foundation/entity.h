// krGeom::Entity: the base of every geometry object that others may watch, and the modification
// notices it sends.
//
//   krRTB::Connection c = source->modifiedSignal.connect([&](krGeom::EntityModification& m) {
//     if (m.entityPresent(&mine)) return;  // already on the chain: stop a cycle
//     mine.follow(m);  // changes `mine`, which re-sends `m` wrapped (resendMessage)
//   });
//
// What an observer may do during a notice, and what follows:
// - disconnect itself or others: a disconnected observer hears nothing more, from this notice on;
// - throw: the delivery ends there and the exception propagates out of the sending call (the
//   mesh operations that send, modified(), finish their own changes first);
// - edit the entity and send a nested notice: every observer hears the nested notice before the
//   outer delivery goes on (guard against endless nesting, e.g. with entityPresent or a flag);
// - drop the last reference to the entity: it is destroyed at once (its destroy notice goes out
//   from inside the observer), the outer delivery ends after that observer, and the sending call
//   returns without touching the entity again.
//
// Entities are reference counted (kr::Reference<T>) and count themselves in a process-wide
// active-entity counter. Notices are short-lived stack values: receivers must not keep pointers
// to a notice or to its causes beyond the call. Entity and notice pointers stored in notices are
// borrowed, never owned. Objects are used from one thread at a time; the counter is a plain int.
#pragma once

#include <geom/export.h>
#include <kr/debug_channel.h>
#include <kr/reference.h>
#include <kr/signal.h>

#include <cstdint>

namespace krGeom {

class Entity;

// Kind of a modification notice.
enum EntityModificationType : std::int32_t {
  eGeneric = 0,    // the wrapper Entity::resendMessage builds around a received notice
  eTransform = 1,  // TransformModification
  eMesh = 2,       // mesh notices
};

// A notice that `entity` changed, optionally caused by another notice.
class KRGEOM_EXPORT EntityModification {
 public:
  // --- Construction ---

  // A root notice (no cause) about `e`.
  EntityModification(const Entity* e, EntityModificationType t) noexcept
      : entity_(e), cause_(nullptr), type_(t) {}
  // A notice about `e` caused by `cause` (borrowed: must outlive this notice).
  EntityModification(const Entity* e, EntityModification& cause, EntityModificationType t) noexcept
      : entity_(e), cause_(&cause), type_(t) {}
  // Copies entity, cause and type; the cause is shared, not deep-copied.
  EntityModification(const EntityModification&) noexcept = default;
  EntityModification& operator=(const EntityModification&) noexcept = default;
  virtual ~EntityModification();

  // --- Queries ---

  // The entity that changed.
  const Entity* getEntity() const noexcept { return entity_; }
  // The kind of notice.
  EntityModificationType getType() const noexcept { return type_; }
  // True when the notice has no cause.
  bool isRoot() const noexcept { return cause_ == nullptr; }
  // The notice that caused this one, or null.
  const EntityModification* causedBy() const noexcept { return cause_; }
  // The notice at the end of the cause chain (this one when it is a root). Cause chains are
  // never cyclic; no guard is made against one.
  const EntityModification* getRoot() const noexcept;
  // True when `e` is the entity of this notice or of any notice on its cause chain.
  bool entityPresent(const Entity* e) const noexcept { return entityPresent(this, e); }
  // The same walk starting at `m`; false when `m` is null.
  static bool entityPresent(const EntityModification* m, const Entity* e) noexcept;

 private:
  const Entity* entity_;             // borrowed
  const EntityModification* cause_;  // borrowed; null for a root notice
  EntityModificationType type_;
};

// A root notice that an entity's transform changed (type eTransform).
class KRGEOM_EXPORT TransformModification : public EntityModification {
 public:
  // A transform notice about `e`, without a cause.
  explicit TransformModification(const Entity* e) noexcept : EntityModification(e, eTransform) {}
  TransformModification(const TransformModification&) noexcept = default;
  TransformModification& operator=(const TransformModification&) noexcept = default;
  ~TransformModification() override;
};

// Reference-counted, observable base of watchable objects. Only derived classes construct and
// destroy entities (derived meshes make their destructors public).
class KRGEOM_EXPORT Entity : public kr::ReferenceCount {
 public:
  // --- Signals (connect observers directly; delivery is in connection order) ---

  // Emitted once, from the destructor, with the entity's address; it goes out before the
  // active-entity counter falls and before any signal is torn down. An exception thrown by an
  // observer ends the delivery and propagates out of the destructor once the entity is fully
  // torn down (counter lowered, members destroyed, memory released). Observers must not use the
  // entity beyond its address.
  krRTB::Signal<const Entity*> destroyedSignal;
  // Carries modification notices (see sendMessage and resendMessage).
  krRTB::Signal<EntityModification&> modifiedSignal;
  // Never emitted by the library; derived classes and clients may use it for their own
  // notifications. Carries the address of the entity it concerns.
  krRTB::Signal<const Entity*> reservedSignal;

 protected:
  // --- Lifetime ---

  // Builds the three signals, then counts one more active entity.
  Entity();
  // A new entity with empty signals (connections stay with the source); counted.
  Entity(const Entity&);
  // Leaves signals and reference count alone.
  Entity& operator=(const Entity&) noexcept { return *this; }
  // Sends the destroy notice, then counts one fewer active entity (also when an observer throws;
  // the exception then propagates, which is why this destructor is not noexcept).
  ~Entity() noexcept(false) override;

  // --- Notices (sending does not change the entity) ---

  // Delivers `m` unchanged to every observer of modifiedSignal. Observer exceptions propagate.
  virtual void sendMessage(EntityModification& m) const;
  // Delivers a notice (this entity, caused by `m`, type eGeneric) to every observer of
  // modifiedSignal. Observer exceptions propagate.
  virtual void resendMessage(EntityModification& m) const;
};

// --- Process-wide functions ---

// The current value of the active-entity counter (a diagnostic).
KRGEOM_EXPORT int numberOfActiveEntities() noexcept;
// Subtracts one from the counter without touching any entity; the counter may then fall below
// the true number of entities, even below zero. The library never calls it.
KRGEOM_EXPORT void decrementActiveEntities() noexcept;
// The library's diagnostic channel, made on first use (thread-safe) and disabled by default.
KRGEOM_EXPORT krOS::DebugChannel& debugChannel();

}  // namespace krGeom
