// The second half of a session's video: encodes the pictures that were taken, and one a second
// while there is none.
#pragma once

#include <cstdint>
#include <memory>

#include "open_gsdk/encoding/video_encoder.h"
#include "open_gsdk/session/packet_sink.h"
#include "open_gsdk/session/picture_handover.h"
#include "open_gsdk/support/ffmpeg.h"

namespace open_gsdk {

// For one thread at a time.
class PictureEncoder {
 public:
  // `picture` stands until the first one comes.
  PictureEncoder(std::unique_ptr<VideoEncoder> encoder, Frame picture, int frame_rate);

  // Until the handover is closed. Throws Failure with kCaptureFailed.
  void EncodePictures(std::int64_t start_ns, PictureHandover& handover, PacketSink& sink);

  // For the log.
  struct Figures {
    std::int64_t frames = 0;
    std::int64_t repeated = 0;  // of them, while there was nothing new
    std::int64_t encode_ns = 0;
  };
  [[nodiscard]] const Figures& figures() const { return figures_; }

 private:
  // When a picture is encoded again that stands for a second.
  [[nodiscard]] std::int64_t StandsTooLongAtNs() const;
  void Take(TakenPicture picture);
  void Encode(std::int64_t number, PacketSink& sink);
  [[nodiscard]] std::int64_t TimeOf(std::int64_t frame) const;

  std::unique_ptr<VideoEncoder> encoder_;
  Frame picture_;
  const int frame_rate_;
  std::int64_t start_ns_ = 0;
  std::int64_t last_ = -1;  // the frame that was encoded last
  std::int64_t last_key_frame_ = 0;
  bool from_hdr_ = false;
  bool described_ = false;  // a packet of this encoder was pushed
  std::int64_t dropped_ns_ = 0;
  Figures figures_;
};

}  // namespace open_gsdk
