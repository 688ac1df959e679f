// What takes the service minutes, with its real waits. These suites begin with "Long": they are
// left out unless asked for.
#include <thread>

#include "tests/e2e/service_test.h"
#include "tests/e2e/session_calls.h"

namespace e2e {
namespace {

const std::string kNothingSinceStart =
    Line("No recording packets seen since session start, restarting");

class LongWatchdog : public ServiceTest {
 protected:
  // Waits until `count` sessions have been started, each of which may take a first wait and more.
  static bool WaitForSessions(ServiceRun& run, std::size_t count) {
    for (std::size_t session = 1; session <= count; ++session) {
      if (!run.WaitForCall("gsdk_session_start", session)) return false;
    }
    return true;
  }
};

TEST_F(LongWatchdog, FiveFruitlessRestartsEndTheService) {
  ServiceRun& run = StartRecordingService({}, Settings());
  ASSERT_TRUE(WaitForSessions(run, 6));
  ExpectCleanExit(run, 5);

  Texts expected;
  for (int i = 0; i < 6; ++i) {
    expected.push_back(GameCaptureLine());
    expected.push_back(kNothingSinceStart);
  }
  expected.push_back(Failure(
      "Failed to receive any data from process since startup after max restarts. Stopping"));
  EXPECT_EQ(run.Texts(), expected);

  // The last call before the watchdog starts
  const std::vector<std::int64_t> starts =
      run.Calls().TimesOf("gsdk_session_properties_connection_callback_set_callback");
  for (std::size_t i = 1; i < starts.size(); ++i) {
    // The wait for a first packet and that of a restart
    EXPECT_GE(starts[i], starts[i - 1] + 48'000'000);
  }
}

TEST_F(LongWatchdog, APacketSetsTheCountOfRestartsBack) {
  // Given two fruitless sessions and then one with a single packet
  const Json one_packet = Json::object{
      {"threads", Json::array{Json::object{{"steps", Json::array{Json::object{{"packets", 1}}}}}}}};
  ServiceRun& run = StartRecordingService(
      {.script = Json::object{{"sessions", Json::array{Json::object{}, Json::object{}, one_packet,
                                                       Json::object{}}}}},
      Settings());
  // Then its own restart and those of four more are allowed, and the eighth session is the last.
  ASSERT_TRUE(WaitForSessions(run, 8));
  ExpectCleanExit(run, 5);
  EXPECT_EQ(run.Calls().TimesOf("gsdk_session_start").size(), 8U);
}

}  // namespace
}  // namespace e2e
