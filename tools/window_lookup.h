// Finds the game's window among the top-level windows, as the host does before it asks for a
// recording.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/transcript.h"

namespace host_tools {

struct GameWindow {
  std::int32_t hwnd = 0;
  std::int32_t pid = 0;
  std::string title;
};

// How a person names the window; the first member that is set counts.
struct WindowQuery {
  std::optional<std::uint32_t> hwnd;
  std::optional<std::uint32_t> pid;
  std::string title;  // whole, or a part that no other window has
};

// Waits up to `limit` for the window to appear. Throws std::runtime_error with a sentence for
// people, which lists the windows there are, when none or more than one matches.
GameWindow FindGameWindow(const WindowQuery& query, std::chrono::milliseconds limit,
                          Transcript& transcript);

}  // namespace host_tools
