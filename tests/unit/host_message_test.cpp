#include "protocol/host_protocol.h"

#include <json11.hpp>
#include <limits>
#include <string>

#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;
using json11::Json;
using Action = HostEvent::Action;

using HostProtocolTest = CoreTest;

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

TEST_F(HostProtocolTest, TextThatIsNotJsonOrIsNullIsDropped) {
  for (const char* text : {"", " ", "null", " null ", "{", "{\"event\": }", "{} x", "{'a': 1}",
                           "nul", "\"open", "[1,]"}) {
    EXPECT_FALSE(ReadHostMessage(text).has_value()) << text;
  }
}

TEST_F(HostProtocolTest, OtherJsonIsAMessageWithoutMembers) {
  for (const char* text : {"{}", "[]", "1", "true", "\"text\"", "{\"other\": {\"die\": 1}}"}) {
    const auto message = ReadHostMessage(text);
    ASSERT_TRUE(message.has_value()) << text;
    EXPECT_FALSE(message->reporting || message->clip || message->settings || message->event)
        << text;
  }
}

TEST_F(HostProtocolTest, ContainersThatAreNotObjectsAreIgnored) {
  for (const char* value : {"null", "true", "1", "\"x\"", "[{\"die\": 1}]"}) {
    for (const char* name : {"startglimra_sentrysettings", "clip", "recorder_settings", "event"}) {
      const auto message = ReadHostMessage("{\"" + std::string(name) + "\": " + value + "}");
      ASSERT_TRUE(message.has_value());
      EXPECT_FALSE(message->reporting || message->clip || message->settings || message->event)
          << name << " " << value;
    }
  }
}

TEST_F(HostProtocolTest, ReportingSettingsAreReadMemberByMember) {
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

TEST_F(HostProtocolTest, MistypedTextsAreEmpty) {
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

TEST_F(HostProtocolTest, ClipIsReadAsItIs) {
  const auto message = ReadHostMessage(R"({"clip": {"filepath": "C:\\clips\\\u00e4.mp4",
                                                    "id": "42"}})");
  ASSERT_TRUE(message && message->clip);
  EXPECT_EQ(message->clip->filepath, "C:\\clips\\\xC3\xA4.mp4");
  EXPECT_EQ(message->clip->id, "42");
}

TEST_F(HostProtocolTest, EachRecorderSettingHasItsOwnMember) {
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

TEST_F(HostProtocolTest, SettingsThatAreMissingOrMistypedAreUnset) {
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

struct NumberCase {
  const char* json;
  std::int32_t value;
};

TEST_F(HostProtocolTest, NumbersAreCutToThirtyTwoBits) {
  for (const NumberCase& c : {NumberCase{"60.9", 60},
                              {"-60.9", -60},
                              {"0.99", 0},
                              {"-0.99", 0},
                              {"1e3", 1000},
                              {"2147483647", kHighest},
                              {"2147483647.9", kHighest},
                              {"-2147483648", kLowest},
                              {"-2147483648.9", kLowest},
                              // Out of range: the lowest, as the processor converts.
                              {"2147483648", kLowest},
                              {"4294967295", kLowest},
                              {"-2147483649", kLowest},
                              {"1e300", kLowest},
                              {"-1e300", kLowest},
                              {"1e999", kLowest},
                              {"\"5\"", 0},
                              {"true", 0},
                              {"null", 0},
                              {"[5]", 0},
                              {"{}", 0}}) {
    std::string error;
    EXPECT_EQ(ReadInt32(Json::parse(c.json, error)), c.value) << c.json;
    EXPECT_EQ(error, "") << c.json;
  }
}

struct EventCase {
  const char* event;
  Action action;
  std::int32_t exit_code;
};

TEST_F(HostProtocolTest, EventIsTheFirstActionThatApplies) {
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

TEST_F(HostProtocolTest, ClipResultCarriesMillisecondsAndTheTimestampAsText) {
  SendClipResult("id 1", 1'999'999, -5, 2'000'000, -1'999'999, true);
  EXPECT_EQ(TakeRecorded(),
            (Lines{TextToHost(R"({"clip": {"audio_drop": 2, "captured_from_hdr": true, )"
                              R"("duration": 1, "id": "id 1", "last_ts": "-5", )"
                              R"("succeeded": true, "video_drop": -1}})")}));
}

TEST_F(HostProtocolTest, TimestampKeepsAllItsDigits) {
  SendClipResult("", 0, std::numeric_limits<std::int64_t>::min(), 0, 0, false);
  SendClipResult("", 0, std::numeric_limits<std::int64_t>::max(), 0, 0, false);
  const std::string before =
      R"({"clip": {"audio_drop": 0, "captured_from_hdr": false, "duration": 0, "id": "", )"
      R"("last_ts": ")";
  const std::string after = R"(", "succeeded": true, "video_drop": 0}})";
  EXPECT_EQ(TakeRecorded(), (Lines{TextToHost(before + "-9223372036854775808" + after),
                                   TextToHost(before + "9223372036854775807" + after)}));
}

TEST_F(HostProtocolTest, ClipFailureCarriesTheText) {
  SendClipFailure("7\"", "clip was empty");
  EXPECT_EQ(TakeRecorded(),
            (Lines{TextToHost(
                R"({"clip": {"error": "clip was empty", "id": "7\"", "succeeded": false}})")}));
}

TEST_F(HostProtocolTest, RequestsOfTheServiceToItselfReadAsEvents) {
  PostRestartEvent();
  PostDieEvent(0U);
  PostDieEvent(0xFFFFFFFFU);
  PostDieEvent("GSDKGenericExitError");
  PostDieEvent("NoSuchName");
  EXPECT_EQ(TakeRecorded(),
            (Lines{"to self: {\"event\": {\"restart\": true}}",
                   "to self: {\"event\": {\"die\": 0}}", "to self: {\"event\": {\"die\": -1}}",
                   "to self: {\"event\": {\"die\": 200}}", "to self: {\"event\": {\"die\": 0}}"}));
  EXPECT_EQ(ReadHostMessage(R"({"event": {"restart": true}})")->event->action, Action::kRestart);
  EXPECT_EQ(ReadHostMessage(R"({"event": {"die": -1}})")->event->exit_code, -1);
}

}  // namespace
}  // namespace core_test
