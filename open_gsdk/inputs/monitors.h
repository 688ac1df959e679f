// The monitors of the desktop.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace open_gsdk {

struct Monitor {
  std::wstring name;  // the display device's, such as \\.\DISPLAY1
  RECT rectangle;     // in desktop coordinates
  bool primary;
};

// In the system's order. Empty when there is no desktop.
std::vector<Monitor> ListMonitors();

std::optional<Monitor> FindMonitor(const std::wstring& name);

}  // namespace open_gsdk
