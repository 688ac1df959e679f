#include "recording/session_start.h"

#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "diagnostics/error_reporting.h"
#include "diagnostics/fatal_failure.h"
#include "diagnostics/logging.h"
#include "gsdk/capture_library.h"
#include "protocol/recorder_settings.h"
#include "protocol/service_requests.h"
#include "recording/audio_devices.h"
#include "recording/connection_errors.h"
#include "recording/game_state.h"
#include "recording/input_descriptions.h"
#include "recording/packet_watchdog.h"
#include "recording/session_state.h"
#include "recording/worker_stop.h"

namespace capture_service {
namespace {

struct PropertiesDestroyer {
  void operator()(gsdk_properties* properties) const {
    Library().gsdk_session_properties_destroy(properties);
  }
};
using Properties = std::unique_ptr<gsdk_properties, PropertiesDestroyer>;

// Checks every setting that a session needs, so that all that are missing are logged.
bool CheckSettings(const RecorderSettings& settings) {
  bool complete = true;
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    if (!setting.needed) continue;
    const auto number = std::get<std::int32_t RecorderSettings::*>(setting.member);
    if (!CheckSettingInitialized(setting.key, settings.*number)) complete = false;
  }
  return complete;
}

void ClearStopFlags() {
  {
    SessionState& session = Session();
    const std::lock_guard lock(session.mutex);
    session.stop = false;
  }
  PacketWatch& watch = Watch();
  const std::lock_guard lock(watch.mutex);
  watch.stop = false;
  watch.packet_seen = false;
}

// Tags the error reports with the game's elevation on the way. Returns false when the game is gone.
bool CheckProcessExists(const RecorderSettings& settings) {
  SetReportTag("GLIMRA_GAME_ELEVATION", "");
  if (settings.game_pid == 0) return true;
  const GameProcess process = QueryGameProcess(static_cast<std::uint32_t>(settings.game_pid));
  if (!process.exists) {
    LogFailure("Recording Process", "Process to record no longer exists, exiting", ReportAs::kInfo);
    PostDieEvent(0U);
    return false;
  }
  if (process.elevation) SetReportTag("GLIMRA_GAME_ELEVATION", *process.elevation);
  return true;
}

// Undoes a start that is left early: whenever it is destroyed before Disarm.
class CleanUpGuard {
 public:
  CleanUpGuard() = default;
  CleanUpGuard(const CleanUpGuard&) = delete;
  CleanUpGuard& operator=(const CleanUpGuard&) = delete;
  ~CleanUpGuard() {
    if (!armed_) return;
    SessionState& session = Session();
    const std::lock_guard lock(session.mutex);
    session.audio_inputs = {};
    if (gsdk_session* const handle = std::exchange(session.session, nullptr)) {
      Library().gsdk_session_destroy(handle);
    }
    if (gsdk_recorder* const recorder = session.recorder.exchange(nullptr)) {
      Library().gsdk_recorder_destroy(recorder);
    }
  }
  void Disarm() { armed_ = false; }

