// The messages that a host sends, as texts.
#include "capture_host/messages.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace capture_host {
namespace {

using capture_service::RecorderSetting;
using capture_service::RecorderSettingsTable;

std::string MistakeOf(const std::vector<std::string>& assignments) {
  try {
    return "no mistake in " + SettingsMessage(assignments);
  } catch (const std::invalid_argument& mistake) {
    return mistake.what();
  }
}

TEST(Messages, CarryWhatTheCatalogueNames) {
  EXPECT_EQ(RestartMessage(), R"({"event": {"restart": true}})");
  EXPECT_EQ(ChangeAudioMessage(), R"({"event": {"change_audio": true}})");
  EXPECT_EQ(DieMessage(-7), R"({"event": {"die": -7}})");
  EXPECT_EQ(ClipMessage("C:\\Clips\\é.mp4", "42"),
            R"({"clip": {"filepath": "C:\\Clips\\é.mp4", "id": "42"}})");
}

TEST(Messages, ReportingCarriesEveryMember) {
  EXPECT_EQ(ReportingMessage({.environment = "e",
                              .user_id = "u",
                              .game_id = "g",
                              .game_exe = "x",
                              .daskel_guid = "i",
                              .daskel_version = "v",
                              .beta_enabled = "b"}),
            R"({"startglimra_sentrysettings": {"beta_enabled": "b", "daskel_guid": "i", )"
            R"("daskel_version": "v", "game_exe": "x", "game_id": "g", "sentry_env": "e", )"
            R"("userid": "u"}})");
}

TEST(Settings, EveryMemberThatIsSetIsCarried) {
  const RecorderSettings settings{.audio_samplerate = 1,
                                  .audio_bitrate = 2,
                                  .video_fps = 3,
                                  .encoding_crf = 4,
                                  .video_max_height = 5,
                                  .video_max_width = 6,
                                  .record_length = 7,
                                  .recording_mode = 3,
                                  .game_pid = 9,
                                  .game_hwnd = -10,
                                  .logging_level = 11,
                                  .capture_cursor = true,
                                  .audio_game = "a",
                                  .audio_chat = "b",
                                  .audio_input = "c"};
  EXPECT_EQ(SettingsMessage(settings),
            R"({"recorder_settings": {"audio_bitrate": 2, "audio_chat": "b", "audio_game": "a", )"
            R"("audio_input": "c", "audio_samplerate": 1, "capture_cursor": true, )"
            R"("encoding_crf": 4, "game_hwnd": -10, "game_pid": 9, "logging_level": 11, )"
            R"("record_length": 7, "recording_mode": 3, "video_fps": 3, "video_max_height": 5, )"
            R"("video_max_width": 6}})");
}

TEST(Settings, OnlyTheCursorIsCarriedWhenNothingIsSet) {
  EXPECT_EQ(SettingsMessage(RecorderSettings{}),
            R"({"recorder_settings": {"capture_cursor": false}})");
}

RecorderSettings Read(const std::string& message) {
  return capture_service::ReadHostMessage(message).value().settings.value();
}

TEST(Settings, TheServiceReadsWhatTheHostSent) {
  const RecorderSettings sent = DefaultSettings();
  const RecorderSettings received = Read(SettingsMessage(sent));
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    std::visit([&](auto member) { EXPECT_EQ(received.*member, sent.*member) << setting.key; },
               setting.member);
  }
}

TEST(Settings, DefaultsLackNothingThatASessionNeeds) {
  const RecorderSettings settings = DefaultSettings();
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    if (!setting.needed) continue;
    EXPECT_NE(settings.*std::get<std::int32_t RecorderSettings::*>(setting.member), 0)
        << setting.key;
  }
}

TEST(Settings, EachCanBeTypedByItsName) {
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    const std::string message =
        SettingsMessage(std::vector<std::string>{std::string(setting.key) + "=1"});
    const RecorderSettings received = Read(message);
    EXPECT_EQ(message.find(setting.key), std::string(R"({"recorder_settings": {")").size());
    if (const auto* number = std::get_if<std::int32_t RecorderSettings::*>(&setting.member)) {
      EXPECT_EQ(received.**number, 1) << setting.key;
    } else if (const auto* flag = std::get_if<bool RecorderSettings::*>(&setting.member)) {
      EXPECT_TRUE(received.**flag) << setting.key;
    } else {
      EXPECT_EQ(received.*std::get<std::string RecorderSettings::*>(setting.member), "1");
    }
  }
}

TEST(Settings, WordsAreCarriedAsTheyAre) {
  EXPECT_EQ(SettingsMessage(
                std::vector<std::string>{"video_fps=0", "capture_cursor=1", "audio_game=a=b"}),
            R"({"recorder_settings": {"audio_game": "a=b", "capture_cursor": true, )"
            R"("video_fps": 0}})");
}

TEST(Settings, AMistakeInTheWordsIsExplained) {
  EXPECT_EQ(MistakeOf({"video_fps"}), "\"video_fps\" is not of the form key=value.");
  EXPECT_EQ(MistakeOf({"fps=3"}), "There is no setting \"fps\".");
  EXPECT_EQ(MistakeOf({"video_fps=3x"}), "video_fps takes a whole number, not \"3x\".");
  EXPECT_EQ(MistakeOf({"video_fps=2147483648"}),
            "video_fps takes a whole number, not \"2147483648\".");
  EXPECT_EQ(MistakeOf({"capture_cursor=yes"}), "capture_cursor takes true or false, not \"yes\".");
}

}  // namespace
}  // namespace capture_host
