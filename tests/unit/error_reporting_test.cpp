#include "diagnostics/error_reporting.h"

#include <stdexcept>

#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;

using ErrorReportingTest = CoreTest;

const Lines kOptions = {"sentry_options_new",
                        "sentry_options_set_dsn \"\"",
                        "sentry_options_set_environment \"production\"",
                        "sentry_options_set_max_breadcrumbs 200",
                        "sentry_options_set_handler_pathw \"./crashpad_handler.exe\"",
                        "sentry_options_set_sample_rate 0x3FD3333333333333"};
const Lines kDatabase = {
    R"(sentry_options_set_database_pathw "C:\\ProgramData\\Orvane\\Orvane Daskel 3\\sentry-db")"};
const Lines kStart = {"sentry_init", "CollectMachineProfile"};

TEST_F(ErrorReportingTest, StartSetsEveryOptionInOrderThenTheProfileInByteOrder) {
  Windows().machine_profile = {
      {"b", "5"}, {"OS_ARCH", "64-bit"}, {"CPU_NAME", ""}, {"A", std::string("x\0y", 3)}};
  EXPECT_TRUE(InitErrorReporting("production"));
  EXPECT_EQ(TakeRecorded(),
            Concat({kOptions,
                    kDatabase,
                    kStart,
                    {"sentry_set_tag A \"x\"", "sentry_set_tag CPU_NAME \"\"",
                     "sentry_set_tag OS_ARCH \"64-bit\"", "sentry_set_tag b \"5\""}}));
  EXPECT_FALSE(ErrorReportingEnabled) << "storing the result is the caller's";
}

TEST_F(ErrorReportingTest, EmptyEnvironmentStartsToo) {
  EXPECT_TRUE(InitErrorReporting(""));
  EXPECT_THAT(TakeRecorded(), ::testing::Contains("sentry_options_set_environment \"\""));
}

TEST_F(ErrorReportingTest, UnknownDataFolderLeavesTheDatabaseToTheSdk) {
  Windows().common_app_data = std::nullopt;
  EXPECT_TRUE(InitErrorReporting("production"));
  EXPECT_EQ(TakeRecorded(), Concat({kOptions, kStart}));
}

TEST_F(ErrorReportingTest, FailedStartStillTagsTheProfile) {
  for (const int result : {1, -1}) {
    SetSentryInitResult(result);
    Windows().machine_profile = {{"OS_ARCH", "64-bit"}};
    EXPECT_FALSE(InitErrorReporting("production"));
    EXPECT_EQ(TakeRecorded(),
              Concat({kOptions, kDatabase, kStart, {"sentry_set_tag OS_ARCH \"64-bit\""}}));
  }
}

TEST_F(ErrorReportingTest, ProfileThatCannotBeCollectedThrows) {
  Windows().on_collect_profile = [] { throw std::runtime_error("no COM"); };
  EXPECT_THROW(InitErrorReporting("production"), std::runtime_error);
  EXPECT_EQ(TakeRecorded(), Concat({kOptions, kDatabase, kStart}));
}

TEST_F(ErrorReportingTest, ShutdownHappensOnceAndOnlyWhenItRuns) {
  ShutdownErrorReporting();
  EXPECT_EQ(TakeRecorded(), Lines{});
  ErrorReportingEnabled = true;
  ShutdownErrorReporting();
  EXPECT_FALSE(ErrorReportingEnabled);
  ShutdownErrorReporting();
  EXPECT_EQ(TakeRecorded(), (Lines{"sentry_shutdown"}));
}

}  // namespace
}  // namespace core_test
