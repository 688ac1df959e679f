// Binds the session's sources of sound to the devices that the settings name.
#pragma once

#include "protocol/recorder_settings.h"
#include "recording/session_state.h"

namespace capture_service {

// Asks the library which devices there are and sends it an update for every source whose device
// has changed since the last one; a wanted device that the library does not list counts as none.
// Two sources of one kind that want the same device: the first gets it. When a list cannot be had,
// the failure is logged and posted as a die request and the rest of the update is left. A source
// whose update fails is logged and keeps the new device as its current one. The caller holds the
// session's mutex; command worker only.
void BindAudioDevices(SessionState& session, const RecorderSettings& settings);

}  // namespace capture_service
