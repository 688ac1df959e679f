// How a process is elevated, for the tags of error reports.
#pragma once

#include <string>

namespace capture_service {

// "default", "full" or "limited" for the process of the handle (a Windows HANDLE, which stays the
// caller's); "unknown" when its token cannot be read. Callable from any thread.
std::string QueryProcessElevation(void* process);

}  // namespace capture_service
