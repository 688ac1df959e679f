#include "service/stop_event.h"

#include <windows.h>

namespace capture_service {
namespace {

HANDLE stop_event = nullptr;

}  // namespace

void CreateStopEvent() { stop_event = CreateEventW(nullptr, TRUE, FALSE, nullptr); }

void SignalStopEvent() { SetEvent(stop_event); }

void* StopEvent() { return stop_event; }

}  // namespace capture_service
