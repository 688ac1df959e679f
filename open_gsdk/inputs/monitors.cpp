#include "open_gsdk/inputs/monitors.h"

#include <algorithm>

namespace open_gsdk {
namespace {

BOOL CALLBACK AddMonitor(HMONITOR handle, HDC /*dc*/, LPRECT /*area*/, LPARAM list) {
  MONITORINFOEXW info{};
  info.cbSize = sizeof(info);
  if (GetMonitorInfoW(handle, &info)) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how Windows passes the caller's pointer.
    reinterpret_cast<std::vector<Monitor>*>(list)->push_back(
        {info.szDevice, info.rcMonitor, (info.dwFlags & MONITORINFOF_PRIMARY) != 0});
  }
  return TRUE;
}

}  // namespace

std::vector<Monitor> ListMonitors() {
  std::vector<Monitor> monitors;
  EnumDisplayMonitors(nullptr, nullptr, AddMonitor, reinterpret_cast<LPARAM>(&monitors));
  return monitors;
}

std::optional<Monitor> FindMonitor(const std::wstring& name) {
  const std::vector<Monitor> monitors = ListMonitors();
  const auto found = std::find_if(monitors.begin(), monitors.end(),
                                  [&](const Monitor& monitor) { return monitor.name == name; });
  return found == monitors.end() ? std::nullopt : std::optional(*found);
}

}  // namespace open_gsdk
