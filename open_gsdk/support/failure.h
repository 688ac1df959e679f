// What can go wrong in the library: the numbers that gsdk_err_code gives, and the exception that
// carries one with its message up to the entry points. No exception leaves the library.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "gsdk/gsdk_api.h"

namespace open_gsdk {

// Part of the interface: documented in docs/open-gsdk.md, never reused. Those that the service acts
// on have their numbers from the interface's header.
enum class ErrorCode : std::int32_t {
  kInvalidArgument = 1,  // null, unknown kind, a member of the wrong type
  kInvalidHandle = 2,    // not handed out, destroyed, of another kind or state
  kMalformedJson = 3,
  kSystem = 4,                            // Windows refused a call, or memory ran out
  kWindowClosed = kGsdkErrorRestartable,  // ends a running session: the recorded window is gone
  kCaptureFailed = 9,                // ends a running session: the encoder or the library failed
  kNoEncoder = kGsdkErrorNoEncoder,  // none takes the wanted size, frame rate or sample rate
  kInputNotReady = 23,               // the wanted input isn't there yet: trying again can help
  kInputGone = kGsdkErrorHopelessInput,     // it does not exist: trying again cannot help
  kMonitorGone = kGsdkErrorMonitorCapture,  // ends a running session: the recorded monitor is gone
};

class Failure : public std::runtime_error {
 public:
  Failure(ErrorCode code, const std::string& message) : std::runtime_error(message), code_(code) {}

  [[nodiscard]] ErrorCode code() const { return code_; }

 private:
  ErrorCode code_;
};

}  // namespace open_gsdk
