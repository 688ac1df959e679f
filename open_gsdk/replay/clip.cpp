#include "open_gsdk/replay/clip.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace open_gsdk {

Clip CutClip(std::vector<SharedPacket> packets) {
  Clip clip;
  if (packets.empty()) return clip;
  clip.start_ns = packets.front()->time_ns;
  std::erase_if(packets,
                [&](const SharedPacket& packet) { return packet->time_ns < clip.start_ns; });
  // Sound comes out of its encoder later than the picture of the same time.
  std::stable_sort(packets.begin(), packets.end(),
                   [](const SharedPacket& left, const SharedPacket& right) {
                     return left->time_ns != right->time_ns ? left->time_ns < right->time_ns
                                                            : left->stream < right->stream;
                   });
  clip.packets = std::move(packets);

  std::vector<std::int64_t> dropped(1 + clip.packets.front()->streams->audio.size());
  for (const SharedPacket& packet : clip.packets) {
    clip.duration_ns =
        std::max(clip.duration_ns, packet->time_ns + packet->duration_ns - clip.start_ns);
    // What was lost before the clip's first picture is not missing from the clip.
    if (packet->time_ns > clip.start_ns) dropped[packet->stream] += packet->dropped_ns;
  }
  clip.last_timestamp_ns = clip.packets.back()->time_ns;
  clip.video_drop_ns = dropped.front();
  dropped.front() = 0;
  clip.audio_drop_ns = *std::max_element(dropped.begin(), dropped.end());
  return clip;
}

}  // namespace open_gsdk
