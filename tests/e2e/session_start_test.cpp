// Session starts that take several attempts, replace a session, or depend on the game's window and
// process.
#include <windows.h>

#include <array>

#include "tests/e2e/service_test.h"
#include "tests/e2e/session_calls.h"

namespace e2e {
namespace {

class SessionStart : public ServiceTest {
 protected:
  static Json AlwaysFailingUpdate(const Json::object& more = {}) {
    Json::object rule = {{"code", 1}, {"message", "not yet"}};
    rule.insert(more.begin(), more.end());
    return Json::object{
        {"calls", Json::object{{"gsdk_session_update_video_input", Json::array{Json(rule)}}}}};
  }

  // A program that ends with a code of one's choice.
  static std::filesystem::path Shell() {
    std::array<wchar_t, MAX_PATH> folder = {};
    GetSystemDirectoryW(folder.data(), MAX_PATH);
    return std::filesystem::path(folder.data()) / "cmd.exe";
  }

  static Texts FailedUpdate(int error, bool read_message) {
    const std::string name = "error" + std::to_string(error);
    Texts calls = {
        "gsdk_session_update_video_input(session1, " + GameCaptureSettings() + ") = false " + name,
        "gsdk_err_code(" + name + ")"};
    if (read_message) calls.push_back("gsdk_err_message(" + name + ")");
    calls.push_back("gsdk_err_free(" + name + ")");
    return calls;
  }
};

TEST_F(SessionStart, FiveFailingVideoInputUpdatesEndTheService) {
  ServiceRun& run = Start({.script = AlwaysFailingUpdate()});
  StartRecording(run, Settings());
  ExpectCleanExit(run, 16);
  Texts texts;
  for (int attempt = 1; attempt <= 4; ++attempt) {
    texts.push_back(GameCaptureLine());
    texts.push_back(Line("Set video input settings failed: not yet"));
    texts.push_back(Line("Retrying..."));
  }
  texts.push_back(GameCaptureLine());
  texts.push_back(Failure("[game] Could not set video input after updates, failing"));
  EXPECT_EQ(run.Texts(), texts);

  const SessionCalls calls;
  EXPECT_EQ(run.Calls().Calls(),
            Join({calls.Create(), calls.SetVideoInput(), FailedUpdate(1, true),
                  FailedUpdate(2, true), FailedUpdate(3, true), FailedUpdate(4, true),
                  FailedUpdate(5, false), calls.DestroySessionOnly()}));
  // A second between two attempts, and after the last too
  std::vector<std::int64_t> times = run.Calls().TimesOf("gsdk_session_update_video_input");
  times.push_back(run.Calls().TimesOf("gsdk_session_destroy").at(0));
  for (std::size_t i = 1; i < times.size(); ++i) EXPECT_GE(times[i], times[i - 1] + 1'000'000);
}

TEST_F(SessionStart, TheFourthRetryCanStillSucceed) {
  Json::array rules;
  for (int n = 1; n <= 4; ++n) {
    rules.push_back(Json::object{{"n", n}, {"code", 25}, {"message", "not yet"}});
  }
  ServiceRun& run = StartRecordingService(
      {.script = Json::object{{"calls", Json::object{{"gsdk_session_update_video_input", rules}}}}},
      Settings());
  ExpectCleanDie(run);
  EXPECT_EQ(run.Texts().size(), 13U);
  EXPECT_EQ(Last(run.Texts()), GameCaptureLine());
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_session_update_video_input").size(), 5U);
}

TEST_F(SessionStart, ALaterHopelessVideoInputFailsAtOnce) {
  ServiceRun& run = Start(
      {.script = Json::object{
           {"calls",
            Json::object{{"gsdk_session_update_video_input",
                          Json::array{Json::object{{"n", 1}, {"code", 2}, {"message", "once"}},
                                      Json::object{{"code", 24}, {"message", "no"}}}}}}}});
  StartRecording(run, Settings());
  ExpectCleanExit(run, 16);
  EXPECT_EQ(run.Texts(),
            (Texts{GameCaptureLine(), Line("Set video input settings failed: once"),
                   Line("Retrying..."), GameCaptureLine(),
                   Failure("[game] Could not set video input after updates, failing")}));
}

TEST_F(SessionStart, AWindowThatGoesBetweenTwoAttemptsEndsTheService) {
  TestWindow window;
  ServiceRun& run = Start({.script = AlwaysFailingUpdate({{"wait_file", "go"}})});
  StartRecording(run, Settings({{"game_hwnd", window.Number()}}));
  ASSERT_TRUE(run.WaitForCall("gsdk_session_update_video_input"));
  const std::string capture =
      R"(capture settings: {"anticheat": true, "cursor": false, "game": {"hwnd": )" +
      std::to_string(window.Number()) + "}}";
  window.Destroy();
  run.Touch("go");
  ExpectCleanExit(run, 0);
  EXPECT_EQ(run.Texts(), (Texts{Line(capture), Line("Set video input settings failed: not yet"),
                                Line("Retrying..."), Line(capture),
                                Line("Window to record no longer exists, exiting")}));
  EXPECT_EQ(Last(run.Calls().Calls()), "gsdk_session_destroy(session1)");
}

TEST_F(SessionStart, ADieDuringTheRetriesKeepsItsCode) {
  ServiceRun& run = Start({.script = AlwaysFailingUpdate()});
  StartRecording(run, Settings());
  ASSERT_TRUE(run.WaitForText(Line("Retrying...")));
  ExpectCleanDie(run, 21);
}

TEST_F(SessionStart, AProcessThatEndedEndsTheServiceWhileItsHandleIsOpen) {
  const ChildProcess ended({.program = Shell(), .arguments = {L"/c", L"exit", L"5"}});
  ASSERT_EQ(ended.WaitForExit(kLimit), 5U);
  ServiceRun& run = Start();
  StartRecording(run, Settings({{"game_pid", static_cast<int>(ended.Id())}}));
  ExpectCleanExit(run, 0);
  EXPECT_EQ(run.Texts(), Texts{Failure("Process to record no longer exists, exiting")});
}

TEST_F(SessionStart, AProcessThatEndedWith259CountsAsAlive) {
  const ChildProcess ended({.program = Shell(), .arguments = {L"/c", L"exit", L"259"}});
  ASSERT_EQ(ended.WaitForExit(kLimit), 259U);
  ServiceRun& run =
      StartRecordingService({}, Settings({{"game_pid", static_cast<int>(ended.Id())}}));
  ExpectCleanDie(run);
}

TEST_F(SessionStart, AWindowNumberIsWrittenWithSixDecimals) {
  const TestWindow window;
  ServiceRun& run = Start();
  StartRecording(run, Settings({{"recording_mode", 3}, {"game_hwnd", window.Number()}}));
  ExpectCleanExit(run, 20);
  EXPECT_EQ(run.Texts(), Texts{Failure("Window (" + std::to_string(window.Number()) +
                                       ".000000) not found??? failing.")});
}

TEST_F(SessionStart, AFailureWithoutAnErrorObjectHasAnEmptyMessage) {
  ServiceRun& run = Start(
      {.script = Json::object{
           {"calls",
            Json::object{{"gsdk_session_create",
                          Json::array{Json::object{{"code", 15}, {"error_object", false}}}}}}}});
  StartRecording(run, Settings());
  ExpectCleanExit(run, 9);
  EXPECT_EQ(run.Texts(), Texts{Failure("Create session failed: ")});
}

TEST_F(SessionStart, AnErrorWithoutAMessageHasAnEmptyOne) {
  ServiceRun& run = Start(
      {.script = Json::object{{"calls", Json::object{{"gsdk_session_start",
                                                      Json::array{Json::object{{"code", 1}}}}}}}});
  StartRecording(run, Settings());
  ExpectCleanExit(run, 17);
  EXPECT_EQ(Last(run.Texts()), Failure("Failed to start session: "));
}

TEST_F(SessionStart, AFailedRestartTearsTheOldSessionDownFirst) {
  ServiceRun& run = StartRecordingService(
      {.script = FailingCall("gsdk_session_create", 3, "second", 2)}, Settings());
  run.Send(Restart());
  ExpectCleanExit(run, 9);
  const SessionCalls calls;
  EXPECT_EQ(run.Calls().Calls(),
            Join({calls.WholeStart(), calls.Destroy(), SessionCalls::FailedCreate()}));
}

}  // namespace
}  // namespace e2e
