// The replay buffer of a recorder handle.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/replay/clip.h"
#include "open_gsdk/replay/encoded_packet.h"
#include "open_gsdk/replay/packet_ring.h"

namespace open_gsdk {

// Any thread.
class Recorder {
 public:
  void SetDuration(std::uint32_t milliseconds);

  // Takes pictures as encoders give them, with start codes. Copies what it keeps. Waits for a dump
  // no longer than it takes to copy the list of the ring's segments. Throws std::bad_alloc as
  // PacketRing::Push does.
  void Push(const EncodedPacket& packet);

  // Has `write` store what is in the buffer right now. Packets may be pushed meanwhile. Throws
  // std::bad_alloc.
  gsdk_dump_result Dump(const std::function<DumpStatus(const Clip&)>& write);

 private:
  std::mutex mutex_;
  PacketRing ring_;  // guarded by mutex_
};

}  // namespace open_gsdk
