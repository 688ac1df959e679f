// Every way in which a session start fails at once: what the host is told, what the library is
// asked, and what the service ends with.
#include "tests/e2e/reports.h"
#include "tests/e2e/service_test.h"
#include "tests/e2e/session_calls.h"

namespace e2e {
namespace {

// A session start that fails.
struct FailedStart {
  const char* name;
  Json settings;
  Json script;
  Texts texts;       // what the host is told
  std::string kind;  // as reported: the failure's number, which is the exit code too, and name
  Reported reported;
  Texts calls;  // from the session's creation on; empty when the library is not called at all

  std::uint32_t ExitCode() const {
    const int code = std::atoi(kind.c_str());
    return static_cast<std::uint32_t>(code);  // 0 for a kind without a number
  }
};

void PrintTo(const FailedStart& failure, std::ostream* out) { *out << failure.name; }

class SessionFailure : public ServiceTest, public ::testing::WithParamInterface<FailedStart> {};

TEST_P(SessionFailure, EndsTheServiceWithItsCode) {
  const FailedStart& failure = GetParam();
  ServiceRun& run = Start({.script = failure.script});
  run.Send(ReportingSettings());
  run.SendOdd(RecorderSettings(failure.settings).dump());
  run.Send(Restart());
  ExpectCleanExit(run, failure.ExitCode());
  EXPECT_EQ(run.Texts(), failure.texts);
  EXPECT_EQ(run.Calls().Calls(), failure.calls);
  EXPECT_EQ(Incidents(run), ExpectedIncidents(failure.texts, failure.kind, failure.reported));
  EXPECT_EQ(ReportMisuses(run), Texts{});
}

constexpr int kNoWindow = 0x7FFE;

const Texts kMessageAndFree = {"gsdk_err_message(error1)", "gsdk_err_free(error1)"};

// A script with one answer to the question for the list of `kind`.
Json ListScript(const std::string& kind, const Json& answer) {
  return Json::object{{"lists", Json::object{{kind, Json::array{answer}}}}};
}

FailedStart FailedCreate(const char* name, int code, const std::string& prefix,
                         const std::string& kind, Reported reported) {
  return {name,
          Settings(),
          FailingCall("gsdk_session_create", code, "no luck"),
          {Failure(prefix + "no luck")},
          kind,
          reported,
          SessionCalls::FailedCreate()};
}

FailedStart UnknownMode(const char* name, int mode, const std::string& text) {
  return {name,
          Settings({{"recording_mode", mode}}),
          {},
          {Failure("unknown recording mode: " + text)},
          "10 UnknownRecordingMode",
          Reported::kAsEvent,
          Join({SessionCalls().Create(), SessionCalls().DestroySessionOnly()})};
}

// A monitor or window list that can't be had or read; `answer` is the library's text, or nothing
// when the call fails.
FailedStart FailedList(const char* name, int mode, const std::optional<Json>& answer,
                       const std::string& message, const std::string& kind) {
  const std::string list = mode == 1 ? "monitor" : "window";
  const SessionCalls calls = {.mode = list};
  Texts list_calls = {"gsdk_input_properties(" + list + ") = true text1",
                      "gsdk_input_properties_free(text1)"};
  if (!answer) {
    list_calls = Join({{"gsdk_input_properties(" + list + ") = false error1"}, kMessageAndFree});
  } else if (answer->is_null()) {
    list_calls = {"gsdk_input_properties(" + list + ") = true null"};
  }
  return {name,
          Settings({{"recording_mode", mode}}),
          answer ? ListScript(list, *answer) : FailingCall("gsdk_input_properties", 3, "no list"),
          {Failure(message)},
          kind,
          Reported::kAsEvent,
          Join({calls.Create(), calls.SetVideoInput(), list_calls, calls.DestroySessionOnly()})};
}

FailedStart FailedSessionStart(const char* name, int code, const std::string& prefix,
                               const std::string& kind, Reported reported) {
  const SessionCalls calls;
  return {name,
          Settings(),
          FailingCall("gsdk_session_start", code, "no start"),
          {GameCaptureLine(), Failure(prefix + "no start")},
          kind,
          reported,
          Join({calls.Create(),
                calls.SetVideoInput(),
                calls.UpdateVideoInput(),
                calls.ReadAudioLists(),
                calls.Configure(),
                {"gsdk_session_start(session1, properties1) = false error1",
                 "gsdk_err_code(error1)", "gsdk_err_message(error1)",
                 "gsdk_session_properties_destroy(properties1)", "gsdk_err_free(error1)"},
                calls.Destroy()})};
}

INSTANTIATE_TEST_SUITE_P(
    Table, SessionFailure,
    ::testing::Values(
        FailedStart{"GameWithoutPidAndWindow",
                    Settings({{"game_pid", nullptr}}),
                    {},
                    {Failure("game record mode need to supply either a pid or hwnd")},
                    "8 MissingGamePid",
                    Reported::kAsEvent,
                    {}},
        FailedStart{"WindowGone",
                    Settings({{"game_hwnd", kNoWindow}}),
                    {},
                    {Line("Window to record no longer exists, exiting")},
                    "",
                    Reported::kAsInfo,
                    {}},
        FailedStart{"ProcessGone",
                    Settings({{"game_pid", 0x7FFFFFF0}}),
                    {},
                    {Failure("Process to record no longer exists, exiting")},
                    "Recording Process",
                    Reported::kAsInfo,
                    {}},
        FailedCreate("CreateWithoutEncoder", 15, "No valid encoder found on session creation:",
                     "22 GSDKEncoderNotFound", Reported::kAsInfo),
        FailedCreate("Create", 16, "Create session failed: ", "9 GSDKSessionCreateFailed",
                     Reported::kAsEvent),
        FailedCreate("CreateWithCodeZero", 0,
                     "Create session failed: ", "9 GSDKSessionCreateFailed", Reported::kAsEvent),
        UnknownMode("ModeFour", 4, "4"), UnknownMode("NegativeMode", -1, "4294967295"),
        FailedStart{"SetVideoInput",
                    Settings(),
                    FailingCall("gsdk_session_set_video_input", 15, "no \"type\""),
                    {Failure("Setting video input type failed: no \"type\"")},
                    "11 GSDKSetVideoInputFailed",
                    Reported::kAsEvent,
                    Join({SessionCalls().Create(),
                          {"gsdk_session_set_video_input(session1, game) = false error1"},
                          kMessageAndFree,
                          SessionCalls().DestroySessionOnly()})},
        FailedList("MonitorList", 1, std::nullopt, "getting monitors failed: no list",
                   "12 GSDKReadMonitorPropertiesFailed"),
        FailedList("MonitorListNull", 1, Json(),
                   "error parsing gsdk_input_properties json: null input",
                   "13 CannotParseMonitorData"),
        FailedList("MonitorListMalformed", 1, "{\"monitor\": ", ParseError("{\"monitor\": "),
                   "13 CannotParseMonitorData"),
        FailedList("MonitorListEmpty", 1, "", ParseError(""), "13 CannotParseMonitorData"),
        FailedList("MonitorListJsonNull", 1, "null", ParseError("null"),
                   "13 CannotParseMonitorData"),
        FailedList("WindowList", 3, std::nullopt, "getting windows failed: no list",
                   "14 GSDKReadWindowPropertiesFailed"),
        FailedList("WindowListNull", 3, Json(),
                   "error parsing gsdk_input_properties json: null input",
                   "15 CannotParseWindowData"),
        FailedList("WindowListMalformed", 3, "[1, 2", ParseError("[1, 2"),
                   "15 CannotParseWindowData"),
        FailedList("WindowListJsonNull", 3, " null ", ParseError(" null "),
                   "15 CannotParseWindowData"),
        FailedList("WindowNotListed", 3, R"({"window": {"values": [{"value": {"hwnd": 5}}]}})",
                   "Window (0.000000) not found??? failing.", "20 CannotFindWindow"),
        FailedList("WindowListWithoutValues", 3, "{}", "Window (0.000000) not found??? failing.",
                   "20 CannotFindWindow"),
        FailedStart{
            "UpdateVideoInputHopeless",
            Settings(),
            FailingCall("gsdk_session_update_video_input", 24, "no hope"),
            {GameCaptureLine(), Failure("[game] Could not set video input after updates, failing")},
            "16 FailedToSetVideoInput",
            Reported::kAsInfo,
            Join({SessionCalls().Create(),
                  SessionCalls().SetVideoInput(),
                  {"gsdk_session_update_video_input(session1, " + GameCaptureSettings() +
                       ") = false error1",
                   "gsdk_err_code(error1)", "gsdk_err_free(error1)"},
                  SessionCalls().DestroySessionOnly()})},
        FailedSessionStart("StartWithoutEncoder", 15, "No valid encoder found on session creation:",
                           "22 GSDKEncoderNotFound", Reported::kAsInfo),
        FailedSessionStart("Start", 14, "Failed to start session: ", "17 GSDKSessionStartFailed",
                           Reported::kAsEvent)),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace e2e
