#include "tools/replay_command.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <json11.hpp>

#include "platform/text_encoding.h"
#include "tools/wait_line.h"

namespace host_tools {
namespace {

using json11::Json;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

bool TellsToEnd(const std::string& text) {
  std::string ignored;
  return Json::parse(text, ignored)["event"]["die"].is_number();
}

// Waits until `deadline`; false when the service ended before. Throws CommandFailure on Ctrl+C.
bool WaitUntil(Clock::time_point deadline, Inbox& inbox, Transcript& transcript,
               const std::string& progress) {
  while (true) {
    const Clock::time_point now = Clock::now();
    if (now >= deadline) return true;
    transcript.Progress(progress, false);
    const auto event = inbox.PopUntil(std::min(deadline, now + kProgressInterval));
    if (!event) continue;
    if (event->kind == Event::Kind::kClosed) return false;
    if (event->kind == Event::Kind::kInterrupted) {
      throw CommandFailure("Interrupted; the service is ended without its last messages.");
    }
  }
}

}  // namespace

Journal ReadJournal(const std::filesystem::path& path) {
  const std::string name = platform::Utf8FromWide(path.wstring());
  std::ifstream file(path, std::ios::binary);
  if (!file) throw CommandFailure("Cannot read the journal " + name + ". Look at its path.");
  Journal journal;
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    std::string ignored;
    const Json entry = Json::parse(line, ignored);
    if (!entry["direction"].is_string() || !entry["text"].is_string()) {
      throw CommandFailure("Line " + std::to_string(number) + " of " + name +
                           " is no line of a journal. Name a file that --journal wrote.");
    }
    const milliseconds time{std::llround(entry["time"].number_value() * 1000)};
    journal.last = std::max(journal.last, time);
    if (entry["direction"].string_value() == "in") {
      journal.sent.push_back({time, entry["text"].string_value()});
    }
  }
  if (journal.sent.empty()) {
    throw CommandFailure("The journal " + name + " has no message of a host. Name another.");
  }
  return journal;
}

std::uint32_t ReplayJournal(HostSession& session, Inbox& inbox, Transcript& transcript,
                            const Journal& journal) {
  Clock::time_point start = Clock::now();
  const milliseconds first = journal.sent.front().time;
  bool told_to_end = false;
  std::size_t count = 0;
  for (const JournalMessage& message : journal.sent) {
    const std::string progress = "Replayed " + std::to_string(count) + " of " +
                                 std::to_string(journal.sent.size()) + " messages";
    if (!WaitUntil(start + (message.time - first), inbox, transcript, progress)) break;
    session.Send(message.text);
    told_to_end = told_to_end || TellsToEnd(message.text);
    // The first one may have been slow to go out.
    if (++count == 1) start = Clock::now();
  }
  if (!told_to_end && count == journal.sent.size() &&
      WaitUntil(start + (journal.last - first), inbox, transcript, "Waiting for the end")) {
    session.Send(capture_host::DieMessage(0));
  }
  transcript.EndProgress();
  return session.AwaitEnd();
}

}  // namespace host_tools
