#include <geom/foundation/array_of_sets.h>

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstring>

namespace krGeom {

namespace {

// Turns per-set counts into exclusive start offsets; returns the total.
std::size_t exclusiveSum(int* offsets, int numSets) {
  std::size_t sum = 0;
  for (int s = 0; s < numSets; ++s) {
    const int count = offsets[s];
    offsets[s] = static_cast<int>(sum);
    sum += static_cast<std::size_t>(count);
  }
  return sum;
}

// After a scatter that advanced each offset past its set, offsets[s] is the start of set s + 1:
// shift them back by one place so that each holds its own set's start again.
void restoreStarts(int* offsets, int numSets) {
  if (numSets == 0) return;
  std::memmove(offsets + 1, offsets, sizeof(int) * static_cast<std::size_t>(numSets - 1));
  offsets[0] = 0;
}

// Hints that *p will soon be written (no effect where the compiler offers no prefetch).
inline void prefetchForWrite(const void* p) {
#if defined(__GNUC__) || defined(__clang__)
  __builtin_prefetch(p, 1);
#else
  (void)p;
#endif
}

// How many pairs ahead the loops prefetch: far enough to hide a cache and TLB miss.
constexpr std::size_t kAhead = 32;

}  // namespace

ArrayOfSets::ArrayOfSets(int numSets, int numMembers) {
  offsets_.resize(numSets);
  sets_.resize(numMembers);
}

void ArrayOfSets::swap(ArrayOfSets& other) {
  offsets_.swapContents(other.offsets_);
  sets_.swapContents(other.sets_);
}

int ArrayOfSets::getSetSize(int i) const {
  const int next = i + 1 < getNumSets() ? getIndex(i + 1) : sets_.size();
  return next - getIndex(i);
}

int* ArrayOfSets::getSet(int i) {
  int* base = sets_.data();
  return base ? base + getIndex(i) : nullptr;
}

const int* ArrayOfSets::getSet(int i) const {
  const int* base = sets_.data();
  return base ? base + getIndex(i) : nullptr;
}

int ArrayOfSets::computeMaxSetSize() const {
  const int numSets = getNumSets();
  if (numSets == 0) return 0;
  const int* offsets = offsets_.data();
  int largest = 0;
  for (int i = 0; i + 1 < numSets; ++i) largest = std::max(largest, offsets[i + 1] - offsets[i]);
  return std::max(largest, sets_.size() - offsets[numSets - 1]);
}

// Both builders are counting sorts: count the members of each set, turn the counts into start
// offsets, then scatter every member to its set's next free slot. The scatter advances the
// offsets themselves as cursors (no temporary array) and a final shift restores the starts.

void ArrayOfSets::assignFromPairs(int numSets, int numPairs, const int* pairs) {
  offsets_.resize(numSets);
  sets_.resize(numPairs);
  int* offsets = offsets_.data();
  int* members = sets_.data();
  if (numSets == 0) return;
  std::fill_n(offsets, numSets, 0);
  const std::size_t n = numPairs > 0 ? static_cast<std::size_t>(numPairs) : 0;

  // With sets in random order each pair touches a cold cache line of the offsets and of the
  // members, so both passes prefetch the lines that pairs further on will need. The scatter
  // prefetches in two stages: the offset 2 * kAhead pairs ahead, then the member slot that this
  // offset (by then cached) points to kAhead pairs ahead. Prefetches are hints only: an offset
  // that moves in between just costs a miss.
  const std::size_t steady = n > 2 * kAhead ? n - 2 * kAhead : 0;
  std::size_t p = 0;
  for (; p < steady; ++p) {
    assert(pairs[2 * p] >= 0 && pairs[2 * p] < numSets);
    prefetchForWrite(offsets + pairs[2 * (p + kAhead)]);
    ++offsets[pairs[2 * p]];
  }
  for (; p < n; ++p) {
    assert(pairs[2 * p] >= 0 && pairs[2 * p] < numSets);
    ++offsets[pairs[2 * p]];
  }
  [[maybe_unused]] const std::size_t total = exclusiveSum(offsets, numSets);
  assert(total == n);

  for (p = 0; p < steady; ++p) {
    prefetchForWrite(offsets + pairs[2 * (p + 2 * kAhead)]);
    prefetchForWrite(members + offsets[pairs[2 * (p + kAhead)]]);
    members[offsets[pairs[2 * p]]++] = pairs[2 * p + 1];
  }
  for (; p < n; ++p) members[offsets[pairs[2 * p]]++] = pairs[2 * p + 1];
  restoreStarts(offsets, numSets);
}

void ArrayOfSets::assignInverse(int numSets, const ArrayOfSets& other) {
  if (&other == this) {
    const ArrayOfSets source(other);
    assignInverse(numSets, source);
    return;
  }
  offsets_.resize(numSets);
  sets_.resize(other.sets_.size());
  int* offsets = offsets_.data();
  int* members = sets_.data();
  if (numSets == 0) return;
  std::fill_n(offsets, numSets, 0);

  const int otherSets = other.getNumSets();
  const int* otherOffsets = other.offsets_.data();
  const int* otherMembers = other.sets_.data();
  const int otherEnd = other.sets_.size();
  auto setEnd = [&](int i) { return i + 1 < otherSets ? otherOffsets[i + 1] : otherEnd; };

  // When the sets tile the member array in order (always so for tables built here), counting is
  // one flat pass over the members, free of the per-set loop exits, and both passes prefetch as
  // assignFromPairs does, looking ahead in the member array. Tables a caller filled otherwise
  // are walked set by set, reading only members that lie in a set.
  bool inOrder = otherSets == 0 || otherOffsets[0] == 0;
  for (int i = 1; inOrder && i < otherSets; ++i) inOrder = otherOffsets[i - 1] <= otherOffsets[i];
  inOrder = inOrder && (otherSets == 0 || otherOffsets[otherSets - 1] <= otherEnd);
  const int ahead = static_cast<int>(kAhead);
  const int steady = inOrder ? otherEnd - 2 * ahead : 0;  // prefetch only below this position
  if (inOrder) {
    const int counted = otherSets == 0 ? 0 : otherEnd;
    for (int k = 0; k < counted; ++k) {
      assert(otherMembers[k] >= 0 && otherMembers[k] < numSets);
      if (k < steady) prefetchForWrite(offsets + otherMembers[k + ahead]);
      ++offsets[otherMembers[k]];
    }
  } else {
    for (int i = 0; i < otherSets; ++i) {
      for (int k = otherOffsets[i], end = setEnd(i); k < end; ++k) {
        assert(otherMembers[k] >= 0 && otherMembers[k] < numSets);
        ++offsets[otherMembers[k]];
      }
    }
  }
  [[maybe_unused]] const std::size_t total = exclusiveSum(offsets, numSets);
  assert(total <= static_cast<std::size_t>(sets_.size()) && "overlapping sets in the source");
  for (int i = 0; i < otherSets; ++i) {
    for (int k = otherOffsets[i], end = setEnd(i); k < end; ++k) {
      if (k < steady) {
        prefetchForWrite(offsets + otherMembers[k + 2 * ahead]);
        prefetchForWrite(members + offsets[otherMembers[k + ahead]]);
      }
      members[offsets[otherMembers[k]]++] = i;
    }
  }
  restoreStarts(offsets, numSets);
}

}  // namespace krGeom
