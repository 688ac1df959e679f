// What the watchdog does while it holds the watch's mutex. The program has a message queue of its
// own, so that it can ask in the middle of each push.
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "diagnostics/error_reporting.h"
#include "platform/blocking_queue.h"
#include "protocol/message_queue.h"
#include "recording/packet_watchdog.h"
#include "tests/unit/core_fixture.h"

namespace capture_service {
namespace {

using MessageQueue = platform::BlockingQueue<std::unique_ptr<PipeMessage>>;

MessageQueue& Queue() {
  static auto& queue = *new MessageQueue;
  return queue;
}

// Called with each text before it is queued.
std::function<void(const std::string& text)>& OnPush() {
  static auto& on_push = *new std::function<void(const std::string& text)>;
  return on_push;
}

}  // namespace

std::unique_ptr<PipeMessage> MakePipeMessage(Direction direction, std::string_view text) {
  auto message = std::make_unique<PipeMessage>();
  message->direction = direction;
  text.copy(message->text.data(), kMaxMessageBytes);
  return message;
}

void PushMessage(std::unique_ptr<PipeMessage> message) {
  if (OnPush()) OnPush()(message->text.data());
  Queue().Push(std::move(message));
}

std::unique_ptr<PipeMessage> PopMessage() { return Queue().Pop(); }

}  // namespace capture_service

namespace core_test {
namespace {

using namespace capture_service;
using namespace std::chrono_literals;

// Whether another thread can have the watch's mutex now.
bool WatchIsFree() {
  return std::async(std::launch::async,
                    [] {
                      const std::unique_lock lock(Watch().mutex, std::try_to_lock);
                      return lock.owns_lock();
                    })
      .get();
}

class WatchLockTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    ErrorReportingEnabled = true;
    CollectMessages(false);
    OnPush() = [this](const std::string& text) { Note(text); };
    for (const char* call : {"sentry_add_breadcrumb", "sentry_capture_event"}) {
      OnSentryCall(call, [this, call] { Note(call); });
    }
  }

  void TearDown() override {
    OnPush() = nullptr;
    CoreTest::TearDown();
  }

  void Note(const std::string& what) {
    seen_.push_back((WatchIsFree() ? "free: " : "held: ") + what);
  }

  static void SetCounter(std::int32_t counter) {
    const std::lock_guard lock(Watch().mutex);
    Watch().restart_counter = counter;
  }

  Lines seen_;
};

TEST_F(WatchLockTest, RestartIsLoggedAndPostedWithTheWatchHeld) {
  PacketWatchdog(0ns, 24h);
  EXPECT_EQ(
      seen_,
      (Lines{R"(held: {"error": "No recording packets seen since session start, restarting"})",
             "held: sentry_add_breadcrumb", R"(held: {"event": {"restart": true}})"}));
  EXPECT_TRUE(WatchIsFree());
}

TEST_F(WatchLockTest, GivingUpIsLoggedReportedAndPostedWithTheWatchHeld) {
  SetCounter(kRestartLimit);
  PacketWatchdog(0ns, 24h);
  EXPECT_EQ(
      seen_,
      (Lines{R"(held: {"error": "No recording packets seen since session start, restarting"})",
             "held: sentry_add_breadcrumb",
             R"(held: {"error": "[Glimra error]: Failed to receive any data from process )"
             R"(since startup after max restarts. Stopping"})",
             "held: sentry_capture_event", "held: sentry_add_breadcrumb",
             R"(held: {"event": {"die": 5}})"}));
  EXPECT_TRUE(WatchIsFree());
}

TEST_F(WatchLockTest, StallAfterPacketsIsLoggedAndPostedWithTheWatchHeld) {
  {
    const std::lock_guard lock(Watch().mutex);
    Watch().packet_seen = true;
  }
  PacketWatchdog(24h, 0ns);
  EXPECT_EQ(seen_,
            (Lines{R"(held: {"error": "No recording packets seen within timeout, restarting"})",
                   "held: sentry_add_breadcrumb", R"(held: {"event": {"restart": true}})"}));
  EXPECT_TRUE(WatchIsFree());
}

}  // namespace
}  // namespace core_test
