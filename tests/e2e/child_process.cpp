#include "tests/e2e/child_process.h"

#include <stdexcept>

namespace e2e {

ChildProcess::ChildProcess(const ProcessStart& start) {
  capture_host::Error error;
  process_ = capture_host::ServiceProcess::Start(start, error);
  if (!process_) throw std::runtime_error(Describe(error));
}

}  // namespace e2e
