#include "open_gsdk/replay/packet_segment.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace open_gsdk {
namespace {

constexpr std::int64_t kLongestDurationNs = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t kLargestOffset = std::numeric_limits<std::uint32_t>::max();

}  // namespace

PacketSegment::PacketSegment(std::shared_ptr<const StreamSet> streams, const PacketSegment* before)
    : streams_(std::move(streams)) {
  if (before == nullptr) return;
  const std::size_t last = before->used_ / kBlockSize;
  if (last >= before->blocks_.size()) return;
  blocks_.push_back(before->blocks_[last]);
  used_ = before->used_ % kBlockSize;
}

void PacketSegment::Append(const EncodedPacket& packet, std::int64_t dropped_ns) {
  const std::size_t size = packet.data.size();
  if (size > kLargestOffset - used_) throw std::bad_alloc();
  while (blocks_.size() * kBlockSize < used_ + size) {
    blocks_.push_back(std::make_shared_for_overwrite<PacketBlock>());
  }
  if (dropped_ns > 0) losses_.reserve(losses_.size() + 1);
  const std::int64_t duration_ns =
      std::clamp<std::int64_t>(packet.duration_ns, 0, kLongestDurationNs);
  packets_.push_back({.time_ns = packet.time_ns,
                      .duration_ns = static_cast<std::uint32_t>(duration_ns),
                      .offset = static_cast<std::uint32_t>(used_),
                      .size = static_cast<std::uint32_t>(size),
                      .stream = static_cast<std::uint8_t>(packet.stream),
                      .key_frame = packet.key_frame});
  // From here on nothing can fail.
  if (dropped_ns > 0) losses_.push_back({packets_.size() - 1, dropped_ns});
  Write(used_, packet.data);
  used_ += size;
  payload_size_ += size;
  const std::int64_t packet_end_ns = packet.time_ns + duration_ns;
  end_ns_ = packets_.size() == 1 ? packet_end_ns : std::max(end_ns_, packet_end_ns);
  if (packet.IsVideo() && packet.key_frame) has_key_frame_ = true;
}

std::int64_t PacketSegment::DroppedBefore(std::size_t number) const {
  const auto found =
      std::lower_bound(losses_.begin(), losses_.end(), number,
                       [](const Loss& loss, std::size_t wanted) { return loss.packet < wanted; });
  return found == losses_.end() || found->packet != number ? 0 : found->dropped_ns;
}

void PacketSegment::AddPieces(const StoredPacket& packet,
                              std::vector<std::span<const std::uint8_t>>& pieces) const {
  std::size_t block = packet.offset / kBlockSize;
  std::size_t offset = packet.offset % kBlockSize;
  for (std::size_t left = packet.size; left > 0;) {
    const std::size_t count = std::min(left, kBlockSize - offset);
    pieces.emplace_back(blocks_[block]->data() + offset, count);
    left -= count;
    ++block;
    offset = 0;
  }
}

void PacketSegment::Write(std::size_t offset, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const std::size_t begin = offset % kBlockSize;
    const std::size_t count = std::min(bytes.size(), kBlockSize - begin);
    std::copy_n(bytes.begin(), count, blocks_[offset / kBlockSize]->begin() + begin);
    bytes = bytes.subspan(count);
    offset += count;
  }
}

}  // namespace open_gsdk
