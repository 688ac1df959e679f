#include "tools/window_lookup.h"

#include <windows.h>

#include <algorithm>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/text_encoding.h"
#include "platform/window_handle.h"
#include "tools/wait_line.h"

namespace host_tools {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLookInterval{100};

GameWindow Describe(HWND window) {
  GameWindow result;
  result.hwnd = static_cast<std::int32_t>(reinterpret_cast<std::intptr_t>(window));
  DWORD pid = 0;
  GetWindowThreadProcessId(window, &pid);
  result.pid = static_cast<std::int32_t>(pid);
  std::wstring title(static_cast<std::size_t>(GetWindowTextLengthW(window)) + 1, L'\0');
  const int length = GetWindowTextW(window, title.data(), static_cast<int>(title.size()));
  title.resize(static_cast<std::size_t>(length));
  result.title = platform::Utf8FromWide(title);
  return result;
}

BOOL CALLBACK CollectWindow(HWND window, LPARAM list) {
  if (!IsWindowVisible(window)) return TRUE;
  GameWindow described = Describe(window);
  if (!described.title.empty()) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how Windows passes it.
    reinterpret_cast<std::vector<GameWindow>*>(list)->push_back(std::move(described));
  }
  return TRUE;
}

std::vector<GameWindow> ListWindows() {
  std::vector<GameWindow> windows;
  EnumWindows(CollectWindow, reinterpret_cast<LPARAM>(&windows));
  return windows;
}

std::vector<GameWindow> Matches(const WindowQuery& query, const std::vector<GameWindow>& windows) {
  std::vector<GameWindow> matches;
  const auto select = [&](auto&& matching) {
    std::copy_if(windows.begin(), windows.end(), std::back_inserter(matches), matching);
  };
  if (query.hwnd) {
    const HWND window = platform::WindowFromNumber(*query.hwnd);
    if (IsWindow(window)) matches.push_back(Describe(window));
  } else if (query.pid) {
    select([&](const GameWindow& window) {
      return static_cast<std::uint32_t>(window.pid) == *query.pid;
    });
  } else {
    select([&](const GameWindow& window) { return window.title == query.title; });
    if (matches.empty()) {
      select([&](const GameWindow& window) {
        return window.title.find(query.title) != std::string::npos;
      });
    }
  }
  return matches;
}

std::string Name(const WindowQuery& query) {
  if (query.hwnd) return "with the handle " + std::to_string(*query.hwnd);
  if (query.pid) return "of process " + std::to_string(*query.pid);
  return "with the title \"" + query.title + "\"";
}

std::string List(const std::vector<GameWindow>& windows) {
  if (windows.empty()) return "No window with a title is visible.";
  std::string text = "The visible windows are:";
  for (const GameWindow& window : windows) {
    text += "\n  handle " + std::to_string(window.hwnd) + ", process " +
            std::to_string(window.pid) + ", \"" + window.title + "\"";
  }
  return text;
}

}  // namespace

GameWindow FindGameWindow(const WindowQuery& query, std::chrono::milliseconds limit,
                          Transcript& transcript) {
  WaitLine line(transcript, "Waiting for the window");
  const Clock::time_point deadline = Clock::now() + limit;
  while (true) {
    const std::vector<GameWindow> windows = ListWindows();
    const std::vector<GameWindow> matches = Matches(query, windows);
    if (matches.size() == 1) return matches.front();
    if (matches.size() > 1) {
      throw std::runtime_error("There are several windows " + Name(query) +
                               "; name one by --hwnd. " + List(matches));
    }
    if (Clock::now() >= deadline) {
      throw std::runtime_error("There is no window " + Name(query) + ". " + List(windows));
    }
    line.Show();
    std::this_thread::sleep_for(kLookInterval);
  }
}

}  // namespace host_tools
