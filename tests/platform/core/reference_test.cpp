#include <kr/reference.h>

#include <gtest/gtest.h>

#include <utility>

namespace {

// Counts live instances so that every test can check for leaks and double deletes.
struct Counted : kr::ReferenceCount {
  static inline int live = 0;
  explicit Counted(int v = 0) : value(v) { ++live; }
  Counted(const Counted& o) : kr::ReferenceCount(o), value(o.value) { ++live; }
  Counted& operator=(const Counted&) = default;
  ~Counted() override { --live; }
  int value;
};

struct Derived : Counted {
  explicit Derived(int v) : Counted(v) {}
};

class ReferenceTest : public ::testing::Test {
 protected:
  void SetUp() override { Counted::live = 0; }
  void TearDown() override { EXPECT_EQ(Counted::live, 0) << "leaked or double-deleted objects"; }
};

TEST_F(ReferenceTest, CountsFollowCopiesMovesAndResets) {
  kr::Reference<Counted> a(new Counted(5));
  EXPECT_EQ(a->refs(), 1);
  {
    kr::Reference<Counted> b = a;
    EXPECT_EQ(a->refs(), 2);
    EXPECT_EQ(b, a);
    kr::Reference<Counted> c = std::move(b);
    EXPECT_EQ(a->refs(), 2);
    EXPECT_FALSE(b);
  }
  EXPECT_EQ(a->refs(), 1);
  kr::Reference<Counted> d;
  d.swap(a);  // exchanges holders, not counts
  EXPECT_EQ(d->refs(), 1);
  d.swap(a);
  EXPECT_EQ(Counted::live, 1);
  a.reset();
  EXPECT_FALSE(a);
  EXPECT_EQ(Counted::live, 0);
  a.reset();  // resetting an empty reference does nothing
}

TEST_F(ReferenceTest, AssignmentReleasesTheOldObjectAndSurvivesSelfAssignment) {
  kr::Reference<Counted> a(new Counted(1));
  kr::Reference<Counted> b(new Counted(2));
  a = b;  // the first object dies here
  EXPECT_EQ(Counted::live, 1);
  EXPECT_EQ(a->value, 2);
  EXPECT_EQ(b->refs(), 2);

  kr::Reference<Counted>& same = a;
  a = same;
  EXPECT_EQ(a->refs(), 2);
  a = std::move(same);
  EXPECT_EQ(Counted::live, 1);

  a = new Counted(3);  // from a raw pointer: takes a reference
  EXPECT_EQ(a->refs(), 1);
  EXPECT_EQ(b->refs(), 1);
  a = nullptr;
  EXPECT_EQ(Counted::live, 1);
}

TEST_F(ReferenceTest, CopiedObjectsGetAFreshCount) {
  kr::Reference<Counted> a(new Counted(7));
  kr::Reference<Counted> held = a;
  kr::Reference<Counted> copy(new Counted(*a));
  EXPECT_EQ(copy->refs(), 1);
  EXPECT_EQ(copy->value, 7);
  EXPECT_EQ(a->refs(), 2);

  *copy = *a;  // assignment copies the value, neither count
  EXPECT_EQ(copy->refs(), 1);
  EXPECT_EQ(a->refs(), 2);
}

TEST_F(ReferenceTest, ManualRefAndUnrefDeleteAtZero) {
  auto* raw = new Counted();
  EXPECT_EQ(raw->refs(), 0);
  raw->ref();
  raw->ref();
  raw->unref();
  EXPECT_EQ(Counted::live, 1);
  {
    kr::Reference<Counted> r(raw);
    EXPECT_EQ(raw->refs(), 2);
    raw->unref();
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST_F(ReferenceTest, ConvertsToBaseAndCompares) {
  kr::Reference<Derived> d(new Derived(4));
  kr::Reference<Counted> base = d;
  EXPECT_EQ(d->refs(), 2);
  EXPECT_EQ(base->value, 4);
  EXPECT_TRUE(base == d);
  EXPECT_TRUE(base == static_cast<const Counted*>(d.get()));
  EXPECT_TRUE(kr::Reference<Counted>() == nullptr);
  EXPECT_FALSE(base == nullptr);
  EXPECT_EQ(&*base, base.get());

  kr::Reference<Counted> other(new Counted());
  EXPECT_TRUE((base <=> other) != 0);
  EXPECT_EQ(base < other, base.get() < other.get());
  EXPECT_TRUE((base <=> kr::Reference<Counted>(d)) == 0);
}

#if !defined(NDEBUG)
TEST(ReferenceDeathTest, DebugBuildsCatchMisuse) {
  EXPECT_DEATH(
      {
        Counted c;
        c.unref();
      },
      "unref without a matching ref");
  EXPECT_DEATH(
      {
        auto* c = new Counted();
        c->ref();
        delete c;
      },
      "destroyed while referenced");
}
#endif

}  // namespace
