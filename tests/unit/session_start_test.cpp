// Starts that succeed; session_failure_test.cpp has those that do not.
#include "recording/session_start.h"

#include <memory>
#include <mutex>

#include "gsdk/capture_library.h"
#include "recording/packet_watchdog.h"
#include "recording/session_state.h"
#include "recording/worker_stop.h"
#include "tests/unit/core_fixture.h"
#include "tests/unit/session_transcript.h"

namespace core_test {
namespace {

using namespace capture_service;
using ::testing::Contains;
using ::testing::Not;

class SessionStartTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    SetUpGame();
  }
};

// A whole start in window mode.
Lines WindowStart() {
  return Concat({OpeningLines(), CreationLines(), WindowInputLines(), AudioInputLines(),
                 AudioBindingLines(), PropertiesLines(), RecorderLines(), StartLines()});
}

TEST_F(SessionStartTest, WindowModeMakesExactlyTheseCallsInThisOrder) {
  StartRecordingSession();
  EXPECT_EQ(TakeRecorded(), WindowStart());
  EXPECT_NE(Session().session, nullptr);
  EXPECT_NE(Session().recorder, nullptr);
  EXPECT_TRUE(Session().keeper.joinable());
  EXPECT_TRUE(Watch().thread.joinable());
  EXPECT_EQ(Session().audio_inputs.at(kGameAudio).current_device, "Speakers");
  EXPECT_EQ(Session().audio_inputs.at(kChatAudio).current_device, "Headset");
  EXPECT_EQ(Session().audio_inputs.at(kMicAudio).current_device, "Microphone");
}

TEST_F(SessionStartTest, StopHasTheKeeperDestroyTheSessionThenTheRecorder) {
  StartRecordingSession();
  TakeRecorded();
  StopWorkers();
  EXPECT_EQ(TakeRecorded(), DestructionLines());
  EXPECT_EQ(Session().session, nullptr);
  EXPECT_EQ(Session().recorder, nullptr);
  EXPECT_FALSE(Session().keeper.joinable());
  EXPECT_FALSE(Watch().thread.joinable());
}

TEST_F(SessionStartTest, SecondStartStopsTheFirstSessionAndBindsAllDevicesAnew) {
  StartRecordingSession();
  TakeRecorded();
  StartRecordingSession();
  EXPECT_EQ(TakeRecorded(),
            Concat({DestructionLines(), OpeningLines(), CreationLines("session2"),
                    ListLines("window", "text4"), VideoInputLines(WindowCapture(), "session2"),
                    AudioInputLines("session2", 4), AudioBindingLines("session2", 5, 4),
                    PropertiesLines("properties2"), RecorderLines("properties2", "recorder2"),
                    StartLines("session2", "properties2")}));
}

TEST_F(SessionStartTest, MonitorModeTakesTheMonitorOfTheGame) {
  CurrentRecorderSettings().recording_mode = 1;
  Fake().SetList("monitor", R"({"monitor": {"default": 7, "values": [
      {"info": {"top": 0, "bottom": 1080, "left": 0, "right": 1920}, "value": 8},
      {"info": {"top": 0, "bottom": 1080, "left": 1920, "right": 3840}, "value": [9]}]}})");
  StartRecordingSession();
  EXPECT_EQ(TakeRecorded(), Concat({OpeningLines(),
                                    CreationLines("session1", "monitor"),
                                    {"MonitorTracker 132456", "MonitorRectangle 1"},
                                    ListLines("monitor", "text1"),
                                    VideoInputLines(R"({"cursor": true, "monitor": [9]})"),
                                    AudioInputLines(),
                                    AudioBindingLines(),
                                    PropertiesLines(),
                                    RecorderLines(),
                                    StartLines()}));

  StopWorkers();
  EXPECT_EQ(TakeRecorded(), Concat({DestructionLines(), {"~MonitorTracker 132456"}}));
}

TEST_F(SessionStartTest, GameWindowThatChangesItsMonitorAsksForARestart) {
  CurrentRecorderSettings().recording_mode = 1;
  StartRecordingSession();
  TakeRecorded();
  Watch().restart_counter = 3;
  Session().monitor_tracker->CheckMonitor();
  EXPECT_EQ(TakeRecorded(), Lines{});
  Windows().monitor = 2;
  Session().monitor_tracker->CheckMonitor();
  Session().monitor_tracker->CheckMonitor();
  EXPECT_EQ(TakeRecorded(),
            (Lines{ToHost("The game window changed its monitor, we need to restart the monitor "
                          "recording"),
                   RestartRequest()}));
  EXPECT_EQ(Watch().restart_counter, 3);
}

