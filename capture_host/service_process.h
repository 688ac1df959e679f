// A program that ends with its owner: it belongs to a job that is killed with its last handle, so
// it never outlives the host, however the host ends. A part of Service (capture_host/service.h).
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capture_host/error.h"
#include "platform/owned_handle.h"

namespace capture_host {

struct ProcessStart {
  std::filesystem::path program = {};
  std::vector<std::wstring> arguments = {};
  std::filesystem::path folder = {};                    // working folder; empty: this process's own
  std::map<std::wstring, std::wstring> variables = {};  // set beside those of this process
};

class ServiceProcess {
 public:
  // Null with `error` filled in when the program cannot be started. Any thread.
  static std::unique_ptr<ServiceProcess> Start(const ProcessStart& start, Error& error);

  [[nodiscard]] std::uint32_t id() const { return id_; }
  // Stays the object's.
  [[nodiscard]] HANDLE handle() const { return process_.get(); }

  // The exit status; none while it still runs after `limit`. Any thread.
  [[nodiscard]] std::optional<std::uint32_t> WaitForExit(std::chrono::milliseconds limit) const;

  // Ends it at once, with everything that it started. Any thread.
  void Kill();

 private:
  ServiceProcess() = default;

  platform::OwnedHandle job_;
  platform::OwnedHandle process_;
  std::uint32_t id_ = 0;
};

}  // namespace capture_host
