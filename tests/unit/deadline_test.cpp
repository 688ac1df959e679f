// Runs natively and on Windows, whose toolchain rounds waits in its own way.
#include "platform/deadline.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace core_test {
namespace {

using namespace std::chrono_literals;
using platform::SteadyTime;
using Clock = std::chrono::steady_clock;

constexpr SteadyTime kEnd = SteadyTime::max();

struct Flag {
  std::mutex mutex;
  std::condition_variable changed;
  bool set = false;

  bool WaitUntil(SteadyTime deadline) {
    std::unique_lock lock(mutex);
    return platform::WaitUntil(changed, lock, deadline, [this] { return set; });
  }

  void Set() {
    {
      const std::lock_guard lock(mutex);
      set = true;
    }
    changed.notify_one();
  }
};

TEST(Deadline, SaturatesAtTheEndOfTime) {
  const SteadyTime start(5ns);
  EXPECT_EQ(platform::DeadlineAfter(start, 45s), start + 45s);
  EXPECT_EQ(platform::DeadlineAfter(start, 0ns), start);
  EXPECT_EQ(platform::DeadlineAfter(kEnd - 45s, 45s), kEnd);
  EXPECT_EQ(platform::DeadlineAfter(kEnd - 45s - 1ns, 45s), kEnd - 1ns);
  EXPECT_EQ(platform::DeadlineAfter(kEnd - 45s + 1ns, 45s), kEnd);
  EXPECT_EQ(platform::DeadlineAfter(kEnd, 45s), kEnd);
  EXPECT_EQ(platform::DeadlineAfter(start, std::chrono::nanoseconds::max()), kEnd);
}

TEST(Deadline, ASleepNeverEndsEarly) {
  for (int sleep = 0; sleep < 60; ++sleep) {
    const SteadyTime deadline = Clock::now() + 1ms + sleep * 37us;
    platform::SleepUntil(deadline);
    ASSERT_GE(Clock::now(), deadline) << "sleep " << sleep;
  }
}

TEST(Deadline, ASleepUntilThePastReturnsAtOnce) {
  platform::SleepUntil(SteadyTime::min());
  platform::SleepUntil(Clock::now() - 1s);
}

TEST(Deadline, AWaitNeverEndsEarly) {
  Flag flag;
  for (int wait = 0; wait < 60; ++wait) {
    const SteadyTime deadline = Clock::now() + 1ms + wait * 37us;
    ASSERT_FALSE(flag.WaitUntil(deadline));
    ASSERT_GE(Clock::now(), deadline) << "wait " << wait;
  }
}

TEST(Deadline, AWaitToTheEndOfTimeIsAWait) {
  for (const SteadyTime deadline : {kEnd, kEnd - 1ns, Clock::now() + 24h * 365 * 200}) {
    Flag flag;
    std::thread setter([&] {
      std::this_thread::sleep_for(20ms);
      flag.Set();
    });
    EXPECT_TRUE(flag.WaitUntil(deadline));
    setter.join();
  }
}

TEST(Deadline, AConditionThatHoldsAtTheDeadlineCounts) {
  Flag flag;
  flag.Set();
  EXPECT_TRUE(flag.WaitUntil(SteadyTime::min()));
  EXPECT_TRUE(flag.WaitUntil(Clock::now() - 1s));
}

}  // namespace
}  // namespace core_test
