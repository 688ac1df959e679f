// Stops the threads of the running recording.
#pragma once

#include <chrono>

namespace capture_service {

// A thread that does not end within this time would hold the capture library, and the service with
// it, for good.
inline constexpr std::chrono::nanoseconds kJoinTimeout = std::chrono::seconds(10);

// Stops the watchdog "buffer watcher", then the keeper "gsdk", each within `join_timeout`, then
// destroys the monitor tracker (without a time-out). Does nothing for what is not running. A thread
// that does not end in time ends the process with the exit status of JoinThreadError: after an
// error event and the end of error reporting, through the normal process exit. Command worker only;
// the caller holds none of their locks.
void StopWorkers(std::chrono::nanoseconds join_timeout = kJoinTimeout);

}  // namespace capture_service
