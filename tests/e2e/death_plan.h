// What one run of the hunt for bad ends does: how the service is made to end, when, and what goes
// on until then. A plan follows from a seed alone, so that a run can be had again.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/e2e/service_run.h"

namespace e2e {

enum class Cause {
  kPipeClosed,       // the host closes its end
  kDie,              // a "die" event
  kOversizedFrame,   // a frame that announces more than 4096 bytes
  kConnectionError,  // the library's error callback, with a code that ends the service
  kFailedStart,      // a call of session start fails
  kHungSession,      // the library does not give its session back
  kHungDump,         // the library does not come back from a dump, and then a "die" event
  kGameGone,         // the game's process or window has gone when a session is started
  kCount,
};

const char* NameOf(Cause cause);

// A message of the host, sent so long after the first one.
struct TimedMessage {
  std::chrono::milliseconds after;
  Json message;
};

struct DeathPlan {
  Cause cause = Cause::kDie;
  LibraryFile library = LibraryFile::kDouble;
  Json script = {};
  bool reporting = false;
  bool game_is_a_window = false;  // else a process
  // The host ends things itself (the causes down to kOversizedFrame, kHungSession, kHungDump) so
  // long after the first message, or after the session runs or the dump has begun where it hangs.
  std::chrono::milliseconds moment{};
  // How kHungSession ends: a closed pipe, a "die" event or a restart.
  Cause hung_end = Cause::kDie;
  bool hung_end_is_restart = false;
  std::int32_t die_value = 0;
  std::uint32_t frame_bytes = 0;       // of the oversized frame
  std::vector<TimedMessage> messages;  // in order of time
  std::uint32_t exit_status = 0;       // what the contract gives
  // From the host's act, or else from the first message, to the end.
  std::chrono::milliseconds limit{};
};

DeathPlan PlanDeath(std::uint64_t seed, int number);

}  // namespace e2e
