// Any texts that a capture library may give as its lists of monitors, windows and audio devices,
// through the real main loop and session start: they are read without a fault, and the session
// starts or the service ends with the failure that the list stands for.
//
// An input is the recording mode in its first byte, then the list of monitors or windows, a zero
// byte, and the list that both kinds of audio devices have.
#include <cstddef>
#include <cstdint>
#include <json11.hpp>
#include <string>

#include "protocol/error_codes.h"
#include "recording/input_descriptions.h"
#include "tests/fakes/fake_library.h"
#include "tests/fuzz/fuzz_service.h"

namespace {

using namespace capture_service;
using fuzz::Require;
using json11::Json;

constexpr int kWindow = 132456;

// The exit status that follows from the lists alone.
std::uint32_t ExpectedStatus(bool monitor, const std::string& video, const std::string& audio) {
  std::string error;
  const Json list = ParseInputList(video.c_str(), error);
  const auto number = [](ErrorCode code) { return static_cast<std::uint32_t>(ErrorNumber(code)); };
  if (list.is_null()) {
    return number(monitor ? ErrorCode::CannotParseMonitorData : ErrorCode::CannotParseWindowData);
  }
  if (!monitor && !PickWindow(list, kWindow)) return number(ErrorCode::CannotFindWindow);
  if (ParseInputList(audio.c_str(), error).is_null()) {
    return number(ErrorCode::CannotParseAudioDeviceData);
  }
  return 0;
}

// One writing may change a number that JSON has no text for, or the sign of a zero, but no more.
void RequireStable(const std::string& text) {
  std::string error;
  const std::string written = Json::parse(text, error).dump();
  Require(error.empty());
  Require(Json::parse(written, error).dump() == written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return -1;
  const bool monitor = data[0] % 2 == 0;
  const std::string texts(data + 1, data + size);
  const std::size_t end = texts.find('\0');
  const std::string video = texts.substr(0, end);
  const std::string audio = end == std::string::npos ? "{}" : texts.substr(end + 1).c_str();

  fuzz::ResetService();
  core_test::FakeLibrary& library = core_test::Fake();
  library.SetList(monitor ? "monitor" : "window", video);
  library.SetList("audio_output", audio);
  library.SetList("audio_input", audio);
  // A session that starts ends the service too; a failure before has asked for its own end first.
  library.OnCall("gsdk_session_start", core_test::kEveryTime, [] { fuzz::PostDie(0); });
  const Json settings = Json::object{
      {"audio_samplerate", 48000},  {"audio_bitrate", 128000},  {"video_fps", 60},
      {"encoding_crf", 23},         {"video_max_height", 1080}, {"video_max_width", 1920},
      {"record_length", 30},        {"logging_level", 1},       {"recording_mode", monitor ? 1 : 3},
      {"game_hwnd", kWindow},       {"audio_game", "Speakers"}, {"audio_chat", "Headset"},
      {"audio_input", "Microphone"}};
  const std::uint32_t status =
      fuzz::RunServiceOn({Json(Json::object{{"recorder_settings", settings}}).dump(),
                          R"({"event": {"restart": true}})"});
  const std::uint32_t expected = ExpectedStatus(monitor, video, audio);
  Require(status == expected);
  const std::string chosen = "capture settings: ";
  for (const std::string& text : fuzz::TextsToHost(fuzz::TakeStory())) {
    std::string error;
    const std::string line = Json::parse(text, error)["error"].string_value();
    if (line.starts_with(chosen)) RequireStable(line.substr(chosen.size()));
  }
  // The library keeps a list of audio devices that does not parse.
  const bool kept = status == ErrorNumber(ErrorCode::CannotParseAudioDeviceData);
  fuzz::RequireNothingLeft(kept ? 1 : 0);
  return 0;
}
