#include "open_gsdk/session/video_pipeline.h"

#include <windows.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "open_gsdk/session/own_thread.h"
#include "open_gsdk/support/failure.h"

namespace open_gsdk {
namespace {

std::string Microseconds(std::int64_t total_ns, std::int64_t count) {
  return std::to_string(total_ns / std::max<std::int64_t>(count, 1) / 1000) + " us";
}

}  // namespace

VideoPipeline::VideoPipeline(VideoParts parts, const VideoSource& source, Size size)
    : taker_(std::move(parts), source, size),
      encoder_(taker_.OpenEncoder(), taker_.Black(), taker_.encoding().frame_rate) {}

VideoPipeline::~VideoPipeline() { Stop(); }

void VideoPipeline::Start(std::int64_t start_ns, PacketSink& sink) {
  encoding_ = StartStage(
      sink, [this, start_ns, &sink] { encoder_.EncodePictures(start_ns, handover_, sink); });
  taking_ =
      StartStage(sink, [this, start_ns] { taker_.TakePictures(start_ns, timer_, handover_); });
}

std::thread VideoPipeline::StartStage(PacketSink& sink, std::function<void()> stage) {
  return StartOwnThread([this, &sink, stage = std::move(stage)] {
    // A recorder that only gets what a busy game leaves loses the pictures that matter most. One
    // step is enough for that: these threads rest for most of each frame.
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_ABOVE_NORMAL);
    try {
      stage();
    } catch (const Failure& failure) {
      sink.Fail(failure.code(), failure.what());
    } catch (const std::exception& error) {
      sink.Fail(ErrorCode::kCaptureFailed, error.what());
    }
    // One half is of no use without the other.
    timer_.Stop();
    handover_.Close();
  });
}

void VideoPipeline::Stop() {
  timer_.Stop();
  handover_.Close();
  if (taking_.joinable()) taking_.join();
  if (encoding_.joinable()) encoding_.join();
}

std::string VideoPipeline::Figures() const {
  const PictureTaker::Figures& taken = taker_.figures();
  const PictureEncoder::Figures& encoded = encoder_.figures();
  return std::to_string(encoded.frames) + " frames, " + std::to_string(encoded.repeated) +
         " of them repeated, " + std::to_string(taken.lost) + " lost, " +
         Microseconds(taken.looks_ns, taken.looks) + " to take one, " +
         Microseconds(encoded.encode_ns, encoded.frames) + " to encode it";
}

}  // namespace open_gsdk
