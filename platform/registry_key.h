// Reading of the machine's registry: keys under HKEY_LOCAL_MACHINE, opened for reading only.
#pragma once

#include <windows.h>

#include <memory>
#include <optional>
#include <string>
#include <type_traits>

namespace platform {

// RegCloseKey. The predefined root keys are never owned.
struct RegistryKeyCloser {
  void operator()(HKEY key) const noexcept { RegCloseKey(key); }
};
using OwnedRegistryKey = std::unique_ptr<std::remove_pointer_t<HKEY>, RegistryKeyCloser>;

// Opens `path` (without a leading backslash) in the process's own view of the registry or, failing
// that, in the 64-bit view. Null when neither has it or lets it be read.
OwnedRegistryKey OpenMachineKey(const std::wstring& path);

// The REG_SZ value `name`, with the length that the registry reports, which counts the terminating
// zero: the text ends in a zero character. Where a text has to be "not empty" that zero counts too:
// a value set to "" reads as the zero alone, and is a text. None when there is no such value, it is
// of another type, or it has no character at all.
std::optional<std::wstring> ReadRegistryText(HKEY key, const wchar_t* name);

// The bytes of the value `name`, of whatever type, as a number; bytes that the value does not have
// are zero. None when there is no such value or it is longer than the number.
template <typename Number>
std::optional<Number> ReadRegistryNumber(HKEY key, const wchar_t* name) {
  static_assert(std::is_unsigned_v<Number>);
  Number number = 0;
  DWORD size = sizeof(number);
  if (RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &size) !=
      ERROR_SUCCESS) {
    return std::nullopt;
  }
  return number;
}

}  // namespace platform
