#include "tools/exit_statuses.h"

#include <array>
#include <string_view>

#include "protocol/error_codes.h"

namespace host_tools {
namespace {

using capture_service::ErrorCode;

// The service's own failures.
struct FailureExplanation {
  ErrorCode failure;
  std::string_view text;
};

constexpr auto kFailures = std::to_array<FailureExplanation>({
    {ErrorCode::GSDKBadAudioInput,
     "It cannot list the audio devices, or a C++ error ended it. Its last lines say which."},
    {ErrorCode::CannotParseAudioDeviceData,
     "The capture library's list of audio devices cannot be read."},
    {ErrorCode::NoRecordingPacketsSinceStartup,
     "No video arrived after the start, also after five restarts."},
    {ErrorCode::NoRecordingPacketsWithinTimeout,
     "Video stopped arriving, also after five restarts."},
    {ErrorCode::BadRecorderSettings,
     "Settings are missing. Send each of the settings that its lines name."},
    {ErrorCode::MissingGamePid, "Game mode needs game_pid or game_hwnd. Send one of them."},
    {ErrorCode::GSDKSessionCreateFailed, "The capture library cannot create a session."},
    {ErrorCode::UnknownRecordingMode, "recording_mode is not 1 (monitor), 2 (game) or 3 (window)."},
    {ErrorCode::GSDKSetVideoInputFailed,
     "The capture library does not take the kind of video input."},
    {ErrorCode::GSDKReadMonitorPropertiesFailed, "The capture library cannot list the monitors."},
    {ErrorCode::CannotParseMonitorData, "The capture library's list of monitors cannot be read."},
    {ErrorCode::GSDKReadWindowPropertiesFailed, "The capture library cannot list the windows."},
    {ErrorCode::CannotParseWindowData, "The capture library's list of windows cannot be read."},
    {ErrorCode::FailedToSetVideoInput,
     "The capture library does not take the video input, also after several attempts."},
    {ErrorCode::GSDKSessionStartFailed, "The capture library cannot start the session."},
    {ErrorCode::GSDKHookInjectRetry, "The game could not be hooked, also after five restarts."},
    {ErrorCode::BadRecordingMode,
     "recording_mode changed to an unknown value while a session started."},
    {ErrorCode::CannotFindWindow, "The window to record is not in the capture library's list."},
    {ErrorCode::GSDKMonitorCaptureFailed, "The monitor could not be captured any more."},
    {ErrorCode::GSDKEncoderNotFound, "No encoder can be opened on this machine."},
    {ErrorCode::GSDKGenericExitError,
     "The capture library ended the recording with an error that has no rule of its own."},
    {ErrorCode::JoinThreadError,
     "A thread of the session did not stop within 10 s, so the service ended itself."},
});

// What else a process ends with.
struct StatusExplanation {
  std::uint32_t status;
  std::string_view text;
};

constexpr auto kOtherStatuses = std::to_array<StatusExplanation>({
    {0, "It ended in good order."},
    {1, "It was started without a command line."},
    {2, "A file is missing: its pipe is gone, or gsdk.dll is not beside the service."},
    {126, "gsdk.dll or a library that it needs is missing. Put it beside the service."},
    {0xFFFFFFFF, "The pipe's path on its command line is not valid."},
});

}  // namespace

std::string ExplainExitStatus(std::uint32_t status) {
  for (const FailureExplanation& explanation : kFailures) {
    const std::int32_t number = ErrorNumber(explanation.failure);
    if (static_cast<std::uint32_t>(number) == status) return std::string(explanation.text);
  }
  for (const StatusExplanation& explanation : kOtherStatuses) {
    if (explanation.status == status) return std::string(explanation.text);
  }
  if (status >= 0x80000000) return "It crashed.";
  return "The number has no meaning of its own; it may be a Windows error code.";
}

}  // namespace host_tools
