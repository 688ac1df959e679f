#include "recording/video_input.h"

#include <string>

#include "diagnostics/error_reporting.h"
#include "gsdk/capture_library.h"
#include "recording/session_state.h"
#include "tests/unit/core_fixture.h"
#include "tests/unit/session_transcript.h"

namespace core_test {
namespace {

using namespace capture_service;
using namespace std::chrono_literals;

// For waits that nothing should sit out.
constexpr std::chrono::nanoseconds kForever = 1h;

class VideoInputTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    SetUpGame();
    gsdk_error* error = nullptr;
    ASSERT_TRUE(Library().gsdk_session_create(&Session().session, nullptr, &error));
    TakeRecorded();
  }

  void TearDown() override {
    Library().gsdk_session_destroy(Session().session);
    CoreTest::TearDown();
  }

  static bool SetWindow(std::chrono::nanoseconds wait = 0ns) {
    return SetVideoInput(CurrentRecorderSettings(), "window", wait);
  }
};

// A try that the library refuses with the error of this number.
Lines RefusedTry(int number, int text) {
  const std::string error = "error" + std::to_string(number);
  return Concat(
      {ListLines("window", "text" + std::to_string(text)),
       {ToHost("capture settings: " + WindowCapture()), "WindowExists 132456 = true",
        "gsdk_session_update_video_input(session1, " + Quoted(WindowCapture()) + ") = " + error,
        "gsdk_err_code(" + error + ")"}});
}

Lines RetryLines(int number) {
  const std::string error = "error" + std::to_string(number);
  return {"gsdk_err_message(" + error + ")", ToHost("Set video input settings failed: not yet"),
          ToHost("Retrying..."), "gsdk_err_free(" + error + ")"};
}

const Lines kGivenUp = {FailureToHost("[window] Could not set video input after updates, failing"),
                        DieRequest(16)};

