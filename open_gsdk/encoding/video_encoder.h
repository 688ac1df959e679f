// Turns pictures into an H.264 stream with libx264: constant quality, no delay, a key frame at
// least every second.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "open_gsdk/encoding/image.h"
#include "open_gsdk/encoding/video_encoding.h"
#include "open_gsdk/replay/encoded_packet.h"
#include "open_gsdk/support/ffmpeg.h"

namespace open_gsdk {

// For one thread at a time.
class VideoEncoder {
 public:
  // Throws Failure with kNoEncoder when the encoder cannot be opened.
  explicit VideoEncoder(const VideoEncoding& encoding);

  [[nodiscard]] const VideoFormat& format() const { return format_; }

  // Makes `image` the current picture, fitted into the encoded size. Until the first call the
  // current picture is black. Throws Failure with kCaptureFailed.
  void SetPicture(const Image& image);

  struct Output {
    std::int64_t frame_number;
    bool key_frame;
    std::vector<std::uint8_t> data;
  };

  // Encodes the current picture as frame `number`; numbers rise from call to call. `key_frame` asks
  // for one. Hands what the encoder gives out to `deliver`. Throws Failure with kCaptureFailed.
  void Encode(std::int64_t number, bool key_frame, const std::function<void(Output)>& deliver);

 private:
  void PrepareScaler(Size source);
  void Blacken();

  CodecContext context_;
  Frame picture_;
  Packet packet_;
  VideoFormat format_;
  Size source_;
  Placement placement_;
  Scaler scaler_;
};

}  // namespace open_gsdk
