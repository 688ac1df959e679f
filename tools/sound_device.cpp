#include <initguid.h>
// The identifiers that initguid.h defines come with the headers below it.
#include <windows.h>

#include <audioclient.h>
#include <mmdeviceapi.h>

#include <array>
#include <cstdio>
#include <stdexcept>

#include "platform/text_encoding.h"
#include "tools/sound_device.h"

namespace demo_game {
namespace {

bool IsFloat(const WAVEFORMATEX& format) {
  if (format.wBitsPerSample != 32) return false;
  if (format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT) return true;
  return format.wFormatTag == WAVE_FORMAT_EXTENSIBLE &&
         reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(format).SubFormat.Data1 ==
             WAVE_FORMAT_IEEE_FLOAT;
}

}  // namespace

void CheckSound(HRESULT result, const char* what) {
  if (SUCCEEDED(result)) return;
  std::array<char, 128> text{};
  std::snprintf(text.data(), text.size(), "Cannot play sound: %s failed with 0x%08X.", what,
                static_cast<unsigned>(result));
  throw std::runtime_error(text.data());
}

ComObject<IMMDevice> FindPlayingDevice(const std::string& id) {
  void* raw = nullptr;
  CheckSound(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL,
                              __uuidof(IMMDeviceEnumerator), &raw),
             "opening the sound system");
  const ComObject<IMMDeviceEnumerator> devices(static_cast<IMMDeviceEnumerator*>(raw));
  IMMDevice* device = nullptr;
  CheckSound(id.empty() ? devices->GetDefaultAudioEndpoint(eRender, eConsole, &device)
                        : devices->GetDevice(platform::WideFromUtf8(id).c_str(), &device),
             "finding the device");
  return ComObject<IMMDevice>(device);
}

SoundClient OpenSoundClient(IMMDevice& device, DWORD flags, REFERENCE_TIME buffer, HANDLE ready) {
  void* raw = nullptr;
  CheckSound(device.Activate(__uuidof(IAudioClient), CLSCTX_ALL, nullptr, &raw), "Activate");
  ComObject<IAudioClient> client(static_cast<IAudioClient*>(raw));
  WAVEFORMATEX* raw_format = nullptr;
  CheckSound(client->GetMixFormat(&raw_format), "GetMixFormat");
  const std::unique_ptr<WAVEFORMATEX, TaskMemoryFreer> format(raw_format);
  // Windows mixes in this format only.
  if (!IsFloat(*format)) {
    throw std::runtime_error("Cannot play sound: the device mixes no floats.");
  }
  CheckSound(client->Initialize(AUDCLNT_SHAREMODE_SHARED, flags | AUDCLNT_STREAMFLAGS_EVENTCALLBACK,
                                buffer, 0, format.get(), nullptr),
             "Initialize");
  CheckSound(client->SetEventHandle(ready), "SetEventHandle");
  return {std::move(client), format->nChannels, static_cast<double>(format->nSamplesPerSec)};
}

}  // namespace demo_game
