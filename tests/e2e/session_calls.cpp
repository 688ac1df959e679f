#include "tests/e2e/session_calls.h"

namespace e2e {
namespace {

Texts SetLogging() {
  return {"gsdk_logging_set_callback(callback)", "gsdk_logging_set_global_level(0)"};
}

std::string Numbered(const char* kind, int number) { return kind + std::to_string(number); }

}  // namespace

std::string GameCaptureSettings() {
  return R"({"anticheat": true, "cursor": false, "game": {"pid": )" +
         std::to_string(GetCurrentProcessId()) + "}}";
}

std::string GameCaptureLine() { return Line("capture settings: " + GameCaptureSettings()); }

Texts SessionCalls::Create() const {
  return Join(
      {SetLogging(), {"gsdk_session_create(null, null) = true " + Numbered("session", session)}});
}

Texts SessionCalls::FailedCreate() {
  return Join({SetLogging(),
               {"gsdk_session_create(null, null) = false error1", "gsdk_err_code(error1)",
                "gsdk_err_message(error1)", "gsdk_err_free(error1)"}});
}

Texts SessionCalls::SetVideoInput() const {
  return {"gsdk_session_set_video_input(" + Numbered("session", session) + ", " + mode +
          ") = true"};
}

Texts SessionCalls::UpdateVideoInput() const {
  return {"gsdk_session_update_video_input(" + Numbered("session", session) + ", " +
          (capture_settings.empty() ? GameCaptureSettings() : capture_settings) + ") = true"};
}

Texts SessionCalls::ReadAudioLists() const {
  const std::string first = Numbered("text", first_text);
  const std::string second = Numbered("text", first_text + 1);
  return {"gsdk_input_properties(audio_output) = true " + first,
          "gsdk_input_properties_free(" + first + ")",
          "gsdk_input_properties(audio_input) = true " + second,
          "gsdk_input_properties_free(" + second + ")"};
}

Texts SessionCalls::Configure(const std::vector<std::string>& tracks) const {
  const std::string properties = Numbered("properties", session);
  const std::string recorder = Numbered("recorder", session);
  const std::string set = "gsdk_session_properties_";
  const auto call = [&](const std::string& name, const std::string& arguments) {
    return set + name + "(" + properties + ", " + arguments + ")";
  };
  return {set + "create() = " + properties,
          call("audio_set_bitrate", "160000"),
          call("audio_set_samplerate", "48000"),
          call("video_set_ratecontrol", "3"),
          call("video_set_min_quality", "23, 23, 23"),
          call("video_set_max_quality", "23, 23, 23"),
          call("video_set_framerate", "60"),
          call("video_set_max_height", "1080"),
          call("video_set_max_width", "1920"),
          call("audio_set_tracks_ids", std::to_string(tracks.size()) + ", " + Json(tracks).dump()),
          call("connection_set_type", "4"),
          call("set_error_callback", "null, callback"),
          "gsdk_recorder_create(" + properties + ") = " + recorder,
          "gsdk_recorder_set_duration(" + recorder + ", 30000)",
          call("connection_callback_set_callback", recorder + ", callback")};
}

Texts SessionCalls::StartAndDestroyProperties() const {
  const std::string properties = Numbered("properties", session);
  return {"gsdk_session_start(" + Numbered("session", session) + ", " + properties + ") = true",
          "gsdk_session_properties_destroy(" + properties + ")"};
}

Texts SessionCalls::Destroy() const {
  return {"gsdk_session_destroy(" + Numbered("session", session) + ")",
          "gsdk_recorder_destroy(" + Numbered("recorder", session) + ")"};
}

Texts SessionCalls::DestroySessionOnly() const {
  return {"gsdk_session_destroy(" + Numbered("session", session) + ")"};
}

Texts SessionCalls::WholeStart() const {
  return Join({Create(), SetVideoInput(), UpdateVideoInput(), ReadAudioLists(), Configure(),
               StartAndDestroyProperties()});
}

}  // namespace e2e