 private:
  bool armed_ = true;
};

bool CreateSession() {
  LibraryError error;
  if (Library().gsdk_session_create(&Session().session, nullptr, error.Out())) return true;
  if (error.Code() == kGsdkErrorNoEncoder) {
    RaiseFailure(ErrorCode::GSDKEncoderNotFound,
                 "No valid encoder found on session creation:", error, ReportAs::kInfo);
  } else {
    RaiseFailure(ErrorCode::GSDKSessionCreateFailed, "Create session failed: ", error,
                 ReportAs::kErrorEvent);
  }
  return false;
}

// None after a failure, which is then logged and posted.
const char* ModeText(const RecorderSettings& settings) {
  switch (static_cast<RecordingMode>(settings.recording_mode)) {
    case RecordingMode::kMonitor:
      return "monitor";
    case RecordingMode::kGame:
      return "game";
    case RecordingMode::kWindow:
      return "window";
  }
  RaiseFailure(ErrorCode::UnknownRecordingMode,
               "unknown recording mode: " +
                   std::to_string(static_cast<std::uint32_t>(settings.recording_mode)),
               ReportAs::kErrorEvent);
  return nullptr;
}

bool SetVideoInputType(const char* mode_text) {
  LibraryError error;
  if (Library().gsdk_session_set_video_input(Session().session, mode_text, error.Out())) {
    return true;
  }
  RaiseFailure(ErrorCode::GSDKSetVideoInputFailed, "Setting video input type failed: ", error,
               ReportAs::kErrorEvent);
  return false;
}

// Adds every wanted source; returns the names of the tracks. A source that fails is left out.
std::vector<const char*> AddAudioInputs(const RecorderSettings& settings) {
  SessionState& session = Session();
  std::vector<const char*> tracks;
  for (const AudioSource& source : kAudioSources) {
    if (settings.*source.device == "none") continue;
    LibraryError error;
    if (Library().gsdk_session_add_audio_input(session.session, source.kind,
                                               &session.audio_inputs.at(source.slot).handle,
                                               error.Out())) {
      tracks.push_back(source.track_name);
    } else {
      LogFailure("Audio Input", "Add audio input failed: " + error.Message(),
                 ReportAs::kErrorEvent);
    }
  }
  if (tracks.empty()) tracks.push_back("Silence");
  return tracks;
}

Properties CreateProperties(const RecorderSettings& settings,
                            const std::vector<const char*>& tracks) {
  const auto number = [](std::int32_t setting) { return static_cast<std::uint32_t>(setting); };
  const std::uint32_t crf = number(settings.encoding_crf);
  const CaptureLibrary& library = Library();

  Properties owned(library.gsdk_session_properties_create());
  gsdk_properties* const properties = owned.get();
  library.gsdk_session_properties_audio_set_bitrate(properties, number(settings.audio_bitrate));
  library.gsdk_session_properties_audio_set_samplerate(properties,
                                                       number(settings.audio_samplerate));
  library.gsdk_session_properties_video_set_ratecontrol(properties, kGsdkRateControl);
  library.gsdk_session_properties_video_set_min_quality(properties, crf, crf, crf);
  library.gsdk_session_properties_video_set_max_quality(properties, crf, crf, crf);
  library.gsdk_session_properties_video_set_framerate(properties, number(settings.video_fps));
  library.gsdk_session_properties_video_set_max_height(properties,
                                                       number(settings.video_max_height));
  library.gsdk_session_properties_video_set_max_width(properties, number(settings.video_max_width));
  library.gsdk_session_properties_audio_set_tracks_ids(
      properties, static_cast<std::uint32_t>(tracks.size()), tracks.data());
  library.gsdk_session_properties_connection_set_type(properties, kGsdkConnectionType);
  library.gsdk_session_properties_set_error_callback(properties, nullptr, OnConnectionError);
  return owned;
}

void CreateRecorder(const RecorderSettings& settings, gsdk_properties* properties) {
  constexpr std::uint32_t kMillisecondsPerSecond = 1000;
  const CaptureLibrary& library = Library();
  gsdk_recorder* const recorder = library.gsdk_recorder_create(properties);
  Session().recorder = recorder;
  library.gsdk_recorder_set_duration(
      recorder, static_cast<std::uint32_t>(settings.record_length) * kMillisecondsPerSecond);
  library.gsdk_session_properties_connection_callback_set_callback(properties, recorder,
                                                                   OnEncodedPacket);
}

bool StartSession(Properties properties) {
  LibraryError error;
  if (Library().gsdk_session_start(Session().session, properties.get(), error.Out())) return true;
  ErrorCode failure = ErrorCode::GSDKSessionStartFailed;
  if (error.Code() == kGsdkErrorNoEncoder) {
    failure = ErrorCode::GSDKEncoderNotFound;
    LogFailure(failure, "No valid encoder found on session creation:" + error.Message(),
               ReportAs::kInfo);
  } else {
    LogFailure(failure, "Failed to start session: " + error.Message(), ReportAs::kErrorEvent);
  }
  properties.reset();
  error.Free();
  PostDieEvent(failure);
  return false;
}

// The body of the thread "gsdk". `library` keeps the library loaded while its session lives, also
// when the process ends before the session does.
void KeepSession(const std::shared_ptr<void>& /*library*/) {
  SessionState& session = Session();
  std::unique_lock lock(session.mutex);
  session.stop_changed.wait(lock, [&] { return session.stop; });
  Library().gsdk_session_destroy(std::exchange(session.session, nullptr));
  Library().gsdk_recorder_destroy(session.recorder.exchange(nullptr));
}

}  // namespace

void StartRecordingSession(std::chrono::nanoseconds video_input_retry_wait) {
  const RecorderSettings& settings = CurrentRecorderSettings();
  if (!CheckSettings(settings)) {
    PostDieEvent(ErrorCode::BadRecorderSettings);
    return;
  }
  if (static_cast<RecordingMode>(settings.recording_mode) == RecordingMode::kGame &&
      settings.game_pid == 0 && settings.game_hwnd == 0) {
    RaiseFailure(ErrorCode::MissingGamePid, "game record mode need to supply either a pid or hwnd",
                 ReportAs::kErrorEvent);
    return;
  }

  StopWorkers();
  ClearStopFlags();
  if (!CheckWindowExists(settings) || !CheckProcessExists(settings)) return;

  CleanUpGuard guard;
  SessionState& session = Session();
  session.audio_inputs = {};
  Library().gsdk_logging_set_callback(OnCaptureLibraryLog);
  Library().gsdk_logging_set_global_level(
      static_cast<std::int32_t>(static_cast<std::uint32_t>(settings.logging_level) - 1));
  if (!CreateSession()) return;
  const char* const mode_text = ModeText(settings);
  if (mode_text == nullptr) return;
  SetReportTag("CAPTURE_MODE", mode_text);
  if (!SetVideoInputType(mode_text)) return;
  if (!SetVideoInput(settings, mode_text, video_input_retry_wait)) return;

  const std::vector<const char*> tracks = AddAudioInputs(settings);
  {
    const std::lock_guard lock(session.mutex);
    BindAudioDevices(session, settings);
  }
  Properties properties = CreateProperties(settings, tracks);
  CreateRecorder(settings, properties.get());
  Watch().thread = std::thread(PacketWatchdog, kFirstPacketWait, kPacketWait);
  if (!StartSession(std::move(properties))) return;
  session.keeper = std::thread(KeepSession, KeepLibraryLoaded());
  guard.Disarm();
}

void UpdateAudioDevices() {
  SessionState& session = Session();
  std::unique_lock lock(session.mutex);
  if (session.session == nullptr) {
    lock.unlock();
    StartRecordingSession();
    return;
  }
  BindAudioDevices(session, CurrentRecorderSettings());
}

bool CheckSettingInitialized(const std::string& name, std::int32_t value) {
  if (value != 0) return true;
  LogFailure("RecorderSettings", "setting " + name + " uninitialized", ReportAs::kErrorEvent);
  return false;
}

}  // namespace capture_service
