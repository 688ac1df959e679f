// The messages between host and service as the host sees them: builds what it sends, and reads
// what it receives. docs/protocol.md is their catalogue.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host_tools {

enum class RecordingMode : std::int32_t { kMonitor = 1, kGame = 2, kWindow = 3 };

// What a "recorder_settings" message carries. Zero and empty mean "leave as it is" to the service.
struct RecorderSettings {
  std::int32_t audio_samplerate = 48'000;
  std::int32_t audio_bitrate = 160'000;
  std::int32_t video_fps = 30;
  std::int32_t encoding_crf = 23;
  std::int32_t video_max_height = 1080;
  std::int32_t video_max_width = 1920;
  std::int32_t record_length = 8;  // seconds
  RecordingMode recording_mode = RecordingMode::kWindow;
  std::int32_t game_pid = 0;
  std::int32_t game_hwnd = 0;
  std::int32_t logging_level = 3;
  bool capture_cursor = true;
  std::string audio_game = "default";
  std::string audio_chat = "none";
  std::string audio_input = "none";
};

std::string SettingsMessage(const RecorderSettings& settings);

// Builds a "recorder_settings" message from "key=value" words. Throws std::invalid_argument with a
// sentence for people when a key is unknown or a value does not fit it.
std::string SettingsMessage(const std::vector<std::string>& assignments);

// The keys that SettingsMessage knows, in the order of the catalogue.
std::vector<std::string_view> SettingsKeys();

std::string RestartMessage();
std::string ChangeAudioMessage();
std::string DieMessage(std::int32_t exit_status);
std::string ClipMessage(const std::string& path, const std::string& id);

// The answer to a clip request.
struct ClipAnswer {
  std::string id;
  bool succeeded = false;
  std::int32_t duration_ms = 0;
  std::string last_timestamp_ns;
  std::int32_t audio_drop_ms = 0;
  std::int32_t video_drop_ms = 0;
  bool captured_from_hdr = false;
  std::string error;  // when it did not succeed
};

// None when the text is no clip answer.
std::optional<ClipAnswer> ReadClipAnswer(const std::string& text);

// The line that the service logs with this message; none when the text is no log line.
std::optional<std::string> ReadLogLine(const std::string& text);

// True for the log line with which a session start announces what it captures: the first sign that
// a recording is about to run.
bool AnnouncesSession(std::string_view log_line);

}  // namespace host_tools
