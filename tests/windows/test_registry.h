// Values under HKEY_LOCAL_MACHINE for the length of a test.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace capture_service {

struct RegistryData {
  DWORD type = REG_NONE;
  std::vector<BYTE> bytes;
};

RegistryData RegistryText(const std::wstring& text);  // REG_SZ with its terminating zero
RegistryData RegistryNumber(std::uint32_t number);    // REG_DWORD
RegistryData RegistryNumber64(std::uint64_t number);  // REG_QWORD

// Sets a value, making its key if need be, or removes it for none. The destructor brings back what
// was there. Throws std::runtime_error when the registry refuses.
class TemporaryRegistryValue {
 public:
  TemporaryRegistryValue(std::wstring key, std::wstring name,
                         const std::optional<RegistryData>& data);
  ~TemporaryRegistryValue();
  TemporaryRegistryValue(const TemporaryRegistryValue&) = delete;
  TemporaryRegistryValue& operator=(const TemporaryRegistryValue&) = delete;

 private:
  std::wstring key_;
  std::wstring name_;
  std::optional<RegistryData> before_;
  bool made_key_ = false;
};

}  // namespace capture_service
