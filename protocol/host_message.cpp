#include "protocol/host_protocol.h"

#include <json11.hpp>

#include <limits>

#include "protocol/error_codes.h"
#include "protocol/message_queue.h"

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

void Push(Direction direction, const Json& message) {
  PushMessage(MakePipeMessage(direction, message.dump()));
}

std::int32_t Milliseconds(std::int64_t nanoseconds) {
  return static_cast<std::int32_t>(nanoseconds / 1'000'000);
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

std::int32_t ReadInt32(const Json& value) {
  // Every value above -2^31 - 1 and below 2^31 fits once its fraction is cut off.
  constexpr double kLowest = std::numeric_limits<std::int32_t>::min();
  const double number = value.number_value();
  if (number > kLowest - 1 && number < -kLowest) return value.int_value();
  return std::numeric_limits<std::int32_t>::min();
}

void SendClipResult(const std::string& id, std::int64_t duration, std::int64_t last_timestamp,
                    std::int64_t audio_drop, std::int64_t video_drop, bool captured_from_hdr) {
  Push(Direction::kOutbound,
       Json::object{{"clip", Json::object{{"id", id},
                                          {"succeeded", true},
                                          {"duration", Milliseconds(duration)},
                                          {"last_ts", std::to_string(last_timestamp)},
                                          {"audio_drop", Milliseconds(audio_drop)},
                                          {"video_drop", Milliseconds(video_drop)},
                                          {"captured_from_hdr", captured_from_hdr}}}});
}

void SendClipFailure(const std::string& id, const std::string& error) {
  Push(Direction::kOutbound,
       Json::object{{"clip", Json::object{{"id", id}, {"succeeded", false}, {"error", error}}}});
}

void PostRestartEvent() {
  Push(Direction::kInbound, Json::object{{"event", Json::object{{"restart", true}}}});
}

void PostDieEvent(std::uint32_t code) {
  Push(Direction::kInbound,
       Json::object{{"event", Json::object{{"die", static_cast<std::int32_t>(code)}}}});
}

void PostDieEvent(std::string_view failure) {
  PostDieEvent(static_cast<std::uint32_t>(FindErrorCode(failure).value_or(0)));
}

}  // namespace capture_service
