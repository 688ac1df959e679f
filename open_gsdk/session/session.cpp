#include "open_gsdk/session/session.h"

#include <json11.hpp>

#include "open_gsdk/api/handles.h"
#include "open_gsdk/support/failure.h"
#include "open_gsdk/support/library_log.h"

namespace open_gsdk {

Session::~Session() {
  for (const gsdk_audio_input* input : audio_inputs_) AudioInputs().Remove(input);
}

void Session::SetVideoInput(const std::string& type) {
  const std::lock_guard lock(mutex_);
  if (recording_) throw Failure(ErrorCode::kInvalidHandle, "the session has started");
  type_ = InputTypeFromName(type);
  source_.reset();
}

void Session::UpdateVideoInput(const std::string& settings) {
  const std::lock_guard lock(mutex_);
  if (!type_) throw Failure(ErrorCode::kInvalidHandle, "no type of video input was set");
  source_ = ReadVideoSource(*type_, settings);
  if (recording_) recording_->SetSource(*source_);
}

gsdk_audio_input* Session::AddAudioInput(const std::string& kind) {
  if (kind != "audio_output" && kind != "audio_input") {
    throw Failure(ErrorCode::kInvalidArgument, "unknown kind of audio input: " + kind);
  }
  const std::lock_guard lock(mutex_);
  if (recording_) throw Failure(ErrorCode::kInvalidHandle, "the session has started");
  audio_inputs_.push_back(AudioInputs().Add(std::make_shared<const AudioInput>(AudioInput{this})));
  return audio_inputs_.back();
}

void Session::UpdateAudioInput(const gsdk_audio_input* input, const std::string& settings) {
  const auto found = AudioInputs().Find(input);
  if (!found || found->session != this) {
    throw Failure(ErrorCode::kInvalidHandle, "not an audio input of this session");
  }
  std::string error;
  const json11::Json parsed = json11::Json::parse(settings, error);
  if (!error.empty()) {
    throw Failure(ErrorCode::kMalformedJson, "the audio input settings are no JSON: " + error);
  }
  if (!parsed["device_id"].is_string()) {
    throw Failure(ErrorCode::kInvalidArgument, "the audio input settings need a \"device_id\"");
  }
  Log(LogLevel::kInfo, "audio input set to device \"" + parsed["device_id"].string_value() +
                           "\"; it is recorded as silence");
}

void Session::Start(const SessionProperties& properties) {
  const std::lock_guard lock(mutex_);
  if (recording_ || stopped_) {
    throw Failure(ErrorCode::kInvalidHandle, "the session was started before");
  }
  if (!source_) throw Failure(ErrorCode::kInvalidHandle, "no video input was set");
  auto recording = std::make_shared<Recording>(properties, *source_);
  recording->Start();
  recording_ = std::move(recording);
}

void Session::Stop() {
  std::shared_ptr<Recording> recording;
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    recording = recording_;
  }
  // Without the lock, which a callback that is being waited for may need.
  if (recording) recording->Stop();
}

}  // namespace open_gsdk
