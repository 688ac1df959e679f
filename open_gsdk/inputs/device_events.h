// Tells when a sound device has come, gone or become the default one.
#pragma once

#include <windows.h>

#include <mmdeviceapi.h>

#include "open_gsdk/inputs/audio_endpoints.h"
#include "platform/owned_handle.h"

namespace open_gsdk {

// For a thread that uses COM for as long as this lives.
class DeviceEvents {
 public:
  // Without events (the system refuses them) changed() is never set. `enumerator` outlives this.
  explicit DeviceEvents(IMMDeviceEnumerator& enumerator);
  ~DeviceEvents();
  DeviceEvents(const DeviceEvents&) = delete;
  DeviceEvents& operator=(const DeviceEvents&) = delete;

  // An event that each change sets and each wait resets. Owned by this.
  [[nodiscard]] HANDLE changed() const { return changed_.get(); }

 private:
  class Listener;

  platform::OwnedHandle changed_;
  IMMDeviceEnumerator& enumerator_;
  ComObject<IMMNotificationClient> listener_;
};

}  // namespace open_gsdk
