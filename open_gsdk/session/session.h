// A session between its creation and its destruction: which input was chosen, and the recording.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "open_gsdk/inputs/video_source.h"
#include "open_gsdk/session/recording.h"
#include "open_gsdk/session/session_properties.h"

namespace open_gsdk {

// Any thread. The functions throw Failure, with kInvalidHandle for a call in the wrong order.
class Session {
 public:
  void SetVideoInput(const std::string& type);
  void UpdateVideoInput(const std::string& settings);

  // `kind` is "audio_output" or "audio_input". Returns the input's number: 0 for the first one, and
  // so on. It is the input of the sound track with the same number.
  std::size_t AddAudioInput(const std::string& kind);
  // Binds the input to a device, while the session runs too.
  void UpdateAudioInput(std::size_t number, const std::string& settings);

  void Start(const SessionProperties& properties);

  // No callback of the session runs when this returns, but one that it was called from. A session
  // that was stopped cannot be started.
  void Stop();

 private:
  // Starts what was opened without the lock.
  void Begin(std::shared_ptr<Recording> recording);

  std::mutex mutex_;
  std::optional<InputType> type_;
  std::optional<VideoSource> source_;
  std::vector<SoundBinding> audio_inputs_;
  std::shared_ptr<Recording> recording_;
  bool started_ = false;
  bool stopped_ = false;
};

}  // namespace open_gsdk
