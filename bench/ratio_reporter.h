// Console output plus the real time per iteration of every benchmark, so that a program can print
// ratios between benchmarks after the run: the median when repetitions are run, else the single
// run.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace krbench {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if (run.run_type == Run::RT_Iteration || median) {
        times[run.run_name.function_name] = run.GetAdjustedRealTime();
      }
    }
  }
  // The time of a benchmark by function name, 0 when it did not run.
  double time(const std::string& name) const {
    const auto it = times.find(name);
    return it == times.end() ? 0.0 : it->second;
  }
  std::map<std::string, double> times;
};

}  // namespace krbench
