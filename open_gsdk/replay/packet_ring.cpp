#include "open_gsdk/replay/packet_ring.h"

#include <algorithm>
#include <utility>

namespace open_gsdk {

void PacketRing::SetDuration(std::int64_t duration_ns) {
  duration_ns_ = duration_ns;
  DropOld();
}

void PacketRing::Push(SharedPacket packet) {
  if (!packets_.empty() && packets_.front()->streams != packet->streams) {
    packets_.clear();
    key_frames_.clear();
  }
  const bool starts_group = packet->IsVideo() && packet->key_frame;
  if (packets_.empty()) {
    if (!starts_group) return;
    end_ns_ = packet->time_ns;
  }
  if (starts_group) key_frames_.push_back(first_ + packets_.size());
  end_ns_ = std::max(end_ns_, packet->time_ns + packet->duration_ns);
  packets_.push_back(std::move(packet));
  DropOld();
}

void PacketRing::DropOld() {
  while (key_frames_.size() >= 2) {
    const std::size_t group = key_frames_[1] - first_;
    if (end_ns_ - packets_[group]->time_ns < duration_ns_) return;
    packets_.erase(packets_.begin(), packets_.begin() + static_cast<std::ptrdiff_t>(group));
    first_ += group;
    key_frames_.pop_front();
  }
}

}  // namespace open_gsdk
