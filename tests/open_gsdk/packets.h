// Packets as an encoder would give them, for the tests of the open capture library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "open_gsdk/replay/encoded_packet.h"

namespace open_gsdk {

inline constexpr std::int64_t kMs = 1'000'000;

// Ten pictures a second and the sound of two tracks.
inline std::shared_ptr<StreamSet> TestStreams() {
  auto streams = std::make_shared<StreamSet>();
  streams->video = {64, 64, 10, {1, 2, 3}};
  streams->audio = {{"Game", 48'000, 2, 128'000, {4}}, {"Mic", 48'000, 2, 128'000, {4}}};
  return streams;
}

inline std::shared_ptr<StreamSet> SilentTestStreams() {
  auto streams = TestStreams();
  streams->audio.clear();
  return streams;
}

inline EncodedPacket TestPicture(const std::shared_ptr<const StreamSet>& streams,
                                 std::int64_t time_ms, bool key_frame,
                                 std::vector<std::uint8_t> data = {0}) {
  return {.streams = streams,
          .stream = 0,
          .key_frame = key_frame,
          .time_ns = time_ms * kMs,
          .duration_ns = 100 * kMs,
          .dropped_ns = 0,
          .data = std::move(data)};
}

// The length of so many packets of sound.
inline std::int64_t SoundNs(std::int64_t packets) {
  return packets * kSamplesPerPacket * 1'000'000'000 / 48'000;
}

// The packet with this number (of a track that has no gap) of a track whose first sample is at
// `start_ns`.
inline EncodedPacket TestSound(const std::shared_ptr<const StreamSet>& streams, std::size_t track,
                               std::int64_t number, std::int64_t start_ns = 0,
                               std::vector<std::uint8_t> data = {0}) {
  return {.streams = streams,
          .stream = 1 + track,
          .key_frame = true,
          .time_ns = start_ns + SoundNs(number),
          .duration_ns = SoundNs(1),
          .dropped_ns = 0,
          .data = std::move(data)};
}

}  // namespace open_gsdk
