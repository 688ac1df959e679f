// The messages that the host sends, one JSON text each. docs/protocol.md describes them one by one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "protocol/recorder_settings.h"

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
// is not an object is left out. None when the text is not JSON or is null. Any thread.
std::optional<HostMessage> ReadHostMessage(const std::string& text);

// For a thread that ends the process while the main loop still runs: waits until the message that
// is being read, if any, has been read. ReadHostMessage doesn't return from then on, because json11
// reads with static objects of its own, which the end of the process destroys. Once only.
void EndHostMessages();

}  // namespace capture_service
