#include "open_gsdk/replay/clip_cut.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <vector>

#include "open_gsdk/replay/clip_sound.h"

namespace open_gsdk {
namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;
// Pictures at a constant rate come sooner after each other, also from an encoder that is late.
constexpr std::int64_t kStandsStillNs = kNsPerSecond / 4;
// A source that has nothing new gives a picture a second; without any for longer it is the source
// that is at fault.
constexpr std::int64_t kLongestStillNs = kNsPerSecond * 3 / 2;
// Times on the grid of the frame rate are off by their rounding to nanoseconds.
constexpr std::int64_t kRoundingNs = 1000;

struct Picture {
  const StoredPacket* packet;
  std::size_t arrival;  // its number in the buffer

  [[nodiscard]] const StoredPacket* operator->() const { return packet; }
};

// Those that can be decoded.
std::vector<Picture> Pictures(const std::vector<StoredPacket>& packets,
                              const std::shared_ptr<const StreamSet>& streams) {
  std::vector<Picture> pictures;
  for (std::size_t arrival = 0; arrival < packets.size(); ++arrival) {
    const PacketSegment& segment = *packets[arrival].bytes.segment;
    if (packets[arrival].stream == 0 && segment.HasKeyFrame() && segment.streams() == streams) {
      pictures.push_back({&packets[arrival], arrival});
    }
  }
  return pictures;
}

// The length of `steps` of the frame rate.
std::int64_t StepsNs(std::int64_t steps, int frame_rate) {
  return steps * kNsPerSecond / frame_rate;
}

// How many whole steps of the frame rate fit into `length_ns`.
std::int64_t WholeSteps(std::int64_t length_ns, int frame_rate) {
  return (length_ns + kRoundingNs) * frame_rate / kNsPerSecond;
}

// A length between two times on the grid without what their rounding took from it.
std::int64_t OnGrid(std::int64_t length_ns, int frame_rate) {
  const std::int64_t steps_ns = StepsNs(WholeSteps(length_ns, frame_rate), frame_rate);
  return std::abs(length_ns - steps_ns) <= kRoundingNs ? steps_ns : length_ns;
}

// Leaves out the pictures beyond the end of the sound; returns where the last one ends.
std::int64_t CutEnd(std::vector<Picture>& pictures, const RingContent& content) {
  const int frame_rate = std::max(content.streams->video.frame_rate, 1);
  const StoredPacket& latest = *pictures.back().packet;
  const std::int64_t latest_end_ns = latest.time_ns + latest.duration_ns;
  const std::int64_t sound_end_ns = SoundEndNs(content.ends_ns, frame_rate);
  if (sound_end_ns >= latest_end_ns) {
    if (sound_end_ns - latest_end_ns < kStandsStillNs) return latest_end_ns;
    const std::int64_t still_ns = std::min(sound_end_ns - latest.time_ns, kLongestStillNs);
    return latest.time_ns + StepsNs(WholeSteps(still_ns, frame_rate), frame_rate);
  }
  while (pictures.size() > 1 &&
         WholeSteps(sound_end_ns - pictures.back()->time_ns, frame_rate) < 1) {
    pictures.pop_back();
  }
  const StoredPacket& last = *pictures.back().packet;
  const std::int64_t steps =
      std::max<std::int64_t>(WholeSteps(sound_end_ns - last.time_ns, frame_rate), 1);
  return last.time_ns + StepsNs(steps, frame_rate);
}

// Leaves out the pictures before the key frame with which the clip begins.
void CutStart(std::vector<Picture>& pictures, std::int64_t end_ns, std::int64_t duration_ns) {
  const auto start = std::find_if(pictures.rbegin(), pictures.rend(), [&](const Picture& picture) {
    return picture->key_frame && end_ns - picture->time_ns >= duration_ns - kRoundingNs;
  });
  if (start != pictures.rend()) pictures.erase(pictures.begin(), std::prev(start.base()));
}

// Adds the pictures to the clip.
void AddPictures(const std::vector<Picture>& pictures, std::int64_t end_ns, Clip& clip) {
  for (std::size_t index = 0; index < pictures.size(); ++index) {
    const StoredPacket& picture = *pictures[index].packet;
    const std::int64_t next_ns =
        index + 1 < pictures.size() ? pictures[index + 1]->time_ns : end_ns;
    clip.packets.push_back({.stream = 0,
                            .key_frame = picture.key_frame,
                            .time_ns = picture.time_ns - clip.start_ns,
                            .duration_ns = next_ns - picture.time_ns,
                            .stored = picture.bytes,
                            .arrival = pictures[index].arrival});
    // What was lost before the clip's first picture is not missing from the clip.
    if (index > 0) clip.video_drop_ns += picture.dropped_ns;
  }
}

}  // namespace

Clip CutClip(const RingContent& content) {
  Clip clip;
  clip.streams = content.streams;
  std::vector<StoredPacket> packets;
  for (const auto& segment : content.segments) segment->AddPackets(packets);
  std::vector<Picture> pictures = Pictures(packets, content.streams);
  if (pictures.empty()) return clip;
  clip.segments = content.segments;
  const std::int64_t end_ns = CutEnd(pictures, content);
  CutStart(pictures, end_ns, content.duration_ns);
  clip.start_ns = pictures.front()->time_ns;
  clip.duration_ns = OnGrid(end_ns - clip.start_ns, std::max(content.streams->video.frame_rate, 1));
  clip.memory_limited = content.memory_limited && clip.duration_ns < content.duration_ns;

  AddPictures(pictures, end_ns, clip);
  for (std::size_t track = 0; track < content.streams->audio.size(); ++track) {
    AddSound(track, packets, clip);
  }
  // Silence that stands for missing sound goes with the packet before it of its track.
  std::stable_sort(
      clip.packets.begin(), clip.packets.end(),
      [](const ClipPacket& one, const ClipPacket& other) { return one.arrival < other.arrival; });
  for (const ClipPacket& packet : clip.packets) {
    clip.last_timestamp_ns = std::max(clip.last_timestamp_ns, clip.start_ns + packet.time_ns);
  }
  return clip;
}

}  // namespace open_gsdk
