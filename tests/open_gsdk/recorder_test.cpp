#include "open_gsdk/replay/recorder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/api/handle_table.h"
#include "open_gsdk/replay/clip.h"
#include "open_gsdk/replay/packet_ring.h"
#include "tests/open_gsdk/packets.h"

namespace open_gsdk {
namespace {

std::vector<std::int64_t> TimesMs(const std::vector<SharedPacket>& packets) {
  std::vector<std::int64_t> times;
  for (const SharedPacket& packet : packets) times.push_back(packet->time_ns / kMs);
  return times;
}

// Ten frames a second, each tenth a key frame.
template <typename Recorder>
void PushFrames(Recorder& recorder, const std::shared_ptr<const StreamSet>& streams, int first,
                int count) {
  for (int frame = first; frame < first + count; ++frame) {
    recorder.Push(TestPacket(streams, 0, frame * 100, frame % 10 == 0));
  }
}

TEST(PacketRing, KeepsTheDurationAndLessThanOneKeyFrameDistanceMore) {
  PacketRing ring;
  ring.SetDuration(2000 * kMs);
  const auto streams = TestStreams();
  for (int frame = 0; frame < 1000; ++frame) {
    PushFrames(ring, streams, frame, 1);
    const std::vector<SharedPacket> packets = ring.Packets();
    ASSERT_TRUE(packets.front()->key_frame) << frame;
    const int expected = frame < 29 ? frame + 1 : 20 + (frame + 1) % 10;
    ASSERT_EQ(packets.size(), static_cast<std::size_t>(expected)) << frame;
  }
}

TEST(PacketRing, DropsWhatComesBeforeTheFirstKeyFrame) {
  PacketRing ring;
  const auto streams = TestStreams();
  ring.Push(TestPacket(streams, 0, 0, false));
  ring.Push(TestPacket(streams, 1, 10, true));
  EXPECT_TRUE(ring.Packets().empty());
  ring.Push(TestPacket(streams, 0, 100, true));
  ring.Push(TestPacket(streams, 1, 110, true));
  EXPECT_EQ(TimesMs(ring.Packets()), (std::vector<std::int64_t>{100, 110}));
}

TEST(PacketRing, WithoutADurationKeepsTheLastGroupOnly) {
  PacketRing ring;
  PushFrames(ring, TestStreams(), 0, 23);
  EXPECT_EQ(TimesMs(ring.Packets()), (std::vector<std::int64_t>{2000, 2100, 2200}));
}

TEST(PacketRing, AShorterDurationTakesEffectAtOnce) {
  PacketRing ring;
  ring.SetDuration(60'000 * kMs);
  PushFrames(ring, TestStreams(), 0, 100);
  EXPECT_EQ(ring.Packets().size(), 100u);
  ring.SetDuration(1500 * kMs);
  EXPECT_EQ(ring.Packets().size(), 20u);
}

TEST(PacketRing, StartsAnewWithThePacketsOfAnotherSession) {
  PacketRing ring;
  ring.SetDuration(60'000 * kMs);
  PushFrames(ring, TestStreams(), 0, 15);
  const auto other = TestStreams();
  ring.Push(TestPacket(other, 0, 1500, false));
  EXPECT_TRUE(ring.Packets().empty());
  ring.Push(TestPacket(other, 0, 2000, true));
  EXPECT_EQ(TimesMs(ring.Packets()), (std::vector<std::int64_t>{2000}));
}

TEST(PacketRing, CountsGroupsByThePictures) {
  PacketRing ring;
  ring.SetDuration(1000 * kMs);
  const auto streams = TestStreams();
  for (int frame = 0; frame < 40; ++frame) {
    PushFrames(ring, streams, frame, 1);
    ring.Push(TestPacket(streams, 1, frame * 100, true));
    ring.Push(TestPacket(streams, 2, frame * 100, true));
  }
  // The pictures from the key frame at 3 s on, and what was pushed between them.
  EXPECT_EQ(ring.Packets().size(), 30u);
  EXPECT_EQ(ring.Packets().front()->time_ns, 3000 * kMs);
}

TEST(CutClip, OrdersByTimeAndLeavesOutSoundFromBeforeTheFirstPicture) {
  const auto streams = TestStreams();
  const Clip clip = CutClip({
      TestPacket(streams, 0, 1000, true),
      TestPacket(streams, 1, 980, true),
      TestPacket(streams, 2, 1000, true),
      TestPacket(streams, 1, 1000, true),
      TestPacket(streams, 0, 1100, false),
      TestPacket(streams, 1, 1020, true),
  });
  EXPECT_EQ(TimesMs(clip.packets), (std::vector<std::int64_t>{1000, 1000, 1000, 1020, 1100}));
  EXPECT_EQ(clip.packets[0]->stream, 0u);
  EXPECT_EQ(clip.packets[1]->stream, 1u);
  EXPECT_EQ(clip.packets[2]->stream, 2u);
  EXPECT_EQ(clip.start_ns, 1000 * kMs);
  EXPECT_EQ(clip.duration_ns, 200 * kMs);
  EXPECT_EQ(clip.last_timestamp_ns, 1100 * kMs);
  EXPECT_EQ(clip.video_drop_ns, 0);
  EXPECT_EQ(clip.audio_drop_ns, 0);
}

TEST(CutClip, CountsWhatWasDroppedAfterItsFirstPicture) {
  const auto streams = TestStreams();
  const Clip clip = CutClip({
      TestPacket(streams, 0, 1000, true, 7000),
      TestPacket(streams, 1, 1000, true, 7000),
      TestPacket(streams, 0, 1500, true, 400),
      TestPacket(streams, 1, 1500, true, 390),
      TestPacket(streams, 2, 1500, true, 380),
      TestPacket(streams, 0, 1800, true, 200),
  });
  EXPECT_EQ(clip.video_drop_ns, 600 * kMs);
  EXPECT_EQ(clip.audio_drop_ns, 390 * kMs);
}

TEST(Recorder, GivesTheFiguresOfASuccessfulDump) {
  Recorder recorder;
  recorder.SetDuration(2000);
  PushFrames(recorder, TestStreams(), 0, 100);
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
  PushFrames(recorder, TestStreams(), 0, 5);
  const gsdk_dump_result result =
      recorder.Dump([](const Clip&) { return DumpStatus::kCannotWrite; });
  EXPECT_EQ(result.status, 6);
  EXPECT_EQ(result.duration, 0);
  EXPECT_EQ(result.last_timestamp, 0);
}

TEST(Recorder, TakesPacketsWhileADumpIsWriting) {
  Recorder recorder;
  recorder.SetDuration(60'000);
  const auto streams = TestStreams();
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
  PushFrames(*alive.lock(), TestStreams(), 0, 10);
  const gsdk_dump_result result = table.Find(handle)->Dump([&](const Clip& clip) {
    table.Remove(handle);
    EXPECT_EQ(table.Find(handle), nullptr);
    EXPECT_FALSE(alive.expired());
    EXPECT_EQ(clip.packets.back()->time_ns, 900 * kMs);
    return DumpStatus::kSuccess;
  });
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(alive.expired());
}

// For the thread sanitizer.
TEST(Recorder, IsPushedIntoDumpedAndSetAtTheSameTime) {
  Recorder recorder;
  recorder.SetDuration(1000);
  const auto streams = TestStreams();
  PushFrames(recorder, streams, 0, 1);
  std::atomic<bool> stop{false};
  std::thread pusher([&] {
    for (int frame = 1; !stop; ++frame) PushFrames(recorder, streams, frame, 1);
  });
  for (int dump = 0; dump < 200; ++dump) {
    recorder.SetDuration(dump % 2 == 0 ? 1000 : 3000);
    const gsdk_dump_result result = recorder.Dump([](const Clip& clip) {
      return clip.packets.front()->key_frame ? DumpStatus::kSuccess : DumpStatus::kUnexpected;
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
