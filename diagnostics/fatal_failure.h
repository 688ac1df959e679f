// The way in which the service gives up: the failure is logged, and a die request with its number
// is posted, so that the main loop ends the service with that exit status. The caller then leaves
// what it was doing.
#pragma once

#include <string>

#include "diagnostics/logging.h"
#include "gsdk/capture_library.h"
#include "protocol/error_codes.h"

namespace capture_service {

// Logs the failure (LogFailure), then posts the die request. Any thread.
void RaiseFailure(ErrorCode failure, const std::string& message, ReportAs report_as);

// As above for a call of the capture library that failed, with the library's message after
// `prefix`. Frees the error before the die request is posted.
void RaiseFailure(ErrorCode failure, const std::string& prefix, LibraryError& error,
                  ReportAs report_as);

}  // namespace capture_service
