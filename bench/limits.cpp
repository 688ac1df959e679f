#include "bench/limits.h"

#include <algorithm>
#include <cstdio>

namespace core_bench {
namespace {

// What the packet callback adds to the recorder's own work is one lock, two stores and a wake-up
// that finds nobody waiting.
constexpr double kMaxCallbackLocks = 8;
// All in all it may not matter beside the recorder's work on a frame of usual size.
constexpr double kMaxCallbackToPush = 1.5;

bool Check(const char* what, double measured, double limit) {
  const bool holds = measured <= limit;
  std::printf("%-60s %6.2f, limit %.2f: %s\n", what, measured, limit, holds ? "holds" : "BROKEN");
  return holds;
}

}  // namespace

void ShortestTimes::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
    const double time =
        run.GetAdjustedCPUTime() * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
    const auto [entry, added] = nanoseconds_.emplace(run.run_name.function_name, time);
    if (!added) entry->second = std::min(entry->second, time);
  }
  ConsoleReporter::ReportRuns(runs);
}

double ShortestTimes::Of(const std::string& benchmark) const {
  const auto found = nanoseconds_.find(benchmark);
  return found != nanoseconds_.end() ? found->second : 0;
}

bool CheckLimits(const ShortestTimes& times) {
  const double callback = times.Of("PacketCallback");
  const double push = times.Of("RecorderPush");
  const double lock = times.Of("MutexLockUnlock");
  if (callback == 0 || push == 0 || lock == 0) return true;
  const bool few_locks = Check("packet callback without the push, in bare lock/unlock pairs",
                               times.Of("PacketCallbackEmptyPush") / lock, kMaxCallbackLocks);
  const bool small =
      Check("packet callback, in pushes of a 32 KiB frame", callback / push, kMaxCallbackToPush);
  return few_locks && small;
}

}  // namespace core_bench
