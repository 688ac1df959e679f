#include "protocol/host_message.h"

#include <json11.hpp>
#include <mutex>
#include <string_view>
#include <variant>

#include "protocol/read_int32.h"

namespace capture_service {
namespace {

using json11::Json;
using namespace std::string_view_literals;

// Held while a message is read, and for ever once the process ends; never destroyed.
std::mutex& Reading() {
  static auto& reading = *new std::mutex;
  return reading;
}

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

void Read(const Json& value, std::int32_t& number) { number = ReadInt32(value); }

void Read(const Json& value, bool& flag) { flag = value.bool_value(); }

void Read(const Json& value, std::string& text) { text = value.string_value(); }

RecorderSettings ReadRecorderSettings(const Json& object) {
  RecorderSettings settings;
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    std::visit([&](auto member) { Read(object[setting.key], settings.*member); }, setting.member);
  }
  return settings;
}

HostEvent ReadEvent(const Json& object) {
  using enum HostEvent::Action;
  HostEvent event;
  for (const auto& [key, value] : object.object_items()) {
    if (key == "die"sv && value.is_number()) {
      return {.action = kDie, .exit_code = ReadInt32(value)};
    }
    if (key == "restart"sv && value.bool_value()) {
      event.action = kRestart;
    } else if (key == "change_audio"sv && value.bool_value() && event.action == kNone) {
      event.action = kChangeAudio;
    }
  }
  return event;
}

}  // namespace

std::optional<HostMessage> ReadHostMessage(const std::string& text) {
  const std::lock_guard lock(Reading());
  std::string parse_error;
  const Json json = Json::parse(text, parse_error);
  if (json.is_null()) return std::nullopt;

  HostMessage message;
  for (const auto& [key, value] : json.object_items()) {
    if (!value.is_object()) continue;
    if (key == "startglimra_sentrysettings"sv) {
      message.reporting = ReadReportingSettings(value);
    } else if (key == "clip"sv) {
      message.clip = ReadClipRequest(value);
    } else if (key == "recorder_settings"sv) {
      message.settings = ReadRecorderSettings(value);
    } else if (key == "event"sv) {
      message.event = ReadEvent(value);
    }
  }
  return message;
}

void EndHostMessages() { Reading().lock(); }

}  // namespace capture_service
