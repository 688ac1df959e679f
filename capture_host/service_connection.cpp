#include "capture_host/service_connection.h"

#include <vector>

#include "capture_host/frames.h"
#include "capture_host/windows_error.h"
#include "platform/text_encoding.h"

namespace capture_host {
namespace {

using platform::Utf8FromWide;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// A process that was killed is gone a moment later.
constexpr milliseconds kKillLimit{5'000};

}  // namespace

ClipOutcome EndedBefore(const std::string& id, const std::string& advice) {
  ClipOutcome outcome;
  outcome.kind = ClipOutcome::Kind::kServiceEnded;
  outcome.answer.id = id;
  outcome.advice = advice;
  return outcome;
}

bool ServiceConnection::Connect(Error& error) {
  const std::string program = Utf8FromWide(launch.program.wstring());
  switch (pipe->AwaitClient(process->handle(), launch.connect_limit)) {
    case HostPipe::Arrival::kClient:
      return true;
    case HostPipe::Arrival::kProcessEnded: {
      const std::uint32_t status = process->WaitForExit(milliseconds{0}).value_or(0);
      const ExitMeaning meaning = ExplainExitStatus(status);
      error = {.what = "The service ended before it connected, with status " +
                       std::to_string(status) + ". " + meaning.what,
               .where = program,
               .advice = meaning.advice,
               .exit_status = status};
      return false;
    }
    case HostPipe::Arrival::kTimedOut:
      error = {.what = "The service did not connect within " +
                       std::to_string(launch.connect_limit.count()) + " ms.",
               .where = program,
               .advice = "Look whether the program is CaptureService.exe and the machine busy."};
      return false;
    case HostPipe::Arrival::kFailed:
      break;
  }
  error = WindowsError(GetLastError(), "Cannot wait for the service", "ConnectNamedPipe",
                       "Start it again.");
  return false;
}

void ServiceConnection::Receive() {
  std::string fault;
  while (true) {
    Frame frame = pipe->ReadFrame();
    if (frame.kind != Frame::Kind::kText) {
      fault = std::move(frame.text);
      break;
    }
    if (!frame.text.empty()) DeliverMessage(std::move(frame.text));
  }
  DeliverEnd(AwaitEnd(std::move(fault)));
}

void ServiceConnection::Deliver(Event event) {
  if (on_event) return on_event(event);
  const std::lock_guard lock(mutex);
  events.Push(std::move(event));
  changed.notify_all();
}

void ServiceConnection::DeliverMessage(std::string text) {
  Event event;
  event.answer = ReadAnswer(text);
  event.text = std::move(text);
  ClipHandler handler;
  ClipOutcome outcome;
  if (const auto* const clip = std::get_if<ClipAnswer>(&event.answer)) {
    outcome = OutcomeOf(*clip);
    const std::lock_guard lock(mutex);
    handler = clips.Take(clip->id);
  }
  Deliver(std::move(event));
  if (handler) handler(outcome);
}

// Closes the pipe, so that the service ends if it has not already, and waits for that.
ServiceEnd ServiceConnection::AwaitEnd(std::string fault) {
  pipe->StopUse();
  {
    const std::lock_guard lock(sending);
    pipe->Close();
    if (fault.empty()) fault = send_fault;
  }
  ServiceEnd how;
  how.fault = std::move(fault);
  std::optional<std::uint32_t> status = process->WaitForExit(launch.end_limit);
  if (!status) {
    how.killed = true;
    process->Kill();
    status = process->WaitForExit(kKillLimit);
  }
  how.exit_status = status.value_or(1);
  how.meaning = ExplainExitStatus(how.exit_status);
  if (how.killed) {
    how.meaning = {.what = "It did not end when its pipe was closed, and was killed.",
                   .advice = "Report it with the last lines that it sent.",
                   .worth_restart = true};
  }
  how.asked_to_end = asked_to_end;
  how.ran_for = std::chrono::duration_cast<milliseconds>(Clock::now() - connected);
  return how;
}

void ServiceConnection::DeliverEnd(ServiceEnd how) {
  std::vector<PendingClip> unanswered;
  {
    const std::lock_guard lock(mutex);
    end = how;  // from now on RequestClip answers by itself
    unanswered = clips.TakeAll();
  }
  for (const PendingClip& request : unanswered) {
    request.handler(EndedBefore(request.id, how.meaning.advice));
  }
  Event event;
  event.end = std::move(how);
  Deliver(std::move(event));
  changed.notify_all();
}

std::optional<Error> ServiceConnection::Send(std::string_view text) {
  const std::string program = Utf8FromWide(launch.program.wstring());
  if (text.size() > kLongestTextBytes) {
    return Error{.what = "The message has " + std::to_string(text.size()) +
                         " bytes, and the service takes 4096.",
                 .where = program,
                 .advice = "Send less at once; shorten the paths and names in it."};
  }
  const std::lock_guard lock(sending);
  const DWORD error = pipe->WriteFrame(text, launch.send_limit);
  if (error == 0) return std::nullopt;
  // What was written so far would be taken for a part of the next frame.
  pipe->StopUse();
  if (error == WAIT_TIMEOUT) {
    send_fault = "It took nothing for " + std::to_string(launch.send_limit.count()) + " ms.";
    return Error{.what = "The service hangs. " + send_fault,
                 .where = program,
                 .advice = "It is being ended; start another.",
                 .windows_error = error};
  }
  return Error{.what = "The service has gone.",
               .where = program,
               .advice = "See how it ended.",
               .windows_error = error};
}

}  // namespace capture_host
