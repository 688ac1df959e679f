#include "open_gsdk/inputs/device_clock.h"

#include <algorithm>
#include <limits>

namespace open_gsdk {
namespace {

constexpr std::int64_t kNsPerMs = 1'000'000;
constexpr std::int64_t kNsPerSecond = 1'000'000'000;

// An arrival before its time shows that the offset is wrong; less than this is corrected smoothly.
constexpr std::int64_t kTooEarlyNs = 20 * kNsPerMs;
// Busy machines deliver late for a while. Only what stays late was really taken later.
constexpr std::int64_t kTooLateNs = 40 * kNsPerMs;
constexpr std::int64_t kLateForNs = 200 * kNsPerMs;
// A device that gave nothing for so long may have stopped counting meanwhile.
constexpr std::int64_t kIdleNs = 500 * kNsPerMs;
// On a busy machine the least late arrival of 2 s is late by several milliseconds, more or less;
// that of eight such intervals hardly changes. A clock that is wrong by 0.02 % gains 3 ms in them.
constexpr std::int64_t kIntervalNs = 2000 * kNsPerMs;
constexpr std::int64_t kSettlingNs = 1000 * kNsPerMs;
constexpr std::int64_t kStepNs = kNsPerMs;
constexpr std::int64_t kSlowness = 3000;  // corrects 1 ns in this many

constexpr std::int64_t kNothingSeen = std::numeric_limits<std::int64_t>::max();

}  // namespace

DeviceClock::Dating DeviceClock::Date(const SoundRun& run) {
  const std::int64_t offset_ns = run.observed_ns - DurationNs(run.position);
  const std::int64_t now_ns = run.observed_ns + DurationNs(run.frames);
  const bool first = !started_;
  bool jump = run.discontinuity || run.position != next_position_;
  if (first || IsElsewhere(run, offset_ns)) {
    jump = true;
    Restart(offset_ns, now_ns);
  } else {
    Observe(offset_ns, now_ns);
    if (Follow(now_ns, DurationNs(run.frames))) jump = true;
  }
  next_position_ = run.position + run.frames;
  last_ns_ = now_ns;
  return {offset_ns_ + DurationNs(run.position), jump && !first};
}

void DeviceClock::Restart(std::int64_t offset_ns, std::int64_t now_ns) {
  started_ = true;
  offset_ns_ = offset_ns;
  restart_ns_ = now_ns;
  late_since_ns_ = 0;
  least_.fill(kNothingSeen);
  interval_ = now_ns / kIntervalNs;
  Observe(offset_ns, now_ns);
}

// Whether the device's count and the steady clock have moved against each other by more than
// lateness explains.
bool DeviceClock::IsElsewhere(const SoundRun& run, std::int64_t offset_ns) {
  if (run.position < next_position_ || offset_ns < offset_ns_ - kTooEarlyNs) return true;
  if (offset_ns <= offset_ns_ + kTooLateNs) {
    late_since_ns_ = 0;
    return false;
  }
  if (run.discontinuity || run.observed_ns - last_ns_ > kIdleNs) return true;
  if (late_since_ns_ == 0) late_since_ns_ = run.observed_ns;
  return run.observed_ns - late_since_ns_ >= kLateForNs;
}

void DeviceClock::Observe(std::int64_t offset_ns, std::int64_t now_ns) {
  const auto count = static_cast<std::int64_t>(least_.size());
  const std::int64_t interval = now_ns / kIntervalNs;
  for (; interval_ < interval; ++interval_) {
    if (interval - interval_ > count) interval_ = interval - count;
    least_[static_cast<std::size_t>((interval_ + 1) % count)] = kNothingSeen;
  }
  std::int64_t& least = least_[static_cast<std::size_t>(interval_ % count)];
  least = std::min(least, offset_ns);
}

// Whether that was a step.
bool DeviceClock::Follow(std::int64_t now_ns, std::int64_t duration_ns) {
  const std::int64_t least = *std::min_element(least_.begin(), least_.end());
  if (now_ns - restart_ns_ < kSettlingNs) {
    const bool step = least < offset_ns_ - kStepNs;
    offset_ns_ = std::min(offset_ns_, least);
    return step;
  }
  const std::int64_t most = duration_ns / kSlowness;
  offset_ns_ += std::clamp(least - offset_ns_, -most, most);
  return false;
}

// Split, since the count of a device that has run for days, times a billion, has no room.
std::int64_t DeviceClock::DurationNs(std::int64_t frames) const {
  return frames / sample_rate_ * kNsPerSecond + frames % sample_rate_ * kNsPerSecond / sample_rate_;
}

}  // namespace open_gsdk
