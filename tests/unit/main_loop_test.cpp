#include "service/main_loop.h"

#include <memory>
#include <stdexcept>
#include <string>

#include "diagnostics/error_reporting.h"
#include "protocol/command_queue.h"
#include "protocol/message_queue.h"
#include "protocol/service_requests.h"
#include "recording/clip_dump.h"
#include "service/stop.h"
#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;

// Stands for the pipe's handle, which is only handed on.
// NOLINTNEXTLINE(performance-no-int-to-ptr): not a pointer.
const PipeHandle kPipe = reinterpret_cast<PipeHandle>(std::uintptr_t{77});

class MainLoopTest : public CoreTest {
 protected:
  // Runs the loop on what was queued.
  void Run() {
    CollectMessages(false);
    RunMainLoop(kPipe, state_);
  }

  static void Inbound(const std::string& text) {
    PushMessage(MakePipeMessage(Direction::kInbound, text));
  }
  static void Outbound(const std::string& text) {
    PushMessage(MakePipeMessage(Direction::kOutbound, text));
  }

  // What is left in the queue after the loop.
  static Lines LeftOver() {
    CollectMessages(true);
    return TakeRecorded();
  }

  ServiceState state_{.capture_library_version = "3.7.12.0", .exit_code = 0};
};

std::string FrameLine(const std::string& text) { return "WriteFrame 77 " + Quoted(text); }

TEST_F(MainLoopTest, OutboundTextsAreWrittenInOrderUntilADie) {
  Outbound("{\"error\": \"a\"}");
  Outbound("");
  Inbound(R"({"event": {"die": 5}})");
  Outbound("too late");
  Run();
  EXPECT_EQ(state_.exit_code, 5U);
  EXPECT_TRUE(StopFlag);
  EXPECT_EQ(LeftOver(), (Lines{FrameLine("{\"error\": \"a\"}"), FrameLine(""), "SignalStopEvent",
                               "to host: too late", "to self: {}"}));
  EXPECT_EQ(TakeCommandTypes(), (std::vector<int>{0}));
}

TEST_F(MainLoopTest, SetFlagEndsTheLoopBeforeAnyMessage) {
  StopFlag = true;
  Outbound("x");
  Run();
  EXPECT_EQ(LeftOver(), (Lines{"to host: x"}));
}

TEST_F(MainLoopTest, FailedWriteStopsTheServiceWithTheExitCodeAsItWas) {
  Windows().frames_before_failure = 1;
  Outbound("written");
  Outbound("refused");
  Outbound("never tried");
  Run();
  EXPECT_EQ(state_.exit_code, 0U);
  EXPECT_TRUE(StopFlag);
  EXPECT_EQ(LeftOver(), (Lines{FrameLine("written"), FrameLine("refused"), "SignalStopEvent",
                               "to host: never tried", "to self: {}"}));
}

TEST_F(MainLoopTest, OtherDirectionsAndMalformedTextsAreDropped) {
  auto odd = MakePipeMessage(Direction::kOutbound, "{\"event\": {\"die\": 1}}");
  odd->direction = static_cast<Direction>(2);
  PushMessage(std::move(odd));
  Inbound("{");
  Inbound("null");
  Inbound("[]");
  Inbound(R"({"event": 5})");
  Inbound(R"({"event": {"die": 7}})");
  Run();
  EXPECT_EQ(state_.exit_code, 7U);
  EXPECT_EQ(LeftOver(), (Lines{"SignalStopEvent", "to self: {}"}));
  EXPECT_EQ(TakeCommandTypes(), (std::vector<int>{0}));
}

TEST_F(MainLoopTest, LoopWaitsForMessages) {
  CollectMessages(false);
  std::thread loop([this] { RunMainLoop(kPipe, state_); });
  Outbound("x");
  WaitForLine(FrameLine("x"));
  Inbound(R"({"event": {"die": 3}})");
  loop.join();
  EXPECT_EQ(state_.exit_code, 3U);
}

TEST_F(MainLoopTest, DieMayBeNegativeAndTheFirstOneEndsTheLoop) {
  Inbound(R"({"event": {"die": -1}})");
  Inbound(R"({"event": {"die": 5}})");
  Run();
  EXPECT_EQ(state_.exit_code, 0xFFFFFFFFU);
}

TEST_F(MainLoopTest, OwnDieComesAfterTheHostsMessagesBeforeIt) {
  Inbound(R"({"recorder_settings": {"video_fps": 30}})");
  Inbound(R"({"event": {"change_audio": true}})");
  PostDieEvent(20U);
  Inbound(R"({"event": {"restart": true}})");
  Run();
  EXPECT_EQ(state_.exit_code, 20U);
  EXPECT_EQ(TakeCommandTypes(), (std::vector<int>{3, 2, 0}));
  EXPECT_EQ(LeftOver(),
            (Lines{"SignalStopEvent", R"(to self: {"event": {"restart": true}})", "to self: {}"}));
}

TEST_F(MainLoopTest, EventsQueueTheirCommands) {
  HandleInboundMessage(R"({"event": {"restart": true}})", state_);
  HandleInboundMessage(R"({"event": {"change_audio": true}})", state_);
  HandleInboundMessage(R"({"event": {"restart": true, "change_audio": true}})", state_);
  HandleInboundMessage(R"({"event": {"die": "3", "restart": true}})", state_);
  HandleInboundMessage(R"({"event": {"restart": false}})", state_);
  HandleInboundMessage(R"({"event": {}})", state_);
  EXPECT_EQ(TakeCommandTypes(), (std::vector<int>{1, 2, 1, 1}));
  EXPECT_FALSE(StopFlag);
}

