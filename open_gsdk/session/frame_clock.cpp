#include "open_gsdk/session/frame_clock.h"

#include <algorithm>
#include <utility>

namespace open_gsdk {
namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;
// A look that takes this long was held up, and shows the source as it was at its end; any other one
// is taken for the moment at which it began, so that pictures stay on the grid.
constexpr std::int64_t kHeldUpNs = 200'000'000;

}  // namespace

// Whole seconds apart from the rest, so that no product overflows.
std::int64_t FrameTimeNs(std::int64_t number, int frame_rate) {
  return number / frame_rate * kNsPerSecond + number % frame_rate * kNsPerSecond / frame_rate;
}

std::int64_t FrameDueAt(std::int64_t elapsed_ns, int frame_rate) {
  const std::int64_t frame = elapsed_ns / kNsPerSecond * frame_rate +
                             elapsed_ns % kNsPerSecond * frame_rate / kNsPerSecond;
  // The time of a frame is rounded down, so that at that very time the division gives the one
  // before.
  return FrameTimeNs(frame + 1, frame_rate) <= elapsed_ns ? frame + 1 : frame;
}

PicturePace::Placed PicturePace::SawNew(std::int64_t begin_ns, std::int64_t end_ns) {
  const std::int64_t frame = Look(begin_ns, end_ns);
  return {frame, std::exchange(missed_, 0)};
}

void PicturePace::SawNothingNew(std::int64_t begin_ns, std::int64_t end_ns) {
  Look(begin_ns, end_ns);
  missed_ = 0;
}

std::int64_t PicturePace::Look(std::int64_t begin_ns, std::int64_t end_ns) {
  const std::int64_t taken_ns = end_ns - begin_ns >= kHeldUpNs ? end_ns : begin_ns;
  const std::int64_t frame = std::max(next_, FrameDueAt(taken_ns, frame_rate_));
  // What was before the first look is not missing from anything.
  if (std::exchange(looked_, true)) missed_ += frame - next_;
  next_ = frame + 1;
  return frame;
}

std::int64_t FrameToEncode(std::int64_t frame, std::int64_t last) {
  return std::max(frame, last + 1);
}

bool IsKeyFrameDue(std::int64_t frame, std::int64_t last_key_frame, int frame_rate) {
  return frame - last_key_frame >= frame_rate;
}

}  // namespace open_gsdk
