// The state of the running recording, shared by session start, the audio update, the clip thread
// and the stop of the workers.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "gsdk/gsdk_api.h"
#include "recording/monitor_tracker.h"

namespace capture_service {

enum AudioInput : std::size_t { kGameAudio, kChatAudio, kMicAudio, kAudioInputs };

// One source of sound of the session.
struct AudioInputSlot {
  gsdk_audio_input* handle = nullptr;
  std::string current_device;  // last sent to the library for this source
};

struct SessionState {
  // Guards the members down to audio_inputs. While a session is being started nothing else uses
  // it, so session start itself fills `session` and `audio_inputs` without the lock.
  std::mutex mutex;
  std::condition_variable stop_changed;
  bool stop = false;
  gsdk_session* session = nullptr;
  std::array<AudioInputSlot, kAudioInputs> audio_inputs;

  // Changed under the mutex by those who destroy it; read without by the clip thread.
  std::atomic<gsdk_recorder*> recorder = nullptr;

  // Command worker only.
  std::thread keeper;  // "gsdk": destroys the session when `stop` is set
  std::unique_ptr<MonitorTracker> monitor_tracker;
};

// The one recording of this process. Never destroyed: its threads may outlive the static objects.
SessionState& Session();

}  // namespace capture_service
