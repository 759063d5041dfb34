#include <geom/foundation/array_of_sets.h>

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace krGeom {

namespace {

// Turns per-set counts into exclusive start offsets counted from `start`; returns the end.
std::size_t exclusiveSum(int* offsets, int numSets, std::size_t start = 0) {
  std::size_t sum = start;
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

// --- Sorting by bands (large tables whose sets come in scattered order) ---
//
// Scattering members one by one into a member array far larger than the caches misses the
// cache and the TLB on nearly every write. Instead the sets are grouped in bands of 2^shift
// consecutive sets, whose members fill one contiguous region of the output. A first pass over
// the pairs counts the members of each band; a second appends each member to its band's region
// of the output and its set within the band to a 16-bit temporary at the same position, each
// band being one sequential write stream. Then, band by band and all within the L2 cache, the
// band's sets are counted, the band is split once more into sub-bands small enough for the L1
// cache (a copy into a band-sized buffer), and each member goes from there to its final slot.
// Every pass keeps input order, so the sort stays stable.

// Tables with fewer members are small enough for the caches: the plain scatter serves them.
constexpr std::size_t kBandedMinMembers = std::size_t{1} << 18;
// The members a band should hold (512 KB: its slice of every array fits in L2 together).
constexpr std::size_t kBandMembers = std::size_t{1} << 17;
// The members a sub-band should hold (16 KB: the slice of the output it writes stays in L1).
constexpr std::size_t kSubBandMembers = std::size_t{1} << 12;
// A band spans at most 2^16 sets, so that a set within its band fits in 16 bits.
constexpr int kMaxBandShift = 16;
// More bands than this would be too many write streams: sets far outnumber members.
constexpr int kMaxBands = 1024;
// How many write positions ahead the partition prefetches each band's streams (two lines).
constexpr std::size_t kStreamAhead = 32;

// The smallest shift (up to kMaxBandShift) that groups numSets sets into at most
// max(1, total / target) groups, so that a group holds about `target` members on average.
int groupShift(int numSets, std::size_t total, std::size_t target) {
  const std::size_t groups = std::max<std::size_t>(1, total / target);
  int shift = 0;
  while (shift < kMaxBandShift && (static_cast<std::size_t>(numSets) >> shift) > groups) ++shift;
  return shift;
}

// Whether the sets of n pairs over numSets sets jump around, judged on a sample of consecutive
// pairs spread over the input. When most steps stay within a sub-band's width the plain
// scatter writes few distinct cache lines at a time and beats the banded passes. setAt(p) is
// the set of pair p.
template <class SetAt>
bool looksScattered(std::size_t n, int numSets, SetAt setAt) {
  constexpr std::size_t kRuns = 64, kSteps = 32;
  if (n <= kRuns * kSteps) return false;
  const long long near = 1LL << groupShift(numSets, n, kSubBandMembers);
  std::size_t far = 0;
  for (std::size_t r = 0; r < kRuns; ++r) {
    const std::size_t first = (n - kSteps - 1) / (kRuns - 1) * r;
    for (std::size_t p = first; p < first + kSteps; ++p) {
      const long long step = static_cast<long long>(setAt(p + 1)) - setAt(p);
      far += step > near || step < -near;
    }
  }
  return far * 8 > kRuns * kSteps;
}

// The counting sort by bands into `members`, which holds `capacity` ints, at least one per pair.
// forEachSet(f) calls f(set) for every pair, in any order; forEachPair(f) calls f(set, member)
// for every pair in input order. Fills `offsets` with the start of each set and `members` from
// the front, and returns true; returns false, having changed nothing, when bands do not suit
// the input: too many, or one holding more than max(4 bands' worth, a quarter) of the members
// (it would not fit the cache, and its buffer would cost too much memory).
template <class ForEachSet, class ForEachPair>
bool sortByBands(int* offsets, int numSets, int* members, std::size_t capacity,
                 ForEachSet forEachSet, ForEachPair forEachPair) {
  const int shift = groupShift(numSets, capacity, kBandMembers);
  const int numBands = ((numSets - 1) >> shift) + 1;
  if (numBands > kMaxBands) return false;
  const std::size_t bands = static_cast<std::size_t>(numBands);

  // Members per band, in four interleaved tallies: runs of pairs in one band then do not wait
  // on the previous increment of the same counter.
  std::vector<std::size_t> tally(4 * bands, 0);
  std::size_t lane = 0;
  forEachSet([&](int set) {
    assert(set >= 0 && set < numSets);
    ++tally[(lane++ & 3) * bands + (static_cast<unsigned>(set) >> shift)];
  });
  std::vector<std::size_t> bandStart(bands + 1);
  std::size_t total = 0, largest = 0;
  for (std::size_t b = 0; b < bands; ++b) {
    const std::size_t count =
        tally[b] + tally[bands + b] + tally[2 * bands + b] + tally[3 * bands + b];
    bandStart[b] = total;
    total += count;
    largest = std::max(largest, count);
  }
  bandStart[bands] = total;
  assert(total <= capacity && "overlapping sets in the source");
  if (largest > std::max(4 * kBandMembers, total / 4)) return false;

  // All temporaries are allocated before anything is written.
  const std::unique_ptr<std::uint16_t[]> low(new std::uint16_t[total]);
  const std::unique_ptr<int[]> buffer(new int[largest]);
  const std::unique_ptr<std::uint16_t[]> bufferLow(new std::uint16_t[largest]);
  const int subShift = std::min(shift, groupShift(numSets, total, kSubBandMembers));
  std::vector<std::size_t> subCursor(std::size_t{1} << (shift - subShift));

  // Partition: each member to its band's region, its set within the band alongside. The write
  // streams are too many for the hardware prefetcher, so each is prefetched two lines ahead.
  std::vector<std::size_t> cursor(bandStart.begin(), bandStart.end() - 1);
  const unsigned lowMask = (1u << shift) - 1;
  forEachPair([&](int set, int member) {
    const std::size_t pos = cursor[static_cast<unsigned>(set) >> shift]++;
    if (pos + 2 * kStreamAhead < total) {
      prefetchForWrite(members + pos + kStreamAhead);
      prefetchForWrite(low.get() + pos + 2 * kStreamAhead);
    }
    members[pos] = member;
    low[pos] = static_cast<std::uint16_t>(static_cast<unsigned>(set) & lowMask);
  });

  // Band by band: count its sets into their offsets, split it by sub-band into the buffer, and
  // scatter from there, each sub-band into its own small slice of the region.
  for (std::size_t b = 0; b < bands; ++b) {
    const std::size_t begin = bandStart[b], size = bandStart[b + 1] - begin;
    const int first = static_cast<int>(b) << shift;
    const int numBandSets = std::min(numSets - first, 1 << shift);
    int* bandOffsets = offsets + first;
    const std::uint16_t* bandLow = low.get() + begin;
    const int* bandMembers = members + begin;

    std::fill_n(bandOffsets, numBandSets, 0);
    for (std::size_t k = 0; k < size; ++k) ++bandOffsets[bandLow[k]];
    exclusiveSum(bandOffsets, numBandSets, begin);
    for (int q = 0; q << subShift < numBandSets; ++q) {
      subCursor[q] = static_cast<std::size_t>(bandOffsets[q << subShift]) - begin;
    }
    for (std::size_t k = 0; k < size; ++k) {
      const std::uint16_t setLow = bandLow[k];
      const std::size_t pos = subCursor[setLow >> subShift]++;
      buffer[pos] = bandMembers[k];
      bufferLow[pos] = setLow;
    }
    for (std::size_t k = 0; k < size; ++k) members[bandOffsets[bufferLow[k]]++] = buffer[k];
  }
  restoreStarts(offsets, numSets);
  return true;
}

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
// Large inputs whose sets come in scattered order are sorted by bands instead (see above).

void ArrayOfSets::assignFromPairs(int numSets, int numPairs, const int* pairs) {
  // A failure part-way would leave offsets and members that do not fit each other: the
  // table is emptied instead (basic guarantee).
  try {
    fillFromPairs(numSets, numPairs, pairs);
  } catch (...) {
    offsets_.resize(0);
    sets_.resize(0);
    throw;
  }
}

void ArrayOfSets::fillFromPairs(int numSets, int numPairs, const int* pairs) {
  offsets_.resize(numSets);
  sets_.resize(numPairs);
  int* offsets = offsets_.data();
  int* members = sets_.data();
  if (numSets == 0) return;
  const std::size_t n = numPairs > 0 ? static_cast<std::size_t>(numPairs) : 0;
  if (n >= kBandedMinMembers &&
      looksScattered(n, numSets, [&](std::size_t p) { return pairs[2 * p]; }) &&
      sortByBands(
          offsets, numSets, members, n,
          [&](auto&& visit) {
            for (std::size_t p = 0; p < n; ++p) visit(pairs[2 * p]);
          },
          [&](auto&& visit) {
            for (std::size_t p = 0; p < n; ++p) visit(pairs[2 * p], pairs[2 * p + 1]);
          })) {
    return;
  }
  std::fill_n(offsets, numSets, 0);

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
  // A failure part-way would leave offsets and members that do not fit each other: the
  // table is emptied instead (basic guarantee).
  try {
    fillInverse(numSets, other);
  } catch (...) {
    offsets_.resize(0);
    sets_.resize(0);
    throw;
  }
}

void ArrayOfSets::fillInverse(int numSets, const ArrayOfSets& other) {
  if (&other == this) {
    const ArrayOfSets source(other);
    fillInverse(numSets, source);
    return;
  }
  offsets_.resize(numSets);
  sets_.resize(other.sets_.size());
  int* offsets = offsets_.data();
  int* members = sets_.data();
  if (numSets == 0) return;

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
  // Large tables go by bands unless their members look ordered. The sample that judges this reads
  // the member array flat, so it is taken only when every member lies in a set.
  const std::size_t size = static_cast<std::size_t>(otherEnd);
  const auto setAt = [&](std::size_t k) { return otherMembers[k]; };
  if (size >= kBandedMinMembers && otherSets > 0 &&
      (!inOrder || looksScattered(size, numSets, setAt)) &&
      sortByBands(
          offsets, numSets, members, size,
          [&](auto&& visit) {
            if (inOrder) {
              for (int k = 0; k < otherEnd; ++k) visit(otherMembers[k]);
              return;
            }
            for (int i = 0; i < otherSets; ++i) {
              for (int k = otherOffsets[i], end = setEnd(i); k < end; ++k) visit(otherMembers[k]);
            }
          },
          [&](auto&& visit) {
            for (int i = 0; i < otherSets; ++i) {
              for (int k = otherOffsets[i], end = setEnd(i); k < end; ++k) {
                visit(otherMembers[k], i);
              }
            }
          })) {
    return;
  }
  std::fill_n(offsets, numSets, 0);
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
