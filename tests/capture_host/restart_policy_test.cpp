// Which ends of a service are worth another start, and when.
#include "capture_host/restart_policy.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "capture_host/exit_status.h"
#include "protocol/error_codes.h"

namespace capture_host {
namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t kSessionStartFailed = 17;

TEST(DecideRestart, WaitsTwiceAsLongEachTimeUpToTheLimit) {
  const RestartPolicy policy{.most_failed_starts = 7,
                             .first_wait = milliseconds(2'000),
                             .longest_wait = milliseconds(20'000)};
  std::vector<milliseconds::rep> waits;
  int failed = 0;
  for (int i = 0; i < 7; ++i) {
    const RestartDecision decision =
        DecideRestart(policy, {.exit_status = kSessionStartFailed, .failed_starts_before = failed});
    EXPECT_TRUE(decision.restart);
    EXPECT_EQ(decision.failed_starts, failed + 1);
    failed = decision.failed_starts;
    waits.push_back(decision.wait.count());
  }
  EXPECT_EQ(waits,
            (std::vector<milliseconds::rep>{2'000, 4'000, 8'000, 16'000, 20'000, 20'000, 20'000}));
}

TEST(DecideRestart, GivesUpAfterTheLastStart) {
  const RestartPolicy policy{.most_failed_starts = 2};
  EXPECT_TRUE(DecideRestart(policy, {.exit_status = kSessionStartFailed, .failed_starts_before = 1})
                  .restart);
  const RestartDecision decision =
      DecideRestart(policy, {.exit_status = kSessionStartFailed, .failed_starts_before = 2});
  EXPECT_FALSE(decision.restart);
  EXPECT_EQ(decision.failed_starts, 3);
  EXPECT_EQ(decision.reason,
            "Given up after 2 new starts in a row. Read the capture library's last lines; the "
            "graphics driver may be at fault.");
}

TEST(DecideRestart, AServiceThatRanLongEnoughBeginsTheCountAnew) {
  const RestartPolicy policy{.most_failed_starts = 3, .well_after = milliseconds(1'000)};
  ServiceRunFacts run{
      .exit_status = kSessionStartFailed, .ran_for = milliseconds(999), .failed_starts_before = 3};
  EXPECT_FALSE(DecideRestart(policy, run).restart);
  run.ran_for = milliseconds(1'000);
  const RestartDecision decision = DecideRestart(policy, run);
  EXPECT_TRUE(decision.restart);
  EXPECT_EQ(decision.failed_starts, 1);
  EXPECT_EQ(decision.wait, policy.first_wait);
  EXPECT_EQ(decision.reason,
            "New start 1 of 3 in 2000 ms. The capture library cannot start the session.");
}

TEST(DecideRestart, NeverStartsAServiceThatWasAskedToEnd) {
  const RestartDecision decision =
      DecideRestart({}, {.exit_status = kSessionStartFailed, .asked_to_end = true});
  EXPECT_FALSE(decision.restart);
  EXPECT_EQ(decision.failed_starts, 0);
  EXPECT_EQ(decision.reason, "The host asked the service to end.");
}

TEST(DecideRestart, NeverStartsWhereAnotherStartWouldEndTheSameWay) {
  const RestartDecision decision = DecideRestart({}, {.exit_status = 8});
  EXPECT_FALSE(decision.restart);
  EXPECT_EQ(decision.reason, "Another start would end the same way. Send one of them.");
}

TEST(ExitStatuses, WorthAnotherStartAreExactlyThese) {
  std::set<std::uint32_t> worthwhile;
  for (std::uint32_t status = 0; status <= 300; ++status) {
    if (ExplainExitStatus(status).worth_restart) worthwhile.insert(status);
  }
  EXPECT_EQ(worthwhile, (std::set<std::uint32_t>{3, 5, 6, 9, 12, 14, 16, 17, 21, 200, 201}));
  for (const std::uint32_t status : {0x80000003U, 0xC0000005U, 0xC0000409U, 0xE06D7363U}) {
    EXPECT_TRUE(ExplainExitStatus(status).worth_restart) << status;
  }
  for (const std::uint32_t status : {0xC000007BU, 0xC0000135U, 0xFFFFFFFFU}) {
    EXPECT_FALSE(ExplainExitStatus(status).worth_restart) << status;
  }
}

TEST(ExitStatuses, EveryFailureIsExplainedUnderItsName) {
  std::set<std::string> texts;
  for (const capture_service::ErrorCodeEntry& entry : capture_service::ErrorCodeTable) {
    const ExitMeaning meaning =
        ExplainExitStatus(static_cast<std::uint32_t>(ErrorNumber(entry.code)));
    EXPECT_EQ(meaning.name, entry.name);
    EXPECT_NE(meaning.advice, "") << entry.name;
    EXPECT_TRUE(texts.insert(meaning.what).second) << meaning.what << " stands there twice";
  }
  EXPECT_FALSE(texts.contains(ExplainExitStatus(199).what)) << "a failure without a meaning";
}

TEST(ExitStatuses, AreDescribedInSentences) {
  EXPECT_EQ(DescribeExit(0), "The service ended with status 0. It ended in good order.");
  EXPECT_EQ(DescribeExit(7),
            "The service ended with status 7 (BadRecorderSettings). Settings are missing. Send "
            "each of the settings that its lines name.");
  EXPECT_EQ(DescribeExit(199),
            "The service ended with status 199. The number has no meaning of its own; it may be a "
            "Windows error. Read the last lines that it sent.");
  EXPECT_EQ(DescribeExit(0xC0000005),
            "The service ended with status 3221225477. It crashed. Report it with the reports of "
            "the same minute.");
}

}  // namespace
}  // namespace capture_host
