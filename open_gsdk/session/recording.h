// A running session: its pictures and its sound tracks, each on threads of their own, and the sink
// through which they hand out their packets.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "open_gsdk/encoding/video_encoder.h"
#include "open_gsdk/inputs/audio_devices.h"
#include "open_gsdk/inputs/best_picture_source.h"
#include "open_gsdk/inputs/video_source.h"
#include "open_gsdk/session/packet_sink.h"
#include "open_gsdk/session/session_properties.h"
#include "open_gsdk/session/sound_pipeline.h"
#include "open_gsdk/session/video_pipeline.h"

namespace open_gsdk {

// What a track is bound to. The first input that was added is that of the first track, and so on.
struct SoundBinding {
  AudioDirection direction = AudioDirection::kOutput;
  std::string device_id{};  // empty for none
};

// What a recording is made with; tests bring their own.
struct RecordingParts {
  std::unique_ptr<PictureSource> pictures = OpenPictureSource();
  std::vector<VideoEncoderKind> encoders = VideoEncoderKinds();
};

// Owned by a shared_ptr. Start, Stop, SetSource and BindSound: any thread.
class Recording : public std::enable_shared_from_this<Recording> {
 public:
  // Opens the encoders. Tracks without a binding are silent. Throws Failure, with kNoEncoder when
  // an encoder does not open.
  Recording(const SessionProperties& properties, const VideoSource& source,
            const std::vector<SoundBinding>& bindings, RecordingParts parts = {});
  // Not on a thread of the library.
  ~Recording();
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  // Starts the threads, which call the packet and error callbacks of the properties, one call at a
  // time and while no lock is held. After the error callback, which is called once at most, there
  // are no packets.
  void Start();

  // Ends the threads and waits for them, so that no callback runs any more; once. From within a
  // callback it cannot wait, and the callback is the last one.
  void Stop();

  // Records something else from the next picture on.
  void SetSource(const VideoSource& source) { video_.SetSource(source); }

  // Binds the track of this number, if there is one, to another device.
  void BindSound(std::size_t track, const std::string& device_id);

 private:
  void EndThreads();

  VideoPipeline video_;
  std::vector<std::unique_ptr<SoundPipeline>> sound_;
  PacketSink sink_;
};

}  // namespace open_gsdk
