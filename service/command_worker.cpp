#include "service/command_worker.h"

#include <memory>
#include <mutex>
#include <thread>

#include "capture/capture_library.h"
#include "capture/session_start.h"
#include "capture/session_state.h"
#include "service/command_queue.h"
#include "service/recorder_settings.h"
#include "service/stop.h"
#include "supervision/worker_stop.h"

namespace capture_service {
namespace {

void Execute(const Command& command, std::chrono::nanoseconds restart_wait) {
  switch (command.type) {
    case CommandType::kRestart:
      std::this_thread::sleep_until(std::chrono::steady_clock::now() + restart_wait);
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
