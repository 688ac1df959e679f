#include <initguid.h>
// The identifiers that initguid.h defines come with the headers below it.
#include <windows.h>

#include <mmdeviceapi.h>
#include <propidl.h>

#include <functiondiscoverykeys_devpkey.h>

#include "open_gsdk/inputs/audio_endpoints.h"
#include "platform/text_encoding.h"

namespace open_gsdk {
namespace {

struct PropertyValue : PROPVARIANT {
  PropertyValue() : PROPVARIANT{} {}
  ~PropertyValue() { PropVariantClear(this); }
  PropertyValue(const PropertyValue&) = delete;
  PropertyValue& operator=(const PropertyValue&) = delete;
};

}  // namespace

ComObject<IMMDeviceEnumerator> OpenDeviceEnumerator() {
  void* created = nullptr;
  if (FAILED(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL,
                              __uuidof(IMMDeviceEnumerator), &created))) {
    return nullptr;
  }
  return ComObject<IMMDeviceEnumerator>(static_cast<IMMDeviceEnumerator*>(created));
}

ComObject<IMMDevice> FindEndpoint(IMMDeviceEnumerator& enumerator, AudioDirection direction,
                                  const std::string& id) {
  IMMDevice* endpoint = nullptr;
  const HRESULT result =
      id == kDefaultDevice
          ? enumerator.GetDefaultAudioEndpoint(FlowOf(direction), eConsole, &endpoint)
          : enumerator.GetDevice(platform::WideFromUtf8(id).c_str(), &endpoint);
  return ComObject<IMMDevice>(SUCCEEDED(result) ? endpoint : nullptr);
}

std::string EndpointId(IMMDevice& endpoint) {
  LPWSTR text = nullptr;
  if (FAILED(endpoint.GetId(&text))) return {};
  const std::unique_ptr<wchar_t, TaskMemoryFreer> owner(text);
  return platform::Utf8FromWide(text);
}

std::string EndpointName(IMMDevice& endpoint) {
  IPropertyStore* raw = nullptr;
  if (FAILED(endpoint.OpenPropertyStore(STGM_READ, &raw))) return {};
  const ComObject<IPropertyStore> store(raw);
  PropertyValue value;
  if (FAILED(store->GetValue(PKEY_Device_FriendlyName, &value)) || value.vt != VT_LPWSTR) return {};
  return platform::Utf8FromWide(value.pwszVal);
}

}  // namespace open_gsdk
