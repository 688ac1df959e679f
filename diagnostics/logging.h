// Logging: every line goes to the host as {"error": line} and, while error reporting runs, to the
// error-reporting SDK as a breadcrumb or an error event. There is no log file.
//
// All functions may be called from any thread, library threads included. A line whose JSON text is
// longer than a message ends the process (see MakePipeMessage).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "protocol/error_codes.h"

namespace capture_service {

// A progress line: to the host as it stands, and as an "info" breadcrumb.
void LogInfo(const std::string& line);

// What the error-reporting SDK gets of a failure.
enum class ReportAs {
  kErrorEvent,  // an error event, then an "error" breadcrumb
  kInfo,        // an "info" breadcrumb only
};

// A failure: to the host as "[Glimra error]: " and the message, then to the SDK as `report_as`
// says. The host does not see the failure's name.
void LogFailure(ErrorCode failure, const std::string& message, ReportAs report_as);

// As above for a failure that is no ErrorCode, under a word of its own.
void LogFailure(std::string_view word, const std::string& message, ReportAs report_as);

// An error event of this kind (KindText), then an "error" breadcrumb of the message. Nothing for
// the host; nothing at all while error reporting is off.
void ReportError(const std::string& kind, const std::string& message);

// The error event of ReportError without the breadcrumb, for the last words of a process.
void CaptureErrorEvent(const std::string& kind, const std::string& message);

// The failure's number, a space and its name; a word that names no ErrorCode stands alone.
std::string KindText(ErrorCode failure);
std::string KindText(std::string_view word);

// The capture library's log callback: any line of the library is a progress line, whatever its
// level.
void OnCaptureLibraryLog(std::int32_t level, const char* text) noexcept;

// Sends {"error": line} and {"error": "[Glimra error]: " + message} to the host.
void SendLogToHost(const std::string& line);
void SendErrorToHost(const std::string& message);

}  // namespace capture_service
