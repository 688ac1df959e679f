// The messages that a host sends, each as the text of one frame. docs/protocol.md describes them
// one by one. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "protocol/host_message.h"
#include "protocol/recorder_settings.h"

namespace capture_host {

using capture_service::RecorderSettings;
using capture_service::RecordingMode;
using capture_service::ReportingSettings;

// Settings with which a recording starts once the game is named: 30 pictures a second, at most
// 1920x1080, the last 8 seconds, the game's window with the cursor, and the sound of the default
// device.
RecorderSettings DefaultSettings();

std::string ReportingMessage(const ReportingSettings& settings);

// Carries the numbers that are not 0 and the texts that are not empty, which leaves the others as
// they are; and always the cursor, which a message without it would switch off.
std::string SettingsMessage(const RecorderSettings& settings);

// Carries what the words "key=value" say and nothing else. Throws std::invalid_argument with a
// sentence for people when a key is unknown or a value does not fit it.
std::string SettingsMessage(const std::vector<std::string>& assignments);

// `path` is UTF-8 and should be absolute: the service's working folder is its own.
std::string ClipMessage(const std::string& path, const std::string& id);
std::string RestartMessage();
std::string ChangeAudioMessage();
std::string DieMessage(std::int32_t exit_status);

}  // namespace capture_host