TEST_F(SessionStartTest, GameModeTakesTheWindowEvenWhenTheProcessIsKnown) {
  CurrentRecorderSettings().recording_mode = 2;
  CurrentRecorderSettings().capture_cursor = false;
  StartRecordingSession();
  EXPECT_EQ(
      TakeRecorded(),
      Concat({OpeningLines(), CreationLines("session1", "game"),
              VideoInputLines(R"({"anticheat": true, "cursor": false, "game": {"hwnd": 132456}})"),
              AudioInputLines(), AudioBindingLines("session1", 1), PropertiesLines(),
              RecorderLines(), StartLines()}));
}

TEST_F(SessionStartTest, GameModeWithoutAWindowTakesTheProcess) {
  CurrentRecorderSettings().recording_mode = 2;
  CurrentRecorderSettings().game_hwnd = 0;
  StartRecordingSession();
  const Lines lines = TakeRecorded();
  const std::string capture = R"({"anticheat": true, "cursor": true, "game": {"pid": 4711}})";
  EXPECT_THAT(lines, Contains(ToHost("capture settings: " + capture)));
  EXPECT_THAT(
      lines, Contains("gsdk_session_update_video_input(session1, " + Quoted(capture) + ") = true"));
  EXPECT_THAT(lines, Not(Contains("WindowExists 0 = true")));
}

TEST_F(SessionStartTest, ProcessIsOnlyAskedForWhenItIsKnown) {
  CurrentRecorderSettings().game_pid = 0;
  StartRecordingSession();
  const Lines lines = TakeRecorded();
  EXPECT_EQ(lines.at(1), "sentry_set_tag GLIMRA_GAME_ELEVATION \"\"");
  EXPECT_EQ(lines.at(2), "gsdk_logging_set_callback(OnCaptureLibraryLog)");
}

TEST_F(SessionStartTest, ProcessThatCannotBeOpenedCountsAsAliveWithAnEmptyElevation) {
  Windows().process = {.exists = true, .elevation = {}};
  StartRecordingSession();
  const Lines lines = TakeRecorded();
  EXPECT_EQ(lines.at(1), "sentry_set_tag GLIMRA_GAME_ELEVATION \"\"");
  EXPECT_EQ(lines.at(2), "QueryGameProcess 4711");
  EXPECT_EQ(lines.at(3), "gsdk_logging_set_callback(OnCaptureLibraryLog)");
}

TEST_F(SessionStartTest, LibraryGetsItsLevelOneLess) {
  for (const auto& [setting, level] : {std::pair{1, 0}, {5, 4}, {-1, -2}}) {
    CurrentRecorderSettings().logging_level = setting;
    StartRecordingSession();
    EXPECT_THAT(TakeRecorded(),
                Contains("gsdk_logging_set_global_level(" + std::to_string(level) + ")"));
  }
}

TEST_F(SessionStartTest, SourcesSetToNoneAreLeftOut) {
  CurrentRecorderSettings().audio_chat = "none";
  StartRecordingSession();
  EXPECT_EQ(
      TakeRecorded(),
      Concat({OpeningLines(),
              CreationLines(),
              WindowInputLines(),
              {R"(gsdk_session_add_audio_input(session1, "audio_output", game slot) = input1)",
               R"(gsdk_session_add_audio_input(session1, "audio_input", mic slot) = input2)"},
              ListLines("audio_output", "text2"),
              ListLines("audio_input", "text3"),
              {BindingLine("session1", "input1", "Speakers"),
               BindingLine("session1", "input2", "Microphone")},
              PropertiesLines("properties1", "2, \"Game\", \"Mic\""),
              RecorderLines(),
              StartLines()}));
}

TEST_F(SessionStartTest, NoSourceAtAllIsSilence) {
  CurrentRecorderSettings().audio_game = "none";
  CurrentRecorderSettings().audio_chat = "none";
  CurrentRecorderSettings().audio_input = "none";
  StartRecordingSession();
  EXPECT_EQ(
      TakeRecorded(),
      Concat({OpeningLines(), CreationLines(), WindowInputLines(),
              ListLines("audio_output", "text2"), ListLines("audio_input", "text3"),
              PropertiesLines("properties1", "1, \"Silence\""), RecorderLines(), StartLines()}));
}

TEST_F(SessionStartTest, OnlyTheExactWordNoneLeavesASourceOut) {
  CurrentRecorderSettings().audio_game = "None";
  CurrentRecorderSettings().audio_chat = "";
  CurrentRecorderSettings().audio_input = "none ";
  StartRecordingSession();
  EXPECT_THAT(TakeRecorded(), ::testing::IsSupersetOf(AudioInputLines()));
}

