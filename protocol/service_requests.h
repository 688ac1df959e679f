// What the service asks of itself: messages in the form of the host's events, posted into its own
// inbound stream, so that the main loop acts on them after all messages that arrived before.
#pragma once

#include <cstdint>
#include <string_view>

namespace capture_service {

// Each builds one message and pushes it; any thread.

// Asks for a restart of the recording.
void PostRestartEvent();
// Asks for the end of the service with this exit code.
void PostDieEvent(std::uint32_t code);
// PostDieEvent with the number of the failure of this name (ErrorCodeTable), 0 for other names.
void PostDieEvent(std::string_view failure);

}  // namespace capture_service
