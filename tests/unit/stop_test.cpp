#include "service/stop.h"

#include <thread>
#include <vector>

#include "protocol/command_queue.h"
#include "protocol/message_queue.h"
#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;

using StopTest = CoreTest;

TEST_F(StopTest, SetsTheFlagThenAbandonsThePipeThenWakesBothQueues) {
  RequestStop();
  EXPECT_TRUE(StopFlag);
  EXPECT_EQ(TakeRecorded(), (Lines{"SignalStopEvent", "to self: {}"}));
  EXPECT_EQ(TakeCommandTypes(), (std::vector<int>{0}));
}

TEST_F(StopTest, MayBeAskedForOftenAndByManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) threads.emplace_back(RequestStop);
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(StopFlag);
  EXPECT_EQ(TakeCommandTypes(), (std::vector<int>{0, 0, 0}));
  const Lines lines = TakeRecorded();
  EXPECT_EQ(std::ranges::count(lines, "SignalStopEvent"), 3);
  EXPECT_EQ(std::ranges::count(lines, "to self: {}"), 3);
}

TEST_F(StopTest, WakesAConsumerOfEitherQueue) {
  CollectMessages(false);
  std::thread messages([] { EXPECT_STREQ(PopMessage()->text.data(), "{}"); });
  std::thread commands([] { EXPECT_EQ(PopCommand()->type, CommandType::kWake); });
  RequestStop();
  messages.join();
  commands.join();
}

}  // namespace
}  // namespace core_test
