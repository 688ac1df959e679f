#include "open_gsdk/replay/mux_output.h"

#include <algorithm>
#include <cstdio>
#include <new>

namespace open_gsdk {
namespace {

// A larger piece takes longer to copy than one more call to the system.
constexpr std::size_t kSmallPiece = 64 * std::size_t{1024};
constexpr std::size_t kGatheredAtMost = 512 * std::size_t{1024};

}  // namespace

MuxOutput::MuxOutput(const ByteSink* sink, std::size_t largest_packet)
    : sink_(sink), stand_in_(largest_packet + AV_INPUT_BUFFER_PADDING_SIZE) {
  // The header and all else that is not packets.
  constexpr int kBufferSize = 256 * 1024;
  auto* buffer = static_cast<std::uint8_t*>(av_malloc(kBufferSize));
  if (buffer == nullptr) throw std::bad_alloc();
  io_.reset(avio_alloc_context(buffer, kBufferSize, 1, this, nullptr, OnWrite, OnSeek));
  if (!io_) {
    av_free(buffer);
    throw std::bad_alloc();
  }
  if (sink != nullptr) gathered_.reserve(kGatheredAtMost);
}

std::uint8_t* MuxOutput::StandInFor(const std::vector<std::span<const std::uint8_t>>& pieces) {
  pieces_ = pieces;
  return stand_in_.data();
}

bool MuxOutput::Finish() {
  avio_flush(io_.get());
  SendPending();
  SendGathered();
  return !failed_;
}

int MuxOutput::OnWrite(void* output, const std::uint8_t* bytes, int count) {
  auto& self = *static_cast<MuxOutput*>(output);
  const auto size = static_cast<std::size_t>(count);
  const std::uint8_t* const stand_in = self.stand_in_.data();
  if (self.sink_ == nullptr) {
    self.position_ += count;
  } else if (bytes >= stand_in && bytes < stand_in + self.stand_in_.size()) {
    self.WritePieces(static_cast<std::size_t>(bytes - stand_in), size);
  } else {
    // FFmpeg uses the memory again, so these may not wait where they are.
    self.Write({bytes, size});
    self.SendPending();
  }
  self.size_ = std::max(self.size_, self.position_);
  return self.failed_ ? AVERROR(EIO) : count;
}

std::int64_t MuxOutput::OnSeek(void* output, std::int64_t offset, int whence) {
  auto& self = *static_cast<MuxOutput*>(output);
  switch (whence) {
    case AVSEEK_SIZE:
      return self.size_;
    case SEEK_SET:
      return self.GoTo(offset);
    case SEEK_CUR:
      return self.GoTo(self.position_ + offset);
    case SEEK_END:
      return self.GoTo(self.size_ + offset);
    default:
      return AVERROR(EINVAL);
  }
}

std::int64_t MuxOutput::GoTo(std::int64_t position) {
  SendPending();
  SendGathered();
  sent_ = position;
  return position_ = position;
}

// Puts the part of the packet's pieces there that FFmpeg has asked for.
void MuxOutput::WritePieces(std::size_t begin, std::size_t count) {
  for (const std::span<const std::uint8_t> piece : pieces_) {
    const std::size_t skipped = std::min(begin, piece.size());
    const std::size_t taken = std::min(count, piece.size() - skipped);
    if (taken > 0) Write(piece.subspan(skipped, taken));
    begin -= skipped;
    count -= taken;
  }
}

void MuxOutput::Write(std::span<const std::uint8_t> bytes) {
  if (!pending_.empty() && pending_.data() + pending_.size() == bytes.data()) {
    pending_ = {pending_.data(), pending_.size() + bytes.size()};
  } else {
    SendPending();
    pending_ = bytes;
  }
  position_ += static_cast<std::int64_t>(bytes.size());
}

void MuxOutput::SendPending() {
  const bool small = pending_.size() <= kSmallPiece;
  if (!small || gathered_.size() + pending_.size() > kGatheredAtMost) SendGathered();
  if (small) {
    gathered_.insert(gathered_.end(), pending_.begin(), pending_.end());
  } else {
    Send(pending_);
  }
  pending_ = {};
}

void MuxOutput::SendGathered() {
  Send(gathered_);
  gathered_.clear();
}

void MuxOutput::Send(std::span<const std::uint8_t> bytes) {
  if (!failed_ && !bytes.empty() && !(*sink_)(sent_, bytes)) failed_ = true;
  sent_ += static_cast<std::int64_t>(bytes.size());
}

}  // namespace open_gsdk
