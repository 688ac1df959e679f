#include "open_gsdk/session/sound_track.h"

#include <algorithm>
#include <utility>

#include "open_gsdk/session/sound_timeline.h"

namespace open_gsdk {

SoundTrack::SoundTrack(const std::string& name, const AudioEncoding& encoding)
    : encoder_(name, encoding) {}

void SoundTrack::Start(std::int64_t start_ns, std::function<void(SoundPacket)> deliver) {
  start_ns_ = start_ns;
  deliver_ = std::move(deliver);
}

void SoundTrack::Add(const SoundBlock& block, bool loss) {
  const int rate = format().sample_rate;
  const bool joins = converter_ && converter_->format() == block.format;
  if (!joins) CloseConverter();
  const std::int64_t belongs = SamplesUntil(block.time_ns, start_ns_, rate);
  const auto late = [&] {
    return EndSample() + (converter_ ? converter_->Delay() : 0) - skip_ - belongs;
  };
  if (AlignBlock(late(), block.jump || !joins, rate).breaks) CloseConverter();
  // Anew, since closing made the track longer by what was inside the converter.
  const Alignment alignment = AlignBlock(late(), block.jump || !joins, rate);
  if (alignment.breaks) {
    CountLate(alignment.skip);
    skip_ = alignment.skip;
    AddSilence(alignment.silence, loss);
  }
  if (!converter_) converter_.emplace(block.format, rate);
  converter_->Stretch(alignment.stretch, rate);

  const std::size_t before = pending_.size();
  converter_->Convert(block.bytes.data(), static_cast<std::size_t>(block.frames), pending_);
  const auto given = static_cast<std::int64_t>(pending_.size() - before);
  const std::int64_t skipped = std::min(skip_, given);
  pending_.Remove(before, static_cast<std::size_t>(skipped));
  skip_ -= skipped;
  if (given > skipped) quiet_ = 0;
  Encode();
}

void SoundTrack::FillUntil(std::int64_t time_ns, bool loss) {
  if (NextPacketEndNs() > time_ns) return;
  CloseConverter();
  while (NextPacketEndNs() <= time_ns) {
    AddSilence(static_cast<std::int64_t>(encoder_.frame_size() - pending_.size()), loss);
  }
}

std::int64_t SoundTrack::NextPacketEndNs() const {
  return TimeNs(encoded_ + static_cast<std::int64_t>(encoder_.frame_size()));
}

void SoundTrack::CloseConverter() {
  if (!converter_) return;
  const std::size_t before = pending_.size();
  converter_->Drain(pending_);
  const std::size_t given = pending_.size() - before;
  pending_.Remove(before, std::min(given, static_cast<std::size_t>(skip_)));
  skip_ = 0;
  converter_.reset();
  Encode();
}

void SoundTrack::AddSilence(std::int64_t count, bool loss) {
  (loss ? lost_ : quiet_) += count;
  while (count > 0) {
    const auto part = std::min(count, static_cast<std::int64_t>(encoder_.frame_size()));
    pending_.AddSilence(static_cast<std::size_t>(part));
    Encode();
    count -= part;
  }
}

// Sound that comes when silence has taken its place is lost, too.
void SoundTrack::CountLate(std::int64_t skipped) {
  const std::int64_t late = std::min(skipped, quiet_);
  lost_ += late;
  quiet_ -= late;
}

void SoundTrack::Encode() {
  const std::size_t size = encoder_.frame_size();
  std::size_t done = 0;
  for (; pending_.size() - done >= size; done += size) {
    encoder_.Encode(pending_.left.data() + done, pending_.right.data() + done,
                    [this](SoundEncoder::Output output) { Deliver(std::move(output)); });
  }
  if (done == 0) return;
  pending_.Remove(0, done);
  encoded_ += static_cast<std::int64_t>(done);
}

void SoundTrack::Deliver(SoundEncoder::Output output) {
  const std::int64_t time_ns = TimeNs(output.first_sample);
  const auto size = static_cast<std::int64_t>(encoder_.frame_size());
  deliver_({.time_ns = time_ns,
            .duration_ns = TimeNs(output.first_sample + size) - time_ns,
            .dropped_ns = TimeNs(std::exchange(lost_, 0)) - start_ns_,
            .data = std::move(output.data)});
}

std::int64_t SoundTrack::EndSample() const {
  return encoded_ + static_cast<std::int64_t>(pending_.size());
}

std::int64_t SoundTrack::TimeNs(std::int64_t sample) const {
  return SampleTimeNs(sample, start_ns_, format().sample_rate);
}

}  // namespace open_gsdk
