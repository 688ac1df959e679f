// How the bytes of a clip get to its file.
#include "open_gsdk/replay/clip_muxer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "open_gsdk/replay/clip_cut.h"
#include "open_gsdk/replay/packet_ring.h"
#include "tests/open_gsdk/mp4_boxes.h"
#include "tests/open_gsdk/packets.h"

namespace open_gsdk {
namespace {

constexpr std::int64_t kSeconds = 60;
constexpr std::int64_t kPictures = 30;  // in a second
constexpr std::size_t kTracks = 3;

enum class Sound { kRepeated, kDifferent, kNone };

// A minute at 2 Mbit/s. The packets of sound have 6 bytes each.
Clip Minute(Sound kind) {
  PacketRing ring;
  ring.SetDuration(kSeconds * 1000 * kMs);
  const auto streams = DescribedStreams(640, 480, kPictures, kTracks);
  std::int64_t sound = 0;
  for (std::int64_t picture = 0; picture < kSeconds * kPictures; ++picture) {
    const bool key_frame = picture % kPictures == 0;
    std::vector<std::uint8_t> data =
        Bytes(key_frame ? 25'000 : 8'000, static_cast<std::uint8_t>(picture));
    EncodedPacket packet = TestPicture(streams, 0, key_frame, std::move(data));
    packet.time_ns = picture * 1'000'000'000 / kPictures;
    packet.duration_ns = (picture + 1) * 1'000'000'000 / kPictures - packet.time_ns;
    ring.Push(packet);
    for (; kind != Sound::kNone && SoundNs(sound) < packet.time_ns; ++sound) {
      for (std::size_t track = 0; track < kTracks; ++track) {
        const auto first = static_cast<std::uint8_t>(kind == Sound::kRepeated ? 0 : sound);
        ring.Push(TestSound(streams, track, sound, 0, Bytes(SilentPacket().size(), first)));
      }
    }
  }
  return CutClip(ring.Content());
}

struct WrittenFile {
  DumpStatus status = DumpStatus::kUnexpected;
  std::string content;
  int writes = 0;
};

WrittenFile Write(const Clip& clip) {
  WrittenFile file;
  file.status = WriteMp4(clip, [&](std::int64_t position, std::span<const std::uint8_t> bytes) {
    const auto begin = static_cast<std::size_t>(position);
    file.content.resize(std::max(file.content.size(), begin + bytes.size()));
    std::copy(bytes.begin(), bytes.end(),
              file.content.begin() + static_cast<std::ptrdiff_t>(begin));
    ++file.writes;
    return true;
  });
  return file;
}

std::string PacketsOf(const Clip& clip) {
  std::vector<std::span<const std::uint8_t>> pieces;
  for (const ClipPacket& packet : clip.packets) packet.AddPieces(pieces);
  const std::vector<std::uint8_t> bytes = Joined(pieces);
  return {bytes.begin(), bytes.end()};
}

TEST(ClipMuxer, WritesAllPacketsInTheirOrderAndInBlocksWhateverTheirSoundIs) {
  for (const Sound kind : {Sound::kRepeated, Sound::kDifferent, Sound::kNone}) {
    SCOPED_TRACE(static_cast<int>(kind));
    const Clip clip = Minute(kind);
    const WrittenFile file = Write(clip);
    ASSERT_EQ(file.status, DumpStatus::kSuccess);
    const std::vector<std::string_view> packets = FindMp4Boxes(file.content, {"mdat"});
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_TRUE(packets[0] == PacketsOf(clip));
    // Blocks of half a megabyte, the header, and what says at the end where it and the packets are.
    EXPECT_LE(file.writes, static_cast<int>(file.content.size() / kBlockSize) + 8);
  }
}

TEST(ClipMuxer, WritesRepeatedSoundAsItWritesOther) {
  const WrittenFile repeated = Write(Minute(Sound::kRepeated));
  const WrittenFile different = Write(Minute(Sound::kDifferent));
  ASSERT_EQ(repeated.content.size(), different.content.size());
  const std::vector<std::string> tables = {"stts", "stsc", "stsz", "stco"};
  for (const std::string& table : tables) {
    const std::vector<std::string> path = {"moov", "trak", "mdia", "minf", "stbl", table};
    EXPECT_EQ(FindMp4Boxes(repeated.content, path).size(), 1 + kTracks) << table;
    EXPECT_TRUE(FindMp4Boxes(repeated.content, path) == FindMp4Boxes(different.content, path))
        << table;
  }
  const std::vector<std::string> edits = {"moov", "trak", "edts", "elst"};
  EXPECT_EQ(FindMp4Boxes(repeated.content, edits).size(), 1 + kTracks);
  EXPECT_TRUE(FindMp4Boxes(repeated.content, edits) == FindMp4Boxes(different.content, edits));
}

TEST(ClipMuxer, SaysSoWhenAnyOfItsBytesCannotBeWritten) {
  const Clip clip = Minute(Sound::kRepeated);
  const int writes = Write(clip).writes;
  for (int failing = 1; failing <= writes; ++failing) {
    int calls = 0;
    const DumpStatus status = WriteMp4(
        clip, [&](std::int64_t, std::span<const std::uint8_t>) { return ++calls != failing; });
    EXPECT_EQ(status, DumpStatus::kCannotWrite) << failing;
    EXPECT_EQ(calls, failing);
  }
}

}  // namespace
}  // namespace open_gsdk
