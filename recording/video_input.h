// Chooses what a session records and tells the capture library.
#pragma once

#include <chrono>
#include <string>

#include "protocol/recorder_settings.h"

namespace capture_service {

// A game that is just starting may not be ready to be captured yet.
inline constexpr std::chrono::nanoseconds kVideoInputRetryWait = std::chrono::seconds(1);
inline constexpr int kVideoInputAttempts = 5;

// Gives the session its video input, trying again after `retry_wait` a few times. In monitor mode
// each try watches the game's window with a new monitor tracker. Returns false when the start is to
// be left: after a failure, which it has logged and posted as a die request, or when the session
// was told to stop during a wait. Command worker only, without the session's lock.
bool SetVideoInput(const RecorderSettings& settings, const std::string& mode_text,
                   std::chrono::nanoseconds retry_wait);

// Whether there is no window to look for or it still exists; says so and posts a die request with
// 0 when it is gone.
bool CheckWindowExists(const RecorderSettings& settings);

}  // namespace capture_service
