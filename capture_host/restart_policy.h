// Whether a service that has ended is worth another start, and when. A pure decision: the host
// keeps the history, waits and starts.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace capture_host {

struct RestartPolicy {
  // Starts in a row that brought no recording to speak of, after which the host gives up.
  int most_failed_starts = 5;
  // The wait before the first new start; each further one is twice as long ...
  std::chrono::milliseconds first_wait{2'000};
  // ... up to this one.
  std::chrono::milliseconds longest_wait{60'000};
  // A service that ran this long was well: the count begins anew with it. Longer than the five
  // restarts of 45 s after which a service without packets gives up by itself.
  std::chrono::milliseconds well_after{600'000};
};

// What the host knows about the service that has ended.
struct ServiceRunFacts {
  std::uint32_t exit_status = 0;
  bool asked_to_end = false;             // the host sent "die" or closed the pipe
  std::chrono::milliseconds ran_for{0};  // from its start to its end
  int failed_starts_before = 0;          // in a row, as of the decision before; 0 at first
};

struct RestartDecision {
  bool restart = false;
  std::chrono::milliseconds wait{0};  // before the start
  int failed_starts = 0;              // for ServiceRunFacts of the next decision
  std::string reason;                 // a sentence for the log
};

// Any thread.
RestartDecision DecideRestart(const RestartPolicy& policy, const ServiceRunFacts& run);

}  // namespace capture_host
