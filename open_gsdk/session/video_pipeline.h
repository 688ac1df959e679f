// The video of a session: one thread takes pictures, another one encodes them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "open_gsdk/encoding/video_encoding.h"
#include "open_gsdk/inputs/video_source.h"
#include "open_gsdk/session/packet_sink.h"
#include "open_gsdk/session/picture_encoder.h"
#include "open_gsdk/session/picture_handover.h"
#include "open_gsdk/session/picture_taker.h"
#include "open_gsdk/session/tick_timer.h"

namespace open_gsdk {

class VideoPipeline {
 public:
  // `size` is that of `source`. Throws Failure with kNoEncoder when no encoder opens.
  VideoPipeline(VideoParts parts, const VideoSource& source, Size size);
  // Stops.
  ~VideoPipeline();
  VideoPipeline(const VideoPipeline&) = delete;
  VideoPipeline& operator=(const VideoPipeline&) = delete;

  // As it was chosen for the start. Before Start only.
  [[nodiscard]] const VideoEncoding& encoding() const { return taker_.encoding(); }

  // Records something else from the next picture on; any thread.
  void SetSource(const VideoSource& source) { taker_.SetSource(source); }

  // Begins to push pictures into `sink`, which outlives the pipeline; once. The first picture is
  // that of `start_ns`, on the steady clock. What ends the recording goes to the sink as an error.
  void Start(std::int64_t start_ns, PacketSink& sink);

  // Ends the threads and waits for them; not from within a callback of the sink.
  void Stop();

  // For the log, after Stop.
  [[nodiscard]] std::string Figures() const;

 private:
  std::thread StartStage(PacketSink& sink, std::function<void()> stage);

  TickTimer timer_;
  PictureHandover handover_;
  PictureTaker taker_;
  PictureEncoder encoder_;
  std::thread taking_;
  std::thread encoding_;
};

}  // namespace open_gsdk
