#include "capture_host/restart_policy.h"

#include <algorithm>

#include "capture_host/exit_status.h"

namespace capture_host {
namespace {

std::chrono::milliseconds WaitBefore(const RestartPolicy& policy, int start) {
  std::chrono::milliseconds wait = policy.first_wait;
  for (int i = 1; i < start && wait < policy.longest_wait; ++i) wait *= 2;
  return std::min(wait, policy.longest_wait);
}

}  // namespace

RestartDecision DecideRestart(const RestartPolicy& policy, const ServiceRunFacts& run) {
  RestartDecision decision;
  if (run.asked_to_end) {
    decision.reason = "The host asked the service to end.";
    return decision;
  }
  const ExitMeaning meaning = ExplainExitStatus(run.exit_status);
  decision.failed_starts = run.ran_for >= policy.well_after ? 1 : run.failed_starts_before + 1;
  if (!meaning.worth_restart) {
    decision.reason = "Another start would end the same way. " + meaning.advice;
    return decision;
  }
  if (decision.failed_starts > policy.most_failed_starts) {
    decision.reason = "Given up after " + std::to_string(policy.most_failed_starts) +
                      " new starts in a row. " + meaning.advice;
    return decision;
  }
  decision.restart = true;
  decision.wait = WaitBefore(policy, decision.failed_starts);
  decision.reason = "New start " + std::to_string(decision.failed_starts) + " of " +
                    std::to_string(policy.most_failed_starts) + " in " +
                    std::to_string(decision.wait.count()) + " ms. " + meaning.what;
  return decision;
}

}  // namespace capture_host
