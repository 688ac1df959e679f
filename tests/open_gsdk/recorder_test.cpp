#include "open_gsdk/replay/recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <thread>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/api/handle_table.h"
#include "open_gsdk/replay/clip.h"
#include "tests/open_gsdk/packets.h"

namespace open_gsdk {
namespace {

// Ten pictures a second, each tenth a key frame.
void PushFrames(Recorder& recorder, const std::shared_ptr<const StreamSet>& streams, int first,
                int count) {
  for (int frame = first; frame < first + count; ++frame) {
    recorder.Push(TestPicture(streams, frame * 100, frame % 10 == 0));
  }
}

TEST(Recorder, GivesTheFiguresOfASuccessfulDump) {
  Recorder recorder;
  recorder.SetDuration(2000);
  PushFrames(recorder, SilentTestStreams(), 0, 100);
  const gsdk_dump_result result = recorder.Dump([](const Clip&) { return DumpStatus::kSuccess; });
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.duration, 2000 * kMs);
  EXPECT_EQ(result.last_timestamp, 9900 * kMs);
  EXPECT_EQ(result.audio_drop, 0);
  EXPECT_EQ(result.video_drop, 0);
  EXPECT_EQ(result.captured_from_hdr, 0);
}

TEST(Recorder, AnswersEmptyWithoutWriting) {
  Recorder recorder;
  bool written = false;
  const gsdk_dump_result result = recorder.Dump([&](const Clip&) {
    written = true;
    return DumpStatus::kSuccess;
  });
  EXPECT_EQ(result.status, 2);
  EXPECT_FALSE(written);
}

TEST(Recorder, GivesOnlyTheStatusOfAFailedDump) {
  Recorder recorder;
  PushFrames(recorder, SilentTestStreams(), 0, 5);
  const gsdk_dump_result result =
      recorder.Dump([](const Clip&) { return DumpStatus::kCannotWrite; });
  EXPECT_EQ(result.status, 6);
  EXPECT_EQ(result.duration, 0);
  EXPECT_EQ(result.last_timestamp, 0);
}

TEST(Recorder, TakesPacketsWhileADumpIsWriting) {
  Recorder recorder;
  recorder.SetDuration(60'000);
  const auto streams = SilentTestStreams();
  PushFrames(recorder, streams, 0, 10);
  std::size_t first_dump = 0;
  std::size_t inner_dump = 0;
  recorder.Dump([&](const Clip& clip) {
    PushFrames(recorder, streams, 10, 10);
    recorder.Dump([&](const Clip& inner) {
      inner_dump = inner.packets.size();
      return DumpStatus::kSuccess;
    });
    first_dump = clip.packets.size();
    return DumpStatus::kSuccess;
  });
  EXPECT_EQ(first_dump, 10u);
  EXPECT_EQ(inner_dump, 20u);
}

TEST(Recorder, LivesUntilADumpEndsWhenItsHandleIsDestroyed) {
  HandleTable<gsdk_recorder, Recorder, 3> table;
  gsdk_recorder* const handle = table.Add(std::make_shared<Recorder>());
  std::weak_ptr<Recorder> alive = table.Find(handle);
  PushFrames(*alive.lock(), SilentTestStreams(), 0, 10);
  const gsdk_dump_result result = table.Find(handle)->Dump([&](const Clip& clip) {
    table.Remove(handle);
    EXPECT_EQ(table.Find(handle), nullptr);
    EXPECT_FALSE(alive.expired());
    EXPECT_EQ(clip.packets.back().time_ns, 900 * kMs);
    return DumpStatus::kSuccess;
  });
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(alive.expired());
}

// Whether each packet has bytes, and those of sound are silence.
bool HasItsBytes(const Clip& clip) {
  const std::vector<std::uint8_t> silence(SilentPacket().begin(), SilentPacket().end());
  return std::all_of(clip.packets.begin(), clip.packets.end(), [&](const ClipPacket& packet) {
    std::vector<std::span<const std::uint8_t>> pieces;
    packet.AddPieces(pieces);
    return packet.stream == 0 ? !pieces.empty() : Joined(pieces) == silence;
  });
}

// For the thread sanitizer.
TEST(Recorder, IsPushedIntoDumpedAndSetAtTheSameTime) {
  Recorder recorder;
  recorder.SetDuration(1000);
  const auto streams = TestStreams();
  PushFrames(recorder, streams, 0, 1);
  std::atomic<bool> stop{false};
  std::thread pusher([&] {
    const std::vector<std::uint8_t> silence(SilentPacket().begin(), SilentPacket().end());
    std::int64_t sound = 0;
    for (int frame = 1; !stop; ++frame) {
      PushFrames(recorder, streams, frame, 1);
      for (; SoundNs(sound + 1) <= frame * 100 * kMs; ++sound) {
        recorder.Push(TestSound(streams, 0, sound, 0, silence));
        recorder.Push(TestSound(streams, 1, sound, 0, silence));
      }
    }
  });
  for (int dump = 0; dump < 200; ++dump) {
    recorder.SetDuration(dump % 2 == 0 ? 1000 : 3000);
    const gsdk_dump_result result = recorder.Dump([](const Clip& clip) {
      return clip.packets.front().key_frame && HasItsBytes(clip) ? DumpStatus::kSuccess
                                                                 : DumpStatus::kUnexpected;
    });
    EXPECT_EQ(result.status, 0);
  }
  stop = true;
  pusher.join();
}

TEST(HandleTable, NeverGivesAHandleTwiceAndKnowsItsOwn) {
  HandleTable<gsdk_recorder, int, 3> table;
  HandleTable<gsdk_session, int, 1> other;
  gsdk_recorder* const first = table.Add(std::make_shared<int>(1));
  gsdk_session* const foreign = other.Add(std::make_shared<int>(2));
  EXPECT_EQ(*table.Find(first), 1);
  EXPECT_EQ(table.Find(reinterpret_cast<gsdk_recorder*>(foreign)), nullptr);
  EXPECT_EQ(table.Find(nullptr), nullptr);
  EXPECT_EQ(*table.Remove(first), 1);
  EXPECT_EQ(table.Remove(first), nullptr);
  EXPECT_EQ(table.Find(first), nullptr);
  EXPECT_NE(table.Add(std::make_shared<int>(3)), first);
}

}  // namespace
}  // namespace open_gsdk
