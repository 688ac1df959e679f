#include "open_gsdk/replay/clip_cut.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <tuple>
#include <unordered_map>
#include <utility>
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
  const PacketSegment* segment;
  std::size_t number;  // in the segment

  [[nodiscard]] const StoredPacket& stored() const { return segment->packets()[number]; }
};

std::vector<Picture> Pictures(const RingContent& content) {
  std::vector<Picture> pictures;
  for (const auto& segment : content.segments) {
    if (!segment->HasKeyFrame() || segment->streams() != content.streams) continue;
    for (std::size_t number = 0; number < segment->packets().size(); ++number) {
      if (segment->packets()[number].stream == 0) pictures.push_back({segment.get(), number});
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
  const StoredPacket& latest = pictures.back().stored();
  const std::int64_t latest_end_ns = latest.time_ns + latest.duration_ns;
  const std::int64_t sound_end_ns = SoundEndNs(content.ends_ns, frame_rate);
  if (sound_end_ns >= latest_end_ns) {
    if (sound_end_ns - latest_end_ns < kStandsStillNs) return latest_end_ns;
    const std::int64_t still_ns = std::min(sound_end_ns - latest.time_ns, kLongestStillNs);
    return latest.time_ns + StepsNs(WholeSteps(still_ns, frame_rate), frame_rate);
  }
  while (pictures.size() > 1 &&
         WholeSteps(sound_end_ns - pictures.back().stored().time_ns, frame_rate) < 1) {
    pictures.pop_back();
  }
  const StoredPacket& last = pictures.back().stored();
  const std::int64_t steps =
      std::max<std::int64_t>(WholeSteps(sound_end_ns - last.time_ns, frame_rate), 1);
  return last.time_ns + StepsNs(steps, frame_rate);
}

// Leaves out the pictures before the key frame with which the clip begins.
void CutStart(std::vector<Picture>& pictures, std::int64_t end_ns, std::int64_t duration_ns) {
  const auto start = std::find_if(pictures.rbegin(), pictures.rend(), [&](const Picture& picture) {
    return picture.stored().key_frame &&
           end_ns - picture.stored().time_ns >= duration_ns - kRoundingNs;
  });
  if (start != pictures.rend()) pictures.erase(pictures.begin(), std::prev(start.base()));
}

// Adds the pictures to the clip.
void AddPictures(const std::vector<Picture>& pictures, std::int64_t end_ns, Clip& clip) {
  for (std::size_t index = 0; index < pictures.size(); ++index) {
    const StoredPacket& stored = pictures[index].stored();
    const std::int64_t next_ns =
        index + 1 < pictures.size() ? pictures[index + 1].stored().time_ns : end_ns;
    clip.packets.push_back({.stream = 0,
                            .key_frame = stored.key_frame,
                            .time_ns = stored.time_ns - clip.start_ns,
                            .duration_ns = next_ns - stored.time_ns,
                            .segment = pictures[index].segment,
                            .stored = &stored});
    // What was lost before the clip's first picture is not missing from the clip.
    if (index > 0) {
      clip.video_drop_ns += pictures[index].segment->DroppedBefore(pictures[index].number);
    }
  }
}

// Packets that stand for missing sound go with the one before them of their track.
void SortByArrival(Clip& clip) {
  std::unordered_map<const PacketSegment*, std::size_t> segments;
  for (const auto& segment : clip.segments) segments.emplace(segment.get(), segments.size());
  // The segment, the packet in it, and the place in the clip so far.
  using Arrival = std::tuple<std::size_t, std::ptrdiff_t, std::size_t>;
  std::vector<Arrival> arrivals;
  arrivals.reserve(clip.packets.size());
  for (const ClipPacket& packet : clip.packets) {
    const std::size_t place = arrivals.size();
    if (packet.stored != nullptr) {
      arrivals.emplace_back(segments.at(packet.segment),
                            packet.stored - packet.segment->packets().data(), place);
    } else if (place > 0 && clip.packets[place - 1].stream == packet.stream) {
      arrivals.emplace_back(std::get<0>(arrivals.back()), std::get<1>(arrivals.back()), place);
    } else {
      arrivals.emplace_back(0, 0, place);
    }
  }
  std::sort(arrivals.begin(), arrivals.end());
  std::vector<ClipPacket> sorted;
  sorted.reserve(clip.packets.size());
  for (const Arrival& arrival : arrivals) sorted.push_back(clip.packets[std::get<2>(arrival)]);
  clip.packets = std::move(sorted);
}

}  // namespace

Clip CutClip(const RingContent& content) {
  Clip clip;
  clip.streams = content.streams;
  std::vector<Picture> pictures = Pictures(content);
  if (pictures.empty()) return clip;
  clip.segments = content.segments;
  const std::int64_t end_ns = CutEnd(pictures, content);
  CutStart(pictures, end_ns, content.duration_ns);
  clip.start_ns = pictures.front().stored().time_ns;
  clip.duration_ns = OnGrid(end_ns - clip.start_ns, std::max(content.streams->video.frame_rate, 1));
  clip.memory_limited = content.memory_limited && clip.duration_ns < content.duration_ns;

  AddPictures(pictures, end_ns, clip);
  for (std::size_t track = 0; track < content.streams->audio.size(); ++track) {
    AddSound(track, clip);
  }
  SortByArrival(clip);
  for (const ClipPacket& packet : clip.packets) {
    clip.last_timestamp_ns = std::max(clip.last_timestamp_ns, clip.start_ns + packet.time_ns);
  }
  return clip;
}

}  // namespace open_gsdk
