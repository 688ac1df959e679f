#include "open_gsdk/session/sound_pipeline.h"

#include <exception>
#include <utility>

#include "open_gsdk/session/own_thread.h"
#include "open_gsdk/session/steady_time.h"
#include "open_gsdk/support/library_log.h"

namespace open_gsdk {
namespace {

constexpr std::int64_t kIntervalNs = 20'000'000;  // about an AAC frame at 48 kHz

}  // namespace

SoundPipeline::SoundPipeline(const std::string& track, const AudioEncoding& encoding,
                             AudioDirection /*direction*/)
    : track_(track, encoding) {}

SoundPipeline::~SoundPipeline() { Stop(); }

void SoundPipeline::Bind(const std::string& /*device_id*/) {}

void SoundPipeline::Start(std::int64_t start_ns, std::function<void(SoundPacket)> deliver) {
  thread_ = StartOwnThread([this, start_ns, deliver = std::move(deliver)] {
    try {
      Run(start_ns, deliver);
    } catch (const std::exception& error) {
      Log(LogLevel::kError, "track \"" + track_.format().name + "\" ended: " + error.what());
    }
  });
}

void SoundPipeline::Stop() {
  timer_.Stop();
  if (thread_.joinable()) thread_.join();
}

void SoundPipeline::Run(std::int64_t start_ns, const std::function<void(SoundPacket)>& deliver) {
  track_.StartAt(start_ns);
  std::int64_t due_ns = start_ns;
  while (timer_.WaitUntil(SteadyPoint(due_ns))) {
    const std::int64_t now_ns = SteadyNowNs();
    track_.EncodeUntil(now_ns, [&](AudioTrack::Output output) {
      deliver({.time_ns = output.time_ns,
               .duration_ns = output.duration_ns,
               .dropped_ns = 0,
               .data = std::move(output.data)});
    });
    due_ns = now_ns + kIntervalNs;
  }
}

}  // namespace open_gsdk
