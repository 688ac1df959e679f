// A session between its creation and its destruction: which input was chosen, and the recording.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/inputs/video_source.h"
#include "open_gsdk/session/recording.h"
#include "open_gsdk/session/session_properties.h"

namespace open_gsdk {

// Any thread. The functions throw Failure, with kInvalidHandle for a call in the wrong order.
class Session {
 public:
  Session() = default;
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void SetVideoInput(const std::string& type);
  void UpdateVideoInput(const std::string& settings);

  // `kind` is "audio_output" or "audio_input". The handle lives until the session is destroyed.
  gsdk_audio_input* AddAudioInput(const std::string& kind);
  void UpdateAudioInput(const gsdk_audio_input* input, const std::string& settings);

  void Start(const SessionProperties& properties);

  // No callback of the session runs when this returns, but one that it was called from. A session
  // that was stopped cannot be started.
  void Stop();

 private:
  std::mutex mutex_;
  std::optional<InputType> type_;
  std::optional<VideoSource> source_;
  std::vector<gsdk_audio_input*> audio_inputs_;
  std::shared_ptr<Recording> recording_;
  bool stopped_ = false;
};

}  // namespace open_gsdk
