#include "open_gsdk/inputs/audio_devices.h"

#include "open_gsdk/inputs/audio_endpoints.h"

namespace open_gsdk {

std::vector<AudioDevice> ListAudioDevices(AudioDirection direction) {
  const ComApartment apartment;
  const auto enumerator = OpenDeviceEnumerator();
  if (!enumerator) return {};

  std::string default_id;
  if (const auto endpoint = FindEndpoint(*enumerator, direction, kDefaultDevice)) {
    default_id = EndpointId(*endpoint);
  }

  IMMDeviceCollection* raw_collection = nullptr;
  if (FAILED(enumerator->EnumAudioEndpoints(FlowOf(direction), DEVICE_STATE_ACTIVE,
                                            &raw_collection))) {
    return {};
  }
  const ComObject<IMMDeviceCollection> collection(raw_collection);
  UINT count = 0;
  if (FAILED(collection->GetCount(&count))) return {};

  std::vector<AudioDevice> devices;
  for (UINT index = 0; index < count; ++index) {
    IMMDevice* raw_device = nullptr;
    if (FAILED(collection->Item(index, &raw_device))) continue;
    const ComObject<IMMDevice> device(raw_device);
    const std::string id = EndpointId(*device);
    if (!id.empty()) devices.push_back({id, EndpointName(*device), id == default_id});
  }
  return devices;
}

}  // namespace open_gsdk
