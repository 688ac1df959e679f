// The Windows event that lets go of every pipe operation once the service stops.
#pragma once

namespace capture_service {

// Creates the event, not signalled. Main thread, before any pipe operation.
void CreateStopEvent();

// Makes every pipe operation that waits, now or later, return as abandoned. Any thread, any number
// of times; the event is never reset.
void SignalStopEvent();

// The event (a Windows HANDLE) for those who wait on it. Never closed: any thread may wait on it
// until the end of the process.
void* StopEvent();

}  // namespace capture_service
