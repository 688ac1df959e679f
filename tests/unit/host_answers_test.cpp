#include "protocol/host_answers.h"

#include <limits>
#include <string>

#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;

using HostAnswersTest = CoreTest;

TEST_F(HostAnswersTest, ClipResultCarriesMillisecondsAndTheTimestampAsText) {
  SendClipResult("id 1", 1'999'999, -5, 2'000'000, -1'999'999, true);
  EXPECT_EQ(TakeRecorded(),
            (Lines{TextToHost(R"({"clip": {"audio_drop": 2, "captured_from_hdr": true, )"
                              R"("duration": 1, "id": "id 1", "last_ts": "-5", )"
                              R"("succeeded": true, "video_drop": -1}})")}));
}

TEST_F(HostAnswersTest, TimestampKeepsAllItsDigits) {
  SendClipResult("", 0, std::numeric_limits<std::int64_t>::min(), 0, 0, false);
  SendClipResult("", 0, std::numeric_limits<std::int64_t>::max(), 0, 0, false);
  const std::string before =
      R"({"clip": {"audio_drop": 0, "captured_from_hdr": false, "duration": 0, "id": "", )"
      R"("last_ts": ")";
  const std::string after = R"(", "succeeded": true, "video_drop": 0}})";
  EXPECT_EQ(TakeRecorded(), (Lines{TextToHost(before + "-9223372036854775808" + after),
                                   TextToHost(before + "9223372036854775807" + after)}));
}

TEST_F(HostAnswersTest, ClipFailureCarriesTheText) {
  SendClipFailure("7\"", "clip was empty");
  EXPECT_EQ(TakeRecorded(),
            (Lines{TextToHost(
                R"({"clip": {"error": "clip was empty", "id": "7\"", "succeeded": false}})")}));
}

}  // namespace
}  // namespace core_test
