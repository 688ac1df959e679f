// What the service says, read into structures.
#include "capture_host/answers.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace capture_host {
namespace {

TEST(ReadAnswer, ReadsAClipThatWasWritten) {
  const Answer answer = ReadAnswer(
      R"({"clip": {"audio_drop": 7, "captured_from_hdr": true, "duration": 8033, "id": "42", )"
      R"("last_ts": "9223372036854775807", "succeeded": true, "video_drop": -3}})");
  const auto* const clip = std::get_if<ClipAnswer>(&answer);
  ASSERT_NE(clip, nullptr);
  EXPECT_EQ(clip->id, "42");
  EXPECT_TRUE(clip->succeeded);
  EXPECT_EQ(clip->duration_ms, 8033);
  EXPECT_EQ(clip->last_timestamp_ns, std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(clip->audio_drop_ms, 7);
  EXPECT_EQ(clip->video_drop_ms, -3);
  EXPECT_TRUE(clip->captured_from_hdr);
  EXPECT_EQ(clip->error, "");
}

TEST(ReadAnswer, ReadsANegativeTimestamp) {
  const Answer answer = ReadAnswer(R"({"clip": {"id": "", "last_ts": "-5", "succeeded": true}})");
  ASSERT_TRUE(std::holds_alternative<ClipAnswer>(answer));
  EXPECT_EQ(std::get<ClipAnswer>(answer).last_timestamp_ns, -5);
}

TEST(ReadAnswer, ReadsAClipThatFailed) {
  const Answer answer =
      ReadAnswer(R"({"clip": {"error": "clip was empty", "id": "a", "succeeded": false}})");
  ASSERT_TRUE(std::holds_alternative<ClipAnswer>(answer));
  EXPECT_EQ(std::get<ClipAnswer>(answer).id, "a");
  EXPECT_FALSE(std::get<ClipAnswer>(answer).succeeded);
  EXPECT_EQ(std::get<ClipAnswer>(answer).error, "clip was empty");
}

TEST(ReadAnswer, ReadsALine) {
  const Answer answer = ReadAnswer(R"({"error": "capture settings: {\"monitor\": \"é\"}"})");
  ASSERT_TRUE(std::holds_alternative<LogLine>(answer));
  EXPECT_EQ(std::get<LogLine>(answer).text, R"(capture settings: {"monitor": "é"})");
}

TEST(ReadAnswer, KnowsNothingElse) {
  for (const char* text :
       {"", "no json", "null", "[]", "{}", "7", R"({"error": 7})", R"({"clip": {}})",
        R"({"clip": {"id": "1"}})", R"({"clip": {"id": 1, "succeeded": true}})",
        R"({"clip": {"id": "1", "succeeded": "true"}})", R"({"error": "cut of)", "\xFF"}) {
    EXPECT_TRUE(std::holds_alternative<UnknownAnswer>(ReadAnswer(text))) << text;
  }
}

TEST(LogLines, AFailureBeginsWithItsMark) {
  EXPECT_TRUE(IsFailure({"[Glimra error]: setting video_fps uninitialized"}));
  EXPECT_FALSE(IsFailure({"an [Glimra error]: inside"}));
}

TEST(LogLines, ARecordingIsAnnouncedByItsSettings) {
  EXPECT_TRUE(AnnouncesRecording({"capture settings: {}"}));
  EXPECT_FALSE(AnnouncesRecording({"no capture settings: {}"}));
}

}  // namespace
}  // namespace capture_host
