#include "open_gsdk/replay/packet_ring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "open_gsdk/replay/clip_cut.h"
#include "open_gsdk/replay/packet_segment.h"
#include "tests/open_gsdk/packets.h"

namespace open_gsdk {
namespace {

std::vector<std::span<const std::uint8_t>> Pieces(const PacketSegment& segment,
                                                  std::size_t number) {
  std::vector<std::span<const std::uint8_t>> pieces;
  segment.AddPieces(segment.packets()[number], pieces);
  return pieces;
}

std::vector<std::uint8_t> StoredBytes(const PacketSegment& segment, std::size_t number) {
  std::vector<std::uint8_t> bytes;
  for (const auto piece : Pieces(segment, number)) {
    bytes.insert(bytes.end(), piece.begin(), piece.end());
  }
  return bytes;
}

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

TEST(PacketSegment, KeepsPacketsThatLieInSeveralBlocks) {
  const auto streams = TestStreams();
  PacketSegment segment(streams, nullptr);
  const std::vector<std::size_t> sizes = {1,   kBlockSize - 1, 3 * kBlockSize + 7, 0,
                                          100, kBlockSize};
  for (std::size_t number = 0; number < sizes.size(); ++number) {
    segment.Append(TestPicture(streams, 0, number == 0,
                               Bytes(sizes[number], static_cast<std::uint8_t>(number))),
                   0);
  }
  for (std::size_t number = 0; number < sizes.size(); ++number) {
    EXPECT_EQ(StoredBytes(segment, number), Bytes(sizes[number], static_cast<std::uint8_t>(number)))
        << number;
  }
}

TEST(PacketSegment, GoesOnInTheLastBlockOfTheOneBefore) {
  const auto streams = TestStreams();
  PacketSegment first(streams, nullptr);
  first.Append(TestPicture(streams, 0, true, Bytes(100, 1)), 0);
  PacketSegment second(streams, &first);
  second.Append(TestPicture(streams, 100, true, Bytes(kBlockSize, 2)), 0);
  EXPECT_EQ(StoredBytes(first, 0), Bytes(100, 1));
  EXPECT_EQ(StoredBytes(second, 0), Bytes(kBlockSize, 2));
  PacketSegment third(streams, &first);
  third.Append(TestPicture(streams, 300, false, Bytes(10, 4)), 0);
  EXPECT_EQ(Pieces(third, 0).front().data(), Pieces(first, 0).back().data() + 100);
}

TEST(PacketSegment, CountsItsPacketsWithAnEntryOf24BytesEach) {
  const auto streams = TestStreams();
  PacketSegment segment(streams, nullptr);
  segment.Append(TestPicture(streams, 0, true, Bytes(1000, 0)), 0);
  segment.Append(TestPicture(streams, 100, false, Bytes(10, 0)), 0);
  EXPECT_EQ(segment.SizeInMemory(), 1010u + 2 * 24);
}

TEST(PacketSegment, KnowsWhatWasLostBeforeEachPacket) {
  const auto streams = TestStreams();
  PacketSegment segment(streams, nullptr);
  for (int number = 0; number < 4; ++number) {
    segment.Append(TestPicture(streams, number * 100, number == 0), number % 2 * 7);
  }
  EXPECT_EQ(segment.DroppedBefore(0), 0);
  EXPECT_EQ(segment.DroppedBefore(1), 7);
  EXPECT_EQ(segment.DroppedBefore(2), 0);
  EXPECT_EQ(segment.DroppedBefore(3), 7);
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

// What the source of a menu or a desktop gives when nobody touches it: a key frame a second and
// tracks of silence, whose packets are smaller than their entries.
TEST(PacketRing, TakesATenthMoreThanItsPacketsOfAStillAndSilentSource) {
  constexpr std::size_t kKeyFrame = 40'000;
  constexpr std::size_t kSilence = 6;
  const auto streams = TestStreams();
  streams->audio.push_back(streams->audio.front());
  PacketRing ring;
  ring.SetDuration(60'000 * kMs);
  std::int64_t sound = 0;
  for (std::int64_t second = 0; second < 120; ++second) {
    ring.Push(TestPicture(streams, second * 1000, true, Bytes(kKeyFrame, 0)));
    for (; SoundNs(sound) < (second + 1) * 1000 * kMs; ++sound) {
      for (std::size_t track = 0; track < 3; ++track) {
        ring.Push(TestSound(streams, track, sound, 0, Bytes(kSilence, 0)));
      }
    }
  }
  const RingContent content = ring.Content();
  std::size_t payload = 0;
  for (const auto& segment : content.segments) {
    for (const StoredPacket& packet : segment->packets()) payload += packet.size;
  }
  EXPECT_GE(payload, 60 * kKeyFrame);
  EXPECT_LE(static_cast<double>(SizeOf(content)), 1.10 * static_cast<double>(payload));
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
    EXPECT_NE(packet.stored, nullptr) << "sound of stream " << packet.stream << " is missing";
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
  EXPECT_EQ(content.segments[0]->packets().size(), 1u);
  ring.Push(TestSound(streams, 0, 71));
  EXPECT_EQ(ring.Content().segments[0]->packets().size(), 1u);
}

TEST(PacketRing, LeavesOutPacketsOfAStreamThatIsNotDescribed) {
  PacketRing ring;
  const auto streams = TestStreams();
  ring.Push(TestPicture(streams, 0, true));
  ring.Push(TestSound(streams, 2, 0));
  EXPECT_EQ(ring.Content().segments[0]->packets().size(), 1u);
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
  ASSERT_EQ(content.segments[0]->packets().size(), 5u);
  for (std::size_t number = 0; number < 5; ++number) {
    EXPECT_EQ(StoredBytes(*content.segments[0], number), Bytes(1000, 7));
  }
}

}  // namespace
}  // namespace open_gsdk
