// What a message costs between the one who has it and the queue it ends in.
#include <benchmark/benchmark.h>

#include <chrono>
#include <json11.hpp>
#include <memory>
#include <string>
#include <utility>

#include "bench/in_turn.h"
#include "diagnostics/logging.h"
#include "platform/blocking_queue.h"
#include "protocol/command_queue.h"
#include "protocol/message_queue.h"
#include "service/main_loop.h"

namespace {

using namespace capture_service;
using json11::Json;

using bench::MeasureInTurn;
using bench::Nanoseconds;

// Calls `call` a few times and empties the queue, by as many calls of `take`, when nobody looks.
// Returns the time of the calls. The heap keeps seven blocks of one size at hand for a thread; more
// calls would measure how it finds others, and the service's queues seldom hold more than one.
template <typename Call, typename Take>
Nanoseconds RoundOf(Call call, Take take) {
  constexpr int kCalls = 7;
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < kCalls; ++i) call();
  const auto end = std::chrono::steady_clock::now();
  for (int i = 0; i < kCalls; ++i) take();
  return end - begin;
}

constexpr const char* kLine = "a line of usual length for the host's log";

// The floor: json11's dump of the same object, one allocation of a message, and a locked push.
void LogLine(benchmark::State& state) {
  platform::BlockingQueue<std::unique_ptr<PipeMessage>> queue;
  const Json object = Json::object{{"error", kLine}};
  const auto push = [&] {
    const std::string text = object.dump();
    std::unique_ptr<PipeMessage> message(new PipeMessage);
    message->direction = Direction::kOutbound;
    message->text[text.copy(message->text.data(), kMaxMessageBytes)] = '\0';
    queue.Push(std::move(message));
  };
  MeasureInTurn(
      state, [] { return RoundOf([] { OnCaptureLibraryLog(2, kLine); }, PopMessage); },
      [&] { return RoundOf(push, [&] { return queue.Pop(); }); });
}
BENCHMARK(LogLine);

const std::string kSettings = R"({"recorder_settings": {"audio_samplerate": 48000,
    "audio_bitrate": 128000, "video_fps": 60, "encoding_crf": 23, "video_max_height": 1080,
    "video_max_width": 1920, "record_length": 30, "recording_mode": 3, "game_pid": 4711,
    "game_hwnd": 132456, "logging_level": 1, "capture_cursor": true, "audio_game": "Speakers",
    "audio_chat": "Headset", "audio_input": "Microphone"}})";
const std::string kRestart = R"({"event": {"restart": true}})";

// The floor: json11's parse of the same text.
void HandleMessage(benchmark::State& state, const std::string& text) {
  ServiceState service;
  std::string kept;
  const auto handle = [&] {  // as the main loop does it
    kept = text.c_str();
    HandleInboundMessage(kept, service);
  };
  std::string error;
  const auto parse = [&] { benchmark::DoNotOptimize(Json::parse(text, error)); };
  MeasureInTurn(
      state, [&] { return RoundOf(handle, PopCommand); }, [&] { return RoundOf(parse, [] {}); });
}
void SettingsMessage(benchmark::State& state) { HandleMessage(state, kSettings); }
void RestartMessage(benchmark::State& state) { HandleMessage(state, kRestart); }
BENCHMARK(SettingsMessage);
BENCHMARK(RestartMessage);

}  // namespace
