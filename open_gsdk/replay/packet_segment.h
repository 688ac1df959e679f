// The packets from one key frame to the next as the ring keeps them: their bytes one after the
// other in blocks, and a small entry for each.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "open_gsdk/replay/encoded_packet.h"

namespace open_gsdk {

// Large, since a dump writes each with one call to the system, but so small that the last one of a
// buffer, which is not full, doesn't count.
inline constexpr std::size_t kBlockSize = 512 * std::size_t{1024};
using PacketBlock = std::array<std::uint8_t, kBlockSize>;

struct StoredPacket {
  std::int64_t time_ns;       // on the steady clock
  std::uint32_t duration_ns;  // what is longer than 4.29 s counts as that
  std::uint32_t offset;       // of the bytes, from the beginning of the segment's first block
  std::uint32_t size;         // in bytes
  std::uint8_t stream;
  bool key_frame;
};

// Grows at its end only. A segment that grows no more may be read by any thread; while it grows,
// its writer takes copies for the readers, which share the bytes.
class PacketSegment {
 public:
  // An empty segment; its bytes begin where those of `before`, which must not grow any more, end.
  // `before` may be null.
  PacketSegment(std::shared_ptr<const StreamSet> streams, const PacketSegment* before);

  // `packet.stream` is below 256. When memory runs out, or with more than 4 GiB in one segment, it
  // throws std::bad_alloc and the segment is as it was. `dropped_ns` takes the packet's place.
  void Append(const EncodedPacket& packet, std::int64_t dropped_ns);

  // Gives back the room for further entries. The last call on the segment that is not const.
  void Close() { packets_.shrink_to_fit(); }

  [[nodiscard]] const std::shared_ptr<const StreamSet>& streams() const { return streams_; }
  [[nodiscard]] const std::vector<StoredPacket>& packets() const { return packets_; }

  // Whether the pictures in it can be decoded: the first of them is a key frame.
  [[nodiscard]] bool HasKeyFrame() const { return has_key_frame_; }

  // The time of the key frame, or else of the first packet; 0 when there is none.
  [[nodiscard]] std::int64_t StartNs() const {
    return packets_.empty() ? 0 : packets_.front().time_ns;
  }
  // The latest end of a packet.
  [[nodiscard]] std::int64_t EndNs() const { return end_ns_; }

  // What the packets take: their bytes and entries.
  [[nodiscard]] std::size_t SizeInMemory() const {
    return payload_size_ + packets_.size() * sizeof(StoredPacket);
  }

  // What of its stream was lost right before the packet with this number.
  [[nodiscard]] std::int64_t DroppedBefore(std::size_t number) const;

  // Where the bytes of one of packets() are: in one piece for each block that they lie in. Adds the
  // pieces to `pieces`; they are valid as long as the segment.
  void AddPieces(const StoredPacket& packet,
                 std::vector<std::span<const std::uint8_t>>& pieces) const;

 private:
  struct Loss {
    std::size_t packet;
    std::int64_t dropped_ns;
  };

  void Write(std::size_t offset, std::span<const std::uint8_t> bytes);

  std::shared_ptr<const StreamSet> streams_;
  std::vector<StoredPacket> packets_;
  std::vector<Loss> losses_;  // rare, so not part of each entry; in the order of the packets
  std::vector<std::shared_ptr<PacketBlock>> blocks_;
  std::size_t used_ = 0;  // of the blocks, counted from the first one's beginning
  std::size_t payload_size_ = 0;
  std::int64_t end_ns_ = 0;
  bool has_key_frame_ = false;
};

}  // namespace open_gsdk
