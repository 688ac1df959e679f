// The messages that the host and the service exchange, one JSON text each: reading what the host
// sends, and building what the service sends to the host or posts to itself. docs/protocol.md
// describes them one by one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "protocol/recorder_settings.h"

namespace json11 {
class Json;
}

namespace capture_service {

// "startglimra_sentrysettings": what error reports say about the host and the game.
struct ReportingSettings {
  std::string environment;
  std::string user_id;
  std::string game_id;
  std::string game_exe;
  std::string daskel_guid;
  std::string daskel_version;
  std::string beta_enabled;
};

// "clip": save the replay buffer.
struct ClipRequest {
  std::string filepath;  // UTF-8
  std::string id;        // echoed in the answer
};

// "event": at most one action.
struct HostEvent {
  enum class Action { kNone, kDie, kRestart, kChangeAudio };
  Action action = Action::kNone;
  std::int32_t exit_code = 0;  // of kDie
};

// One message of the host; any combination of members, to be acted on in this order.
struct HostMessage {
  std::optional<ReportingSettings> reporting;
  std::optional<ClipRequest> clip;
  std::optional<RecorderSettings> settings;
  std::optional<HostEvent> event;
};

// Reads leniently: a missing or mistyped member is 0, false or the empty text, and a container that
// is not an object is left out. None when the text is not JSON or is null.
std::optional<HostMessage> ReadHostMessage(const std::string& text);

// A JSON number as a 32-bit integer, fractions cut off; 0 for anything else. A number out of range
// gives the lowest integer, as the processor's conversion does.
std::int32_t ReadInt32(const json11::Json& value);

// The four below build one message and push it; any thread.

// Answers a clip request. The duration and the drops are in nanoseconds and are sent in
// milliseconds; the timestamp is sent as it is.
void SendClipResult(const std::string& id, std::int64_t duration, std::int64_t last_timestamp,
                    std::int64_t audio_drop, std::int64_t video_drop, bool captured_from_hdr);
void SendClipFailure(const std::string& id, const std::string& error);
// Asks the main loop to restart the recording, after all messages that arrived before.
void PostRestartEvent();
// Asks the main loop to stop the service with this exit code, after all messages before.
void PostDieEvent(std::uint32_t code);
// PostDieEvent with the number of the failure of this name (ErrorCodeTable), 0 for other names.
void PostDieEvent(std::string_view failure);

}  // namespace capture_service
