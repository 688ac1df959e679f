#include "open_gsdk/replay/packet_segment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "open_gsdk/replay/clip.h"
#include "tests/open_gsdk/packets.h"

namespace open_gsdk {
namespace {

std::vector<std::span<const std::uint8_t>> Pieces(const PacketSegment& segment,
                                                  std::size_t number) {
  std::vector<std::span<const std::uint8_t>> pieces;
  segment.AddPieces(StoredPackets(segment)[number].bytes, pieces);
  return pieces;
}

std::vector<std::uint8_t> BytesAt(const PacketSegment& segment, std::size_t number) {
  return Joined(Pieces(segment, number));
}

// That the segment holds these packets, in this order.
void ExpectPackets(const PacketSegment& segment, const std::vector<EncodedPacket>& expected) {
  const std::vector<StoredPacket> stored = StoredPackets(segment);
  ASSERT_EQ(stored.size(), expected.size());
  for (std::size_t number = 0; number < stored.size(); ++number) {
    SCOPED_TRACE(number);
    EXPECT_EQ(stored[number].stream, expected[number].stream);
    EXPECT_EQ(stored[number].key_frame, expected[number].key_frame);
    EXPECT_EQ(stored[number].time_ns, expected[number].time_ns);
    EXPECT_EQ(stored[number].duration_ns, expected[number].duration_ns);
    EXPECT_EQ(stored[number].dropped_ns, expected[number].dropped_ns);
    EXPECT_EQ(BytesOf(stored[number].bytes), expected[number].data);
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
    EXPECT_EQ(BytesAt(segment, number), Bytes(sizes[number], static_cast<std::uint8_t>(number)))
        << number;
  }
}

TEST(PacketSegment, GoesOnInTheLastBlockOfTheOneBefore) {
  const auto streams = TestStreams();
  PacketSegment first(streams, nullptr);
  first.Append(TestPicture(streams, 0, true, Bytes(100, 1)), 0);
  PacketSegment second(streams, &first);
  second.Append(TestPicture(streams, 100, true, Bytes(kBlockSize, 2)), 0);
  EXPECT_EQ(BytesAt(first, 0), Bytes(100, 1));
  EXPECT_EQ(BytesAt(second, 0), Bytes(kBlockSize, 2));
  PacketSegment third(streams, &first);
  third.Append(TestPicture(streams, 300, false, Bytes(10, 4)), 0);
  EXPECT_EQ(Pieces(third, 0).front().data(), Pieces(first, 0).back().data() + 100);
}

TEST(PacketSegment, GivesEachPacketAsItCame) {
  constexpr std::int64_t kLongest = std::numeric_limits<std::int64_t>::max() / 4;
  const auto streams = TestStreams();
  std::vector<EncodedPacket> packets;
  // Steps of all sizes, forward and back, also where numbers take one more byte.
  std::int64_t time_ns = 0;
  for (std::int64_t step = 1; step < kLongest; step = step * 2 + 1) {
    for (const std::int64_t length : {step, step - 1, -step, std::int64_t{0}}) {
      time_ns = length;
      for (std::size_t stream : {0U, 1U, 15U, 16U, 300U}) {
        packets.push_back({.streams = streams,
                           .stream = stream,
                           .key_frame = packets.size() % 3 == 0,
                           .time_ns = time_ns,
                           .duration_ns = std::abs(length) / 3,
                           .dropped_ns = packets.size() % 5 == 0 ? step : 0,
                           .data = Bytes(packets.size() % 7 * 60, 1)});
        time_ns += packets.back().duration_ns;
      }
    }
  }
  PacketSegment segment(streams, nullptr);
  for (const EncodedPacket& packet : packets) segment.Append(packet, packet.dropped_ns);
  ExpectPackets(segment, packets);
  EXPECT_EQ(segment.StartNs(), packets.front().time_ns);
  std::int64_t end_ns = packets.front().time_ns;
  for (const EncodedPacket& packet : packets) {
    end_ns = std::max(end_ns, packet.time_ns + packet.duration_ns);
  }
  EXPECT_EQ(segment.EndNs(), end_ns);

  segment.Close();
  ExpectPackets(segment, packets);
  const PacketSegment copy = segment;
  ExpectPackets(copy, packets);
}

TEST(PacketSegment, CountsItsPacketsWithEntriesOfAFewBytes) {
  const auto streams = TestStreams();
  PacketSegment segment(streams, nullptr);
  // The stream, the time, the duration of a tenth of a second and a size above 127.
  segment.Append(TestPicture(streams, 0, true, Bytes(1000, 0)), 0);
  EXPECT_EQ(segment.SizeInMemory(), 1000u + 1 + 1 + 4 + 2);
  // It joins on to the one before and is as long.
  segment.Append(TestPicture(streams, 100, false, Bytes(100, 0)), 0);
  EXPECT_EQ(segment.SizeInMemory(), 1100u + 8 + 4);
}

TEST(PacketSegment, KeepsRepeatedSoundOnceWithAnEntryOfThreeBytes) {
  const auto streams = TestStreams();
  const std::vector<std::uint8_t> silence(SilentPacket().begin(), SilentPacket().end());
  PacketSegment segment(streams, nullptr);
  std::vector<EncodedPacket> packets;
  const auto append = [&](EncodedPacket packet) {
    const std::size_t before = segment.SizeInMemory();
    segment.Append(packet, packet.dropped_ns);
    packets.push_back(std::move(packet));
    return segment.SizeInMemory() - before;
  };
  append(TestPicture(streams, 0, true, silence));
  append(TestSound(streams, 0, 0, 0, silence));
  append(TestSound(streams, 1, 0, 0, silence));
  EXPECT_EQ(append(TestSound(streams, 0, 1, 0, silence)), 3u);
  EXPECT_EQ(append(TestSound(streams, 1, 1, 0, silence)), 3u);
  // Other bytes of the same size, and others than those of the packet before.
  EXPECT_EQ(append(TestSound(streams, 0, 2, 0, Bytes(6, 0x21))), 6u + 4);
  EXPECT_EQ(append(TestSound(streams, 0, 3, 0, silence)), 6u + 4);
  EXPECT_EQ(append(TestSound(streams, 0, 4, 0, silence)), 3u);
  const std::vector<std::uint8_t> beginning(silence.begin(), silence.end() - 1);
  EXPECT_EQ(append(TestSound(streams, 0, 5, 0, beginning)), 5u + 4);
  // What was lost takes nothing from it, nor does a gap.
  EncodedPacket late = TestSound(streams, 1, 9, 0, silence);
  late.dropped_ns = SoundNs(7);
  EXPECT_EQ(append(late), 3u + 4 + 5);
  // Pictures are always kept.
  EXPECT_EQ(append(TestPicture(streams, 100, true, silence)), 6u + 4);
  EXPECT_EQ(append(TestSound(streams, 1, 10, 0, {})), 4u);
  EXPECT_EQ(append(TestSound(streams, 1, 11, 0, {})), 3u);
  ExpectPackets(segment, packets);
}

TEST(PacketSegment, FindsRepeatedSoundThatLiesInTwoBlocks) {
  const auto streams = TestStreams();
  PacketSegment segment(streams, nullptr);
  const EncodedPacket filler = TestPicture(streams, 0, true, Bytes(kBlockSize - 2, 0));
  EncodedPacket other = TestSound(streams, 0, 2, 0, Bytes(6, 1));
  other.data.back() = 99;
  const std::vector<EncodedPacket> packets = {filler, TestSound(streams, 0, 0, 0, Bytes(6, 1)),
                                              TestSound(streams, 0, 1, 0, Bytes(6, 1)), other};
  for (const EncodedPacket& packet : packets) segment.Append(packet, 0);
  ExpectPackets(segment, packets);
  EXPECT_EQ(StoredPackets(segment)[2].bytes, StoredPackets(segment)[1].bytes);
  EXPECT_NE(StoredPackets(segment)[3].bytes, StoredPackets(segment)[2].bytes);
}

TEST(PacketSegment, KnowsWhatWasLostBeforeEachPacket) {
  const auto streams = TestStreams();
  PacketSegment segment(streams, nullptr);
  const std::int64_t lost_ns[] = {0, 7, -7, 7};
  for (const std::int64_t lost : lost_ns) {
    segment.Append(TestPicture(streams, 0, true), lost);
  }
  const std::vector<StoredPacket> packets = StoredPackets(segment);
  EXPECT_EQ(packets[0].dropped_ns, 0);
  EXPECT_EQ(packets[1].dropped_ns, 7);
  EXPECT_EQ(packets[2].dropped_ns, 0);
  EXPECT_EQ(packets[3].dropped_ns, 7);
}

}  // namespace
}  // namespace open_gsdk
