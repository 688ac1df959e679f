#include "tests/e2e/service_test.h"

#include <iostream>
#include <utility>

namespace e2e {

ServiceRun& ServiceTest::Start(RunOptions options) {
  runs_.push_back(std::make_unique<ServiceRun>(std::move(options)));
  return *runs_.back();
}

void ServiceTest::StartRecording(ServiceRun& run, const Json& settings) {
  run.Send(RecorderSettings(settings));
  run.Send(Restart());
}

ServiceRun& ServiceTest::StartRecordingService(RunOptions options, const Json& settings) {
  ServiceRun& run = Start(std::move(options));
  StartRecording(run, settings);
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  return run;
}

void ServiceTest::ExpectCleanDie(ServiceRun& run, std::int32_t code) {
  run.Send(Die(code));
  ExpectCleanExit(run, static_cast<std::uint32_t>(code));
}

void ServiceTest::ExpectCleanExit(ServiceRun& run, std::uint32_t code) {
  EXPECT_EQ(run.WaitForExit(), code);
  EXPECT_EQ(run.Calls().Imbalances(), Texts{});
  EXPECT_EQ(run.Calls().Detach(), "free_library");
}

void ServiceTest::TearDown() {
  if (!HasFailure()) return;
  for (const auto& run : runs_) std::cout << run->Report() << std::flush;
}

Json Die(const Json& value) { return Json::object{{"event", Json::object{{"die", value}}}}; }

Json Restart() { return Json::object{{"event", Json::object{{"restart", true}}}}; }

Json ChangeAudio() { return Json::object{{"event", Json::object{{"change_audio", true}}}}; }

Json Clip(const std::string& filepath, const std::string& id) {
  return Json::object{{"clip", Json::object{{"filepath", filepath}, {"id", id}}}};
}

Json RecorderSettings(const Json& settings) {
  return Json::object{{"recorder_settings", settings}};
}

Json Settings(const Json::object& changes) {
  Json::object settings = {{"audio_samplerate", 48000},
                           {"audio_bitrate", 160000},
                           {"video_fps", 60},
                           {"encoding_crf", 23},
                           {"video_max_height", 1080},
                           {"video_max_width", 1920},
                           {"record_length", 30},
                           {"recording_mode", 2},
                           {"game_pid", static_cast<int>(GetCurrentProcessId())},
                           {"logging_level", 1},
                           {"capture_cursor", false},
                           {"audio_game", "none"},
                           {"audio_chat", "none"},
                           {"audio_input", "none"}};
  for (const auto& [name, value] : changes) {
    if (value.is_null()) {
      settings.erase(name);
    } else {
      settings[name] = value;
    }
  }
  return settings;
}

std::string Line(const std::string& line) { return Json(Json::object{{"error", line}}).dump(); }

std::string Failure(const std::string& message) { return Line("[Glimra error]: " + message); }

std::string ClipFailure(const std::string& id, const std::string& error) {
  return Json(Json::object{
                  {"clip", Json::object{{"id", id}, {"succeeded", false}, {"error", error}}}})
      .dump();
}

std::string ParseError(const std::string& text) {
  std::string error;
  Json::parse(text, error);
  return "error parsing gsdk_input_properties json: " + error;
}

Texts Join(const std::vector<Texts>& lists) {
  Texts joined;
  for (const Texts& list : lists) joined.insert(joined.end(), list.begin(), list.end());
  return joined;
}

std::string Last(const Texts& texts) { return texts.empty() ? "" : texts.back(); }

Json FailingCall(const std::string& name, std::int32_t code, const std::string& message, int n) {
  return Json::object{
      {"calls", Json::object{{name, Json::array{Json::object{
                                        {"n", n}, {"code", code}, {"message", message}}}}}}};
}

TestWindow::TestWindow()
    : window_(CreateWindowExW(0, L"STATIC", L"e2e", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                              nullptr)) {
  EXPECT_NE(window_, nullptr) << "CreateWindowExW failed with error " << GetLastError();
}

TestWindow::~TestWindow() { Destroy(); }

int TestWindow::Number() const {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(window_));
}

void TestWindow::Destroy() {
  if (window_ != nullptr) DestroyWindow(window_);
  window_ = nullptr;
}

}  // namespace e2e
