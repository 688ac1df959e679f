// The message queue and the reading of the host's messages.
#include <benchmark/benchmark.h>

#include <string>

#include "diagnostics/logging.h"
#include "protocol/host_message.h"
#include "protocol/message_queue.h"

namespace {

using namespace capture_service;

void PushAndPopMessage(benchmark::State& state) {
  const std::string text = R"({"error": "a line of usual length for the host's log"})";
  for (auto _ : state) {
    PushMessage(MakePipeMessage(Direction::kOutbound, text));
    benchmark::DoNotOptimize(PopMessage());
  }
}
BENCHMARK(PushAndPopMessage);

// As many waiting messages as a burst of library lines makes.
void PushAndPopThroughABacklog(benchmark::State& state) {
  constexpr int kBacklog = 1000;
  for (int i = 0; i < kBacklog; ++i) PushMessage(MakePipeMessage(Direction::kInbound, "{}"));
  for (auto _ : state) {
    PushMessage(MakePipeMessage(Direction::kInbound, "{}"));
    benchmark::DoNotOptimize(PopMessage());
  }
  for (int i = 0; i < kBacklog; ++i) PopMessage();
}
BENCHMARK(PushAndPopThroughABacklog);

void LogLine(benchmark::State& state) {
  for (auto _ : state) {
    LogInfo("a line of usual length for the host's log");
    benchmark::DoNotOptimize(PopMessage());
  }
}
BENCHMARK(LogLine);

void ReadSettingsMessage(benchmark::State& state) {
  const std::string text = R"({"recorder_settings": {"audio_samplerate": 48000,
      "audio_bitrate": 128000, "video_fps": 60, "encoding_crf": 23, "video_max_height": 1080,
      "video_max_width": 1920, "record_length": 30, "recording_mode": 3, "game_pid": 4711,
      "game_hwnd": 132456, "logging_level": 1, "capture_cursor": true, "audio_game": "Speakers",
      "audio_chat": "Headset", "audio_input": "Microphone"}})";
  for (auto _ : state) benchmark::DoNotOptimize(ReadHostMessage(text));
}
BENCHMARK(ReadSettingsMessage);

void ReadLongestMessage(benchmark::State& state) {
  std::string text = R"({"clip": {"id": "1", "filepath": ")";
  const std::string end = R"("}})";
  text += std::string(kMaxMessageBytes - text.size() - end.size(), 'x') + end;
  for (auto _ : state) benchmark::DoNotOptimize(ReadHostMessage(text));
}
BENCHMARK(ReadLongestMessage);

}  // namespace
