#include "open_gsdk/replay/recorder.h"

#include "open_gsdk/replay/clip_cut.h"
#include "open_gsdk/replay/h264_units.h"

namespace open_gsdk {

void Recorder::SetDuration(std::uint32_t milliseconds) {
  const std::lock_guard lock(mutex_);
  ring_.SetDuration(std::int64_t{milliseconds} * 1'000'000);
}

void Recorder::Push(const EncodedPacket& packet) {
  if (!packet.IsVideo()) {
    const std::lock_guard lock(mutex_);
    ring_.Push(packet);
    return;
  }
  // In the form that it has in a file, so that a dump need not look at the bytes.
  const EncodedPacket stored{.streams = packet.streams,
                             .stream = packet.stream,
                             .key_frame = packet.key_frame,
                             .time_ns = packet.time_ns,
                             .duration_ns = packet.duration_ns,
                             .dropped_ns = packet.dropped_ns,
                             .data = UnitsWithLengths(packet.data)};
  const std::lock_guard lock(mutex_);
  ring_.Push(stored);
}

gsdk_dump_result Recorder::Dump(const std::function<DumpStatus(const Clip&)>& write) {
  RingContent content;
  {
    const std::lock_guard lock(mutex_);
    content = ring_.Content();
  }
  const Clip clip = CutClip(content);
  gsdk_dump_result result{};
  const DumpStatus status = clip.packets.empty() ? DumpStatus::kEmpty : write(clip);
  result.status = static_cast<std::int32_t>(status);
  if (status != DumpStatus::kSuccess) return result;
  result.duration = clip.duration_ns;
  result.last_timestamp = clip.last_timestamp_ns;
  result.audio_drop = clip.audio_drop_ns;
  result.video_drop = clip.video_drop_ns;
  result.captured_from_hdr = clip.streams->video.from_hdr ? 1 : 0;
  return result;
}

}  // namespace open_gsdk
