// The `console` command: a prompt at which a person plays the host.
#pragma once

#include <string>
#include <vector>

#include "tools/host_session.h"

namespace host_tools {

struct PromptOptions {
  bool show_prompt = true;
  std::string clip_folder;            // for clips without a path; UTF-8, absolute
  std::vector<std::string> at_start;  // messages to send before the first prompt
};

// Reads commands from the standard input and carries them out until "quit", the end of the input,
// Ctrl+C or the end of the service. True when the service ended with the status it was told to end
// with, or with 0 on its own account. `inbox` is never destroyed: the thread that reads the input
// lives as long as the process.
[[nodiscard]] bool RunPrompt(HostSession& session, Inbox& inbox, Transcript& transcript,
                             const PromptOptions& options);

}  // namespace host_tools
