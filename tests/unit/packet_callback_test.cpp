// The packet path: OnEncodedPacket, as the capture library calls it for every frame.
#include <atomic>
#include <thread>
#include <vector>

#include "gsdk/capture_library.h"
#include "recording/packet_watchdog.h"
#include "recording/session_start.h"
#include "recording/session_state.h"
#include "recording/worker_stop.h"
#include "tests/unit/core_fixture.h"
#include "tests/unit/session_transcript.h"

namespace core_test {
namespace {

using namespace capture_service;

using PacketCallbackTest = CoreTest;

TEST_F(PacketCallbackTest, PacketIsPushedThenReleasedThenNoticed) {
  GiveSessionARecorder();
  TakeRecorded();
  Watch().restart_counter = 4;
  Fake().OnCall("gsdk_encoded_packet_release", 1, [] {
    const std::lock_guard lock(Watch().mutex);
    EXPECT_FALSE(Watch().packet_seen);
    EXPECT_EQ(Watch().restart_counter, 4);
  });
  OnEncodedPacket(Session().recorder, FakeLibrary::NewPacket());
  EXPECT_EQ(TakeRecorded(), (Lines{"gsdk_recorder_push_packet(recorder1, packet)",
                                   "gsdk_encoded_packet_release(packet)"}));
  EXPECT_TRUE(Watch().packet_seen);
  EXPECT_EQ(Watch().restart_counter, 0);
}

TEST_F(PacketCallbackTest, PacketsAtFullSpeedThroughStartsAndStops) {
  SetUpGame();
  Fake().RecordPackets(false);
  std::atomic<bool> running = true;
  std::vector<std::thread> library_threads;
  for (int i = 0; i < 2; ++i) {
    library_threads.emplace_back([&] {
      while (running) OnEncodedPacket(nullptr, FakeLibrary::NewPacket());
    });
  }
  for (int i = 0; i < 20; ++i) {
    StartRecordingSession();
    const std::int64_t pushed = Fake().PushedPackets();
    while (Fake().PushedPackets() < pushed + 100) std::this_thread::yield();
  }
  StopWorkers();
  running = false;
  for (std::thread& thread : library_threads) thread.join();
  for (const std::string& line : TakeRecorded()) {
    EXPECT_FALSE(line.starts_with("to self: ")) << line;
  }
}

}  // namespace
}  // namespace core_test
