// The allocation-failure sweep: runs an operation once for every allocation it makes, failing
// that allocation, and checks what the failure left behind.
//
//   failalloc::sweep("Remap::compose", [&](long n) {
//     Remap out(4, 4);                                   // built with nothing failing
//     const Outcome o = failalloc::runFailing(n, [&] { out.compose(a, b); });
//     if (o.threw) EXPECT_EQ(out.getDomainSize(), 4);    // the state the guarantee promises
//     return o;
//   });
//
// For n = 1, 2, 3, ... the attempt builds its objects, runs the operation with request n failing,
// checks them, and destroys them; every heap block the attempt took must be back afterwards. The
// sweep ends at the first n the operation gets through without reaching, and prints how many
// allocation points it tried. A failure that the operation absorbs (no exception) is allowed when
// the attempt's checks pass; any exception other than std::bad_alloc fails the test.
#pragma once

#include "failing_allocation.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <new>
#include <string>

namespace failalloc {

struct Outcome {
  bool fired = false;  // the n-th request was failed
  bool threw = false;  // std::bad_alloc came out of the operation
};

// Runs `op` with request n failing (n = 0: nothing fails).
template <class Op>
Outcome runFailing(long n, Op&& op) {
  Outcome o;
  FailAt fail(n);
  try {
    op();
  } catch (const std::bad_alloc&) {
    o.threw = true;
  }
  fail.disarm();
  o.fired = fail.fired();
  EXPECT_TRUE(o.fired || !o.threw) << "bad_alloc without an injected failure";
  return o;
}

// Failures (and other reports) recorded so far by the running test.
inline int reportCount() {
  return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
}

// Sweeps `attempt` (long n -> Outcome) over every allocation point; returns how many there were.
template <class Attempt>
long sweep(const std::string& name, Attempt&& attempt, bool print = true) {
  SCOPED_TRACE(name);
  attempt(0L);  // first use of lazily made statics, outside the leak accounting
  for (long n = 1;; ++n) {
    SCOPED_TRACE(testing::Message() << "allocation " << n << " fails");
    const long before = liveHeapBlocks();
    const int reports = reportCount();
    const Outcome o = attempt(n);
    // A failed expectation keeps its message on the heap: count blocks only after clean attempts.
    if (reportCount() == reports) {
      EXPECT_EQ(liveHeapBlocks(), before) << "heap blocks leaked";
    }
    if (!o.fired) {
      if (print) std::printf("%-64s %5ld allocation points\n", name.c_str(), n - 1);
      return n - 1;
    }
    if (testing::Test::HasFailure() || n >= 20000) return n;  // one report per fault is enough
  }
}

}  // namespace failalloc
