#include "platform/registry_key.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/windows/test_registry.h"

namespace capture_service {
namespace {

using namespace std::string_literals;

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
