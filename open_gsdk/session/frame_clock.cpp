#include "open_gsdk/session/frame_clock.h"

#include <algorithm>

namespace open_gsdk {
namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;

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

CatchUp CatchUpTo(std::int64_t next, std::int64_t due, int frame_rate) {
  const std::int64_t missed = std::max<std::int64_t>(due - next, 0);
  return missed <= frame_rate ? CatchUp{missed, 0} : CatchUp{0, missed};
}

}  // namespace open_gsdk
