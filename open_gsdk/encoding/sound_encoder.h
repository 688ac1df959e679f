// The AAC encoder of one track.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "open_gsdk/encoding/audio_encoding.h"
#include "open_gsdk/replay/encoded_packet.h"
#include "open_gsdk/support/ffmpeg.h"

namespace open_gsdk {

// For one thread at a time.
class SoundEncoder {
 public:
  // Throws Failure with kNoEncoder when the encoder cannot be opened.
  SoundEncoder(const std::string& name, const AudioEncoding& encoding);

  [[nodiscard]] const AudioFormat& format() const { return format_; }

  // The samples of each channel that one packet holds.
  [[nodiscard]] std::size_t frame_size() const { return frame_size_; }

  struct Output {
    // The number of the first sample that the packet decodes to, when the packet before it was
    // decoded too; the first sample ever encoded is number 0. The first packet has a negative one:
    // it only fills the decoder.
    std::int64_t first_sample;
    std::vector<std::uint8_t> data;
  };

  // Encodes the next frame_size() samples and hands what the encoder gives out to `deliver`: the
  // packet of the frame before the last one, so nothing at first. Silence that goes on for long is
  // not encoded anew; its packets have the same bytes. Throws Failure with kCaptureFailed.
  void Encode(const float* left, const float* right, const std::function<void(Output)>& deliver);

 private:
  CodecContext context_;
  Frame frame_;
  Packet packet_;
  AudioFormat format_;
  std::size_t frame_size_;
  std::int64_t next_sample_ = 0;
  std::int64_t encoded_samples_ = 0;   // less by the silence that was not encoded
  int silent_frames_ = 0;              // how many came in a row, as far as that matters
  std::vector<std::uint8_t> silence_;  // a packet of it
};

}  // namespace open_gsdk
