#include "diagnostics/file_version.h"

#include <windows.h>

#include <cstddef>
#include <vector>

namespace capture_service {

std::string GetFileVersionString(const std::wstring& path) {
  if (path.empty()) return {};
  const DWORD size = GetFileVersionInfoSizeW(path.c_str(), nullptr);
  if (size == 0) return {};
  std::vector<std::byte> resource(size);
  if (!GetFileVersionInfoW(path.c_str(), 0, size, resource.data())) return {};

  void* record = nullptr;
  UINT length = 0;
  if (!VerQueryValueW(resource.data(), L"\\", &record, &length)) return {};
  if (length != sizeof(VS_FIXEDFILEINFO)) return {};
  const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(record);
  return std::to_string(HIWORD(info.dwFileVersionMS)) + "." +
         std::to_string(LOWORD(info.dwFileVersionMS)) + "." +
         std::to_string(HIWORD(info.dwFileVersionLS)) + "." +
         std::to_string(LOWORD(info.dwFileVersionLS));
}

}  // namespace capture_service
