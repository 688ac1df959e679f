// How the service records: what the host has asked for so far. Zero and the empty text mean "not
// set", so they can never be set on purpose.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <variant>

namespace capture_service {

enum class RecordingMode : std::uint32_t { kMonitor = 1, kGame = 2, kWindow = 3 };

struct RecorderSettings {
  std::int32_t audio_samplerate = 0;  // hertz
  std::int32_t audio_bitrate = 0;     // in the capture library's unit; the open one's is bits/s
  std::int32_t video_fps = 0;
  std::int32_t encoding_crf = 0;  // both the lowest and the highest quality of the encoder
  std::int32_t video_max_height = 0;
  std::int32_t video_max_width = 0;
  std::int32_t record_length = 0;   // of the replay buffer, in seconds
  std::int32_t recording_mode = 0;  // a RecordingMode
  std::int32_t game_pid = 0;
  std::int32_t game_hwnd = 0;
  std::int32_t logging_level = 0;  // one more than the capture library's level
  bool capture_cursor = false;
  std::string audio_game;  // device names as the capture library lists them, or "none"
  std::string audio_chat;
  std::string audio_input;
};

// One setting: its name in "recorder_settings" messages, and where it is kept.
struct RecorderSetting {
  const char* key;
  std::variant<std::int32_t RecorderSettings::*, bool RecorderSettings::*,
               std::string RecorderSettings::*>
      member;
  // No session starts while it is 0; a number then.
  bool needed = false;
};

// All settings, in the order of the protocol, which is also the order in which session start checks
// those that it needs. Whatever goes through the settings goes through this table.
inline constexpr auto RecorderSettingsTable = std::to_array<RecorderSetting>({
    {.key = "audio_samplerate", .member = &RecorderSettings::audio_samplerate, .needed = true},
    {.key = "audio_bitrate", .member = &RecorderSettings::audio_bitrate, .needed = true},
    {.key = "video_fps", .member = &RecorderSettings::video_fps, .needed = true},
    {.key = "encoding_crf", .member = &RecorderSettings::encoding_crf, .needed = true},
    {.key = "video_max_height", .member = &RecorderSettings::video_max_height, .needed = true},
    {.key = "video_max_width", .member = &RecorderSettings::video_max_width, .needed = true},
    {.key = "record_length", .member = &RecorderSettings::record_length, .needed = true},
    {.key = "recording_mode", .member = &RecorderSettings::recording_mode, .needed = true},
    {.key = "game_pid", .member = &RecorderSettings::game_pid},
    {.key = "game_hwnd", .member = &RecorderSettings::game_hwnd},
    {.key = "logging_level", .member = &RecorderSettings::logging_level, .needed = true},
    {.key = "capture_cursor", .member = &RecorderSettings::capture_cursor},
    {.key = "audio_game", .member = &RecorderSettings::audio_game},
    {.key = "audio_chat", .member = &RecorderSettings::audio_chat},
    {.key = "audio_input", .member = &RecorderSettings::audio_input},
});

// The settings that the next session start uses; all defaults at first. Command worker only.
RecorderSettings& CurrentRecorderSettings();

// Takes every number that is not zero and every text that is not empty from `update`, and its
// capture_cursor always.
void MergeRecorderSettings(RecorderSettings& current, const RecorderSettings& update);

}  // namespace capture_service
