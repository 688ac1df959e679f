#include "recording/connection_errors.h"

#include "diagnostics/fatal_failure.h"
#include "diagnostics/logging.h"
#include "gsdk/capture_library.h"
#include "protocol/service_requests.h"

namespace capture_service {
namespace {

constexpr std::int32_t kMaxHookInjectRetries = 5;

void GiveUp(ErrorCode failure, const LibraryError& error, ReportAs report_as) {
  RaiseFailure(failure, "Error occurred that terminated the connection: " + error.Message(),
               report_as);
}

}  // namespace

void OnConnectionError(void* /*user_data*/, gsdk_error* error) noexcept {
  // For the whole life of the process, across all sessions.
  static constinit std::atomic<std::int32_t> hook_inject_retries = 0;
  HandleConnectionError(error, hook_inject_retries);
}

void HandleConnectionError(gsdk_error* error, std::atomic<std::int32_t>& hook_inject_retries) {
  const LibraryError owned(error);
  switch (owned.Code()) {
    case kGsdkErrorRestartable:
    case kGsdkErrorAlsoRestartable:
      PostRestartEvent();
      break;
    case kGsdkErrorHookInjectRetry:
      if (hook_inject_retries.fetch_add(1) < kMaxHookInjectRetries) {
        LogInfo("gsdk_hook_inject_retry exception, Retrying...");
        PostRestartEvent();
      } else {
        GiveUp(ErrorCode::GSDKHookInjectRetry, owned, ReportAs::kInfo);
      }
      break;
    case kGsdkErrorMonitorCapture:
      GiveUp(ErrorCode::GSDKMonitorCaptureFailed, owned, ReportAs::kInfo);
      break;
    default:
      GiveUp(ErrorCode::GSDKGenericExitError, owned, ReportAs::kErrorEvent);
  }
}

}  // namespace capture_service
