#include "protocol/host_message.h"

#include <string>

#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;
using Action = HostEvent::Action;

using HostMessageTest = CoreTest;

TEST_F(HostMessageTest, TextThatIsNotJsonOrIsNullIsDropped) {
  for (const char* text : {"", " ", "null", " null ", "{", "{\"event\": }", "{} x", "{'a': 1}",
                           "nul", "\"open", "[1,]"}) {
    EXPECT_FALSE(ReadHostMessage(text).has_value()) << text;
  }
}

TEST_F(HostMessageTest, OtherJsonIsAMessageWithoutMembers) {
  for (const char* text : {"{}", "[]", "1", "true", "\"text\"", "{\"other\": {\"die\": 1}}"}) {
    const auto message = ReadHostMessage(text);
    ASSERT_TRUE(message.has_value()) << text;
    EXPECT_FALSE(message->reporting || message->clip || message->settings || message->event)
        << text;
  }
}

TEST_F(HostMessageTest, ContainersThatAreNotObjectsAreIgnored) {
  for (const char* value : {"null", "true", "1", "\"x\"", "[{\"die\": 1}]"}) {
    for (const char* name : {"startglimra_sentrysettings", "clip", "recorder_settings", "event"}) {
      const auto message = ReadHostMessage("{\"" + std::string(name) + "\": " + value + "}");
      ASSERT_TRUE(message.has_value());
      EXPECT_FALSE(message->reporting || message->clip || message->settings || message->event)
          << name << " " << value;
    }
  }
}

TEST_F(HostMessageTest, ReportingSettingsAreReadMemberByMember) {
  const auto message = ReadHostMessage(R"({"startglimra_sentrysettings": {
      "sentry_env": "e", "userid": "u", "game_id": "i", "game_exe": "x", "daskel_guid": "g",
      "daskel_version": "v", "beta_enabled": "b", "other": "o"}})");
  ASSERT_TRUE(message && message->reporting);
  EXPECT_EQ(message->reporting->environment, "e");
  EXPECT_EQ(message->reporting->user_id, "u");
  EXPECT_EQ(message->reporting->game_id, "i");
  EXPECT_EQ(message->reporting->game_exe, "x");
  EXPECT_EQ(message->reporting->daskel_guid, "g");
  EXPECT_EQ(message->reporting->daskel_version, "v");
  EXPECT_EQ(message->reporting->beta_enabled, "b");
  EXPECT_FALSE(message->clip || message->settings || message->event);
}

TEST_F(HostMessageTest, MistypedTextsAreEmpty) {
  const auto message = ReadHostMessage(
      R"({"startglimra_sentrysettings": {"sentry_env": 1, "userid": ["u"], "beta_enabled": true},
          "clip": {"filepath": null, "id": 7}})");
  ASSERT_TRUE(message && message->reporting && message->clip);
  EXPECT_EQ(message->reporting->environment, "");
  EXPECT_EQ(message->reporting->user_id, "");
  EXPECT_EQ(message->reporting->game_id, "");
  EXPECT_EQ(message->reporting->beta_enabled, "");
  EXPECT_EQ(message->clip->filepath, "");
  EXPECT_EQ(message->clip->id, "");
}

TEST_F(HostMessageTest, ClipIsReadAsItIs) {
  const auto message = ReadHostMessage(R"({"clip": {"filepath": "C:\\clips\\\u00e4.mp4",
                                                    "id": "42"}})");
  ASSERT_TRUE(message && message->clip);
  EXPECT_EQ(message->clip->filepath, "C:\\clips\\\xC3\xA4.mp4");
  EXPECT_EQ(message->clip->id, "42");
}

TEST_F(HostMessageTest, EachRecorderSettingHasItsOwnMember) {
  const auto message = ReadHostMessage(R"({"recorder_settings": {
      "audio_samplerate": 1, "audio_bitrate": 2, "video_fps": 3, "encoding_crf": 4,
      "video_max_height": 5, "video_max_width": 6, "record_length": 7, "recording_mode": 8,
      "game_pid": 9, "game_hwnd": 10, "logging_level": 11, "capture_cursor": true,
      "audio_game": "g", "audio_chat": "c", "audio_input": "i"}})");
  ASSERT_TRUE(message && message->settings);
  const RecorderSettings& settings = *message->settings;
  EXPECT_EQ(settings.audio_samplerate, 1);
  EXPECT_EQ(settings.audio_bitrate, 2);
  EXPECT_EQ(settings.video_fps, 3);
  EXPECT_EQ(settings.encoding_crf, 4);
  EXPECT_EQ(settings.video_max_height, 5);
  EXPECT_EQ(settings.video_max_width, 6);
  EXPECT_EQ(settings.record_length, 7);
  EXPECT_EQ(settings.recording_mode, 8);
  EXPECT_EQ(settings.game_pid, 9);
  EXPECT_EQ(settings.game_hwnd, 10);
  EXPECT_EQ(settings.logging_level, 11);
  EXPECT_TRUE(settings.capture_cursor);
  EXPECT_EQ(settings.audio_game, "g");
  EXPECT_EQ(settings.audio_chat, "c");
  EXPECT_EQ(settings.audio_input, "i");
}

TEST_F(HostMessageTest, SettingsThatAreMissingOrMistypedAreUnset) {
  const auto message = ReadHostMessage(R"({"recorder_settings": {
      "video_fps": "60", "audio_bitrate": true, "game_pid": null, "capture_cursor": 1,
      "audio_game": 5}})");
  ASSERT_TRUE(message && message->settings);
  EXPECT_EQ(message->settings->video_fps, 0);
  EXPECT_EQ(message->settings->audio_bitrate, 0);
  EXPECT_EQ(message->settings->game_pid, 0);
  EXPECT_EQ(message->settings->audio_samplerate, 0);
  EXPECT_FALSE(message->settings->capture_cursor);
  EXPECT_EQ(message->settings->audio_game, "");
}

struct EventCase {
  const char* event;
  Action action;
  std::int32_t exit_code;
};

TEST_F(HostMessageTest, EventIsTheFirstActionThatApplies) {
  for (const EventCase& c :
       {EventCase{R"({"die": 3, "restart": true})", Action::kDie, 3},
        {R"({"die": 0})", Action::kDie, 0},
        {R"({"die": -1.5})", Action::kDie, -1},
        {R"({"die": "3", "restart": true})", Action::kRestart, 0},
        {R"({"die": true, "change_audio": true})", Action::kChangeAudio, 0},
        {R"({"die": null})", Action::kNone, 0},
        {R"({"restart": true, "change_audio": true})", Action::kRestart, 0},
        {R"({"restart": false, "change_audio": true})", Action::kChangeAudio, 0},
        {R"({"restart": 1, "change_audio": "true"})", Action::kNone, 0},
        {R"({"restart": false, "change_audio": false})", Action::kNone, 0},
        {R"({})", Action::kNone, 0}}) {
    const auto message = ReadHostMessage("{\"event\": " + std::string(c.event) + "}");
    ASSERT_TRUE(message && message->event) << c.event;
    EXPECT_EQ(message->event->action, c.action) << c.event;
    EXPECT_EQ(message->event->exit_code, c.exit_code) << c.event;
  }
}

}  // namespace
}  // namespace core_test
