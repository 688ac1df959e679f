// The packets from one key frame to the next as the ring keeps them: their bytes one after the
// other in blocks, and an entry of a few bytes for each.
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

class PacketSegment;

// Where the bytes of a packet are. Valid as long as the segment, which is null for none.
struct StoredBytes {
  const PacketSegment* segment = nullptr;
  std::size_t offset = 0;  // from the beginning of the segment's first block
  std::size_t size = 0;

  bool operator==(const StoredBytes&) const = default;
};

// A packet as it came.
struct StoredPacket {
  std::size_t stream = 0;
  bool key_frame = false;
  std::int64_t time_ns = 0;  // on the steady clock
  std::int64_t duration_ns = 0;
  std::int64_t dropped_ns = 0;  // what of this stream was lost right before this packet
  StoredBytes bytes;
};

// Grows at its end only. A segment that grows no more may be read by any thread; while it grows,
// its writer takes copies for the readers, which share the bytes.
//
// An entry says how its packet differs from the one before it of the same stream: whether it joins
// on to that one, is as long, and, of sound, whether it has the same bytes, which are then kept
// once. So it takes 3 bytes in silence, 4 to 6 else, and about 10 where a stream begins or has a
// gap.
class PacketSegment {
 public:
  // An empty segment; its bytes begin where those of `before`, which must not grow any more, end.
  // `before` may be null.
  PacketSegment(std::shared_ptr<const StreamSet> streams, const PacketSegment* before);

  // When memory runs out it throws std::bad_alloc and the segment is as it was. `dropped_ns` takes
  // the packet's place; what is not above 0 counts as 0.
  void Append(const EncodedPacket& packet, std::int64_t dropped_ns);

  // Gives back the room for further packets. The last call on the segment that is not const.
  void Close();

  [[nodiscard]] const std::shared_ptr<const StreamSet>& streams() const { return streams_; }

  // Adds the packets to `packets`, in the order in which they came. Throws std::bad_alloc.
  void AddPackets(std::vector<StoredPacket>& packets) const;

  // Whether the pictures in it can be decoded: the first of them is a key frame.
  [[nodiscard]] bool HasKeyFrame() const { return has_key_frame_; }

  // The time of the key frame, or else of the first packet; 0 when there is none.
  [[nodiscard]] std::int64_t StartNs() const { return start_ns_; }
  // The latest end of a packet.
  [[nodiscard]] std::int64_t EndNs() const { return end_ns_; }

  // What the packets take: their bytes and entries.
  [[nodiscard]] std::size_t SizeInMemory() const { return payload_size_ + entries_.size(); }

  // Adds the bytes of one of its packets to `pieces`: one piece for each block that they lie in.
  // The pieces are valid as long as the segment.
  void AddPieces(const StoredBytes& bytes,
                 std::vector<std::span<const std::uint8_t>>& pieces) const;

 private:
  // The packet of a stream that came last, or what the first one is compared with.
  struct Previous {
    std::int64_t end_ns = 0;  // from the segment's start on
    std::int64_t duration_ns = 0;
    std::size_t offset = 0;  // of the bytes
    std::size_t size = 0;
  };
  static Previous& Of(std::size_t stream, std::vector<Previous>& previous);

  // What is at `offset`, up to the end of the block or to `size` bytes.
  [[nodiscard]] std::span<std::uint8_t> Piece(std::size_t offset, std::size_t size) const;
  [[nodiscard]] bool Holds(std::size_t offset, std::span<const std::uint8_t> bytes) const;
  void Write(std::size_t offset, std::span<const std::uint8_t> bytes);

  std::shared_ptr<const StreamSet> streams_;
  std::vector<std::uint8_t> entries_;
  std::vector<Previous> previous_;  // for each stream so far; none once it is closed
  std::vector<std::shared_ptr<PacketBlock>> blocks_;
  std::size_t begin_ = 0;  // of the bytes in the first block
  std::size_t used_ = 0;   // of the blocks, counted from the first one's beginning
  std::size_t payload_size_ = 0;
  std::int64_t start_ns_ = 0;
  std::int64_t end_ns_ = 0;
  bool has_key_frame_ = false;
};

}  // namespace open_gsdk
