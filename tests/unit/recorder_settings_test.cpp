#include "protocol/recorder_settings.h"

#include <ostream>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "recording/session_start.h"
#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;

using RecorderSettingsTest = CoreTest;

using Number = std::int32_t RecorderSettings::*;
using Text = std::string RecorderSettings::*;

void ExpectSame(const RecorderSettings& settings, const RecorderSettings& expected) {
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    std::visit([&](auto member) { EXPECT_EQ(settings.*member, expected.*member) << setting.key; },
               setting.member);
  }
}

// One row of the contract with the host: a name, its type, and whether session start needs it.
struct SettingCase {
  std::string key;
  char type;
  bool needed;

  bool operator==(const SettingCase&) const = default;
};

void PrintTo(const SettingCase& setting, std::ostream* out) {
  *out << setting.key << " " << setting.type << (setting.needed ? " needed" : "");
}

TEST_F(RecorderSettingsTest, TableHoldsExactlyTheContractsSettingsInTheirOrder) {
  std::vector<SettingCase> table;
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    table.push_back({setting.key, "nft"[setting.member.index()], setting.needed});
  }
  EXPECT_EQ(table, (std::vector<SettingCase>{{"audio_samplerate", 'n', true},
                                             {"audio_bitrate", 'n', true},
                                             {"video_fps", 'n', true},
                                             {"encoding_crf", 'n', true},
                                             {"video_max_height", 'n', true},
                                             {"video_max_width", 'n', true},
                                             {"record_length", 'n', true},
                                             {"recording_mode", 'n', true},
                                             {"game_pid", 'n', false},
                                             {"game_hwnd", 'n', false},
                                             {"logging_level", 'n', true},
                                             {"capture_cursor", 'f', false},
                                             {"audio_game", 't', false},
                                             {"audio_chat", 't', false},
                                             {"audio_input", 't', false}}));
}

TEST_F(RecorderSettingsTest, EachSettingHasAMemberOfItsOwn) {
  for (const RecorderSetting& one : RecorderSettingsTable) {
    for (const RecorderSetting& other : RecorderSettingsTable) {
      EXPECT_EQ(one.member == other.member, &one == &other) << one.key << " " << other.key;
    }
  }
}

TEST_F(RecorderSettingsTest, AllAreUnsetAtFirst) {
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    std::visit(
        [&](auto member) {
          const auto& value = CurrentRecorderSettings().*member;
          EXPECT_EQ(value, std::decay_t<decltype(value)>{}) << setting.key;
        },
        setting.member);
  }
}

TEST_F(RecorderSettingsTest, EachNumberIsTakenOnlyWhenItIsNotZero) {
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    const Number* const number = std::get_if<Number>(&setting.member);
    if (number == nullptr) continue;
    for (const std::int32_t value : {60, -1}) {
      RecorderSettings update;
      update.** number = value;

      RecorderSettings current = CompleteSettings();
      RecorderSettings expected = CompleteSettings();
      expected.** number = value;
      expected.capture_cursor = false;
      MergeRecorderSettings(current, update);
      ExpectSame(current, expected);
    }
  }
}

TEST_F(RecorderSettingsTest, EachTextIsTakenOnlyWhenItIsNotEmpty) {
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    const Text* const text = std::get_if<Text>(&setting.member);
    if (text == nullptr) continue;
    RecorderSettings update;
    update.** text = "none";

    RecorderSettings current = CompleteSettings();
    RecorderSettings expected = CompleteSettings();
    expected.** text = "none";
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
