// Makes the stereo sound of a track out of a device's samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "open_gsdk/encoding/sound_samples.h"
#include "open_gsdk/support/ffmpeg.h"

namespace open_gsdk {

// For one stream of samples without a break; for one thread at a time.
class SoundConverter {
 public:
  // One channel goes to both sides at its full level; more than two are mixed down so that nothing
  // can be clipped. Throws Failure with kCaptureFailed for a format that cannot be converted.
  SoundConverter(const SoundFormat& from, int sample_rate);

  [[nodiscard]] const SoundFormat& format() const { return from_; }

  // How many samples of the track lie between what was taken in and what has come out.
  [[nodiscard]] std::int64_t Delay() const;

  // Has the next `distance` samples of the track made `more` samples longer than they would be
  // (shorter, when negative), evenly and without a step.
  void Stretch(int more, int distance);

  // Appends what comes out for the `frames` samples at `bytes`.
  void Convert(const std::uint8_t* bytes, std::size_t frames, StereoSamples& to);

  // Appends what is still inside. Nothing may be converted after that.
  void Drain(StereoSamples& to);

 private:
  void Take(const std::uint8_t* bytes, int frames, StereoSamples& to);

  SoundFormat from_;
  int sample_rate_;
  Resampler resampler_;
  std::vector<std::uint8_t> widened_;
};

}  // namespace open_gsdk
