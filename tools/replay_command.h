// The `replay` command: sends a journal's messages again, at their times.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/host_session.h"

namespace host_tools {

// A message that a journal's host sent.
struct JournalMessage {
  std::chrono::milliseconds time{0};  // since the console of the journal was started
  std::string text;
};

struct Journal {
  std::vector<JournalMessage> sent;   // in the order of the journal
  std::chrono::milliseconds last{0};  // the time of the last message in either direction
};

// Reads a journal that Transcript wrote. Throws CommandFailure with a sentence for people when the
// file cannot be read, or has a line that is none of a journal's, or no message of a host.
Journal ReadJournal(const std::filesystem::path& path);

// Sends the messages, each as long after the first as in the journal, waits as long as the journal
// goes on, tells the service to end if the journal did not, and returns its exit status. Ctrl+C
// ends it early.
std::uint32_t ReplayJournal(HostSession& session, Inbox& inbox, Transcript& transcript,
                            const Journal& journal);

}  // namespace host_tools
