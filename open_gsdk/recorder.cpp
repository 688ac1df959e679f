#include "open_gsdk/recorder.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "open_gsdk/clip.h"
#include "open_gsdk/clip_file.h"
#include "open_gsdk/library_log.h"

namespace open_gsdk {

void Recorder::SetDuration(std::uint32_t milliseconds) {
  const std::lock_guard lock(mutex_);
  ring_.SetDuration(std::int64_t{milliseconds} * 1'000'000);
}

void Recorder::Push(SharedPacket packet) {
  const std::lock_guard lock(mutex_);
  ring_.Push(std::move(packet));
}

gsdk_dump_result Recorder::Dump(const std::string& path) {
  std::vector<SharedPacket> packets;
  {
    const std::lock_guard lock(mutex_);
    packets = ring_.Packets();
  }
  const Clip clip = CutClip(std::move(packets));
  gsdk_dump_result result{};
  result.status = static_cast<std::int32_t>(WriteClipFile(clip, path));
  if (result.status != 0) {
    Log(LogLevel::kWarning,
        "dump to " + path + " failed with status " + std::to_string(result.status));
    return result;
  }
  result.duration = clip.duration_ns;
  result.last_timestamp = clip.last_timestamp_ns;
  result.audio_drop = clip.audio_drop_ns;
  result.video_drop = clip.video_drop_ns;
  return result;
}

}  // namespace open_gsdk
