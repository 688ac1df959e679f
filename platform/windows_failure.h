// The exception for a Windows call whose failure the service does not live with.
#pragma once

#include <windows.h>

#include <source_location>
#include <stdexcept>

namespace platform {

// Carries the failing HRESULT and the source position; what() is the system's message for the
// HRESULT. Constructing one writes "file(line) tid(id) HRESULT message" as a line to the debugger
// output.
class WindowsFailure : public std::runtime_error {
 public:
  explicit WindowsFailure(HRESULT code,
                          std::source_location where = std::source_location::current());

  [[nodiscard]] HRESULT code() const noexcept { return code_; }
  // The position's file, as the compiler names it; static storage.
  [[nodiscard]] const char* file() const noexcept { return where_.file_name(); }
  [[nodiscard]] unsigned line() const noexcept { return where_.line(); }

 private:
  HRESULT code_;
  std::source_location where_;
};

// Throws WindowsFailure, with the caller's position, unless `result` is a success code.
void ThrowIfFailed(HRESULT result, std::source_location where = std::source_location::current());

}  // namespace platform
