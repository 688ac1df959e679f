// How the WMI part of the profile starts COM: the process's security and the locator.

// clang-format off
#include <windows.h>
#include <comdef.h>
#include <wbemidl.h>
// clang-format on

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "diagnostics/machine_profile_wmi.h"
#include "tests/doubles/fake_wmi.h"
#include "tests/windows/replaced_import.h"

REPLACEABLE_IMPORT(L"ole32.dll", CoInitializeSecurity)
REPLACEABLE_IMPORT(L"ole32.dll", CoCreateInstance)

namespace capture_service {
namespace {

using fake_wmi::FakeWmi;
using windows_test::ReplacedImport;

const wchar_t* const kSystems = L"SELECT * FROM Win32_OperatingSystem";
const MachineProfile kProfile = {{"OS_ARCH", "64-bit"}, {"OS_VERSION", "10.0.1"}};

fake_wmi::Script OneSystem() {
  fake_wmi::Script script;
  script.queries[kSystems].objects = {{{L"OSArchitecture", L"64-bit"}, {L"Version", L"10.0.1"}}};
  return script;
}

// The calls of CoInitializeSecurity, each as its arguments, and what they get.
std::vector<std::string> security_calls;
HRESULT security_result;

std::string Show(const void* pointer) { return pointer != nullptr ? "set" : "null"; }

HRESULT WINAPI NoteSecurity(PSECURITY_DESCRIPTOR descriptor, LONG count,
                            SOLE_AUTHENTICATION_SERVICE* services, void* reserved,
                            DWORD authentication, DWORD impersonation, void* information,
                            DWORD capabilities, void* reserved_too) {
  security_calls.push_back(Show(descriptor) + ", " + std::to_string(count) + ", " + Show(services) +
                           ", " + Show(reserved) + ", " + std::to_string(authentication) + ", " +
                           std::to_string(impersonation) + ", " + Show(information) + ", " +
                           std::to_string(capabilities) + ", " + Show(reserved_too));
  return security_result;
}

struct CreateCall {
  CLSID object;
  LPUNKNOWN outer;
  DWORD context;
  IID interface_id;
};
std::vector<CreateCall> create_calls;
const auto system_create = __imp_CoCreateInstance;

HRESULT WINAPI NoteCreate(REFCLSID object, LPUNKNOWN outer, DWORD context, REFIID interface_id,
                          void** made) {
  create_calls.push_back({object, outer, context, interface_id});
  return system_create(object, outer, context, interface_id, made);
}

// The thread is in COM's multithreaded apartment, in which the fake WMI is registered.
class WmiComTest : public testing::Test {
 protected:
  WmiComTest() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    security_calls.clear();
    security_result = S_OK;
    create_calls.clear();
  }
  ~WmiComTest() override { CoUninitialize(); }
};

TEST_F(WmiComTest, SetsTheProcesssSecurityOnceWithTheDefaults) {
  const FakeWmi wmi(OneSystem());
  const ReplacedImport security(__imp_CoInitializeSecurity, NoteSecurity);
  EXPECT_EQ(CollectWmiProfile(), kProfile);
  EXPECT_EQ(security_calls, std::vector<std::string>{"null, -1, null, null, 0, 3, null, 0, null"});
}

TEST_F(WmiComTest, GivesNothingWhenTheProcesssSecurityIsRefused) {
  const FakeWmi wmi(OneSystem());
  const ReplacedImport security(__imp_CoInitializeSecurity, NoteSecurity);
  security_result = RPC_E_TOO_LATE;
  EXPECT_EQ(CollectWmiProfile(), MachineProfile{});
  EXPECT_EQ(security_calls.size(), 1U);
  EXPECT_EQ(wmi.calls(), std::vector<std::string>{});
}

TEST_F(WmiComTest, AsksForTheLocatorInItsOwnProcess) {
  const FakeWmi wmi(OneSystem());
  const ReplacedImport security(__imp_CoInitializeSecurity, NoteSecurity);
  const ReplacedImport create(__imp_CoCreateInstance, NoteCreate);
  EXPECT_EQ(CollectWmiProfile(), kProfile);
  ASSERT_EQ(create_calls.size(), 1U);
  EXPECT_TRUE(create_calls[0].object == CLSID_WbemLocator);
  EXPECT_EQ(create_calls[0].outer, nullptr);
  EXPECT_EQ(create_calls[0].context, DWORD{CLSCTX_INPROC_SERVER});
  EXPECT_TRUE(create_calls[0].interface_id == IID_IWbemLocator);
}

}  // namespace
}  // namespace capture_service
