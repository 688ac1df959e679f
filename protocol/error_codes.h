// The names and numbers of the failures after which the service gives up. The number becomes the
// exit status that the host sees, so neither a name nor a number may ever change.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace capture_service {

struct ErrorCode {
  std::string_view name;
  std::int32_t number;
};

inline constexpr std::array<ErrorCode, 22> ErrorCodeTable = {{
    {"GSDKBadAudioInput", 3},
    {"CannotParseAudioDeviceData", 4},
    {"NoRecordingPacketsSinceStartup", 5},
    {"NoRecordingPacketsWithinTimeout", 6},
    {"BadRecorderSettings", 7},
    {"MissingGamePid", 8},
    {"GSDKSessionCreateFailed", 9},
    {"UnknownRecordingMode", 10},
    {"GSDKSetVideoInputFailed", 11},
    {"GSDKReadMonitorPropertiesFailed", 12},
    {"CannotParseMonitorData", 13},
    {"GSDKReadWindowPropertiesFailed", 14},
    {"CannotParseWindowData", 15},
    {"FailedToSetVideoInput", 16},
    {"GSDKSessionStartFailed", 17},
    {"GSDKHookInjectRetry", 18},
    {"BadRecordingMode", 19},
    {"CannotFindWindow", 20},
    {"GSDKMonitorCaptureFailed", 21},
    {"GSDKEncoderNotFound", 22},
    {"GSDKGenericExitError", 200},
    {"JoinThreadError", 201},
}};

// The number of the failure with this name, compared byte by byte; none for other names. Any
// thread.
constexpr std::optional<std::int32_t> FindErrorCode(std::string_view name) {
  for (const ErrorCode& code : ErrorCodeTable) {
    if (code.name == name) return code.number;
  }
  return std::nullopt;
}

}  // namespace capture_service
