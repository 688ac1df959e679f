#include "open_gsdk/inputs/windows_on_screen.h"

#include <algorithm>
#include <array>

#include "platform/text_encoding.h"

namespace open_gsdk {
namespace {

BOOL CALLBACK AddWindow(HWND window, LPARAM list) {
  if (!IsWindowVisible(window)) return TRUE;
  // Unlike GetWindowText this never sends a message, so that a hung window cannot stop the list.
  std::array<wchar_t, 512> title{};
  const int length = InternalGetWindowText(window, title.data(), static_cast<int>(title.size()));
  // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how Windows passes the caller's pointer.
  reinterpret_cast<std::vector<TopWindow>*>(list)->push_back(
      {window, WindowProcess(window),
       platform::Utf8FromWide({title.data(), static_cast<std::size_t>(length)})});
  return TRUE;
}

LONG Area(HWND window) {
  WINDOWPLACEMENT placement{};
  placement.length = sizeof(placement);
  if (!GetWindowPlacement(window, &placement)) return 0;
  const RECT& normal = placement.rcNormalPosition;
  return (normal.right - normal.left) * (normal.bottom - normal.top);
}

}  // namespace

std::vector<TopWindow> ListWindows() {
  std::vector<TopWindow> windows;
  EnumWindows(AddWindow, reinterpret_cast<LPARAM>(&windows));
  return windows;
}

HWND FindMainWindow(DWORD process_id) {
  HWND best = nullptr;
  LONG best_area = 0;
  for (const TopWindow& window : ListWindows()) {
    if (window.process_id != process_id || GetWindow(window.handle, GW_OWNER) != nullptr) continue;
    const LONG area = Area(window.handle);
    if (area > best_area) {
      best = window.handle;
      best_area = area;
    }
  }
  return best;
}

DWORD WindowProcess(HWND window) {
  DWORD process_id = 0;
  GetWindowThreadProcessId(window, &process_id);
  return process_id;
}

}  // namespace open_gsdk
