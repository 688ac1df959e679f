// How the service ends while the library hangs or won't be quiet.
#include "tests/e2e/reports.h"
#include "tests/e2e/service_test.h"
#include "tests/e2e/session_calls.h"

namespace e2e {
namespace {

Json HangingDestroy() {
  return Json::object{
      {"calls", Json::object{{"gsdk_session_destroy", Json::array{Json::object{{"hang", true}}}}}}};
}

// A session whose threads go on after its end.
Json Survivors(const std::vector<Json>& steps) {
  Json::array threads;
  for (const Json& step : steps) {
    threads.push_back(Json::object{{"survives_destroy", true}, {"steps", Json::array{step}}});
  }
  return Json::object{{"sessions", Json::array{Json::object{{"threads", threads}}}}};
}

constexpr std::int64_t kJoinTimeoutMicroseconds = 10'000'000;

class Shutdown : public ServiceTest {
 protected:
  // Expects the service to end by giving up on the library's destruction of the session.
  static void ExpectHardEnd(ServiceRun& run) {
    EXPECT_EQ(run.WaitForExit(), 201U);
    const auto now = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
    EXPECT_GE(now.count(),
              run.Calls().TimesOf("gsdk_session_destroy").at(0) + kJoinTimeoutMicroseconds);
    // The host learns of it by the exit code only.
    EXPECT_EQ(run.Texts(), Texts{GameCaptureLine()});
    EXPECT_EQ(run.Calls().CallsThatStart("gsdk_recorder_destroy"), Texts{});
  }

  // Expects errors of the connection to have come when all sessions were gone already, and none of
  // the restarts that they ask for to have been made but the one that had begun before the end.
  static void ExpectRequestsUntilTheEnd(const ServiceRun& run) {
    const CallLog log = run.Calls();
    const std::size_t sessions = log.TimesOf("gsdk_session_create").size();
    EXPECT_LE(sessions, 2U);
    ASSERT_EQ(log.TimesOf("gsdk_recorder_destroy").size(), sessions);
    EXPECT_GT(log.TimesOf("gsdk_err_free").back(), log.TimesOf("gsdk_recorder_destroy").back());
  }
};

TEST_F(Shutdown, DestroysTheSessionThenEndsReportingThenUnloadsTheLibrary) {
  // Given one log for the capture library and for the error-reporting SDK
  const TemporaryFolder folder;
  const std::filesystem::path log = folder.Path() / "both.jsonl";
  ServiceRun& run = Start({.variables = {{L"GSDK_DOUBLE_LOG", log.wstring()},
                                         {L"RECORDING_SENTRY_LOG", log.wstring()}}});
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  EXPECT_TRUE(run.WaitUntil(
      [&] { return !CallLog(log).CallsThatStart("gsdk_session_properties_destroy").empty(); }));
  run.Send(Die(54));
  EXPECT_EQ(run.WaitForExit(), 54U);

  Texts ends;
  for (const Json& line : ReadJsonLines(log)) {
    const std::string& call = line["call"].string_value();
    if (call.find("destroy") != std::string::npos || call == "sentry_shutdown") {
      ends.push_back(call);
    }
    if (line["detach"].is_string()) ends.push_back("gsdk.dll: " + line["detach"].string_value());
  }
  EXPECT_EQ(ends, (Texts{"gsdk_session_properties_destroy", "gsdk_session_destroy",
                         "gsdk_recorder_destroy", "sentry_shutdown", "gsdk.dll: free_library"}));
}

TEST_F(Shutdown, ASessionThatCannotBeDestroyedEndsTheProcessHard) {
  ServiceRun& run = StartRecordingService({.script = HangingDestroy()}, Settings());
  run.Send(Die(5));
  ExpectHardEnd(run);
}

TEST_F(Shutdown, ASessionThatCannotBeDestroyedAtARestartEndsTheProcessHard) {
  ServiceRun& run = StartRecordingService({.script = HangingDestroy()}, Settings());
  run.Send(Restart());
  ExpectHardEnd(run);
}

TEST_F(Shutdown, ADumpAndAHungDestroyTogetherEndTheProcessHard) {
  Json::object script = HangingDestroy().object_items();
  script["dumps"] = Json::array{Json::object{{"hang", true}}};
  ServiceRun& run = StartRecordingService({.script = script}, Settings());
  run.Send(Clip("a", "1"));
  EXPECT_TRUE(run.WaitForCall("gsdk_recorder_dump"));
  run.Send(Die(5));
  ExpectHardEnd(run);
}

TEST_F(Shutdown, PacketsThatDoNotStopDoNotHoldUpTheEnd) {
  const Json packets = Json::object{{"packets", -1}};
  ServiceRun& run = StartRecordingService({.script = Survivors({packets, packets})}, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_encoded_packet_release", 6));
  run.Send(Die(51));
  EXPECT_EQ(run.WaitForExit(), 51U);
}

TEST_F(Shutdown, LinesThatDoNotStopDoNotHoldUpTheEnd) {
  // Slow enough for the host to keep up, fast enough to be under way at any moment
  const Json lines = Json::object{{"log", "and on"}, {"count", -1}, {"interval_us", 200}};
  ServiceRun& run = StartRecordingService({.script = Survivors({lines, lines})}, Settings());
  EXPECT_TRUE(run.WaitForTextCount(50));
  run.Send(Die(52));
  EXPECT_EQ(run.WaitForExit(), 52U);
}

TEST_F(Shutdown, RestartRequestsThatDoNotStopDoNotHoldUpTheEnd) {
  const Json errors = Json::object{{"error", 8}, {"count", -1}, {"interval_us", 200}};
  ServiceRun& run = StartRecordingService({.script = Survivors({errors, errors})}, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_err_free", 50));
  run.Send(Die(53));
  EXPECT_EQ(run.WaitForExit(), 53U);
  ExpectRequestsUntilTheEnd(run);
}

TEST_F(Shutdown, ErrorsPacketsAndLinesAtOnceDoNotHoldUpTheEnd) {
  ServiceRun& run = StartRecordingService(
      {.script = Survivors({Json::object{{"packets", -1}},
                            Json::object{{"log", "and on"}, {"count", -1}, {"interval_us", 200}},
                            Json::object{{"error", 29}, {"count", -1}, {"interval_us", 200}}})},
      Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_encoded_packet_release", 3));
  EXPECT_TRUE(run.WaitForCall("gsdk_err_free", 20));
  EXPECT_TRUE(run.WaitForTextCount(20));
  run.Pipe().Close();
  EXPECT_EQ(run.WaitForExit(), 0U);
  ExpectRequestsUntilTheEnd(run);
}

TEST_F(Shutdown, AllObjectsGoBackBeforeTheLibraryIsUnloaded) {
  ServiceRun& run = StartRecordingService({}, Settings());
  ExpectCleanDie(run);
  const CallLog log = run.Calls();
  EXPECT_EQ(log.Made("session"), 1);
  EXPECT_EQ(log.Made("recorder"), 1);
  EXPECT_EQ(log.Made("properties"), 1);
  EXPECT_EQ(Last(log.Calls()), "gsdk_recorder_destroy(recorder1)");
}

TEST_F(Shutdown, TheHostLeavingTearsTheSessionDown) {
  ServiceRun& run = StartRecordingService({}, Settings());
  run.Pipe().Close();
  ExpectCleanExit(run, 0);
  EXPECT_EQ(run.Calls().Calls(), Join({SessionCalls().WholeStart(), SessionCalls().Destroy()}));
}

}  // namespace
}  // namespace e2e
