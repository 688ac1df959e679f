#include "open_gsdk/session/packet_sink.h"

#include <utility>

namespace open_gsdk {

// A thread's turn, when it gets one.
class PacketSink::Turn {
 public:
  explicit Turn(PacketSink& sink) : sink_(sink), mine_(sink.BeginTurn()) {}
  ~Turn() {
    if (mine_) sink_.EndTurn();
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  explicit operator bool() const { return mine_; }

 private:
  PacketSink& sink_;
  const bool mine_;
};

PacketSink::PacketSink(std::vector<AudioFormat> audio, PacketCallback on_packet,
                       ErrorCallback on_error)
    : audio_(std::move(audio)), on_packet_(std::move(on_packet)), on_error_(std::move(on_error)) {}

void PacketSink::Push(EncodedPacket packet) {
  const Turn turn(*this);
  if (turn && streams_) HandOut(std::move(packet));
}

void PacketSink::PushFirst(const VideoFormat& video, EncodedPacket packet) {
  const Turn turn(*this);
  if (!turn) return;
  streams_ = std::make_shared<const StreamSet>(StreamSet{video, audio_});
  HandOut(std::move(packet));
}

void PacketSink::Fail(ErrorCode code, const std::string& message) {
  const Turn turn(*this);
  if (!turn) return;
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
  }
  changed_.notify_all();
  if (on_error_) on_error_(code, message);
}

void PacketSink::Close() {
  std::unique_lock lock(mutex_);
  closed_ = true;
  changed_.notify_all();
  changed_.wait(lock, [this] {
    return caller_ == std::thread::id() || caller_ == std::this_thread::get_id();
  });
}

bool PacketSink::BeginTurn() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return closed_ || caller_ == std::thread::id(); });
  if (closed_) return false;
  caller_ = std::this_thread::get_id();
  return true;
}

void PacketSink::EndTurn() {
  {
    const std::lock_guard lock(mutex_);
    caller_ = std::thread::id();
  }
  changed_.notify_all();
}

void PacketSink::HandOut(EncodedPacket packet) {
  packet.streams = streams_;
  if (on_packet_) on_packet_(std::make_shared<const EncodedPacket>(std::move(packet)));
}

}  // namespace open_gsdk
