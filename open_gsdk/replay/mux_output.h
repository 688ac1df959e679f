// The file that FFmpeg makes, on its way to a ByteSink.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "open_gsdk/support/ffmpeg.h"

namespace open_gsdk {

// Stores bytes at a position of the file that is made; false when that fails.
using ByteSink = std::function<bool(std::int64_t position, std::span<const std::uint8_t> bytes)>;

// FFmpeg is not given the bytes of the packets but others in their place, which it only passes on;
// the real ones go from where they are to the sink, in as large blocks as they lie there. What lies
// there in small pieces, as it does around repeated silence, is put together first. For one thread
// at a time.
class MuxOutput {
 public:
  // `sink` outlives this object. Null for a file of which only the size is wanted.
  // `largest_packet` in bytes.
  MuxOutput(const ByteSink* sink, std::size_t largest_packet);
  ~MuxOutput() = default;
  MuxOutput(const MuxOutput&) = delete;
  MuxOutput& operator=(const MuxOutput&) = delete;

  AVIOContext* io() { return io_.get(); }

  // Until the end of the packets what FFmpeg is given as a packet's data goes on at once.
  void BeginPackets() { io_->direct = 1; }
  void EndPackets() { io_->direct = 0; }

  // What the next packet consists of, which must stay valid; returns what to give to FFmpeg.
  std::uint8_t* StandInFor(const std::vector<std::span<const std::uint8_t>>& pieces);

  // Sends on all that has not been yet. Returns whether all has arrived.
  bool Finish();

  [[nodiscard]] std::int64_t size() const { return size_; }

 private:
  static int OnWrite(void* output, const std::uint8_t* bytes, int count);
  static std::int64_t OnSeek(void* output, std::int64_t offset, int whence);

  void Write(std::span<const std::uint8_t> bytes);
  void WritePieces(std::size_t begin, std::size_t count);
  void SendPending();
  void SendGathered();
  void Send(std::span<const std::uint8_t> bytes);
  std::int64_t GoTo(std::int64_t position);

  const ByteSink* sink_;
  std::vector<std::uint8_t> stand_in_;
  std::vector<std::span<const std::uint8_t>> pieces_;  // of the packet that the stand-in is for
  // What comes next to the sink: small pieces, and the one that still grows, which ends at
  // position_.
  std::vector<std::uint8_t> gathered_;
  std::span<const std::uint8_t> pending_;
  std::int64_t sent_ = 0;  // where in the file that goes
  std::int64_t position_ = 0;
  std::int64_t size_ = 0;
  bool failed_ = false;
  IoContext io_;
};

}  // namespace open_gsdk
