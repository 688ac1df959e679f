// Waits that last until a point in time is really reached.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace platform {

using SteadyTime = std::chrono::steady_clock::time_point;

// `now` plus `wait` (not negative), or the last point in time that there is when the sum would lie
// beyond it. Any thread.
SteadyTime DeadlineAfter(SteadyTime now, std::chrono::nanoseconds wait);

// Returns once the steady clock has reached `deadline`, and not before: the toolchain's own
// sleep_until may return up to a millisecond early. Any thread; nothing ends the sleep.
void SleepUntil(SteadyTime deadline);

// The longest wait that is handed to a condition variable at once. A deadline far away, the last
// point in time above all, overflows where the toolchain turns it into its own clock's time, and is
// then no wait at all.
inline constexpr std::chrono::hours kLongestWait{24};

// Waits on `changed`, whose mutex `lock` holds, until `condition` holds or `deadline` is reached.
// Returns whether it holds, also when both came together. The condition variable is the standard
// library's or that of platform/condition.h, with its own mutex.
template <typename ConditionVariable, typename Mutex, typename Condition>
bool WaitUntil(ConditionVariable& changed, std::unique_lock<Mutex>& lock, SteadyTime deadline,
               Condition condition) {
  while (!condition()) {
    const SteadyTime now = std::chrono::steady_clock::now();
    if (now >= deadline) return false;
    changed.wait_until(lock, std::min(deadline, DeadlineAfter(now, kLongestWait)));
  }
  return true;
}

}  // namespace platform
