// The replay buffer of a recorder handle.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "capture/gsdk_api.h"
#include "open_gsdk/encoded_packet.h"
#include "open_gsdk/packet_ring.h"

namespace open_gsdk {

// Any thread.
class Recorder {
 public:
  void SetDuration(std::uint32_t milliseconds);

  // Waits for a dump no longer than it takes to copy the list of packets.
  void Push(SharedPacket packet);

  // Writes what is in the buffer right now to `path` (UTF-8) as MP4. Packets may be pushed
  // meanwhile.
  gsdk_dump_result Dump(const std::string& path);

 private:
  std::mutex mutex_;
  PacketRing ring_;  // guarded by mutex_
};

}  // namespace open_gsdk
