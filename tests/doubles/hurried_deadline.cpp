// platform/deadline.h for a service whose sessions begin and stall sooner: every wait ends after a
// twentieth of its time. The stop of a hung thread does not ask for a deadline and keeps its own.
#include <thread>

#include "platform/deadline.h"

namespace platform {
namespace {

constexpr int kHurry = 20;

}  // namespace

SteadyTime DeadlineAfter(SteadyTime now, std::chrono::nanoseconds wait) {
  return now > SteadyTime::max() - wait ? SteadyTime::max() : now + wait / kHurry;
}

void SleepUntil(SteadyTime deadline) {
  while (std::chrono::steady_clock::now() < deadline) std::this_thread::sleep_until(deadline);
}

}  // namespace platform
