// Packets as an encoder would give them, for the tests of the open capture library.
#pragma once

#include <cstdint>
#include <memory>

#include "open_gsdk/replay/encoded_packet.h"

namespace open_gsdk {

inline constexpr std::int64_t kMs = 1'000'000;

inline std::shared_ptr<StreamSet> TestStreams() {
  auto streams = std::make_shared<StreamSet>();
  streams->video = {64, 64, 10, {1, 2, 3}};
  streams->audio = {{"Game", 48'000, 2, 128'000, {4}}, {"Mic", 48'000, 2, 128'000, {4}}};
  return streams;
}

inline SharedPacket TestPacket(const std::shared_ptr<const StreamSet>& streams, std::size_t stream,
                               std::int64_t time_ms, bool key_frame, std::int64_t dropped_ms = 0) {
  return std::make_shared<const EncodedPacket>(
      EncodedPacket{.streams = streams,
                    .stream = stream,
                    .key_frame = key_frame,
                    .time_ns = time_ms * kMs,
                    .duration_ns = (stream == 0 ? 100 : 20) * kMs,
                    .dropped_ns = dropped_ms * kMs,
                    .data = {0}});
}

}  // namespace open_gsdk
