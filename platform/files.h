// File-system questions of the portable core.
#pragma once

#include <optional>
#include <string>

namespace platform {

// Removes whatever file stands at `path` (UTF-8, read up to its first zero byte; any path that
// Windows takes, \\?\ ones too). What Windows doesn't remove with DeleteFileW is left as it is: a
// read-only file, one that is open elsewhere, and a folder, also an empty one. Callable from any
// thread.
void RemoveFile(const std::string& path) noexcept;

// The folder for data shared by all users, without a trailing separator; none when the shell does
// not know it.
std::optional<std::wstring> CommonAppDataFolder();

}  // namespace platform
