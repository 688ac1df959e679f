#include "open_gsdk/session/session.h"

#include <json11.hpp>
#include <utility>

#include "open_gsdk/support/failure.h"
#include "open_gsdk/support/library_log.h"

namespace open_gsdk {
namespace {

AudioDirection DirectionFromName(const std::string& kind) {
  if (kind == "audio_output") return AudioDirection::kOutput;
  if (kind == "audio_input") return AudioDirection::kInput;
  throw Failure(ErrorCode::kInvalidArgument, "unknown kind of audio input: " + kind);
}

}  // namespace

void Session::SetVideoInput(const std::string& type) {
  const std::lock_guard lock(mutex_);
  if (started_) throw Failure(ErrorCode::kInvalidHandle, "the session has started");
  type_ = InputTypeFromName(type);
  source_.reset();
}

void Session::UpdateVideoInput(const std::string& settings) {
  const std::lock_guard lock(mutex_);
  if (!type_) throw Failure(ErrorCode::kInvalidHandle, "no type of video input was set");
  source_ = ReadVideoSource(*type_, settings);
  if (recording_) recording_->SetSource(*source_);
}

std::size_t Session::AddAudioInput(const std::string& kind) {
  const AudioDirection direction = DirectionFromName(kind);
  const std::lock_guard lock(mutex_);
  if (started_) throw Failure(ErrorCode::kInvalidHandle, "the session has started");
  audio_inputs_.push_back({.direction = direction});
  return audio_inputs_.size() - 1;
}

void Session::UpdateAudioInput(std::size_t number, const std::string& settings) {
  std::string error;
  const json11::Json parsed = json11::Json::parse(settings, error);
  if (!error.empty()) {
    throw Failure(ErrorCode::kMalformedJson, "the audio input settings are no JSON: " + error);
  }
  if (!parsed["device_id"].is_string()) {
    throw Failure(ErrorCode::kInvalidArgument, "the audio input settings need a \"device_id\"");
  }
  const std::string& device_id = parsed["device_id"].string_value();
  {
    const std::lock_guard lock(mutex_);
    audio_inputs_.at(number).device_id = device_id;
    if (recording_) recording_->BindSound(number, device_id);
  }
  Log(LogLevel::kInfo,
      "audio input " + std::to_string(number) + " set to device \"" + device_id + "\"");
}

void Session::Start(const SessionProperties& properties) {
  VideoSource source;
  std::vector<SoundBinding> bindings;
  {
    const std::lock_guard lock(mutex_);
    if (started_ || stopped_) {
      throw Failure(ErrorCode::kInvalidHandle, "the session was started before");
    }
    if (!source_) throw Failure(ErrorCode::kInvalidHandle, "no video input was set");
    source = *source_;
    bindings = audio_inputs_;
    started_ = true;
  }
  // Without the lock, which a callback for the log lines may need.
  try {
    Begin(std::make_shared<Recording>(properties, source, bindings));
  } catch (...) {
    const std::lock_guard lock(mutex_);
    started_ = false;
    throw;
  }
}

void Session::Begin(std::shared_ptr<Recording> recording) {
  const std::lock_guard lock(mutex_);
  if (stopped_) throw Failure(ErrorCode::kInvalidHandle, "the session was destroyed");
  // What was chosen while the encoders were opened.
  recording->SetSource(*source_);
  for (std::size_t number = 0; number < audio_inputs_.size(); ++number) {
    recording->BindSound(number, audio_inputs_[number].device_id);
  }
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
