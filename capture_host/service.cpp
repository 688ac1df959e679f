#include "capture_host/service.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include "capture_host/service_connection.h"
#include "platform/deadline.h"
#include "platform/text_encoding.h"

namespace capture_host {
namespace {

using platform::Utf8FromWide;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

platform::SteadyTime DeadlineIn(milliseconds limit) {
  const auto longest = std::chrono::duration_cast<milliseconds>(std::chrono::nanoseconds::max());
  return platform::DeadlineAfter(Clock::now(), std::min(limit, longest));
}

}  // namespace

std::unique_ptr<Service> Service::Start(const ServiceLaunch& launch, EventHandler on_event,
                                        Error& error) {
  auto state = std::make_unique<ServiceConnection>(launch, std::move(on_event));
  state->pipe = HostPipe::Create({}, error);
  if (!state->pipe) return nullptr;
  ProcessStart start{.program = launch.program, .arguments = {state->pipe->path()}};
  if (!launch.library.empty()) start.arguments.push_back(launch.library.wstring());
  state->process = ServiceProcess::Start(start, error);
  if (!state->process || !state->Connect(error)) return nullptr;
  state->connected = Clock::now();
  return std::unique_ptr<Service>(new Service(std::move(state)));
}

Service::Service(std::unique_ptr<ServiceConnection> state) : state_(std::move(state)) {
  state_->receiver = std::thread([state = state_.get()] { state->Receive(); });
}

Service::~Service() {
  Close();
  state_->receiver.join();
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
