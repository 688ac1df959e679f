// The messages between host and service as the host sees them: builds what it sends, and reads
// what it receives. docs/protocol.md is their catalogue.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/recorder_settings.h"

namespace host_tools {

using capture_service::RecorderSettings;
using capture_service::RecordingMode;

// The settings of a recording for which the user says nothing but what to record.
RecorderSettings DefaultSettings();

// A "recorder_settings" message with all of the settings. Zero and empty mean "leave as it is" to
// the service.
std::string SettingsMessage(const RecorderSettings& settings);

// Builds a "recorder_settings" message from "key=value" words. Throws std::invalid_argument with a
// sentence for people when a key is unknown or a value does not fit it.
std::string SettingsMessage(const std::vector<std::string>& assignments);

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
