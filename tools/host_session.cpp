#include "tools/host_session.h"

#include <atomic>

#include "tools/exit_statuses.h"

namespace host_tools {
namespace {

// Two joins of at most 10 s each after a restart that is under way.
constexpr std::chrono::seconds kEndLimit{30};

std::atomic<Inbox*> interrupted_inbox{nullptr};

BOOL WINAPI OnConsoleEvent(DWORD /*event*/) {
  Inbox* const inbox = interrupted_inbox.load();
  if (inbox == nullptr) return FALSE;
  inbox->Push({Event::Kind::kInterrupted, {}});
  return TRUE;
}

}  // namespace

InterruptGuard::InterruptGuard(Inbox& inbox) {
  interrupted_inbox = &inbox;
  SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

InterruptGuard::~InterruptGuard() {
  SetConsoleCtrlHandler(OnConsoleEvent, FALSE);
  interrupted_inbox = nullptr;
}

HostSession::HostSession(const ServiceLaunch& launch, Transcript& transcript, Inbox& inbox)
    : transcript_(transcript),
      service_(
          launch,
          [&transcript, &inbox](const std::string& text) {
            transcript.Received(text);
            inbox.Push({Event::Kind::kMessage, text});
          },
          [&inbox] {
            inbox.Push({Event::Kind::kClosed, {}});
          }) {
  transcript_.Note("The service runs as process " + std::to_string(service_.process_id()) + ".");
}

void HostSession::Send(const std::string& text) {
  transcript_.Sent(text);
  if (!service_.Send(text)) FailBecauseEnded("it was sent a message");
}

std::uint32_t HostSession::AwaitEnd() {
  const auto status = service_.WaitForExit(kEndLimit);
  if (!status) {
    throw CommandFailure("The service still runs " + std::to_string(kEndLimit.count()) +
                         " s after it should have ended, and is killed now.");
  }
  service_.ReceiveRest();
  return *status;
}

void HostSession::FailBecauseEnded(const std::string& while_doing) {
  const std::uint32_t status = AwaitEnd();
  throw CommandFailure("The service ended with status " + std::to_string(status) + " while " +
                       while_doing + ". " + ExplainExitStatus(status));
}

}  // namespace host_tools
