#include "protocol/recorder_settings.h"

#include <array>
#include <utility>

namespace capture_service {

RecorderSettings& CurrentRecorderSettings() {
  static auto& settings = *new RecorderSettings;
  return settings;
}

void MergeRecorderSettings(RecorderSettings& current, const RecorderSettings& update) {
  static constexpr std::array kNumbers = {
      &RecorderSettings::audio_samplerate, &RecorderSettings::audio_bitrate,
      &RecorderSettings::video_fps,        &RecorderSettings::encoding_crf,
      &RecorderSettings::video_max_height, &RecorderSettings::video_max_width,
      &RecorderSettings::record_length,    &RecorderSettings::recording_mode,
      &RecorderSettings::game_pid,         &RecorderSettings::game_hwnd,
      &RecorderSettings::logging_level};
  static constexpr std::array kTexts = {
      &RecorderSettings::audio_game, &RecorderSettings::audio_chat, &RecorderSettings::audio_input};

  RecorderSettings merged = current;
  for (const auto number : kNumbers) {
    if (update.*number != 0) merged.*number = update.*number;
  }
  merged.capture_cursor = update.capture_cursor;
  for (const auto text : kTexts) {
    if (!(update.*text).empty()) merged.*text = update.*text;
  }
  current = std::move(merged);
}

}  // namespace capture_service
