#include "recording/worker_stop.h"

#include <cstdlib>
#include <future>
#include <mutex>
#include <string>
#include <thread>

#include "diagnostics/error_reporting.h"
#include "diagnostics/logging.h"
#include "protocol/error_codes.h"
#include "protocol/host_message.h"
#include "recording/packet_watchdog.h"
#include "recording/session_state.h"

namespace capture_service {
namespace {

[[noreturn]] void DieOverThread(const std::string& name) {
  CaptureErrorEvent(KindText(ErrorCode::JoinThreadError),
                    name + " thread timed out when trying to stop, dieing hard...");
  ShutdownErrorReporting();
  EndHostMessages();
  std::exit(ErrorNumber(ErrorCode::JoinThreadError));
}

template <typename Mutex, typename ConditionVariable>
void StopThread(const std::string& name, std::thread& thread, Mutex& mutex,
                ConditionVariable& changed, bool& stop, std::chrono::nanoseconds join_timeout) {
  if (!thread.joinable()) return;
  {
    const std::lock_guard lock(mutex);
    stop = true;
  }
  changed.notify_all();

  const std::future<void> joined = std::async(std::launch::async, [&thread] { thread.join(); });
  if (joined.wait_for(join_timeout) == std::future_status::timeout) DieOverThread(name);
}

}  // namespace

void StopWorkers(std::chrono::nanoseconds join_timeout) {
  PacketWatch& watch = Watch();
  StopThread("buffer watcher", watch.thread, watch.mutex, watch.changed, watch.stop, join_timeout);
  SessionState& session = Session();
  StopThread("gsdk", session.keeper, session.mutex, session.stop_changed, session.stop,
             join_timeout);
  session.monitor_tracker.reset();
}

}  // namespace capture_service
