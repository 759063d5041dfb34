#include <geom/foundation/entity.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using krGeom::Entity;
using krGeom::EntityModification;

// A watchable object whose notices the tests send by hand.
class Watched : public Entity {
 public:
  Watched() = default;
  Watched(const Watched&) = default;
  ~Watched() override = default;
  void send(EntityModification& m) const { sendMessage(m); }
  void resend(EntityModification& m) const { resendMessage(m); }
};

TEST(EntityCounter, ConstructionCopyDestructionAndManualDecrement) {
  const int base = krGeom::numberOfActiveEntities();
  {
    kr::Reference<Watched> a(new Watched());
    EXPECT_EQ(krGeom::numberOfActiveEntities(), base + 1);
    Watched copy(*a);
    EXPECT_EQ(krGeom::numberOfActiveEntities(), base + 2);
    EXPECT_EQ(copy.refs(), 0);
  }
  EXPECT_EQ(krGeom::numberOfActiveEntities(), base);
  krGeom::decrementActiveEntities();  // no entity goes away, yet the count falls
  EXPECT_EQ(krGeom::numberOfActiveEntities(), base - 1);
}

TEST(EntityCounter, DestroyNoticeGoesOutBeforeTheCounterFalls) {
  const int base = krGeom::numberOfActiveEntities();
  std::vector<int> seenCounts;
  const Entity* seenAddress = nullptr;
  auto* w = new Watched();
  const Entity* address = w;
  w->destroyedSignal.connect([&](const Entity* e) {
    seenAddress = e;
    seenCounts.push_back(krGeom::numberOfActiveEntities());
  });
  // A second observer still reaches the entity's other signals: none is torn down yet.
  w->destroyedSignal.connect(
      [&](const Entity* e) { seenCounts.push_back(e->modifiedSignal.numConnections()); });
  w->modifiedSignal.connect([](EntityModification&) {});
  kr::Reference<Watched> ref(w);
  ref.reset();
  EXPECT_EQ(seenAddress, address);
  EXPECT_EQ(seenCounts, (std::vector<int>{base + 1, 1}));
  EXPECT_EQ(krGeom::numberOfActiveEntities(), base);
}

TEST(EntityCounter, CopiesStartWithoutObservers) {
  Watched a;
  int calls = 0;
  a.modifiedSignal.connect([&](EntityModification&) { ++calls; });
  Watched b(a);
  EntityModification m(&b, krGeom::eGeneric);
  b.send(m);
  EXPECT_EQ(calls, 0);
  b = a;
  b.send(m);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(a.modifiedSignal.numConnections(), 1);
}

TEST(EntityNotices, SendDeliversTheNoticeItselfInConnectionOrder) {
  Watched w;
  krGeom::TransformModification m(&w);
  w.send(m);  // no observers: nothing happens
  std::vector<std::string> log;
  w.modifiedSignal.connect([&](EntityModification& got) {
    EXPECT_EQ(&got, &m);
    log.push_back("first");
  });
  w.modifiedSignal.connect([&](EntityModification& got) {
    EXPECT_EQ(got.getType(), krGeom::eTransform);
    EXPECT_TRUE(got.isRoot());
    log.push_back("second");
  });
  w.send(m);
  EXPECT_EQ(log, (std::vector<std::string>{"first", "second"}));
}

TEST(EntityNotices, ResendWrapsTheReceivedNotice) {
  Watched source, relay;
  EntityModification root(&source, krGeom::eMesh);
  int calls = 0;
  relay.modifiedSignal.connect([&](EntityModification& got) {
    ++calls;
    EXPECT_EQ(got.getEntity(), &relay);
    EXPECT_EQ(got.getType(), krGeom::eGeneric);
    EXPECT_EQ(got.causedBy(), &root);
    EXPECT_FALSE(got.isRoot());
    EXPECT_EQ(got.getRoot(), &root);
  });
  relay.resend(root);
  EXPECT_EQ(calls, 1);
}

TEST(EntityNotices, ResendStopsOnAnObserverException) {
  Watched w;
  EntityModification root(&w, krGeom::eGeneric);
  w.modifiedSignal.connect([](EntityModification&) { throw std::runtime_error("observer"); });
  EXPECT_THROW(w.resend(root), std::runtime_error);
}

TEST(EntityNotices, ChainsAcrossEntitiesFindRootAndMembers) {
  // a changed; b re-sends, c re-sends b's notice; c's observer would re-send through a but stops
  // because a is already on the chain.
  Watched a, b, c, stranger;
  int aHeard = 0, cHeard = 0;
  EntityModification root(&a, krGeom::eMesh);
  a.modifiedSignal.connect([&](EntityModification&) { ++aHeard; });
  b.modifiedSignal.connect([&](EntityModification& m) {
    if (!m.entityPresent(&c)) c.resend(m);
  });
  c.modifiedSignal.connect([&](EntityModification& m) {
    ++cHeard;
    EXPECT_TRUE(m.entityPresent(&b));
    EXPECT_TRUE(m.entityPresent(&c));
    EXPECT_FALSE(m.entityPresent(&stranger));
    EXPECT_EQ(m.getRoot(), &root);
    EXPECT_EQ(m.causedBy()->causedBy(), &root);
    if (!m.entityPresent(&a)) a.resend(m);
  });
  b.resend(root);
  EXPECT_EQ(cHeard, 1);
  EXPECT_EQ(aHeard, 0);
  EXPECT_TRUE(root.entityPresent(&a));
  EXPECT_FALSE(root.entityPresent(&b));
  EXPECT_EQ(root.getRoot(), &root);
  EXPECT_FALSE(EntityModification::entityPresent(nullptr, &a));
}

TEST(EntityNotices, ObserverThatDisconnectsItselfDoesNotStopDelivery) {
  Watched w;
  std::vector<int> log;
  krRTB::Connection self;
  w.modifiedSignal.connect([&](EntityModification&) { log.push_back(1); });
  self = w.modifiedSignal.connect([&](EntityModification&) {
    log.push_back(2);
    self.disconnect();
  });
  w.modifiedSignal.connect([&](EntityModification&) { log.push_back(3); });
  EntityModification m(&w, krGeom::eGeneric);
  w.send(m);
  w.send(m);
  EXPECT_EQ(log, (std::vector<int>{1, 2, 3, 1, 3}));
}

}  // namespace
