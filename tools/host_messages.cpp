#include "tools/host_messages.h"

#include <charconv>
#include <json11.hpp>
#include <stdexcept>
#include <variant>

namespace host_tools {
namespace {

using json11::Json;

using capture_service::RecorderSetting;
using capture_service::RecorderSettingsTable;

// The value of the setting `key` that its `text` at the console stands for, by the type of the
// member that keeps it.
Json ReadValue(const std::string& key, const std::string& text,
               std::int32_t RecorderSettings::* /*number*/) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || stop != end) {
    throw std::invalid_argument(key + " takes a whole number, not \"" + text + "\".");
  }
  return number;
}

Json ReadValue(const std::string& key, const std::string& text, bool RecorderSettings::* /*flag*/) {
  if (text == "true" || text == "1") return true;
  if (text == "false" || text == "0") return false;
  throw std::invalid_argument(key + " takes true or false, not \"" + text + "\".");
}

Json ReadValue(const std::string& /*key*/, const std::string& text,
               std::string RecorderSettings::* /*text*/) {
  return text;
}

// Throws std::invalid_argument when there is no such setting.
const RecorderSetting& FindSetting(const std::string& key) {
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    if (setting.key == key) return setting;
  }
  throw std::invalid_argument("There is no setting \"" + key + "\".");
}

std::string SettingsText(Json::object members) {
  return Json(Json::object{{"recorder_settings", std::move(members)}}).dump();
}

std::string EventText(const std::string& name, const Json& value) {
  return Json(Json::object{{"event", Json::object{{name, value}}}}).dump();
}

Json ParseObject(const std::string& text) {
  std::string ignored;
  return Json::parse(text, ignored);
}

}  // namespace

RecorderSettings DefaultSettings() {
  return {.audio_samplerate = 48'000,
          .audio_bitrate = 160'000,
          .video_fps = 30,
          .encoding_crf = 23,
          .video_max_height = 1080,
          .video_max_width = 1920,
          .record_length = 8,
          .recording_mode = static_cast<std::int32_t>(RecordingMode::kWindow),
          .game_pid = 0,
          .game_hwnd = 0,
          .logging_level = 3,
          .capture_cursor = true,
          .audio_game = "default",
          .audio_chat = "none",
          .audio_input = "none"};
}

std::string SettingsMessage(const RecorderSettings& settings) {
  Json::object members;
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    std::visit([&](auto member) { members[setting.key] = settings.*member; }, setting.member);
  }
  return SettingsText(std::move(members));
}

std::string SettingsMessage(const std::vector<std::string>& assignments) {
  Json::object members;
  for (const std::string& assignment : assignments) {
    const std::size_t equals = assignment.find('=');
    if (equals == std::string::npos) {
      throw std::invalid_argument("\"" + assignment + "\" is not of the form key=value.");
    }
    const std::string key = assignment.substr(0, equals);
    const std::string text = assignment.substr(equals + 1);
    members[key] = std::visit([&](auto member) { return ReadValue(key, text, member); },
                              FindSetting(key).member);
  }
  return SettingsText(std::move(members));
}

std::string RestartMessage() { return EventText("restart", true); }

std::string ChangeAudioMessage() { return EventText("change_audio", true); }

std::string DieMessage(std::int32_t exit_status) { return EventText("die", exit_status); }

std::string ClipMessage(const std::string& path, const std::string& id) {
  return Json(Json::object{{"clip", Json::object{{"filepath", path}, {"id", id}}}}).dump();
}

std::optional<ClipAnswer> ReadClipAnswer(const std::string& text) {
  const Json message = ParseObject(text);
  const Json& clip = message["clip"];
  if (!clip.is_object()) return std::nullopt;
  ClipAnswer answer;
  answer.id = clip["id"].string_value();
  answer.succeeded = clip["succeeded"].bool_value();
  answer.duration_ms = clip["duration"].int_value();
  answer.last_timestamp_ns = clip["last_ts"].string_value();
  answer.audio_drop_ms = clip["audio_drop"].int_value();
  answer.video_drop_ms = clip["video_drop"].int_value();
  answer.captured_from_hdr = clip["captured_from_hdr"].bool_value();
  answer.error = clip["error"].string_value();
  return answer;
}

std::optional<std::string> ReadLogLine(const std::string& text) {
  const Json message = ParseObject(text);
  const Json& line = message["error"];
  if (!line.is_string()) return std::nullopt;
  return line.string_value();
}

bool AnnouncesSession(std::string_view log_line) {
  return log_line.starts_with("capture settings: ");
}

}  // namespace host_tools
