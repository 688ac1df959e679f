#include "tests/fakes/fake_windows.h"

#include <cstdlib>
#include <utility>

#include "diagnostics/machine_profile.h"
#include "platform/fail_fast.h"
#include "platform/files.h"
#include "recording/monitor_tracker.h"
#include "service/pipe_channel.h"
#include "service/stop_event.h"
#include "tests/fakes/transcript.h"

namespace core_test {

FakeWindows& Windows() {
  static auto& windows = *new FakeWindows;
  return windows;
}

void ResetWindows() { Windows() = {}; }

}  // namespace core_test

namespace platform {

void FailFast() noexcept { std::abort(); }

void RemoveFile(const std::string& path) noexcept {
  core_test::Record("RemoveFile " + core_test::Quoted(path));
}

std::optional<std::wstring> CommonAppDataFolder() { return core_test::Windows().common_app_data; }

}  // namespace platform

namespace capture_service {

using core_test::Quoted;
using core_test::Record;
using core_test::Windows;

bool WindowExists(std::uint32_t window) {
  std::optional<int>& times = Windows().window_exists_times;
  const bool exists = !times || (*times)-- > 0;
  Record("WindowExists " + std::to_string(window) + (exists ? " = true" : " = false"));
  return exists;
}

ScreenRectangle MonitorRectangle(void* monitor) {
  Record("MonitorRectangle " + std::to_string(reinterpret_cast<std::uintptr_t>(monitor)));
  return Windows().monitor_rectangle;
}

GameProcess QueryGameProcess(std::uint32_t process_id) {
  Record("QueryGameProcess " + std::to_string(process_id));
  return Windows().process;
}

MachineProfile CollectMachineProfile() {
  Record("CollectMachineProfile");
  Windows().on_collect_profile();
  return Windows().machine_profile;
}

MonitorTracker::MonitorTracker(std::uint32_t window, Callback callback)
    : callback_(std::move(callback)),
      // NOLINTNEXTLINE(performance-no-int-to-ptr): stands for a handle.
      current_monitor_(reinterpret_cast<void*>(Windows().monitor)),
      window_(window) {
  static_cast<void>(thread_id_);  // the fake has no thread
  Record("MonitorTracker " + std::to_string(window));
}

MonitorTracker::~MonitorTracker() { Record("~MonitorTracker " + std::to_string(window_)); }

void MonitorTracker::CheckMonitor() {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): as above.
  void* const monitor = reinterpret_cast<void*>(Windows().monitor);
  if (current_monitor_.exchange(monitor) != monitor) callback_(monitor);
}

bool WriteFrame(PipeHandle pipe, std::string_view text) {
  Record("WriteFrame " + std::to_string(reinterpret_cast<std::uintptr_t>(pipe)) + " " +
         Quoted(std::string(text)));
  std::optional<int>& left = Windows().frames_before_failure;
  return !left || (*left)-- > 0;
}

void SignalStopEvent() { Record("SignalStopEvent"); }

}  // namespace capture_service
