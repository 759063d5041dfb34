#include <kr/signal.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace {

using krRTB::Connection;
using krRTB::ScopedConnection;
using krRTB::Signal;
using Calls = std::vector<std::pair<int, int>>;

// Records (observer id, value) in delivery order.
class SignalTest : public ::testing::Test {
 protected:
  // An observer that records its call and then runs `then(value)`.
  auto observer(int id, std::function<void(int)> then = {}) {
    return [=, this](int v) {
      calls.emplace_back(id, v);
      if (then) then(v);
    };
  }
  Calls take() { return std::exchange(calls, {}); }
  Signal<int> signal;
  Calls calls;
};

TEST_F(SignalTest, DeliversInConnectionOrderAndSkipsBlockedObservers) {
  signal.connect(observer(1));
  Connection two = signal.connect(observer(2));
  signal.connect(observer(3));
  signal.emit(1);
  two.block(true);
  signal(2);
  EXPECT_TRUE(two.connected());
  two.block(false);
  signal.emit(3);
  EXPECT_EQ(take(), (Calls{{1, 1}, {2, 1}, {3, 1}, {1, 2}, {3, 2}, {1, 3}, {2, 3}, {3, 3}}));
}

TEST_F(SignalTest, ObserverDisconnectsItselfAndOthersDuringDelivery) {
  Connection c1 = signal.connect(observer(1));
  Connection c2, c3;
  c2 = signal.connect(observer(2, [&](int) {
    c1.disconnect();  // already served
    c2.disconnect();  // itself, while locked
    c3.disconnect();  // next in line: must not be reached
  }));
  c3 = signal.connect(observer(3));
  signal.connect(observer(4));
  signal.emit(1);
  signal.emit(2);
  EXPECT_EQ(take(), (Calls{{1, 1}, {2, 1}, {4, 1}, {4, 2}}));
  EXPECT_EQ(signal.numConnections(), 1);
}

TEST_F(SignalTest, ConnectAndDisconnectAllDuringDelivery) {
  signal.connect(observer(1, [&](int v) {
    if (v == 1) signal.connect(observer(3));  // reached by this delivery
    if (v == 2) signal.disconnectAll();       // ends this delivery
  }));
  signal.connect(observer(2));
  signal.emit(1);
  signal.emit(2);
  signal.emit(3);
  EXPECT_EQ(take(), (Calls{{1, 1}, {2, 1}, {3, 1}, {1, 2}}));
  EXPECT_TRUE(signal.empty());
}

TEST_F(SignalTest, NestedEmissionAndDisconnectInsideIt) {
  signal.connect(observer(1, [&](int v) {
    if (v == 0) signal.emit(1);
  }));
  Connection two;
  two = signal.connect(observer(2, [&](int) { two.disconnect(); }));  // the outer delivery skips it
  signal.connect(observer(3));
  signal.emit(0);
  EXPECT_EQ(take(), (Calls{{1, 0}, {1, 1}, {2, 1}, {3, 1}, {3, 0}}));
}

TEST_F(SignalTest, OwnerDestroyedDuringDeliveryEndsIt) {
  auto owner = std::make_unique<Signal<int>>();
  owner->connect(observer(1, [&](int) { owner.reset(); }));
  owner->connect(observer(2));
  owner->emit(1);
  EXPECT_EQ(take(), (Calls{{1, 1}}));
}

TEST_F(SignalTest, CopiesStartEmptyAndAssignmentKeepsTheTargetsObservers) {
  Signal<int> other;
  signal.connect(observer(1));
  other.connect(observer(2));
  Signal<int> copy(signal);
  other = signal;
  copy.emit(1);
  other.emit(2);
  signal.emit(3);
  EXPECT_EQ(take(), (Calls{{2, 2}, {1, 3}}));
}

TEST_F(SignalTest, ScopedConnectionDisconnectsAtScopeEndAndOnReassignment) {
  { ScopedConnection scoped = signal.connect(observer(1)); }
  ScopedConnection first = signal.connect(observer(2));
  ScopedConnection second = signal.connect(observer(3));
  first = std::move(second);  // observer 2 goes; `first` now holds observer 3
  signal.emit(1);
  EXPECT_EQ(take(), (Calls{{3, 1}}));
}

// Observers are released once both the signal and every handle have let go.
TEST(Signal, HandlesShareOneConnectionAndOutliveTheSignal) {
  auto token = std::make_shared<int>(0);
  auto signal = std::make_unique<Signal<int>>();
  signal->connect([token](int) {});
  Connection a = signal->connect([token](int) {});
  Connection b = a;
  b.disconnect();
  EXPECT_FALSE(a.connected());
  EXPECT_EQ(token.use_count(), 3);
  signal.reset();
  EXPECT_EQ(token.use_count(), 2);
  a.disconnect();  // no effect once the signal is gone
  a = b = Connection();
  EXPECT_EQ(token.use_count(), 1);
}

}  // namespace
