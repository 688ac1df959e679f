// What the service asks of itself: messages in the form of the host's events, posted into its own
// inbound stream, so that the main loop acts on them after all messages that arrived before.
#pragma once

#include <cstdint>

#include "protocol/error_codes.h"

namespace capture_service {

// Each builds one message and pushes it; any thread, also while the process's static objects are
// destroyed.

// Asks for a restart of the recording.
void PostRestartEvent();
// Asks for the end of the service with this exit code.
void PostDieEvent(std::uint32_t code);
// PostDieEvent with the number of this failure.
void PostDieEvent(ErrorCode failure);

}  // namespace capture_service
