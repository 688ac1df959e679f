// Owners for Windows resources that are given back with one call each.
#pragma once

#include <windows.h>

#include <memory>

#include "platform/fail_fast.h"

namespace platform {

// CloseHandle. A handle that cannot be closed means that somebody else closed it or wrote over it,
// so the process ends at once. The last error survives a successful close.
struct HandleCloser {
  void operator()(HANDLE handle) const noexcept {
    const DWORD last_error = GetLastError();
    if (!CloseHandle(handle)) FailFast();
    SetLastError(last_error);
  }
};

// A kernel object whose "none" is null: events, processes, tokens.
using OwnedHandle = std::unique_ptr<void, HandleCloser>;

// Takes over what CreateFileW returned, whose "none" is INVALID_HANDLE_VALUE.
inline OwnedHandle OwnFile(HANDLE file) {
  return OwnedHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

// LocalFree, for memory that the system allocated for its caller.
struct LocalMemoryFreer {
  void operator()(void* memory) const noexcept { LocalFree(memory); }
};

}  // namespace platform
