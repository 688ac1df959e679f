// The last packets of a stream, back to the key frame from which the wanted time can be played.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "open_gsdk/replay/encoded_packet.h"

namespace open_gsdk {

// Starts with a key frame whenever it is not empty, and holds at least the set duration (once that
// much was pushed) and less than one key-frame distance more. Not synchronised.
class PacketRing {
 public:
  void SetDuration(std::int64_t duration_ns);

  // Packets that come before the first key frame are of no use and are dropped. A packet of another
  // session than the ones before empties the ring first.
  void Push(SharedPacket packet);

  // Oldest first, in the order of the pushes.
  [[nodiscard]] std::vector<SharedPacket> Packets() const {
    return {packets_.begin(), packets_.end()};
  }

 private:
  void DropOld();

  std::int64_t duration_ns_ = 0;
  std::int64_t end_ns_ = 0;
  std::deque<SharedPacket> packets_;
  // Of each key frame, its number counted over all packets that were ever kept.
  std::deque<std::size_t> key_frames_;
  std::size_t first_ = 0;  // the number of packets_.front()
};

}  // namespace open_gsdk
