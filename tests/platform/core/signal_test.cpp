#include <kr/signal.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using krRTB::Connection;
using krRTB::Signal;

// Records which observer received which value, in delivery order.
struct Log {
  std::vector<std::pair<int, int>> calls;
  auto observer(int id) {
    return [this, id](int v) { calls.emplace_back(id, v); };
  }
  std::vector<std::pair<int, int>> take() { return std::exchange(calls, {}); }
};

using Calls = std::vector<std::pair<int, int>>;

TEST(Signal, DeliversToObserversInConnectionOrder) {
  Signal<int> signal;
  Log log;
  EXPECT_TRUE(signal.empty());
  for (int id = 1; id <= 3; ++id) signal.connect(log.observer(id));
  EXPECT_EQ(signal.numConnections(), 3);
  signal.emit(10);
  signal(11);
  EXPECT_EQ(log.take(), (Calls{{1, 10}, {2, 10}, {3, 10}, {1, 11}, {2, 11}, {3, 11}}));
}

TEST(Signal, ObserversSeeEachOthersChangesThroughReferences) {
  Signal<int&> signal;
  signal.connect([](int& v) { v *= 2; });
  signal.connect([](int& v) { v += 1; });
  int value = 5;
  signal.emit(value);
  EXPECT_EQ(value, 11);
}

TEST(Signal, ObserverDisconnectingItselfDuringDelivery) {
  Signal<int> signal;
  Log log;
  signal.connect(log.observer(1));
  Connection self;
  self = signal.connect([&](int v) {
    log.calls.emplace_back(2, v);
    self.disconnect();
  });
  signal.connect(log.observer(3));

  signal.emit(1);
  EXPECT_FALSE(self.connected());
  EXPECT_EQ(signal.numConnections(), 2);
  signal.emit(2);
  EXPECT_EQ(log.take(), (Calls{{1, 1}, {2, 1}, {3, 1}, {1, 2}, {3, 2}}));
}

TEST(Signal, ObserverDisconnectingOthersDuringDelivery) {
  Signal<int> signal;
  Log log;
  Connection c1, c3, c4;
  c1 = signal.connect(log.observer(1));
  signal.connect([&](int v) {
    log.calls.emplace_back(2, v);
    if (v == 1) {
      c1.disconnect();  // already served in this delivery
      c3.disconnect();  // next in line: must not be reached
    }
  });
  c3 = signal.connect(log.observer(3));
  c4 = signal.connect(log.observer(4));

  signal.emit(1);
  signal.emit(2);
  EXPECT_EQ(log.take(), (Calls{{1, 1}, {2, 1}, {4, 1}, {2, 2}, {4, 2}}));
  EXPECT_EQ(signal.numConnections(), 2);
}

TEST(Signal, DisconnectAllDuringDeliveryStopsIt) {
  Signal<int> signal;
  Log log;
  signal.connect([&](int v) {
    log.calls.emplace_back(1, v);
    signal.disconnectAll();
  });
  signal.connect(log.observer(2));
  signal.emit(1);
  signal.emit(2);
  EXPECT_EQ(log.take(), (Calls{{1, 1}}));
  EXPECT_TRUE(signal.empty());
}

TEST(Signal, ObserverConnectedDuringDeliveryIsReachedByIt) {
  Signal<int> signal;
  Log log;
  signal.connect([&](int v) {
    log.calls.emplace_back(1, v);
    if (v == 1) signal.connect(log.observer(3));
  });
  signal.connect(log.observer(2));
  signal.emit(1);
  signal.emit(2);
  EXPECT_EQ(log.take(), (Calls{{1, 1}, {2, 1}, {3, 1}, {1, 2}, {2, 2}, {3, 2}}));
}

TEST(Signal, BlockedObserverIsSkippedButStaysConnected) {
  Signal<int> signal;
  Log log;
  signal.connect(log.observer(1));
  Connection c = signal.connect(log.observer(2));
  c.block(true);
  EXPECT_TRUE(c.blocked());
  EXPECT_TRUE(c.connected());
  EXPECT_EQ(signal.numConnections(), 2);
  signal.emit(1);
  c.block(false);
  signal.emit(2);
  EXPECT_EQ(log.take(), (Calls{{1, 1}, {1, 2}, {2, 2}}));
}

