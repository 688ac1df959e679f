// Notices when the capture library stops delivering packets and asks for a restart of the
// recording, or gives the service up after too many restarts that brought none.
#pragma once

#include <chrono>
#include <cstdint>
#include <thread>

#include "gsdk/gsdk_api.h"
#include "platform/condition.h"
#include "protocol/error_codes.h"

namespace capture_service {

// A game may take long from the start of a session to its first frame (loading, hooking).
inline constexpr std::chrono::nanoseconds kFirstPacketWait = std::chrono::seconds(45);
// Once packets flow they come many times a second.
inline constexpr std::chrono::nanoseconds kPacketWait = std::chrono::seconds(10);
inline constexpr std::int32_t kRestartLimit = 5;

struct PacketWatch {
  platform::Mutex mutex;  // guards the members down to restart_counter
  platform::ConditionVariable changed;
  bool packet_seen = false;
  bool stop = false;
  // Restarts asked for since the last packet, across sessions; only a packet resets it.
  std::int32_t restart_counter = 0;

  std::thread thread;  // "buffer watcher"; command worker only
};

// What the watchdog does once a wait is over.
enum class WatchAction {
  kGoOn,     // a packet came: wait for the next one
  kRestart,  // ask for a restart of the recording
  kGiveUp,   // report the failure and end the service with its number
};

// A lack of packets: the line that is logged first, whether a restart follows or not, and the
// failure that it becomes after too many restarts.
struct Stall {
  const char* line;
  ErrorCode failure;
  const char* message;
};

struct WatchDecision {
  WatchAction action;
  const Stall* stall;  // null with kGoOn
};

// The decision after a wait: whether a packet came in it, whether it was the first since the start
// of the session, and how many restarts brought no packet before. Knows no clock and no state.
WatchDecision DecideAfterWait(bool packet_seen, bool first_wait, std::int32_t restart_counter);

// The one watch of this process. Never destroyed: library threads may still feed it while the
// process ends.
PacketWatch& Watch();

// The library's packet callback; `recorder` is its user data. Hands the packet to the recorder,
// releases it and feeds the watchdog. Allocates nothing. An exception ends the process rather than
// going on into the library.
void OnEncodedPacket(void* recorder, gsdk_encoded_packet* packet) noexcept;

// The body of the watchdog's thread: watches until the watch is told to stop, or packets fail to
// come in time. Then, with the watch locked, it logs the fact and posts a restart request, or, when
// kRestartLimit restarts brought no packet, reports the failure and posts a die request.
void PacketWatchdog(std::chrono::nanoseconds first_packet_wait = kFirstPacketWait,
                    std::chrono::nanoseconds packet_wait = kPacketWait);

}  // namespace capture_service
