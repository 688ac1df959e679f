// Turns the current settings into a running recording, and updates its audio devices.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "recording/video_input.h"

namespace capture_service {

// Stops the recording that runs, if any, and starts a new one from CurrentRecorderSettings:
// session, video input, audio inputs, properties, recorder, watchdog, keeper. Whatever goes wrong
// is logged and, where the service cannot go on, posted as a die request; nothing of a session that
// did not start is left behind, also when an exception leaves the function. Command worker only.
void StartRecordingSession(std::chrono::nanoseconds video_input_retry_wait = kVideoInputRetryWait);

// Binds the audio devices that the current settings name to the running session, or starts a
// session when there is none. Command worker only.
void UpdateAudioDevices();

// Whether the setting is not 0; logs the one that is.
bool CheckSettingInitialized(const std::string& name, std::int32_t value);

}  // namespace capture_service
