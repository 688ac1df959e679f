#include "protocol/message_queue.h"

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;

class MessageQueueTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    CollectMessages(false);
  }
};
using MessageQueueDeathTest = MessageQueueTest;

TEST_F(MessageQueueTest, MessagesComeOutInTheOrderOfTheirPushes) {
  PushMessage(MakePipeMessage(Direction::kInbound, "first"));
  PushMessage(MakePipeMessage(Direction::kOutbound, "second"));
  const auto first = PopMessage();
  const auto second = PopMessage();
  EXPECT_EQ(first->direction, Direction::kInbound);
  EXPECT_STREQ(first->text.data(), "first");
  EXPECT_EQ(second->direction, Direction::kOutbound);
  EXPECT_STREQ(second->text.data(), "second");
}

TEST_F(MessageQueueTest, TextIsCutAtItsFirstZeroByte) {
  const std::string text("ab\0cd", 5);
  const auto message = MakePipeMessage(Direction::kInbound, text);
  EXPECT_STREQ(message->text.data(), "ab");
}

TEST_F(MessageQueueTest, EmptyTextIsAMessage) {
  EXPECT_STREQ(MakePipeMessage(Direction::kOutbound, "")->text.data(), "");
}

TEST_F(MessageQueueTest, LongestTextFitsUnchanged) {
  const std::string text(4096, 'x');
  EXPECT_EQ(MakePipeMessage(Direction::kOutbound, text)->text.data(), text);
}

TEST_F(MessageQueueTest, TextThatIsOnlyTooLongBehindAZeroByteFits) {
  std::string text(5000, 'x');
  text[4096] = '\0';
  EXPECT_EQ(MakePipeMessage(Direction::kInbound, text)->text.data(), std::string(4096, 'x'));
}

TEST_F(MessageQueueDeathTest, TextBeyondTheLongestEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::string text(4097, 'x');
  EXPECT_DEATH(MakePipeMessage(Direction::kOutbound, text), "");
}

TEST_F(MessageQueueTest, AWaitingConsumerGetsWhatManyThreadsPushEachInItsOrder) {
  constexpr int kProducers = 3;
  constexpr int kMessages = 200;
  std::vector<int> next(kProducers, 0);
  std::thread consumer([&] {
    for (int i = 0; i < kProducers * kMessages; ++i) {
      const auto message = PopMessage();
      const int producer = message->text[0] - '0';
      EXPECT_EQ(std::string(message->text.data() + 1),
                std::to_string(next[static_cast<std::size_t>(producer)]++));
    }
  });
  std::vector<std::thread> producers;
  for (int producer = 0; producer < kProducers; ++producer) {
    producers.emplace_back([producer] {
      for (int i = 0; i < kMessages; ++i) {
        PushMessage(
            MakePipeMessage(Direction::kInbound, std::to_string(producer) + std::to_string(i)));
      }
    });
  }
  for (std::thread& producer : producers) producer.join();
  consumer.join();
  EXPECT_EQ(next, std::vector<int>(kProducers, kMessages));
}

}  // namespace
}  // namespace core_test