TEST_F(SessionStartTest, SourceThatCannotBeAddedIsLoggedAndItsTrackLeftOut) {
  Fake().Fail("gsdk_session_add_audio_input", 2, 3, "no chat");
  StartRecordingSession();
  EXPECT_EQ(
      TakeRecorded(),
      Concat({OpeningLines(),
              CreationLines(),
              WindowInputLines(),
              {R"(gsdk_session_add_audio_input(session1, "audio_output", game slot) = input1)",
               R"(gsdk_session_add_audio_input(session1, "audio_output", chat slot) = error1)",
               "gsdk_err_message(error1)", FailureToHost("Add audio input failed: no chat"),
               "gsdk_err_free(error1)",
               R"(gsdk_session_add_audio_input(session1, "audio_input", mic slot) = input2)"},
              ListLines("audio_output", "text2"),
              ListLines("audio_input", "text3"),
              {BindingLine("session1", "input1", "Speakers"),
               BindingLine("session1", "null", "Headset"),
               BindingLine("session1", "input2", "Microphone")},
              PropertiesLines("properties1", "2, \"Game\", \"Mic\""),
              RecorderLines(),
              StartLines()}));
}

TEST_F(SessionStartTest, AllSourcesFailingIsSilence) {
  Fake().Fail("gsdk_session_add_audio_input", kEveryTime, 3, "no");
  StartRecordingSession();
  EXPECT_THAT(TakeRecorded(), Contains("gsdk_session_properties_audio_set_tracks_ids(properties1, "
                                       "1, \"Silence\")"));
}

TEST_F(SessionStartTest, RecordLengthIsSecondsAndWrapsAsUnsigned) {
  CurrentRecorderSettings().record_length = -1;
  StartRecordingSession();
  EXPECT_THAT(TakeRecorded(), Contains("gsdk_recorder_set_duration(recorder1, 4294966296)"));
}

TEST_F(SessionStartTest, AudioChangeWithoutASessionStartsOne) {
  UpdateAudioDevices();
  EXPECT_EQ(TakeRecorded(), WindowStart());
}

TEST_F(SessionStartTest, AudioChangeOfARunningSessionBindsWhatChanged) {
  StartRecordingSession();
  TakeRecorded();
  CurrentRecorderSettings().audio_chat = "Speakers";
  CurrentRecorderSettings().audio_game = "Headset";
  UpdateAudioDevices();
  EXPECT_EQ(TakeRecorded(), Concat({ListLines("audio_output", "text4"),
                                    ListLines("audio_input", "text5"),
                                    {BindingLine("session1", "input1", "Headset"),
                                     BindingLine("session1", "input2", "Speakers")}}));
}

TEST_F(SessionStartTest, WatchdogIsUpBeforeTheLibraryStarts) {
  bool watching = false;
  Fake().OnCall("gsdk_session_start", 1, [&] { watching = Watch().thread.joinable(); });
  StartRecordingSession();
  EXPECT_TRUE(watching);
}

TEST_F(SessionStartTest, StartClearsTheStopFlagsAndTheLastPacketButNotTheCounter) {
  {
    const std::lock_guard lock(Watch().mutex);
    Watch().stop = true;
    Watch().packet_seen = true;
    Watch().restart_counter = 4;
  }
  {
    const std::lock_guard lock(Session().mutex);
    Session().stop = true;
  }
  bool checked = false;
  Fake().OnCall("gsdk_logging_set_callback", 1, [&] {
    const std::lock_guard watch_lock(Watch().mutex);
    EXPECT_FALSE(Watch().stop);
    EXPECT_FALSE(Watch().packet_seen);
    EXPECT_EQ(Watch().restart_counter, 4);
    const std::lock_guard session_lock(Session().mutex);
    EXPECT_FALSE(Session().stop);
    checked = true;
  });
  StartRecordingSession();
  EXPECT_TRUE(checked);
}

TEST_F(SessionStartTest, RunningLibraryStaysLoadedUntilItsSessionIsGone) {
  auto module = std::make_shared<int>(1);
  const std::weak_ptr<int> watched = module;
  InstallCaptureLibrary(FakeLibrary::MakeTable(std::move(module)));
  StartRecordingSession();
  InstallCaptureLibrary(FakeLibrary::MakeTable());
  EXPECT_FALSE(watched.expired());
  StopWorkers();
  EXPECT_TRUE(watched.expired());
}

}  // namespace
}  // namespace core_test
