#include "tools/exit_statuses.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>

#include "protocol/error_codes.h"

namespace core_test {
namespace {

using namespace capture_service;

// Numbers that no table has.
const std::string kUnknown = host_tools::ExplainExitStatus(77);

TEST(ExitStatuses, EveryFailureHasAnExplanationOfItsOwn) {
  std::set<std::string> explanations = {kUnknown};
  for (const ErrorCodeEntry& entry : ErrorCodeTable) {
    const std::string text =
        host_tools::ExplainExitStatus(static_cast<std::uint32_t>(ErrorNumber(entry.code)));
    EXPECT_TRUE(explanations.insert(text).second) << entry.name << ": " << text;
  }
}

TEST(ExitStatuses, StatusesWithoutAFailureAreExplainedToo) {
  for (const std::uint32_t status : {0U, 1U, 2U, 126U, 0xFFFFFFFFU}) {
    EXPECT_NE(host_tools::ExplainExitStatus(status), kUnknown) << status;
  }
  EXPECT_EQ(host_tools::ExplainExitStatus(0xC0000005), "It crashed.");
  EXPECT_EQ(host_tools::ExplainExitStatus(231), kUnknown);
}

}  // namespace
}  // namespace core_test
