#include <kr/reference.h>

#include <gtest/gtest.h>

#include <utility>

namespace {

// Counts live instances so that each test can check for leaks and double deletes.
struct Counted : kr::ReferenceCount {
  static inline int live = 0;
  explicit Counted(int v = 0) : value(v) { ++live; }
  Counted(const Counted& o) : kr::ReferenceCount(o), value(o.value) { ++live; }
  Counted& operator=(const Counted&) = default;
  ~Counted() override { --live; }
  int value;
};
using Ref = kr::Reference<Counted>;

TEST(Reference, CountsFollowCopiesMovesAndAssignments) {
  {
    Ref a(new Counted(1));
    Ref b(new Counted(2));
    {
      Ref c = a;
      Ref d = std::move(c);
      EXPECT_EQ(a->refs(), 2);
    }
    EXPECT_EQ(a->refs(), 1);
    a = b;  // the first object dies here
    EXPECT_EQ(Counted::live, 1);
    Ref& same = a;
    a = same;
    a = std::move(same);
    EXPECT_EQ(b->refs(), 2);
    a = new Counted(3);  // from a raw pointer: takes a reference
    EXPECT_EQ(a->refs(), 1);
    EXPECT_EQ(b->refs(), 1);

    // Copying an object gives the copy a fresh count; assigning one keeps both counts.
    Ref held = a;
    Ref copy(new Counted(*a));
    EXPECT_EQ(copy->refs(), 1);
    a->value = 8;
    *copy = *a;
    EXPECT_EQ(copy->value, 8);
    EXPECT_EQ(copy->refs(), 1);
    EXPECT_EQ(a->refs(), 2);
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(Reference, ReleaseHandsTheObjectOverWithoutDeletingIt) {
  Ref a(new Counted(1));
  Counted* raw = a.release();
  EXPECT_FALSE(a);
  EXPECT_EQ(raw->refs(), 0);
  EXPECT_EQ(Counted::live, 1);
  Ref b(raw);  // the next owner takes it from zero
  EXPECT_EQ(raw->refs(), 1);
  {
    Ref shared(b);
    EXPECT_EQ(shared.release(), raw);  // gives up one of two references
  }
  EXPECT_EQ(b->refs(), 1);
  delete b.release();  // or the caller deletes it
  EXPECT_EQ(Counted::live, 0);
}

}  // namespace
