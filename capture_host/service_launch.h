// How a service is started, and who hears what it says; for Service (capture_host/service.h).
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>

#include "capture_host/events.h"

namespace capture_host {

struct ServiceLaunch {
  std::filesystem::path program;       // CaptureService.exe
  std::filesystem::path library = {};  // empty: the gsdk.dll beside the program
  // From the start of the process until it has opened the pipe.
  std::chrono::milliseconds connect_limit{20'000};
  // How long the service may take nothing before it counts as hung.
  std::chrono::milliseconds send_limit{5'000};
  // From the closing of the pipe to the end of the process, before it is killed. The service joins
  // two threads of at most 10 s each after a restart of about 3 s.
  std::chrono::milliseconds end_limit{25'000};
  // Of the log lines that nobody has taken with NextEvent, the newest ones are kept, so that a
  // service that floods does not fill the memory. Clip answers and the end are always kept.
  std::size_t most_kept_lines = 10'000;
};

// Called on the library's own thread, one event at a time, in order. Must not throw, and must not
// call what waits: SaveClip, WaitForEnd and the destructor.
using EventHandler = std::function<void(const Event&)>;

}  // namespace capture_host
