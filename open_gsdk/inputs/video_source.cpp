#include "open_gsdk/inputs/video_source.h"

#include <cstdint>
#include <json11.hpp>
#include <limits>

#include "open_gsdk/inputs/monitors.h"
#include "open_gsdk/inputs/windows_on_screen.h"
#include "open_gsdk/support/failure.h"
#include "platform/owned_handle.h"
#include "platform/text_encoding.h"
#include "platform/window_handle.h"

namespace open_gsdk {
namespace {

using json11::Json;

[[noreturn]] void ThrowBadMember(const char* member) {
  throw Failure(ErrorCode::kInvalidArgument,
                std::string("the video input settings need a valid \"") + member + "\"");
}

bool ReadFlag(const Json& settings, const char* member) {
  const Json& value = settings[member];
  if (!value.is_null() && !value.is_bool()) ThrowBadMember(member);
  return value.bool_value();
}

// Handles and process numbers have 32 bits; a handle may also come as the negative number of the
// same bits.
std::uint32_t ReadNumber(const Json& object, const char* member) {
  const Json& value = object[member];
  const double number = value.number_value();
  const bool fits = number >= std::numeric_limits<std::int32_t>::min() &&
                    number <= std::numeric_limits<std::uint32_t>::max();
  if (!value.is_number() || !fits || number == 0) ThrowBadMember(member);
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(number));
}

void UseWindow(VideoSource& source, HWND window) {
  source.window = window;
  source.process_id = WindowProcess(window);
  if (source.process_id == 0) {
    throw Failure(ErrorCode::kInputGone,
                  "there is no window " + std::to_string(platform::WindowNumber(window)));
  }
}

bool ProcessRuns(DWORD process_id) {
  const platform::OwnedHandle process(
      OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_id));
  if (!process) return GetLastError() != ERROR_INVALID_PARAMETER;
  DWORD exit_code = 0;
  return GetExitCodeProcess(process.get(), &exit_code) == FALSE || exit_code == STILL_ACTIVE;
}

void UseMainWindow(VideoSource& source, DWORD process_id) {
  if (HWND window = FindMainWindow(process_id); window != nullptr) {
    UseWindow(source, window);
    return;
  }
  const std::string process = "process " + std::to_string(process_id);
  if (!ProcessRuns(process_id)) throw Failure(ErrorCode::kInputGone, process + " does not run");
  throw Failure(ErrorCode::kInputNotReady, process + " has no window yet");
}

void UseMonitor(VideoSource& source, const Json& value) {
  if (!value.is_string()) ThrowBadMember("monitor");
  source.monitor = platform::WideFromUtf8(value.string_value());
  if (!FindMonitor(source.monitor)) {
    throw Failure(ErrorCode::kInputGone, "there is no monitor " + value.string_value());
  }
}

Size SizeOf(const RECT& rectangle) {
  return {static_cast<int>(rectangle.right - rectangle.left),
          static_cast<int>(rectangle.bottom - rectangle.top)};
}

// What the frame of a window of this kind adds to its client area. A window that draws its frame
// itself may have another one.
Size FrameSize(HWND window) {
  const auto style = static_cast<DWORD>(GetWindowLongPtrW(window, GWL_STYLE)) & ~DWORD{WS_MINIMIZE};
  const auto more_style = static_cast<DWORD>(GetWindowLongPtrW(window, GWL_EXSTYLE));
  const BOOL has_menu = (style & WS_CHILD) == 0 && GetMenu(window) != nullptr ? TRUE : FALSE;
  RECT nothing{};
  return AdjustWindowRectEx(&nothing, style, has_menu, more_style) ? SizeOf(nothing) : Size{};
}

}  // namespace

InputType InputTypeFromName(const std::string& name) {
  if (name == "monitor") return InputType::kMonitor;
  if (name == "window") return InputType::kWindow;
  if (name == "game") return InputType::kGame;
  throw Failure(ErrorCode::kInvalidArgument, "unknown type of video input: " + name);
}

VideoSource ReadVideoSource(InputType type, const std::string& settings) {
  std::string error;
  const Json parsed = Json::parse(settings, error);
  if (!error.empty()) {
    throw Failure(ErrorCode::kMalformedJson, "the video input settings are no JSON: " + error);
  }
  VideoSource source;
  source.cursor = ReadFlag(parsed, "cursor");
  switch (type) {
    case InputType::kMonitor:
      UseMonitor(source, parsed["monitor"]);
      break;
    case InputType::kWindow:
      UseWindow(source, platform::WindowFromNumber(ReadNumber(parsed["window"], "hwnd")));
      break;
    case InputType::kGame:
      // Nothing is injected into the game, with or without "anticheat".
      ReadFlag(parsed, "anticheat");
      if (parsed["game"]["hwnd"].is_null()) {
        UseMainWindow(source, ReadNumber(parsed["game"], "pid"));
      } else {
        UseWindow(source, platform::WindowFromNumber(ReadNumber(parsed["game"], "hwnd")));
      }
      break;
  }
  return source;
}

Size SourceSize(const VideoSource& source) {
  if (source.window == nullptr) {
    if (const auto monitor = FindMonitor(source.monitor)) return SizeOf(monitor->rectangle);
  } else {
    RECT rectangle{};
    if (!IsIconic(source.window) && GetClientRect(source.window, &rectangle)) {
      return SizeOf(rectangle);
    }
    WINDOWPLACEMENT placement{};
    placement.length = sizeof(placement);
    if (GetWindowPlacement(source.window, &placement)) {
      const Size outer = SizeOf(placement.rcNormalPosition);
      const Size frame = FrameSize(source.window);
      return {outer.width - frame.width, outer.height - frame.height};
    }
  }
  throw Failure(ErrorCode::kInputGone, DescribeSource(source) + " is gone");
}

std::string DescribeSource(const VideoSource& source) {
  if (source.window == nullptr) {
    return "monitor " + platform::Utf8FromWide(source.monitor);
  }
  return "window " + std::to_string(platform::WindowNumber(source.window)) + " of process " +
         std::to_string(source.process_id);
}

}  // namespace open_gsdk
