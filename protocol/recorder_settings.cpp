#include "protocol/recorder_settings.h"

#include <utility>

namespace capture_service {
namespace {

void Merge(std::int32_t& current, std::int32_t update) {
  if (update != 0) current = update;
}

void Merge(bool& current, bool update) { current = update; }

void Merge(std::string& current, const std::string& update) {
  if (!update.empty()) current = update;
}

}  // namespace

RecorderSettings& CurrentRecorderSettings() {
  static auto& settings = *new RecorderSettings;
  return settings;
}

void MergeRecorderSettings(RecorderSettings& current, const RecorderSettings& update) {
  RecorderSettings merged = current;
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    std::visit([&](auto member) { Merge(merged.*member, update.*member); }, setting.member);
  }
  current = std::move(merged);
}

}  // namespace capture_service
