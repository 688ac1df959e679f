#include "recording/video_input.h"

#include <json11.hpp>

#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "diagnostics/fatal_failure.h"
#include "diagnostics/logging.h"
#include "gsdk/capture_library.h"
#include "platform/deadline.h"
#include "protocol/service_requests.h"
#include "recording/game_state.h"
#include "recording/input_descriptions.h"
#include "recording/monitor_tracker.h"
#include "recording/session_state.h"

namespace capture_service {
namespace {

using json11::Json;

// Numbers that the host gave are unsigned from here on; JSON knows no unsigned integers.
double UnsignedNumber(std::int32_t number) {
  return static_cast<double>(static_cast<std::uint32_t>(number));
}

// What a list's failures are called.
struct ListFailures {
  const char* kind;
  const char* unread_prefix;
  ErrorCode unread;
  ErrorCode unparsable;
};

constexpr ListFailures kMonitorList = {
    "monitor", "getting monitors failed: ", ErrorCode::GSDKReadMonitorPropertiesFailed,
    ErrorCode::CannotParseMonitorData};
constexpr ListFailures kWindowList = {
    "window", "getting windows failed: ", ErrorCode::GSDKReadWindowPropertiesFailed,
    ErrorCode::CannotParseWindowData};

// None after a failure, which is then logged and posted.
std::optional<Json> GetInputList(const ListFailures& failures) {
  ListText text;
  LibraryError error;
  if (!ReadInputList(failures.kind, text, error)) {
    RaiseFailure(failures.unread, failures.unread_prefix, error, ReportAs::kErrorEvent);
    return std::nullopt;
  }
  std::string parse_error;
  Json list = ParseInputList(text.get(), parse_error);
  text.reset();
  if (list.is_null()) {
    RaiseFailure(failures.unparsable, "error parsing gsdk_input_properties json: " + parse_error,
                 ReportAs::kErrorEvent);
    return std::nullopt;
  }
  return list;
}

std::optional<Json> PickMonitorOfGame(const RecorderSettings& settings) {
  SessionState& session = Session();
  session.monitor_tracker = std::make_unique<MonitorTracker>(
      static_cast<std::uint32_t>(settings.game_hwnd), [](void* /*monitor*/) {
        LogInfo("The game window changed its monitor, we need to restart the monitor recording");
        PostRestartEvent();
      });
  const ScreenRectangle rectangle = MonitorRectangle(session.monitor_tracker->CurrentMonitor());
  const std::optional<Json> list = GetInputList(kMonitorList);
  if (!list) return std::nullopt;
  return PickMonitor(*list, rectangle);
}

std::optional<Json> PickWindowOfGame(const RecorderSettings& settings) {
  const std::optional<Json> list = GetInputList(kWindowList);
  if (!list) return std::nullopt;
  std::optional<Json> window = PickWindow(*list, settings.game_hwnd);
  if (!window) {
    // The handle reads as a number with six decimals; hosts know the line in this form.
    RaiseFailure(
        ErrorCode::CannotFindWindow,
        "Window (" + std::to_string(UnsignedNumber(settings.game_hwnd)) + ") not found??? failing.",
        ReportAs::kErrorEvent);
  }
  return window;
}

Json GameTarget(const RecorderSettings& settings) {
  if (settings.game_hwnd == 0) return Json::object{{"pid", UnsignedNumber(settings.game_pid)}};
  return Json::object{{"hwnd", UnsignedNumber(settings.game_hwnd)}};
}

// The text that tells the library what to capture; none after a failure.
std::optional<std::string> BuildCaptureSettings(const RecorderSettings& settings) {
  Json::object capture{{"cursor", settings.capture_cursor}};
  switch (static_cast<RecordingMode>(settings.recording_mode)) {
    case RecordingMode::kMonitor: {
      std::optional<Json> monitor = PickMonitorOfGame(settings);
      if (!monitor) return std::nullopt;
      capture["monitor"] = *std::move(monitor);
      break;
    }
    case RecordingMode::kGame:
      capture["anticheat"] = true;
      capture["game"] = GameTarget(settings);
      break;
    case RecordingMode::kWindow: {
      std::optional<Json> window = PickWindowOfGame(settings);
      if (!window) return std::nullopt;
      capture["window"] = *std::move(window);
      break;
    }
    default:
      RaiseFailure(ErrorCode::BadRecordingMode,
                   "unknown recording mode: " +
                       std::to_string(static_cast<std::uint32_t>(settings.recording_mode)),
                   ReportAs::kErrorEvent);
      return std::nullopt;
  }
  return Json(capture).dump();
}

// Returns true when the session was told to stop before the time was up.
bool WaitForStop(std::chrono::nanoseconds wait) {
  SessionState& session = Session();
  std::unique_lock lock(session.mutex);
  return platform::WaitUntil(session.stop_changed, lock,
                             platform::DeadlineAfter(std::chrono::steady_clock::now(), wait),
                             [&] { return session.stop; });
}

}  // namespace

bool SetVideoInput(const RecorderSettings& settings, const std::string& mode_text,
                   std::chrono::nanoseconds retry_wait) {
  for (int attempt = 1; attempt <= kVideoInputAttempts; ++attempt) {
    const std::optional<std::string> capture = BuildCaptureSettings(settings);
    if (!capture) return false;
    LogInfo("capture settings: " + *capture);
    if (!CheckWindowExists(settings)) return false;

    LibraryError error;
    if (Library().gsdk_session_update_video_input(Session().session, capture->c_str(),
                                                  error.Out())) {
      return true;
    }
    if (error.Code() == kGsdkErrorHopelessInput) break;
    if (attempt < kVideoInputAttempts) {
      LogInfo("Set video input settings failed: " + error.Message());
      LogInfo("Retrying...");
    }
    error.Free();
    if (WaitForStop(retry_wait)) return false;
  }
  RaiseFailure(ErrorCode::FailedToSetVideoInput,
               "[" + mode_text + "] Could not set video input after updates, failing",
               ReportAs::kInfo);
  return false;
}

bool CheckWindowExists(const RecorderSettings& settings) {
  const auto window = static_cast<std::uint32_t>(settings.game_hwnd);
  if (window == 0 || WindowExists(window)) return true;
  LogInfo("Window to record no longer exists, exiting");
  PostDieEvent(0U);
  return false;
}

}  // namespace capture_service
