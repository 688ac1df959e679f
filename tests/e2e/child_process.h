// A program that a test starts, and that ends with the test at the latest.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

#include "capture_host/service_process.h"

namespace e2e {

using capture_host::ProcessStart;

class ChildProcess {
 public:
  // Throws std::runtime_error when the program cannot be started.
  explicit ChildProcess(const ProcessStart& start);

  DWORD Id() const { return process_->id(); }
  HANDLE Handle() const { return process_->handle(); }

  // The exit code once the program has ended by itself; none when it didn't within `limit`.
  std::optional<std::uint32_t> WaitForExit(std::chrono::milliseconds limit) const {
    return process_->WaitForExit(limit);
  }

  bool IsRunning() const { return !WaitForExit(std::chrono::milliseconds(0)); }

 private:
  std::unique_ptr<capture_host::ServiceProcess> process_;
};

}  // namespace e2e
