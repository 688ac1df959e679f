// A program that a test starts, and that ends with the test at the latest.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/owned_handle.h"

namespace e2e {

// How to start a program.
struct ProgramStart {
  std::filesystem::path program = {};
  std::vector<std::wstring> arguments = {};
  std::filesystem::path folder = {};                    // its working directory; empty: the test's
  std::map<std::wstring, std::wstring> variables = {};  // set beside those that the test has
};

class ChildProcess {
 public:
  // Throws std::runtime_error when the program cannot be started.
  explicit ChildProcess(const ProgramStart& start);

  DWORD Id() const { return id_; }
  HANDLE Handle() const { return process_.get(); }

  // The exit code once the program has ended by itself; none when it didn't within `limit`.
  std::optional<std::uint32_t> WaitForExit(std::chrono::milliseconds limit) const;

  bool IsRunning() const { return !WaitForExit(std::chrono::milliseconds(0)); }

 private:
  platform::OwnedHandle job_;  // ends the program when it is closed
  platform::OwnedHandle process_;
  DWORD id_ = 0;
};

}  // namespace e2e
