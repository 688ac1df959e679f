// Packets as an encoder would give them, for the tests of the open capture library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <numeric>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "open_gsdk/replay/encoded_packet.h"
#include "open_gsdk/replay/packet_segment.h"

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

// Streams that the muxer takes, since they are described the way encoders do it.
inline std::shared_ptr<StreamSet> DescribedStreams(int width, int height, int frame_rate,
                                                   std::size_t tracks) {
  auto streams = std::make_shared<StreamSet>();
  // A sequence and a picture parameter set of the baseline profile.
  streams->video = {
      width,
      height,
      frame_rate,
      {0, 0, 0, 1, 0x67, 66, 0xC0, 31, 0xDA, 0x01, 0x40, 0, 0, 0, 1, 0x68, 0xCE, 0x3C, 0x80}};
  const std::vector<std::uint8_t> low_complexity_48_khz_stereo = {0x11, 0x90};
  for (std::size_t track = 0; track < tracks; ++track) {
    streams->audio.push_back(
        {"Track " + std::to_string(track + 1), 48'000, 2, 128'000, low_complexity_48_khz_stereo});
  }
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

// So many bytes, each one more than the one before.
inline std::vector<std::uint8_t> Bytes(std::size_t size, std::uint8_t first) {
  std::vector<std::uint8_t> bytes(size);
  std::iota(bytes.begin(), bytes.end(), first);
  return bytes;
}

inline std::vector<StoredPacket> StoredPackets(const PacketSegment& segment) {
  std::vector<StoredPacket> packets;
  segment.AddPackets(packets);
  return packets;
}

inline std::vector<std::uint8_t> Joined(const std::vector<std::span<const std::uint8_t>>& pieces) {
  std::vector<std::uint8_t> bytes;
  for (const auto piece : pieces) bytes.insert(bytes.end(), piece.begin(), piece.end());
  return bytes;
}

// The bytes of a StoredPacket's `bytes` or of a clip's packet.
inline std::vector<std::uint8_t> BytesOf(const StoredBytes& stored) {
  std::vector<std::span<const std::uint8_t>> pieces;
  stored.segment->AddPieces(stored, pieces);
  return Joined(pieces);
}

}  // namespace open_gsdk
