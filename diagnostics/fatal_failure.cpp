#include "diagnostics/fatal_failure.h"

#include "diagnostics/logging.h"
#include "protocol/service_requests.h"

namespace capture_service {

void RaiseFailure(std::string_view failure, const std::string& message, bool as_info) {
  LogFailure(failure, message, as_info);
  PostDieEvent(failure);
}

void RaiseFailure(std::string_view failure, const std::string& prefix, LibraryError& error,
                  bool as_info) {
  LogFailure(failure, prefix + error.Message(), as_info);
  error.Free();
  PostDieEvent(failure);
}

}  // namespace capture_service
