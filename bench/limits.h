// What a benchmark may cost at most, as a ratio to another one of the same run: such a limit holds
// on a slow machine as on a fast one.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace core_bench {

// Prints to the console as usual and keeps the shortest time of each benchmark's repetitions, which
// is the one that other work on the machine disturbed least.
class ShortestTimes : public benchmark::ConsoleReporter {
 public:
  ShortestTimes() : ConsoleReporter(OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& runs) override;

  // Nanoseconds of processor time for one iteration; 0 for a benchmark that did not run.
  [[nodiscard]] double Of(const std::string& benchmark) const;

 private:
  std::map<std::string, double> nanoseconds_;
};

// Prints each limit with what was measured. Returns whether all hold; those whose benchmarks were
// filtered out hold.
bool CheckLimits(const ShortestTimes& times);

}  // namespace core_bench
