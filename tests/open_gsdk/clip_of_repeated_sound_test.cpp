// Sound whose bytes the buffer keeps once makes the same clips as sound that it keeps packet by
// packet.
#include <gtest/gtest.h>

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

constexpr int kPictures = 60;
constexpr std::int64_t kSoundStartNs = -33'333'333;  // not on the grid of the pictures

// Bytes of silence, or as many that no other packet of sound has.
std::vector<std::uint8_t> SoundBytes(bool repeated, std::size_t track, std::int64_t number) {
  std::vector<std::uint8_t> bytes(SilentPacket().begin(), SilentPacket().end());
  if (repeated) return bytes;
  bytes[0] = static_cast<std::uint8_t>(track);
  bytes[1] = static_cast<std::uint8_t>(number % 256);
  bytes[2] = static_cast<std::uint8_t>(number / 256);
  return bytes;
}

// What is pushed until the picture with this number has come: ten pictures a second, each tenth a
// key frame, and two tracks, of which the second is lost for a while and then comes back late.
std::vector<EncodedPacket> Recording(const std::shared_ptr<const StreamSet>& streams, int pictures,
                                     bool repeated) {
  std::vector<EncodedPacket> packets;
  std::int64_t sound = 0;
  for (int picture = 0; picture < pictures; ++picture) {
    const std::int64_t now_ns = picture * 100 * kMs;
    for (; kSoundStartNs + SoundNs(sound + 1) + 70 * kMs <= now_ns; ++sound) {
      for (std::size_t track = 0; track < 2; ++track) {
        const bool lost = track == 1 && sound % 150 >= 100 && sound % 150 < 110;
        if (lost) continue;
        EncodedPacket packet =
            TestSound(streams, track, sound, kSoundStartNs, SoundBytes(repeated, track, sound));
        packet.duration_ns = SoundNs(sound + 1) - SoundNs(sound);
        if (track == 1 && sound % 150 == 110) packet.dropped_ns = 222 * kMs;
        packets.push_back(packet);
      }
    }
    packets.push_back(TestPicture(streams, picture * 100, picture % 10 == 0,
                                  Bytes(100, static_cast<std::uint8_t>(picture))));
  }
  return packets;
}

struct RecordedClip {
  RingContent content;
  Clip clip;
};

RecordedClip Record(const std::vector<EncodedPacket>& packets, std::int64_t duration_ns) {
  PacketRing ring;
  ring.SetDuration(duration_ns);
  for (const EncodedPacket& packet : packets) ring.Push(packet);
  const RingContent content = ring.Content();
  return {content, CutClip(content)};
}

std::size_t SizeOf(const RingContent& content) {
  std::size_t size = 0;
  for (const auto& segment : content.segments) size += segment->SizeInMemory();
  return size;
}

std::vector<std::uint8_t> BytesOf(const ClipPacket& packet) {
  std::vector<std::span<const std::uint8_t>> pieces;
  packet.AddPieces(pieces);
  return Joined(pieces);
}

// That both clips hold the same packets, and each the bytes that it was given.
void ExpectSame(const Clip& one, const Clip& other, const std::vector<std::uint8_t>& silence) {
  EXPECT_EQ(one.start_ns, other.start_ns);
  EXPECT_EQ(one.duration_ns, other.duration_ns);
  EXPECT_EQ(one.last_timestamp_ns, other.last_timestamp_ns);
  EXPECT_EQ(one.audio_drop_ns, other.audio_drop_ns);
  EXPECT_EQ(one.video_drop_ns, other.video_drop_ns);
  ASSERT_EQ(one.packets.size(), other.packets.size());
  for (std::size_t index = 0; index < one.packets.size(); ++index) {
    SCOPED_TRACE(index);
    const ClipPacket& repeated = one.packets[index];
    const ClipPacket& single = other.packets[index];
    ASSERT_EQ(repeated.stream, single.stream);
    ASSERT_EQ(repeated.key_frame, single.key_frame);
    ASSERT_EQ(repeated.time_ns, single.time_ns);
    ASSERT_EQ(repeated.duration_ns, single.duration_ns);
    ASSERT_EQ(repeated.arrival, single.arrival);
    ASSERT_EQ(repeated.IsSilence(), single.IsSilence());
    ASSERT_EQ(repeated.Size(), single.Size());
    if (repeated.stream == 0) {
      ASSERT_EQ(BytesOf(repeated), BytesOf(single));
    } else {
      ASSERT_EQ(BytesOf(repeated), silence);
    }
  }
}

// Each packet of sound, of which the clip holds the one that was heard then.
void ExpectOwnBytes(const Clip& clip) {
  for (const ClipPacket& packet : clip.packets) {
    if (packet.stream == 0 || packet.IsSilence()) continue;
    const std::int64_t heard_ns = clip.start_ns + packet.time_ns - kSoundStartNs;
    const std::int64_t number = (heard_ns + SoundNs(1) / 2) / SoundNs(1);
    ASSERT_EQ(BytesOf(packet), SoundBytes(false, packet.stream - 1, number)) << number;
  }
}

TEST(ClipOfRepeatedSound, IsThatOfPacketsHeldSinglyWhereverItIsCut) {
  const auto streams = TestStreams();
  const std::vector<std::uint8_t> silence(SilentPacket().begin(), SilentPacket().end());
  for (int pictures = 1; pictures < kPictures; ++pictures) {
    for (const std::int64_t duration_ms : {0, 1500, 2000, 60'000}) {
      SCOPED_TRACE(testing::Message() << pictures << " pictures, " << duration_ms << " ms");
      const RecordedClip repeated = Record(Recording(streams, pictures, true), duration_ms * kMs);
      const RecordedClip single = Record(Recording(streams, pictures, false), duration_ms * kMs);
      ExpectSame(repeated.clip, single.clip, silence);
      ExpectOwnBytes(single.clip);
      if (HasFatalFailure()) return;
      if (pictures > 10) {
        EXPECT_LT(SizeOf(repeated.content), SizeOf(single.content));
      }
    }
  }
}

TEST(ClipOfRepeatedSound, StaysAsItWasCutWhileMoreOfItComes) {
  const auto streams = TestStreams();
  const std::vector<EncodedPacket> packets = Recording(streams, kPictures, true);
  PacketRing ring;
  ring.SetDuration(2000 * kMs);
  std::size_t pushed = 0;
  for (; pushed < packets.size() / 2; ++pushed) ring.Push(packets[pushed]);
  const RingContent content = ring.Content();
  const Clip before = CutClip(content);
  for (; pushed < packets.size(); ++pushed) ring.Push(packets[pushed]);
  ExpectSame(CutClip(content), before, {SilentPacket().begin(), SilentPacket().end()});
}

}  // namespace
}  // namespace open_gsdk
