// Failures of Windows calls as errors.
#pragma once

#include <windows.h>

#include <string>

#include "capture_host/error.h"

namespace capture_host {

// The system's text for a Windows error, with its number.
std::string WindowsErrorText(DWORD error);

// What a failing call leaves: `what` without its full stop, to which the system's text is added.
Error WindowsError(DWORD error, const std::string& what, const std::string& call,
                   const std::string& advice);

}  // namespace capture_host
