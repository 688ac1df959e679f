// What turns pictures into an H.264 stream, and how one is found: constant quality, no B frames.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "open_gsdk/encoding/video_encoding.h"
#include "open_gsdk/replay/encoded_packet.h"
#include "open_gsdk/support/ffmpeg.h"

namespace open_gsdk {

// For one thread at a time.
class VideoEncoder {
 public:
  VideoEncoder() = default;
  virtual ~VideoEncoder() = default;
  VideoEncoder(const VideoEncoder&) = delete;
  VideoEncoder& operator=(const VideoEncoder&) = delete;

  struct Output {
    std::int64_t frame_number;
    bool key_frame;
    std::vector<std::uint8_t> data;
  };

  // Encodes a frame of a PictureConverter as frame `number`; numbers rise from call to call.
  // `key_frame` asks for one. Hands what the encoder gives out to `deliver`. Throws Failure with
  // kCaptureFailed.
  virtual void Encode(const AVFrame& picture, std::int64_t number, bool key_frame,
                      const std::function<void(Output)>& deliver) = 0;

  // Complete once `deliver` was called.
  [[nodiscard]] virtual const VideoFormat& format() const = 0;
};

// A kind of encoder that a machine may have.
struct VideoEncoderKind {
  std::string name;
  // Throws Failure with kNoEncoder and the reason when it cannot be had.
  std::function<std::unique_ptr<VideoEncoder>(const VideoEncoding&)> open;
};

// All that the library knows, best first: those of graphics cards, then x264.
std::vector<VideoEncoderKind> VideoEncoderKinds();

// Opens the first that can be had, and logs which one it is and why those before it were skipped.
// Throws Failure with kNoEncoder and all reasons when there is none.
std::unique_ptr<VideoEncoder> OpenVideoEncoder(const std::vector<VideoEncoderKind>& kinds,
                                               const VideoEncoding& encoding);

}  // namespace open_gsdk
