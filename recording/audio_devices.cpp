#include "recording/audio_devices.h"

#include <json11.hpp>

#include <array>
#include <string>
#include <unordered_map>

#include "diagnostics/fatal_failure.h"
#include "diagnostics/logging.h"
#include "gsdk/capture_library.h"
#include "recording/input_descriptions.h"

namespace capture_service {
namespace {

using json11::Json;
using AppliedDevices = std::array<std::string, kAudioInputs>;

// Fills in the devices of this kind that the settings want and the library has. Returns false after
// a failure, which is then logged and posted.
bool ApplyWantedDevices(const std::string& kind, const RecorderSettings& settings,
                        AppliedDevices& applied) {
  std::unordered_map<std::string, std::string*> wanted;
  for (const AudioSource& source : kAudioSources) {
    if (source.kind == kind) wanted.emplace(settings.*source.device, &applied.at(source.slot));
  }

  ListText text;
  LibraryError error;
  if (!ReadInputList(kind.c_str(), text, error)) {
    RaiseFailure(ErrorCode::GSDKBadAudioInput, "getting " + kind + " failed: ", error,
                 ReportAs::kErrorEvent);
    return false;
  }
  std::string parse_error;
  const Json list = ParseInputList(text.get(), parse_error);
  if (list.is_null()) {
    // The library keeps a text that cannot be parsed.
    static_cast<void>(text.release());
    RaiseFailure(ErrorCode::CannotParseAudioDeviceData,
                 "error parsing gsdk_input_properties json: " + parse_error, ReportAs::kErrorEvent);
    return false;
  }
  text.reset();

  for (const Json& entry : list["device_id"]["values"].array_items()) {
    const auto found = wanted.find(entry["value"].string_value());
    if (found != wanted.end()) *found->second = found->first;
  }
  return true;
}

void UpdateSource(SessionState& session, AudioInputSlot& slot, const std::string& device) {
  slot.current_device = device;
  const Json update = Json::object{{"device_id", device}, {"use_device_timing", false}};
  LibraryError error;
  if (!Library().gsdk_session_update_audio_input_handle(session.session, slot.handle,
                                                        update.dump().c_str(), error.Out())) {
    LogFailure("Update audio settings", "Update audio settings failed: " + error.Message(),
               ReportAs::kErrorEvent);
  }
}

}  // namespace

void BindAudioDevices(SessionState& session, const RecorderSettings& settings) {
  AppliedDevices applied;
  for (const char* kind : {"audio_output", "audio_input"}) {
    if (!ApplyWantedDevices(kind, settings, applied)) return;
  }
  for (const AudioSource& source : kAudioSources) {
    AudioInputSlot& slot = session.audio_inputs.at(source.slot);
    const std::string& device = applied.at(source.slot);
    if (slot.current_device != device) UpdateSource(session, slot, device);
  }
}

}  // namespace capture_service
