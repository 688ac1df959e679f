#include "service/command_worker.h"

#include <chrono>
#include <csignal>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

#include "protocol/command_queue.h"
#include "recording/session_state.h"
#include "service/stop.h"
#include "tests/unit/core_fixture.h"
#include "tests/unit/session_transcript.h"

namespace core_test {
namespace {

using namespace capture_service;
using namespace std::chrono_literals;

void Push(CommandType type, RecorderSettings settings = {}) {
  PushCommand(std::make_unique<Command>(Command{.type = type, .settings = std::move(settings)}));
}

// Settings as a message with this one number brings them.
RecorderSettings FrameRate(std::int32_t fps) {
  RecorderSettings settings;
  settings.video_fps = fps;
  return settings;
}

// A die request that a start without settings posts, and how often a start ran before it.
const std::string kStartRan = DieRequest(7);

std::ptrdiff_t StartsIn(const Lines& lines) { return std::ranges::count(lines, kStartRan); }

// The last command of a test sets StopFlag through the library's answer to it.
class CommandWorkerTest : public CoreTest {
 protected:
  // Runs the worker on the queued commands, up to the last.
  static void RunUntilStopped(std::chrono::nanoseconds restart_wait = 0ns) {
    std::thread worker(CommandWorker, restart_wait);
    worker.join();
  }
};

using CommandWorkerDeathTest = CommandWorkerTest;

TEST_F(CommandWorkerTest, RestartWaitIsThreeSeconds) { EXPECT_EQ(kRestartWait, 3'000'000'000ns); }

TEST_F(CommandWorkerTest, SetFlagEndsTheWorkerBeforeAnyCommand) {
  StopFlag = true;
  Push(CommandType::kRestart);
  RunUntilStopped();
  EXPECT_EQ(TakeRecorded(), Lines{});
  EXPECT_EQ(TakeCommandTypes(), (std::vector<int>{1}));
}

TEST_F(CommandWorkerTest, StopEndsTheIdleWorker) {
  std::thread worker(CommandWorker, 0ns);
  RequestStop();
  worker.join();
  // It has taken the wake-up unless it saw the flag first.
  EXPECT_THAT(TakeCommandTypes(), ::testing::AnyOf(std::vector<int>{}, std::vector<int>{0}));
}

TEST_F(CommandWorkerTest, CommandsBehindTheStopAreNotCarriedOut) {
  SetUpGame();
  Fake().OnCall("gsdk_session_start", 1, [] { StopFlag = true; });
  Push(CommandType::kRestart);
  Push(CommandType::kUpdateSettings, FrameRate(30));
  Push(CommandType::kRestart);
  RunUntilStopped();
  EXPECT_EQ(CurrentRecorderSettings().video_fps, 60);
  EXPECT_EQ(TakeCommandTypes(), (std::vector<int>{3, 1}));
}

TEST_F(CommandWorkerTest, StartThatRunsDuringTheStopIsFinishedAndTornDown) {
  SetUpGame();
  Fake().OnCall("gsdk_session_create", 1, [] { StopFlag = true; });
  Push(CommandType::kRestart);
  RunUntilStopped();
  const Lines lines = TakeRecorded();
  EXPECT_EQ(lines, Concat({OpeningLines(), CreationLines(), WindowInputLines(), AudioInputLines(),
                           AudioBindingLines(), PropertiesLines(), RecorderLines(), StartLines(),
                           DestructionLines()}));
  EXPECT_EQ(Session().session, nullptr);
}

TEST_F(CommandWorkerTest, ExceptionOutOfACommandLeavesTheWorkerAndTheCommandsBehindIt) {
  SetUpGame();
  Fake().OnCall("gsdk_session_start", 1, [] { throw std::runtime_error("from the library"); });
  Push(CommandType::kRestart);
  Push(CommandType::kUpdateSettings, FrameRate(30));
  EXPECT_THROW(CommandWorker(0ns), std::runtime_error);
  EXPECT_EQ(TakeCommandTypes(), (std::vector<int>{3}));
  EXPECT_EQ(Session().session, nullptr);
}

TEST_F(CommandWorkerDeathTest, ExceptionOutOfACommandEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  SetUpGame();
  Fake().OnCall("gsdk_session_start", 1, [] { throw std::runtime_error("from the library"); });
  EXPECT_EXIT(
      {
        Push(CommandType::kRestart);
        std::thread(CommandWorker, 0ns).join();
      },
      ::testing::KilledBySignal(SIGABRT), "from the library");
}

TEST_F(CommandWorkerTest, SettingsBeforeTheRestartCount) {
  SetUpGame();
  Fake().OnCall("gsdk_session_start", 1, [] { StopFlag = true; });
  Push(CommandType::kUpdateSettings, FrameRate(30));
  Push(CommandType::kRestart);
  RunUntilStopped();
  EXPECT_THAT(TakeRecorded(),
              ::testing::Contains("gsdk_session_properties_video_set_framerate(properties1, 30)"));
  EXPECT_FALSE(CurrentRecorderSettings().capture_cursor);
}

TEST_F(CommandWorkerTest, SettingsBehindTheRestartDoNot) {
  SetUpGame();
  Fake().OnCall("gsdk_session_start", 2, [] { StopFlag = true; });
  Push(CommandType::kRestart);
  Push(CommandType::kUpdateSettings, FrameRate(30));
  Push(CommandType::kRestart);
  RunUntilStopped();
  const Lines lines = TakeRecorded();
  EXPECT_THAT(lines, ::testing::IsSupersetOf(
                         {"gsdk_session_properties_video_set_framerate(properties1, 60)",
                          "gsdk_session_properties_video_set_framerate(properties2, 30)"}));
}

TEST_F(CommandWorkerTest, EveryRestartWaitsFirst) {
  SetUpGame();
  Fake().OnCall("gsdk_session_start", 2, [] { StopFlag = true; });
  Push(CommandType::kRestart);
  Push(CommandType::kRestart);
  const auto begin = std::chrono::steady_clock::now();
  RunUntilStopped(50ms);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, 100ms);
}

TEST_F(CommandWorkerTest, AudioChangeAndSettingsDoNotWait) {
  SetUpGame();
  Fake().OnCall("gsdk_session_start", 1, [] { StopFlag = true; });
  Push(CommandType::kUpdateSettings);
  Push(CommandType::kChangeAudio);
  // A wait of this length would never end.
  RunUntilStopped(24h);
  EXPECT_EQ(Session().session, nullptr);
}

TEST_F(CommandWorkerTest, AudioChangeOfARunningSessionOnlyBinds) {
  SetUpGame();
  Push(CommandType::kRestart);
  RecorderSettings update;
  update.audio_game = "USB";
  Push(CommandType::kUpdateSettings, update);
  Fake().OnCall("gsdk_session_start", 1, [] {
    Fake().SetList("audio_output", R"({"device_id": {"values": [{"value": "USB"}]}})");
  });
  Fake().OnCall("gsdk_session_update_audio_input_handle", 5, [] { StopFlag = true; });
  Push(CommandType::kChangeAudio);
  RunUntilStopped();
  const Lines lines = TakeRecorded();
  const auto start = std::ranges::find(lines, "gsdk_session_properties_destroy(properties1)");
  ASSERT_NE(start, lines.end());
  EXPECT_EQ(
      Lines(start + 1, lines.end()),
      Concat({ListLines("audio_output", "text4"),
              ListLines("audio_input", "text5"),
              {BindingLine("session1", "input1", "USB"), BindingLine("session1", "input2", "")},
              DestructionLines()}));
}

TEST_F(CommandWorkerTest, WakeAndUnknownCommandsDoNothing) {
  Push(CommandType::kWake);
  Push(static_cast<CommandType>(4));
  Push(static_cast<CommandType>(0xFFFFFFFFU));
  Push(CommandType::kRestart);
  Push(CommandType::kRestart);
  std::thread worker(CommandWorker, 0ns);
  // Two starts without settings have run once both die requests are there.
  std::ptrdiff_t starts = 0;
  while (starts < 2) starts += StartsIn(TakeRecorded());
  RequestStop();
  worker.join();
  EXPECT_EQ(starts, 2);
}

TEST_F(CommandWorkerTest, CommandsAreQueuedInOrderWithTheirSettings) {
  RecorderSettings update;
  update.game_pid = 5;
  update.audio_game = "g";
  Push(CommandType::kUpdateSettings, update);
  Push(CommandType::kRestart);
  const auto first = PopCommand();
  const auto second = PopCommand();
  EXPECT_EQ(first->type, CommandType::kUpdateSettings);
  EXPECT_EQ(first->settings.game_pid, 5);
  EXPECT_EQ(first->settings.audio_game, "g");
  EXPECT_EQ(second->type, CommandType::kRestart);
  EXPECT_EQ(second->settings.audio_game, "");
}

}  // namespace
}  // namespace core_test
