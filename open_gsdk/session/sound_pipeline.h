// The sound of one track of a session, encoded on a thread of its own, so that it waits for neither
// pictures nor other tracks. For now it is silence, whatever the track is bound to.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "open_gsdk/encoding/audio_encoding.h"
#include "open_gsdk/encoding/audio_track.h"
#include "open_gsdk/inputs/audio_devices.h"
#include "open_gsdk/session/tick_timer.h"

namespace open_gsdk {

// An encoded piece of a track.
struct SoundPacket {
  std::int64_t time_ns = 0;  // on the steady clock
  std::int64_t duration_ns = 0;
  std::int64_t dropped_ns = 0;  // of this, so much was filled because the sound was lost
  std::vector<std::uint8_t> data;
};

class SoundPipeline {
 public:
  // `direction` is that of the devices to which the track can be bound. Throws Failure with
  // kNoEncoder.
  SoundPipeline(const std::string& track, const AudioEncoding& encoding, AudioDirection direction);
  // Stops.
  ~SoundPipeline();
  SoundPipeline(const SoundPipeline&) = delete;
  SoundPipeline& operator=(const SoundPipeline&) = delete;

  [[nodiscard]] const AudioFormat& format() const { return track_.format(); }

  // Takes the sound of this device from now on; any thread, before Start too. An empty text is
  // silence, "default" the system's default device of the direction. Returns at once and logs
  // nothing: the session's lock is held.
  void Bind(const std::string& device_id);

  // Begins with the sound of `start_ns` (on the steady clock); once. `deliver` is called on the
  // pipeline's own threads, one call at a time.
  void Start(std::int64_t start_ns, std::function<void(SoundPacket)> deliver);

  // Ends the threads and waits for them; not from within `deliver`.
  void Stop();

 private:
  void Run(std::int64_t start_ns, const std::function<void(SoundPacket)>& deliver);

  AudioTrack track_;
  TickTimer timer_;
  std::thread thread_;
};

}  // namespace open_gsdk
