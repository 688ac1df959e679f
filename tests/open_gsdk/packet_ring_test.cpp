#include "open_gsdk/replay/packet_ring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "open_gsdk/replay/clip.h"
#include "open_gsdk/replay/clip_cut.h"
#include "open_gsdk/replay/packet_segment.h"
#include "tests/open_gsdk/packets.h"

namespace open_gsdk {
namespace {

std::size_t SizeOf(const RingContent& content) {
  std::size_t size = 0;
  for (const auto& segment : content.segments) size += segment->SizeInMemory();
  return size;
}

// Pictures, each tenth of them a key frame.
void PushPictures(PacketRing& ring, const std::shared_ptr<const StreamSet>& streams, int first,
                  int count, const std::vector<std::uint8_t>& data = {0}) {
  for (int picture = first; picture < first + count; ++picture) {
    ring.Push(TestPicture(streams, picture * 100, picture % 10 == 0, data));
  }
}

TEST(PacketRing, KeepsWhatAClipOfItsDurationNeedsAndAboutOneKeyFrameDistanceMore) {
  PacketRing ring;
  ring.SetDuration(2000 * kMs);
  const auto streams = SilentTestStreams();
  for (int picture = 0; picture < 1000; ++picture) {
    PushPictures(ring, streams, picture, 1);
    const RingContent content = ring.Content();
    const Clip clip = CutClip(content);
    ASSERT_TRUE(clip.packets.front().key_frame);
    const int expected = picture < 29 ? picture + 1 : 20 + (picture + 1) % 10;
    ASSERT_EQ(clip.packets.size(), static_cast<std::size_t>(expected)) << picture;
    // The key frame before the clip, for its sound, and one more for the last whole picture.
    ASSERT_GE(content.segments.front()->StartNs(), clip.start_ns - 2000 * kMs) << picture;
  }
}

// What a source gives in each second, beside one key frame.
struct Source {
  const char* name;
  std::size_t key_frame;  // bytes
  int pictures;
  std::size_t picture;  // bytes
  std::size_t tracks;
  std::size_t sound;  // bytes of a packet; 0 for silence
};

class PacketRingOf : public testing::TestWithParam<Source> {};

// Their sizes are those that x264 and FFmpeg's AAC encoder give.
INSTANTIATE_TEST_SUITE_P(
    Sources, PacketRingOf,
    testing::Values(Source{"BlackAndSilent", 308, 0, 0, 3, 0},
                    Source{"BlackWithoutSound", 308, 0, 0, 0, 0},
                    Source{"BlackWithEveryPictureAndNoSound", 308, 59, 55, 0, 0},
                    Source{"BlackAndSilentWithEveryPicture", 308, 59, 55, 3, 0},
                    Source{"BlackWithTheLowestBitRates", 308, 0, 0, 3, 83},
                    Source{"DarkAndSilent", 4'000, 0, 0, 3, 0},
                    Source{"DarkWithTheLowestBitRates", 4'000, 59, 55, 3, 83},
                    Source{"StillAndSilentWithSixteenTracks", 40'000, 0, 0, 16, 0},
                    Source{"TwoMegabits", 25'000, 29, 7'760, 3, 341},
                    Source{"TwoMegabitsWithTheLowestBitRates", 25'000, 59, 3'810, 3, 83}),
    [](const auto& source) { return source.param.name; });

TEST_P(PacketRingOf, TakesATenthMoreThanItsPacketsAtMost) {
  const Source& source = GetParam();
  const auto streams = SilentTestStreams();
  streams->video.frame_rate = source.pictures + 1;
  streams->audio.assign(source.tracks, TestStreams()->audio.front());
  const std::vector<std::uint8_t> silence(SilentPacket().begin(), SilentPacket().end());
  PacketRing ring;
  ring.SetDuration(60'000 * kMs);
  std::int64_t sound = 0;
  const std::int64_t step = source.pictures + 1;
  for (std::int64_t picture = 0; picture < 120 * step; ++picture) {
    const bool key_frame = picture % step == 0;
    EncodedPacket packet =
        TestPicture(streams, 0, key_frame, Bytes(key_frame ? source.key_frame : source.picture, 1));
    packet.time_ns = picture * 1'000'000'000 / step;
    packet.duration_ns = (picture + 1) * 1'000'000'000 / step - packet.time_ns;
    ring.Push(packet);
    // A tenth of a second later than the pictures, and not on their grid.
    for (; SoundNs(sound) + 123'456 < packet.time_ns - 100 * kMs; ++sound) {
      for (std::size_t track = 0; track < source.tracks; ++track) {
        const auto first = static_cast<std::uint8_t>(sound);
        ring.Push(TestSound(streams, track, sound, 123'456,
                            source.sound == 0 ? silence : Bytes(source.sound, first)));
      }
    }
  }
  const RingContent content = ring.Content();
  std::size_t payload = 0;
  for (const auto& segment : content.segments) {
    for (const StoredPacket& packet : StoredPackets(*segment)) payload += packet.bytes.size;
  }
  EXPECT_GE(payload, 60 * source.key_frame);
  EXPECT_LE(static_cast<double>(SizeOf(content)), 1.10 * static_cast<double>(payload));
  const double ratio = static_cast<double>(SizeOf(content)) / static_cast<double>(payload);
  RecordProperty("bytes_for_each_byte", std::to_string(ratio));
}

TEST(PacketRing, LeavesOutPicturesBeforeTheFirstKeyFrame) {
  PacketRing ring;
  const auto streams = SilentTestStreams();
  ring.Push(TestPicture(streams, 0, false));
  EXPECT_TRUE(ring.Content().segments.empty());
  EXPECT_TRUE(CutClip(ring.Content()).packets.empty());
  ring.Push(TestPicture(streams, 100, true));
  EXPECT_EQ(CutClip(ring.Content()).start_ns, 100 * kMs);
}

TEST(PacketRing, WithoutADurationKeepsTheLastGroupForAClip) {
  PacketRing ring;
  PushPictures(ring, SilentTestStreams(), 0, 23);
  const Clip clip = CutClip(ring.Content());
  EXPECT_EQ(clip.start_ns, 2000 * kMs);
  EXPECT_EQ(clip.packets.size(), 3u);
}

TEST(PacketRing, AShorterDurationTakesEffectAtOnce) {
  PacketRing ring;
  ring.SetDuration(60'000 * kMs);
  PushPictures(ring, SilentTestStreams(), 0, 100);
  EXPECT_EQ(CutClip(ring.Content()).packets.size(), 100u);
  EXPECT_EQ(ring.Content().segments.size(), 10u);
  ring.SetDuration(1500 * kMs);
  EXPECT_EQ(CutClip(ring.Content()).packets.size(), 20u);
  EXPECT_EQ(ring.Content().segments.size(), 3u);
}

TEST(PacketRing, KeepsTheLastSoundWhileThereIsNoPicture) {
  PacketRing ring;
  ring.SetDuration(60'000 * kMs);
  const auto streams = TestStreams();
  for (int number = 0; number < 1000; ++number) {
    ring.Push(TestSound(streams, 0, number));
    const RingContent content = ring.Content();
    EXPECT_TRUE(CutClip(content).packets.empty());
    ASSERT_LE(content.segments.size(), 3u);
    ASSERT_GE(content.segments.front()->StartNs(), SoundNs(number) - 2500 * kMs);
    ASSERT_LE(content.segments.front()->StartNs(), std::max<std::int64_t>(SoundNs(number - 14), 0));
  }
}

TEST(PacketRing, StartsAnewWithAKeyFrameOfAnotherSize) {
  PacketRing ring;
  ring.SetDuration(60'000 * kMs);
  const auto streams = TestStreams();
  auto larger = TestStreams();
  larger->video.width = 128;
  PushPictures(ring, streams, 0, 15);
  for (int number = 0; SoundNs(number) < 1500 * kMs; ++number) {
    ring.Push(TestSound(streams, 0, number));
    ring.Push(TestSound(streams, 1, number));
  }
  // What cannot be decoded changes nothing.
  ring.Push(TestPicture(larger, 1500, false));
  EXPECT_EQ(CutClip(ring.Content()).streams, streams);
  EXPECT_EQ(CutClip(ring.Content()).start_ns, 0);

  ring.Push(TestPicture(larger, 1600, true));
  ring.Push(TestPicture(streams, 1700, false));
  ring.Push(TestPicture(larger, 1700, false));
  // The sound goes on, whichever streams it says to be of.
  for (int number = 71; SoundNs(number) < 1800 * kMs; ++number) {
    ring.Push(TestSound(number % 2 == 0 ? streams : larger, 0, number));
    ring.Push(TestSound(number % 2 == 0 ? streams : larger, 1, number));
  }
  const Clip clip = CutClip(ring.Content());
  EXPECT_EQ(clip.streams, larger);
  EXPECT_EQ(clip.start_ns, 1600 * kMs);
  EXPECT_EQ(clip.duration_ns, 200 * kMs);
  EXPECT_EQ(clip.audio_drop_ns, 0);
  for (const ClipPacket& packet : clip.packets) {
    EXPECT_FALSE(packet.IsSilence()) << "sound of stream " << packet.stream << " is missing";
  }
}

TEST(PacketRing, StartsAnewWithAKeyFrameOfOtherTracksAndKeepsNoneOfTheOldSound) {
  PacketRing ring;
  ring.SetDuration(60'000 * kMs);
  const auto streams = TestStreams();
  auto other = TestStreams();
  other->audio[1].name = "Voice";
  PushPictures(ring, streams, 0, 15);
  ring.Push(TestSound(streams, 0, 69));
  ring.Push(TestSound(other, 0, 70));
  EXPECT_EQ(CutClip(ring.Content()).streams, streams);
  ring.Push(TestPicture(other, 1500, true));
  const RingContent content = ring.Content();
  EXPECT_EQ(content.streams, other);
  ASSERT_EQ(content.segments.size(), 1u);
  EXPECT_EQ(StoredPackets(*content.segments[0]).size(), 1u);
  ring.Push(TestSound(streams, 0, 71));
  EXPECT_EQ(StoredPackets(*ring.Content().segments[0]).size(), 1u);
}

TEST(PacketRing, LeavesOutPacketsOfAStreamThatIsNotDescribed) {
  PacketRing ring;
  const auto streams = TestStreams();
  ring.Push(TestPicture(streams, 0, true));
  ring.Push(TestSound(streams, 2, 0));
  EXPECT_EQ(StoredPackets(*ring.Content().segments[0]).size(), 1u);
}

TEST(PacketRing, StatesItsMemoryLimitFromLengthAndRate) {
  StreamSet streams = *TestStreams();
  streams.video.width = 1280;
  streams.video.height = 720;
  streams.video.frame_rate = 30;
  EXPECT_EQ(MemoryLimit(streams, 60'000 * kMs), (1280u * 720 * 30 + 2 * 128'000) / 8 * 63);
  EXPECT_EQ(MemoryLimit(*TestStreams(), 60'000 * kMs), 16u * 1024 * 1024);
}

TEST(PacketRing, KeepsWithinItsMemoryLimitAndSaysSo) {
  PacketRing ring;
  ring.SetDuration(60'000 * kMs);
  const auto streams = SilentTestStreams();
  const std::size_t limit = MemoryLimit(*streams, 60'000 * kMs);
  const std::vector<std::uint8_t> data(200'000);
  PushPictures(ring, streams, 0, 80, data);
  EXPECT_FALSE(CutClip(ring.Content()).memory_limited);
  for (int picture = 80; picture < 300; ++picture) {
    PushPictures(ring, streams, picture, 1, data);
    const RingContent content = ring.Content();
    ASSERT_LE(SizeOf(content), limit) << picture;
    const Clip clip = CutClip(content);
    ASSERT_TRUE(clip.packets.front().key_frame) << picture;
    ASSERT_GE(clip.packets.size(), 70u) << picture;
  }
  const Clip clip = CutClip(ring.Content());
  EXPECT_TRUE(clip.memory_limited);
  EXPECT_EQ(clip.packets.size(), 80u);
  EXPECT_EQ(clip.video_drop_ns, 0);
}

TEST(PacketRing, LeavesOutWhatDoesNotFitUntilTheNextKeyFrameAndCountsIt) {
  PacketRing ring;
  ring.SetDuration(60'000 * kMs);
  const auto streams = SilentTestStreams();
  const std::vector<std::uint8_t> data(1024 * 1024);
  ring.Push(TestPicture(streams, 0, true, data));
  for (int picture = 1; picture < 50; ++picture) {
    ring.Push(TestPicture(streams, picture * 100, false, data));
  }
  const Clip full = CutClip(ring.Content());
  EXPECT_EQ(full.packets.size(), 15u);
  EXPECT_TRUE(full.memory_limited);
  // A small picture would fit, but needs those that were left out.
  ring.Push(TestPicture(streams, 5000, false));
  EXPECT_EQ(CutClip(ring.Content()).packets.size(), 15u);
  ring.Push(TestPicture(streams, 5100, true));
  const Clip clip = CutClip(ring.Content());
  EXPECT_EQ(clip.packets.size(), 16u);
  EXPECT_EQ(clip.video_drop_ns, 3600 * kMs);
  EXPECT_EQ(clip.packets[14].duration_ns, 3700 * kMs);
}

TEST(PacketRing, ContentStaysAsItWasWhileTheRingGoesOn) {
  PacketRing ring;
  ring.SetDuration(1000 * kMs);
  const auto streams = SilentTestStreams();
  PushPictures(ring, streams, 0, 5, Bytes(1000, 7));
  const RingContent content = ring.Content();
  PushPictures(ring, streams, 5, 500, Bytes(5000, 9));
  ASSERT_EQ(content.segments.size(), 1u);
  ASSERT_EQ(StoredPackets(*content.segments[0]).size(), 5u);
  for (const StoredPacket& packet : StoredPackets(*content.segments[0])) {
    EXPECT_EQ(BytesOf(packet.bytes), Bytes(1000, 7));
  }
}

}  // namespace
}  // namespace open_gsdk
