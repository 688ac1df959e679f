#include "recording/game_state.h"

#include <windows.h>

#include "diagnostics/process_elevation.h"
#include "platform/owned_handle.h"
#include "platform/window_handle.h"

namespace capture_service {

bool WindowExists(std::uint32_t window) {
  return IsWindow(platform::WindowFromNumber(window)) != FALSE;
}

ScreenRectangle MonitorRectangle(void* monitor) {
  MONITORINFO info{};
  info.cbSize = sizeof(info);
  GetMonitorInfoW(static_cast<HMONITOR>(monitor), &info);
  return {.top = info.rcMonitor.top,
          .bottom = info.rcMonitor.bottom,
          .left = info.rcMonitor.left,
          .right = info.rcMonitor.right};
}

GameProcess QueryGameProcess(std::uint32_t process_id) {
  const platform::OwnedHandle process(
      OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_id));
  if (!process) return {.exists = GetLastError() != ERROR_INVALID_PARAMETER, .elevation = {}};

  DWORD exit_code = 0;
  if (GetExitCodeProcess(process.get(), &exit_code) && exit_code != STILL_ACTIVE) {
    return {.exists = false, .elevation = {}};
  }
  return {.exists = true, .elevation = QueryProcessElevation(process.get())};
}

}  // namespace capture_service
