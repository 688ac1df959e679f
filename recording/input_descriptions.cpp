#include "recording/input_descriptions.h"

#include "diagnostics/logging.h"
#include "protocol/read_int32.h"

namespace capture_service {

using json11::Json;

bool ReadInputList(const char* kind, ListText& text, LibraryError& error) {
  char* list = nullptr;
  if (!Library().gsdk_input_properties(kind, &list, error.Out())) return false;
  text.reset(list);
  return true;
}

Json ParseInputList(const char* text, std::string& parse_error) {
  if (text == nullptr) {
    parse_error = "null input";
    return nullptr;
  }
  return Json::parse(text, parse_error);
}

Json PickMonitor(const Json& list, const ScreenRectangle& rectangle) {
  const Json& monitors = list["monitor"];
  for (const Json& monitor : monitors["values"].array_items()) {
    const Json& info = monitor["info"];
    if (ScreenRectangle{.top = ReadInt32(info["top"]),
                        .bottom = ReadInt32(info["bottom"]),
                        .left = ReadInt32(info["left"]),
                        .right = ReadInt32(info["right"])} == rectangle) {
      return monitor["value"];
    }
  }
  LogInfo("Monitor not found??? Falling back to default");
  return monitors["default"];
}

std::optional<Json> PickWindow(const Json& list, std::int32_t window) {
  for (const Json& entry : list["window"]["values"].array_items()) {
    const Json& value = entry["value"];
    if (ReadInt32(value["hwnd"]) == window) return value;
  }
  return std::nullopt;
}

}  // namespace capture_service
