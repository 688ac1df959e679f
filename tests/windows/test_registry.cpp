#include "tests/windows/test_registry.h"

#include <cstring>
#include <stdexcept>
#include <utility>

#include "platform/registry_key.h"

namespace capture_service {
namespace {

template <typename Number>
std::vector<BYTE> BytesOf(const Number& number) {
  std::vector<BYTE> bytes(sizeof(number));
  std::memcpy(bytes.data(), &number, sizeof(number));
  return bytes;
}

platform::OwnedRegistryKey OpenForWriting(const std::wstring& path, bool* made) {
  HKEY key = nullptr;
  DWORD disposition = 0;
  if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE,
                      nullptr, &key, &disposition) != ERROR_SUCCESS) {
    throw std::runtime_error("the registry refuses to be written to");
  }
  *made = disposition == REG_CREATED_NEW_KEY;
  return platform::OwnedRegistryKey(key);
}

std::optional<RegistryData> Read(HKEY key, const std::wstring& name) {
  RegistryData data;
  DWORD size = 0;
  if (RegQueryValueExW(key, name.c_str(), nullptr, &data.type, nullptr, &size) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  data.bytes.resize(size);
  RegQueryValueExW(key, name.c_str(), nullptr, nullptr, data.bytes.data(), &size);
  return data;
}

void Write(HKEY key, const std::wstring& name, const std::optional<RegistryData>& data) {
  if (data.has_value()) {
    RegSetValueExW(key, name.c_str(), 0, data->type, data->bytes.data(),
                   static_cast<DWORD>(data->bytes.size()));
  } else {
    RegDeleteValueW(key, name.c_str());
  }
}

}  // namespace

RegistryData RegistryText(const std::wstring& text) {
  RegistryData data{.type = REG_SZ, .bytes = {}};
  data.bytes.resize((text.size() + 1) * sizeof(wchar_t));
  std::memcpy(data.bytes.data(), text.c_str(), data.bytes.size());
  return data;
}

RegistryData RegistryNumber(std::uint32_t number) { return {REG_DWORD, BytesOf(number)}; }

RegistryData RegistryNumber64(std::uint64_t number) { return {REG_QWORD, BytesOf(number)}; }

TemporaryRegistryValue::TemporaryRegistryValue(std::wstring key, std::wstring name,
                                               const std::optional<RegistryData>& data)
    : key_(std::move(key)), name_(std::move(name)) {
  const platform::OwnedRegistryKey open_key = OpenForWriting(key_, &made_key_);
  before_ = Read(open_key.get(), name_);
  Write(open_key.get(), name_, data);
}

TemporaryRegistryValue::~TemporaryRegistryValue() {
  if (made_key_) {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, key_.c_str());
    return;
  }
  bool made = false;
  Write(OpenForWriting(key_, &made).get(), name_, before_);
}

}  // namespace capture_service
