#include "open_gsdk/inputs/input_lists.h"

#include <json11.hpp>

#include "open_gsdk/inputs/audio_devices.h"
#include "open_gsdk/inputs/monitors.h"
#include "open_gsdk/inputs/windows_on_screen.h"
#include "open_gsdk/support/failure.h"
#include "platform/text_encoding.h"
#include "platform/window_handle.h"

namespace open_gsdk {
namespace {

using json11::Json;

Json MonitorList() {
  Json chosen;
  Json::array values;
  for (const Monitor& monitor : ListMonitors()) {
    const std::string name = platform::Utf8FromWide(monitor.name);
    const RECT& rectangle = monitor.rectangle;
    values.push_back(
        Json::object{{"info", Json::object{{"name", name},
                                           {"primary", monitor.primary},
                                           {"top", static_cast<int>(rectangle.top)},
                                           {"bottom", static_cast<int>(rectangle.bottom)},
                                           {"left", static_cast<int>(rectangle.left)},
                                           {"right", static_cast<int>(rectangle.right)}}},
                     {"value", name}});
    if (monitor.primary || chosen.is_null()) chosen = name;
  }
  return Json::object{{"monitor", Json::object{{"default", chosen}, {"values", values}}}};
}

Json WindowList() {
  Json::array values;
  for (const TopWindow& window : ListWindows()) {
    values.push_back(Json::object{
        {"value", Json::object{{"hwnd", static_cast<double>(platform::WindowNumber(window.handle))},
                               {"title", window.title},
                               {"pid", static_cast<double>(window.process_id)}}}});
  }
  return Json::object{{"window", Json::object{{"values", values}}}};
}

Json AudioList(AudioDirection direction) {
  Json chosen;
  // First what follows the system's choice. It is there even when there is no device to choose.
  Json::array values = {
      Json::object{{"info", Json::object{{"name", "Default"}}}, {"value", kDefaultDevice}}};
  for (const AudioDevice& device : ListAudioDevices(direction)) {
    values.push_back(
        Json::object{{"info", Json::object{{"name", device.name}}}, {"value", device.id}});
    if (device.is_default) chosen = device.id;
  }
  return Json::object{{"device_id", Json::object{{"default", chosen}, {"values", values}}}};
}

}  // namespace

std::string InputListText(const std::string& kind) {
  if (kind == "monitor") return MonitorList().dump();
  if (kind == "window") return WindowList().dump();
  if (kind == "audio_output") return AudioList(AudioDirection::kOutput).dump();
  if (kind == "audio_input") return AudioList(AudioDirection::kInput).dump();
  throw Failure(ErrorCode::kInvalidArgument, "unknown kind of input: " + kind);
}

}  // namespace open_gsdk
