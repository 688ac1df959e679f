// What is behind a Service (capture_host/service.h): its pipe, its process, and the thread that
// receives what the service says.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "capture_host/event_queue.h"
#include "capture_host/host_pipe.h"
#include "capture_host/pending_clips.h"
#include "capture_host/service_launch.h"
#include "capture_host/service_process.h"

namespace capture_host {

struct ServiceConnection {
  ServiceConnection(const ServiceLaunch& how, EventHandler handler)
      : launch(how), on_event(std::move(handler)), events(how.most_kept_lines) {}

  const ServiceLaunch launch;
  const EventHandler on_event;
  std::unique_ptr<HostPipe> pipe;
  std::unique_ptr<ServiceProcess> process;
  std::chrono::steady_clock::time_point connected;
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

  // Waits until the service has opened the pipe; false with `error` filled in when it does not.
  bool Connect(Error& error);
  // The receiver's body: delivers what comes until the service has ended, and then that.
  void Receive();
  // Sends a frame. Any thread.
  std::optional<Error> Send(std::string_view text);

 private:
  void Deliver(Event event);
  void DeliverMessage(std::string text);
  ServiceEnd AwaitEnd(std::string fault);
  void DeliverEnd(ServiceEnd how);
};

// The outcome of a clip that the service did not answer before it ended.
ClipOutcome EndedBefore(const std::string& id, const std::string& advice);

}  // namespace capture_host
