// The one way in which the service stops.
#pragma once

#include <atomic>

namespace capture_service {

// Set by RequestStop and tested by every loop of the service.
extern std::atomic<bool> StopFlag;

// Sets StopFlag, lets every pending pipe operation be abandoned, and wakes the main loop and the
// command worker. Any thread, any number of times.
void RequestStop();

// Makes every pipe operation that waits, now or later, return as abandoned. Any thread.
void SignalStopEvent();

}  // namespace capture_service
