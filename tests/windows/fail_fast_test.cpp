#include "platform/fail_fast.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <thread>

namespace {

const testing::ExitedWithCode kFailFast(static_cast<int>(0xC0000409));

TEST(FailFastDeathTest, EndsTheProcessWithTheStatusOfTheRuntimesOwn) {
  EXPECT_EXIT(platform::FailFast(), kFailFast, "");
}

// An exception that nothing catches; GoogleTest catches those that leave a test's own thread.
void Throw() { throw std::runtime_error("not caught"); }
void ThrowThroughNoexcept() noexcept { Throw(); }  // NOLINT(bugprone-exception-escape)

TEST(FailFastDeathTest, EndsAProcessWhoseExceptionNobodyCatches) {
  EXPECT_EXIT(
      {
        platform::FailFastOnUncaughtExceptions();
        ThrowThroughNoexcept();
      },
      kFailFast, "");
}

TEST(FailFastDeathTest, EndsAProcessWhoseOtherThreadsExceptionNobodyCatches) {
  EXPECT_EXIT(
      {
        platform::FailFastOnUncaughtExceptions();
        std::thread(Throw).join();
      },
      kFailFast, "");
}

TEST(FailFastDeathTest, EndsAProcessThatLosesAThread) {
  EXPECT_EXIT(
      {
        platform::FailFastOnUncaughtExceptions();
        std::promise<void> never;
        const std::thread lost([&] { never.get_future().wait(); });
      },
      kFailFast, "");
}

}  // namespace
