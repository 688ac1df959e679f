// Carries out, one at a time, the commands that are too slow for the main loop.
#pragma once

#include <chrono>

namespace capture_service {

// Gives the capture library and the game time to settle before a recording is started anew.
inline constexpr std::chrono::nanoseconds kRestartWait = std::chrono::seconds(3);

// The body of the command worker's thread: runs until StopFlag is set, which it looks at after
// every command; a restart that has begun is finished first. Then tears the recording down.
// Commands that are still queued stay there.
void CommandWorker(std::chrono::nanoseconds restart_wait = kRestartWait);

}  // namespace capture_service
