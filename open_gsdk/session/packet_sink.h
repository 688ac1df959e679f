// The one place through which the pipelines of a recording hand out their packets, and its end.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "open_gsdk/replay/encoded_packet.h"
#include "open_gsdk/support/failure.h"

namespace open_gsdk {

// Any thread. The two callbacks run on the threads that call, one at a time and while no lock is
// held, so that they may call everything that others may.
class PacketSink {
 public:
  using PacketCallback = std::function<void(SharedPacket)>;
  using ErrorCallback = std::function<void(ErrorCode, const std::string&)>;

  // Both callbacks may be empty.
  PacketSink(std::vector<AudioFormat> audio, PacketCallback on_packet, ErrorCallback on_error);

  // Hands out a packet of the streams that were described last, and returns when the callback has.
  // Without a description yet the packet is dropped: nothing can be played before the first
  // picture.
  void Push(EncodedPacket packet);

  // Describes the video anew, with `packet` (a key frame) as its first one. Packets from now on are
  // of another stream set than the ones before.
  void PushFirst(const VideoFormat& video, EncodedPacket packet);

  // Closes, and then calls the error callback, unless the sink was closed before.
  void Fail(ErrorCode code, const std::string& message);

  // Nothing is handed out any more: waits for a callback that runs on another thread. From within a
  // callback it cannot wait, and that callback is the last one.
  void Close();

 private:
  class Turn;

  // Waits for its turn among the threads that call; false once the sink is closed.
  bool BeginTurn();
  void EndTurn();
  void HandOut(EncodedPacket packet);

  const std::vector<AudioFormat> audio_;
  const PacketCallback on_packet_;
  const ErrorCallback on_error_;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::thread::id caller_;  // guarded by mutex_; the thread that has its turn
  bool closed_ = false;     // guarded by mutex_

  std::shared_ptr<const StreamSet> streams_;  // of the thread that has its turn
};

}  // namespace open_gsdk
