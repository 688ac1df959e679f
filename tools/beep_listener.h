// Hears the beeps that a device plays. A device's own clock would say when they are due, but not
// every system counts what waits on the way to the device, and no player knows what a busy machine
// made of its sound.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <thread>

#include "platform/owned_handle.h"
#include "tools/sound_device.h"

namespace demo_game {

// What a beep is: how long it is and how often it comes, in seconds.
inline constexpr double kBeepSeconds = 0.1;
inline constexpr double kBeepInterval = 1;

// Listens on a thread of its own from its construction to its destruction; both on one thread,
// which uses COM meanwhile.
class BeepListener {
 public:
  // `device` plays nothing but beeps. Throws std::runtime_error when it cannot be listened to.
  explicit BeepListener(IMMDevice& device);
  ~BeepListener();
  BeepListener(const BeepListener&) = delete;
  BeepListener& operator=(const BeepListener&) = delete;

  // Whether a beep is heard right now, going by when the one before was heard; so the first one is
  // missed. False also when the beeps have stopped. Any thread.
  [[nodiscard]] bool BeepIsHeard() const;

 private:
  void Run();
  void Read();
  void Hear(const float* samples, UINT32 frames, std::uint64_t position);

  platform::OwnedHandle stop_;
  platform::OwnedHandle ready_;
  SoundClient sound_;
  ComObject<IAudioCaptureClient> capture_;

  // Of the thread. Samples are counted by the device, times are seconds.
  double offset_ = 0;  // the time of the device's sample 0, as the least late arrivals have it
  bool listening_ = false;
  bool heard_any_ = false;
  std::uint64_t beep_position_ = 0;  // of the last beep's first sample
  std::uint64_t loud_position_ = 0;  // of the last sample that was loud

  std::atomic<double> beep_time_{0};  // when the last beep began; 0 when there was none
  std::thread thread_;
};

}  // namespace demo_game
