// Starts that do not succeed: what is logged, what is posted, and that nothing is left behind.
#include <functional>
#include <limits>
#include <stdexcept>
#include <variant>

#include "diagnostics/error_reporting.h"
#include "recording/packet_watchdog.h"
#include "recording/session_start.h"
#include "recording/session_state.h"
#include "tests/unit/core_fixture.h"
#include "tests/unit/session_transcript.h"

namespace core_test {
namespace {

using namespace capture_service;
using namespace std::chrono_literals;

class SessionFailureTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    SetUpGame();
  }
};

void ExpectNoSession() {
  EXPECT_EQ(Session().session, nullptr);
  EXPECT_EQ(Session().recorder, nullptr);
  EXPECT_FALSE(Session().keeper.joinable());
  for (const AudioInputSlot& slot : Session().audio_inputs) {
    EXPECT_EQ(slot.handle, nullptr);
    EXPECT_EQ(slot.current_device, "");
  }
}

const Lines kSessionDestroyed = {"gsdk_session_destroy(session1)"};

TEST_F(SessionFailureTest, DefaultSettingsAreLoggedOneByOneBeforeTheOneDie) {
  CurrentRecorderSettings() = {};
  StartRecordingSession();
  Lines expected;
  for (const char* name :
       {"audio_samplerate", "audio_bitrate", "video_fps", "encoding_crf", "video_max_height",
        "video_max_width", "record_length", "recording_mode", "logging_level"}) {
    expected.push_back(FailureToHost("setting " + std::string(name) + " uninitialized"));
  }
  expected.push_back(DieRequest(7));
  EXPECT_EQ(TakeRecorded(), expected);
}

TEST_F(SessionFailureTest, EachCheckedSettingAloneIsEnoughToFail) {
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    if (!setting.needed) continue;
    CurrentRecorderSettings() = CompleteSettings();
    CurrentRecorderSettings().*std::get<std::int32_t RecorderSettings::*>(setting.member) = 0;
    StartRecordingSession();
    EXPECT_EQ(TakeRecorded(),
              (Lines{FailureToHost("setting " + std::string(setting.key) + " uninitialized"),
                     DieRequest(7)}));
  }
}

TEST_F(SessionFailureTest, BadSettingsLeaveTheRunningSessionAlone) {
  StartRecordingSession();
  TakeRecorded();
  CurrentRecorderSettings().video_fps = 0;
  StartRecordingSession();
  EXPECT_EQ(TakeRecorded(),
            (Lines{FailureToHost("setting video_fps uninitialized"), DieRequest(7)}));
  EXPECT_NE(Session().session, nullptr);
}

TEST_F(SessionFailureTest, GameModeNeedsAProcessOrAWindow) {
  CurrentRecorderSettings().recording_mode = 2;
  CurrentRecorderSettings().game_pid = 0;
  CurrentRecorderSettings().game_hwnd = 0;
  StartRecordingSession();
  EXPECT_EQ(TakeRecorded(),
            (Lines{FailureToHost("game record mode need to supply either a pid or hwnd"),
                   DieRequest(8)}));
  ExpectNoSession();
}

TEST_F(SessionFailureTest, WindowThatIsGoneEndsTheServiceWithZero) {
  StartRecordingSession();
  TakeRecorded();
  Windows().window_exists_times = 0;
  StartRecordingSession();
  EXPECT_EQ(TakeRecorded(),
            Concat({DestructionLines(),
                    {"WindowExists 132456 = false",
                     ToHost("Window to record no longer exists, exiting"), DieRequest(0)}}));
  EXPECT_EQ(Session().session, nullptr);
  EXPECT_EQ(Session().recorder, nullptr);
}

TEST_F(SessionFailureTest, ProcessThatIsGoneEndsTheServiceWithZero) {
  Windows().process = {.exists = false, .elevation = {}};
  ErrorReportingEnabled = true;
  StartRecordingSession();
  const std::string message = "Process to record no longer exists, exiting";
  EXPECT_EQ(TakeRecorded(),
            (Lines{"WindowExists 132456 = true", "sentry_set_tag GLIMRA_GAME_ELEVATION \"\"",
                   "QueryGameProcess 4711", FailureToHost(message),
                   BreadcrumbLine("info", "Recording Process: " + message), DieRequest(0)}));
  ExpectNoSession();
}

// A library call that fails, or is set up to.
struct FailureCase {
  std::string name;
  std::function<void()> arrange;
  Lines lines;
};

// From the failing call's error to the die request.
Lines Raised(const Lines& call, const std::string& message, const Lines& after_log, int number) {
  return Concat({call,
                 {"gsdk_err_code(error1)", "gsdk_err_message(error1)", FailureToHost(message)},
                 after_log,
                 {"gsdk_err_free(error1)", DieRequest(number)}});
}

Lines UpToStart() {
  return Concat({OpeningLines(), CreationLines(), WindowInputLines(), AudioInputLines(),
                 AudioBindingLines(), PropertiesLines(), RecorderLines()});
}

