#include "capture_host/messages.h"

#include <array>
#include <charconv>
#include <json11.hpp>
#include <stdexcept>

namespace capture_host {
namespace {

using json11::Json;

enum class SettingType { kNumber, kFlag, kText };

struct Setting {
  std::string_view key;
  SettingType type;
};

constexpr std::array<Setting, 15> kSettings{{
    {"audio_samplerate", SettingType::kNumber},
    {"audio_bitrate", SettingType::kNumber},
    {"video_fps", SettingType::kNumber},
    {"encoding_crf", SettingType::kNumber},
    {"video_max_height", SettingType::kNumber},
    {"video_max_width", SettingType::kNumber},
    {"record_length", SettingType::kNumber},
    {"recording_mode", SettingType::kNumber},
    {"game_pid", SettingType::kNumber},
    {"game_hwnd", SettingType::kNumber},
    {"logging_level", SettingType::kNumber},
    {"capture_cursor", SettingType::kFlag},
    {"audio_game", SettingType::kText},
    {"audio_chat", SettingType::kText},
    {"audio_input", SettingType::kText},
}};

Json ReadNumber(const std::string& key, const std::string& text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || stop != end) {
    throw std::invalid_argument(key + " takes a whole number, not \"" + text + "\".");
  }
  return number;
}

Json ReadFlag(const std::string& key, const std::string& text) {
  if (text == "true" || text == "1") return true;
  if (text == "false" || text == "0") return false;
  throw std::invalid_argument(key + " takes true or false, not \"" + text + "\".");
}

Json ReadValue(const Setting& setting, const std::string& text) {
  const std::string key(setting.key);
  switch (setting.type) {
    case SettingType::kNumber:
      return ReadNumber(key, text);
    case SettingType::kFlag:
      return ReadFlag(key, text);
    case SettingType::kText:
      break;
  }
  return text;
}

const Setting* FindSetting(std::string_view key) {
  for (const Setting& setting : kSettings) {
    if (setting.key == key) return &setting;
  }
  return nullptr;
}

std::string SettingsText(Json::object members) {
  return Json(Json::object{{"recorder_settings", std::move(members)}}).dump();
}

std::string EventText(const std::string& name, const Json& value) {
  return Json(Json::object{{"event", Json::object{{name, value}}}}).dump();
}

}  // namespace

std::string ReportingMessage(const ReportingSettings& settings) {
  return Json(Json::object{{"startglimra_sentrysettings",
                            Json::object{{"sentry_env", settings.environment},
                                         {"userid", settings.user_id},
                                         {"game_id", settings.game_id},
                                         {"game_exe", settings.game_exe},
                                         {"daskel_guid", settings.daskel_guid},
                                         {"daskel_version", settings.daskel_version},
                                         {"beta_enabled", settings.beta_enabled}}}})
      .dump();
}

std::string SettingsMessage(const RecorderSettings& settings) {
  Json::object members = {{"capture_cursor", settings.capture_cursor}};
  const auto number = [&](const char* key, std::int32_t value) {
    if (value != 0) members[key] = value;
  };
  const auto text = [&](const char* key, const std::string& value) {
    if (!value.empty()) members[key] = value;
  };
  number("audio_samplerate", settings.audio_samplerate);
  number("audio_bitrate", settings.audio_bitrate);
  number("video_fps", settings.video_fps);
  number("encoding_crf", settings.encoding_crf);
  number("video_max_height", settings.video_max_height);
  number("video_max_width", settings.video_max_width);
  number("record_length", settings.record_length);
  number("recording_mode", settings.recording_mode);
  number("game_pid", settings.game_pid);
  number("game_hwnd", settings.game_hwnd);
  number("logging_level", settings.logging_level);
  text("audio_game", settings.audio_game);
  text("audio_chat", settings.audio_chat);
  text("audio_input", settings.audio_input);
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
    const Setting* const setting = FindSetting(key);
    if (setting == nullptr) throw std::invalid_argument("There is no setting \"" + key + "\".");
    members[key] = ReadValue(*setting, assignment.substr(equals + 1));
  }
  return SettingsText(std::move(members));
}

std::vector<std::string_view> SettingsKeys() {
  std::vector<std::string_view> keys;
  keys.reserve(std::size(kSettings));
  for (const Setting& setting : kSettings) keys.push_back(setting.key);
  return keys;
}

std::string RestartMessage() { return EventText("restart", true); }

std::string ChangeAudioMessage() { return EventText("change_audio", true); }

std::string DieMessage(std::int32_t exit_status) { return EventText("die", exit_status); }

std::string ClipMessage(const std::string& path, const std::string& id) {
  return Json(Json::object{{"clip", Json::object{{"filepath", path}, {"id", id}}}}).dump();
}

}  // namespace capture_host
