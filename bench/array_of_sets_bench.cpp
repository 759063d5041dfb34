// Building an ArrayOfSets from pairs and inverting it, against two references measured in the
// same run: std::memcpy of the pair array (the bytes-moved floor) and std::stable_sort of the
// pairs followed by a scan (the straightforward alternative). A summary at the end prints the
// ratios; the peers build adds Eigen's SparseMatrix::setFromTriplets (array_of_sets_peers.cpp).
#include "array_of_sets_pattern.h"

#include <geom/foundation/array_of_sets.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <utility>

namespace krbench {

const std::vector<int>& pairs(Pattern pattern) {
  static std::map<Pattern, std::vector<int>> cache;
  auto [it, fresh] = cache.try_emplace(pattern);
  std::vector<int>& out = it->second;
  if (!fresh) return out;
  const unsigned rngSeed = pattern == Pattern::kRandom ? 1234u : 5678u;
  std::printf("pattern %s: rngSeed %u\n", pattern == Pattern::kRandom ? "random" : "local",
              rngSeed);
  std::mt19937 rng(rngSeed);
  std::uniform_int_distribution<int> anySet(0, kNumSets - 1);
  std::uniform_int_distribution<int> anyMember(0, kNumMembers - 1);
  std::uniform_int_distribution<int> jitter(-64, 64);
  out.resize(2 * static_cast<std::size_t>(kNumPairs));
  for (int p = 0; p < kNumPairs; ++p) {
    int set;
    int member;
    if (pattern == Pattern::kRandom) {
      set = anySet(rng);
      member = anyMember(rng);
    } else {
      const long long base = static_cast<long long>(p) * kNumSets / kNumPairs;
      set = static_cast<int>(std::clamp<long long>(base + jitter(rng), 0, kNumSets - 1));
      const long long m = static_cast<long long>(p) * kNumMembers / kNumPairs;
      member = static_cast<int>(std::clamp<long long>(m + jitter(rng), 0, kNumMembers - 1));
    }
    out[2 * static_cast<std::size_t>(p)] = set;
    out[2 * static_cast<std::size_t>(p) + 1] = member;
  }
  return out;
}

namespace {

void setCounters(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * kNumPairs);
}

// The floor: copying the pair array once (8 bytes a pair).
void Memcpy(benchmark::State& state, Pattern pattern) {
  const std::vector<int>& in = pairs(pattern);
  std::vector<int> out(in.size());
  for (auto _ : state) {
    std::memcpy(out.data(), in.data(), sizeof(int) * in.size());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<long long>(sizeof(int) * in.size()));
  setCounters(state);
}

void AssignFromPairs(benchmark::State& state, Pattern pattern) {
  const std::vector<int>& in = pairs(pattern);
  krGeom::ArrayOfSets table;
  for (auto _ : state) {
    table.assignFromPairs(kNumSets, kNumPairs, in.data());
    benchmark::DoNotOptimize(table.getSets().data());
    benchmark::ClobberMemory();
  }
  setCounters(state);
}

void AssignInverse(benchmark::State& state, Pattern pattern) {
  krGeom::ArrayOfSets table;
  table.assignFromPairs(kNumSets, kNumPairs, pairs(pattern).data());
  krGeom::ArrayOfSets inverse;
  for (auto _ : state) {
    inverse.assignInverse(kNumMembers, table);
    benchmark::DoNotOptimize(inverse.getSets().data());
    benchmark::ClobberMemory();
  }
  setCounters(state);
}

// What a user would write: stable-sort the pairs by set, then scan them into the table. The copy
// of the input the sort needs is made outside the timing.
void StableSortAndScan(benchmark::State& state, Pattern pattern) {
  const std::vector<int>& in = pairs(pattern);
  std::vector<std::pair<int, int>> sorted(static_cast<std::size_t>(kNumPairs));
  krGeom::ArrayOfSets table;
  for (auto _ : state) {
    state.PauseTiming();
    for (std::size_t p = 0; p < sorted.size(); ++p) sorted[p] = {in[2 * p], in[2 * p + 1]};
    state.ResumeTiming();
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    table.getOffsets().resize(kNumSets);
    table.getSets().resize(kNumPairs);
    int* offsets = table.getOffsets().data();
    int* members = table.getSets().data();
    std::size_t p = 0;
    for (int s = 0; s < kNumSets; ++s) {
      offsets[s] = static_cast<int>(p);
      for (; p < sorted.size() && sorted[p].first == s; ++p) members[p] = sorted[p].second;
    }
    benchmark::DoNotOptimize(members);
    benchmark::ClobberMemory();
  }
  setCounters(state);
}

constexpr const char* kPatternNames[] = {"random", "local"};

void registerAll() {
  using Fn = void (*)(benchmark::State&, Pattern);
  const std::pair<const char*, Fn> cases[] = {{"Memcpy", Memcpy},
                                              {"AssignFromPairs", AssignFromPairs},
                                              {"AssignInverse", AssignInverse},
                                              {"StableSortAndScan", StableSortAndScan}};
  for (Pattern pattern : {Pattern::kRandom, Pattern::kLocal}) {
    for (auto [name, fn] : cases) {
      const std::string full = std::string(name) + "/" + kPatternNames[static_cast<int>(pattern)];
      benchmark::RegisterBenchmark(full.c_str(), fn, pattern)->Unit(benchmark::kMillisecond);
    }
  }
}

// Console output plus a summary of the ratios against the references, per pattern.
class SummaryReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      // CPU time: other processes on a shared machine inflate wall-clock time, not this. With
      // repetitions the median stands for the benchmark.
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if (run.run_type != Run::RT_Iteration && !median) continue;
      if (run.run_type == Run::RT_Iteration && run.repetitions > 1) continue;
      seconds_[run.run_name.str()] =
          run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    for (const char* pattern : kPatternNames) {
      const double build = find("AssignFromPairs", pattern);
      const double inverse = find("AssignInverse", pattern);
      const double copy = find("Memcpy", pattern);
      const double sort = find("StableSortAndScan", pattern);
      const double eigen = find("EigenSetFromTriplets", pattern);
      if (build <= 0) continue;
      std::printf("summary %-6s build %.1f ms:", pattern, build * 1e3);
      // The floor moves 24 bytes a pair at the rate memcpy moves the 8-byte pairs.
      if (copy > 0) std::printf("  build/floor %.2f (goal <= 3)", build / (3 * copy));
      if (sort > 0) std::printf("  sort/build %.2f (goal >= 5)", sort / build);
      if (eigen > 0) std::printf("  eigen/build %.2f (goal >= 2)", eigen / build);
      if (inverse > 0) std::printf("  inverse/build %.2f (goal <= 1.2)", inverse / build);
      std::printf("\n");
    }
  }

 private:
  double find(const std::string& name, const char* pattern) const {
    auto it = seconds_.find(name + "/" + pattern);
    return it == seconds_.end() ? 0.0 : it->second;
  }
  std::map<std::string, double> seconds_;
};

}  // namespace
}  // namespace krbench

int main(int argc, char** argv) {
  krbench::registerAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  krbench::SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
