// The packet path, which every encoded frame goes through on a thread of the capture library.
#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <mutex>
#include <thread>

#include "gsdk/capture_library.h"
#include "recording/packet_watchdog.h"
#include "recording/worker_stop.h"
#include "tests/fakes/fake_library.h"

namespace {

using namespace capture_service;

constexpr int kRepetitions = 7;

// A frame of 15 Mbit/s at 60 frames a second.
constexpr std::size_t kFrameBytes = 32 * std::size_t{1024};
std::array<char, kFrameBytes> frame;
std::array<char, kFrameBytes> replay_buffer;

// What a recorder does at least: it keeps a copy.
void CopyFrame(gsdk_recorder* /*recorder*/, gsdk_encoded_packet* /*packet*/) {
  std::memcpy(replay_buffer.data(), frame.data(), frame.size());
  benchmark::ClobberMemory();
}

void PushNothing(gsdk_recorder* /*recorder*/, gsdk_encoded_packet* /*packet*/) {}
void ReleaseNothing(gsdk_encoded_packet* /*packet*/) {}

void InstallPush(decltype(&gsdk_recorder_push_packet) push) {
  auto table = core_test::FakeLibrary::MakeTable();
  table->gsdk_recorder_push_packet = push;
  table->gsdk_encoded_packet_release = ReleaseNothing;
  InstallCaptureLibrary(std::move(table));
}

void RunCallback(benchmark::State& state) {
  for (auto _ : state) OnEncodedPacket(nullptr, nullptr);
}

void MutexLockUnlock(benchmark::State& state) {
  // The one that the callback takes, so that both cross the same cache lines.
  std::mutex& mutex = Watch().mutex;
  for (auto _ : state) {
    mutex.lock();
    benchmark::ClobberMemory();
    mutex.unlock();
  }
}
BENCHMARK(MutexLockUnlock)->Repetitions(kRepetitions);

void RecorderPush(benchmark::State& state) {
  InstallPush(CopyFrame);
  for (auto _ : state) Library().gsdk_recorder_push_packet(nullptr, nullptr);
}
BENCHMARK(RecorderPush)->Repetitions(kRepetitions);

void PacketCallback(benchmark::State& state) {
  InstallPush(CopyFrame);
  RunCallback(state);
}
BENCHMARK(PacketCallback)->Repetitions(kRepetitions);

void PacketCallbackEmptyPush(benchmark::State& state) {
  InstallPush(PushNothing);
  RunCallback(state);
}
BENCHMARK(PacketCallbackEmptyPush)->Repetitions(kRepetitions);

// With the watchdog waiting, most wake-ups reach a sleeping thread.
void PacketCallbackWatched(benchmark::State& state) {
  InstallPush(PushNothing);
  {
    const std::lock_guard lock(Watch().mutex);
    Watch().stop = false;
  }
  Watch().thread = std::thread(PacketWatchdog, kFirstPacketWait, kPacketWait);
  RunCallback(state);
  StopWorkers();
}
BENCHMARK(PacketCallbackWatched);

}  // namespace
