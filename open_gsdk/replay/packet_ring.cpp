#include "open_gsdk/replay/packet_ring.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace open_gsdk {
namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLongestSoundDelayNs = kNsPerSecond / 2;
// A clip's sound begins with the packet before the one that is heard first: at 8000 Hz, the lowest
// rate, both together take a quarter of a second.
constexpr std::int64_t kSoundLeadNs = kNsPerSecond * 3 / 10;

}  // namespace

std::size_t MemoryLimit(const StreamSet& streams, std::int64_t duration_ns) {
  constexpr std::int64_t kLeast = std::int64_t{16} * 1024 * 1024;
  std::int64_t bits_per_second =
      std::int64_t{streams.video.width} * streams.video.height * streams.video.frame_rate;
  for (const AudioFormat& format : streams.audio) bits_per_second += format.bit_rate;
  // The ring holds up to two seconds more than the duration.
  const std::int64_t seconds = duration_ns / kNsPerSecond + 3;
  return static_cast<std::size_t>(std::max(kLeast, bits_per_second / 8 * seconds));
}

std::int64_t SoundEndNs(const std::vector<std::int64_t>& ends_ns, int frame_rate) {
  const std::int64_t pictures_end = ends_ns.front();
  if (pictures_end == kNoTime) return kNoTime;
  // A picture comes when it begins, its sound when it was heard.
  const std::int64_t pictures_seen = pictures_end - kNsPerSecond / std::max(frame_rate, 1);
  std::int64_t earliest = kLatest;
  for (std::size_t stream = 1; stream < ends_ns.size(); ++stream) {
    if (ends_ns[stream] < pictures_seen - kLongestSoundDelayNs) continue;
    earliest = std::min(earliest, ends_ns[stream]);
  }
  return earliest == kLatest ? pictures_end : earliest;
}

void PacketRing::SetDuration(std::int64_t duration_ns) {
  duration_ns_ = duration_ns;
  memory_limited_ = false;
  Trim();
}

void PacketRing::Push(const EncodedPacket& packet) {
  if (packet.stream > packet.streams->audio.size()) return;
  if (!packet.IsVideo()) {
    PushSound(packet);
  } else if (packet.key_frame) {
    PushKeyFrame(packet);
  } else {
    PushPicture(packet);
  }
  Trim();
}

void PacketRing::PushKeyFrame(const EncodedPacket& packet) {
  // Should this one be lost, then so are those that need it.
  const bool lost_pictures = std::exchange(lost_pictures_, true);
  const bool same_streams = streams_ == packet.streams;
  std::int64_t dropped_ns = packet.dropped_ns;
  std::vector<std::int64_t> ends_ns(1 + packet.streams->audio.size(), kNoTime);
  if (streams_ && streams_->audio == packet.streams->audio) ends_ns = ends_ns_;
  if (!same_streams) {
    ends_ns.front() = kNoTime;
  } else if (lost_pictures && ends_ns.front() != kNoTime) {
    dropped_ns = std::max(dropped_ns, packet.time_ns - ends_ns.front());
  }
  StartSegment(packet, dropped_ns);

  if (streams_ && streams_->audio != packet.streams->audio) {
    while (segments_.size() > 1) DropFront();
  }
  if (!same_streams) memory_limited_ = false;
  streams_ = packet.streams;
  ends_ns_ = std::move(ends_ns);
  NoteEnd(packet);
  lost_pictures_ = false;
}

void PacketRing::PushPicture(const EncodedPacket& packet) {
  if (lost_pictures_ || packet.streams != streams_) return;
  lost_pictures_ = true;
  if (!Append(packet)) return;
  lost_pictures_ = false;
}

void PacketRing::PushSound(const EncodedPacket& packet) {
  if (streams_ && streams_ != packet.streams && streams_->audio != packet.streams->audio) return;
  // Without pictures only the last sound is of use.
  const bool has_pictures = !segments_.empty() && segments_.back()->HasKeyFrame();
  if (!segments_.empty() &&
      (has_pictures || packet.time_ns - segments_.back()->StartNs() < kNsPerSecond)) {
    Append(packet);
    return;
  }
  std::vector<std::int64_t> ends_ns(1 + packet.streams->audio.size(), kNoTime);
  StartSegment(packet, packet.dropped_ns);
  if (!streams_) {
    streams_ = packet.streams;
    ends_ns_ = std::move(ends_ns);
  }
  NoteEnd(packet);
}

void PacketRing::StartSegment(const EncodedPacket& packet, std::int64_t dropped_ns) {
  const PacketSegment* const before = segments_.empty() ? nullptr : segments_.back().get();
  auto segment = std::make_shared<PacketSegment>(packet.streams, before);
  segment->Append(packet, dropped_ns);
  segments_.push_back(std::move(segment));
  size_ += segments_.back()->SizeInMemory();
  if (segments_.size() > 1) segments_[segments_.size() - 2]->Close();
}

bool PacketRing::Append(const EncodedPacket& packet) {
  PacketSegment& segment = *segments_.back();
  if (segment.SizeInMemory() + packet.data.size() > MemoryLimit(*streams_, duration_ns_)) {
    memory_limited_ = true;
    return false;
  }
  const std::size_t before = segment.SizeInMemory();
  segment.Append(packet, packet.dropped_ns);
  size_ += segment.SizeInMemory() - before;
  NoteEnd(packet);
  return true;
}

void PacketRing::NoteEnd(const EncodedPacket& packet) {
  std::int64_t& end_ns = ends_ns_[packet.stream];
  end_ns = std::max(end_ns, packet.time_ns + packet.duration_ns);
}

void PacketRing::Trim() {
  if (segments_.empty()) return;
  const std::int64_t needed_ns = NeededFromNs();
  while (segments_.size() > 1 && segments_.front()->EndNs() <= needed_ns) DropFront();
  const std::size_t limit = MemoryLimit(*streams_, duration_ns_);
  while (segments_.size() > 1 && size_ > limit) {
    DropFront();
    memory_limited_ = true;
  }
}

void PacketRing::DropFront() {
  size_ -= segments_.front()->SizeInMemory();
  segments_.pop_front();
}

std::int64_t PacketRing::NeededFromNs() const {
  if (ends_ns_.front() == kNoTime) {
    return *std::max_element(ends_ns_.begin(), ends_ns_.end()) - kSoundLeadNs;
  }
  // A clip ends with a whole picture.
  const std::int64_t step_ns = kNsPerSecond / std::max(streams_->video.frame_rate, 1) + 1;
  const std::int64_t end_ns =
      std::min(ends_ns_.front(), SoundEndNs(ends_ns_, streams_->video.frame_rate)) - step_ns;
  std::int64_t start_ns = kLatest;
  for (std::size_t index = segments_.size(); index-- > 0;) {
    const PacketSegment& segment = *segments_[index];
    if (!segment.HasKeyFrame() || segment.streams() != streams_) break;
    start_ns = segment.StartNs();
    if (end_ns - start_ns >= duration_ns_) break;
  }
  return start_ns - kSoundLeadNs;
}

RingContent PacketRing::Content() const {
  RingContent content{.streams = streams_,
                      .segments = {},
                      .ends_ns = ends_ns_,
                      .duration_ns = duration_ns_,
                      .memory_limited = memory_limited_};
  if (segments_.empty()) return content;
  content.segments.assign(segments_.begin(), segments_.end());
  // The ring goes on adding to the last one.
  content.segments.back() = std::make_shared<const PacketSegment>(*segments_.back());
  return content;
}

}  // namespace open_gsdk
