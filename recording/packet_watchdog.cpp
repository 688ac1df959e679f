#include "recording/packet_watchdog.h"

#include <mutex>
#include <string>

#include "diagnostics/fatal_failure.h"
#include "diagnostics/logging.h"
#include "gsdk/capture_library.h"
#include "platform/deadline.h"
#include "protocol/service_requests.h"

namespace capture_service {
namespace {

// Waits for a packet or the stop flag and forgets the packet. Returns whether either came in time.
bool WaitForPacket(PacketWatch& watch, std::unique_lock<platform::Mutex>& lock,
                   std::chrono::nanoseconds wait) {
  const platform::SteadyTime deadline =
      platform::DeadlineAfter(std::chrono::steady_clock::now(), wait);
  const bool seen = platform::WaitUntil(watch.changed, lock, deadline,
                                        [&] { return watch.stop || watch.packet_seen; });
  watch.packet_seen = false;
  return seen;
}

constexpr Stall kNoPacketSinceStart = {
    .line = "No recording packets seen since session start, restarting",
    .failure = ErrorCode::NoRecordingPacketsSinceStartup,
    .message =
        "Failed to receive any data from process since startup after max restarts. Stopping"};
constexpr Stall kNoPacketAnyMore = {
    .line = "No recording packets seen within timeout, restarting",
    .failure = ErrorCode::NoRecordingPacketsWithinTimeout,
    .message = "Failed to receive any data from process after max restarts. Stopping"};

void ReactToStall(PacketWatch& watch, WatchAction action, const Stall& stall) {
  LogInfo(stall.line);
  if (action == WatchAction::kGiveUp) {
    RaiseFailure(stall.failure, stall.message, ReportAs::kErrorEvent);
  } else {
    PostRestartEvent();
    ++watch.restart_counter;
  }
}

}  // namespace

WatchDecision DecideAfterWait(bool packet_seen, bool first_wait, std::int32_t restart_counter) {
  if (packet_seen) return {.action = WatchAction::kGoOn, .stall = nullptr};
  return {.action = restart_counter >= kRestartLimit ? WatchAction::kGiveUp : WatchAction::kRestart,
          .stall = first_wait ? &kNoPacketSinceStart : &kNoPacketAnyMore};
}

PacketWatch& Watch() {
  static auto& watch = *new PacketWatch;
  return watch;
}

void OnEncodedPacket(void* recorder, gsdk_encoded_packet* packet) noexcept {
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

  for (bool first_wait = true;; first_wait = false) {
    const bool seen = WaitForPacket(watch, lock, first_wait ? first_packet_wait : packet_wait);
    if (watch.stop) return;
    const WatchDecision decision = DecideAfterWait(seen, first_wait, watch.restart_counter);
    if (decision.action != WatchAction::kGoOn) {
      ReactToStall(watch, decision.action, *decision.stall);
      return;
    }
    // Lets the packet callback in between two waits.
    lock.unlock();
    lock.lock();
  }
}

}  // namespace capture_service
