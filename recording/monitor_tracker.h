// Watches on which monitor the game's window is while a whole monitor is recorded.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>

namespace capture_service {

// Listens to the window's location events on a thread of its own from construction to destruction.
// At most one tracker watches at a time, but for the moment in which a new one replaces the old;
// one for the same window then takes over its registration, which the old one removes as it ends.
class MonitorTracker {
 public:
  using Callback = std::function<void(void* monitor)>;

  // Watches `window` (a window handle). `callback` is called on the tracker's thread, once each
  // time the window's nearest monitor has changed, with the new monitor's handle; it must not be
  // empty. Returns once the thread listens and can be told to end. Without a hook (there is
  // none for a window that is not there, and Windows may refuse it) the tracker never reports
  // anything.
  MonitorTracker(std::uint32_t window, Callback callback);

  // Ends the thread and waits for it without a time-out. Not from the callback.
  ~MonitorTracker();

  MonitorTracker(const MonitorTracker&) = delete;
  MonitorTracker& operator=(const MonitorTracker&) = delete;

  // The handle of the window's nearest monitor as last seen. Any thread.
  [[nodiscard]] void* CurrentMonitor() const { return current_monitor_; }

  // For the location events of the tracker's hook: asks again for the nearest monitor and calls
  // back if it is another. Tracker threads only.
  void CheckMonitor();

 private:
  Callback callback_;
  std::atomic<void*> current_monitor_;
  std::uint32_t window_;
  std::uint32_t thread_id_ = 0;
  std::thread thread_;
};

}  // namespace capture_service