TEST(Signal, NestedEmissionAndDisconnectInsideIt) {
  Signal<int> signal;
  Log log;
  signal.connect([&](int v) {
    log.calls.emplace_back(1, v);
    if (v == 0) signal.emit(1);
  });
  Connection two;
  two = signal.connect([&](int v) {
    log.calls.emplace_back(2, v);
    two.disconnect();  // inside the nested delivery; the outer one must skip it too
  });
  signal.connect(log.observer(3));
  signal.emit(0);
  EXPECT_EQ(log.take(), (Calls{{1, 0}, {1, 1}, {2, 1}, {3, 1}, {3, 0}}));
  EXPECT_EQ(signal.numConnections(), 2);
}

TEST(Signal, HandlesOutliveTheSignal) {
  Connection plain;
  krRTB::ScopedConnection scoped;
  {
    Signal<int> signal;
    plain = signal.connect([](int) {});
    scoped = signal.connect([](int) {});
    EXPECT_TRUE(plain.connected());
  }
  EXPECT_FALSE(plain.connected());
  EXPECT_FALSE(scoped.connected());
  plain.disconnect();  // does nothing
  plain.block(true);
  EXPECT_FALSE(Connection().connected());
}

TEST(Signal, OwnerDestroyedDuringDeliveryEndsIt) {
  struct Owner {
    Signal<int> changed;
  };
  auto owner = std::make_unique<Owner>();
  Log log;
  owner->changed.connect([&](int v) {
    log.calls.emplace_back(1, v);
    owner.reset();
  });
  owner->changed.connect(log.observer(2));
  owner->changed.emit(1);
  EXPECT_EQ(owner, nullptr);
  EXPECT_EQ(log.take(), (Calls{{1, 1}}));
}

TEST(Signal, CopiedOwnerGetsAnEmptySignal) {
  struct Owner {
    Signal<int> changed;
  };
  Owner a;
  Log log;
  a.changed.connect(log.observer(1));

  Owner b(a);
  EXPECT_TRUE(b.changed.empty());
  b.changed.emit(1);
  EXPECT_TRUE(log.calls.empty());

  Owner c;
  c.changed.connect(log.observer(3));
  c = a;  // assignment keeps the target's own observers
  EXPECT_EQ(c.changed.numConnections(), 1);
  c.changed.emit(2);
  a.changed.emit(3);
  EXPECT_EQ(log.take(), (Calls{{3, 2}, {1, 3}}));
}

TEST(Signal, HandleCopiesShareOneConnectionAndDroppingOneDoesNotDisconnect) {
  Signal<int> signal;
  Log log;
  { signal.connect(log.observer(0)); }
  Connection a = signal.connect(log.observer(1));
  Connection b = a;
  b.disconnect();
  EXPECT_FALSE(a.connected());
  signal.emit(1);
  EXPECT_EQ(log.take(), (Calls{{0, 1}}));
}

TEST(Signal, ObserverStateIsReleasedOnceDisconnectedAndUnreferenced) {
  auto token = std::make_shared<int>(0);
  Signal<int> signal;
  Connection c = signal.connect([token](int) {});
  EXPECT_EQ(token.use_count(), 2);
  c.disconnect();
  EXPECT_EQ(token.use_count(), 2);  // the handle still holds the observer
  c = Connection();
  EXPECT_EQ(token.use_count(), 1);

  // Without any handle, destroying the signal releases it.
  {
    Signal<int> other;
    other.connect([token](int) {});
    EXPECT_EQ(token.use_count(), 2);
  }
  EXPECT_EQ(token.use_count(), 1);
}

TEST(ScopedConnection, DisconnectsAtScopeEndAndOnReassignment) {
  Signal<int> signal;
  Log log;
  {
    krRTB::ScopedConnection scoped = signal.connect(log.observer(1));
    signal.emit(1);
  }
  signal.emit(2);

  krRTB::ScopedConnection first = signal.connect(log.observer(2));
  krRTB::ScopedConnection second = signal.connect(log.observer(3));
  first = std::move(second);  // observer 2 goes; observer 3 is now held by `first`
  signal.emit(3);
  krRTB::ScopedConnection moved(std::move(first));
  EXPECT_TRUE(moved.connected());
  moved.disconnect();
  signal.emit(4);
  EXPECT_EQ(log.take(), (Calls{{1, 1}, {3, 3}}));
  EXPECT_TRUE(signal.empty());
}

}  // namespace
