// The top-level windows of the desktop.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace open_gsdk {

struct TopWindow {
  HWND handle;
  DWORD process_id;
  std::string title;  // UTF-8
};

// The visible ones, minimised ones among them, from the front to the back.
std::vector<TopWindow> ListWindows();

// The largest visible window of the process that no other window owns; null when it has none.
HWND FindMainWindow(DWORD process_id);

// The process that made the window; 0 when there is no such window.
DWORD WindowProcess(HWND window);

}  // namespace open_gsdk