TEST_F(VideoInputTest, WaitAndNumberOfTriesAreTheContracts) {
  EXPECT_EQ(kVideoInputRetryWait, 1'000'000'000ns);
  EXPECT_EQ(kVideoInputAttempts, 5);
}

TEST_F(VideoInputTest, FifthFailureIsNotLoggedAsARetry) {
  Fake().Fail("gsdk_session_update_video_input", kEveryTime, 3, "not yet");
  EXPECT_FALSE(SetWindow());
  Lines expected;
  for (int i = 1; i <= 4; ++i) expected = Concat({expected, RefusedTry(i, i), RetryLines(i)});
  EXPECT_EQ(TakeRecorded(),
            Concat({expected, RefusedTry(5, 5), {"gsdk_err_free(error5)"}, kGivenUp}));
}

TEST_F(VideoInputTest, SuccessAfterFailuresEndsTheTries) {
  Fake().Fail("gsdk_session_update_video_input", 1, 3, "not yet");
  Fake().Fail("gsdk_session_update_video_input", 2, 23, "not yet");
  EXPECT_TRUE(SetWindow());
  EXPECT_EQ(TakeRecorded(),
            Concat({RefusedTry(1, 1), RetryLines(1), RefusedTry(2, 2), RetryLines(2),
                    ListLines("window", "text3"), VideoInputLines(WindowCapture())}));
}

TEST_F(VideoInputTest, HopelessCodeFailsAtOnceWithoutAWait) {
  Fake().Fail("gsdk_session_update_video_input", 1, kGsdkErrorHopelessInput, "never");
  EXPECT_FALSE(SetWindow(kForever));
  EXPECT_EQ(TakeRecorded(), Concat({RefusedTry(1, 1), {"gsdk_err_free(error1)"}, kGivenUp}));
}

TEST_F(VideoInputTest, HopelessCodeOnALaterTryFailsThere) {
  Fake().Fail("gsdk_session_update_video_input", 1, 3, "not yet");
  Fake().Fail("gsdk_session_update_video_input", 2, kGsdkErrorHopelessInput, "never");
  EXPECT_FALSE(SetWindow());
  EXPECT_EQ(TakeRecorded(), Concat({RefusedTry(1, 1),
                                    RetryLines(1),
                                    RefusedTry(2, 2),
                                    {"gsdk_err_free(error2)"},
                                    kGivenUp}));
}

TEST_F(VideoInputTest, GivingUpIsNotedOnlyNotAnEvent) {
  ErrorReportingEnabled = true;
  Fake().Fail("gsdk_session_update_video_input", 1, kGsdkErrorHopelessInput, "never");
  EXPECT_FALSE(SetWindow(kForever));
  EXPECT_THAT(TakeRecorded(),
              ::testing::Contains(BreadcrumbLine(
                  "info",
                  "16 FailedToSetVideoInput: [window] Could not set video input after "
                  "updates, failing")));
}

TEST_F(VideoInputTest, StopEndsTheWaitWithoutAWord) {
  Fake().Fail("gsdk_session_update_video_input", 1, 3, "not yet");
  Fake().OnCall("gsdk_err_free", 1, [] {
    SessionState& session = Session();
    const std::lock_guard lock(session.mutex);
    session.stop = true;
  });
  EXPECT_FALSE(SetWindow(kForever));
  EXPECT_EQ(TakeRecorded(), Concat({RefusedTry(1, 1), RetryLines(1)}));
}

TEST_F(VideoInputTest, StopFromAnotherThreadWakesTheWait) {
  Fake().Fail("gsdk_session_update_video_input", 1, 3, "not yet");
  std::thread stopper([] {
    WaitForLine("gsdk_err_free(error1)");
    SessionState& session = Session();
    {
      const std::lock_guard lock(session.mutex);
      session.stop = true;
    }
    session.stop_changed.notify_all();
  });
  EXPECT_FALSE(SetWindow(kForever));
  stopper.join();
  EXPECT_EQ(TakeRecorded(), Concat({RefusedTry(1, 1), RetryLines(1)}));
}

TEST_F(VideoInputTest, WindowThatGoesBetweenTwoTriesEndsTheServiceWithZero) {
  Windows().window_exists_times = 1;
  Fake().Fail("gsdk_session_update_video_input", 1, 3, "not yet");
  EXPECT_FALSE(SetWindow());
  EXPECT_EQ(TakeRecorded(),
            Concat({RefusedTry(1, 1),
                    RetryLines(1),
                    ListLines("window", "text2"),
                    {ToHost("capture settings: " + WindowCapture()), "WindowExists 132456 = false",
                     ToHost("Window to record no longer exists, exiting"), DieRequest(0)}}));
}

TEST_F(VideoInputTest, EachMonitorTryReplacesTheTracker) {
  CurrentRecorderSettings().recording_mode = 1;
  Fake().Fail("gsdk_session_update_video_input", 1, 3, "not yet");
  EXPECT_TRUE(SetVideoInput(CurrentRecorderSettings(), "monitor", 0ns));
  const std::string capture = R"({"cursor": true, "monitor": "primary"})";
  const Lines fallback = {ToHost("Monitor not found??? Falling back to default")};
  EXPECT_EQ(TakeRecorded(),
            Concat({{"MonitorTracker 132456", "MonitorRectangle 1"},
                    ListLines("monitor", "text1"),
                    fallback,
                    {ToHost("capture settings: " + capture), "WindowExists 132456 = true",
                     "gsdk_session_update_video_input(session1, " + Quoted(capture) + ") = error1",
                     "gsdk_err_code(error1)"},
                    RetryLines(1),
                    {"MonitorTracker 132456", "~MonitorTracker 132456", "MonitorRectangle 1"},
                    ListLines("monitor", "text2"),
                    fallback,
                    VideoInputLines(capture)}));
}

TEST_F(VideoInputTest, ModeThatNobodyKnowsIsABadRecordingMode) {
  ErrorReportingEnabled = true;
  CurrentRecorderSettings().recording_mode = 4;
  EXPECT_FALSE(SetVideoInput(CurrentRecorderSettings(), "other", kForever));
  const std::string message = "unknown recording mode: 4";
  EXPECT_EQ(TakeRecorded(),
            (Lines{FailureToHost(message), StacktraceLine("Error 19 BadRecordingMode", message),
                   EventLine("Error 19 BadRecordingMode", message),
                   BreadcrumbLine("error", message), DieRequest(19)}));
}

struct ListCase {
  std::int32_t mode;
  const char* kind;
  const char* unread_message;
  int unread_number;
  int unparsable_number;
};

constexpr ListCase kLists[] = {{1, "monitor", "getting monitors failed: sorry", 12, 13},
                               {3, "window", "getting windows failed: sorry", 14, 15}};

// Monitor mode makes its tracker first.
Lines TrackerLines(const ListCase& list) {
  return list.mode == 1 ? Lines{"MonitorTracker 132456", "MonitorRectangle 1"} : Lines{};
}

TEST_F(VideoInputTest, ListThatTheLibraryRefusesFails) {
  for (const ListCase& list : kLists) {
    CurrentRecorderSettings().recording_mode = list.mode;
    Fake().Fail("gsdk_input_properties", kEveryTime, kGsdkErrorHopelessInput, "sorry");
    EXPECT_FALSE(SetVideoInput(CurrentRecorderSettings(), list.kind, kForever));
    const std::string error = list.mode == 1 ? "error1" : "error2";
    EXPECT_EQ(TakeRecorded(),
              Concat({TrackerLines(list),
                      {"gsdk_input_properties(" + Quoted(list.kind) + ") = " + error,
                       "gsdk_err_message(" + error + ")", FailureToHost(list.unread_message),
                       "gsdk_err_free(" + error + ")", DieRequest(list.unread_number)}}));
  }
}

TEST_F(VideoInputTest, ListThatDoesNotParseFailsAndIsGivenBack) {
  for (const ListCase& list : kLists) {
    CurrentRecorderSettings().recording_mode = list.mode;
    Fake().SetList(list.kind, "{\"a\": }");
    EXPECT_FALSE(SetVideoInput(CurrentRecorderSettings(), list.kind, kForever));
    const std::string text = list.mode == 1 ? "text1" : "text2";
    EXPECT_EQ(TakeRecorded(),
              Concat({TrackerLines(list),
                      ListLines(list.kind, text),
                      {FailureToHost("error parsing gsdk_input_properties json: expected value, "
                                     "got '}' (125)"),
                       DieRequest(list.unparsable_number)}}));
  }
}

TEST_F(VideoInputTest, ListThatIsJsonNullFailsWithoutAParserText) {
  for (const ListCase& list : kLists) {
    CurrentRecorderSettings().recording_mode = list.mode;
    Fake().SetList(list.kind, "null");
    EXPECT_FALSE(SetVideoInput(CurrentRecorderSettings(), list.kind, kForever));
    const std::string text = list.mode == 1 ? "text1" : "text2";
    EXPECT_EQ(TakeRecorded(), Concat({TrackerLines(list),
                                      ListLines(list.kind, text),
                                      {FailureToHost("error parsing gsdk_input_properties json: "),
                                       DieRequest(list.unparsable_number)}}));
  }
}

TEST_F(VideoInputTest, NullListFailsAsNullInput) {
  for (const ListCase& list : kLists) {
    CurrentRecorderSettings().recording_mode = list.mode;
    Fake().SetList(list.kind, std::nullopt);
    EXPECT_FALSE(SetVideoInput(CurrentRecorderSettings(), list.kind, kForever));
    EXPECT_EQ(TakeRecorded(),
              Concat({TrackerLines(list),
                      {"gsdk_input_properties(" + Quoted(list.kind) + ") = null",
                       FailureToHost("error parsing gsdk_input_properties json: null input"),
                       DieRequest(list.unparsable_number)}}));
  }
}

TEST_F(VideoInputTest, WindowThatIsNotListedFailsWithItsHandleAsADecimalFraction) {
  Fake().SetList("window", R"({"window": {"values": [{"value": {"hwnd": 1}}]}})");
  EXPECT_FALSE(SetWindow(kForever));
  EXPECT_EQ(
      TakeRecorded(),
      Concat({ListLines("window", "text1"),
              {FailureToHost("Window (132456.000000) not found??? failing."), DieRequest(20)}}));
}

TEST_F(VideoInputTest, NoWindowToLookForIsNotAskedFor) {
  CurrentRecorderSettings().game_hwnd = 0;
  EXPECT_TRUE(CheckWindowExists(CurrentRecorderSettings()));
  EXPECT_EQ(TakeRecorded(), Lines{});
}

}  // namespace
}  // namespace core_test
