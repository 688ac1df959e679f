#include "capture_host/exit_status.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "protocol/error_codes.h"

namespace capture_host {
namespace {

using capture_service::ErrorCode;

enum class Restart { kPointless, kWorthwhile };

struct Explanation {
  std::uint32_t status;
  Restart restart;
  std::string_view what;
  std::string_view advice;
};

constexpr std::uint32_t Status(ErrorCode failure) {
  return static_cast<std::uint32_t>(ErrorNumber(failure));
}

constexpr std::string_view kReadItsLines = "Read the last lines that it sent.";
constexpr std::string_view kReadTheLibrarysLines =
    "Read the capture library's last lines; the graphics driver may be at fault.";
constexpr std::string_view kReplaceLibrary = "Put the gsdk.dll that belongs to it beside it.";
constexpr std::string_view kInstallAgain = "Install it again.";

constexpr std::array kExplanations = std::to_array<Explanation>({
    {0, Restart::kPointless, "It ended in good order.", ""},
    {1, Restart::kPointless, "It was started without a command line.",
     "Pass the pipe's path as the first argument."},
    {2, Restart::kPointless, "A file is missing: its pipe is gone.",
     "Create the pipe before the service is started."},
    {Status(ErrorCode::GSDKBadAudioInput), Restart::kWorthwhile,
     "It cannot list the audio devices.", "Look whether Windows' sound works."},
    {Status(ErrorCode::CannotParseAudioDeviceData), Restart::kPointless,
     "The capture library's list of audio devices cannot be read.", kReplaceLibrary},
    {Status(ErrorCode::NoRecordingPacketsSinceStartup), Restart::kWorthwhile,
     "No video arrived after the start, also after five restarts.",
     "See that the game shows a picture, and try another recording mode."},
    {Status(ErrorCode::NoRecordingPacketsWithinTimeout), Restart::kWorthwhile,
     "Video stopped arriving, also after five restarts.",
     "See that the game still shows a picture."},
    {Status(ErrorCode::BadRecorderSettings), Restart::kPointless, "Settings are missing.",
     "Send each of the settings that its lines name."},
    {Status(ErrorCode::MissingGamePid), Restart::kPointless,
     "Game mode needs game_pid or game_hwnd.", "Send one of them."},
    {Status(ErrorCode::GSDKSessionCreateFailed), Restart::kWorthwhile,
     "The capture library cannot create a session.", kReadTheLibrarysLines},
    {Status(ErrorCode::UnknownRecordingMode), Restart::kPointless,
     "recording_mode is not 1 (monitor), 2 (game) or 3 (window).", "Send one of the three."},
    {Status(ErrorCode::GSDKSetVideoInputFailed), Restart::kPointless,
     "The capture library does not take the kind of video input.", "Try another recording mode."},
    {Status(ErrorCode::GSDKReadMonitorPropertiesFailed), Restart::kWorthwhile,
     "The capture library cannot list the monitors.", kReadTheLibrarysLines},
    {Status(ErrorCode::CannotParseMonitorData), Restart::kPointless,
     "The capture library's list of monitors cannot be read.", kReplaceLibrary},
    {Status(ErrorCode::GSDKReadWindowPropertiesFailed), Restart::kWorthwhile,
     "The capture library cannot list the windows.", kReadTheLibrarysLines},
    {Status(ErrorCode::CannotParseWindowData), Restart::kPointless,
     "The capture library's list of windows cannot be read.", kReplaceLibrary},
    {Status(ErrorCode::FailedToSetVideoInput), Restart::kWorthwhile,
     "The capture library does not take the video input, also after several attempts.",
     "See that the game's window is not minimised."},
    {Status(ErrorCode::GSDKSessionStartFailed), Restart::kWorthwhile,
     "The capture library cannot start the session.", kReadTheLibrarysLines},
    {Status(ErrorCode::GSDKHookInjectRetry), Restart::kPointless,
     "The game could not be hooked, also after five restarts.",
     "Record its window or its monitor instead."},
    {Status(ErrorCode::BadRecordingMode), Restart::kPointless,
     "recording_mode was not 1, 2 or 3 any more when the session existed.",
     "Send one of the three."},
    {Status(ErrorCode::CannotFindWindow), Restart::kPointless,
     "The window to record is not in the capture library's list.",
     "Send the handle of a visible top-level window."},
    {Status(ErrorCode::GSDKMonitorCaptureFailed), Restart::kWorthwhile,
     "The monitor could not be captured any more.",
     "Look whether the monitor is switched on and attached."},
    {Status(ErrorCode::GSDKEncoderNotFound), Restart::kPointless,
     "No encoder can be opened on this machine.",
     "Update the graphics driver, or ask for a smaller picture."},
    {126, Restart::kPointless, "gsdk.dll or a library that it needs is missing.",
     "Put it beside the service."},
    {193, Restart::kPointless, "gsdk.dll is no library for 64-bit Windows.", kReplaceLibrary},
    {Status(ErrorCode::GSDKGenericExitError), Restart::kWorthwhile,
     "The capture library ended the recording with an error that has no rule of its own.",
     kReadItsLines},
    {Status(ErrorCode::JoinThreadError), Restart::kWorthwhile,
     "A thread of the recording did not stop within 10 s, so the service ended itself.",
     "Report it with the capture library's last lines."},
    {231, Restart::kPointless, "Another program has opened its pipe.",
     "Create a pipe of its own for each service."},
    {0xC000007B, Restart::kPointless, "A library beside it is not for 64-bit Windows.",
     kInstallAgain},
    {0xC0000135, Restart::kPointless, "sentry.dll is missing.", "Put it beside the service."},
    {0xC0000409, Restart::kWorthwhile,
     "It broke off: the capture library lacks an entry point, or a text was longer than a message.",
     "Look whether gsdk.dll belongs to it, and keep clip paths and ids short."},
    {0xFFFFFFFF, Restart::kPointless, "The pipe's path on its command line is not valid.",
     R"(Pass \\.\pipe\ and a name without separators.)"},
});

std::string NameOf(std::uint32_t status) {
  return std::string(ErrorName(static_cast<ErrorCode>(status)));
}

}  // namespace

ExitMeaning ExplainExitStatus(std::uint32_t status) {
  const auto* const known = std::find_if(
      kExplanations.begin(), kExplanations.end(),
      [status](const Explanation& explanation) { return explanation.status == status; });
  if (known != kExplanations.end()) {
    return {.name = NameOf(status),
            .what = std::string(known->what),
            .advice = std::string(known->advice),
            .worth_restart = known->restart == Restart::kWorthwhile};
  }
  // The highest bits are those of Windows' own exception numbers.
  if (status >= 0x80000000) {
    return {.what = "It crashed.",
            .advice = "Report it with the reports of the same minute.",
            .worth_restart = true};
  }
  return {.what = "The number has no meaning of its own; it may be a Windows error.",
          .advice = std::string(kReadItsLines)};
}

std::string DescribeExit(std::uint32_t status) {
  const ExitMeaning meaning = ExplainExitStatus(status);
  std::string text = "The service ended with status " + std::to_string(status);
  if (!meaning.name.empty()) text += " (" + meaning.name + ")";
  text += ". " + meaning.what;
  if (!meaning.advice.empty()) text += " " + meaning.advice;
  return text;
}

}  // namespace capture_host
