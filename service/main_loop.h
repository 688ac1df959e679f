// The hub of the service: takes every message from the queue, writes those for the host to the pipe
// and acts on those from the host.
#pragma once

#include <cstdint>
#include <string>

#include "service/pipe_channel.h"

namespace capture_service {

// What the main loop knows and changes; main thread only.
struct ServiceState {
  std::string capture_library_version;  // for error reports
  std::uint32_t exit_code = 0;          // set by a "die" event
};

// Runs until StopFlag is set. Main thread, the only one that writes to the pipe.
void RunMainLoop(PipeHandle pipe, ServiceState& state);

// Acts on one message of the host, or of the service itself; a text that is not JSON is dropped.
void HandleInboundMessage(const std::string& text, ServiceState& state);

}  // namespace capture_service
