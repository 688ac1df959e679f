// One AAC track of a session. There is no sound source yet, so it holds silence.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "open_gsdk/encoding/audio_encoding.h"
#include "open_gsdk/replay/encoded_packet.h"
#include "open_gsdk/support/ffmpeg.h"

namespace open_gsdk {

// For one thread at a time.
class AudioTrack {
 public:
  // Throws Failure with kNoEncoder when the encoder cannot be opened.
  AudioTrack(const std::string& name, const AudioEncoding& encoding);

  [[nodiscard]] const AudioFormat& format() const { return format_; }

  struct Output {
    std::int64_t time_ns;  // on the same clock as the times passed in
    std::int64_t duration_ns;
    std::vector<std::uint8_t> data;
  };

  // The time of the first sample.
  void StartAt(std::int64_t time_ns) { start_ns_ = time_ns; }

  // Leaves a hole of this length after what was encoded so far.
  void Skip(std::int64_t duration_ns) { start_ns_ += duration_ns; }

  // Encodes up to `time_ns` (in whole AAC frames, so up to one less) and hands what the encoder
  // gives out to `deliver`. Throws Failure with kCaptureFailed.
  void EncodeUntil(std::int64_t time_ns, const std::function<void(Output)>& deliver);

 private:
  // The length of this many samples.
  [[nodiscard]] std::int64_t DurationNs(std::int64_t samples) const;

  CodecContext context_;
  Frame silence_;
  Packet packet_;
  AudioFormat format_;
  std::int64_t start_ns_ = 0;
  std::int64_t samples_ = 0;  // encoded so far
};

}  // namespace open_gsdk
