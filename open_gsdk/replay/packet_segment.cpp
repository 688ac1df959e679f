#include "open_gsdk/replay/packet_segment.h"

#include <algorithm>
#include <utility>

namespace open_gsdk {
namespace {

// The first number of an entry is that of the stream, with these flags below it.
constexpr std::uint64_t kKeyFrame = 1;
constexpr std::uint64_t kRepeated = 2;  // the bytes are those of the stream's packet before
constexpr std::uint64_t kLoss = 4;
constexpr int kFlagBits = 3;

// A number takes a byte for each 7 bits, the lowest first; all but the last have their top bit set.
constexpr std::uint64_t kMore = 0x80;
constexpr int kBitsPerByte = 7;

// An entry that is being made. Signed numbers are turned so that small ones are short.
class Entry {
 public:
  void Add(std::uint64_t number) {
    for (; number >= kMore; number >>= kBitsPerByte) {
      bytes_[size_++] = static_cast<std::uint8_t>(number | kMore);
    }
    bytes_[size_++] = static_cast<std::uint8_t>(number);
  }
  void AddSigned(std::int64_t number) {
    const auto bits = static_cast<std::uint64_t>(number);
    Add(number < 0 ? ~(bits << 1) : bits << 1);
  }
  [[nodiscard]] std::span<const std::uint8_t> bytes() const { return {bytes_.data(), size_}; }

 private:
  std::array<std::uint8_t, 50> bytes_{};  // five numbers of 64 bits
  std::size_t size_ = 0;
};

// Takes numbers from the beginning of `entries`.
std::uint64_t Take(std::span<const std::uint8_t>& entries) {
  std::uint64_t number = 0;
  for (int shift = 0;; shift += kBitsPerByte) {
    const std::uint64_t byte = entries.front();
    entries = entries.subspan(1);
    number |= (byte & ~kMore) << shift;
    if (byte < kMore) return number;
  }
}
std::int64_t TakeSigned(std::span<const std::uint8_t>& entries) {
  const std::uint64_t bits = Take(entries);
  return static_cast<std::int64_t>((bits & 1) != 0 ? ~(bits >> 1) : bits >> 1);
}

}  // namespace

PacketSegment::PacketSegment(std::shared_ptr<const StreamSet> streams, const PacketSegment* before)
    : streams_(std::move(streams)) {
  if (before == nullptr) return;
  const std::size_t last = before->used_ / kBlockSize;
  if (last >= before->blocks_.size()) return;
  blocks_.push_back(before->blocks_[last]);
  begin_ = before->used_ % kBlockSize;
  used_ = begin_;
}

void PacketSegment::Append(const EncodedPacket& packet, std::int64_t dropped_ns) {
  const bool first = entries_.empty();
  const std::int64_t time_ns = first ? 0 : packet.time_ns - start_ns_;
  Previous& previous = Of(packet.stream, previous_);
  const std::size_t size = packet.data.size();
  // Pictures are too large to be compared, and never the same.
  const bool repeated =
      !packet.IsVideo() && size == previous.size && Holds(previous.offset, packet.data);

  Entry entry;
  entry.Add((std::uint64_t{packet.stream} << kFlagBits) | (packet.key_frame ? kKeyFrame : 0) |
            (repeated ? kRepeated : 0) | (dropped_ns > 0 ? kLoss : 0));
  entry.AddSigned(time_ns - previous.end_ns);
  entry.AddSigned(packet.duration_ns - previous.duration_ns);
  if (!repeated) entry.Add(size);
  if (dropped_ns > 0) entry.AddSigned(dropped_ns);
  while (!repeated && blocks_.size() * kBlockSize < used_ + size) {
    blocks_.push_back(std::make_shared_for_overwrite<PacketBlock>());
  }
  entries_.insert(entries_.end(), entry.bytes().begin(), entry.bytes().end());

  // From here on nothing can fail.
  if (first) start_ns_ = packet.time_ns;
  previous.end_ns = time_ns + packet.duration_ns;
  previous.duration_ns = packet.duration_ns;
  end_ns_ = std::max(first ? start_ns_ : end_ns_, start_ns_ + previous.end_ns);
  if (packet.IsVideo() && packet.key_frame) has_key_frame_ = true;
  if (!repeated) {
    Write(used_, packet.data);
    previous.offset = used_;
    previous.size = size;
    used_ += size;
    payload_size_ += size;
  }
}

PacketSegment::Previous& PacketSegment::Of(std::size_t stream, std::vector<Previous>& previous) {
  if (previous.size() <= stream) previous.resize(stream + 1);
  return previous[stream];
}

void PacketSegment::Close() {
  entries_.shrink_to_fit();
  previous_.clear();
  previous_.shrink_to_fit();
}

void PacketSegment::AddPackets(std::vector<StoredPacket>& packets) const {
  std::vector<Previous> previous_of_streams;
  std::size_t end = begin_;
  for (std::span<const std::uint8_t> entries = entries_; !entries.empty();) {
    const std::uint64_t first = Take(entries);
    const auto stream = static_cast<std::size_t>(first >> kFlagBits);
    Previous& previous = Of(stream, previous_of_streams);
    const std::int64_t time_ns = previous.end_ns + TakeSigned(entries);
    previous.duration_ns += TakeSigned(entries);
    previous.end_ns = time_ns + previous.duration_ns;
    if ((first & kRepeated) == 0) {
      previous.offset = end;
      previous.size = static_cast<std::size_t>(Take(entries));
      end += previous.size;
    }
    packets.push_back({.stream = stream,
                       .key_frame = (first & kKeyFrame) != 0,
                       .time_ns = start_ns_ + time_ns,
                       .duration_ns = previous.duration_ns,
                       .dropped_ns = (first & kLoss) != 0 ? TakeSigned(entries) : 0,
                       .bytes = {this, previous.offset, previous.size}});
  }
}

void PacketSegment::AddPieces(const StoredBytes& bytes,
                              std::vector<std::span<const std::uint8_t>>& pieces) const {
  for (std::size_t done = 0; done < bytes.size;) {
    pieces.emplace_back(Piece(bytes.offset + done, bytes.size - done));
    done += pieces.back().size();
  }
}

std::span<std::uint8_t> PacketSegment::Piece(std::size_t offset, std::size_t size) const {
  const std::size_t begin = offset % kBlockSize;
  return {blocks_[offset / kBlockSize]->data() + begin, std::min(size, kBlockSize - begin)};
}

bool PacketSegment::Holds(std::size_t offset, std::span<const std::uint8_t> bytes) const {
  while (!bytes.empty()) {
    const std::span<const std::uint8_t> piece = Piece(offset, bytes.size());
    if (!std::equal(piece.begin(), piece.end(), bytes.begin())) return false;
    bytes = bytes.subspan(piece.size());
    offset += piece.size();
  }
  return true;
}

void PacketSegment::Write(std::size_t offset, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const std::span<std::uint8_t> piece = Piece(offset, bytes.size());
    std::copy_n(bytes.begin(), piece.size(), piece.begin());
    bytes = bytes.subspan(piece.size());
    offset += piece.size();
  }
}

}  // namespace open_gsdk
