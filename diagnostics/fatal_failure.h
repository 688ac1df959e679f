// The way in which the service gives up: the failure is logged, and a die request with its number
// is posted, so that the main loop ends the service with that exit status. The caller then leaves
// what it was doing.
#pragma once

#include <string>
#include <string_view>

#include "gsdk/capture_library.h"

namespace capture_service {

// `failure` is a name of ErrorCodeTable. With `as_info` no error event is made. Any thread.
void RaiseFailure(std::string_view failure, const std::string& message, bool as_info);

// As above for a call of the capture library that failed, with the library's message after
// `prefix`. Frees the error before the die request is posted.
void RaiseFailure(std::string_view failure, const std::string& prefix, LibraryError& error,
                  bool as_info);

}  // namespace capture_service
