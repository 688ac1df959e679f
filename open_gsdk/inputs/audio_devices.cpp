#include <initguid.h>
// The identifiers that initguid.h defines come with the headers below it.
#include <windows.h>

#include <mmdeviceapi.h>
#include <propidl.h>

#include <functiondiscoverykeys_devpkey.h>

#include <memory>

#include "open_gsdk/inputs/audio_devices.h"
#include "platform/text_encoding.h"

namespace open_gsdk {
namespace {

// COM for the calling thread. A thread that has it in another mode already goes on with that.
class ComApartment {
 public:
  ComApartment() : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
  ~ComApartment() {
    if (SUCCEEDED(result_)) CoUninitialize();
  }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

 private:
  HRESULT result_;
};

struct ComReleaser {
  void operator()(IUnknown* object) const { object->Release(); }
};
template <typename Interface>
using ComObject = std::unique_ptr<Interface, ComReleaser>;

struct TaskMemoryFreer {
  void operator()(void* memory) const { CoTaskMemFree(memory); }
};
using TaskText = std::unique_ptr<wchar_t, TaskMemoryFreer>;

struct PropertyValue : PROPVARIANT {
  PropertyValue() : PROPVARIANT{} {}
  ~PropertyValue() { PropVariantClear(this); }
  PropertyValue(const PropertyValue&) = delete;
  PropertyValue& operator=(const PropertyValue&) = delete;
};

std::string DeviceId(IMMDevice& device) {
  LPWSTR text = nullptr;
  if (FAILED(device.GetId(&text))) return {};
  const TaskText owner(text);
  return platform::Utf8FromWide(text);
}

std::string DeviceName(IMMDevice& device) {
  IPropertyStore* raw = nullptr;
  if (FAILED(device.OpenPropertyStore(STGM_READ, &raw))) return {};
  const ComObject<IPropertyStore> store(raw);
  PropertyValue value;
  if (FAILED(store->GetValue(PKEY_Device_FriendlyName, &value)) || value.vt != VT_LPWSTR) return {};
  return platform::Utf8FromWide(value.pwszVal);
}

}  // namespace

std::vector<AudioDevice> ListAudioDevices(AudioDirection direction) {
  const EDataFlow flow = direction == AudioDirection::kOutput ? eRender : eCapture;
  const ComApartment apartment;

  void* created = nullptr;
  if (FAILED(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL,
                              __uuidof(IMMDeviceEnumerator), &created))) {
    return {};
  }
  const ComObject<IMMDeviceEnumerator> enumerator(static_cast<IMMDeviceEnumerator*>(created));

  std::string default_id;
  IMMDevice* raw_device = nullptr;
  if (SUCCEEDED(enumerator->GetDefaultAudioEndpoint(flow, eConsole, &raw_device))) {
    const ComObject<IMMDevice> device(raw_device);
    default_id = DeviceId(*device);
  }

  IMMDeviceCollection* raw_collection = nullptr;
  if (FAILED(enumerator->EnumAudioEndpoints(flow, DEVICE_STATE_ACTIVE, &raw_collection))) return {};
  const ComObject<IMMDeviceCollection> collection(raw_collection);
  UINT count = 0;
  if (FAILED(collection->GetCount(&count))) return {};

  std::vector<AudioDevice> devices;
  for (UINT index = 0; index < count; ++index) {
    if (FAILED(collection->Item(index, &raw_device))) continue;
    const ComObject<IMMDevice> device(raw_device);
    const std::string id = DeviceId(*device);
    if (!id.empty()) devices.push_back({id, DeviceName(*device), id == default_id});
  }
  return devices;
}

}  // namespace open_gsdk
