// File-system questions of the portable core.
#pragma once

#include <optional>
#include <string>

namespace platform {

// Removes whatever file stands at `path` (UTF-8, read up to its first zero byte). A missing file,
// or one that cannot be removed, is left as it is. Callable from any thread.
void RemoveFile(const std::string& path) noexcept;

// The folder for data shared by all users, without a trailing separator; none when the shell does
// not know it.
std::optional<std::wstring> CommonAppDataFolder();

}  // namespace platform
