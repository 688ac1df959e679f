// The progress line of a wait.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "capture_host/service.h"
#include "tools/inbox.h"
#include "tools/transcript.h"

namespace host_tools {

// How often a progress line is brought up to date.
inline constexpr std::chrono::milliseconds kProgressInterval{200};

// Shows "WHAT, 3 s" on a terminal for as long as it lives, from the first whole second on. One
// thread.
class WaitLine {
 public:
  // `transcript` outlives it. With `total` the line says "WHAT, 3 of 10 s".
  WaitLine(Transcript& transcript, std::string what, std::optional<std::chrono::seconds> total = {})
      : transcript_(transcript), what_(std::move(what)), total_(total) {}
  ~WaitLine() { transcript_.EndProgress(); }
  WaitLine(const WaitLine&) = delete;
  WaitLine& operator=(const WaitLine&) = delete;

  void Show();

  // Takes the next event; none when `deadline` passes first.
  std::optional<Event> Pop(Inbox& inbox, std::chrono::steady_clock::time_point deadline);

 private:
  Transcript& transcript_;
  const std::string what_;
  const std::optional<std::chrono::seconds> total_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// How the service ended; none when it still runs after `limit`. Shows the wait.
std::optional<capture_host::ServiceEnd> AwaitServiceEnd(capture_host::Service& service,
                                                        std::chrono::seconds limit,
                                                        Transcript& transcript);

}  // namespace host_tools
