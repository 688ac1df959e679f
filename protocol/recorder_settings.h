// How the service records: what the host has asked for so far. Zero and the empty text mean "not
// set", so they can never be set on purpose.
#pragma once

#include <cstdint>
#include <string>

namespace capture_service {

struct RecorderSettings {
  std::int32_t audio_samplerate = 0;  // hertz
  std::int32_t audio_bitrate = 0;     // bits per second
  std::int32_t video_fps = 0;
  std::int32_t encoding_crf = 0;  // both the lowest and the highest quality of the encoder
  std::int32_t video_max_height = 0;
  std::int32_t video_max_width = 0;
  std::int32_t record_length = 0;   // of the replay buffer, in seconds
  std::int32_t recording_mode = 0;  // 1 monitor, 2 game, 3 window
  std::int32_t game_pid = 0;
  std::int32_t game_hwnd = 0;
  std::int32_t logging_level = 0;  // one more than the capture library's level
  bool capture_cursor = false;
  std::string audio_game;  // device names as the capture library lists them, or "none"
  std::string audio_chat;
  std::string audio_input;
};

// The settings that the next session start uses; all defaults at first. Command worker only.
RecorderSettings& CurrentRecorderSettings();

// Takes every number that is not zero and every text that is not empty from `update`, and its
// capture_cursor always.
void MergeRecorderSettings(RecorderSettings& current, const RecorderSettings& update);

}  // namespace capture_service