TEST_F(MainLoopTest, DieQueuesNoRestart) {
  HandleInboundMessage(R"({"event": {"die": 3, "restart": true}})", state_);
  EXPECT_EQ(state_.exit_code, 3U);
  EXPECT_EQ(TakeCommandTypes(), (std::vector<int>{0}));
}

TEST_F(MainLoopTest, SettingsAreQueuedFromAFreshRecord) {
  CurrentRecorderSettings() = CompleteSettings();
  HandleInboundMessage(R"({"recorder_settings": {"video_fps": 60.9}})", state_);
  const std::unique_ptr<Command> command = PopCommand();
  EXPECT_EQ(command->type, CommandType::kUpdateSettings);
  EXPECT_EQ(command->settings.video_fps, 60);
  EXPECT_EQ(command->settings.audio_samplerate, 0);
  EXPECT_FALSE(command->settings.capture_cursor);
  EXPECT_EQ(command->settings.audio_game, "");
  EXPECT_TRUE(CurrentRecorderSettings().capture_cursor) << "stored by the worker only";
}

TEST_F(MainLoopTest, SettingsAreQueuedBeforeTheRestartOfTheSameMessage) {
  HandleInboundMessage(R"({"event": {"restart": true}, "recorder_settings": {}})", state_);
  EXPECT_EQ(TakeCommandTypes(), (std::vector<int>{3, 1}));
}

struct LeaveClipThread {};

TEST_F(MainLoopTest, ClipIsQueuedBeforeTheDieOfTheSameMessage) {
  GiveSessionARecorder();
  TakeRecorded();
  HandleInboundMessage(
      R"({"event": {"die": 1}, "clip": {"filepath": "a.mp4", "id": "9", "more": 1}})", state_);
  EXPECT_TRUE(StopFlag);
  EXPECT_EQ(state_.exit_code, 1U);

  Fake().OnCall("gsdk_recorder_dump", 2, [] { throw LeaveClipThread(); });
  EnqueueClipRequest({});
  EXPECT_THROW(RunClipThread(), LeaveClipThread);
  EXPECT_EQ(TakeRecorded().at(2), "gsdk_recorder_dump(recorder1, \"a.mp4\")");
}

const char kReporting[] = R"({"startglimra_sentrysettings": {"sentry_env": "staging",
    "userid": "u1", "game_id": "g1", "game_exe": "game.exe", "daskel_guid": "d1",
    "daskel_version": "3.1", "beta_enabled": true}})";

Lines StartOfReporting() {
  return {"sentry_options_new",
          "sentry_options_set_dsn \"\"",
          "sentry_options_set_environment \"staging\"",
          "sentry_options_set_max_breadcrumbs 200",
          "sentry_options_set_handler_pathw \"./crashpad_handler.exe\"",
          "sentry_options_set_sample_rate 0x3FD3333333333333",
          R"(sentry_options_set_database_pathw )"
          R"("C:\\ProgramData\\Orvane\\Orvane Daskel 3\\sentry-db")",
          "sentry_init",
          "CollectMachineProfile"};
}

const Lines kHostTags = {
    R"(sentry_set_user {"id": "u1"})",        "sentry_set_tag BETA_ENABLED \"\"",
    "sentry_set_tag DaskelVersion \"3.1\"",   "sentry_set_tag GLIMRA_GAME_EXE \"game.exe\"",
    "sentry_set_tag GLIMRA_GAME_ID \"g1\"",   "sentry_set_tag GUID \"d1\"",
    "sentry_set_tag GsdkVersion \"3.7.12.0\""};

TEST_F(MainLoopTest, ReportingStartsWithTheUserAndTheTagsOfTheHost) {
  HandleInboundMessage(kReporting, state_);
  EXPECT_TRUE(ErrorReportingEnabled);
  EXPECT_EQ(TakeRecorded(), Concat({StartOfReporting(), kHostTags}));
}

TEST_F(MainLoopTest, ReportingThatDoesNotStartGetsNoUserAndNoTags) {
  SetSentryInitResult(1);
  HandleInboundMessage(kReporting, state_);
  EXPECT_FALSE(ErrorReportingEnabled);
  EXPECT_EQ(TakeRecorded(), StartOfReporting());
}

TEST_F(MainLoopTest, ReportingIsSetUpAnewByEveryMessage) {
  HandleInboundMessage(kReporting, state_);
  HandleInboundMessage(kReporting, state_);
  EXPECT_EQ(TakeRecorded(), Concat({StartOfReporting(), kHostTags, StartOfReporting(), kHostTags}));
  SetSentryInitResult(1);
  HandleInboundMessage(kReporting, state_);
  EXPECT_FALSE(ErrorReportingEnabled) << "the last result counts";
  TakeRecorded();
}

TEST_F(MainLoopTest, ReportingStartsBeforeTheRestOfTheSameMessage) {
  HandleInboundMessage(R"({"event": {"die": 2}, "startglimra_sentrysettings": {}})", state_);
  const Lines lines = TakeRecorded();
  EXPECT_EQ(lines.front(), "sentry_options_new");
  EXPECT_EQ(Lines(lines.end() - 3, lines.end()),
            (Lines{"sentry_set_tag GsdkVersion \"3.7.12.0\"", "SignalStopEvent", "to self: {}"}));
}

TEST_F(MainLoopTest, ReportingThatThrowsStopsTheMessageThere) {
  Windows().on_collect_profile = [] { throw std::runtime_error("no COM"); };
  EXPECT_THROW(HandleInboundMessage(
                   R"({"startglimra_sentrysettings": {}, "event": {"restart": true}})", state_),
               std::runtime_error);
  EXPECT_FALSE(ErrorReportingEnabled);
  EXPECT_EQ(TakeCommandTypes(), std::vector<int>{});
}

}  // namespace
}  // namespace core_test
