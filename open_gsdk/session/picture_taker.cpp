#include "open_gsdk/session/picture_taker.h"

#include <string>
#include <utility>

#include "open_gsdk/support/failure.h"
#include "open_gsdk/support/library_log.h"
#include "open_gsdk/support/steady_time.h"

namespace open_gsdk {
namespace {

[[noreturn]] void ThrowGone(const VideoSource& source) {
  const bool monitor = source.window == nullptr;
  throw Failure(monitor ? ErrorCode::kMonitorGone : ErrorCode::kWindowClosed,
                DescribeSource(source) + (monitor ? " is gone" : " was closed"));
}

std::string Text(Size size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

}  // namespace

PictureTaker::PictureTaker(VideoParts parts, VideoSource source, Size size)
    : parts_(std::move(parts)),
      encoding_(parts_.choose(size)),
      converter_(std::make_unique<PictureConverter>(encoding_.size)),
      pace_(encoding_.frame_rate),
      source_(std::move(source)) {
  growth_.Chose(size);
}

std::unique_ptr<VideoEncoder> PictureTaker::OpenEncoder() const {
  return OpenVideoEncoder(parts_.encoders, encoding_);
}

void PictureTaker::SetSource(const VideoSource& source) {
  const std::lock_guard lock(mutex_);
  source_ = source;
}

VideoSource PictureTaker::Source() {
  const std::lock_guard lock(mutex_);
  return source_;
}

std::int64_t PictureTaker::Elapsed() const { return SteadyNowNs() - start_ns_; }

void PictureTaker::TakePictures(std::int64_t start_ns, TickTimer& timer,
                                PictureHandover& handover) {
  start_ns_ = start_ns;
  // Only once there is room: a picture that has to wait for the encoder grows old.
  while (timer.WaitUntil(SteadyPoint(start_ns_ + pace_.NextLookNs())) && handover.WaitForRoom()) {
    const std::int64_t begin_ns = Elapsed();
    std::optional<TakenPicture> picture = Look(begin_ns);
    ++figures_.looks;
    figures_.looks_ns += Elapsed() - begin_ns;
    if (!picture) continue;
    figures_.lost += picture->lost;
    if (picture->lost >= encoding_.frame_rate) {
      Log(LogLevel::kWarning,
          "too late for " + std::to_string(picture->lost) + " frames, going on without them");
    }
    handover.Put(std::move(*picture));
  }
}

std::optional<TakenPicture> PictureTaker::Look(std::int64_t begin_ns) {
  const VideoSource source = Source();
  const GrabResult result = parts_.pictures->Grab(source);
  if (result == GrabResult::kGone) ThrowGone(source);
  if (result == GrabResult::kNothing) return LookedAtNothing(begin_ns);

  const Image image = parts_.pictures->image();
  std::unique_ptr<VideoEncoder> encoder = FollowSize(image.size);
  if (result == GrabResult::kUnchanged && !encoder) {
    pace_.SawNothingNew(begin_ns, Elapsed());
    return std::nullopt;
  }
  ++figures_.pictures;
  PicturePace::Placed placed = pace_.SawNew(begin_ns, Elapsed());
  if (const auto time_ns = parts_.pictures->time_ns()) {
    placed.frame = FrameDueAt(*time_ns - start_ns_, encoding_.frame_rate);
  }
  return TakenPicture{converter_->Convert(image), placed.frame, placed.lost, parts_.pictures->hdr(),
                      std::move(encoder)};
}

std::optional<TakenPicture> PictureTaker::LookedAtNothing(std::int64_t begin_ns) {
  growth_.SawNothing();
  if (figures_.looks > 0) {
    pace_.SawNothingNew(begin_ns, Elapsed());
    return std::nullopt;
  }
  // Something has to come at the start.
  const PicturePace::Placed placed = pace_.SawNew(begin_ns, Elapsed());
  return TakenPicture{converter_->Black(), placed.frame, placed.lost};
}

std::unique_ptr<VideoEncoder> PictureTaker::FollowSize(Size size) {
  // How large a window that was minimised at the start really is shows with its first picture.
  const bool first = !std::exchange(saw_picture_, true);
  if (!growth_.Saw(size, SteadyNowNs()) && !first) return nullptr;
  growth_.Chose(size);
  const VideoEncoding wanted = parts_.choose(size);
  if (wanted.size == encoding_.size) return nullptr;
  try {
    std::unique_ptr<VideoEncoder> encoder = OpenVideoEncoder(parts_.encoders, wanted);
    Log(LogLevel::kInfo, "the source is " + Text(size) + " now, going on at " + Text(wanted.size));
    converter_ = std::make_unique<PictureConverter>(wanted.size);
    encoding_ = wanted;
    return encoder;
  } catch (const Failure& failure) {
    Log(LogLevel::kWarning, "staying at " + Text(encoding_.size) + ": " + failure.what());
    return nullptr;
  }
}

}  // namespace open_gsdk
