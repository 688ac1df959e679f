// A sound device as a track is bound to it: opened when it is there, and again when it comes back.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "open_gsdk/encoding/sound_samples.h"
#include "open_gsdk/inputs/audio_direction.h"
#include "open_gsdk/inputs/audio_endpoints.h"
#include "open_gsdk/inputs/device_clock.h"
#include "open_gsdk/inputs/device_events.h"
#include "open_gsdk/inputs/sound_stream.h"
#include "platform/owned_handle.h"

namespace open_gsdk {

// Samples without a break.
struct SoundBlock {
  SoundFormat format;
  std::int64_t time_ns = 0;  // of the first sample, on the steady clock
  std::int64_t frames = 0;
  bool jump = false;  // does not follow the block before without a step
  bool lost = false;  // the device says that it lost samples before this
  std::vector<std::uint8_t> bytes;
};

// One thread runs it.
class SoundSource {
 public:
  struct Handlers {
    std::function<void(SoundBlock)> on_block;
    // The device is gone, or has been opened again after that.
    std::function<void(bool lost)> on_lost;
  };

  // `id` is an endpoint identifier or kDefaultDevice, which follows the system's choice; `label`
  // begins the log lines. Throws Failure with kSystem.
  SoundSource(AudioDirection direction, std::string id, std::string label, Handlers handlers);

  // Reads until it is stopped, and calls the handlers from within. A device that is not there is
  // looked for again when the system says that devices changed, and every second.
  void Run();

  // Any thread; has Run return soon, or at once when it is called later.
  void Stop() { SetEvent(stop_.get()); }

 private:
  struct Device {
    std::unique_ptr<SoundStream> stream;
    std::string id;
    DeviceClock clock;
    std::int64_t settled_ns = 0;  // from then on its times are good
    bool fresh = true;            // has given no block yet
  };

  std::optional<Device> Open(IMMDeviceEnumerator& enumerator);
  bool Listen(Device device, IMMDeviceEnumerator& enumerator, HANDLE changed);
  void FollowDefault(const Device& device, std::optional<Device>& next,
                     IMMDeviceEnumerator& enumerator);
  bool Read(Device& device) const;
  bool WaitForStop(HANDLE changed) const;

  const AudioDirection direction_;
  const std::string id_;
  const std::string label_;
  const Handlers handlers_;
  platform::OwnedHandle stop_;
  std::string trouble_;  // why the device could not be opened the last time
};

}  // namespace open_gsdk
