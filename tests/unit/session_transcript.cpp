#include "tests/unit/session_transcript.h"

#include "protocol/recorder_settings.h"
#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

std::string Numbered(const char* kind, int number) { return kind + std::to_string(number); }

}  // namespace

void SetUpGame() {
  capture_service::CurrentRecorderSettings() = CompleteSettings();
  Fake().SetList("window",
                 R"({"window": {"values": [{"value": {"hwnd": 132456, "title": "Game"}}]}})");
  Fake().SetList("audio_output",
                 R"({"device_id": {"values": [{"value": "Speakers"}, {"value": "Headset"}]}})");
  Fake().SetList("audio_input", R"({"device_id": {"values": [{"value": "Microphone"}]}})");
}

std::string WindowCapture() {
  return R"({"cursor": true, "window": {"hwnd": 132456, "title": "Game"}})";
}

Lines OpeningLines() {
  return {"WindowExists 132456 = true",
          "sentry_set_tag GLIMRA_GAME_ELEVATION \"\"",
          "QueryGameProcess 4711",
          "sentry_set_tag GLIMRA_GAME_ELEVATION \"default\"",
          "gsdk_logging_set_callback(OnCaptureLibraryLog)",
          "gsdk_logging_set_global_level(0)"};
}

Lines CreationLines(const std::string& session, const std::string& mode) {
  return {"gsdk_session_create(null) = " + session, "sentry_set_tag CAPTURE_MODE " + Quoted(mode),
          "gsdk_session_set_video_input(" + session + ", " + Quoted(mode) + ") = true"};
}

Lines ListLines(const std::string& kind, const std::string& text) {
  return {"gsdk_input_properties(" + Quoted(kind) + ") = " + text,
          "gsdk_input_properties_free(" + text + ")"};
}

Lines VideoInputLines(const std::string& capture, const std::string& session) {
  return {ToHost("capture settings: " + capture), "WindowExists 132456 = true",
          "gsdk_session_update_video_input(" + session + ", " + Quoted(capture) + ") = true"};
}

Lines WindowInputLines() {
  return Concat({ListLines("window", "text1"), VideoInputLines(WindowCapture())});
}

Lines AudioInputLines(const std::string& session, int first_input) {
  const std::string call = "gsdk_session_add_audio_input(" + session;
  return {call + ", \"audio_output\", game slot) = " + Numbered("input", first_input),
          call + ", \"audio_output\", chat slot) = " + Numbered("input", first_input + 1),
          call + ", \"audio_input\", mic slot) = " + Numbered("input", first_input + 2)};
}

std::string BindingLine(const std::string& session, const std::string& input,
                        const std::string& device) {
  const std::string update =
      "{\"device_id\": " + Quoted(device) + ", \"use_device_timing\": false}";
  return "gsdk_session_update_audio_input_handle(" + session + ", " + input + ", " +
         Quoted(update) + ") = true";
}

Lines AudioBindingLines(const std::string& session, int first_text, int first_input) {
  return Concat({ListLines("audio_output", Numbered("text", first_text)),
                 ListLines("audio_input", Numbered("text", first_text + 1)),
                 {BindingLine(session, Numbered("input", first_input), "Speakers"),
                  BindingLine(session, Numbered("input", first_input + 1), "Headset"),
                  BindingLine(session, Numbered("input", first_input + 2), "Microphone")}});
}

Lines PropertiesLines(const std::string& properties, const std::string& tracks) {
  const auto set = [&](const std::string& what, const std::string& values) {
    return "gsdk_session_properties_" + what + "(" + properties + ", " + values + ")";
  };
  return {"gsdk_session_properties_create() = " + properties,
          set("audio_set_bitrate", "128000"),
          set("audio_set_samplerate", "48000"),
          set("video_set_ratecontrol", "3"),
          set("video_set_min_quality", "23, 23, 23"),
          set("video_set_max_quality", "23, 23, 23"),
          set("video_set_framerate", "60"),
          set("video_set_max_height", "1080"),
          set("video_set_max_width", "1920"),
          set("audio_set_tracks_ids", tracks),
          set("connection_set_type", "4"),
          set("set_error_callback", "null, OnConnectionError")};
}

Lines RecorderLines(const std::string& properties, const std::string& recorder) {
  return {"gsdk_recorder_create(" + properties + ") = " + recorder,
          "gsdk_recorder_set_duration(" + recorder + ", 30000)",
          "gsdk_session_properties_connection_callback_set_callback(" + properties + ", " +
              recorder + ", OnEncodedPacket)"};
}

Lines StartLines(const std::string& session, const std::string& properties) {
  return {"gsdk_session_start(" + session + ", " + properties + ") = true",
          "gsdk_session_properties_destroy(" + properties + ")"};
}

Lines DestructionLines(const std::string& session, const std::string& recorder) {
  return {"gsdk_session_destroy(" + session + ")", "gsdk_recorder_destroy(" + recorder + ")"};
}

}  // namespace core_test
