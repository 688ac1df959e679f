// Loads the capture library and binds its entry points by name.
#pragma once

#include <memory>
#include <string>

#include "gsdk/capture_library.h"

namespace capture_service {

// Loads the library at `path`; a relative path is taken from the executable's own folder, not from
// the current one. Null when it cannot be loaded, with the reason as the thread's last error.
std::shared_ptr<void> LoadCaptureLibraryModule(const std::wstring& path);

// Loads `path` in the way of the system loader, which looks a relative path up from the current
// folder. Null as above.
std::shared_ptr<void> LoadModulePlainly(const std::wstring& path);

// Binds all entry points in their fixed order. At the first that is missing the module is let go
// and std::runtime_error is thrown: "Error getting function ptr for " and the name.
std::unique_ptr<CaptureLibrary> BindCaptureLibrary(std::shared_ptr<void> module);

}  // namespace capture_service
