#include "recording/worker_stop.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <thread>

#include "diagnostics/error_reporting.h"
#include "recording/monitor_tracker.h"
#include "recording/packet_watchdog.h"
#include "recording/session_state.h"
#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;
using namespace std::chrono_literals;

class WorkerStopTest : public CoreTest {};
class WorkerStopDeathTest : public CoreTest {};

// Waits, like a thread of the service, for its stop flag; then says so.
void WaitForStop(std::mutex& mutex, std::condition_variable& changed, const bool& stop,
                 const char* name) {
  std::unique_lock lock(mutex);
  changed.wait(lock, [&] { return stop; });
  Record(std::string(name) + " ended");
}

void StartWatcher() {
  Watch().thread = std::thread(
      [] { WaitForStop(Watch().mutex, Watch().changed, Watch().stop, "buffer watcher"); });
}

void StartKeeper() {
  Session().keeper = std::thread(
      [] { WaitForStop(Session().mutex, Session().stop_changed, Session().stop, "gsdk"); });
}

void StartTracker() {
  Session().monitor_tracker = std::make_unique<MonitorTracker>(5U, [](void* /*monitor*/) {});
}

TEST_F(WorkerStopTest, TimeoutIsTenSeconds) { EXPECT_EQ(kJoinTimeout, 10'000'000'000ns); }

TEST_F(WorkerStopTest, NothingRunningNothingDone) {
  StopWorkers(0ns);
  EXPECT_EQ(TakeRecorded(), Lines{});
  EXPECT_FALSE(Watch().stop);
  EXPECT_FALSE(Session().stop);
}

TEST_F(WorkerStopTest, WatcherThenKeeperThenTracker) {
  StartTracker();
  StartKeeper();
  StartWatcher();
  TakeRecorded();
  StopWorkers(1h);
  EXPECT_EQ(TakeRecorded(), (Lines{"buffer watcher ended", "gsdk ended", "~MonitorTracker 5"}));
  EXPECT_FALSE(Watch().thread.joinable());
  EXPECT_FALSE(Session().keeper.joinable());
  EXPECT_EQ(Session().monitor_tracker, nullptr);
}

TEST_F(WorkerStopTest, SecondStopDoesNothing) {
  StartKeeper();
  StopWorkers(1h);
  TakeRecorded();
  StopWorkers(0ns);
  EXPECT_EQ(TakeRecorded(), Lines{});
}

TEST_F(WorkerStopTest, EachPartStopsAlone) {
  StartWatcher();
  StopWorkers(1h);
  EXPECT_FALSE(Session().stop);
  StartTracker();
  StopWorkers(0ns);
  EXPECT_EQ(TakeRecorded(),
            (Lines{"buffer watcher ended", "MonitorTracker 5", "~MonitorTracker 5"}));
}

TEST_F(WorkerStopTest, WatchdogInItsFirstWaitEndsWithoutALine) {
  Watch().thread = std::thread(PacketWatchdog, kFirstPacketWait, kPacketWait);
  StopWorkers(1h);
  EXPECT_EQ(TakeRecorded(), Lines{});
}

// A thread that never looks at its stop flag.
std::thread HungThread() {
  return std::thread([] { std::promise<void>().get_future().wait(); });
}

// Prints the transcript as the process ends, through the normal exit.
void PrintAtExit() {
  std::atexit([] {
    for (const std::string& line : Recorded()) std::fprintf(stderr, "%s\n", line.c_str());
    std::fprintf(stderr, "exit handlers ran\n");
  });
}

std::string EndOf(const char* thread) {
  const std::string event = R"(\{"exception": \{"type": "Error 201 JoinThreadError", "value": ")" +
                            std::string(thread) +
                            R"( thread timed out when trying to stop, dieing hard\.\.\."\}\})";
  return "^sentry_event_value_add_stacktrace " + event + " null 0\nsentry_capture_event " + event +
         "\nsentry_shutdown\nexit handlers ran\n";
}

TEST_F(WorkerStopDeathTest, WatcherThatHangsEndsTheProcessAfterTheEventAndTheSdksEnd) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        PrintAtExit();
        ErrorReportingEnabled = true;
        Watch().thread = HungThread();
        StopWorkers(1ms);
      },
      ::testing::ExitedWithCode(201), EndOf("buffer watcher"));
}

TEST_F(WorkerStopDeathTest, KeeperThatHangsEndsTheProcessBeforeTheTrackerIsTouched) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        PrintAtExit();
        StartTracker();
        TakeRecorded();
        ErrorReportingEnabled = true;
        Session().keeper = HungThread();
        StopWorkers(1ms);
      },
      ::testing::ExitedWithCode(201), EndOf("gsdk"));
}

TEST_F(WorkerStopDeathTest, WithoutReportingTheProcessEndsTheSameButSilently) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        PrintAtExit();
        Session().keeper = HungThread();
        StopWorkers(1ms);
      },
      ::testing::ExitedWithCode(201), "^exit handlers ran\n");
}

}  // namespace
}  // namespace core_test
