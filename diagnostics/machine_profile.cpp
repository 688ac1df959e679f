#include "diagnostics/machine_profile.h"

#include <windows.h>

#include <cstdint>
#include <optional>

#include "diagnostics/machine_profile_rules.h"
#include "diagnostics/machine_profile_wmi.h"
#include "diagnostics/process_elevation.h"
#include "platform/registry_key.h"
#include "platform/text_encoding.h"

namespace capture_service {
namespace {

std::optional<std::string> ReadText(HKEY key, const wchar_t* name) {
  const std::optional<std::wstring> text = platform::ReadRegistryText(key, name);
  if (!text.has_value()) return std::nullopt;
  return platform::Utf8FromWide(*text);
}

MachineProfile CollectFirmwareProfile() {
  const platform::OwnedRegistryKey key =
      platform::OpenMachineKey(L"HARDWARE\\DESCRIPTION\\System\\BIOS");
  if (!key) return {};
  return FirmwareTags({
      .system_manufacturer = ReadText(key.get(), L"SystemManufacturer"),
      .system_product_name = ReadText(key.get(), L"SystemProductName"),
      .bios_vendor = ReadText(key.get(), L"BIOSVendor"),
      .bios_version = ReadText(key.get(), L"BIOSVersion"),
      .bios_release_date = ReadText(key.get(), L"BIOSReleaseDate"),
  });
}

std::optional<std::uint64_t> QueryTotalMemory() {
  MEMORYSTATUSEX status = {};
  status.dwLength = sizeof(status);
  if (!GlobalMemoryStatusEx(&status)) return std::nullopt;
  return status.ullTotalPhys;
}

}  // namespace

MachineProfile CollectMachineProfile() {
  MachineProfile profile = CollectWmiProfile();
  profile.merge(CollectFirmwareProfile());
  profile["TOTAL_RAM"] = TotalMemoryText(QueryTotalMemory());
  profile["PROCESS_ELEVATION"] = QueryProcessElevation(GetCurrentProcess());
  profile["GPU_SCHEDULING"] = QueryGpuScheduling();
  return profile;
}

std::string QueryGpuScheduling() {
  const platform::OwnedRegistryKey key =
      platform::OpenMachineKey(L"SYSTEM\\CurrentControlSet\\Control\\GraphicsDrivers");
  if (!key) return GpuSchedulingText(std::nullopt);
  return GpuSchedulingText(platform::ReadRegistryNumber<std::uint32_t>(key.get(), L"HwSchMode"));
}

}  // namespace capture_service
