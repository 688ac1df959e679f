#include "platform/registry_key.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/windows/replaced_import.h"
#include "tests/windows/test_registry.h"

REPLACEABLE_IMPORT(L"advapi32.dll", RegOpenKeyExW)
REPLACEABLE_IMPORT(L"advapi32.dll", RegGetValueW)

namespace capture_service {
namespace {

using namespace std::string_literals;
using windows_test::ReplacedImport;

const std::wstring kKey = L"SOFTWARE\\CaptureService registry test";

std::optional<std::wstring> ReadText(const RegistryData& data) {
  const TemporaryRegistryValue value(kKey, L"Value", data);
  return platform::ReadRegistryText(platform::OpenMachineKey(kKey).get(), L"Value");
}

template <typename Number>
std::optional<Number> ReadNumber(const RegistryData& data) {
  const TemporaryRegistryValue value(kKey, L"Value", data);
  return platform::ReadRegistryNumber<Number>(platform::OpenMachineKey(kKey).get(), L"Value");
}

TEST(OpenMachineKey, IsNullForAMissingKey) {
  EXPECT_EQ(platform::OpenMachineKey(L"SOFTWARE\\CaptureService no such key"), nullptr);
}

// The system's RegOpenKeyExW, and the rights with which keys were asked for.
decltype(&RegOpenKeyExW) system_open;
std::vector<REGSAM> asked_rights;

TEST(OpenMachineKey, LooksIntoTheSixtyFourBitViewWhenItsOwnHasNoKey) {
  const TemporaryRegistryValue value(kKey, L"Value", RegistryNumber(7));
  asked_rights.clear();
  system_open = __imp_RegOpenKeyExW;
  const ReplacedImport open(
      __imp_RegOpenKeyExW,
      [](HKEY root, LPCWSTR path, DWORD options, REGSAM rights, HKEY* key) -> LSTATUS {
        asked_rights.push_back(rights);
        if (asked_rights.size() == 1) return ERROR_FILE_NOT_FOUND;
        return system_open(root, path, options, rights, key);
      });
  const platform::OwnedRegistryKey key = platform::OpenMachineKey(kKey);
  EXPECT_EQ(asked_rights, (std::vector<REGSAM>{KEY_READ, KEY_READ | KEY_WOW64_64KEY}));
  ASSERT_TRUE(key);
  EXPECT_EQ(platform::ReadRegistryNumber<std::uint32_t>(key.get(), L"Value"), 7U);
}

TEST(OpenMachineKey, AsksOnceWhenItsOwnViewHasTheKey) {
  const TemporaryRegistryValue value(kKey, L"Value", RegistryNumber(7));
  asked_rights.clear();
  system_open = __imp_RegOpenKeyExW;
  const ReplacedImport open(
      __imp_RegOpenKeyExW,
      [](HKEY root, LPCWSTR path, DWORD options, REGSAM rights, HKEY* key) -> LSTATUS {
        asked_rights.push_back(rights);
        return system_open(root, path, options, rights, key);
      });
  EXPECT_TRUE(platform::OpenMachineKey(kKey));
  EXPECT_EQ(asked_rights, std::vector<REGSAM>{KEY_READ});
}

TEST(ReadRegistryText, KeepsTheTerminatingZero) {
  EXPECT_EQ(ReadText(RegistryText(L"B\u00f6rd")), L"B\u00f6rd\0"s);
}

TEST(ReadRegistryText, OfAnEmptyValueIsTheZeroAlone) {
  EXPECT_EQ(ReadText(RegistryText(L"")), L"\0"s);
}

TEST(ReadRegistryText, ReadsLongTextsWhole) {
  const std::wstring text(5000, L'x');
  EXPECT_EQ(ReadText(RegistryText(text)), text + L'\0');
}

// Another program writes the value between the call that asks for its size and the one that reads
// it.
class ReadChangingRegistryText : public testing::Test {
 protected:
  std::optional<std::wstring> Read(const std::wstring& before, const std::wstring& after) {
    const TemporaryRegistryValue value(kKey, L"Value", RegistryText(before));
    const platform::OwnedRegistryKey key = platform::OpenMachineKey(kKey);
    static int calls;
    static std::wstring text;
    static std::unique_ptr<TemporaryRegistryValue> newer;
    static decltype(&RegGetValueW) system;
    calls = 0;
    text = after;
    system = __imp_RegGetValueW;
    const ReplacedImport get(__imp_RegGetValueW,
                             [](HKEY root, LPCWSTR path, LPCWSTR name, DWORD flags, DWORD* type,
                                void* data, DWORD* size) -> LSTATUS {
                               if (++calls == 2) {
                                 newer = std::make_unique<TemporaryRegistryValue>(
                                     kKey, name, RegistryText(text));
                               }
                               return system(root, path, name, flags, type, data, size);
                             });
    std::optional<std::wstring> read = platform::ReadRegistryText(key.get(), L"Value");
    EXPECT_EQ(calls, 2);
    newer = nullptr;
    return read;
  }
};

TEST_F(ReadChangingRegistryText, HasTheNewLengthOfATextThatGotShorter) {
  EXPECT_EQ(Read(L"a longer text", L"short"), L"short\0"s);
}

TEST_F(ReadChangingRegistryText, IsNoneForATextThatGotLonger) {
  EXPECT_EQ(Read(L"short", L"a longer text"), std::nullopt);
}

TEST(ReadRegistryText, RefusesOtherTypes) {
  EXPECT_EQ(ReadText(RegistryNumber(7)), std::nullopt);
  for (const DWORD type : {DWORD{REG_MULTI_SZ}, DWORD{REG_BINARY}}) {
    RegistryData data = RegistryText(L"text");
    data.type = type;
    EXPECT_EQ(ReadText(data), std::nullopt) << type;
  }
}

TEST(ReadRegistryText, IsNoneForAMissingValue) {
  const TemporaryRegistryValue other(kKey, L"Other", RegistryText(L"text"));
  EXPECT_EQ(platform::ReadRegistryText(platform::OpenMachineKey(kKey).get(), L"Value"),
            std::nullopt);
}

TEST(ReadRegistryNumber, ReadsNumbersOfItsSize) {
  EXPECT_EQ(ReadNumber<std::uint32_t>(RegistryNumber(0x80000002)), 0x80000002U);
  EXPECT_EQ(ReadNumber<std::uint64_t>(RegistryNumber64(8589934592)), 8589934592U);
}

TEST(ReadRegistryNumber, FillsAShorterValueWithZeros) {
  EXPECT_EQ(ReadNumber<std::uint64_t>(RegistryNumber(0xFFF00000)), 0xFFF00000U);
}

TEST(ReadRegistryNumber, IsNoneForALongerValue) {
  EXPECT_EQ(ReadNumber<std::uint32_t>(RegistryNumber64(2)), std::nullopt);
}

TEST(ReadRegistryNumber, IsNoneForAMissingValue) {
  const TemporaryRegistryValue other(kKey, L"Other", RegistryNumber(1));
  EXPECT_EQ(
      platform::ReadRegistryNumber<std::uint32_t>(platform::OpenMachineKey(kKey).get(), L"Value"),
      std::nullopt);
}

}  // namespace
}  // namespace capture_service
