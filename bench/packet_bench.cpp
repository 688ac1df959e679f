// The packet path, which every encoded frame goes through on a thread of the capture library, while
// the watchdog waits. The recorder costs nothing here.
#include <benchmark/benchmark.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "gsdk/capture_library.h"
#include "recording/packet_watchdog.h"
#include "recording/worker_stop.h"
#include "tests/fakes/allocations.h"
#include "tests/fakes/fake_library.h"

namespace {

using namespace capture_service;

void InstallEmptyLibrary() {
  auto table = core_test::FakeLibrary::MakeTable();
  table->gsdk_recorder_push_packet = [](gsdk_recorder* /*recorder*/,
                                        gsdk_encoded_packet* /*packet*/) {};
  table->gsdk_encoded_packet_release = [](gsdk_encoded_packet* /*packet*/) {};
  InstallCaptureLibrary(std::move(table));
}

void PacketCallback(benchmark::State& state) {
  if (state.thread_index() == 0) {
    InstallEmptyLibrary();
    {
      const std::lock_guard lock(Watch().mutex);
      Watch().stop = false;
    }
    Watch().thread = std::thread(PacketWatchdog, kFirstPacketWait, kPacketWait);
  }
  const std::int64_t before = core_test::Allocations();
  for (auto _ : state) OnEncodedPacket(nullptr, nullptr);
  state.counters["allocations"] = static_cast<double>(core_test::Allocations() - before);
  if (state.thread_index() == 0) StopWorkers();
}
BENCHMARK(PacketCallback)->Threads(1)->Threads(4)->UseRealTime();

// The same library calls, a bare lock, two stores and a notify, and a thread that waits for it.
struct BareWatch {
  std::mutex mutex;  // guards the members down to restart_counter
  std::condition_variable changed;
  bool packet_seen = false;
  bool stop = false;
  std::int32_t restart_counter = 0;
  std::thread thread;

  void Wait() {
    std::unique_lock lock(mutex);
    while (!stop) {
      changed.wait_until(lock, std::chrono::steady_clock::now() + kPacketWait,
                         [this] { return stop || packet_seen; });
      packet_seen = false;
    }
  }
};

BareWatch bare_watch;

void PacketCallbackFloor(benchmark::State& state) {
  if (state.thread_index() == 0) {
    InstallEmptyLibrary();
    bare_watch.stop = false;
    bare_watch.thread = std::thread([] { bare_watch.Wait(); });
  }
  for (auto _ : state) {
    Library().gsdk_recorder_push_packet(nullptr, nullptr);
    Library().gsdk_encoded_packet_release(nullptr);
    {
      const std::lock_guard lock(bare_watch.mutex);
      bare_watch.packet_seen = true;
      bare_watch.restart_counter = 0;
    }
    bare_watch.changed.notify_one();
  }
  if (state.thread_index() == 0) {
    {
      const std::lock_guard lock(bare_watch.mutex);
      bare_watch.stop = true;
    }
    bare_watch.changed.notify_one();
    bare_watch.thread.join();
  }
}
BENCHMARK(PacketCallbackFloor)->Threads(1)->Threads(4)->UseRealTime();

}  // namespace
