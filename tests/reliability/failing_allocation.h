// Allocation-failure injection for the test executable that links failing_allocation.cpp, which
// replaces the global allocation functions. Every heap allocation (operator new in all its forms)
// and every request for system memory that goes through the platform's test hook (pool blocks,
// moveable chunks) is counted; while a FailAt is armed, the n-th counted request fails with
// std::bad_alloc. Live heap blocks are counted too, for leak checks.
//
//   for (long n = 1;; ++n) {
//     failalloc::FailAt fail(n);
//     try { operation(); } catch (const std::bad_alloc&) { ...check...; continue; }
//     if (!fail.fired()) break;   // the operation needs fewer than n allocations
//   }
//
// One thread only: the counters are plain integers.
#pragma once

namespace failalloc {

// Heap blocks handed out and not yet freed, by this executable's operator new.
long liveHeapBlocks() noexcept;

// Arms failure injection for its lifetime: request number n (from 1, counted from construction)
// fails; later requests succeed again. Not nestable.
class FailAt {
 public:
  explicit FailAt(long n) noexcept;
  ~FailAt();
  FailAt(const FailAt&) = delete;
  FailAt& operator=(const FailAt&) = delete;

  // Stops counting and failing (also done by the destructor).
  void disarm() noexcept;
  // True once the n-th request has been failed.
  bool fired() const noexcept;
  // Requests counted so far.
  long count() const noexcept;
};

// Suspends counting and failing for its lifetime, for test code inside an armed region.
class Paused {
 public:
  Paused() noexcept;
  ~Paused();
  Paused(const Paused&) = delete;
  Paused& operator=(const Paused&) = delete;

 private:
  bool wasArmed_;
};

}  // namespace failalloc
