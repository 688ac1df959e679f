// The WMI part of the profile against a WMI of the test's own.
#include "diagnostics/machine_profile_wmi.h"

// clang-format off
#include <windows.h>
#include <comdef.h>
#include <wbemidl.h>
// clang-format on

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/windows_failure.h"
#include "tests/doubles/allocation_spy.h"
#include "tests/doubles/fake_wmi.h"
#include "tests/windows/test_registry.h"

namespace capture_service {
namespace {

using fake_wmi::AllocationSpy;
using fake_wmi::FakeWmi;
using fake_wmi::Object;
using fake_wmi::Script;

constexpr const wchar_t* kSystems = L"SELECT * FROM Win32_OperatingSystem";
constexpr const wchar_t* kProcessors = L"SELECT * FROM Win32_Processor";
constexpr const wchar_t* kControllers = L"SELECT * FROM Win32_VideoController";

Script Machine() {
  Script script;
  script.queries[kSystems].objects = {{{L"OSArchitecture", L"64-bit"}, {L"Version", L"10.0.1"}}};
  script.queries[kProcessors].objects = {{{L"Name", L"Quick 9"}, {L"Manufacturer", L"Maker"}}};
  script.queries[kControllers].objects = {{{L"Name", L"Inner"},
                                           {L"AdapterCompatibility", L"A"},
                                           {L"DriverVersion", L"31.0"},
                                           {L"AdapterRAM", 1024},
                                           {L"PNPDeviceID", L"TEST\\NONE\\1"}}};
  return script;
}

MachineProfile ProfileOfMachine() {
  return {{"CPU_NAME", "Quick 9"}, {"CPU_VENDOR", "Maker"}, {"GPU_DRIVER_VERSION", "31.0"},
          {"GPU_NAME", "Inner"},   {"GPU_RAM", "1024"},     {"GPU_VENDOR", "A"},
          {"OS_ARCH", "64-bit"},   {"OS_VERSION", "10.0.1"}};
}

// The thread is in COM's multithreaded apartment, in which the fake WMI is registered. Each test
// ends with a check that the collection has given back all that it took.
class CollectWmiProfileTest : public testing::Test {
 protected:
  CollectWmiProfileTest() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
  ~CollectWmiProfileTest() override { CoUninitialize(); }

  void Start(Script script) {
    wmi_ = std::make_unique<FakeWmi>(std::move(script));
    GetProcessHandleCount(GetCurrentProcess(), &handles_);
    spy_ = std::make_unique<AllocationSpy>();
  }

  MachineProfile Collect(Script script) {
    Start(std::move(script));
    return CollectWmiProfile();
  }

  void TearDown() override {
    ASSERT_TRUE(spy_) << "the test did not start";
    EXPECT_EQ(spy_->live(), 0) << "BSTRs or variants were not freed";
    // COM keeps a spy as long as there is something that it has spied.
    if (spy_->live() != 0) static_cast<void>(spy_.release());
    spy_ = nullptr;
    EXPECT_EQ(wmi_->live_objects(), 0) << "COM objects were not released";
    DWORD handles = 0;
    GetProcessHandleCount(GetCurrentProcess(), &handles);
    EXPECT_EQ(handles, handles_) << "handles were not closed";
    wmi_ = nullptr;
    // One more end of COM than beginnings would have ended the test's own apartment; one less would
    // keep it.
    APTTYPE type{};
    APTTYPEQUALIFIER qualifier{};
    EXPECT_EQ(CoGetApartmentType(&type, &qualifier), S_OK);
    CoUninitialize();
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    CoUninitialize();
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  }

  std::unique_ptr<FakeWmi> wmi_;
  std::unique_ptr<AllocationSpy> spy_;

