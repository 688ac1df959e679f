#include "protocol/host_message.h"

#include <json11.hpp>

#include "protocol/read_int32.h"

namespace capture_service {
namespace {

using json11::Json;

ReportingSettings ReadReportingSettings(const Json& object) {
  return {.environment = object["sentry_env"].string_value(),
          .user_id = object["userid"].string_value(),
          .game_id = object["game_id"].string_value(),
          .game_exe = object["game_exe"].string_value(),
          .daskel_guid = object["daskel_guid"].string_value(),
          .daskel_version = object["daskel_version"].string_value(),
          .beta_enabled = object["beta_enabled"].string_value()};
}

ClipRequest ReadClipRequest(const Json& object) {
  return {.filepath = object["filepath"].string_value(), .id = object["id"].string_value()};
}

RecorderSettings ReadRecorderSettings(const Json& object) {
  return {.audio_samplerate = ReadInt32(object["audio_samplerate"]),
          .audio_bitrate = ReadInt32(object["audio_bitrate"]),
          .video_fps = ReadInt32(object["video_fps"]),
          .encoding_crf = ReadInt32(object["encoding_crf"]),
          .video_max_height = ReadInt32(object["video_max_height"]),
          .video_max_width = ReadInt32(object["video_max_width"]),
          .record_length = ReadInt32(object["record_length"]),
          .recording_mode = ReadInt32(object["recording_mode"]),
          .game_pid = ReadInt32(object["game_pid"]),
          .game_hwnd = ReadInt32(object["game_hwnd"]),
          .logging_level = ReadInt32(object["logging_level"]),
          .capture_cursor = object["capture_cursor"].bool_value(),
          .audio_game = object["audio_game"].string_value(),
          .audio_chat = object["audio_chat"].string_value(),
          .audio_input = object["audio_input"].string_value()};
}

HostEvent ReadEvent(const Json& object) {
  using enum HostEvent::Action;
  if (object["die"].is_number()) return {.action = kDie, .exit_code = ReadInt32(object["die"])};
  if (object["restart"].bool_value()) return {.action = kRestart};
  if (object["change_audio"].bool_value()) return {.action = kChangeAudio};
  return {};
}

}  // namespace

std::optional<HostMessage> ReadHostMessage(const std::string& text) {
  std::string parse_error;
  const Json json = Json::parse(text, parse_error);
  if (json.is_null()) return std::nullopt;

  HostMessage message;
  if (const Json& object = json["startglimra_sentrysettings"]; object.is_object()) {
    message.reporting = ReadReportingSettings(object);
  }
  if (const Json& object = json["clip"]; object.is_object()) {
    message.clip = ReadClipRequest(object);
  }
  if (const Json& object = json["recorder_settings"]; object.is_object()) {
    message.settings = ReadRecorderSettings(object);
  }
  if (const Json& object = json["event"]; object.is_object()) message.event = ReadEvent(object);
  return message;
}

}  // namespace capture_service
