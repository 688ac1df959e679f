#include "open_gsdk/session/picture_encoder.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "open_gsdk/session/frame_clock.h"
#include "open_gsdk/support/steady_time.h"

namespace open_gsdk {

PictureEncoder::PictureEncoder(std::unique_ptr<VideoEncoder> encoder, Frame picture, int frame_rate)
    : encoder_(std::move(encoder)), picture_(std::move(picture)), frame_rate_(frame_rate) {}

void PictureEncoder::EncodePictures(std::int64_t start_ns, PictureHandover& handover,
                                    PacketSink& sink) {
  start_ns_ = start_ns;
  for (;;) {
    std::optional<TakenPicture> taken = handover.Take(StandsTooLongAtNs());
    if (handover.closed()) return;
    if (taken) {
      const std::int64_t number = FrameToEncode(taken->number, last_);
      Take(std::move(*taken));
      Encode(number, sink);
    } else {
      ++figures_.repeated;
      Encode(FrameToEncode(FrameDueAt(SteadyNowNs() - start_ns_, frame_rate_), last_), sink);
    }
  }
}

std::int64_t PictureEncoder::StandsTooLongAtNs() const {
  // Half a frame more, for a picture that is on its way.
  const std::int64_t due = std::max<std::int64_t>(last_, 0) + frame_rate_;
  return TimeOf(due) + (TimeOf(due + 1) - TimeOf(due)) / 2;
}

void PictureEncoder::Take(TakenPicture picture) {
  dropped_ns_ += TimeOf(picture.number) - TimeOf(picture.number - picture.lost);
  picture_ = std::move(picture.frame);
  if (std::exchange(from_hdr_, picture.from_hdr) != picture.from_hdr) described_ = false;
  if (!picture.encoder) return;
  encoder_ = std::move(picture.encoder);
  described_ = false;
}

void PictureEncoder::Encode(std::int64_t number, PacketSink& sink) {
  const std::int64_t begin_ns = SteadyNowNs();
  const bool key_frame = !described_ || IsKeyFrameDue(number, last_key_frame_, frame_rate_);
  if (key_frame) last_key_frame_ = number;
  last_ = number;
  std::vector<EncodedPacket> packets;
  encoder_->Encode(*picture_, number, key_frame, [&](VideoEncoder::Output output) {
    if (output.key_frame) last_key_frame_ = std::max(last_key_frame_, output.frame_number);
    const std::int64_t time_ns = TimeOf(output.frame_number);
    packets.push_back({.streams = nullptr,
                       .stream = 0,
                       .key_frame = output.key_frame,
                       .time_ns = time_ns,
                       .duration_ns = TimeOf(output.frame_number + 1) - time_ns,
                       .dropped_ns = std::exchange(dropped_ns_, 0),
                       .data = std::move(output.data)});
  });
  ++figures_.frames;
  figures_.encode_ns += SteadyNowNs() - begin_ns;
  for (EncodedPacket& packet : packets) {
    if (std::exchange(described_, true)) {
      sink.Push(std::move(packet));
    } else {
      VideoFormat format = encoder_->format();
      format.from_hdr = from_hdr_;
      sink.PushFirst(format, std::move(packet));
    }
  }
}

std::int64_t PictureEncoder::TimeOf(std::int64_t frame) const {
  return start_ns_ + FrameTimeNs(frame, frame_rate_);
}

}  // namespace open_gsdk
