// One running CaptureService as its host sees it: starts it, sends it messages, receives what it
// says, and says how it ended. docs/protocol.md explains the messages; examples/minimal_host.cpp is
// a whole host.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "capture_host/answers.h"
#include "capture_host/error.h"
#include "capture_host/events.h"
#include "capture_host/exit_status.h"
#include "capture_host/messages.h"
#include "capture_host/pending_clips.h"
#include "capture_host/service_launch.h"

namespace capture_host {

struct ServiceConnection;

// Any thread may call any function, unless it says otherwise. The service ends with this object.
class Service {
 public:
  // Creates the pipe, starts the service and returns when it has connected; null with `error`
  // filled in when any of that fails. Events go to `on_event`; without one they are kept for
  // NextEvent.
  static std::unique_ptr<Service> Start(const ServiceLaunch& launch, EventHandler on_event,
                                        Error& error);

  // Closes the pipe and returns when the process has ended, by itself or killed after `end_limit`.
  // Not from a handler.
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  [[nodiscard]] std::uint32_t process_id() const;

  // Each of these sends one message, and returns an error when the service has gone, hangs, or
  // could not take a message so long. Nothing confirms them but what the service then does.
  [[nodiscard]] std::optional<Error> SetUpReporting(const ReportingSettings& settings);
  [[nodiscard]] std::optional<Error> Configure(const RecorderSettings& settings);
  [[nodiscard]] std::optional<Error> RestartRecording();
  [[nodiscard]] std::optional<Error> ChangeAudio();
  // The service ends with `exit_status` once it has carried out what came before, clips excepted.
  [[nodiscard]] std::optional<Error> RequestEnd(std::int32_t exit_status = 0);
  // Any text of at most 4096 bytes, for consoles.
  [[nodiscard]] std::optional<Error> SendText(std::string_view text);

  // Asks for a clip at `path`. `on_outcome` is called exactly once, with the answer or at the
  // service's end, on the library's thread; or on this one when the request could not be sent. The
  // same rules as for an EventHandler. Returns the request's id, which no other request has.
  std::string RequestClip(const std::filesystem::path& path, ClipHandler on_outcome);

  // Asks for a clip and waits for the outcome, at most `limit`. Not from a handler.
  ClipOutcome SaveClip(const std::filesystem::path& path, std::chrono::milliseconds limit);

  // The oldest event that was not taken yet, as soon as there is one; none when `limit` passes
  // first or all were taken, the end too. Without an EventHandler only.
  std::optional<Event> NextEvent(std::chrono::milliseconds limit);

  // Closes the pipe, which tells the service to stop. Nothing comes or goes afterwards but the end.
  void Close();

  // How the service ended; none while it still runs after `limit`. Not from a handler.
  std::optional<ServiceEnd> WaitForEnd(std::chrono::milliseconds limit);

 private:
  explicit Service(std::unique_ptr<ServiceConnection> state);

  std::unique_ptr<ServiceConnection> state_;
};

}  // namespace capture_host
