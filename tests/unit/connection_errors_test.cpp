#include "recording/connection_errors.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "diagnostics/error_reporting.h"
#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;

using ConnectionErrorsTest = CoreTest;
using ConnectionErrorsDeathTest = CoreTest;

constexpr char kRetryLine[] = "gsdk_hook_inject_retry exception, Retrying...";
const std::string kPrefix = "Error occurred that terminated the connection: ";

// What an error of this code comes to, with `retries` restarts for hook injection so far.
Lines Handle(std::int32_t code, std::int32_t retries = 0) {
  std::atomic<std::int32_t> counter = retries;
  HandleConnectionError(Fake().NewError(code, "gone"), counter);
  Lines lines = TakeRecorded();
  Fake().Reset();
  return lines;
}

Lines Restarted(const Lines& before = {}) {
  return Concat({{"gsdk_err_code(error1)"}, before, {RestartRequest(), "gsdk_err_free(error1)"}});
}

Lines GivenUp(int number) {
  return {"gsdk_err_code(error1)", "gsdk_err_message(error1)", FailureToHost(kPrefix + "gone"),
          DieRequest(number), "gsdk_err_free(error1)"};
}

TEST_F(ConnectionErrorsTest, RestartableErrorsRestartWithoutALineHoweverOften) {
  EXPECT_EQ(Handle(8), Restarted());
  EXPECT_EQ(Handle(29), Restarted());
  EXPECT_EQ(Handle(8, 100), Restarted());
  EXPECT_EQ(Handle(29, 100), Restarted());
}

TEST_F(ConnectionErrorsTest, RestartableErrorsDoNotCount) {
  std::atomic<std::int32_t> retries = 4;
  for (const std::int32_t code : {8, 29, 31, 30}) {
    HandleConnectionError(Fake().NewError(code, ""), retries);
  }
  EXPECT_EQ(retries, 4);
}

TEST_F(ConnectionErrorsTest, HookInjectionIsRetriedFiveTimesThenGivenUp) {
  std::atomic<std::int32_t> retries = 0;
  for (int i = 0; i < 5; ++i) {
    HandleConnectionError(Fake().NewError(kGsdkErrorHookInjectRetry, "gone"), retries);
    EXPECT_EQ(TakeRecorded(), Restarted({ToHost(kRetryLine)})) << i;
    Fake().Reset();
  }
  for (int i = 0; i < 2; ++i) {
    HandleConnectionError(Fake().NewError(kGsdkErrorHookInjectRetry, "gone"), retries);
    EXPECT_EQ(TakeRecorded(), GivenUp(18)) << i;
    Fake().Reset();
  }
}

TEST_F(ConnectionErrorsTest, LostMonitorGivesUp) { EXPECT_EQ(Handle(31), GivenUp(21)); }

TEST_F(ConnectionErrorsTest, EveryOtherErrorGivesUp) {
  for (const std::int32_t code : {0, 1, 7, 9, 15, 24, 27, 30, 32, -8, 1000}) {
    EXPECT_EQ(Handle(code), GivenUp(200)) << code;
  }
}

TEST_F(ConnectionErrorsTest, OnlyTheGenericErrorIsAnEvent) {
  ErrorReportingEnabled = true;
  const std::string message = kPrefix + "gone";
  EXPECT_EQ(Handle(30),
            (Lines{"gsdk_err_code(error1)", "gsdk_err_message(error1)", FailureToHost(message),
                   StacktraceLine("Error 200 GSDKGenericExitError", message),
                   EventLine("Error 200 GSDKGenericExitError", message),
                   BreadcrumbLine("error", message), DieRequest(200), "gsdk_err_free(error1)"}));
  EXPECT_EQ(Handle(31),
            (Lines{"gsdk_err_code(error1)", "gsdk_err_message(error1)", FailureToHost(message),
                   BreadcrumbLine("info", "21 GSDKMonitorCaptureFailed: " + message),
                   DieRequest(21), "gsdk_err_free(error1)"}));
  EXPECT_EQ(Handle(28, 5),
            (Lines{"gsdk_err_code(error1)", "gsdk_err_message(error1)", FailureToHost(message),
                   BreadcrumbLine("info", "18 GSDKHookInjectRetry: " + message), DieRequest(18),
                   "gsdk_err_free(error1)"}));
}

// In a process of its own: the callback counts for the life of a process.
TEST_F(ConnectionErrorsDeathTest, CallbackCountsAcrossSessionsAndThreads) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        for (int i = 0; i < 6; ++i) {
          std::thread library_thread(
              [&] { OnConnectionError(&i, Fake().NewError(kGsdkErrorHookInjectRetry, "gone")); });
          library_thread.join();
        }
        for (const std::string& line : TakeRecorded()) {
          if (line.starts_with("to self: ")) std::fprintf(stderr, "%s\n", line.c_str());
        }
        std::exit(0);
      },
      ::testing::ExitedWithCode(0),
      "^(to self: \\{\"event\": \\{\"restart\": true\\}\\}\n){5}"
      "to self: \\{\"event\": \\{\"die\": 18\\}\\}\n$");
}

TEST_F(ConnectionErrorsTest, ErrorsOnManyThreadsAreHandledAndFreedOnceEach) {
  std::atomic<std::int32_t> retries = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 5; ++n) {
        HandleConnectionError(Fake().NewError(kGsdkErrorHookInjectRetry, "gone"), retries);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const Lines lines = TakeRecorded();
  EXPECT_EQ(std::ranges::count(lines, RestartRequest()), 5);
  EXPECT_EQ(std::ranges::count(lines, DieRequest(18)), 15);
}

}  // namespace
}  // namespace core_test
