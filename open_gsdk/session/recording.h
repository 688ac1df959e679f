// A running session: one thread that takes pictures at a constant rate, encodes them and the sound
// that goes with them, and hands the packets out.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "open_gsdk/encoding/audio_track.h"
#include "open_gsdk/encoding/video_encoder.h"
#include "open_gsdk/inputs/gdi_capture.h"
#include "open_gsdk/inputs/video_source.h"
#include "open_gsdk/session/session_properties.h"
#include "open_gsdk/session/tick_timer.h"
#include "open_gsdk/support/failure.h"

namespace open_gsdk {

// Owned by a shared_ptr, of which the thread holds one. Start, Stop and SetSource: any thread.
class Recording : public std::enable_shared_from_this<Recording> {
 public:
  // Opens the encoders. Throws Failure, with kNoEncoder when one does not open.
  Recording(const SessionProperties& properties, const VideoSource& source);

  // Starts the thread, which calls the packet and error callbacks of the properties while no lock
  // is held. After it called the error callback, which it does once at most, it gives no packets.
  void Start();

  // Ends the thread and waits for it, so that no callback runs any more; from within a callback it
  // cannot wait, and the callback is the last one.
  void Stop();

  // Records something else from the next picture on, fitted into the size that was chosen at start.
  void SetSource(const VideoSource& source);

 private:
  struct Figures {
    std::int64_t frames = 0;
    std::int64_t repeated = 0;
    std::int64_t dropped = 0;
    std::int64_t grab_ns = 0;
    std::int64_t encode_ns = 0;
  };

  void Run();
  void RecordUntilStopped();
  VideoSource Source();
  void Grab();
  void Drop(std::int64_t first_frame, std::int64_t count);
  void EncodeFrame(std::int64_t number);
  void Deliver(EncodedPacket packet) const;
  void ReportError(ErrorCode code, const std::string& message) const;
  std::int64_t TimeOf(std::int64_t frame) const;

  const SessionProperties properties_;
  const VideoEncoding encoding_;
  VideoEncoder video_;
  std::vector<AudioTrack> audio_;
  std::shared_ptr<const StreamSet> streams_;
  TickTimer timer_;
  std::thread thread_;

  std::mutex mutex_;
  VideoSource source_;  // guarded by mutex_

  // The thread's own.
  GdiCapture capture_;
  std::int64_t start_ns_ = 0;
  bool want_key_frame_ = false;
  std::int64_t video_dropped_ns_ = 0;
  std::vector<std::int64_t> audio_dropped_ns_;
  Figures figures_;
};

}  // namespace open_gsdk
