#include "protocol/recorder_settings.h"

#include <array>

#include "recording/session_start.h"
#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;

using RecorderSettingsTest = CoreTest;

constexpr std::array kNumbers = {
    &RecorderSettings::audio_samplerate, &RecorderSettings::audio_bitrate,
    &RecorderSettings::video_fps,        &RecorderSettings::encoding_crf,
    &RecorderSettings::video_max_height, &RecorderSettings::video_max_width,
    &RecorderSettings::record_length,    &RecorderSettings::recording_mode,
    &RecorderSettings::game_pid,         &RecorderSettings::game_hwnd,
    &RecorderSettings::logging_level};
constexpr std::array kTexts = {&RecorderSettings::audio_game, &RecorderSettings::audio_chat,
                               &RecorderSettings::audio_input};

void ExpectSame(const RecorderSettings& settings, const RecorderSettings& expected) {
  for (std::size_t i = 0; i < kNumbers.size(); ++i) {
    EXPECT_EQ(settings.*kNumbers.at(i), expected.*kNumbers.at(i)) << "number " << i;
  }
  for (std::size_t i = 0; i < kTexts.size(); ++i) {
    EXPECT_EQ(settings.*kTexts.at(i), expected.*kTexts.at(i)) << "text " << i;
  }
  EXPECT_EQ(settings.capture_cursor, expected.capture_cursor);
}

TEST_F(RecorderSettingsTest, AllAreUnsetAtFirst) {
  ExpectSame(CurrentRecorderSettings(), RecorderSettings{});
  EXPECT_FALSE(CurrentRecorderSettings().capture_cursor);
}

TEST_F(RecorderSettingsTest, EachNumberIsTakenOnlyWhenItIsNotZero) {
  for (std::size_t i = 0; i < kNumbers.size(); ++i) {
    for (const std::int32_t value : {60, -1}) {
      RecorderSettings update;
      update.*kNumbers.at(i) = value;

      RecorderSettings current = CompleteSettings();
      RecorderSettings expected = CompleteSettings();
      expected.*kNumbers.at(i) = value;
      expected.capture_cursor = false;
      MergeRecorderSettings(current, update);
      ExpectSame(current, expected);
    }
  }
}

TEST_F(RecorderSettingsTest, EachTextIsTakenOnlyWhenItIsNotEmpty) {
  for (std::size_t i = 0; i < kTexts.size(); ++i) {
    RecorderSettings update;
    update.*kTexts.at(i) = "none";

    RecorderSettings current = CompleteSettings();
    RecorderSettings expected = CompleteSettings();
    expected.*kTexts.at(i) = "none";
    expected.capture_cursor = false;
    MergeRecorderSettings(current, update);
    ExpectSame(current, expected);
  }
}

TEST_F(RecorderSettingsTest, FrameRateAloneLeavesTheOtherDefaults) {
  RecorderSettings update;
  update.video_fps = 60;
  RecorderSettings current;
  MergeRecorderSettings(current, update);
  ExpectSame(current, update);
}

TEST_F(RecorderSettingsTest, CursorIsAlwaysTakenFromTheUpdate) {
  RecorderSettings expected = CompleteSettings();
  RecorderSettings current = CompleteSettings();
  RecorderSettings update;
  update.capture_cursor = true;
  MergeRecorderSettings(current, update);
  ExpectSame(current, expected);
  MergeRecorderSettings(current, {});
  expected.capture_cursor = false;
  ExpectSame(current, expected);
}

TEST_F(RecorderSettingsTest, UnsetSettingIsLoggedByName) {
  EXPECT_FALSE(CheckSettingInitialized("video_fps", 0));
  EXPECT_EQ(TakeRecorded(), (Lines{FailureToHost("setting video_fps uninitialized")}));
}

TEST_F(RecorderSettingsTest, SetSettingIsNotLogged) {
  EXPECT_TRUE(CheckSettingInitialized("video_fps", 60));
  EXPECT_TRUE(CheckSettingInitialized("video_fps", -1));
  EXPECT_EQ(TakeRecorded(), Lines{});
}

}  // namespace
}  // namespace core_test
