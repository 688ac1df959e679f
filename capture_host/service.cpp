#include "capture_host/service.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "capture_host/event_queue.h"
#include "capture_host/frames.h"
#include "capture_host/host_pipe.h"
#include "capture_host/service_process.h"
#include "capture_host/windows_error.h"
#include "platform/deadline.h"
#include "platform/text_encoding.h"

namespace capture_host {
namespace {

using platform::Utf8FromWide;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// A process that was killed is gone a moment later.
constexpr milliseconds kKillLimit{5'000};

platform::SteadyTime DeadlineIn(milliseconds limit) {
  const auto longest = std::chrono::duration_cast<milliseconds>(std::chrono::nanoseconds::max());
  return platform::DeadlineAfter(Clock::now(), std::min(limit, longest));
}

ClipOutcome EndedBefore(const std::string& id, const std::string& advice) {
  ClipOutcome outcome;
  outcome.kind = ClipOutcome::Kind::kServiceEnded;
  outcome.answer.id = id;
  outcome.advice = advice;
  return outcome;
}

}  // namespace

struct Service::State {
  State(const ServiceLaunch& how, EventHandler handler)
      : launch(how), on_event(std::move(handler)), events(how.most_kept_lines) {}

  const ServiceLaunch launch;
  const EventHandler on_event;
  std::unique_ptr<HostPipe> pipe;
  std::unique_ptr<ServiceProcess> process;
  Clock::time_point connected;
  std::atomic<bool> asked_to_end = false;
  std::thread receiver;

  std::mutex sending;      // held while a frame is written or the pipe is closed
  std::string send_fault;  // under `sending`: why nothing can be sent any more

  std::mutex mutex;  // guards all below; nothing of the host is called while it is held
  std::condition_variable changed;
  EventQueue events;
  PendingClips clips;
  unsigned clips_requested = 0;
  std::optional<ServiceEnd> end;
  bool end_taken = false;  // by NextEvent

  bool Connect(Error& error);
  void Receive();
  void Deliver(Event event);
  void DeliverMessage(std::string text);
  ServiceEnd AwaitEnd(std::string fault);
  void DeliverEnd(ServiceEnd how);
  std::optional<Error> Send(std::string_view text);
};

bool Service::State::Connect(Error& error) {
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

std::unique_ptr<Service> Service::Start(const ServiceLaunch& launch, EventHandler on_event,
                                        Error& error) {
  auto state = std::make_unique<State>(launch, std::move(on_event));
  state->pipe = HostPipe::Create({}, error);
  if (!state->pipe) return nullptr;
  ProcessStart start{.program = launch.program, .arguments = {state->pipe->path()}};
  if (!launch.library.empty()) start.arguments.push_back(launch.library.wstring());
  state->process = ServiceProcess::Start(start, error);
  if (!state->process || !state->Connect(error)) return nullptr;
  state->connected = Clock::now();
  return std::unique_ptr<Service>(new Service(std::move(state)));
}

Service::Service(std::unique_ptr<State> state) : state_(std::move(state)) {
  state_->receiver = std::thread([state = state_.get()] { state->Receive(); });
}

Service::~Service() {
  Close();
  state_->receiver.join();
}

void Service::State::Receive() {
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

void Service::State::Deliver(Event event) {
  if (on_event) return on_event(event);
  const std::lock_guard lock(mutex);
  events.Push(std::move(event));
  changed.notify_all();
}

void Service::State::DeliverMessage(std::string text) {
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
ServiceEnd Service::State::AwaitEnd(std::string fault) {
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

void Service::State::DeliverEnd(ServiceEnd how) {
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

std::optional<Error> Service::State::Send(std::string_view text) {
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

std::uint32_t Service::process_id() const { return state_->process->id(); }

std::optional<Error> Service::SetUpReporting(const ReportingSettings& settings) {
  return state_->Send(ReportingMessage(settings));
}

std::optional<Error> Service::Configure(const RecorderSettings& settings) {
  return state_->Send(SettingsMessage(settings));
}

std::optional<Error> Service::RestartRecording() { return state_->Send(RestartMessage()); }

std::optional<Error> Service::ChangeAudio() { return state_->Send(ChangeAudioMessage()); }

std::optional<Error> Service::RequestEnd(std::int32_t exit_status) {
  state_->asked_to_end = true;
  return state_->Send(DieMessage(exit_status));
}

std::optional<Error> Service::SendText(std::string_view text) { return state_->Send(text); }

std::string Service::RequestClip(const std::filesystem::path& path, ClipHandler on_outcome) {
  std::string id = "clip-";
  {
    const std::lock_guard lock(state_->mutex);
    id += std::to_string(++state_->clips_requested);
    if (!state_->end) state_->clips.Add(id, std::exchange(on_outcome, {}));
  }
  if (on_outcome) {
    on_outcome(EndedBefore(id, "Start the service again."));
    return id;
  }
  const auto error = state_->Send(ClipMessage(Utf8FromWide(path.wstring()), id));
  if (!error) return id;
  // A message that was too long is never answered, and the end may have been answered for by now.
  ClipHandler handler;
  {
    const std::lock_guard lock(state_->mutex);
    handler = state_->clips.Take(id);
  }
  if (handler) handler(EndedBefore(id, Describe(*error)));
  return id;
}

ClipOutcome Service::SaveClip(const std::filesystem::path& path, milliseconds limit) {
  struct Wait {
    std::mutex mutex;
    std::condition_variable changed;
    std::optional<ClipOutcome> outcome;
  };
  // Shared with the handler, which may still be inside when this has returned.
  const auto wait = std::make_shared<Wait>();
  const std::string id = RequestClip(path, [wait](const ClipOutcome& outcome) {
    const std::lock_guard lock(wait->mutex);
    wait->outcome = outcome;
    wait->changed.notify_all();
  });
  std::unique_lock lock(wait->mutex);
  const auto answered = [&] { return wait->outcome.has_value(); };
  if (platform::WaitUntil(wait->changed, lock, DeadlineIn(limit), answered)) return *wait->outcome;
  lock.unlock();
  ClipHandler unanswered;
  {
    const std::lock_guard state_lock(state_->mutex);
    unanswered = state_->clips.Take(id);
  }
  if (unanswered) {
    ClipOutcome outcome;
    outcome.kind = ClipOutcome::Kind::kTimedOut;
    outcome.answer.id = id;
    outcome.advice = "Wait longer for long buffers; the clip may still be written.";
    return outcome;
  }
  // The answer came at the last moment and is on its way.
  lock.lock();
  wait->changed.wait(lock, answered);
  return *wait->outcome;
}

std::optional<Event> Service::NextEvent(milliseconds limit) {
  std::unique_lock lock(state_->mutex);
  platform::WaitUntil(state_->changed, lock, DeadlineIn(limit),
                      [&] { return !state_->events.empty() || state_->end_taken; });
  std::optional<Event> event = state_->events.Take();
  if (event && event->end) state_->end_taken = true;
  return event;
}

void Service::Close() {
  state_->asked_to_end = true;
  state_->pipe->StopUse();
}

std::optional<ServiceEnd> Service::WaitForEnd(milliseconds limit) {
  std::unique_lock lock(state_->mutex);
  platform::WaitUntil(state_->changed, lock, DeadlineIn(limit),
                      [&] { return state_->end.has_value(); });
  return state_->end;
}

}  // namespace capture_host
