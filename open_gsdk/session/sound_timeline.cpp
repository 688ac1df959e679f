#include "open_gsdk/session/sound_timeline.h"

#include <algorithm>
#include <cstdlib>

namespace open_gsdk {
namespace {

constexpr std::int64_t kNsPerMs = 1'000'000;
constexpr std::int64_t kNsPerSecond = 1'000'000'000;

// A part of the sample rate: differences from 40 ms on are a break, and a jump from 1 ms on.
constexpr int kBreak = 25;
constexpr int kJumpBreak = 1000;
// At most 0.4 % faster or slower, which is a fifteenth of a semitone.
constexpr int kMostStretch = 250;

// The last sound is at most this old when a device that is at work gives the next: Windows and Wine
// give every 10 ms, and are late by 25 ms at times.
constexpr std::int64_t kGraceNs = 60 * kNsPerMs;
constexpr std::int64_t kBusyGraceNs = 250 * kNsPerMs;
constexpr std::int64_t kAtWorkNs = 1000 * kNsPerMs;
// Longer than a machine that works keeps a thread waiting.
constexpr std::int64_t kAsleepNs = 500 * kNsPerMs;

}  // namespace

Alignment AlignBlock(std::int64_t late, bool jump, int sample_rate) {
  if (std::abs(late) >= sample_rate / (jump ? kJumpBreak : kBreak)) {
    return {.breaks = true,
            .silence = std::max<std::int64_t>(-late, 0),
            .skip = std::max<std::int64_t>(late, 0)};
  }
  const std::int64_t most = sample_rate / kMostStretch;
  return {.stretch = static_cast<int>(std::clamp<std::int64_t>(-late, -most, most))};
}

std::int64_t GraceNs(const SoundSupply& supply, std::int64_t now_ns) {
  if (!supply.bound || supply.lost) return kGraceNs;
  const bool at_work = supply.heard_ns != 0 && now_ns - supply.heard_ns < kAtWorkNs;
  return at_work ? kBusyGraceNs : kGraceNs;
}

bool HasOverslept(std::int64_t deadline_ns, std::int64_t now_ns) {
  return now_ns - deadline_ns > kAsleepNs;
}

bool IsLoss(const SoundSupply& supply, bool overslept) {
  return supply.bound && supply.heard_ns != 0 && (supply.lost || overslept);
}

std::int64_t SamplesUntil(std::int64_t time_ns, std::int64_t start_ns, int sample_rate) {
  const std::int64_t elapsed_ns = time_ns - start_ns;
  return elapsed_ns / kNsPerSecond * sample_rate +
         elapsed_ns % kNsPerSecond * sample_rate / kNsPerSecond;
}

std::int64_t SampleTimeNs(std::int64_t number, std::int64_t start_ns, int sample_rate) {
  return start_ns + number / sample_rate * kNsPerSecond +
         number % sample_rate * kNsPerSecond / sample_rate;
}

}  // namespace open_gsdk
