#include "recording/monitor_tracker.h"

#include <windows.h>

#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/window_handle.h"

namespace capture_service {
namespace {

constexpr UINT kQuitMessage = WM_USER;

// Which tracker watches which window: a hook procedure is told nothing but the window.
struct TrackerRegistry {
  std::mutex mutex;
  std::map<std::uint32_t, MonitorTracker*> trackers;
};

// Never destroyed: a tracker's thread may still remove its entry while the process ends.
TrackerRegistry& Registry() {
  static auto& registry = *new TrackerRegistry;
  return registry;
}

MonitorTracker* FindTracker(HWND window) {
  TrackerRegistry& registry = Registry();
  const std::lock_guard lock(registry.mutex);
  const auto found = registry.trackers.find(platform::WindowNumber(window));
  return found != registry.trackers.end() ? found->second : nullptr;
}

void* NearestMonitor(std::uint32_t window) {
  return MonitorFromWindow(platform::WindowFromNumber(window), MONITOR_DEFAULTTONEAREST);
}

void CALLBACK OnLocationChange(HWINEVENTHOOK /*hook*/, DWORD event, HWND window, LONG object,
                               LONG child, DWORD /*thread*/, DWORD /*time*/) noexcept {
  if (object != OBJID_WINDOW || child != CHILDID_SELF || event != EVENT_OBJECT_LOCATIONCHANGE) {
    return;
  }
  if (MonitorTracker* const tracker = FindTracker(window)) tracker->CheckMonitor();
}

struct Unhooker {
  using pointer = HWINEVENTHOOK;
  void operator()(HWINEVENTHOOK hook) const noexcept { UnhookWinEvent(hook); }
};

void RunMessageLoop() {
  MSG message{};
  while (GetMessageW(&message, nullptr, 0, 0) > 0 && message.message != kQuitMessage) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

// The body of a tracker's thread.
void WatchWindow(std::uint32_t window, std::promise<std::uint32_t> ready) {
  // A message posted before the thread has a queue would be lost; looking for one makes the queue.
  MSG message{};
  PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_NOREMOVE);

  {
    DWORD process = 0;
    const DWORD thread = GetWindowThreadProcessId(platform::WindowFromNumber(window), &process);
    std::unique_ptr<HWINEVENTHOOK, Unhooker> hook;
    // Without a window both are 0, which stands for the events of the whole desktop.
    if (thread != 0) {
      hook.reset(SetWinEventHook(EVENT_OBJECT_LOCATIONCHANGE, EVENT_OBJECT_LOCATIONCHANGE, nullptr,
                                 OnLocationChange, process, thread, WINEVENT_OUTOFCONTEXT));
    }
    ready.set_value(GetCurrentThreadId());
    RunMessageLoop();
  }

  TrackerRegistry& registry = Registry();
  const std::lock_guard lock(registry.mutex);
  registry.trackers.erase(window);
}

}  // namespace

MonitorTracker::MonitorTracker(std::uint32_t window, Callback callback)
    : callback_(std::move(callback)), current_monitor_(NearestMonitor(window)), window_(window) {
  {
    TrackerRegistry& registry = Registry();
    const std::lock_guard lock(registry.mutex);
    registry.trackers[window] = this;
  }
  std::promise<std::uint32_t> ready;
  std::future<std::uint32_t> thread_id = ready.get_future();
  thread_ = std::thread(WatchWindow, window, std::move(ready));
  thread_id_ = thread_id.get();
}

MonitorTracker::~MonitorTracker() {
  PostThreadMessageW(thread_id_, kQuitMessage, 0, 0);
  thread_.join();
}

void MonitorTracker::CheckMonitor() {
  void* const monitor = NearestMonitor(window_);
  if (current_monitor_.exchange(monitor) != monitor) callback_(monitor);
}

}  // namespace capture_service
