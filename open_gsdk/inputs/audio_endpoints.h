// The system's sound endpoints as COM objects, and what owns such objects.
#pragma once

#include <windows.h>

#include <mmdeviceapi.h>

#include <memory>
#include <string>

#include "open_gsdk/inputs/audio_direction.h"

namespace open_gsdk {

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

// All of these need COM on the calling thread.

// Null when there is no sound system.
ComObject<IMMDeviceEnumerator> OpenDeviceEnumerator();

// The endpoint with this identifier (UTF-8), or the default one of `direction` for kDefaultDevice.
// Null when there is none.
ComObject<IMMDevice> FindEndpoint(IMMDeviceEnumerator& enumerator, AudioDirection direction,
                                  const std::string& id);

// UTF-8; empty when the system does not tell.
std::string EndpointId(IMMDevice& endpoint);
std::string EndpointName(IMMDevice& endpoint);

inline EDataFlow FlowOf(AudioDirection direction) {
  return direction == AudioDirection::kOutput ? eRender : eCapture;
}

}  // namespace open_gsdk
