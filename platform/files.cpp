#include "platform/files.h"

#include <windows.h>

#include <shlobj.h>

#include <array>
#include <exception>

#include "platform/text_encoding.h"

namespace platform {

void RemoveFile(const std::string& path) noexcept {
  try {
    // Not std::filesystem: some toolchains' asks the C runtime, which refuses \\?\ paths.
    const std::wstring wide = WideFromUtf8(path.c_str());
    if (!DeleteFileW(wide.c_str())) RemoveDirectoryW(wide.c_str());
  } catch (const std::exception&) {
    // Out of memory for the path: the file stays, as for any other failed removal.
  }
}

std::optional<std::wstring> CommonAppDataFolder() {
  std::array<wchar_t, MAX_PATH> folder{};
  if (FAILED(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT,
                              folder.data()))) {
    return std::nullopt;
  }
  return folder.data();
}

}  // namespace platform
