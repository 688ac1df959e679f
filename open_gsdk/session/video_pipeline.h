// The pictures of a session: taken at a constant rate and encoded on a thread of their own.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "open_gsdk/encoding/video_encoder.h"
#include "open_gsdk/inputs/gdi_capture.h"
#include "open_gsdk/inputs/video_source.h"
#include "open_gsdk/session/packet_sink.h"
#include "open_gsdk/session/tick_timer.h"

namespace open_gsdk {

class VideoPipeline {
 public:
  // Throws Failure with kNoEncoder when no encoder opens.
  VideoPipeline(const VideoEncoding& encoding, const VideoSource& source);
  // Stops.
  ~VideoPipeline();
  VideoPipeline(const VideoPipeline&) = delete;
  VideoPipeline& operator=(const VideoPipeline&) = delete;

  [[nodiscard]] const VideoEncoding& encoding() const { return encoding_; }

  // Records something else from the next picture on; any thread.
  void SetSource(const VideoSource& source);

  // Begins to push pictures into `sink`, which outlives the pipeline; once. The first picture is
  // that of `start_ns`, on the steady clock. What ends the recording goes to the sink as an error.
  void Start(std::int64_t start_ns, PacketSink& sink);

  // Ends the thread and waits for it; not from within a callback of the sink.
  void Stop();

  // For the log, after Stop.
  [[nodiscard]] std::string Figures() const;

 private:
  void Run();
  void RecordUntilStopped();
  VideoSource Source();
  void Grab();
  void Drop(std::int64_t first_frame, std::int64_t count);
  void EncodeFrame(std::int64_t number);
  std::int64_t TimeOf(std::int64_t frame) const;

  const VideoEncoding encoding_;
  VideoEncoder encoder_;
  TickTimer timer_;
  std::thread thread_;

  std::mutex mutex_;
  VideoSource source_;  // guarded by mutex_

  // The thread's own.
  PacketSink* sink_ = nullptr;
  GdiCapture capture_;
  std::int64_t start_ns_ = 0;
  bool described_ = false;
  bool want_key_frame_ = false;
  std::int64_t dropped_ns_ = 0;

  std::int64_t frames_ = 0;
  std::int64_t repeated_frames_ = 0;
  std::int64_t dropped_frames_ = 0;
  std::int64_t grab_ns_ = 0;
  std::int64_t encode_ns_ = 0;
};

}  // namespace open_gsdk
