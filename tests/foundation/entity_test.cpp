#include <geom/foundation/entity.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using krGeom::Entity;
using krGeom::EntityModification;
using krGeom::numberOfActiveEntities;

// A watchable object whose notices the tests send by hand.
struct Watched : Entity {
  void send(EntityModification& m) const { sendMessage(m); }
  void resend(EntityModification& m) const { resendMessage(m); }
};

TEST(Entity, CounterFollowsEntitiesAndCopies) {
  const int base = numberOfActiveEntities();
  {
    kr::Reference<Watched> a(new Watched());
    Watched copy(*a);
    EXPECT_EQ(numberOfActiveEntities(), base + 2);
  }
  EXPECT_EQ(numberOfActiveEntities(), base);
  krGeom::decrementActiveEntities();  // no entity goes away, yet the count falls
  EXPECT_EQ(numberOfActiveEntities(), base - 1);
}

TEST(Entity, DestroyNoticeGoesOutBeforeTheCounterFallsAndTheSignalsGo) {
  const int base = numberOfActiveEntities();
  kr::Reference<Watched> w(new Watched());
  const Entity* address = w.get();
  std::vector<int> seen;  // address matches, entities above base, observers still connected
  w->modifiedSignal.connect([](EntityModification&) {});
  w->destroyedSignal.connect([&](const Entity* e) {
    seen = {e == address, numberOfActiveEntities() - base, e->modifiedSignal.numConnections()};
  });
  w.reset();
  EXPECT_EQ(seen, (std::vector<int>{1, 1, 1}));
  EXPECT_EQ(numberOfActiveEntities(), base);
}

TEST(Entity, SendReachesObserversInOrderAlsoWhenOneDisconnectsItself) {
  Watched w;
  EntityModification m(&w, krGeom::eGeneric);
  std::vector<int> log;
  w.modifiedSignal.connect([&](EntityModification& got) { log.push_back(&got == &m ? 1 : -1); });
  krRTB::Connection self = w.modifiedSignal.connect([&](EntityModification&) {
    log.push_back(2);
    self.disconnect();
  });
  w.modifiedSignal.connect([&](EntityModification&) { log.push_back(3); });
  w.send(m);
  w.send(m);
  EXPECT_EQ(log, (std::vector<int>{1, 2, 3, 1, 3}));
}

TEST(Entity, ResendWrapsTheNoticeAndChainsStopWhereTheEntityIsPresent) {
  // b re-sends a's notice through c; c's observer would re-send through a, but a is on the chain.
  Watched a, b, c, stranger;
  krGeom::TransformModification root(&a);
  std::vector<const EntityModification*> heard;
  a.modifiedSignal.connect([&](EntityModification& m) { heard.push_back(&m); });
  b.modifiedSignal.connect([&](EntityModification& m) { c.resend(m); });
  c.modifiedSignal.connect([&](EntityModification& m) {
    heard.push_back(m.causedBy()->causedBy());
    EXPECT_EQ(m.getEntity(), &c);
    EXPECT_EQ(m.getType(), krGeom::eGeneric);
    EXPECT_EQ(m.getRoot(), &root);
    EXPECT_TRUE(m.entityPresent(&b));
    EXPECT_FALSE(m.entityPresent(&stranger));
    if (!m.entityPresent(&a)) a.resend(m);
  });
  b.resend(root);
  EXPECT_EQ(heard, (std::vector<const EntityModification*>{&root}));
  EXPECT_FALSE(EntityModification::entityPresent(nullptr, &a));
}

TEST(Entity, ObserverExceptionsPropagateWithoutLeakingOrMiscounting) {
  const int base = numberOfActiveEntities();
  kr::Reference<Watched> w(new Watched());
  krGeom::TransformModification m(w.get());
  int later = 0;
  w->modifiedSignal.connect([](EntityModification&) { throw 1; });
  w->modifiedSignal.connect([&](EntityModification&) { ++later; });
  EXPECT_THROW(w->resend(m), int);  // the wrapper notice and the pinned item are released
  w->destroyedSignal.connect([](const Entity*) { throw 2; });
  w->destroyedSignal.connect([&](const Entity*) { ++later; });
  EXPECT_THROW(w.reset(), int);  // the entity is still torn down and freed (checked by asan)
  EXPECT_EQ(later, 0);
  EXPECT_EQ(numberOfActiveEntities(), base);
}

}  // namespace
