// The samples that one sound device records, or plays, from when it is opened until it is lost.
#pragma once

#include <windows.h>

#include <audioclient.h>
#include <mmdeviceapi.h>

#include <cstdint>
#include <functional>
#include <vector>

#include "open_gsdk/encoding/sound_samples.h"
#include "open_gsdk/inputs/audio_endpoints.h"
#include "open_gsdk/inputs/device_clock.h"
#include "platform/owned_handle.h"

namespace open_gsdk {

// For one thread, which uses COM for as long as this lives.
class SoundStream {
 public:
  // Opens the device in shared mode, as loopback for kOutput, and starts it. Throws Failure with
  // kInputNotReady, which says what Windows refused.
  SoundStream(IMMDevice& endpoint, AudioDirection direction);
  ~SoundStream();
  SoundStream(const SoundStream&) = delete;
  SoundStream& operator=(const SoundStream&) = delete;

  [[nodiscard]] const SoundFormat& format() const { return format_; }

  // The event that the device sets when there are samples.
  [[nodiscard]] HANDLE ready() const { return ready_.get(); }

  // `bytes` holds run.frames samples of all channels.
  using RunHandler = std::function<void(const SoundRun& run, std::vector<std::uint8_t> bytes)>;

  // Hands out all samples that there are. False once the device is lost.
  bool Read(const RunHandler& handle);

  // Whether the device is still there, also when it gives nothing.
  bool IsAlive();

 private:
  void Open(IMMDevice& endpoint, AudioDirection direction);

  platform::OwnedHandle ready_;
  SoundFormat format_;
  ComObject<IAudioClient> client_;
  ComObject<IAudioCaptureClient> capture_;
};

}  // namespace open_gsdk
