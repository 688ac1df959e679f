// Runs natively and on Windows, whose toolchain has waits of its own.
#include "platform/blocking_queue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <thread>

namespace core_test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(BlockingQueue, ItemsComeOutInTheOrderOfTheirPushes) {
  platform::BlockingQueue<int> queue;
  for (int i = 1; i <= 4; ++i) queue.Push(i);
  EXPECT_EQ(queue.Pop(), 1);
  EXPECT_EQ(queue.PopUntil(Clock::now() + 1h), 2);
  EXPECT_EQ(queue.PopUntil(Clock::time_point::max()), 3);
  EXPECT_EQ(queue.Pop(), 4);
}

TEST(BlockingQueue, ItemThatIsThereIsTakenAlsoAfterTheDeadline) {
  platform::BlockingQueue<int> queue;
  queue.Push(1);
  EXPECT_EQ(queue.PopUntil(Clock::time_point::min()), 1);
  EXPECT_EQ(queue.PopUntil(Clock::time_point::min()), std::nullopt);
}

TEST(BlockingQueue, EmptyQueueGivesNothingOnceTheDeadlineIsReachedAndNotBefore) {
  platform::BlockingQueue<int> queue;
  for (int wait = 0; wait < 20; ++wait) {
    const Clock::time_point deadline = Clock::now() + 1ms + wait * 37us;
    ASSERT_EQ(queue.PopUntil(deadline), std::nullopt);
    ASSERT_GE(Clock::now(), deadline) << "wait " << wait;
  }
}

TEST(BlockingQueue, PushWakesWhoWaits) {
  platform::BlockingQueue<std::unique_ptr<int>> queue;
  std::thread without_limit([&] { EXPECT_EQ(*queue.Pop(), 7); });
  queue.Push(std::make_unique<int>(7));
  without_limit.join();
  std::thread with_limit([&] { EXPECT_EQ(**queue.PopUntil(Clock::now() + 1h), 8); });
  queue.Push(std::make_unique<int>(8));
  with_limit.join();
}

}  // namespace
}  // namespace core_test
