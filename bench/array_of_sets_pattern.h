// Shared input of the ArrayOfSets benchmarks: 10 million (set, member) pairs over 1 million
// sets, in two patterns, generated once from fixed generator starting values.
#pragma once

#include <cstddef>
#include <vector>

namespace krbench {

inline constexpr int kNumSets = 1'000'000;
inline constexpr int kNumMembers = 1'000'000;  // members (and so inverse sets) lie in 0 ... this-1
inline constexpr int kNumPairs = 10'000'000;

enum class Pattern {
  kRandom,  // set and member uniform at random: every scatter write misses the cache
  kLocal,   // sets in ascending runs with a small jitter, as pairs come from a mesh in order
};

// The pairs of a pattern as 2 * kNumPairs ints, built on first use and kept.
const std::vector<int>& pairs(Pattern pattern);

}  // namespace krbench
