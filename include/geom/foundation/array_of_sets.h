// A compressed array of integer sets: one flat array of all members, set after set, and one
// array with the start of each set (the compressed-row layout of sparse matrices).
//
//   const int pairs[] = {2, 7, 0, 5, 2, 1, 0, 9};   // (set, member) pairs
//   krGeom::ArrayOfSets table;
//   table.assignFromPairs(3, 4, pairs);             // sets {5, 9}, {}, {7, 1}
//   krGeom::ArrayOfSets inverse;
//   inverse.assignInverse(10, table);               // set 1 = {2}, set 5 = {0}, ...
//
// There is no trailing sentinel offset: the number of sets is the length of the offsets array,
// and the last set runs to the end of the members array. Offsets built by assignFromPairs and
// assignInverse are non-decreasing; arrays filled by the caller through getOffsets() and
// getSets() are trusted as they are. Set numbers and indices are not checked (debug builds
// assert where cheap).
//
// Both arrays are krGeom::Array<int>: they may carry a shared ArrayAllocator, whose blocks are
// keyed by the arrays' addresses. That is why the moving constructor and moving assignment copy
// (deliberately): the source keeps its contents and no block changes owner. To hand a table
// over without copying, use swap(). A table is used from one thread at a time.
//
// Both builders are stable counting sorts. For large inputs (2^18 members or more) whose sets
// come in scattered order, a plain scatter would miss the cache on nearly every member, so they
// first partition the members into bands of consecutive sets sized for the cache, then sort
// each band in cache: 2-3x faster, for temporary memory of 2 bytes per member plus 6 bytes
// per member of the largest band (around 1 MB with evenly used sets; inputs with a band above
// max(512K members, a quarter of them) take the plain scatter). Smaller or ordered inputs use
// no temporary memory.
#pragma once

#include <geom/export.h>
#include <geom/foundation/array.h>

namespace krGeom {

class KRGEOM_EXPORT ArrayOfSets {
 public:
  // --- Construction and assignment ---
  // No sets, no members, no allocator.
  ArrayOfSets() = default;
  // numSets offsets and numMembers members, left uninitialised for the caller to fill.
  ArrayOfSets(int numSets, int numMembers);
  // Full copy of both arrays; the copy shares the source's allocator reference.
  ArrayOfSets(const ArrayOfSets& other) = default;
  // Copies too (deliberately): the source keeps its contents.
  ArrayOfSets(ArrayOfSets&& other) : ArrayOfSets(static_cast<const ArrayOfSets&>(other)) {}
  // Copies both arrays; this table keeps its own allocator.
  ArrayOfSets& operator=(const ArrayOfSets& other) = default;
  // The same copy-assignment: the source keeps its contents.
  ArrayOfSets& operator=(ArrayOfSets&& other) {
    return *this = static_cast<const ArrayOfSets&>(other);
  }
  // Releases the members, then the offsets.
  ~ArrayOfSets() = default;
  // Exchanges the contents of both arrays pairwise. Without allocators this exchanges buffers
  // and copies nothing; an array that has an allocator keeps it and the contents are copied.
  void swap(ArrayOfSets& other);

  // --- Sets ---
  // The number of sets (the length of the offsets array).
  int getNumSets() const noexcept { return offsets_.size(); }
  // The size of set i: up to the next offset, or to the end of the members for the last set.
  int getSetSize(int i) const;
  // The first member of set i; null when there are no members at all.
  int* getSet(int i);
  // The first member of set i; null when there are no members at all.
  const int* getSet(int i) const;
  // The largest set size; 0 when there are no sets.
  int computeMaxSetSize() const;

  // --- Raw arrays (for callers that fill or read the table directly) ---
  // The start offset of each set.
  Array<int>& getOffsets() noexcept { return offsets_; }
  const Array<int>& getOffsets() const noexcept { return offsets_; }
  // The members of all sets, set after set.
  Array<int>& getSets() noexcept { return sets_; }
  const Array<int>& getSets() const noexcept { return sets_; }

  // --- Building ---
  // Builds numSets sets from numPairs (set, member) pairs laid out as 2 * numPairs ints: a
  // stable counting sort, so members keep their input order within each set and sets without
  // pairs are empty. Requires 0 <= set < numSets for every pair, and `pairs` must not point
  // into this table's own storage. Basic guarantee: on std::bad_alloc the table is left empty
  // (no sets, no members); the same holds for assignInverse.
  void assignFromPairs(int numSets, int numPairs, const int* pairs);
  // Builds the transpose of `other` with numSets sets: set v lists, in increasing order, every
  // i whose set in `other` contains v (twice if v occurs twice there). Requires every member of
  // `other` to lie in 0 ... numSets-1. `other` may be this table itself.
  void assignInverse(int numSets, const ArrayOfSets& other);

 private:
  // The two builders without their failure handling.
  void fillFromPairs(int numSets, int numPairs, const int* pairs);
  void fillInverse(int numSets, const ArrayOfSets& other);
  // The start of set i.
  int getIndex(int i) const { return offsets_[i]; }

  Array<int> offsets_;
  Array<int> sets_;
};

// Exchanges two tables (found by argument-dependent lookup).
inline void swap(ArrayOfSets& a, ArrayOfSets& b) {
  a.swap(b);
}

}  // namespace krGeom
