// One conversation with one service: every message goes through the transcript, and what comes in
// lands in the inbox.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "capture_host/service.h"
#include "tools/inbox.h"
#include "tools/transcript.h"

namespace host_tools {

// A command could not do what it was asked to. The text is a sentence for people.
class CommandFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// While it lives, Ctrl+C and the closing of the console arrive in the inbox as kInterrupted
// instead of ending the process. One at a time.
class InterruptGuard {
 public:
  explicit InterruptGuard(Inbox& inbox);
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
};

class HostSession {
 public:
  // Starts the service. `transcript` and `inbox` outlive the session. Throws CommandFailure.
  HostSession(const capture_host::ServiceLaunch& launch, Transcript& transcript, Inbox& inbox);

  // Throws CommandFailure when the service has gone.
  void Send(const std::string& text);

  // Waits for a service that closed its pipe, or was told to die. Throws CommandFailure when it
  // still runs after half a minute, and when what it sent was not as it should be.
  std::uint32_t AwaitEnd();

  // For a service that ended on its own account while the host still wanted something from it.
  [[noreturn]] void FailBecauseEnded(const std::string& while_doing);

 private:
  Transcript& transcript_;
  std::unique_ptr<capture_host::Service> service_;
};

}  // namespace host_tools
