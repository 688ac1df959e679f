#include "tools/exit_statuses.h"

#include <array>
#include <string_view>

namespace host_tools {
namespace {

struct Explanation {
  std::uint32_t status;
  std::string_view text;
};

constexpr std::array<Explanation, 27> kExplanations{{
    {0, "It ended in good order."},
    {1, "It was started without a command line."},
    {2, "A file is missing: its pipe is gone, or gsdk.dll is not beside the service."},
    {3, "It cannot list the audio devices, or a C++ error ended it. Its last lines say which."},
    {4, "The capture library's list of audio devices cannot be read."},
    {5, "No video arrived after the start, also after five restarts."},
    {6, "Video stopped arriving, also after five restarts."},
    {7, "Settings are missing. Send each of the settings that its lines name."},
    {8, "Game mode needs game_pid or game_hwnd. Send one of them."},
    {9, "The capture library cannot create a session."},
    {10, "recording_mode is not 1 (monitor), 2 (game) or 3 (window)."},
    {11, "The capture library does not take the kind of video input."},
    {12, "The capture library cannot list the monitors."},
    {13, "The capture library's list of monitors cannot be read."},
    {14, "The capture library cannot list the windows."},
    {15, "The capture library's list of windows cannot be read."},
    {16, "The capture library does not take the video input, also after several attempts."},
    {17, "The capture library cannot start the session."},
    {18, "The game could not be hooked, also after five restarts."},
    {19, "recording_mode changed to an unknown value while a session started."},
    {20, "The window to record is not in the capture library's list."},
    {21, "The monitor could not be captured any more."},
    {22, "No encoder can be opened on this machine."},
    {126, "gsdk.dll or a library that it needs is missing. Put it beside the service."},
    {200, "The capture library ended the recording with an error that has no rule of its own."},
    {201, "A thread of the session did not stop within 10 s, so the service ended itself."},
    {0xFFFFFFFF, "The pipe's path on its command line is not valid."},
}};

}  // namespace

std::string ExplainExitStatus(std::uint32_t status) {
  for (const Explanation& explanation : kExplanations) {
    if (explanation.status == status) return std::string(explanation.text);
  }
  if (status >= 0x80000000) return "It crashed.";
  return "The number has no meaning of its own; it may be a Windows error code.";
}

}  // namespace host_tools