 private:
  DWORD handles_ = 0;
};

TEST_F(CollectWmiProfileTest, AsksForTheThreeClassesInOrder) {
  EXPECT_EQ(Collect(Machine()), ProfileOfMachine());

  std::vector<std::string> calls;
  std::copy_if(wmi_->calls().begin(), wmi_->calls().end(), std::back_inserter(calls),
               [](const std::string& call) { return !call.starts_with("Get("); });
  EXPECT_EQ(calls, (std::vector<std::string>{
                       "CreateInstance(null)",
                       "ConnectServer(ROOT\\CIMV2, null, null, null, 0, null, null)",
                       "SetBlanket(10, 0, null, 3, 3, null, 0)",
                       "ExecQuery(WQL, SELECT * FROM Win32_OperatingSystem, 48, null)",
                       "Next(-1, 1)",
                       "Next(-1, 1)",
                       "ExecQuery(WQL, SELECT * FROM Win32_Processor, 48, null)",
                       "Next(-1, 1)",
                       "Next(-1, 1)",
                       "ExecQuery(WQL, SELECT * FROM Win32_VideoController, 48, null)",
                       "Next(-1, 1)",
                       "Next(-1, 1)",
                   }));
}

TEST_F(CollectWmiProfileTest, ReadsEveryPropertyWithoutFlags) {
  Collect(Machine());

  std::vector<std::string> calls;
  std::copy_if(wmi_->calls().begin(), wmi_->calls().end(), std::back_inserter(calls),
               [](const std::string& call) { return call.starts_with("Get("); });
  // The order within an object is of no account.
  std::sort(calls.begin(), calls.end());
  EXPECT_EQ(calls,
            (std::vector<std::string>{"Get(AdapterCompatibility, 0)", "Get(AdapterRAM, 0)",
                                      "Get(DriverVersion, 0)", "Get(Manufacturer, 0)",
                                      "Get(Name, 0)", "Get(Name, 0)", "Get(OSArchitecture, 0)",
                                      "Get(PNPDeviceID, 0)", "Get(Version, 0)"}));
}

TEST_F(CollectWmiProfileTest, ReadsEveryObject) {
  Script script = Machine();
  script.queries[kSystems].objects.push_back({{L"OSArchitecture", L"32-bit"}});
  script.queries[kProcessors].objects.push_back(script.queries[kProcessors].objects[0]);
  script.queries[kControllers].objects.push_back({{L"Name", L"\u00c4u\u00dfer"},
                                                  {L"AdapterCompatibility", L"B"},
                                                  {L"DriverVersion", L"32.0"},
                                                  {L"AdapterRAM", -1048576}});
  EXPECT_EQ(Collect(std::move(script)), (MachineProfile{{"CPU_NAME", "Quick 9/Quick 9"},
                                                        {"CPU_VENDOR", "Maker/Maker"},
                                                        {"GPU_DRIVER_VERSION", "31.0/32.0"},
                                                        {"GPU_NAME", "Inner/\u00c4u\u00dfer"},
                                                        {"GPU_RAM", "1024/4293918720"},
                                                        {"GPU_VENDOR", "A/B"},
                                                        {"OS_ARCH", "32-bit"},
                                                        {"OS_VERSION", ""}}));
}

TEST_F(CollectWmiProfileTest, WithoutObjectsHasEmptyTagsButNoneOfTheSystem) {
  Script script;
  script.queries = {{kSystems, {}}, {kProcessors, {}}, {kControllers, {}}};
  EXPECT_EQ(Collect(std::move(script)), (MachineProfile{{"CPU_NAME", ""},
                                                        {"CPU_VENDOR", ""},
                                                        {"GPU_DRIVER_VERSION", ""},
                                                        {"GPU_NAME", ""},
                                                        {"GPU_RAM", ""},
                                                        {"GPU_VENDOR", ""}}));
}

TEST_F(CollectWmiProfileTest, TakesOnlyTextsAndSmallNumbers) {
  Script script = Machine();
  script.queries[kSystems].objects = {{{L"OSArchitecture", 64}, {L"Version", std::monostate()}}};
  script.queries[kProcessors].objects = {{{L"Name", 9.0}}};
  script.queries[kControllers].objects = {{{L"AdapterRAM", L"1024"}, {L"PNPDeviceID", 1}},
                                          {{L"AdapterRAM", 1024.0}}};
  EXPECT_EQ(Collect(std::move(script)), (MachineProfile{{"CPU_NAME", ""},
                                                        {"CPU_VENDOR", ""},
                                                        {"GPU_DRIVER_VERSION", "/"},
                                                        {"GPU_NAME", "/"},
                                                        {"GPU_RAM", "/"},
                                                        {"GPU_VENDOR", "/"},
                                                        {"OS_ARCH", ""},
                                                        {"OS_VERSION", ""}}));
}

TEST_F(CollectWmiProfileTest, AQueryThatFailsLeavesItsTagsOut) {
  Script script = Machine();
  script.queries[kProcessors].result = static_cast<HRESULT>(WBEM_E_FAILED);
  MachineProfile expected = ProfileOfMachine();
  expected.erase("CPU_NAME");
  expected.erase("CPU_VENDOR");
  EXPECT_EQ(Collect(std::move(script)), expected);
}

TEST_F(CollectWmiProfileTest, AnEnumerationThatFailsKeepsWhatItGave) {
  Script script = Machine();
  for (auto& [query, answer] : script.queries) {
    answer.end = static_cast<HRESULT>(WBEM_E_TRANSPORT_FAILURE);
  }
  EXPECT_EQ(Collect(std::move(script)), ProfileOfMachine());
}

TEST_F(CollectWmiProfileTest, IsEmptyWhenTheServerRefuses) {
  Script script = Machine();
  script.connect_result = static_cast<HRESULT>(WBEM_E_ACCESS_DENIED);
  EXPECT_EQ(Collect(std::move(script)), MachineProfile{});
  EXPECT_EQ(wmi_->calls().size(), 2U);
}

TEST_F(CollectWmiProfileTest, IsEmptyWhenTheBlanketIsRefused) {
  Script script = Machine();
  script.blanket_result = E_INVALIDARG;
  EXPECT_EQ(Collect(std::move(script)), MachineProfile{});
  EXPECT_EQ(wmi_->calls().size(), 3U);
}

TEST_F(CollectWmiProfileTest, ThrowsWhenThereIsNoLocator) {
  Script script;
  script.create_result = CO_E_SERVER_EXEC_FAILURE;
  try {
    Collect(std::move(script));
    ADD_FAILURE() << "nothing was thrown";
  } catch (const platform::WindowsFailure& failure) {
    EXPECT_EQ(failure.code(), CO_E_SERVER_EXEC_FAILURE);
  }
}

// The texts are, in the order of their making: the namespace, then a language and a query for each
// class. Each collection that runs out of memory has to give back what it took.
TEST_F(CollectWmiProfileTest, ThrowsWhenThereIsNoMemoryForAText) {
  for (int texts = 0; texts < 3; ++texts) {
    Script script;  // with queries that fail, so that the texts are all that is allocated
    Start(std::move(script));
    spy_->FailAfter(texts);
    try {
      CollectWmiProfile();
      ADD_FAILURE() << "nothing was thrown after " << texts << " texts";
    } catch (const _com_error& error) {
      EXPECT_EQ(error.Error(), E_OUTOFMEMORY);
    }
    EXPECT_EQ(spy_->allocated(), texts);
    if (texts < 2) TearDown();
  }
}

class AdapterMemoryTest : public CollectWmiProfileTest {
 protected:
  // GPU_RAM of an adapter whose AdapterRAM says 4293918720.
  std::string Collected() {
    Script script = Machine();
    script.queries[kControllers].objects = {
        {{L"AdapterRAM", -1048576}, {L"PNPDeviceID", L"CAPTURE_TEST\\DEVICE\\1"}}};
    return Collect(std::move(script)).at("GPU_RAM");
  }

