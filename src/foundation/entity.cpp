#include <geom/foundation/entity.h>

namespace krGeom {

namespace {
// Live entities; plain int because entities are made and destroyed on one thread at a time.
int activeEntities = 0;
}  // namespace

EntityModification::~EntityModification() = default;

const EntityModification* EntityModification::getRoot() const noexcept {
  const EntityModification* m = this;
  while (m->cause_) m = m->cause_;
  return m;
}

bool EntityModification::entityPresent(const EntityModification* m, const Entity* e) noexcept {
  for (; m; m = m->cause_) {
    if (m->entity_ == e) return true;
  }
  return false;
}

TransformModification::~TransformModification() = default;

Entity::Entity() {
  ++activeEntities;
}

Entity::Entity(const Entity& other) : kr::ReferenceCount(other) {
  ++activeEntities;
}

Entity::~Entity() noexcept(false) {
  // The counter falls after the notice, even when an observer's exception cuts the notice short.
  struct Uncount {
    ~Uncount() { --activeEntities; }
  } uncount;
  destroyedSignal.emit(this);
}

void Entity::sendMessage(EntityModification& m) const {
  modifiedSignal.emit(m);
}

void Entity::resendMessage(EntityModification& m) const {
  EntityModification wrapped(this, m, eGeneric);
  modifiedSignal.emit(wrapped);
}

int numberOfActiveEntities() noexcept {
  return activeEntities;
}

void decrementActiveEntities() noexcept {
  --activeEntities;
}

}  // namespace krGeom