std::vector<FailureCase> FailingCalls() {
  const Lines create = {"gsdk_session_create(null) = error1"};
  const Lines start = {"gsdk_session_start(session1, properties1) = error1"};
  const Lines properties_destroyed = {"gsdk_session_properties_destroy(properties1)"};
  const auto fail = [](const char* function, std::int32_t code) {
    return [=] { Fake().Fail(function, 1, code, "sorry"); };
  };
  return {
      {"create without an encoder", fail("gsdk_session_create", kGsdkErrorNoEncoder),
       Concat({OpeningLines(),
               Raised(create, "No valid encoder found on session creation:sorry", {}, 22)})},
      {"create", fail("gsdk_session_create", 16),
       Concat({OpeningLines(), Raised(create, "Create session failed: sorry", {}, 9)})},
      {"set_video_input", fail("gsdk_session_set_video_input", kGsdkErrorNoEncoder),
       Concat({OpeningLines(),
               {"gsdk_session_create(null) = session1", "sentry_set_tag CAPTURE_MODE \"window\"",
                "gsdk_session_set_video_input(session1, \"window\") = error1",
                "gsdk_err_message(error1)", FailureToHost("Setting video input type failed: sorry"),
                "gsdk_err_free(error1)", DieRequest(11)},
               kSessionDestroyed})},
      {"start without an encoder", fail("gsdk_session_start", kGsdkErrorNoEncoder),
       Concat({UpToStart(),
               Raised(start, "No valid encoder found on session creation:sorry",
                      properties_destroyed, 22),
               DestructionLines()})},
      {"start", fail("gsdk_session_start", kGsdkErrorHopelessInput),
       Concat({UpToStart(),
               Raised(start, "Failed to start session: sorry", properties_destroyed, 17),
               DestructionLines()})},
  };
}

TEST_F(SessionFailureTest, FailingCallIsLoggedFreedPostedAndCleanedUp) {
  for (const FailureCase& c : FailingCalls()) {
    SCOPED_TRACE(c.name);
    TearDown();
    SetUp();
    c.arrange();
    StartRecordingSession();
    EXPECT_EQ(TakeRecorded(), c.lines);
    ExpectNoSession();
    EXPECT_EQ(Watch().thread.joinable(), c.name.starts_with("start"));
  }
}

TEST_F(SessionFailureTest, UnknownModeIsNoticedOnceTheSessionIsThere) {
  for (const auto& [mode, text] : {std::pair{4, "4"},
                                   {7, "7"},
                                   {-1, "4294967295"},
                                   {std::numeric_limits<std::int32_t>::min(), "2147483648"}}) {
    TearDown();
    SetUp();
    CurrentRecorderSettings().recording_mode = mode;
    StartRecordingSession();
    EXPECT_EQ(
        TakeRecorded(),
        Concat({OpeningLines(),
                {"gsdk_session_create(null) = session1",
                 FailureToHost("unknown recording mode: " + std::string(text)), DieRequest(10)},
                kSessionDestroyed}));
    ExpectNoSession();
  }
}

TEST_F(SessionFailureTest, EncoderThatIsMissingIsNotedOnlyOtherFailuresAreEvents) {
  ErrorReportingEnabled = true;
  Fake().Fail("gsdk_session_create", 1, kGsdkErrorNoEncoder, "sorry");
  Fake().Fail("gsdk_session_create", 2, 1, "sorry");
  StartRecordingSession();
  const Lines missing = TakeRecorded();
  EXPECT_THAT(missing, ::testing::Contains(BreadcrumbLine(
                           "info",
                           "22 GSDKEncoderNotFound: No valid encoder found on session "
                           "creation:sorry")));
  EXPECT_THAT(missing,
              ::testing::Not(::testing::Contains(::testing::StartsWith("sentry_capture_event"))));
  StartRecordingSession();
  EXPECT_THAT(TakeRecorded(), ::testing::Contains(EventLine("Error 9 GSDKSessionCreateFailed",
                                                            "Create session failed: sorry")));
}

TEST_F(SessionFailureTest, AudioListThatCannotBeReadPostsTheDieAndTheStartGoesOn) {
  Fake().Fail("gsdk_input_properties", 2, 1, "sorry");
  StartRecordingSession();
  EXPECT_EQ(TakeRecorded(),
            Concat({OpeningLines(),
                    CreationLines(),
                    WindowInputLines(),
                    AudioInputLines(),
                    {"gsdk_input_properties(\"audio_output\") = error1", "gsdk_err_message(error1)",
                     FailureToHost("getting audio_output failed: sorry"), "gsdk_err_free(error1)",
                     DieRequest(3)},
                    PropertiesLines(),
                    RecorderLines(),
                    StartLines()}));
}

TEST_F(SessionFailureTest, ExceptionOutOfAnyCallLeavesNothingBehind) {
  for (const char* function :
       {"gsdk_logging_set_callback", "gsdk_logging_set_global_level", "gsdk_session_create",
        "gsdk_session_set_video_input", "gsdk_input_properties", "gsdk_session_update_video_input",
        "gsdk_session_add_audio_input", "gsdk_session_update_audio_input_handle",
        "gsdk_session_properties_create", "gsdk_session_properties_set_error_callback",
        "gsdk_recorder_create", "gsdk_recorder_set_duration", "gsdk_session_start"}) {
    SCOPED_TRACE(function);
    TearDown();
    SetUp();
    Fake().OnCall(function, 1, [] { throw std::runtime_error("out of the library"); });
    EXPECT_THROW(StartRecordingSession(), std::runtime_error);
    ExpectNoSession();
    EXPECT_TRUE(Session().mutex.try_lock());
    Session().mutex.unlock();
  }
}

TEST_F(SessionFailureTest, NextStartAfterAFailedOneWorks) {
  Fake().Fail("gsdk_session_start", 1, kGsdkErrorHopelessInput, "sorry");
  StartRecordingSession();
  StartRecordingSession();
  EXPECT_NE(Session().session, nullptr);
  EXPECT_EQ(TakeRecorded().back(), "gsdk_session_properties_destroy(properties2)");
}

}  // namespace
}  // namespace core_test
