#include "open_gsdk/inputs/capture_system.h"

#include <dxgi1_6.h>
#include <hstring.h>
#include <wrl/client.h>

#include <cstring>
#include <string>
#include <vector>

#include "open_gsdk/inputs/capture_interfaces.h"

namespace open_gsdk {
namespace {

using Microsoft::WRL::ComPtr;

// The function `name` of a library of the system, which stays loaded; null when there is none.
template <typename Function>
Function* SystemFunction(const wchar_t* library, const char* name) {
  const HMODULE module = LoadLibraryExW(library, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  const FARPROC address = module != nullptr ? GetProcAddress(module, name) : nullptr;
  Function* function = nullptr;
  static_assert(sizeof(function) == sizeof(address));
  std::memcpy(&function, &address, sizeof(function));
  return function;
}

HRESULT Activate(const wchar_t* class_name, REFIID id, void** factory) {
  const auto keep_apartment =
      SystemFunction<HRESULT WINAPI(void**)>(L"combase.dll", "CoIncrementMTAUsage");
  const auto refer = SystemFunction<HRESULT WINAPI(PCWSTR, UINT32, HSTRING_HEADER*, HSTRING*)>(
      L"combase.dll", "WindowsCreateStringReference");
  const auto get_factory = SystemFunction<HRESULT WINAPI(HSTRING, REFIID, void**)>(
      L"combase.dll", "RoGetActivationFactory");
  if (keep_apartment == nullptr || refer == nullptr || get_factory == nullptr) {
    return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
  }
  // Threads that never chose an apartment are in the multithreaded one from here on.
  static void* const apartment = [&] {
    void* cookie = nullptr;
    keep_apartment(&cookie);
    return cookie;
  }();
  static_cast<void>(apartment);

  const std::wstring name = std::wstring(L"Windows.Graphics.Capture.") + class_name;
  HSTRING_HEADER header{};
  HSTRING text = nullptr;
  const HRESULT referred = refer(name.c_str(), static_cast<UINT32>(name.size()), &header, &text);
  return FAILED(referred) ? referred : get_factory(text, id, factory);
}

// Calls `found` with the output that drives the monitor and its adapter.
template <typename Found>
HRESULT FindOutput(HMONITOR monitor, const Found& found) {
  const auto create_factory =
      SystemFunction<HRESULT WINAPI(REFIID, void**)>(L"dxgi.dll", "CreateDXGIFactory1");
  if (create_factory == nullptr) return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
  ComPtr<IDXGIFactory1> factory;
  const HRESULT created = create_factory(IID_PPV_ARGS(&factory));
  if (FAILED(created)) return created;
  ComPtr<IDXGIAdapter1> adapter;
  for (UINT a = 0; SUCCEEDED(factory->EnumAdapters1(a, &adapter)); ++a) {
    ComPtr<IDXGIOutput> output;
    for (UINT o = 0; SUCCEEDED(adapter->EnumOutputs(o, &output)); ++o) {
      DXGI_OUTPUT_DESC description{};
      if (SUCCEEDED(output->GetDesc(&description)) && description.Monitor == monitor) {
        return found(adapter.Get(), output.Get());
      }
    }
  }
  return DXGI_ERROR_NOT_FOUND;
}

HRESULT CreateDevice(HMONITOR monitor, ID3D11Device** device) {
  const auto create =
      SystemFunction<decltype(D3D11CreateDevice)>(L"d3d11.dll", "D3D11CreateDevice");
  if (create == nullptr) return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
  const auto create_on = [&](IDXGIAdapter* adapter) {
    return create(adapter, adapter != nullptr ? D3D_DRIVER_TYPE_UNKNOWN : D3D_DRIVER_TYPE_HARDWARE,
                  nullptr, D3D11_CREATE_DEVICE_BGRA_SUPPORT, nullptr, 0, D3D11_SDK_VERSION, device,
                  nullptr, nullptr);
  };
  const HRESULT created = FindOutput(
      monitor, [&](IDXGIAdapter* adapter, IDXGIOutput* /*output*/) { return create_on(adapter); });
  return SUCCEEDED(created) ? created : create_on(nullptr);
}

HRESULT WrapDevice(ID3D11Device* device, IInspectable** wrapped) {
  const auto wrap = SystemFunction<HRESULT WINAPI(IDXGIDevice*, IInspectable**)>(
      L"d3d11.dll", "CreateDirect3D11DeviceFromDXGIDevice");
  if (wrap == nullptr) return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
  ComPtr<IDXGIDevice> dxgi;
  HRESULT result = device->QueryInterface(IID_PPV_ARGS(&dxgi));
  ComPtr<IInspectable> inspectable;
  if (SUCCEEDED(result)) result = wrap(dxgi.Get(), &inspectable);
  if (FAILED(result)) return result;
  return inspectable->QueryInterface(kCaptureDeviceId, reinterpret_cast<void**>(wrapped));
}

// What the system calls the SDR white level of the monitor, in thousandths of 80 nits; none when it
// does not tell.
ULONG SdrWhiteLevel(const DXGI_OUTPUT_DESC& output) {
  UINT32 paths = 0;
  UINT32 modes = 0;
  if (GetDisplayConfigBufferSizes(QDC_ONLY_ACTIVE_PATHS, &paths, &modes) != ERROR_SUCCESS) return 0;
  std::vector<DISPLAYCONFIG_PATH_INFO> path(paths);
  std::vector<DISPLAYCONFIG_MODE_INFO> mode(modes);
  if (QueryDisplayConfig(QDC_ONLY_ACTIVE_PATHS, &paths, path.data(), &modes, mode.data(),
                         nullptr) != ERROR_SUCCESS) {
    return 0;
  }
  for (UINT32 i = 0; i < paths; ++i) {
    DISPLAYCONFIG_SOURCE_DEVICE_NAME name{};
    name.header = {DISPLAYCONFIG_DEVICE_INFO_GET_SOURCE_NAME, sizeof(name),
                   path[i].sourceInfo.adapterId, path[i].sourceInfo.id};
    if (DisplayConfigGetDeviceInfo(&name.header) != ERROR_SUCCESS ||
        std::wcscmp(static_cast<const wchar_t*>(name.viewGdiDeviceName),
                    static_cast<const wchar_t*>(output.DeviceName)) != 0) {
      continue;
    }
    DISPLAYCONFIG_SDR_WHITE_LEVEL level{};
    level.header = {DISPLAYCONFIG_DEVICE_INFO_GET_SDR_WHITE_LEVEL, sizeof(level),
                    path[i].targetInfo.adapterId, path[i].targetInfo.id};
    if (DisplayConfigGetDeviceInfo(&level.header) == ERROR_SUCCESS) return level.SDRWhiteLevel;
  }
  return 0;
}

MonitorLight QueryLight(HMONITOR monitor) {
  constexpr float kUnitNits = 80.0F;
  constexpr ULONG kUnit = 1000;
  MonitorLight light;
  FindOutput(monitor, [&](IDXGIAdapter* /*adapter*/, IDXGIOutput* output) {
    ComPtr<IDXGIOutput6> newest;
    DXGI_OUTPUT_DESC1 description{};
    DXGI_OUTPUT_DESC plain{};
    if (FAILED(output->QueryInterface(IID_PPV_ARGS(&newest))) ||
        FAILED(newest->GetDesc1(&description)) || FAILED(output->GetDesc(&plain))) {
      return S_FALSE;
    }
    light.hdr = description.ColorSpace == DXGI_COLOR_SPACE_RGB_FULL_G2084_NONE_P2020;
    if (const ULONG level = light.hdr ? SdrWhiteLevel(plain) : 0; level != 0) {
      light.white_nits = kUnitNits * static_cast<float>(level) / kUnit;
    }
    return S_OK;
  });
  return light;
}

}  // namespace

CaptureSystem WindowsCaptureSystem() {
  return {.activate = Activate,
          .create_device = CreateDevice,
          .wrap_device = WrapDevice,
          .query_light = QueryLight};
}

}  // namespace open_gsdk
