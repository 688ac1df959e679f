// The version number in a program file's version resource.
#pragma once

#include <string>

namespace capture_service {

// "major.minor.build.revision" of the file's fixed version information; empty when the path is
// empty or there is no such file, resource or record in it. Callable from any thread.
std::string GetFileVersionString(const std::wstring& path);

}  // namespace capture_service
