#include "diagnostics/machine_profile_wmi.h"

// clang-format off
#include <windows.h>
#include <comdef.h>
#include <wbemidl.h>
// clang-format on

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "diagnostics/machine_profile_rules.h"
#include "platform/registry_key.h"
#include "platform/text_encoding.h"
#include "platform/windows_failure.h"

namespace capture_service {
namespace {

struct ComReleaser {
  void operator()(IUnknown* object) const noexcept { object->Release(); }
};
template <typename Interface>
using OwnedCom = std::unique_ptr<Interface, ComReleaser>;

struct ComTextFreer {
  void operator()(wchar_t* text) const noexcept { SysFreeString(text); }
};
using OwnedComText = std::unique_ptr<wchar_t, ComTextFreer>;

// The calling thread's place in the multithreaded apartment.
class ComApartment {
 public:
  ComApartment() { platform::ThrowIfFailed(CoInitializeEx(nullptr, COINIT_MULTITHREADED)); }
  ~ComApartment() { CoUninitialize(); }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;
};

// The value of one property; empty when the object has no such property.
class Property {
 public:
  Property(IWbemClassObject& object, const wchar_t* name) {
    VariantInit(&value_);
    if (FAILED(object.Get(name, 0, &value_, nullptr, nullptr))) VariantClear(&value_);
  }
  ~Property() { VariantClear(&value_); }
  Property(const Property&) = delete;
  Property& operator=(const Property&) = delete;

  [[nodiscard]] std::optional<std::wstring> WideText() const {
    if (V_VT(&value_) != VT_BSTR) return std::nullopt;
    return std::wstring(V_BSTR(&value_), SysStringLen(V_BSTR(&value_)));
  }

  // Empty for a value of another type.
  [[nodiscard]] std::string Text() const {
    return platform::Utf8FromWide(WideText().value_or(L""));
  }

  [[nodiscard]] std::optional<std::int32_t> Number() const {
    if (V_VT(&value_) != VT_I4) return std::nullopt;
    return V_I4(&value_);
  }

 private:
  VARIANT value_;
};

OwnedComText ComText(const wchar_t* text) {
  OwnedComText copy(SysAllocString(text));
  if (!copy) throw _com_error(E_OUTOFMEMORY);
  return copy;
}

bool SetProcessSecurity() {
  return SUCCEEDED(CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                                        RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr));
}

OwnedCom<IWbemLocator> CreateLocator() {
  void* locator = nullptr;
  platform::ThrowIfFailed(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER,
                                           IID_IWbemLocator, &locator));
  return OwnedCom<IWbemLocator>(static_cast<IWbemLocator*>(locator));
}

// Null when WMI can't be reached as the calling user.
OwnedCom<IWbemServices> Connect(IWbemLocator& locator) {
  const OwnedComText space = ComText(L"ROOT\\CIMV2");
  IWbemServices* connected = nullptr;
  if (FAILED(locator.ConnectServer(space.get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr,
                                   &connected))) {
    return nullptr;
  }
  OwnedCom<IWbemServices> services(connected);
  if (FAILED(CoSetProxyBlanket(services.get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                               RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr,
                               EOAC_NONE))) {
    return nullptr;
  }
  return services;
}

// What `read` makes of each object that the query finds; none when the query fails.
template <typename Facts>
std::optional<std::vector<Facts>> Query(IWbemServices& services, const wchar_t* text,
                                        Facts (*read)(IWbemClassObject&)) {
  const OwnedComText language = ComText(L"WQL");
  const OwnedComText query = ComText(text);
  IEnumWbemClassObject* found = nullptr;
  if (FAILED(services.ExecQuery(language.get(), query.get(),
                                WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
                                &found))) {
    return std::nullopt;
  }
  const OwnedCom<IEnumWbemClassObject> objects(found);
  std::vector<Facts> facts;
  for (;;) {
    IWbemClassObject* next = nullptr;
    ULONG count = 0;
    const HRESULT result = objects->Next(static_cast<LONG>(WBEM_INFINITE), 1, &next, &count);
    const OwnedCom<IWbemClassObject> object(next);
    if (FAILED(result) || count == 0 || !object) return facts;
    facts.push_back(read(*object));
  }
}

OperatingSystemFacts ReadOperatingSystem(IWbemClassObject& object) {
  return {Property(object, L"OSArchitecture").Text(), Property(object, L"Version").Text()};
}

ProcessorFacts ReadProcessor(IWbemClassObject& object) {
  return {Property(object, L"Name").Text(), Property(object, L"Manufacturer").Text()};
}

// The memory size that the adapter's driver keeps in the registry. AdapterRAM, of 32 bits, can't
// tell 4 GiB and more.
std::optional<std::uint64_t> ReadDriverMemory(const std::wstring& device_id) {
  const platform::OwnedRegistryKey device =
      platform::OpenMachineKey(L"SYSTEM\\CurrentControlSet\\Enum\\" + device_id);
  if (!device) return std::nullopt;
  const std::optional<std::wstring> driver_id = platform::ReadRegistryText(device.get(), L"Driver");
  if (!driver_id.has_value()) return std::nullopt;
  const platform::OwnedRegistryKey driver =
      platform::OpenMachineKey(L"SYSTEM\\CurrentControlSet\\Control\\Class\\" + *driver_id);
  if (!driver) return std::nullopt;
  return platform::ReadRegistryNumber<std::uint64_t>(driver.get(),
                                                     L"HardwareInformation.qwMemorySize");
}

VideoControllerFacts ReadVideoController(IWbemClassObject& object) {
  std::optional<std::uint64_t> driver_memory;
  if (const auto device_id = Property(object, L"PNPDeviceID").WideText()) {
    driver_memory = ReadDriverMemory(*device_id);
  }
  return {Property(object, L"Name").Text(), Property(object, L"AdapterCompatibility").Text(),
          Property(object, L"DriverVersion").Text(),
          AdapterMemoryText(Property(object, L"AdapterRAM").Number(), driver_memory)};
}

}  // namespace

MachineProfile CollectWmiProfile() {
  const ComApartment apartment;
  if (!SetProcessSecurity()) return {};
  const OwnedCom<IWbemLocator> locator = CreateLocator();
  const OwnedCom<IWbemServices> services = Connect(*locator);
  if (!services) return {};

  MachineProfile profile;
  if (const auto systems =
          Query(*services, L"SELECT * FROM Win32_OperatingSystem", ReadOperatingSystem)) {
    profile.merge(OperatingSystemTags(*systems));
  }
  if (const auto processors = Query(*services, L"SELECT * FROM Win32_Processor", ReadProcessor)) {
    profile.merge(ProcessorTags(*processors));
  }
  if (const auto controllers =
          Query(*services, L"SELECT * FROM Win32_VideoController", ReadVideoController)) {
    profile.merge(VideoControllerTags(*controllers));
  }
  return profile;
}

}  // namespace capture_service
