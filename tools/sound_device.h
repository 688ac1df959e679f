// What playing and hearing sound have in common: the system's sound devices through COM.
#pragma once

#include <windows.h>

#include <audioclient.h>
#include <mmdeviceapi.h>

#include <memory>
#include <string>

namespace demo_game {

struct Releaser {
  void operator()(IUnknown* object) const { object->Release(); }
};
template <typename Interface>
using ComObject = std::unique_ptr<Interface, Releaser>;

struct TaskMemoryFreer {
  void operator()(void* memory) const { CoTaskMemFree(memory); }
};

// COM for the calling thread, while it lives.
struct ComApartment {
  ComApartment() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
  ~ComApartment() { CoUninitialize(); }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;
};

// Throws std::runtime_error that names `what` unless the call succeeded.
void CheckSound(HRESULT result, const char* what);

// `id` is the system's endpoint identifier of a device that plays, UTF-8; empty for the default
// one. Throws std::runtime_error.
ComObject<IMMDevice> FindPlayingDevice(const std::string& id);

// A device in shared mode, in the format that it mixes, which is one of floats.
struct SoundClient {
  ComObject<IAudioClient> client;
  unsigned channels = 0;
  double rate = 0;  // samples a second
};

// Opens a device, which sets `ready` whenever there is something to do; it is not started yet.
// `flags` are AUDCLNT_STREAMFLAGS_*, `buffer` counts in units of 100 ns. Throws std::runtime_error.
SoundClient OpenSoundClient(IMMDevice& device, DWORD flags, REFERENCE_TIME buffer, HANDLE ready);

template <typename Interface>
ComObject<Interface> SoundService(IAudioClient& client) {
  void* raw = nullptr;
  CheckSound(client.GetService(__uuidof(Interface), &raw), "GetService");
  return ComObject<Interface>(static_cast<Interface*>(raw));
}

}  // namespace demo_game
