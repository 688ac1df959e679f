// The profile as a whole, with the system's own WMI and registry. The tests change the registry for
// their length.
#include "diagnostics/machine_profile.h"

#include <gtest/gtest.h>
#include <objbase.h>
#include <windows.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "diagnostics/process_elevation.h"
#include "platform/text_encoding.h"
#include "platform/windows_failure.h"
#include "tests/windows/test_registry.h"

namespace capture_service {
namespace {

using namespace std::string_literals;

const std::wstring kBiosKey = L"HARDWARE\\DESCRIPTION\\System\\BIOS";
const std::wstring kGraphicsKey = L"SYSTEM\\CurrentControlSet\\Control\\GraphicsDrivers";

// What the system's own command for WMI says of a property of the only object of a class.
std::string AskWmic(const std::wstring& what) {
  struct PipeCloser {
    void operator()(FILE* pipe) const noexcept { _pclose(pipe); }
  };
  const std::unique_ptr<FILE, PipeCloser> pipe(_wpopen((L"wmic " + what).c_str(), L"rb"));
  // Into a pipe it writes bytes of the system's code page; these values have ASCII alone.
  std::string output(4096, '\0');
  output.resize(std::fread(output.data(), 1, output.size(), pipe.get()));
  // A heading, then the value, both padded with spaces.
  const std::size_t start = output.find('\n') + 1;
  std::string value = output.substr(start, output.find('\r', start) - start);
  value.erase(value.find_last_not_of(' ') + 1);
  return value;
}

std::optional<std::string> Tag(const MachineProfile& profile, const std::string& name) {
  const auto found = profile.find(name);
  return found != profile.end() ? std::optional(found->second) : std::nullopt;
}

// A firmware that says everything, but for what `changes` says of a value.
class Firmware {
 public:
  explicit Firmware(
      const std::vector<std::pair<std::wstring, std::optional<RegistryData>>>& changes = {}) {
    std::vector<std::pair<std::wstring, std::optional<RegistryData>>> values = {
        {L"SystemManufacturer", RegistryText(L"B\u00f6rd Works")},
        {L"SystemProductName", RegistryText(L"B-550")},
        {L"BIOSVendor", RegistryText(L"Firm Ware Inc.")},
        {L"BIOSVersion", RegistryText(L"F16e")},
        {L"BIOSReleaseDate", RegistryText(L"03/24/2023")}};
    values.insert(values.end(), changes.begin(), changes.end());
    for (const auto& [name, data] : values) {
      values_.push_back(std::make_unique<TemporaryRegistryValue>(kBiosKey, name, data));
    }
  }
  ~Firmware() {
    while (!values_.empty()) values_.pop_back();
  }
  Firmware(const Firmware&) = delete;
  Firmware& operator=(const Firmware&) = delete;

