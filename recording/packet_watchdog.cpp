#include "recording/packet_watchdog.h"

#include <string>

#include "diagnostics/fatal_failure.h"
#include "diagnostics/logging.h"
#include "gsdk/capture_library.h"
#include "platform/deadline.h"
#include "protocol/service_requests.h"

namespace capture_service {
namespace {

// Waits for a packet or the stop flag and forgets the packet. Returns whether either came in time.
bool WaitForPacket(PacketWatch& watch, std::unique_lock<std::mutex>& lock,
                   std::chrono::nanoseconds wait) {
  const platform::SteadyTime deadline =
      platform::DeadlineAfter(std::chrono::steady_clock::now(), wait);
  const bool seen = platform::WaitUntil(watch.changed, lock, deadline,
                                        [&] { return watch.stop || watch.packet_seen; });
  watch.packet_seen = false;
  return seen;
}

// Restarts or gives up; `line` says "restarting" in either case.
void ReactToStall(PacketWatch& watch, const std::string& line, ErrorCode failure,
                  const std::string& message) {
  LogInfo(line);
  if (watch.restart_counter >= kRestartLimit) {
    RaiseFailure(failure, message, ReportAs::kErrorEvent);
  } else {
    PostRestartEvent();
    ++watch.restart_counter;
  }
}

}  // namespace

PacketWatch& Watch() {
  static auto& watch = *new PacketWatch;
  return watch;
}

void OnEncodedPacket(void* recorder, gsdk_encoded_packet* packet) {
  Library().gsdk_recorder_push_packet(static_cast<gsdk_recorder*>(recorder), packet);
  Library().gsdk_encoded_packet_release(packet);

  PacketWatch& watch = Watch();
  {
    const std::lock_guard lock(watch.mutex);
    watch.packet_seen = true;
    watch.restart_counter = 0;
  }
  watch.changed.notify_one();
}

void PacketWatchdog(std::chrono::nanoseconds first_packet_wait,
                    std::chrono::nanoseconds packet_wait) {
  PacketWatch& watch = Watch();
  std::unique_lock lock(watch.mutex);

  const bool started = WaitForPacket(watch, lock, first_packet_wait);
  if (watch.stop) return;
  if (!started) {
    ReactToStall(watch, "No recording packets seen since session start, restarting",
                 ErrorCode::NoRecordingPacketsSinceStartup,
                 "Failed to receive any data from process since startup after max restarts. "
                 "Stopping");
    return;
  }

  bool seen = true;
  while (seen) {
    // Lets the packet callback in between two waits.
    lock.unlock();
    lock.lock();
    seen = WaitForPacket(watch, lock, packet_wait);
    if (watch.stop) return;
  }
  ReactToStall(watch, "No recording packets seen within timeout, restarting",
               ErrorCode::NoRecordingPacketsWithinTimeout,
               "Failed to receive any data from process after max restarts. Stopping");
}

}  // namespace capture_service
