// What a message costs between the one who has it and the queue it ends in.
#include <benchmark/benchmark.h>

#include <chrono>
#include <json11.hpp>
#include <memory>
#include <string>
#include <utility>

#include "diagnostics/logging.h"
#include "platform/blocking_queue.h"
#include "protocol/command_queue.h"
#include "protocol/message_queue.h"
#include "service/main_loop.h"

namespace {

using namespace capture_service;
using json11::Json;

// Measures 16 calls of `call` in each iteration and empties the queue, by as many calls of `take`,
// when nobody looks. More would make the heap grow and shrink.
template <typename Call, typename Take>
void MeasureInBatches(benchmark::State& state, Call call, Take take) {
  constexpr int kBatch = 16;
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < kBatch; ++i) call();
    const auto end = std::chrono::steady_clock::now();
    state.SetIterationTime(std::chrono::duration<double>(end - begin).count());
    for (int i = 0; i < kBatch; ++i) take();
  }
}

constexpr const char* kLine = "a line of usual length for the host's log";

void LogLine(benchmark::State& state) {
  MeasureInBatches(
      state, [] { OnCaptureLibraryLog(2, kLine); }, PopMessage);
}
BENCHMARK(LogLine)->UseManualTime();

// json11's dump of the same object, one allocation of a message, and a locked push.
void LogLineFloor(benchmark::State& state) {
  static auto& queue = *new platform::BlockingQueue<std::unique_ptr<PipeMessage>>;
  const Json object = Json::object{{"error", kLine}};
  MeasureInBatches(
      state,
      [&] {
        const std::string text = object.dump();
        std::unique_ptr<PipeMessage> message(new PipeMessage);
        message->direction = Direction::kOutbound;
        message->text[text.copy(message->text.data(), kMaxMessageBytes)] = '\0';
        queue.Push(std::move(message));
      },
      [&] { return queue.Pop(); });
}
BENCHMARK(LogLineFloor)->UseManualTime();

const std::string kSettings = R"({"recorder_settings": {"audio_samplerate": 48000,
    "audio_bitrate": 128000, "video_fps": 60, "encoding_crf": 23, "video_max_height": 1080,
    "video_max_width": 1920, "record_length": 30, "recording_mode": 3, "game_pid": 4711,
    "game_hwnd": 132456, "logging_level": 1, "capture_cursor": true, "audio_game": "Speakers",
    "audio_chat": "Headset", "audio_input": "Microphone"}})";
const std::string kRestart = R"({"event": {"restart": true}})";

void HandleMessage(benchmark::State& state, const std::string& text) {
  ServiceState service;
  // As the main loop calls it.
  MeasureInBatches(
      state, [&] { HandleInboundMessage(text.c_str(), service); }, PopCommand);
}
void SettingsMessage(benchmark::State& state) { HandleMessage(state, kSettings); }
void RestartMessage(benchmark::State& state) { HandleMessage(state, kRestart); }
BENCHMARK(SettingsMessage)->UseManualTime();
BENCHMARK(RestartMessage)->UseManualTime();

// json11's parse of the same text.
void Parse(benchmark::State& state, const std::string& text) {
  std::string error;
  MeasureInBatches(
      state, [&] { benchmark::DoNotOptimize(Json::parse(text, error)); }, [] {});
}
void SettingsMessageFloor(benchmark::State& state) { Parse(state, kSettings); }
void RestartMessageFloor(benchmark::State& state) { Parse(state, kRestart); }
BENCHMARK(SettingsMessageFloor)->UseManualTime();
BENCHMARK(RestartMessageFloor)->UseManualTime();

}  // namespace
