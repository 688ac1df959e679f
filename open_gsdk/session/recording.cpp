#include "open_gsdk/session/recording.h"

#include <cstdint>
#include <thread>
#include <utility>

#include "open_gsdk/session/own_thread.h"
#include "open_gsdk/support/library_log.h"
#include "open_gsdk/support/steady_time.h"

namespace open_gsdk {
namespace {

std::vector<std::unique_ptr<SoundPipeline>> OpenTracks(const SessionProperties& properties,
                                                       const std::vector<SoundBinding>& bindings) {
  std::vector<std::unique_ptr<SoundPipeline>> tracks;
  const AudioEncoding encoding = ChooseAudioEncoding(properties);
  for (const std::string& name : properties.tracks) {
    const bool bound = tracks.size() < bindings.size();
    const SoundBinding binding = bound ? bindings[tracks.size()] : SoundBinding{};
    tracks.push_back(std::make_unique<SoundPipeline>(name, encoding, binding.direction));
    tracks.back()->Bind(binding.device_id);
  }
  return tracks;
}

std::vector<AudioFormat> Formats(const std::vector<std::unique_ptr<SoundPipeline>>& tracks) {
  std::vector<AudioFormat> formats;
  formats.reserve(tracks.size());
  for (const auto& track : tracks) formats.push_back(track->format());
  return formats;
}

// What ended a recording is logged too.
PacketSink::ErrorCallback Logged(const PacketSink::ErrorCallback& on_error) {
  return [on_error](ErrorCode code, const std::string& message) {
    Log(LogLevel::kError, message);
    if (on_error) on_error(code, message);
  };
}

}  // namespace

Recording::Recording(const SessionProperties& properties, const VideoSource& source,
                     const std::vector<SoundBinding>& bindings, RecordingParts parts)
    : video_({std::move(parts.pictures), std::move(parts.encoders),
              [properties](Size size) { return ChooseVideoEncoding(properties, size); }},
             source, SourceSize(source)),
      sound_(OpenTracks(properties, bindings)),
      sink_(Formats(sound_), properties.on_packet, Logged(properties.on_error)) {
  const VideoEncoding& encoding = video_.encoding();
  Log(LogLevel::kInfo,
      "recording " + DescribeSource(source) + " at " + std::to_string(encoding.size.width) + "x" +
          std::to_string(encoding.size.height) + ", " + std::to_string(encoding.frame_rate) +
          " frames per second, quality " + std::to_string(encoding.crf) +
          ", sound tracks: " + std::to_string(sound_.size()));
}

Recording::~Recording() {
  // Before the sink goes into which they push.
  sink_.Close();
  video_.Stop();
  sound_.clear();
}

void Recording::Start() {
  const std::int64_t start_ns = SteadyNowNs();
  for (std::size_t track = 0; track < sound_.size(); ++track) {
    sound_[track]->Start(start_ns, [this, track](SoundPacket packet) {
      sink_.Push({.streams = nullptr,
                  .stream = 1 + track,
                  .key_frame = true,
                  .time_ns = packet.time_ns,
                  .duration_ns = packet.duration_ns,
                  .dropped_ns = packet.dropped_ns,
                  .data = std::move(packet.data)});
    });
  }
  video_.Start(start_ns, sink_);
}

void Recording::Stop() {
  sink_.Close();
  if (IsOwnThread()) {
    // A thread of the library can't wait for itself, so another one waits for it.
    std::thread([self = shared_from_this()] { self->EndThreads(); }).detach();
  } else {
    EndThreads();
  }
}

void Recording::BindSound(std::size_t track, const std::string& device_id) {
  if (track < sound_.size()) sound_[track]->Bind(device_id);
}

void Recording::EndThreads() {
  video_.Stop();
  for (const auto& track : sound_) track->Stop();
  Log(LogLevel::kInfo, "recording ended: " + video_.Figures());
}

}  // namespace open_gsdk
