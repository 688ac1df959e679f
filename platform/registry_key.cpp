#include "platform/registry_key.h"

namespace platform {

OwnedRegistryKey OpenMachineKey(const std::wstring& path) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS ||
      RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, &key) ==
          ERROR_SUCCESS) {
    return OwnedRegistryKey(key);
  }
  return nullptr;
}

std::optional<std::wstring> ReadRegistryText(HKEY key, const wchar_t* name) {
  DWORD size = 0;
  if (RegGetValueW(key, nullptr, name, RRF_RT_REG_SZ, nullptr, nullptr, &size) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  std::wstring text(size / sizeof(wchar_t), L'\0');
  const LSTATUS status =
      RegGetValueW(key, nullptr, name, RRF_RT_REG_SZ, nullptr, text.data(), &size);
  if (status != ERROR_SUCCESS) return std::nullopt;
  text.resize(size / sizeof(wchar_t));
  if (text.empty()) return std::nullopt;
  return text;
}

}  // namespace platform
