// What becomes of lines and failures while error reporting is on.
#include <algorithm>

#include "tests/e2e/reports.h"
#include "tests/e2e/service_test.h"
#include "tests/e2e/session_calls.h"

namespace e2e {
namespace {

const std::string kCapture = "capture settings: " + GameCaptureSettings();

class Reporting : public ServiceTest {};

TEST_F(Reporting, WithoutSettingsNothingIsReported) {
  ServiceRun& run = Start();
  run.Send(Restart());
  ExpectCleanExit(run, 7);
  EXPECT_EQ(ReportCalls(run), Texts{});
}

TEST_F(Reporting, LinesFromBeforeTheSetUpAreNotKept) {
  ServiceRun& run = Start();
  StartRecording(run, Settings());
  EXPECT_TRUE(run.WaitForText(Line(kCapture)));
  run.Send(ReportingSettings());
  run.Send(Restart());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  ExpectCleanDie(run);
  EXPECT_EQ(run.Texts(), (Texts{Line(kCapture), Line(kCapture)}));
  EXPECT_EQ(Incidents(run), Texts{"info: " + kCapture});
}

TEST_F(Reporting, AnEventIsBuiltMemberByMember) {
  ServiceRun& run = Start({.script = FailingCall("gsdk_session_create", 1, "no session")});
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  ExpectCleanExit(run, 9);
  Texts calls = ReportCalls(run);
  const auto begin = std::find_if(calls.begin(), calls.end(), [](const std::string& call) {
    return call.find("GLIMRA_GAME_ELEVATION") != std::string::npos;
  });
  ASSERT_GE(calls.end() - begin, 2);
  calls.erase(calls.begin(), begin + 2);
  const std::string type = R"("type": "Error 9 GSDKSessionCreateFailed")";
  const std::string value = R"("value": "Create session failed: no session")";
  const std::string event = "{\"exception\": {" + type + ", " + value + "}}";
  const std::string breadcrumb =
      R"({"message": "Create session failed: no session", "type": "default"})";
  // The order in which values are made before they are put together is of no account.
  std::erase_if(calls,
                [](const std::string& call) { return call.starts_with("sentry_value_new_"); });
  EXPECT_EQ(
      calls,
      Join(
          {{R"(sentry_value_set_by_key {"key": "type", "member": "Error 9 GSDKSessionCreateFailed", )"
            R"("object": {}, "result": 0})",
            R"(sentry_value_set_by_key {"key": "value", "member": )"
            R"("Create session failed: no session", "object": {)" +
                type + R"(}, "result": 0})",
            "sentry_value_set_by_key {\"key\": \"exception\", \"member\": {" + type + ", " + value +
                "}, \"object\": {}, \"result\": 0}",
            "sentry_event_value_add_stacktrace {\"addresses\": null, \"count\": 0, \"event\": " +
                event + "}",
            "sentry_capture_event {\"event\": " + event + "}",
            "sentry_value_set_by_key {\"key\": \"level\", \"member\": \"error\", \"object\": " +
                breadcrumb + ", \"result\": 0}",
            R"(sentry_add_breadcrumb {"breadcrumb": {"level": "error", "message": )"
            R"("Create session failed: no session", "type": "default"}})"},
           {ShutDownCall()}}));
  EXPECT_EQ(ReportMisuses(run), Texts{});
}

TEST_F(Reporting, UnsetSettingsAreEventsWithoutANumber) {
  ServiceRun& run = Start();
  run.Send(ReportingSettings());
  run.Send(Restart());
  ExpectCleanExit(run, 7);
  EXPECT_EQ(run.Texts().size(), 9U);
  EXPECT_EQ(Incidents(run), ExpectedIncidents(run.Texts(), "RecorderSettings", Reported::kAsEvent));
  EXPECT_EQ(ReportMisuses(run), Texts{});
}

TEST_F(Reporting, ASessionSetsTheModeAndTheGamesElevation) {
  ServiceRun& run = Start();
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  ExpectCleanDie(run);
  Texts tags = ReportCalls(run, "sentry_set_tag");
  std::erase_if(tags, [](const std::string& tag) {
    return tag.find("ELEVATION") == std::string::npos && tag.find("MODE\"") == std::string::npos;
  });
  // The service's own elevation is the test's, which is the game's here.
  const std::string own = tags.at(0);
  const std::string prefix = R"(sentry_set_tag {"name": "PROCESS_ELEVATION", "value": )";
  ASSERT_TRUE(own.starts_with(prefix)) << own;
  EXPECT_EQ(tags, (Texts{own, TagCall("GLIMRA_GAME_ELEVATION", ""),
                         R"(sentry_set_tag {"name": "GLIMRA_GAME_ELEVATION", "value": )" +
                             own.substr(prefix.size()),
                         TagCall("CAPTURE_MODE", "game")}));
  EXPECT_EQ(Incidents(run), Texts{"info: " + kCapture});
}

TEST_F(Reporting, AGameThatIsOnlyAWindowHasNoElevation) {
  const TestWindow window;
  ServiceRun& run = Start();
  run.Send(ReportingSettings());
  StartRecording(run, Settings({{"game_hwnd", window.Number()}, {"game_pid", nullptr}}));
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  ExpectCleanDie(run);
  Texts tags = ReportCalls(run, "sentry_set_tag");
  std::erase_if(tags, [](const std::string& tag) {
    return tag.find("GLIMRA_GAME_ELEVATION") == std::string::npos;
  });
  EXPECT_EQ(tags, Texts{TagCall("GLIMRA_GAME_ELEVATION", "")});
}

TEST_F(Reporting, AFailedInputAndAFailedBindingAreEventsWithoutANumber) {
  Json::object calls =
      FailingCall("gsdk_session_add_audio_input", 1, "no input")["calls"].object_items();
  calls.merge(
      Json::object(FailingCall("gsdk_session_update_audio_input_handle", 1, "no device")["calls"]
                       .object_items()));
  const std::string list = R"({"device_id": {"values": [{"value": "a"}]}})";
  ServiceRun& run =
      Start({.script = Json::object{{"calls", calls},
                                    {"lists", Json::object{{"audio_output", Json::array{list}}}}}});
  run.Send(ReportingSettings());
  StartRecording(run, Settings({{"audio_game", "a"}}));
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  ExpectCleanDie(run);
  EXPECT_EQ(Incidents(run),
            (Texts{"info: " + kCapture, "event Error Audio Input: Add audio input failed: no input",
                   "error: Add audio input failed: no input",
                   "event Error Update audio settings: Update audio settings failed: no device",
                   "error: Update audio settings failed: no device"}));
}

TEST_F(Reporting, LibraryLinesAreInfoBreadcrumbs) {
  ServiceRun& run = Start(
      {.script = Json::object{
           {"calls", Json::object{{"gsdk_session_create",
                                   Json::array{Json::object{
                                       {"log", Json::array{"one", "\xC3\xA9", nullptr}}}}}}}}});
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  ExpectCleanDie(run);
  EXPECT_EQ(Incidents(run), (Texts{"info: one", "info: \xC3\xA9", "info: ", "info: " + kCapture}));
}

TEST_F(Reporting, AHungSessionIsAnEventWithoutABreadcrumbBeforeTheShutdown) {
  ServiceRun& run = Start(
      {.script = Json::object{
           {"calls",
            Json::object{{"gsdk_session_destroy", Json::array{Json::object{{"hang", true}}}}}}}});
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  run.Send(Die(5));
  EXPECT_EQ(run.WaitForExit(), 201U);
  EXPECT_EQ(Incidents(run),
            (Texts{"info: " + kCapture,
                   "event Error 201 JoinThreadError: gsdk thread timed out when trying to stop, "
                   "dieing hard..."}));
  const Texts calls = ReportCalls(run);
  EXPECT_EQ(Last(calls), ShutDownCall());
  EXPECT_EQ(std::count(calls.begin(), calls.end(), ShutDownCall()), 1);
}

TEST_F(Reporting, AStallIsAnInfoBreadcrumb) {
  const Json one_packet = Json::object{
      {"threads", Json::array{Json::object{{"steps", Json::array{Json::object{{"packets", 1}}}}}}}};
  ServiceRun& run =
      Start({.script = Json::object{{"sessions", Json::array{one_packet, Json::object{}}}}});
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  ExpectCleanDie(run);
  EXPECT_EQ(Incidents(run), ExpectedIncidents(run.Texts(), "", Reported::kAsInfo));
}

}  // namespace
}  // namespace e2e
