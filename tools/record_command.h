// The commands that run a whole recording: `record` for one clip, `watch` to see what a recording
// does until it ends.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>

#include "tools/host_session.h"

namespace host_tools {

// Sends the settings, starts the recording, waits until its buffer holds `settings.record_length`
// seconds, has the clip written to `clip` (absolute), ends the service and prints the figures, the
// path last. Throws CommandFailure when any of it fails.
void RecordClip(HostSession& session, Inbox& inbox, Transcript& transcript,
                const capture_host::RecorderSettings& settings, const std::filesystem::path& clip);

// Starts a recording and shows what the service says until it ends by itself, or until `limit` has
// passed or Ctrl+C is pressed, when it is told to end. Returns the exit status of the service.
std::uint32_t WatchRecording(HostSession& session, Inbox& inbox, Transcript& transcript,
                             const capture_host::RecorderSettings& settings,
                             std::optional<std::chrono::seconds> limit);

}  // namespace host_tools
