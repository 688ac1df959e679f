// The commands of host_console, each from its options to its exit status.
#pragma once

#include <string>

#include "tools/console_options.h"
#include "tools/transcript.h"

namespace host_tools {

inline constexpr int kCommandFailed = 1;

// Carries out a command that AddCommands has added, by name, and returns the exit status. What
// goes wrong is shown by the transcript and thrown: a CLI::ParseError when an option is missing,
// another std::exception with a sentence for people else.
int RunCommand(const std::string& name, const ConsoleOptions& options, Transcript& transcript);

}  // namespace host_tools
