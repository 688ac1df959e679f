// Errors that end the capture connection, packets that stop, and what the service does about them.
#include <algorithm>

#include "tests/e2e/reports.h"
#include "tests/e2e/service_test.h"
#include "tests/e2e/session_calls.h"

namespace e2e {
namespace {

Json Error(int code, const std::string& message) {
  return Json::object{{"error", code}, {"message", message}};
}

// A session whose library threads take the given steps, one list for each thread.
Json Session(const std::vector<Json::array>& threads) {
  Json::array list;
  for (const Json::array& steps : threads) list.push_back(Json::object{{"steps", steps}});
  return Json::object{{"threads", list}};
}

// A script whose n-th session does what the n-th entry says; the last is for all later ones.
Json Sessions(const Json::array& sessions) { return Json::object{{"sessions", sessions}}; }

const Json kQuietSession = Json::object{};
const std::string kRetry = Line("gsdk_hook_inject_retry exception, Retrying...");
const Texts kCodeAndFree = {"gsdk_err_code(error1)", "gsdk_err_free(error1)"};
const Texts kCodeMessageAndFree = {"gsdk_err_code(error1)", "gsdk_err_message(error1)",
                                   "gsdk_err_free(error1)"};

std::string Terminated(const std::string& message) {
  return Failure("Error occurred that terminated the connection: " + message);
}

class ConnectionError : public ServiceTest {};

class RestartingError : public ServiceTest, public ::testing::WithParamInterface<int> {};

TEST_P(RestartingError, RestartsWithoutALine) {
  ServiceRun& run = StartRecordingService(
      {.script = Sessions({Session({{Error(GetParam(), "never read")}}), kQuietSession})},
      Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  ExpectCleanDie(run);
  EXPECT_EQ(run.Texts(), (Texts{GameCaptureLine(), GameCaptureLine()}));
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_err_"), kCodeAndFree);
  const CallLog log = run.Calls();
  EXPECT_GE(log.TimesOf("gsdk_session_create").at(1),
            log.TimesOf("gsdk_err_free").at(0) + 3'000'000);
}

INSTANTIATE_TEST_SUITE_P(Codes, RestartingError, ::testing::Values(8, 29),
                         ::testing::PrintToStringParamName());

TEST_F(ConnectionError, RestartingErrorsAreNotLimited) {
  // Seven at once make seven restarts; a die after the second spares the test the others.
  Json::array steps;
  for (int i = 0; i < 7; ++i) steps.push_back(Error(i % 2 == 0 ? 8 : 29, "again"));
  ServiceRun& run =
      StartRecordingService({.script = Sessions({Session({steps}), kQuietSession})}, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 3));
  ExpectCleanDie(run);
}

TEST_F(ConnectionError, HookInjectRetriesRestart) {
  ServiceRun& run = StartRecordingService(
      {.script = Sessions({Session({{Error(28, "not hooked")}}), kQuietSession})}, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  ExpectCleanDie(run);
  EXPECT_EQ(run.Texts(), (Texts{GameCaptureLine(), kRetry, GameCaptureLine()}));
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_err_"), kCodeAndFree);
}

TEST_F(ConnectionError, TheSixthHookInjectRetryEndsTheService) {
  ServiceRun& run = Start(
      {.script = Sessions({Session({Json::array(6, Error(28, "not hooked"))}), kQuietSession})});
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  ExpectCleanExit(run, 18);
  const Texts expected = {GameCaptureLine(),       kRetry, kRetry, kRetry, kRetry, kRetry,
                          Terminated("not hooked")};
  EXPECT_EQ(run.Texts(), expected);
  // The worker may have begun with the first restart, whose session then adds a breadcrumb.
  Texts incidents = Incidents(run);
  incidents.resize(std::min(incidents.size(), expected.size()));
  EXPECT_EQ(incidents, ExpectedIncidents(expected, "18 GSDKHookInjectRetry", Reported::kAsInfo));
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_err_message"), Texts{"gsdk_err_message(error6)"});
}

TEST_F(ConnectionError, HookInjectRetriesAddUpAcrossSessions) {
  ServiceRun& run = Start({.script = Sessions({Session({Json::array(5, Error(28, "five"))}),
                                               Session({{Error(28, "sixth")}}), kQuietSession})});
  StartRecording(run, Settings());
  ExpectCleanExit(run, 18);
  EXPECT_EQ(run.Texts(), (Texts{GameCaptureLine(), kRetry, kRetry, kRetry, kRetry, kRetry,
                                GameCaptureLine(), Terminated("sixth")}));
}

// An error that ends the service.
struct FatalError {
  const char* name;
  int code;
  Json message;
  std::string text;
  std::string kind;  // as reported: the failure's number, which is the exit code too, and name
  Reported reported;
};

void PrintTo(const FatalError& error, std::ostream* out) { *out << error.name; }

class FatalConnectionError : public ServiceTest,
                             public ::testing::WithParamInterface<FatalError> {};

TEST_P(FatalConnectionError, EndsTheServiceWithItsCode) {
  const FatalError& error = GetParam();
  const Json step = Json::object{{"error", error.code}, {"message", error.message}};
  ServiceRun& run = Start({.script = Sessions({Session({{step}})})});
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  ExpectCleanExit(run, static_cast<std::uint32_t>(std::stoi(error.kind)));
  const Texts expected = {GameCaptureLine(), Terminated(error.text)};
  EXPECT_EQ(run.Texts(), expected);
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_err_"), kCodeMessageAndFree);
  EXPECT_EQ(Incidents(run), ExpectedIncidents(expected, error.kind, error.reported));
}

INSTANTIATE_TEST_SUITE_P(
    Table, FatalConnectionError,
    ::testing::Values(
        FatalError{"MonitorCapture", 31, "monitor gone", "monitor gone",
                   "21 GSDKMonitorCaptureFailed", Reported::kAsInfo},
        FatalError{"Thirty", 30, "unknown \xC3\xBC", "unknown \xC3\xBC", "200 GSDKGenericExitError",
                   Reported::kAsEvent},
        FatalError{"Zero", 0, "zero", "zero", "200 GSDKGenericExitError", Reported::kAsEvent},
        FatalError{"Negative", -8, "minus eight", "minus eight", "200 GSDKGenericExitError",
                   Reported::kAsEvent},
        FatalError{"NoMessage", 30, Json(), "", "200 GSDKGenericExitError", Reported::kAsEvent}),
    [](const auto& test) { return test.param.name; });

TEST_F(ConnectionError, AnErrorWithoutAnObjectEndsTheService) {
  ServiceRun& run = Start(
      {.script = Sessions({Session({{Json::object{{"error", 8}, {"error_object", false}}}})})});
  StartRecording(run, Settings());
  ExpectCleanExit(run, 200);
  EXPECT_EQ(run.Texts(), (Texts{GameCaptureLine(), Terminated("")}));
}

TEST_F(ConnectionError, ErrorsFromManyThreadsAreEachFreedOnce) {
  ServiceRun& run =
      Start({.script = Sessions(
                 {Session({Json::array(50, Error(8, "a")), Json::array(50, Error(29, "b")),
                           Json::array(50, Error(8, "c")), Json::array(50, Error(29, "d"))}),
                  kQuietSession})});
  StartRecording(run, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_err_free", 200));
  ExpectCleanDie(run, 5);
  EXPECT_EQ(run.Calls().Made("error"), 200);
}

class Packets : public ServiceTest {
 protected:
  static Json PacketStep(int count, int interval_us = 0) {
    return Json::object{{"packets", count}, {"interval_us", interval_us}};
  }
};

TEST_F(Packets, EachIsPushedAndReleased) {
  ServiceRun& run =
      StartRecordingService({.script = Sessions({Session({{PacketStep(3)}})})}, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_encoded_packet_release", 3));
  ExpectCleanDie(run);
  Texts expected;
  for (int i = 0; i < 3; ++i) {
    expected.push_back("gsdk_recorder_push_packet(recorder1, packet1)");
    expected.push_back("gsdk_encoded_packet_release(packet1)");
  }
  Texts calls = run.Calls().Calls();
  std::erase_if(calls,
                [](const std::string& call) { return call.find("packet") == std::string::npos; });
  EXPECT_EQ(calls, expected);
  EXPECT_EQ(run.Calls().Made("packet"), 3);
}

TEST_F(Packets, AtFullSpeedFromTwoThreadsNoneIsLost) {
  ServiceRun& run = StartRecordingService(
      {.script = Sessions({Session({{PacketStep(-1)}, {PacketStep(-1)}})})}, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_encoded_packet_release", 6));
  // Clips, audio changes and a restart go on beside them.
  for (int i = 0; i < 20; ++i) {
    run.Send(Clip("a", std::to_string(i)));
    run.Send(ChangeAudio());
  }
  run.Send(Restart());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  EXPECT_TRUE(run.WaitForCall("gsdk_encoded_packet_release(", 12));
  ExpectCleanDie(run, 6);
  EXPECT_EQ(run.Calls().Made("packet"), run.Calls().GivenBack("packet"));
}

TEST_F(Packets, ThatStopForTenSecondsRestartTheSession) {
  ServiceRun& run = StartRecordingService(
      {.script = Sessions({Session({{PacketStep(3)}}), kQuietSession})}, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  ExpectCleanDie(run);
  EXPECT_EQ(run.Texts(),
            (Texts{GameCaptureLine(), Line("No recording packets seen within timeout, restarting"),
                   GameCaptureLine()}));
  const CallLog log = run.Calls();
  EXPECT_GE(log.TimesOf("gsdk_session_create").at(1),
            log.TimesOf("gsdk_encoded_packet_release").at(2) + 13'000'000);
}

}  // namespace
}  // namespace e2e
