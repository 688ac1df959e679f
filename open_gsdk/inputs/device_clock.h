// The times of a sound device's samples on the steady clock. A device counts its samples exactly,
// but says only roughly when it had them: the moment at which they arrive is late by as much as the
// machine is busy. So times are counted in samples, from an offset between the two clocks that
// follows the least late of the recent arrivals.
#pragma once

#include <array>
#include <cstdint>

namespace open_gsdk {

// Samples that a device gave without a break, as many as it had at that moment.
struct SoundRun {
  std::int64_t position = 0;  // of the first sample, counted by the device
  std::int64_t frames = 0;    // more than 0
  // When the first sample was taken, as it seemed: on the steady clock, and never too early.
  std::int64_t observed_ns = 0;
  bool discontinuity = false;  // the device says that samples before this run were lost
};

// For one stream of one device, from its first run on, and for one thread at a time.
class DeviceClock {
 public:
  explicit DeviceClock(int sample_rate) : sample_rate_(sample_rate) {}

  struct Dating {
    std::int64_t time_ns;  // of the first sample, on the steady clock
    // The run does not follow the one before without a step: samples were lost, or the device has
    // begun to count anew.
    bool jump;
  };

  // Times of runs that follow each other fit to within 0.04 %: the offset is corrected no faster
  // than that, except in the first second after it was found, when it goes back at once if an
  // arrival shows that it was too late; that counts as a jump, too.
  Dating Date(const SoundRun& run);

 private:
  void Restart(std::int64_t offset_ns, std::int64_t now_ns);
  bool IsElsewhere(const SoundRun& run, std::int64_t offset_ns);
  void Observe(std::int64_t offset_ns, std::int64_t now_ns);
  bool Follow(std::int64_t now_ns, std::int64_t duration_ns);
  [[nodiscard]] std::int64_t DurationNs(std::int64_t frames) const;

  int sample_rate_;
  bool started_ = false;
  std::int64_t offset_ns_ = 0;  // the steady clock's time of the device's sample 0
  std::int64_t next_position_ = 0;
  std::int64_t restart_ns_ = 0;
  std::int64_t last_ns_ = 0;
  std::int64_t late_since_ns_ = 0;  // 0: the last run was not late
  // The least offset that was seen in each of the last intervals, the newest at `interval_`.
  std::array<std::int64_t, 8> least_{};
  std::int64_t interval_ = 0;
};

}  // namespace open_gsdk
