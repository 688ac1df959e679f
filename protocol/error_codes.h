// The failures after which the service gives up: their names, which error reports show, and their
// numbers, which become the exit status that the host sees. Neither a name nor a number may ever
// change. This list is their only place: the documents and the console's explanations are tested
// against it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace capture_service {

#define CAPTURE_SERVICE_ERROR_CODES(X)   \
  X(GSDKBadAudioInput, 3)                \
  X(CannotParseAudioDeviceData, 4)       \
  X(NoRecordingPacketsSinceStartup, 5)   \
  X(NoRecordingPacketsWithinTimeout, 6)  \
  X(BadRecorderSettings, 7)              \
  X(MissingGamePid, 8)                   \
  X(GSDKSessionCreateFailed, 9)          \
  X(UnknownRecordingMode, 10)            \
  X(GSDKSetVideoInputFailed, 11)         \
  X(GSDKReadMonitorPropertiesFailed, 12) \
  X(CannotParseMonitorData, 13)          \
  X(GSDKReadWindowPropertiesFailed, 14)  \
  X(CannotParseWindowData, 15)           \
  X(FailedToSetVideoInput, 16)           \
  X(GSDKSessionStartFailed, 17)          \
  X(GSDKHookInjectRetry, 18)             \
  X(BadRecordingMode, 19)                \
  X(CannotFindWindow, 20)                \
  X(GSDKMonitorCaptureFailed, 21)        \
  X(GSDKEncoderNotFound, 22)             \
  X(GSDKGenericExitError, 200)           \
  X(JoinThreadError, 201)

// A failure, by its name; the value is its number.
enum class ErrorCode : std::int32_t {
#define CAPTURE_SERVICE_ENUMERATOR(name, number) name = (number),
  CAPTURE_SERVICE_ERROR_CODES(CAPTURE_SERVICE_ENUMERATOR)
#undef CAPTURE_SERVICE_ENUMERATOR
};

struct ErrorCodeEntry {
  std::string_view name;
  ErrorCode code;
};

inline constexpr auto ErrorCodeTable = std::to_array<ErrorCodeEntry>({
#define CAPTURE_SERVICE_TABLE_ROW(name, number) {#name, ErrorCode::name},
    CAPTURE_SERVICE_ERROR_CODES(CAPTURE_SERVICE_TABLE_ROW)
#undef CAPTURE_SERVICE_TABLE_ROW
});

// The number that belongs to the failure. Any thread, as the two below.
constexpr std::int32_t ErrorNumber(ErrorCode code) { return static_cast<std::int32_t>(code); }

// The failure's name; empty for a value that is no failure.
constexpr std::string_view ErrorName(ErrorCode code) {
  for (const ErrorCodeEntry& entry : ErrorCodeTable) {
    if (entry.code == code) return entry.name;
  }
  return {};
}

// The failure with this name, compared byte by byte; none for other names.
constexpr std::optional<ErrorCode> FindErrorCode(std::string_view name) {
  for (const ErrorCodeEntry& entry : ErrorCodeTable) {
    if (entry.name == name) return entry.code;
  }
  return std::nullopt;
}

}  // namespace capture_service
