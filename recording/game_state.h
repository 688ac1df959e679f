// What session start asks the system about the game that it is about to record. The answers come
// from Windows; native tests give their own.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace capture_service {

// A rectangle in desktop coordinates, in pixels.
struct ScreenRectangle {
  std::int32_t top = 0;
  std::int32_t bottom = 0;
  std::int32_t left = 0;
  std::int32_t right = 0;

  bool operator==(const ScreenRectangle&) const = default;
};

struct GameProcess {
  bool exists = false;
  // "default", "full", "limited" or "unknown"; none when the process could not be opened.
  std::optional<std::string> elevation;
};

// Whether `window` is the handle of an existing window.
bool WindowExists(std::uint32_t window);

// The whole rectangle, not just the work area, of the monitor with this handle; all zero when that
// monitor is gone.
ScreenRectangle MonitorRectangle(void* monitor);

// Looks the process up. One that cannot be opened counts as existing unless Windows says that there
// is no process with this id.
GameProcess QueryGameProcess(std::uint32_t process_id);

}  // namespace capture_service
