// The capture library as the service calls it: the table of its entry points, filled once at start
// and only read afterwards, and owners for what its calls hand out.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "gsdk/gsdk_api.h"

namespace capture_service {

struct CaptureLibrary {
  // Keeps the library loaded; the last owner's release unloads it.
  std::shared_ptr<void> module;

// NOLINTNEXTLINE(bugprone-macro-parentheses): a member cannot be declared in parentheses.
#define GSDK_DECLARE_POINTER(name) decltype(&::name) name = nullptr;
  GSDK_ENTRY_POINTS(GSDK_DECLARE_POINTER)
#undef GSDK_DECLARE_POINTER
};

// Makes `library` the process's table and frees the one before it. Main thread, before any other
// thread uses the library. When the process's static objects are destroyed the table lets go of its
// module; the table itself stays, because library threads may still call back at that time.
void InstallCaptureLibrary(std::unique_ptr<CaptureLibrary> library);

// The installed table. Any thread.
const CaptureLibrary& Library();

// Keeps the library loaded for as long as the result lives, for a thread of the service that is
// inside the library or owns something of it while the process may end. Empty once the process is
// ending and the library has been let go. Any thread.
std::shared_ptr<void> KeepLibraryLoaded();

// An error object that a failing call left. Freed exactly once.
class LibraryError {
 public:
  LibraryError() = default;
  explicit LibraryError(gsdk_error* error) : error_(error) {}
  ~LibraryError() { Free(); }
  LibraryError(const LibraryError&) = delete;
  LibraryError& operator=(const LibraryError&) = delete;

  // The slot for a call to fill; frees what it held before.
  gsdk_error** Out();
  // 0 when the library left no error object.
  [[nodiscard]] std::int32_t Code() const;
  // A copy of the message; empty when there is none.
  [[nodiscard]] std::string Message() const;
  void Free();

 private:
  gsdk_error* error_ = nullptr;
};

}  // namespace capture_service
