// The one way in which the service stops.
#pragma once

#include <atomic>

namespace capture_service {

// Set by RequestStop and tested by every loop of the service.
extern std::atomic<bool> StopFlag;

// Sets StopFlag, lets every pending pipe operation be abandoned, and wakes the main loop and the
// command worker. Any thread, any number of times.
void RequestStop();

}  // namespace capture_service
