#include "diagnostics/machine_profile_rules.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace capture_service {
namespace {

using namespace std::string_literals;

FirmwareFacts CompleteFirmware() {
  return {.system_manufacturer = "Board Works\0"s,
          .system_product_name = "B-550\0"s,
          .bios_vendor = "Firm Ware Inc.\0"s,
          .bios_version = "F16e\0"s,
          .bios_release_date = "03/24/2023\0"s};
}

TEST(OperatingSystemTags, AreAbsentWithoutAnObject) {
  EXPECT_EQ(OperatingSystemTags({}), MachineProfile{});
}

TEST(OperatingSystemTags, AreThoseOfTheLastObject) {
  EXPECT_EQ(OperatingSystemTags({{"32-bit", "6.1.7601"}, {"64-bit", "10.0.19045"}}),
            (MachineProfile{{"OS_ARCH", "64-bit"}, {"OS_VERSION", "10.0.19045"}}));
  EXPECT_EQ(OperatingSystemTags({{"32-bit", "6.1.7601"}, {"", ""}}),
            (MachineProfile{{"OS_ARCH", ""}, {"OS_VERSION", ""}}));
}

TEST(ProcessorTags, AreEmptyWithoutAProcessor) {
  EXPECT_EQ(ProcessorTags({}), (MachineProfile{{"CPU_NAME", ""}, {"CPU_VENDOR", ""}}));
}

TEST(ProcessorTags, OfOneProcessorHaveNoSeparator) {
  EXPECT_EQ(ProcessorTags({{"Quick 9", "Maker"}}),
            (MachineProfile{{"CPU_NAME", "Quick 9"}, {"CPU_VENDOR", "Maker"}}));
}

TEST(ProcessorTags, NameEachOfTwoEqualProcessors) {
  EXPECT_EQ(ProcessorTags({{"Quick 9", "Maker"}, {"Quick 9", "Maker"}}),
            (MachineProfile{{"CPU_NAME", "Quick 9/Quick 9"}, {"CPU_VENDOR", "Maker/Maker"}}));
}

TEST(ProcessorTags, KeepThePlaceOfAnEmptyText) {
  EXPECT_EQ(ProcessorTags({{"", "A"}, {"Quick 9", ""}, {"", ""}}),
            (MachineProfile{{"CPU_NAME", "/Quick 9/"}, {"CPU_VENDOR", "A//"}}));
}

TEST(VideoControllerTags, AreEmptyWithoutAnAdapter) {
  EXPECT_EQ(
      VideoControllerTags({}),
      (MachineProfile{
          {"GPU_DRIVER_VERSION", ""}, {"GPU_NAME", ""}, {"GPU_RAM", ""}, {"GPU_VENDOR", ""}}));
}

TEST(VideoControllerTags, JoinEachTextOfTwoAdapters) {
  EXPECT_EQ(VideoControllerTags(
                {{"Inner", "A", "31.0.1", "134217728"}, {"Outer", "B", "32.0.2", "8589934592"}}),
            (MachineProfile{{"GPU_DRIVER_VERSION", "31.0.1/32.0.2"},
                            {"GPU_NAME", "Inner/Outer"},
                            {"GPU_RAM", "134217728/8589934592"},
                            {"GPU_VENDOR", "A/B"}}));
}

TEST(VideoControllerTags, OfTwoAdaptersWithoutAMemoryFigureAreASeparator) {
  EXPECT_EQ(VideoControllerTags({{"Inner", "A", "1", ""}, {"Outer", "B", "2", ""}}).at("GPU_RAM"),
            "/");
}

TEST(AdapterMemoryText, IsEmptyWithoutAFigure) {
  EXPECT_EQ(AdapterMemoryText(std::nullopt, std::nullopt), "");
  EXPECT_EQ(AdapterMemoryText(std::nullopt, 0U), "");
}

TEST(AdapterMemoryText, ReadsTheAdaptersFigureWithoutASign) {
  EXPECT_EQ(AdapterMemoryText(0, std::nullopt), "0");
  EXPECT_EQ(AdapterMemoryText(536870912, std::nullopt), "536870912");
  EXPECT_EQ(AdapterMemoryText(std::numeric_limits<std::int32_t>::min(), std::nullopt),
            "2147483648");
  EXPECT_EQ(AdapterMemoryText(-1048576, std::nullopt), "4293918720");
  EXPECT_EQ(AdapterMemoryText(-1, std::nullopt), "4294967295");
}

TEST(AdapterMemoryText, PrefersTheDriversFigure) {
  EXPECT_EQ(AdapterMemoryText(-1048576, 8589934592U), "8589934592");
  EXPECT_EQ(AdapterMemoryText(std::nullopt, 1U), "1");
  EXPECT_EQ(AdapterMemoryText(1, std::numeric_limits<std::uint64_t>::max()),
            "18446744073709551615");
}

TEST(AdapterMemoryText, KeepsTheAdaptersFigureWhenTheDriversIsZero) {
  EXPECT_EQ(AdapterMemoryText(-1048576, 0U), "4293918720");
}

TEST(FirmwareTags, CutTheBiosPartsAtTheirZeroAndKeepItInTheBoards) {
  EXPECT_EQ(FirmwareTags(CompleteFirmware()),
            (MachineProfile{{"BIOS_VERSION", "Firm Ware Inc. F16e 03/24/2023"},
                            {"MOBO_MODEL", "B-550\0"s},
                            {"MOBO_VENDOR", "Board Works\0"s}}));
}

TEST(FirmwareTags, CutTheBiosPartsAtTheFirstOfSeveralZeros) {
  FirmwareFacts firmware = CompleteFirmware();
  firmware.bios_vendor = "Firm\0Ware\0\0"s;
  firmware.system_product_name =
      "B\0"
      "550\0"s;
  EXPECT_EQ(FirmwareTags(firmware), (MachineProfile{{"BIOS_VERSION", "Firm F16e 03/24/2023"},
                                                    {"MOBO_MODEL",
                                                     "B\0"
                                                     "550\0"s},
                                                    {"MOBO_VENDOR", "Board Works\0"s}}));
}

TEST(FirmwareTags, TakeTextsWithoutAZeroAsTheyAre) {
  EXPECT_EQ(FirmwareTags({.system_manufacturer = "M",
                          .system_product_name = "P",
                          .bios_vendor = "V",
                          .bios_version = "1",
                          .bios_release_date = "D"}),
            (MachineProfile{{"BIOS_VERSION", "V 1 D"}, {"MOBO_MODEL", "P"}, {"MOBO_VENDOR", "M"}}));
}

TEST(FirmwareTags, HaveNoBiosVersionWithoutEachOfItsParts) {
  for (std::optional<std::string> FirmwareFacts::*part :
       {&FirmwareFacts::bios_vendor, &FirmwareFacts::bios_version,
        &FirmwareFacts::bios_release_date}) {
    FirmwareFacts firmware = CompleteFirmware();
    firmware.*part = std::nullopt;
    EXPECT_EQ(FirmwareTags(firmware),
              (MachineProfile{{"MOBO_MODEL", "B-550\0"s}, {"MOBO_VENDOR", "Board Works\0"s}}));
  }
}

TEST(FirmwareTags, LeaveOutABoardValueThatIsMissing) {
  FirmwareFacts firmware = CompleteFirmware();
  firmware.system_product_name = std::nullopt;
  EXPECT_EQ(FirmwareTags(firmware),
            (MachineProfile{{"BIOS_VERSION", "Firm Ware Inc. F16e 03/24/2023"},
                            {"MOBO_VENDOR", "Board Works\0"s}}));
  firmware = CompleteFirmware();
  firmware.system_manufacturer = std::nullopt;
  EXPECT_EQ(FirmwareTags(firmware),
            (MachineProfile{{"BIOS_VERSION", "Firm Ware Inc. F16e 03/24/2023"},
                            {"MOBO_MODEL", "B-550\0"s}}));
}

// An empty text of the registry is read with its terminator.
TEST(FirmwareTags, TakeALoneZeroForAText) {
  EXPECT_EQ(
      FirmwareTags({.system_manufacturer = "\0"s,
                    .system_product_name = "\0"s,
                    .bios_vendor = "\0"s,
                    .bios_version = "\0"s,
                    .bios_release_date = "\0"s}),
      (MachineProfile{{"BIOS_VERSION", "  "}, {"MOBO_MODEL", "\0"s}, {"MOBO_VENDOR", "\0"s}}));
}

TEST(FirmwareTags, AreAbsentWithoutAnyValue) { EXPECT_EQ(FirmwareTags({}), MachineProfile{}); }

TEST(TotalMemoryText, IsTheExactNumberOfBytes) {
  EXPECT_EQ(TotalMemoryText(17114804224U), "17114804224");
  EXPECT_EQ(TotalMemoryText(std::nullopt), "");
}

TEST(ElevationText, NamesTheThreeTypes) {
  EXPECT_EQ(ElevationText(1U), "default");
  EXPECT_EQ(ElevationText(2U), "full");
  EXPECT_EQ(ElevationText(3U), "limited");
  EXPECT_EQ(ElevationText(0U), "unknown");
  EXPECT_EQ(ElevationText(4U), "unknown");
  EXPECT_EQ(ElevationText(std::nullopt), "unknown");
}

TEST(GpuSchedulingText, IsOnForModeTwoOnly) {
  EXPECT_EQ(GpuSchedulingText(2U), "On");
  EXPECT_EQ(GpuSchedulingText(1U), "Off");
  EXPECT_EQ(GpuSchedulingText(0U), "Off");
  EXPECT_EQ(GpuSchedulingText(3U), "Off");
  EXPECT_EQ(GpuSchedulingText(std::nullopt), "Off");
}

}  // namespace
}  // namespace capture_service
