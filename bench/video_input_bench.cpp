// Finding the game's window among very many, as session start does.
#include <benchmark/benchmark.h>

#include <json11.hpp>
#include <string>

#include "gsdk/capture_library.h"
#include "recording/input_descriptions.h"
#include "recording/video_input.h"
#include "tests/fakes/fake_library.h"
#include "tests/fakes/transcript.h"

namespace {

using namespace capture_service;
using json11::Json;

constexpr int kWindows = 500;

// The game's window, whose handle is the number of windows, is the last.
const std::string& WindowList() {
  static const std::string list = [] {
    Json::array values;
    for (int i = 1; i <= kWindows; ++i) {
      values.push_back(Json::object{
          {"value", Json::object{{"hwnd", i}, {"title", "Window " + std::to_string(i)}}}});
    }
    return Json(Json::object{{"window", Json::object{{"values", values}}}}).dump();
  }();
  return list;
}

void ParseWindowList(benchmark::State& state) {
  std::string error;
  for (auto _ : state) benchmark::DoNotOptimize(ParseInputList(WindowList().c_str(), error));
}
BENCHMARK(ParseWindowList)->Unit(benchmark::kMicrosecond);

void PickLastWindow(benchmark::State& state) {
  std::string error;
  const Json list = ParseInputList(WindowList().c_str(), error);
  for (auto _ : state) benchmark::DoNotOptimize(PickWindow(list, kWindows));
}
BENCHMARK(PickLastWindow)->Unit(benchmark::kMicrosecond);

// The whole of it: list, pick, settings text, line for the host, call of the library.
void SetVideoInputToLastWindow(benchmark::State& state) {
  auto table = core_test::FakeLibrary::MakeTable();
  table->gsdk_input_properties = [](const char* /*kind*/, char** text, gsdk_error** /*error*/) {
    // Only read, and not given back for real.
    *text = const_cast<char*>(WindowList().c_str());
    return true;
  };
  table->gsdk_input_properties_free = [](char* /*text*/) {};
  table->gsdk_session_update_video_input = [](gsdk_session* /*session*/, const char* /*settings*/,
                                              gsdk_error** /*error*/) { return true; };
  InstallCaptureLibrary(std::move(table));

  RecorderSettings settings;
  settings.recording_mode = static_cast<std::int32_t>(RecordingMode::kWindow);
  settings.game_hwnd = kWindows;
  for (auto _ : state) {
    if (!SetVideoInput(settings, "window", kVideoInputRetryWait)) {
      state.SkipWithError("the window was not found");
    }
    core_test::TakeRecorded();
  }
}
BENCHMARK(SetVideoInputToLastWindow)->Unit(benchmark::kMicrosecond);

}  // namespace
