// File-system questions of the portable core.
#pragma once

#include <optional>
#include <string>

namespace platform {

// Removes what stands at `path` (UTF-8, read up to its first zero byte; any path that Windows
// takes, those that begin with \\?\ too): a file, or a folder that is empty. What Windows refuses
// to remove is left as it is: a read-only file, one that is open elsewhere, a folder with something
// in it. Callable from any thread.
void RemoveFile(const std::string& path) noexcept;

// The folder for data shared by all users, without a trailing separator; none when the shell does
// not know it.
std::optional<std::wstring> CommonAppDataFolder();

}  // namespace platform
