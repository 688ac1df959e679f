#include "open_gsdk/inputs/compositor_source.h"

#include <cstring>
#include <iomanip>
#include <sstream>
#include <utility>

#include "open_gsdk/encoding/tone_map.h"
#include "open_gsdk/inputs/compositor_capture.h"
#include "open_gsdk/inputs/monitors.h"
#include "open_gsdk/inputs/windows_on_screen.h"
#include "open_gsdk/support/failure.h"

namespace open_gsdk {
namespace {

using Clock = std::chrono::steady_clock;

// As long as a driver takes to come back after a reset.
constexpr std::chrono::seconds kReplaceLimit{1};

std::string HexText(HRESULT result) {
  std::ostringstream text;
  text << "0x" << std::hex << std::uppercase << std::setfill('0') << std::setw(8)
       << static_cast<std::uint32_t>(result);
  return text.str();
}

// The compositor's times count from the same start as the performance counter.
std::int64_t CompositorClockOffsetNs() {
  constexpr std::int64_t kNsPerSecond = 1'000'000'000;
  LARGE_INTEGER frequency{};
  LARGE_INTEGER count{};
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&count);
  const std::int64_t now_ns =
      std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
  return now_ns - (count.QuadPart / frequency.QuadPart * kNsPerSecond +
                   count.QuadPart % frequency.QuadPart * kNsPerSecond / frequency.QuadPart);
}

}  // namespace

CompositorSource::CompositorSource(VideoSource source, CaptureSystem system)
    : source_(std::move(source)),
      system_(std::move(system)),
      clock_offset_ns_(CompositorClockOffsetNs()),
      closed_(std::make_shared<std::atomic<bool>>(false)) {
  if (source_.window != nullptr) {
    monitor_ = MonitorFromWindow(source_.window, MONITOR_DEFAULTTONEAREST);
  } else if (const auto monitor = FindMonitor(source_.monitor)) {
    monitor_ = MonitorFromRect(&monitor->rectangle, MONITOR_DEFAULTTONULL);
  }
  if (monitor_ == nullptr) {
    throw Failure(ErrorCode::kInputGone, DescribeSource(source_) + " is gone");
  }
  // First, because a first question about the graphics device may take a second.
  if (const HRESULT result = CompositorCapture::CheckSupport(system_); FAILED(result)) {
    throw Failure(ErrorCode::kSystem, HexText(result));
  }
  light_ = system_.query_light(monitor_);
  if (light_.hdr) tone_map_ = MakeToneMap(light_.white_nits);
  if (const HRESULT result = Open(); FAILED(result)) {
    throw Failure(ErrorCode::kSystem, HexText(result));
  }
}

CompositorSource::~CompositorSource() = default;

HRESULT CompositorSource::Open() {
  auto capture = std::make_unique<CompositorCapture>(source_, closed_);
  const HRESULT result = capture->Start(
      system_, monitor_, light_.hdr ? CapturePixels::kHalfFloats : CapturePixels::kBgra);
  if (SUCCEEDED(result)) capture_ = std::move(capture);
  return result;
}

GrabResult CompositorSource::Grab() {
  // A handle may be given to a new window of another process.
  if (*closed_ ||
      (source_.window != nullptr && WindowProcess(source_.window) != source_.process_id)) {
    return GrabResult::kGone;
  }
  bool taken = false;
  HRESULT result = capture_ ? S_OK : Open();
  if (SUCCEEDED(result)) result = capture_->FetchNewest();
  if (SUCCEEDED(result)) {
    result = capture_->ReadArrived([&](const ArrivedPicture& picture) {
      Read(picture);
      taken = true;
    });
  }
  if (FAILED(result)) {
    Lose(result);
    if (*closed_) return GrabResult::kGone;
  } else {
    lost_since_.reset();
  }
  if (taken) return GrabResult::kPicture;
  return pixels_.empty() ? GrabResult::kNothing : GrabResult::kUnchanged;
}

void CompositorSource::Lose(HRESULT reason) {
  capture_.reset();
  const Clock::time_point now = Clock::now();
  if (!lost_since_) lost_since_ = now;
  if (now - *lost_since_ >= kReplaceLimit && !*closed_) {
    throw Failure(ErrorCode::kCaptureFailed,
                  "the graphics device was lost and not replaced: " + HexText(reason));
  }
}

void CompositorSource::Read(const ArrivedPicture& picture) {
  size_ = picture.size;
  time_ns_ = picture.time_ns + clock_offset_ns_;
  const auto row_bytes = static_cast<std::size_t>(image().Stride());
  const auto height = static_cast<std::size_t>(size_.height);
  pixels_.resize(row_bytes * height);
  for (std::size_t row = 0; row < height; ++row) {
    const std::uint8_t* const from = picture.rows + row * picture.pitch;
    std::uint8_t* const to = pixels_.data() + row * row_bytes;
    if (tone_map_.empty()) {
      std::memcpy(to, from, row_bytes);
    } else {
      // As many halves as there are bytes in the ordinary picture.
      MapTones(tone_map_, {reinterpret_cast<const std::uint16_t*>(from), row_bytes}, to);
    }
  }
}

}  // namespace open_gsdk