 private:
  std::vector<std::unique_ptr<TemporaryRegistryValue>> values_;
};

TEST(CollectMachineProfile, HasAllItsTags) {
  const Firmware firmware;
  std::vector<std::string> names;
  for (const auto& [name, value] : CollectMachineProfile()) names.push_back(name);
  EXPECT_EQ(names, (std::vector<std::string>{
                       "BIOS_VERSION", "CPU_NAME", "CPU_VENDOR", "GPU_DRIVER_VERSION", "GPU_NAME",
                       "GPU_RAM", "GPU_SCHEDULING", "GPU_VENDOR", "MOBO_MODEL", "MOBO_VENDOR",
                       "OS_ARCH", "OS_VERSION", "PROCESS_ELEVATION", "TOTAL_RAM"}));
}

TEST(CollectMachineProfile, SaysWhatTheSystemSays) {
  const MachineProfile profile = CollectMachineProfile();
  EXPECT_EQ(Tag(profile, "OS_ARCH"), AskWmic(L"os get osarchitecture"));
  EXPECT_EQ(Tag(profile, "OS_VERSION"), AskWmic(L"os get version"));
  EXPECT_EQ(Tag(profile, "CPU_NAME"), AskWmic(L"cpu get name"));
  EXPECT_EQ(Tag(profile, "CPU_VENDOR"), AskWmic(L"cpu get manufacturer"));
  EXPECT_EQ(Tag(profile, "GPU_NAME"), AskWmic(L"path Win32_VideoController get name"));
  EXPECT_EQ(Tag(profile, "GPU_VENDOR"),
            AskWmic(L"path Win32_VideoController get adaptercompatibility"));
  EXPECT_EQ(Tag(profile, "GPU_DRIVER_VERSION"),
            AskWmic(L"path Win32_VideoController get driverversion"));
  EXPECT_EQ(Tag(profile, "GPU_RAM"), AskWmic(L"path Win32_VideoController get adapterram"));
  EXPECT_NE(Tag(profile, "OS_VERSION"), "");
  EXPECT_NE(Tag(profile, "CPU_NAME"), "");
  EXPECT_NE(Tag(profile, "GPU_RAM"), "");
}

TEST(CollectMachineProfile, HasTheMachinesMemoryAndTheProcesssElevation) {
  const MachineProfile profile = CollectMachineProfile();
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof(status);
  ASSERT_TRUE(GlobalMemoryStatusEx(&status));
  EXPECT_EQ(Tag(profile, "TOTAL_RAM"), std::to_string(status.ullTotalPhys));
  EXPECT_EQ(Tag(profile, "PROCESS_ELEVATION"), QueryProcessElevation(GetCurrentProcess()));
}

TEST(CollectMachineProfile, PrefersTheMemorySizeInTheRegistry) {
  const std::string device = AskWmic(L"path Win32_VideoController get pnpdeviceid");
  const std::wstring driver = L"{4d36e968-e325-11ce-bfc1-08002be10318}\\7777";
  const TemporaryRegistryValue driver_value(
      L"SYSTEM\\CurrentControlSet\\Enum\\" + platform::WideFromUtf8(device), L"Driver",
      RegistryText(driver));
  const TemporaryRegistryValue memory(L"SYSTEM\\CurrentControlSet\\Control\\Class\\" + driver,
                                      L"HardwareInformation.qwMemorySize",
                                      RegistryNumber64(8589934592));
  EXPECT_EQ(Tag(CollectMachineProfile(), "GPU_RAM"), "8589934592");
}

TEST(CollectMachineProfile, JoinsTheFirmwaresTexts) {
  const Firmware firmware;
  const MachineProfile profile = CollectMachineProfile();
  EXPECT_EQ(Tag(profile, "BIOS_VERSION"), "Firm Ware Inc. F16e 03/24/2023");
  // The registry's terminating zero stays at the end of these two.
  EXPECT_EQ(Tag(profile, "MOBO_MODEL"), "B-550\0"s);
  EXPECT_EQ(Tag(profile, "MOBO_VENDOR"), "B\u00f6rd Works\0"s);
}

TEST(CollectMachineProfile, HasNoBiosVersionWithoutAReleaseDate) {
  const Firmware firmware({{L"BIOSReleaseDate", std::nullopt}});
  const MachineProfile profile = CollectMachineProfile();
  EXPECT_EQ(Tag(profile, "BIOS_VERSION"), std::nullopt);
  EXPECT_EQ(Tag(profile, "MOBO_MODEL"), "B-550\0"s);
  EXPECT_EQ(Tag(profile, "MOBO_VENDOR"), "B\u00f6rd Works\0"s);
}

TEST(CollectMachineProfile, TakesOnlyTextsFromTheFirmware) {
  const Firmware firmware({{L"SystemProductName", RegistryNumber(550)}});
  const MachineProfile profile = CollectMachineProfile();
  EXPECT_EQ(Tag(profile, "MOBO_MODEL"), std::nullopt);
  EXPECT_EQ(Tag(profile, "BIOS_VERSION"), "Firm Ware Inc. F16e 03/24/2023");
}

TEST(CollectMachineProfile, ClosesItsHandlesAndLeavesCom) {
  CollectMachineProfile();
  DWORD before = 0;
  DWORD after = 0;
  GetProcessHandleCount(GetCurrentProcess(), &before);
  for (int i = 0; i < 3; ++i) CollectMachineProfile();
  GetProcessHandleCount(GetCurrentProcess(), &after);
  EXPECT_EQ(after, before);

  // Were COM still started, an apartment of the other kind would be refused.
  EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
  CoUninitialize();
}

TEST(CollectMachineProfile, ThrowsInAnApartmentOfTheOtherKind) {
  ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
  try {
    CollectMachineProfile();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const platform::WindowsFailure& failure) {
    EXPECT_EQ(failure.code(), RPC_E_CHANGED_MODE);
    EXPECT_NE(std::string(failure.file()).find("machine_profile_wmi.cpp"), std::string::npos);
  }
  CoUninitialize();
  // The apartment was left as often as it was entered.
  EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
  CoUninitialize();
}

TEST(QueryGpuScheduling, IsOnForModeTwo) {
  const TemporaryRegistryValue mode(kGraphicsKey, L"HwSchMode", RegistryNumber(2));
  EXPECT_EQ(QueryGpuScheduling(), "On");
  EXPECT_EQ(Tag(CollectMachineProfile(), "GPU_SCHEDULING"), "On");
}

TEST(QueryGpuScheduling, IsOffForOtherModes) {
  for (const std::uint32_t number : {0U, 1U, 3U, 0x20000U}) {
    const TemporaryRegistryValue mode(kGraphicsKey, L"HwSchMode", RegistryNumber(number));
    EXPECT_EQ(QueryGpuScheduling(), "Off") << number;
  }
}

TEST(QueryGpuScheduling, IsOffForAValueThatIsTooLong) {
  const TemporaryRegistryValue mode(kGraphicsKey, L"HwSchMode", RegistryNumber64(2));
  EXPECT_EQ(QueryGpuScheduling(), "Off");
}

TEST(QueryGpuScheduling, IsOffWithoutTheValue) {
  const TemporaryRegistryValue mode(kGraphicsKey, L"HwSchMode", std::nullopt);
  EXPECT_EQ(QueryGpuScheduling(), "Off");
}

TEST(QueryGpuScheduling, IsOffWithoutTheKey) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kGraphicsKey.c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS) {
    RegCloseKey(key);
    GTEST_SKIP() << "this system has the key, and it is not the test's to remove";
  }
  EXPECT_EQ(QueryGpuScheduling(), "Off");
}

}  // namespace
}  // namespace capture_service
