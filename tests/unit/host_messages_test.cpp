// What the console sends, read as the service reads it.
#include "tools/host_messages.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <variant>

#include "protocol/host_message.h"

namespace core_test {
namespace {

using namespace capture_service;
using Action = HostEvent::Action;

RecorderSettings Read(const std::string& message) {
  return ReadHostMessage(message).value().settings.value();
}

TEST(HostMessages, SettingsArriveAsTheyWereSent) {
  const RecorderSettings sent = host_tools::DefaultSettings();
  const RecorderSettings received = Read(host_tools::SettingsMessage(sent));
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    std::visit([&](auto member) { EXPECT_EQ(received.*member, sent.*member) << setting.key; },
               setting.member);
  }
}

TEST(HostMessages, DefaultsLackNothingThatASessionNeeds) {
  const RecorderSettings settings = host_tools::DefaultSettings();
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    if (!setting.needed) continue;
    EXPECT_NE(settings.*std::get<std::int32_t RecorderSettings::*>(setting.member), 0)
        << setting.key;
  }
}

TEST(HostMessages, EachSettingCanBeTypedByItsName) {
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    const std::string message = host_tools::SettingsMessage({std::string(setting.key) + "=1"});
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

TEST(HostMessages, OnlyWhatIsTypedIsSent) {
  EXPECT_EQ(
      host_tools::SettingsMessage({"video_fps=60", "audio_game=", "capture_cursor=false"}),
      R"({"recorder_settings": {"audio_game": "", "capture_cursor": false, "video_fps": 60}})");
}

struct Mistake {
  const char* assignment;
  const char* text;
};

TEST(HostMessages, MistakesAreSaidInASentence) {
  for (const Mistake& mistake :
       {Mistake{"video_fps", "\"video_fps\" is not of the form key=value."},
        {"nope=1", "There is no setting \"nope\"."},
        {"video_fps=x", "video_fps takes a whole number, not \"x\"."},
        {"video_fps=1.5", "video_fps takes a whole number, not \"1.5\"."},
        {"capture_cursor=2", "capture_cursor takes true or false, not \"2\"."}}) {
    try {
      host_tools::SettingsMessage({mistake.assignment});
      ADD_FAILURE() << mistake.assignment;
    } catch (const std::invalid_argument& error) {
      EXPECT_STREQ(error.what(), mistake.text);
    }
  }
}

TEST(HostMessages, EventsAndClipsReadAsWhatTheyAre) {
  const auto event = [](const std::string& message) {
    return ReadHostMessage(message).value().event.value();
  };
  EXPECT_EQ(event(host_tools::RestartMessage()).action, Action::kRestart);
  EXPECT_EQ(event(host_tools::ChangeAudioMessage()).action, Action::kChangeAudio);
  EXPECT_EQ(event(host_tools::DieMessage(-7)).action, Action::kDie);
  EXPECT_EQ(event(host_tools::DieMessage(-7)).exit_code, -7);
  const ClipRequest clip =
      ReadHostMessage(host_tools::ClipMessage("C:\\a.mp4", "9")).value().clip.value();
  EXPECT_EQ(clip.filepath, "C:\\a.mp4");
  EXPECT_EQ(clip.id, "9");
}

}  // namespace
}  // namespace core_test
