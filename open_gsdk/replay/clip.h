// What a clip is made of, and its figures.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "open_gsdk/replay/encoded_packet.h"
#include "open_gsdk/replay/packet_segment.h"

namespace open_gsdk {

// How a dump ended: the numbers of gsdk_dump_result::status.
enum class DumpStatus : std::int32_t {
  kSuccess = 0,
  kUnexpected = 1,
  kEmpty = 2,
  kCannotOpen = 3,
  kBadAudioStream = 4,
  kBadVideoStream = 5,
  kCannotWrite = 6,
  kCannotRename = 7,
};

// Encoded silence: an AAC packet that every decoder of two channels makes kSamplesPerPacket samples
// of silence of, at any sample rate.
std::span<const std::uint8_t> SilentPacket();

struct ClipPacket {
  std::size_t stream = 0;
  bool key_frame = false;
  std::int64_t time_ns = 0;  // from the first picture on; that of the first sound is negative
  std::int64_t duration_ns = 0;
  // None of a packet of encoded silence, which stands for missing sound.
  StoredBytes stored{};
  // Its number among the packets of the buffer; of encoded silence that of the packet before it of
  // the same track, 0 when there is none.
  std::size_t arrival = 0;

  [[nodiscard]] bool IsSilence() const { return stored.segment == nullptr; }
  // The bytes, in one or more pieces that are added to `pieces` and valid as long as the clip.
  void AddPieces(std::vector<std::span<const std::uint8_t>>& pieces) const;
  [[nodiscard]] std::size_t Size() const;
};

struct Clip {
  std::shared_ptr<const StreamSet> streams;
  std::vector<std::shared_ptr<const PacketSegment>> segments;  // in which the packets are
  // In the order in which they came, so that their bytes lie one after the other, but for repeated
  // sound; those of one stream are in the order of their times. The pictures begin with a key frame
  // at 0 and each lasts until the next. They have the form of files: lengths instead of start
  // codes. The sound of each track has no gap, reaches back to 0 or before, with the packet before
  // that one in front of it, and ends with the last picture. Empty when there is nothing to write.
  std::vector<ClipPacket> packets;
  std::int64_t start_ns = 0;           // the time of the first picture, on the steady clock
  std::int64_t duration_ns = 0;        // from there to the end of the last one
  std::int64_t last_timestamp_ns = 0;  // the latest time of a packet, on the steady clock
  std::int64_t audio_drop_ns = 0;      // the track that lost most counts
  std::int64_t video_drop_ns = 0;
  bool memory_limited = false;  // shorter than wanted, since the ring may not have more memory
};

}  // namespace open_gsdk
