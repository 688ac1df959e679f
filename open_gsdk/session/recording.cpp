#include "open_gsdk/session/recording.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

#include "open_gsdk/api/handles.h"
#include "open_gsdk/session/frame_clock.h"
#include "open_gsdk/support/library_log.h"

namespace open_gsdk {
namespace {

using Clock = std::chrono::steady_clock;

std::int64_t NowNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
      .count();
}

Clock::time_point PointOf(std::int64_t time_ns) {
  return Clock::time_point(
      std::chrono::duration_cast<Clock::duration>(std::chrono::nanoseconds(time_ns)));
}

std::vector<AudioTrack> OpenTracks(const SessionProperties& properties) {
  std::vector<AudioTrack> tracks;
  const AudioEncoding encoding = ChooseAudioEncoding(properties);
  for (const std::string& name : properties.tracks) tracks.emplace_back(name, encoding);
  return tracks;
}

std::shared_ptr<const StreamSet> Describe(const VideoEncoder& video,
                                          const std::vector<AudioTrack>& audio) {
  auto streams = std::make_shared<StreamSet>();
  streams->video = video.format();
  for (const AudioTrack& track : audio) streams->audio.push_back(track.format());
  return streams;
}

std::string Microseconds(std::int64_t total_ns, std::int64_t count) {
  return std::to_string(total_ns / std::max<std::int64_t>(count, 1) / 1000) + " us";
}

}  // namespace

Recording::Recording(const SessionProperties& properties, const VideoSource& source)
    : properties_(properties),
      encoding_(ChooseVideoEncoding(properties, SourceSize(source))),
      video_(encoding_),
      audio_(OpenTracks(properties)),
      streams_(Describe(video_, audio_)),
      source_(source),
      audio_dropped_ns_(audio_.size()) {
  Log(LogLevel::kInfo,
      "recording " + DescribeSource(source) + " at " + std::to_string(encoding_.size.width) + "x" +
          std::to_string(encoding_.size.height) + ", " + std::to_string(encoding_.frame_rate) +
          " frames per second, quality " + std::to_string(encoding_.crf) +
          ", libx264, sound tracks: " + std::to_string(audio_.size()));
}

void Recording::Start() {
  thread_ = std::thread([self = shared_from_this()] { self->Run(); });
}

void Recording::Stop() {
  timer_.Stop();
  if (!thread_.joinable()) return;
  if (thread_.get_id() == std::this_thread::get_id()) {
    thread_.detach();
  } else {
    thread_.join();
  }
}

void Recording::SetSource(const VideoSource& source) {
  const std::lock_guard lock(mutex_);
  source_ = source;
}

VideoSource Recording::Source() {
  const std::lock_guard lock(mutex_);
  return source_;
}

void Recording::Run() {
  try {
    RecordUntilStopped();
  } catch (const Failure& failure) {
    ReportError(failure.code(), failure.what());
  } catch (const std::exception& error) {
    ReportError(ErrorCode::kCaptureFailed, error.what());
  }
  Log(LogLevel::kInfo, "recording ended: " + std::to_string(figures_.frames) + " frames, " +
                           std::to_string(figures_.repeated) + " of them repeated, " +
                           std::to_string(figures_.dropped) + " dropped, " +
                           Microseconds(figures_.grab_ns, figures_.frames) + " to take one, " +
                           Microseconds(figures_.encode_ns, figures_.frames) + " to encode it");
}

void Recording::RecordUntilStopped() {
  start_ns_ = NowNs();
  for (AudioTrack& track : audio_) track.StartAt(start_ns_);
  std::int64_t next = 0;
  while (timer_.WaitUntil(PointOf(TimeOf(next)))) {
    const std::int64_t due = FrameDueAt(NowNs() - start_ns_, encoding_.frame_rate);
    const CatchUp late = CatchUpTo(next, due, encoding_.frame_rate);
    for (std::int64_t repeat = 0; repeat < late.repeated && !timer_.stopped(); ++repeat) {
      EncodeFrame(next++);
      ++figures_.repeated;
    }
    if (late.dropped > 0) {
      Drop(next, late.dropped);
      next += late.dropped;
    }
    Grab();
    EncodeFrame(next++);
  }
}

void Recording::Grab() {
  const std::int64_t begin = NowNs();
  const VideoSource source = Source();
  switch (capture_.Grab(source)) {
    case GrabResult::kPicture:
      video_.SetPicture(capture_.image());
      break;
    case GrabResult::kNothing:
      break;  // the last picture stays
    case GrabResult::kGone:
      throw Failure(
          source.window == nullptr ? ErrorCode::kMonitorGone : ErrorCode::kWindowClosed,
          DescribeSource(source) + (source.window == nullptr ? " is gone" : " was closed"));
  }
  figures_.grab_ns += NowNs() - begin;
}

void Recording::Drop(std::int64_t first_frame, std::int64_t count) {
  const std::int64_t length = TimeOf(first_frame + count) - TimeOf(first_frame);
  figures_.dropped += count;
  video_dropped_ns_ += length;
  want_key_frame_ = true;
  for (std::size_t track = 0; track < audio_.size(); ++track) {
    audio_[track].Skip(length);
    audio_dropped_ns_[track] += length;
  }
  Log(LogLevel::kWarning,
      "too late for " + std::to_string(count) + " frames, going on without them");
}

void Recording::EncodeFrame(std::int64_t number) {
  const std::int64_t begin = NowNs();
  const std::int64_t end_ns = TimeOf(number + 1);
  std::vector<EncodedPacket> packets;
  video_.Encode(number, std::exchange(want_key_frame_, false), [&](VideoEncoder::Output output) {
    const std::int64_t time_ns = TimeOf(output.frame_number);
    packets.push_back({.streams = streams_,
                       .stream = 0,
                       .key_frame = output.key_frame,
                       .time_ns = time_ns,
                       .duration_ns = TimeOf(output.frame_number + 1) - time_ns,
                       .dropped_ns = std::exchange(video_dropped_ns_, 0),
                       .data = std::move(output.data)});
  });
  for (std::size_t track = 0; track < audio_.size(); ++track) {
    audio_[track].EncodeUntil(end_ns, [&](AudioTrack::Output output) {
      packets.push_back({.streams = streams_,
                         .stream = 1 + track,
                         .key_frame = true,
                         .time_ns = output.time_ns,
                         .duration_ns = output.duration_ns,
                         .dropped_ns = std::exchange(audio_dropped_ns_[track], 0),
                         .data = std::move(output.data)});
    });
  }
  ++figures_.frames;
  figures_.encode_ns += NowNs() - begin;
  for (EncodedPacket& packet : packets) Deliver(std::move(packet));
}

void Recording::Deliver(EncodedPacket packet) const {
  if (properties_.on_packet == nullptr || timer_.stopped()) return;
  gsdk_encoded_packet* handle =
      Packets().Add(std::make_shared<const EncodedPacket>(std::move(packet)));
  properties_.on_packet(properties_.packet_user_data, handle);
}

void Recording::ReportError(ErrorCode code, const std::string& message) const {
  // Whoever stops the session asked for its end and needs no error.
  if (timer_.stopped()) return;
  Log(LogLevel::kError, message);
  if (properties_.on_error == nullptr) return;
  properties_.on_error(properties_.error_user_data, NewError(code, message));
}

std::int64_t Recording::TimeOf(std::int64_t frame) const {
  return start_ns_ + FrameTimeNs(frame, encoding_.frame_rate);
}

}  // namespace open_gsdk
