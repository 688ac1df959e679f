#include "diagnostics/logging.h"

#include <string>

#include "diagnostics/error_reporting.h"
#include "protocol/error_codes.h"
#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;

using LoggingTest = CoreTest;
using LoggingDeathTest = CoreTest;

class LoggingWithReportingTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    ErrorReportingEnabled = true;
  }
};

TEST_F(LoggingTest, LineGoesToTheHostAsItStands) {
  LogInfo("a \"quoted\" line\n\x01");
  EXPECT_EQ(TakeRecorded(), (Lines{"to host: {\"error\": \"a \\\"quoted\\\" line\\n\\u0001\"}"}));
}

TEST_F(LoggingTest, FailureGoesToTheHostWithItsPrefixAndWithoutItsName) {
  LogFailure(ErrorCode::BadRecorderSettings, "x", ReportAs::kErrorEvent);
  LogFailure(ErrorCode::BadRecorderSettings, "y", ReportAs::kInfo);
  EXPECT_EQ(TakeRecorded(), (Lines{"to host: {\"error\": \"[Glimra error]: x\"}",
                                   "to host: {\"error\": \"[Glimra error]: y\"}"}));
}

TEST_F(LoggingTest, NothingIsReportedWhileReportingIsOff) {
  ReportError("kind", "message");
  CaptureErrorEvent("kind", "message");
  EXPECT_EQ(TakeRecorded(), Lines{});
}

TEST_F(LoggingTest, LinesForTheHostOnly) {
  ErrorReportingEnabled = true;
  SendLogToHost("line");
  SendErrorToHost("message");
  EXPECT_EQ(TakeRecorded(), (Lines{ToHost("line"), FailureToHost("message")}));
}

TEST_F(LoggingTest, KindIsTheNumberAndTheNameOrTheBareName) {
  for (const ErrorCodeEntry& entry : ErrorCodeTable) {
    const std::string kind =
        std::to_string(ErrorNumber(entry.code)) + " " + std::string(entry.name);
    EXPECT_EQ(KindText(entry.code), kind);
    EXPECT_EQ(KindText(entry.name), kind);
  }
  EXPECT_EQ(KindText("Audio Input"), "Audio Input");
  EXPECT_EQ(KindText(""), "");
}

TEST_F(LoggingWithReportingTest, LineIsAlsoAnInfoBreadcrumb) {
  LogInfo("line");
  EXPECT_EQ(TakeRecorded(), (Lines{ToHost("line"), BreadcrumbLine("info", "line")}));
}

TEST_F(LoggingWithReportingTest, FailureIsAnEventThenAnErrorBreadcrumbOfTheMessage) {
  LogFailure(ErrorCode::BadRecorderSettings, "x", ReportAs::kErrorEvent);
  EXPECT_EQ(TakeRecorded(),
            (Lines{FailureToHost("x"), StacktraceLine("Error 7 BadRecorderSettings", "x"),
                   EventLine("Error 7 BadRecorderSettings", "x"), BreadcrumbLine("error", "x")}));
}

TEST_F(LoggingWithReportingTest, EventsExceptionIsOneObject) {
  CaptureErrorEvent("kind", "message");
  EXPECT_EQ(TakeRecorded(),
            (Lines{R"(sentry_event_value_add_stacktrace {"exception": {"type": "Error kind", )"
                   R"("value": "message"}} null 0)",
                   R"(sentry_capture_event {"exception": {"type": "Error kind", )"
                   R"("value": "message"}})"}));
}

TEST_F(LoggingWithReportingTest, ReportingThatEndsAfterTheEventLeavesOutItsBreadcrumb) {
  OnSentryCall("sentry_capture_event", [] { ErrorReportingEnabled = false; });
  LogFailure(ErrorCode::BadRecorderSettings, "x", ReportAs::kErrorEvent);
  EXPECT_EQ(TakeRecorded(),
            (Lines{FailureToHost("x"), StacktraceLine("Error 7 BadRecorderSettings", "x"),
                   EventLine("Error 7 BadRecorderSettings", "x")}));
}

TEST_F(LoggingWithReportingTest, NameOutsideTheTableHasNoNumber) {
  LogFailure("RecorderSettings", "x", ReportAs::kErrorEvent);
  EXPECT_EQ(TakeRecorded(),
            (Lines{FailureToHost("x"), StacktraceLine("Error RecorderSettings", "x"),
                   EventLine("Error RecorderSettings", "x"), BreadcrumbLine("error", "x")}));
}

TEST_F(LoggingWithReportingTest, FailureAsInfoIsABreadcrumbOnly) {
  LogFailure(ErrorCode::FailedToSetVideoInput, "x", ReportAs::kInfo);
  LogFailure("Recording Process", "y", ReportAs::kInfo);
  EXPECT_EQ(TakeRecorded(),
            (Lines{FailureToHost("x"), BreadcrumbLine("info", "16 FailedToSetVideoInput: x"),
                   FailureToHost("y"), BreadcrumbLine("info", "Recording Process: y")}));
}

TEST_F(LoggingWithReportingTest, BreadcrumbHasTypeMessageAndLevelOnly) {
  LogInfo("line");
  EXPECT_EQ(TakeRecorded().back(),
            R"(sentry_add_breadcrumb {"level": "info", "message": "line", "type": "default"})");
}

TEST_F(LoggingWithReportingTest, LibrarysLinesAreInfoAtEveryLevel) {
  for (const std::int32_t level : {-1, 0, 3, 99}) {
    OnCaptureLibraryLog(level, "from the library");
    EXPECT_EQ(TakeRecorded(),
              (Lines{ToHost("from the library"), BreadcrumbLine("info", "from the library")}));
  }
}

TEST_F(LoggingTest, LineOfTheFullMessageLengthIsSent) {
  const std::string line(4096 - std::string("{\"error\": \"\"}").size(), 'x');
  LogInfo(line);
  EXPECT_EQ(TakeRecorded(), (Lines{ToHost(line)}));
}

TEST_F(LoggingDeathTest, LineThatDoesNotFitAMessageEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::string line(4096 - std::string("{\"error\": \"\"}").size() + 1, 'x');
  EXPECT_DEATH(LogInfo(line), "");
  EXPECT_DEATH(OnCaptureLibraryLog(0, line.c_str()), "");
}

}  // namespace
}  // namespace core_test
