// Windows as the unit tests link it: the core's questions get the answers that a test has set, and
// each question is a line of the transcript.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "recording/game_state.h"

namespace core_test {

// The answers. Set before the code under test runs.
struct FakeWindows {
  std::optional<std::wstring> common_app_data = L"C:\\ProgramData";
  // How often the window still exists; for ever when none.
  std::optional<int> window_exists_times;
  capture_service::ScreenRectangle monitor_rectangle = {
      .top = 0, .bottom = 1080, .left = 1920, .right = 3840};
  capture_service::GameProcess process = {.exists = true, .elevation = "default"};
  // The monitor that a tracker finds its window on.
  std::uintptr_t monitor = 1;
  std::map<std::string, std::string> machine_profile;
  // Called in CollectMachineProfile; may throw.
  std::function<void()> on_collect_profile = [] {};
  // Writes of frames that succeed before one fails; all when none.
  std::optional<int> frames_before_failure;
};

// The answers in use; a new set makes everything as above.
FakeWindows& Windows();
void ResetWindows();

}  // namespace core_test
