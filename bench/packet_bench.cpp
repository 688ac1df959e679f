// The packet path, which every encoded frame goes through on a thread of the capture library, while
// the watchdog waits. The recorder costs nothing here.
#include <benchmark/benchmark.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "bench/in_turn.h"
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

// The same library calls, a bare lock, two stores and a notify, and a thread that waits for it.
struct BareWatch {
  std::mutex mutex;  // guards the members down to restart_counter
  std::condition_variable changed;
  bool packet_seen = false;
  bool stop = false;
  std::int32_t restart_counter = 0;

  void NotePacket() {
    Library().gsdk_recorder_push_packet(nullptr, nullptr);
    Library().gsdk_encoded_packet_release(nullptr);
    {
      const std::lock_guard lock(mutex);
      packet_seen = true;
      restart_counter = 0;
    }
    changed.notify_one();
  }

  void Wait() {
    std::unique_lock lock(mutex);
    while (!stop) {
      changed.wait_until(lock, std::chrono::steady_clock::now() + kPacketWait,
                         [this] { return stop || packet_seen; });
      packet_seen = false;
    }
  }

  void Stop() {
    {
      const std::lock_guard lock(mutex);
      stop = true;
    }
    changed.notify_one();
  }
};

// Calls `call` many times on each of `threads` threads at once; returns how long that took. Adds
// what the calls allocate to `allocations`.
template <typename Call>
bench::Nanoseconds RoundOf(std::int64_t threads, Call call,
                           std::atomic<std::int64_t>& allocations) {
  constexpr int kCalls = 10'000;  // enough that starting the threads is nothing beside them
  const auto call_all = [&] {
    const std::int64_t before = core_test::Allocations();
    for (int i = 0; i < kCalls; ++i) call();
    allocations += core_test::Allocations() - before;
  };
  std::chrono::steady_clock::time_point begin;
  std::barrier begin_together(threads,
                              [&]() noexcept { begin = std::chrono::steady_clock::now(); });
  std::vector<std::thread> others;
  for (std::int64_t other = 1; other < threads; ++other) {
    others.emplace_back([&] {
      begin_together.arrive_and_wait();
      call_all();
    });
  }
  begin_together.arrive_and_wait();
  call_all();
  for (std::thread& other : others) other.join();
  return std::chrono::steady_clock::now() - begin;
}

void PacketCallback(benchmark::State& state) {
  InstallEmptyLibrary();
  {
    const std::lock_guard lock(Watch().mutex);
    Watch().stop = false;
  }
  Watch().thread = std::thread(PacketWatchdog, kFirstPacketWait, kPacketWait);
  BareWatch bare;
  std::thread bare_thread([&] { bare.Wait(); });

  const std::int64_t threads = state.range(0);
  std::atomic<std::int64_t> allocations = 0;
  std::atomic<std::int64_t> floor_allocations = 0;
  const auto note_packet = [] { OnEncodedPacket(nullptr, nullptr); };
  const auto note_bare = [&] { bare.NotePacket(); };
  bench::MeasureInTurn(
      state, [&] { return RoundOf(threads, note_packet, allocations); },
      [&] { return RoundOf(threads, note_bare, floor_allocations); });
  state.counters["allocations"] = static_cast<double>(allocations);

  bare.Stop();
  bare_thread.join();
  StopWorkers();
}
BENCHMARK(PacketCallback)->ArgName("threads")->Arg(1)->Arg(4)->UseRealTime();

}  // namespace
