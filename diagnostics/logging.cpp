#include "diagnostics/logging.h"

#include <json11.hpp>

#include <optional>

#include "diagnostics/error_reporting.h"
#include "diagnostics/sentry_sdk.h"
#include "protocol/message_queue.h"

namespace capture_service {
namespace {

void SetText(sentry_value_t object, const char* key, const std::string& text) {
  sentry_value_set_by_key(object, key, sentry_value_new_string(text.c_str()));
}

void AddBreadcrumb(const std::string& line, const char* level) {
  if (!ErrorReportingEnabled) return;
  const sentry_value_t breadcrumb = sentry_value_new_breadcrumb("default", line.c_str());
  SetText(breadcrumb, "level", level);
  sentry_add_breadcrumb(breadcrumb);
}

}  // namespace

void LogInfo(const std::string& line) {
  SendLogToHost(line);
  AddBreadcrumb(line, "info");
}

void LogFailure(ErrorCode failure, const std::string& message, ReportAs report_as) {
  LogFailure(ErrorName(failure), message, report_as);
}

void LogFailure(std::string_view word, const std::string& message, ReportAs report_as) {
  SendErrorToHost(message);
  const std::string kind = KindText(word);
  switch (report_as) {
    case ReportAs::kErrorEvent:
      ReportError(kind, message);
      break;
    case ReportAs::kInfo:
      AddBreadcrumb(kind + ": " + message, "info");
      break;
  }
}

void ReportError(const std::string& kind, const std::string& message) {
  CaptureErrorEvent(kind, message);
  AddBreadcrumb(message, "error");
}

void CaptureErrorEvent(const std::string& kind, const std::string& message) {
  if (!ErrorReportingEnabled) return;
  const sentry_value_t exception = sentry_value_new_object();
  SetText(exception, "type", "Error " + kind);
  SetText(exception, "value", message);
  const sentry_value_t event = sentry_value_new_event();
  sentry_value_set_by_key(event, "exception", exception);
  sentry_event_value_add_stacktrace(event, nullptr, 0);
  sentry_capture_event(event);
}

std::string KindText(ErrorCode failure) { return KindText(ErrorName(failure)); }

std::string KindText(std::string_view word) {
  std::string kind;
  if (const std::optional<ErrorCode> failure = FindErrorCode(word)) {
    kind = std::to_string(ErrorNumber(*failure)) + " ";
  }
  return kind.append(word);
}

void OnCaptureLibraryLog(std::int32_t /*level*/, const char* text) noexcept {
  LogInfo(text != nullptr ? text : "");
}

void SendLogToHost(const std::string& line) {
  // As json11 writes the object {"error": line}, which takes twice as long to build as to write.
  constexpr std::string_view kBegin = R"({"error": )";
  std::string text;
  text.reserve(kBegin.size() + line.size() + std::string_view(R"(""})").size());
  json11::Json(line).dump(text.append(kBegin));
  PushMessage(MakePipeMessage(Direction::kOutbound, text += '}'));
}

void SendErrorToHost(const std::string& message) { SendLogToHost("[Glimra error]: " + message); }

}  // namespace capture_service