  static constexpr const wchar_t* kDeviceKey =
      L"SYSTEM\\CurrentControlSet\\Enum\\CAPTURE_TEST\\DEVICE\\1";
  static constexpr const wchar_t* kClassKey = L"SYSTEM\\CurrentControlSet\\Control\\Class";
  static constexpr const wchar_t* kDriverKey =
      L"SYSTEM\\CurrentControlSet\\Control\\Class\\{capture test}\\0000";
  static constexpr const wchar_t* kMemory = L"HardwareInformation.qwMemorySize";
};

TEST_F(AdapterMemoryTest, IsTheDriversFigureInTheRegistry) {
  const TemporaryRegistryValue driver(kDeviceKey, L"Driver", RegistryText(L"{capture test}\\0000"));
  const TemporaryRegistryValue memory(kDriverKey, kMemory, RegistryNumber64(8589934592));
  EXPECT_EQ(Collected(), "8589934592");
}

TEST_F(AdapterMemoryTest, IsTheAdaptersFigureWhenTheDriversIsZero) {
  const TemporaryRegistryValue driver(kDeviceKey, L"Driver", RegistryText(L"{capture test}\\0000"));
  const TemporaryRegistryValue memory(kDriverKey, kMemory, RegistryNumber64(0));
  EXPECT_EQ(Collected(), "4293918720");
}

TEST_F(AdapterMemoryTest, IsTheAdaptersFigureWhenTheDriverHasNone) {
  const TemporaryRegistryValue driver(kDeviceKey, L"Driver", RegistryText(L"{capture test}\\0000"));
  const TemporaryRegistryValue memory(kDriverKey, kMemory, std::nullopt);
  EXPECT_EQ(Collected(), "4293918720");
}

TEST_F(AdapterMemoryTest, IsTheAdaptersFigureWhenTheDriversKeyIsMissing) {
  const TemporaryRegistryValue driver(kDeviceKey, L"Driver", RegistryText(L"{capture test}\\0000"));
  EXPECT_EQ(Collected(), "4293918720");
}

TEST_F(AdapterMemoryTest, IsTheAdaptersFigureWhenTheDeviceNamesNoDriver) {
  // What an empty name would lead to.
  const TemporaryRegistryValue memory(kClassKey, kMemory, RegistryNumber64(8589934592));
  const TemporaryRegistryValue driver(kDeviceKey, L"Driver", std::nullopt);
  EXPECT_EQ(Collected(), "4293918720");
}

// As for the firmware's texts, a text that is its terminator alone is there.
TEST_F(AdapterMemoryTest, IsThatOfTheKeyOfAllDriversWhenTheDriversNameIsItsTerminatorAlone) {
  const TemporaryRegistryValue driver(kDeviceKey, L"Driver", RegistryText(L""));
  EXPECT_EQ(Collected(), "4293918720");
  TearDown();
  const TemporaryRegistryValue memory(kClassKey, kMemory, RegistryNumber64(8589934592));
  EXPECT_EQ(Collected(), "8589934592");
}

TEST_F(AdapterMemoryTest, IsTheAdaptersFigureWhenTheDeviceIsUnknown) {
  EXPECT_EQ(Collected(), "4293918720");
}

}  // namespace
}  // namespace capture_service
