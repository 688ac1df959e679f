#include <gtest/gtest.h>

#include "open_gsdk/session/session_properties.h"
#include "open_gsdk/support/failure.h"

namespace open_gsdk {
namespace {

constexpr Size kSource = {1280, 720};

// The code of the failure; 0 when there is none.
int FailureCode(const SessionProperties& properties) {
  try {
    ChooseVideoEncoding(properties, kSource);
    return 0;
  } catch (const Failure& failure) {
    return static_cast<int>(failure.code());
  }
}

TEST(SessionProperties, HaveDefaultsForAllThatWasNotSet) {
  const VideoEncoding video = ChooseVideoEncoding({}, kSource);
  EXPECT_EQ(video.size, kSource);
  EXPECT_EQ(video.frame_rate, 30);
  EXPECT_EQ(video.crf, 23);
  const AudioEncoding audio = ChooseAudioEncoding({});
  EXPECT_EQ(audio.sample_rate, 48'000);
  EXPECT_EQ(audio.bit_rate, 128'000);
}

TEST(SessionProperties, TakeTheQualityUpToTheLastThatThereIs) {
  EXPECT_EQ(ChooseVideoEncoding({.min_quality = 20, .max_quality = 20}, kSource).crf, 20);
  EXPECT_EQ(ChooseVideoEncoding({.min_quality = 18}, kSource).crf, 18);
  EXPECT_EQ(ChooseVideoEncoding({.max_quality = 52}, kSource).crf, 51);
  EXPECT_EQ(ChooseVideoEncoding({.max_quality = 4'000'000'000}, kSource).crf, 51);
}

TEST(SessionProperties, RefuseWhatNoEncoderTakes) {
  EXPECT_EQ(FailureCode({.frame_rate = 240}), 0);
  EXPECT_EQ(FailureCode({.frame_rate = 241}), 15);
  EXPECT_EQ(FailureCode({.frame_rate = 4'000'000'000}), 15);
  EXPECT_EQ(FailureCode({.max_width = 16, .max_height = 16}), 0);
  EXPECT_EQ(FailureCode({.max_width = 15}), 15);
  EXPECT_EQ(FailureCode({.max_height = 1}), 15);
}

TEST(SessionProperties, RefuseOtherRateControlsAndConnections) {
  EXPECT_EQ(FailureCode({.rate_control = 3, .connection_type = 4}), 0);
  EXPECT_EQ(FailureCode({.rate_control = 1}), 1);
  EXPECT_EQ(FailureCode({.connection_type = 1}), 1);
}

TEST(SessionProperties, TakeTheNearestSoundThatAacKnows) {
  EXPECT_EQ(ChooseAudioEncoding({.audio_sample_rate = 44'100}).sample_rate, 44'100);
  EXPECT_EQ(ChooseAudioEncoding({.audio_sample_rate = 44'000}).sample_rate, 44'100);
  EXPECT_EQ(ChooseAudioEncoding({.audio_sample_rate = 1}).sample_rate, 8'000);
  EXPECT_EQ(ChooseAudioEncoding({.audio_sample_rate = 4'000'000'000}).sample_rate, 96'000);
  EXPECT_EQ(ChooseAudioEncoding({.audio_bit_rate = 160'000}).bit_rate, 160'000);
  EXPECT_EQ(ChooseAudioEncoding({.audio_bit_rate = 160}).bit_rate, 160'000);
  EXPECT_EQ(ChooseAudioEncoding({.audio_bit_rate = 1}).bit_rate, 16'000);
  EXPECT_EQ(ChooseAudioEncoding({.audio_bit_rate = 4'000'000'000}).bit_rate, 512'000);
}

}  // namespace
}  // namespace open_gsdk
