// What other threads do while the process's static objects are destroyed, and after. The address
// sanitizer notices the use of one that is gone.
#include <chrono>
#include <cstdlib>
#include <functional>
#include <thread>

#include "diagnostics/logging.h"
#include "protocol/host_answers.h"
#include "protocol/host_message.h"
#include "protocol/service_requests.h"
#include "recording/packet_watchdog.h"
#include "recording/worker_stop.h"
#include "tests/unit/core_fixture.h"

namespace {

// Made before all other static objects, and so destroyed after them.
struct LastObject {
  std::function<void()>* at_the_end = nullptr;  // never destroyed
  ~LastObject() {
    if (at_the_end != nullptr) (*at_the_end)();
  }
};
__attribute__((init_priority(101))) LastObject last_object;

}  // namespace

namespace core_test {
namespace {

using namespace capture_service;
using namespace std::chrono_literals;

class ProcessEndDeathTest : public CoreTest {};

void AtTheVeryEnd(std::function<void()> action) {
  last_object.at_the_end = new std::function<void()>(std::move(action));
}

TEST_F(ProcessEndDeathTest, WhatOtherThreadsSayNeedsNoStaticObject) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        ReadHostMessage(R"({"event": {"change_audio": true}})");
        AtTheVeryEnd([] {
          PostRestartEvent();
          PostDieEvent(ErrorCode::GSDKGenericExitError);
          SendClipResult("id", 1, 2, 3, 4, true);
          SendClipResult("id", 1, 2, 3, 4, false);
          SendClipFailure("id", "text");
          OnCaptureLibraryLog(0, "line");
          LogFailure(ErrorCode::GSDKGenericExitError, "message", ReportAs::kErrorEvent);
        });
        std::exit(5);
      },
      ::testing::ExitedWithCode(5), "");
}

TEST_F(ProcessEndDeathTest, NoMessageIsReadWhenAThreadThatHangsEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        std::thread([] {
          for (;;) ReadHostMessage(R"({"event": {"change_audio": true}, "clip": null})");
        }).detach();
        AtTheVeryEnd([] { std::this_thread::sleep_for(200ms); });
        Watch().thread = std::thread([] { std::this_thread::sleep_for(1h); });
        StopWorkers(1ms);
      },
      ::testing::ExitedWithCode(201), "");
}

}  // namespace
}  // namespace core_test
