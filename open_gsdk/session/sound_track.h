// The sound of one track in the making: blocks of sound and silence, each at its time and without
// holes, encoded as they come.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "open_gsdk/encoding/audio_encoding.h"
#include "open_gsdk/encoding/sound_converter.h"
#include "open_gsdk/encoding/sound_encoder.h"
#include "open_gsdk/encoding/sound_samples.h"
#include "open_gsdk/inputs/sound_source.h"

namespace open_gsdk {

// An encoded piece of a track. Each begins where the one before ends.
struct SoundPacket {
  std::int64_t time_ns = 0;  // of the first sample that it decodes to, on the steady clock
  std::int64_t duration_ns = 0;
  std::int64_t dropped_ns = 0;  // about here, so much was filled because the sound was lost
  std::vector<std::uint8_t> data;
};

// For one thread at a time.
class SoundTrack {
 public:
  // Throws Failure with kNoEncoder.
  SoundTrack(const std::string& name, const AudioEncoding& encoding);

  [[nodiscard]] const AudioFormat& format() const { return encoder_.format(); }

  // Sets the time of the track's first sample; before everything else. Both others call `deliver`.
  void Start(std::int64_t start_ns, std::function<void(SoundPacket)> deliver);

  // Puts the block at its time. Silence that goes before it, where nothing was put, counts as lost
  // if `loss` says so. What the track has already is left out. Throws Failure.
  void Add(const SoundBlock& block, bool loss);

  // Puts silence from the end on, in whole packets, none of which ends after `time_ns`.
  void FillUntil(std::int64_t time_ns, bool loss);

  // When the packet that is being filled ends.
  [[nodiscard]] std::int64_t NextPacketEndNs() const;

 private:
  void CloseConverter();
  void AddSilence(std::int64_t count, bool loss);
  void CountLate(std::int64_t skipped);
  void Encode();
  void Deliver(SoundEncoder::Output output);
  [[nodiscard]] std::int64_t EndSample() const;
  [[nodiscard]] std::int64_t TimeNs(std::int64_t sample) const;

  SoundEncoder encoder_;
  std::optional<SoundConverter> converter_;
  std::function<void(SoundPacket)> deliver_;
  std::int64_t start_ns_ = 0;
  std::int64_t encoded_ = 0;  // samples
  StereoSamples pending_;     // after those
  std::int64_t skip_ = 0;     // of what the converter gives next
  std::int64_t quiet_ = 0;    // samples of silence at the end that are not counted as lost
  std::int64_t lost_ = 0;     // samples, not yet said with a packet
};

}  // namespace open_gsdk
