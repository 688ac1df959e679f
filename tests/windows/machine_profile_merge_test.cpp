// How the parts of the profile come together. The program has a WMI part of its own, with tags that
// other parts have too.
#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <string>

#include "diagnostics/machine_profile.h"
#include "diagnostics/machine_profile_wmi.h"
#include "diagnostics/process_elevation.h"
#include "tests/windows/replaced_import.h"
#include "tests/windows/test_registry.h"

REPLACEABLE_IMPORT(L"kernel32.dll", GlobalMemoryStatusEx)

namespace capture_service {

MachineProfile CollectWmiProfile() {
  return {{"GPU_SCHEDULING", "of WMI"},
          {"MOBO_MODEL", "of WMI"},
          {"OS_ARCH", "of WMI"},
          {"PROCESS_ELEVATION", "of WMI"},
          {"TOTAL_RAM", "of WMI"}};
}

namespace {

using namespace std::string_literals;
using windows_test::ReplacedImport;

const std::wstring kBiosKey = L"HARDWARE\\DESCRIPTION\\System\\BIOS";

// A memory of 17114804224 bytes; what else the call was given is wrong unless its length is 64.
BOOL WINAPI TellMemory(MEMORYSTATUSEX* status) {
  if (status->dwLength != 64) return FALSE;
  status->ullTotalPhys = 17114804224;
  return TRUE;
}

TEST(CollectMachineProfile, KeepsTheEarlierPartsTagsButForTheLastThree) {
  const TemporaryRegistryValue model(kBiosKey, L"SystemProductName", RegistryText(L"B-550"));
  const TemporaryRegistryValue maker(kBiosKey, L"SystemManufacturer", RegistryText(L"Works"));
  const TemporaryRegistryValue date(kBiosKey, L"BIOSReleaseDate", std::nullopt);
  const ReplacedImport memory(__imp_GlobalMemoryStatusEx, TellMemory);
  EXPECT_EQ(CollectMachineProfile(),
            (MachineProfile{{"GPU_SCHEDULING", QueryGpuScheduling()},
                            {"MOBO_MODEL", "of WMI"},
                            {"MOBO_VENDOR", "Works\0"s},
                            {"OS_ARCH", "of WMI"},
                            {"PROCESS_ELEVATION", QueryProcessElevation(GetCurrentProcess())},
                            {"TOTAL_RAM", "17114804224"}}));
}

TEST(CollectMachineProfile, HasAnEmptyMemoryWhenTheSystemDoesNotTell) {
  const ReplacedImport memory(__imp_GlobalMemoryStatusEx,
                              [](MEMORYSTATUSEX*) -> BOOL { return FALSE; });
  EXPECT_EQ(CollectMachineProfile().at("TOTAL_RAM"), "");
}

}  // namespace
}  // namespace capture_service
