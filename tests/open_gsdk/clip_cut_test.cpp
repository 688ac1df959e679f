#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "open_gsdk/replay/clip_cut.h"
#include "open_gsdk/replay/packet_ring.h"
#include "tests/open_gsdk/packets.h"

namespace open_gsdk {
namespace {

std::vector<ClipPacket> OfStream(const Clip& clip, std::size_t stream) {
  std::vector<ClipPacket> packets;
  std::copy_if(clip.packets.begin(), clip.packets.end(), std::back_inserter(packets),
               [&](const ClipPacket& packet) { return packet.stream == stream; });
  return packets;
}

std::vector<std::int64_t> DurationsMs(const std::vector<ClipPacket>& packets) {
  std::vector<std::int64_t> durations;
  for (const ClipPacket& packet : packets) durations.push_back(packet.duration_ns / kMs);
  return durations;
}

std::size_t CountSilence(const std::vector<ClipPacket>& packets) {
  return static_cast<std::size_t>(std::count_if(
      packets.begin(), packets.end(), [](const ClipPacket& packet) { return packet.IsSilence(); }));
}

// That the sound begins at or before the first picture, with the packet before that one in front,
// has no gap and ends with the last picture.
void ExpectWholeSound(const Clip& clip, std::size_t track, bool with_packet_before = true) {
  const std::vector<ClipPacket> sound = OfStream(clip, 1 + track);
  ASSERT_FALSE(sound.empty());
  EXPECT_LE(sound.front().time_ns, with_packet_before ? -SoundNs(1) + 1 : 0);
  EXPECT_GT(sound.front().time_ns, -2 * SoundNs(1));
  for (std::size_t index = 0; index + 1 < sound.size(); ++index) {
    ASSERT_NEAR(static_cast<double>(sound[index + 1].time_ns),
                static_cast<double>(sound[index].time_ns + SoundNs(1)), 2);
    ASSERT_NEAR(static_cast<double>(sound[index].duration_ns), static_cast<double>(SoundNs(1)), 2);
  }
  EXPECT_NEAR(static_cast<double>(sound.back().time_ns + sound.back().duration_ns),
              static_cast<double>(clip.duration_ns), 10'500);  // half a sample
}

class ClipCut : public testing::Test {
 protected:
  ClipCut() { ring_.SetDuration(2000 * kMs); }

  // A recording up to `end_ms`: pictures at ten a second, each tenth a key frame, and two tracks of
  // sound that come `delay_ms` after the pictures of their time.
  void Record(std::int64_t end_ms, std::int64_t delay_ms) {
    std::int64_t sound = 0;
    for (std::int64_t time_ms = 0; time_ms < end_ms; time_ms += 100) {
      ring_.Push(TestPicture(streams_, time_ms, time_ms % 1000 == 0));
      while (kSoundStartNs + SoundNs(sound + 1) <= (time_ms + 100 - delay_ms) * kMs) {
        ring_.Push(TestSound(streams_, 0, sound, kSoundStartNs));
        ring_.Push(TestSound(streams_, 1, sound, kSoundStartNs));
        ++sound;
      }
    }
  }

  Clip Cut() { return CutClip(ring_.Content()); }

  // Not on the grid of the pictures.
  static constexpr std::int64_t kSoundStartNs = -33'333'333;
  PacketRing ring_;
  std::shared_ptr<StreamSet> streams_ = TestStreams();
};

TEST(ClipCutOfSlowPictures, WaitsForTheSoundOfTheLastPicture) {
  // A picture a second, which comes when it begins, and sound that comes 70 ms late.
  const auto streams = TestStreams();
  streams->video.frame_rate = 1;
  PacketRing ring;
  ring.SetDuration(10'000 * kMs);
  std::int64_t sound = 0;
  for (std::int64_t second = 0; second < 6; ++second) {
    const std::int64_t now_ns = second * 1000 * kMs;
    for (; SoundNs(sound + 1) <= now_ns - 70 * kMs; ++sound) {
      ring.Push(TestSound(streams, 0, sound));
      ring.Push(TestSound(streams, 1, sound));
    }
    EncodedPacket picture = TestPicture(streams, second * 1000, true);
    picture.duration_ns = 1000 * kMs;
    ring.Push(picture);
  }
  const Clip clip = CutClip(ring.Content());
  // The sound of the fifth second has not all come.
  EXPECT_EQ(clip.duration_ns, 4000 * kMs);
  EXPECT_EQ(clip.audio_drop_ns, 0);
  EXPECT_EQ(CountSilence(OfStream(clip, 1)), 0U);
  ExpectWholeSound(clip, 0, false);
  ExpectWholeSound(clip, 1, false);
}

TEST_F(ClipCut, SoundIsWholeHoweverLateItComes) {
  for (const std::int64_t delay_ms : {-100, 0, 50, 150, 400}) {
    SCOPED_TRACE(delay_ms);
    for (const std::int64_t end_ms : {3000, 3300, 5900, 6000}) {
      SCOPED_TRACE(end_ms);
      ring_ = PacketRing();
      ring_.SetDuration(2000 * kMs);
      Record(end_ms, delay_ms);
      const Clip clip = Cut();
      ExpectWholeSound(clip, 0);
      ExpectWholeSound(clip, 1);
      EXPECT_EQ(CountSilence(clip.packets), 0u);
      EXPECT_EQ(clip.start_ns % (1000 * kMs), 0);
      EXPECT_GE(clip.duration_ns, 2000 * kMs);
      EXPECT_LT(clip.duration_ns, 3000 * kMs);
      EXPECT_EQ(clip.duration_ns % (100 * kMs), 0);
      const std::int64_t clip_end_ms = (clip.start_ns + clip.duration_ns) / kMs;
      EXPECT_LE(clip_end_ms, std::min(end_ms, end_ms - delay_ms));
      EXPECT_GT(clip_end_ms, std::min(end_ms, end_ms - delay_ms) - 200);
      EXPECT_EQ(
          DurationsMs(OfStream(clip, 0)),
          std::vector<std::int64_t>(static_cast<std::size_t>(clip.duration_ns / kMs / 100), 100));
      EXPECT_EQ(clip.audio_drop_ns, 0);
      EXPECT_EQ(clip.video_drop_ns, 0);
    }
  }
}

TEST_F(ClipCut, PacketsAreInTheOrderInWhichTheyCame) {
  Record(3000, 150);
  const Clip clip = Cut();
  std::vector<StoredPacket> arrived;
  for (const auto& segment : clip.segments) segment->AddPackets(arrived);
  for (std::size_t index = 0; index < clip.packets.size(); ++index) {
    const ClipPacket& packet = clip.packets[index];
    if (index > 0) {
      ASSERT_GT(packet.arrival, clip.packets[index - 1].arrival) << index;
    }
    const StoredPacket& stored = arrived.at(packet.arrival);
    ASSERT_EQ(stored.bytes, packet.stored) << index;
    ASSERT_EQ(stored.stream, packet.stream) << index;
    ASSERT_NEAR(static_cast<double>(stored.time_ns - clip.start_ns),
                static_cast<double>(packet.time_ns), 10'500)
        << index;
  }
  EXPECT_GT(clip.packets.size(), 100u);
  EXPECT_EQ(clip.last_timestamp_ns, clip.start_ns + std::max(OfStream(clip, 0).back().time_ns,
                                                             OfStream(clip, 1).back().time_ns));
}

TEST_F(ClipCut, APictureLastsUntilTheNext) {
  streams_ = SilentTestStreams();
  for (const std::int64_t time_ms : {0, 100, 400, 500, 1500}) {
    ring_.Push(TestPicture(streams_, time_ms, time_ms == 0));
  }
  const Clip clip = Cut();
  EXPECT_EQ(DurationsMs(clip.packets), (std::vector<std::int64_t>{100, 300, 100, 1000, 100}));
  EXPECT_EQ(clip.duration_ns, 1600 * kMs);
  EXPECT_EQ(clip.last_timestamp_ns, 1500 * kMs);
}

TEST_F(ClipCut, ALastPictureThatStandsStaysUntilTheSoundEnds) {
  ring_.Push(TestPicture(streams_, 0, true));
  ring_.Push(TestPicture(streams_, 1000, false));
  for (int number = 0; SoundNs(number + 1) <= 1850 * kMs; ++number) {
    ring_.Push(TestSound(streams_, 0, number));
    ring_.Push(TestSound(streams_, 1, number));
  }
  const Clip clip = Cut();
  EXPECT_EQ(DurationsMs(OfStream(clip, 0)), (std::vector<std::int64_t>{1000, 800}));
  EXPECT_EQ(clip.duration_ns, 1800 * kMs);
  ExpectWholeSound(clip, 0, false);
}

TEST_F(ClipCut, ALastPictureDoesNotStandForPicturesThatStoppedComing) {
  ring_.Push(TestPicture(streams_, 0, true));
  for (int number = 0; SoundNs(number) < 10'000 * kMs; ++number) {
    ring_.Push(TestSound(streams_, 0, number));
    ring_.Push(TestSound(streams_, 1, number));
  }
  EXPECT_EQ(Cut().duration_ns, 1500 * kMs);
}

TEST_F(ClipCut, ATrackWithoutSoundIsSilentAndDoesNotShortenTheClip) {
  for (int picture = 0; picture < 20; ++picture) {
    ring_.Push(TestPicture(streams_, picture * 100, picture % 10 == 0));
  }
  for (int number = 0; SoundNs(number) < 2000 * kMs; ++number) {
    ring_.Push(TestSound(streams_, 0, number));
  }
  const Clip clip = Cut();
  EXPECT_EQ(clip.duration_ns, 2000 * kMs);
  const std::vector<ClipPacket> silent = OfStream(clip, 2);
  EXPECT_EQ(silent.size(), 94u);
  EXPECT_EQ(CountSilence(silent), silent.size());
  ExpectWholeSound(clip, 1, false);
  std::vector<std::span<const std::uint8_t>> pieces;
  silent.front().AddPieces(pieces);
  ASSERT_EQ(pieces.size(), 1u);
  EXPECT_EQ(pieces[0].data(), SilentPacket().data());
  EXPECT_EQ(clip.audio_drop_ns, 0);
}

TEST_F(ClipCut, AGapInTheSoundIsFilledAndCountedInsteadOfStretchingAPacket) {
  for (int picture = 0; picture < 20; ++picture) {
    ring_.Push(TestPicture(streams_, picture * 100, picture % 10 == 0));
  }
  for (int number = 0; SoundNs(number) < 2000 * kMs; ++number) {
    ring_.Push(TestSound(streams_, 1, number));
    if (number < 20 || number >= 30) ring_.Push(TestSound(streams_, 0, number));
  }
  const Clip clip = Cut();
  ExpectWholeSound(clip, 0, false);
  const std::vector<ClipPacket> sound = OfStream(clip, 1);
  for (std::size_t index = 0; index < sound.size(); ++index) {
    EXPECT_EQ(sound[index].IsSilence(), index >= 20 && index < 30) << index;
  }
  EXPECT_EQ(clip.audio_drop_ns, SoundNs(10));
}

TEST_F(ClipCut, AGapThatTheRecordingCountedIsNotCountedTwice) {
  streams_->audio.pop_back();
  for (int picture = 0; picture < 20; ++picture) {
    ring_.Push(TestPicture(streams_, picture * 100, picture % 10 == 0));
  }
  for (int number = 0; SoundNs(number) < 2000 * kMs; ++number) {
    EncodedPacket packet = TestSound(streams_, 0, number);
    if (number == 30) packet.dropped_ns = 222 * kMs;
    if (number < 20 || number >= 30) ring_.Push(packet);
  }
  EXPECT_EQ(Cut().audio_drop_ns, 222 * kMs);
}

TEST_F(ClipCut, SoundThatOverlapsIsLeftOutInsteadOfMovingWhatFollows) {
  streams_->audio.pop_back();
  for (int picture = 0; picture < 10; ++picture) {
    ring_.Push(TestPicture(streams_, picture * 100, picture == 0));
  }
  for (int number = 0; SoundNs(number) < 1000 * kMs; ++number) {
    ring_.Push(TestSound(streams_, 0, number));
    if (number == 20) {
      for (int again = 18; again < 21; ++again) ring_.Push(TestSound(streams_, 0, again));
    }
  }
  const Clip clip = Cut();
  ExpectWholeSound(clip, 0, false);
  EXPECT_EQ(OfStream(clip, 1).size(), 47u);
}

TEST_F(ClipCut, SoundThatBeginsLaterKeepsItsPlaceBehindSilence) {
  streams_->audio.pop_back();
  for (int picture = 0; picture < 10; ++picture) {
    ring_.Push(TestPicture(streams_, picture * 100, picture == 0));
  }
  for (int number = 0; SoundNs(number) < 950 * kMs; ++number) {
    ring_.Push(TestSound(streams_, 0, number, 50 * kMs));
  }
  const Clip clip = Cut();
  ExpectWholeSound(clip, 0, false);
  const std::vector<ClipPacket> sound = OfStream(clip, 1);
  EXPECT_EQ(CountSilence(sound), 3u);
  EXPECT_EQ(sound[3].time_ns, 50 * kMs);
  EXPECT_FALSE(sound[3].IsSilence());
  EXPECT_EQ(clip.audio_drop_ns, 0);
}

TEST_F(ClipCut, CountsWhatWasDroppedAfterItsFirstPicture) {
  ring_.SetDuration(900 * kMs);
  const auto push = [&](EncodedPacket packet, std::int64_t dropped_ms) {
    packet.dropped_ns = dropped_ms * kMs;
    ring_.Push(packet);
  };
  push(TestPicture(streams_, 0, true), 7000);
  push(TestPicture(streams_, 1000, true), 7000);
  for (int number = 0; SoundNs(number) < 2100 * kMs; ++number) {
    const bool before = SoundNs(number) < 1000 * kMs;
    push(TestSound(streams_, 0, number), number == 60 ? 390 : before ? 5000 : 0);
    push(TestSound(streams_, 1, number), number == 60 ? 380 : 0);
  }
  push(TestPicture(streams_, 1500, false), 400);
  push(TestPicture(streams_, 1900, false), 200);
  const Clip clip = Cut();
  EXPECT_EQ(clip.start_ns, 1000 * kMs);
  EXPECT_EQ(clip.video_drop_ns, 600 * kMs);
  EXPECT_EQ(clip.audio_drop_ns, 390 * kMs);
}

TEST_F(ClipCut, AFrameRateThatNanosecondsCannotHoldStaysExact) {
  streams_ = SilentTestStreams();
  streams_->video.frame_rate = 60;
  for (std::int64_t picture = 0; picture < 600; ++picture) {
    EncodedPacket packet = TestPicture(streams_, 0, picture % 60 == 0);
    packet.time_ns = 12'345 + picture * 1'000'000'000 / 60;
    packet.duration_ns = 1'000'000'000 / 60;
    ring_.Push(packet);
  }
  const Clip clip = Cut();
  EXPECT_EQ(clip.packets.size(), 120u);
  EXPECT_EQ(clip.duration_ns, 2'000'000'000);
}

TEST_F(ClipCut, StreamsWithoutARateAreNoneOfItsConcern) {
  streams_->audio[0].sample_rate = 0;
  streams_->video.frame_rate = 0;
  ring_.Push(TestPicture(streams_, 0, true));
  ring_.Push(TestSound(streams_, 0, 0));
  EXPECT_EQ(OfStream(Cut(), 0).size(), 1u);
  EXPECT_TRUE(OfStream(Cut(), 1).empty());
}

}  // namespace
}  // namespace open_gsdk
