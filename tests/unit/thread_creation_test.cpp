// What a session start does when the system gives it no thread. Not part of sanitizer builds, which
// bring a pthread_create of their own.
#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <system_error>

#include "recording/packet_watchdog.h"
#include "recording/session_start.h"
#include "recording/session_state.h"
#include "tests/unit/core_fixture.h"
#include "tests/unit/session_transcript.h"

namespace {

// Threads that may still be made before one is refused; none is refused below zero.
std::atomic<int> threads_before_refusal = -1;

}  // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) {
  static const auto real =
      reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  if (threads_before_refusal >= 0 && threads_before_refusal-- == 0) return EAGAIN;
  return real(thread, attributes, body, argument);
}

namespace core_test {
namespace {

using namespace capture_service;

class ThreadCreationTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    SetUpGame();
  }

  void TearDown() override {
    threads_before_refusal = -1;
    CoreTest::TearDown();
  }

  // A start that fails at the thread after this many; what it said from the recorder on.
  static Lines StartWithThreads(int threads) {
    threads_before_refusal = threads;
    EXPECT_THROW(StartRecordingSession(), std::system_error);
    EXPECT_EQ(Session().session, nullptr);
    EXPECT_EQ(Session().recorder, nullptr);
    EXPECT_FALSE(Session().keeper.joinable());
    EXPECT_EQ(Session().audio_inputs.at(kGameAudio).current_device, "");
    const Lines lines = TakeRecorded();
    return {std::ranges::find(lines, RecorderLines().back()) + 1, lines.end()};
  }
};

TEST_F(ThreadCreationTest, StartWithoutAWatchdogLeavesNothingBehind) {
  EXPECT_EQ(StartWithThreads(0),
            Concat({{"gsdk_session_properties_destroy(properties1)"}, DestructionLines()}));
  EXPECT_FALSE(Watch().thread.joinable());
}

TEST_F(ThreadCreationTest, StartWithoutAKeeperLeavesNoSessionBehind) {
  EXPECT_EQ(StartWithThreads(1), Concat({StartLines(), DestructionLines()}));
  EXPECT_TRUE(Watch().thread.joinable());
}

}  // namespace
}  // namespace core_test
