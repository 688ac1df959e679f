// The commands that the main loop hands to the command worker, in order.
#pragma once

#include <cstdint>
#include <memory>

#include "protocol/recorder_settings.h"

namespace capture_service {

enum class CommandType : std::uint32_t {
  kWake = 0,            // nothing; lets the worker see that the service is stopping
  kRestart = 1,         // start a new recording session
  kChangeAudio = 2,     // update the audio devices of the running session
  kUpdateSettings = 3,  // merge the settings into the current ones
};

struct Command {
  CommandType type = CommandType::kWake;
  RecorderSettings settings;  // of kUpdateSettings; all defaults otherwise
};

// Appends a command and wakes the worker. Any thread.
void PushCommand(std::unique_ptr<Command> command);

// Waits for the next command and takes it. Command worker only.
std::unique_ptr<Command> PopCommand();

}  // namespace capture_service
