#include "open_gsdk/session/video_pipeline.h"

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

#include "open_gsdk/session/frame_clock.h"
#include "open_gsdk/session/own_thread.h"
#include "open_gsdk/session/steady_time.h"
#include "open_gsdk/support/failure.h"
#include "open_gsdk/support/library_log.h"

namespace open_gsdk {
namespace {

std::string Microseconds(std::int64_t total_ns, std::int64_t count) {
  return std::to_string(total_ns / std::max<std::int64_t>(count, 1) / 1000) + " us";
}

}  // namespace

VideoPipeline::VideoPipeline(const VideoEncoding& encoding, const VideoSource& source)
    : encoding_(encoding), encoder_(encoding), source_(source) {}

VideoPipeline::~VideoPipeline() { Stop(); }

void VideoPipeline::SetSource(const VideoSource& source) {
  const std::lock_guard lock(mutex_);
  source_ = source;
}

void VideoPipeline::Start(std::int64_t start_ns, PacketSink& sink) {
  start_ns_ = start_ns;
  sink_ = &sink;
  thread_ = StartOwnThread([this] { Run(); });
}

void VideoPipeline::Stop() {
  timer_.Stop();
  if (thread_.joinable()) thread_.join();
}

std::string VideoPipeline::Figures() const {
  return std::to_string(frames_) + " frames, " + std::to_string(repeated_frames_) +
         " of them repeated, " + std::to_string(dropped_frames_) + " dropped, " +
         Microseconds(grab_ns_, frames_) + " to take one, " + Microseconds(encode_ns_, frames_) +
         " to encode it";
}

VideoSource VideoPipeline::Source() {
  const std::lock_guard lock(mutex_);
  return source_;
}

void VideoPipeline::Run() {
  try {
    RecordUntilStopped();
  } catch (const Failure& failure) {
    sink_->Fail(failure.code(), failure.what());
  } catch (const std::exception& error) {
    sink_->Fail(ErrorCode::kCaptureFailed, error.what());
  }
}

void VideoPipeline::RecordUntilStopped() {
  std::int64_t next = 0;
  while (timer_.WaitUntil(SteadyPoint(TimeOf(next)))) {
    const std::int64_t due = FrameDueAt(SteadyNowNs() - start_ns_, encoding_.frame_rate);
    const CatchUp late = CatchUpTo(next, due, encoding_.frame_rate);
    for (std::int64_t repeat = 0; repeat < late.repeated && !timer_.stopped(); ++repeat) {
      EncodeFrame(next++);
      ++repeated_frames_;
    }
    if (late.dropped > 0) {
      Drop(next, late.dropped);
      next += late.dropped;
    }
    Grab();
    EncodeFrame(next++);
  }
}

void VideoPipeline::Grab() {
  const std::int64_t begin = SteadyNowNs();
  const VideoSource source = Source();
  switch (capture_.Grab(source)) {
    case GrabResult::kPicture:
      encoder_.SetPicture(capture_.image());
      break;
    case GrabResult::kNothing:
      break;  // the last picture stays
    case GrabResult::kGone:
      throw Failure(
          source.window == nullptr ? ErrorCode::kMonitorGone : ErrorCode::kWindowClosed,
          DescribeSource(source) + (source.window == nullptr ? " is gone" : " was closed"));
  }
  grab_ns_ += SteadyNowNs() - begin;
}

void VideoPipeline::Drop(std::int64_t first_frame, std::int64_t count) {
  dropped_frames_ += count;
  dropped_ns_ += TimeOf(first_frame + count) - TimeOf(first_frame);
  want_key_frame_ = true;
  Log(LogLevel::kWarning,
      "too late for " + std::to_string(count) + " frames, going on without them");
}

void VideoPipeline::EncodeFrame(std::int64_t number) {
  const std::int64_t begin = SteadyNowNs();
  std::vector<EncodedPacket> packets;
  encoder_.Encode(number, std::exchange(want_key_frame_, false), [&](VideoEncoder::Output output) {
    const std::int64_t time_ns = TimeOf(output.frame_number);
    packets.push_back({.streams = nullptr,
                       .stream = 0,
                       .key_frame = output.key_frame,
                       .time_ns = time_ns,
                       .duration_ns = TimeOf(output.frame_number + 1) - time_ns,
                       .dropped_ns = std::exchange(dropped_ns_, 0),
                       .data = std::move(output.data)});
  });
  ++frames_;
  encode_ns_ += SteadyNowNs() - begin;
  for (EncodedPacket& packet : packets) {
    if (std::exchange(described_, true)) {
      sink_->Push(std::move(packet));
    } else {
      sink_->PushFirst(encoder_.format(), std::move(packet));
    }
  }
}

std::int64_t VideoPipeline::TimeOf(std::int64_t frame) const {
  return start_ns_ + FrameTimeNs(frame, encoding_.frame_rate);
}

}  // namespace open_gsdk
