#include "tools/wait_line.h"

#include <algorithm>

namespace host_tools {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

void WaitLine::Show() {
  const auto waited = std::chrono::duration_cast<seconds>(Clock::now() - start_);
  if (waited < seconds(1)) return;
  std::string text = what_ + ", " + std::to_string(waited.count());
  if (total_) text += " of " + std::to_string(total_->count());
  transcript_.Progress(text + " s", false);
}

std::optional<Event> WaitLine::Pop(Inbox& inbox, Clock::time_point deadline) {
  while (true) {
    Show();
    const Clock::time_point next = std::min(deadline, Clock::now() + kProgressInterval);
    auto event = inbox.PopUntil(next);
    if (event || next == deadline) return event;
  }
}

std::optional<capture_host::ServiceEnd> AwaitServiceEnd(capture_host::Service& service,
                                                        seconds limit, Transcript& transcript) {
  WaitLine line(transcript, "Waiting for the service to end");
  const Clock::time_point deadline = Clock::now() + limit;
  while (true) {
    auto end = service.WaitForEnd(kProgressInterval);
    if (end || Clock::now() >= deadline) return end;
    line.Show();
  }
}

}  // namespace host_tools
