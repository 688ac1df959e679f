// The ring when memory runs out, at each of the allocations that it makes. The program's own
// operator new is in here.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <vector>

#include "open_gsdk/replay/clip_cut.h"
#include "open_gsdk/replay/packet_ring.h"
#include "tests/open_gsdk/packets.h"

namespace {

// How many allocations of this thread still succeed; none fails below 0.
thread_local int allocations_left = -1;

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  if (allocations_left == 0) return nullptr;
  if (allocations_left > 0) --allocations_left;
  return std::malloc(size == 0 ? 1 : size);
}
void* operator new(std::size_t size) {
  void* const memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace open_gsdk {
namespace {

// Whether `call` failed when only so many allocations succeed.
bool FailsAfter(int allocations, const std::function<void()>& call) {
  allocations_left = allocations;
  try {
    call();
  } catch (const std::bad_alloc&) {
    allocations_left = -1;
    return true;
  }
  allocations_left = -1;
  return false;
}

constexpr std::size_t kPictureSize = 30'000;

// All that a ring does with a packet: its first, one that goes on, key frames, other streams.
std::vector<EncodedPacket> Recording() {
  const auto streams = TestStreams();
  auto larger = TestStreams();
  larger->video.width = 128;
  auto other = TestStreams();
  other->audio.pop_back();
  std::vector<EncodedPacket> packets;
  for (int part = 0; part < 3; ++part) {
    const std::shared_ptr<const StreamSet> set = part == 0 ? streams : part == 1 ? larger : other;
    for (int number = 0; number < 30; ++number) {
      const int time_ms = part * 3000 + number * 100;
      EncodedPacket sound = TestSound(set, 0, 0, time_ms * kMs);
      sound.dropped_ns = number % 7 * kMs;
      packets.push_back(sound);
      EncodedPacket picture =
          TestPicture(set, time_ms, number % 10 == 0, std::vector<std::uint8_t>(kPictureSize));
      picture.dropped_ns = number % 5 * kMs;
      packets.push_back(picture);
    }
  }
  return packets;
}

std::size_t CountPackets(const RingContent& content) {
  std::size_t count = 0;
  for (const auto& segment : content.segments) count += StoredPackets(*segment).size();
  return count;
}

// That a clip of the ring's content can be shown.
void ExpectConsistent(const PacketRing& ring) {
  const RingContent content = ring.Content();
  const Clip clip = CutClip(content);
  bool first = true;
  for (const ClipPacket& packet : clip.packets) {
    if (packet.stream != 0) continue;
    ASSERT_TRUE(packet.key_frame || !first);
    first = false;
    ASSERT_EQ(packet.Size(), kPictureSize);
    ASSERT_GT(packet.duration_ns, 0);
  }
  ASSERT_LE(content.segments.size(), 12u);
}

TEST(OutOfMemory, APacketThatFailsIsLeftOutAndTheRestIsAsBefore) {
  const std::vector<EncodedPacket> recording = Recording();
  for (std::size_t failing = 0; failing < recording.size(); ++failing) {
    for (int allocations = 0;; ++allocations) {
      SCOPED_TRACE(testing::Message() << "packet " << failing << ", allocation " << allocations);
      PacketRing ring;
      ring.SetDuration(5000 * kMs);
      for (std::size_t number = 0; number < failing; ++number) ring.Push(recording[number]);
      const Clip before = CutClip(ring.Content());
      const std::size_t packets = CountPackets(ring.Content());
      const bool failed = FailsAfter(allocations, [&] { ring.Push(recording[failing]); });
      if (failed) {
        const Clip after = CutClip(ring.Content());
        ASSERT_EQ(after.packets.size(), before.packets.size());
        ASSERT_EQ(after.duration_ns, before.duration_ns);
        ASSERT_EQ(CountPackets(ring.Content()), packets);
        ASSERT_EQ(after.streams, before.streams);
      }
      for (std::size_t number = failing + 1; number < recording.size(); ++number) {
        ring.Push(recording[number]);
      }
      ExpectConsistent(ring);
      if (!failed) break;
    }
    if (HasFatalFailure()) return;
  }
}

TEST(OutOfMemory, LostPicturesAreCountedWithThoseThatNeedThem) {
  const auto streams = SilentTestStreams();
  PacketRing ring;
  ring.SetDuration(5000 * kMs);
  for (int picture = 0; picture < 25; ++picture) {
    const EncodedPacket packet = TestPicture(streams, picture * 100, picture % 10 == 0);
    if (picture == 13) {
      EncodedPacket large = packet;
      large.data.resize(2 * kBlockSize);
      EXPECT_TRUE(FailsAfter(0, [&] { ring.Push(large); }));
    } else {
      ring.Push(packet);
    }
  }
  const Clip clip = CutClip(ring.Content());
  EXPECT_EQ(clip.packets.size(), 18u);
  EXPECT_EQ(clip.packets[12].duration_ns, 800 * kMs);
  EXPECT_EQ(clip.video_drop_ns, 700 * kMs);
  EXPECT_EQ(clip.duration_ns, 2500 * kMs);
}

TEST(OutOfMemory, AClipThatCannotBeCutLeavesTheRingAsItIs) {
  PacketRing ring;
  ring.SetDuration(5000 * kMs);
  for (const EncodedPacket& packet : Recording()) ring.Push(packet);
  const std::size_t packets = CutClip(ring.Content()).packets.size();
  for (int allocations = 0;; ++allocations) {
    std::size_t size = 0;
    if (!FailsAfter(allocations, [&] { size = CutClip(ring.Content()).packets.size(); })) {
      EXPECT_EQ(size, packets);
      EXPECT_GT(allocations, 5);
      break;
    }
  }
  EXPECT_EQ(CutClip(ring.Content()).packets.size(), packets);
}

}  // namespace
}  // namespace open_gsdk
