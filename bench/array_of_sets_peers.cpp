// Eigen's SparseMatrix::setFromTriplets on the same pairs as ArrayOfSets::assignFromPairs, for
// comparison only: it builds a row-major matrix with one row per set and one column per member.
// It differs in one respect: repeated (set, member) pairs are summed into one entry, where
// ArrayOfSets keeps every repetition. The triplets are built outside the timing.
#include "array_of_sets_pattern.h"

#include <benchmark/benchmark.h>
#include <Eigen/SparseCore>

#include <vector>

namespace krbench {
namespace {

void EigenSetFromTriplets(benchmark::State& state, Pattern pattern) {
  const std::vector<int>& in = pairs(pattern);
  std::vector<Eigen::Triplet<int, int>> triplets;
  triplets.reserve(static_cast<std::size_t>(kNumPairs));
  for (std::size_t p = 0; p < static_cast<std::size_t>(kNumPairs); ++p) {
    triplets.emplace_back(in[2 * p], in[2 * p + 1], 1);
  }
  Eigen::SparseMatrix<int, Eigen::RowMajor, int> matrix(kNumSets, kNumMembers);
  for (auto _ : state) {
    matrix.setFromTriplets(triplets.begin(), triplets.end());
    benchmark::DoNotOptimize(matrix.valuePtr());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kNumPairs);
}

BENCHMARK_CAPTURE(EigenSetFromTriplets, random, Pattern::kRandom)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(EigenSetFromTriplets, local, Pattern::kLocal)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace krbench
