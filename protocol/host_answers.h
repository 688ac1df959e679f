// The answers to the host's clip requests, one JSON text each. docs/protocol.md describes them.
#pragma once

#include <cstdint>
#include <string>

namespace capture_service {

// Both build one message and push it for the host; any thread, also while the process's static
// objects are destroyed.

// The clip was written. The duration and the drops are divided by 1,000,000, which makes
// milliseconds of nanoseconds; the timestamp is sent as it is.
void SendClipResult(const std::string& id, std::int64_t duration, std::int64_t last_timestamp,
                    std::int64_t audio_drop, std::int64_t video_drop, bool captured_from_hdr);
// The clip could not be written, for the reason `error`.
void SendClipFailure(const std::string& id, const std::string& error);

}  // namespace capture_service
