#include "diagnostics/fatal_failure.h"

#include "protocol/service_requests.h"

namespace capture_service {

void RaiseFailure(ErrorCode failure, const std::string& message, ReportAs report_as) {
  LogFailure(failure, message, report_as);
  PostDieEvent(failure);
}

void RaiseFailure(ErrorCode failure, const std::string& prefix, LibraryError& error,
                  ReportAs report_as) {
  LogFailure(failure, prefix + error.Message(), report_as);
  error.Free();
  PostDieEvent(failure);
}

}  // namespace capture_service
