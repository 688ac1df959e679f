// What is recorded: which monitor or which window, and whether with the cursor.
#pragma once

#include <windows.h>

#include <string>

#include "open_gsdk/encoding/frame_geometry.h"

namespace open_gsdk {

enum class InputType { kMonitor, kWindow, kGame };

struct VideoSource {
  HWND window = nullptr;  // null when a monitor is recorded
  DWORD process_id = 0;   // that made the window
  std::wstring monitor = {};
  bool cursor = false;

  bool operator==(const VideoSource&) const = default;
};

// "monitor", "window" or "game"; throws Failure with kInvalidArgument for any other.
InputType InputTypeFromName(const std::string& name);

// Reads the settings text of the type, see docs/open-gsdk.md. Throws Failure: kMalformedJson,
// kInvalidArgument for a missing or mistyped member, kInputGone for a monitor, window or process
// that does not exist, kInputNotReady for a process that has no window yet.
VideoSource ReadVideoSource(InputType type, const std::string& settings);

// The size to record the source at: the monitor's, or the window's client area (of a minimised
// window, as large as its frame lets one expect it when restored). Throws Failure with kInputGone.
Size SourceSize(const VideoSource& source);

// For the log.
std::string DescribeSource(const VideoSource& source);

}  // namespace open_gsdk
