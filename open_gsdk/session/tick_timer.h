// Waits for points in time, exactly and interruptibly.
#pragma once

#include <atomic>
#include <chrono>

#include "platform/owned_handle.h"

namespace open_gsdk {

// One thread waits; any thread may stop it.
class TickTimer {
 public:
  // Throws Failure with kSystem when Windows gives no timer.
  TickTimer();

  // Returns true at `deadline`, at once when that has passed; false once Stop was called.
  bool WaitUntil(std::chrono::steady_clock::time_point deadline);

  void Stop();
  [[nodiscard]] bool stopped() const { return stopped_; }

 private:
  std::atomic<bool> stopped_{false};
  platform::OwnedHandle stop_;
  platform::OwnedHandle timer_;
};

}  // namespace open_gsdk
