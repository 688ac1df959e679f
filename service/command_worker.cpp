#include "service/command_worker.h"

#include <memory>
#include <mutex>

#include "platform/deadline.h"
#include "protocol/command_queue.h"
#include "protocol/recorder_settings.h"
#include "recording/session_start.h"
#include "recording/session_state.h"
#include "recording/worker_stop.h"
#include "service/stop.h"

namespace capture_service {
namespace {

void Execute(const Command& command, std::chrono::nanoseconds restart_wait) {
  switch (command.type) {
    case CommandType::kRestart:
      platform::SleepUntil(platform::DeadlineAfter(std::chrono::steady_clock::now(), restart_wait));
      StartRecordingSession();
      break;
    case CommandType::kChangeAudio:
      UpdateAudioDevices();
      break;
    case CommandType::kUpdateSettings:
      MergeRecorderSettings(CurrentRecorderSettings(), command.settings);
      break;
    case CommandType::kWake:
    default:
      break;
  }
}

}  // namespace

void CommandWorker(std::chrono::nanoseconds restart_wait) {
  while (!StopFlag) Execute(*PopCommand(), restart_wait);
  StopWorkers();
}

}  // namespace capture_service
