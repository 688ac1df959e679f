#include "tools/host_session.h"

#include <windows.h>

#include <atomic>

#include "tools/wait_line.h"

namespace host_tools {
namespace {

// Two joins of at most 10 s each after a restart that is under way.
constexpr std::chrono::seconds kEndLimit{30};

std::atomic<Inbox*> interrupted_inbox{nullptr};

BOOL WINAPI OnConsoleEvent(DWORD /*event*/) {
  Inbox* const inbox = interrupted_inbox.load();
  if (inbox == nullptr) return FALSE;
  inbox->Push({.kind = Event::Kind::kInterrupted});
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

HostSession::HostSession(const capture_host::ServiceLaunch& launch, Transcript& transcript,
                         Inbox& inbox)
    : transcript_(transcript) {
  capture_host::Error error;
  transcript.Progress("Starting the service", false);
  service_ = capture_host::Service::Start(
      launch,
      [&transcript, &inbox](const capture_host::Event& event) {
        if (event.end) return inbox.Push({.kind = Event::Kind::kClosed});
        transcript.Received(event);
        inbox.Push({.kind = Event::Kind::kMessage, .answer = event.answer});
      },
      error);
  transcript.EndProgress();
  if (!service_) throw CommandFailure(Describe(error));
  transcript_.Note("The service runs as process " + std::to_string(service_->process_id()) + ".");
}

void HostSession::Send(const std::string& text) {
  transcript_.Sent(text);
  const auto error = service_->SendText(text);
  if (!error) return;
  if (error->windows_error == 0) throw CommandFailure(Describe(*error));
  FailBecauseEnded("it was sent a message");
}

std::uint32_t HostSession::AwaitEnd() {
  const auto end = AwaitServiceEnd(*service_, kEndLimit, transcript_);
  if (!end) {
    throw CommandFailure("The service still runs " + std::to_string(kEndLimit.count()) +
                         " s after it should have ended, and is killed now.");
  }
  if (!end->fault.empty()) throw CommandFailure("The service is broken. " + end->fault);
  return end->exit_status;
}

void HostSession::FailBecauseEnded(const std::string& while_doing) {
  const std::uint32_t status = AwaitEnd();
  throw CommandFailure("While " + while_doing + ": " + capture_host::DescribeExit(status));
}

}  // namespace host_tools
