#include "platform/deadline.h"

#include <thread>

namespace platform {

SteadyTime DeadlineAfter(SteadyTime now, std::chrono::nanoseconds wait) {
  return now > SteadyTime::max() - wait ? SteadyTime::max() : now + wait;
}

void SleepUntil(SteadyTime deadline) {
  for (SteadyTime now = std::chrono::steady_clock::now(); now < deadline;
       now = std::chrono::steady_clock::now()) {
    std::this_thread::sleep_until(std::min(deadline, DeadlineAfter(now, kLongestWait)));
  }
}

}  // namespace platform
