// The control events and how their members are read.
#include <thread>

#include "tests/e2e/service_test.h"
#include "tests/e2e/session_calls.h"

namespace e2e {
namespace {

struct DieValue {
  const char* name;
  const char* text;  // the message
  std::uint32_t exit_code;
};

void PrintTo(const DieValue& value, std::ostream* out) { *out << value.name; }

class DieEvent : public ServiceTest, public ::testing::WithParamInterface<DieValue> {};

TEST_P(DieEvent, EndsTheServiceWithItsValue) {
  ServiceRun& run = Start();
  run.SendOdd(GetParam().text);
  ExpectCleanExit(run, GetParam().exit_code);
  EXPECT_EQ(run.Texts(), Texts{});
}

INSTANTIATE_TEST_SUITE_P(
    Table, DieEvent,
    ::testing::Values(DieValue{"Zero", R"({"event": {"die": 0}})", 0},
                      DieValue{"Five", R"({"event": {"die": 5}})", 5},
                      DieValue{"Fraction", R"({"event": {"die": 5.99}})", 5},
                      DieValue{"Exponent", R"({"event": {"die": 2e2}})", 200},
                      DieValue{"Negative", R"({"event": {"die": -1}})", 0xFFFFFFFF},
                      DieValue{"NegativeFraction", R"({"event": {"die": -2.5}})", 0xFFFFFFFE},
                      DieValue{"WithRestart", R"({"event": {"die": 3, "restart": true}})", 3},
                      DieValue{"WithUnknownMembers", R"({"x": [], "event": {"y": null, "die": 6}})",
                               6}),
    [](const auto& test) { return test.param.name; });

// Texts that must not end the service nor start anything.
class IgnoredEvent : public ServiceTest, public ::testing::WithParamInterface<DieValue> {};

TEST_P(IgnoredEvent, DoesNothing) {
  ServiceRun& run = Start();
  run.SendOdd(GetParam().text);
  ExpectCleanDie(run, 9);
  EXPECT_EQ(run.Texts(), Texts{});
  EXPECT_EQ(run.Calls().Calls(), Texts{});
}

INSTANTIATE_TEST_SUITE_P(
    Table, IgnoredEvent,
    ::testing::Values(DieValue{"DieText", R"({"event": {"die": "3"}})", 0},
                      DieValue{"DieTrue", R"({"event": {"die": true}})", 0},
                      DieValue{"DieNull", R"({"event": {"die": null}})", 0},
                      DieValue{"DieObject", R"({"event": {"die": {"die": 1}}})", 0},
                      DieValue{"RestartFalse", R"({"event": {"restart": false}})", 0},
                      DieValue{"RestartOne", R"({"event": {"restart": 1}})", 0},
                      DieValue{"RestartText", R"({"event": {"restart": "true"}})", 0},
                      DieValue{"ChangeAudioFalse", R"({"event": {"change_audio": false}})", 0},
                      DieValue{"EventArray", R"({"event": [{"die": 1}]})", 0},
                      DieValue{"EventNumber", R"({"event": 1})", 0},
                      DieValue{"TopLevelDie", R"({"die": 1})", 0},
                      DieValue{"ClipText", R"({"clip": "path"})", 0},
                      DieValue{"SettingsArray", R"({"recorder_settings": []})", 0},
                      DieValue{"ReportingNumber", R"({"startglimra_sentrysettings": 1})", 0}),
    [](const auto& test) { return test.param.name; });

class Events : public ServiceTest {};

TEST_F(Events, ADieThatIsNoNumberLetsTheRestartCount) {
  ServiceRun& run = Start();
  run.Send(RecorderSettings(Settings()));
  run.SendOdd(R"({"event": {"die": "3", "restart": true}})");
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  ExpectCleanDie(run);
}

TEST_F(Events, ARestartComesBeforeAnAudioChange) {
  // Given no settings, a session start says nine lines; the audio change would add nine more.
  ServiceRun& run = Start();
  run.SendOdd(R"({"event": {"restart": true, "change_audio": true}})");
  ExpectCleanExit(run, 7);
  EXPECT_EQ(run.Texts().size(), 9U);
}

TEST_F(Events, AnAudioChangeWithoutASessionStartsOneAtOnce) {
  ServiceRun& run = Start();
  run.Send(RecorderSettings(Settings()));
  run.Send(ChangeAudio());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  ExpectCleanDie(run);
  EXPECT_EQ(run.Calls().Calls(), Join({SessionCalls().WholeStart(), SessionCalls().Destroy()}));
}

TEST_F(Events, AClipIsQueuedBeforeADieInTheSameMessage) {
  // The clip thread may answer or not before the process ends, but the die must not be lost.
  ServiceRun& run = Start();
  run.Send(Json::object{{"event", Json::object{{"die", 1}}},
                        {"clip", Json::object{{"filepath", "a"}, {"id", "b"}}}});
  EXPECT_EQ(run.WaitForExit(), 1U);
}

TEST_F(Events, SettingsAreQueuedBeforeARestartInTheSameMessage) {
  ServiceRun& run = Start();
  run.Send(
      Json::object{{"recorder_settings", Settings()}, {"event", Json::object{{"restart", true}}}});
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  ExpectCleanDie(run);
}

TEST_F(Events, OnlyTheFirstOfTwoDiesCounts) {
  ServiceRun& run = Start();
  run.Send(Die(11));
  run.Send(Die(12));
  EXPECT_EQ(run.WaitForExit(), 11U);
}

// Nothing shows that a restart has begun its three seconds of sleep: half of them are long enough
// for it to have begun, and leave as much until it ends.
void WaitIntoARestart() { std::this_thread::sleep_for(std::chrono::milliseconds(1500)); }

TEST_F(Events, ADieWhileARestartSleepsFinishesTheStartAndTearsItDown) {
  ServiceRun& run = Start();
  StartRecording(run, Settings());
  WaitIntoARestart();
  run.Send(Die(13));
  ExpectCleanExit(run, 13);
  EXPECT_EQ(run.Calls().Calls(), Join({SessionCalls().WholeStart(), SessionCalls().Destroy()}));
}

TEST_F(Events, CommandsQueuedAfterTheOneThatRunsAreNotCarriedOutAfterADie) {
  ServiceRun& run = Start();
  StartRecording(run, Settings());
  run.Send(Restart());
  run.Send(Restart());
  WaitIntoARestart();
  run.Send(Die(14));
  ExpectCleanExit(run, 14);
  EXPECT_EQ(run.Calls().TimesOf("gsdk_session_create").size(), 1U);
}

TEST_F(Events, EachRestartWaitsThreeSeconds) {
  ServiceRun& run = Start();
  const auto sent = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
  StartRecording(run, Settings());
  run.Send(Restart());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  const std::vector<std::int64_t> created = run.Calls().TimesOf("gsdk_session_create");
  ASSERT_EQ(created.size(), 2U);
  EXPECT_GE(created[0], sent.count() + 3'000'000);
  EXPECT_GE(created[1], created[0] + 3'000'000);
  ExpectCleanDie(run);
  const SessionCalls first;
  const SessionCalls second = {.session = 2, .first_text = 3};
  EXPECT_EQ(run.Calls().Calls(),
            Join({first.WholeStart(), first.Destroy(), second.WholeStart(), second.Destroy()}));
}

}  // namespace
}  // namespace e2e
