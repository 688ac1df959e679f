#include "open_gsdk/replay/clip_sound.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <vector>

namespace open_gsdk {
namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;

struct Sound {
  const StoredPacket* packet;
  std::size_t arrival;    // its number in the buffer
  std::int64_t position;  // of the first sample, counted from the clip's first picture on
};

std::int64_t Divide(std::int64_t dividend, std::int64_t divisor) {
  const std::int64_t half = dividend < 0 ? -divisor / 2 : divisor / 2;
  return (dividend + half) / divisor;
}

// Rounded to the nearest. Clips are so short that nothing overflows (at 96 kHz over a day).
std::int64_t SamplesOf(std::int64_t time_ns, std::int64_t rate) {
  return Divide(time_ns * rate, kNsPerSecond);
}
std::int64_t TimeOf(std::int64_t samples, std::int64_t rate) {
  return Divide(samples * kNsPerSecond, rate);
}

// The packets of the track that are heard in a clip that begins at `start_ns` and has `end`
// samples, and the one before them, which the decoder needs.
std::vector<Sound> Select(std::span<const StoredPacket> packets, std::size_t stream,
                          std::int64_t start_ns, std::int64_t rate, std::int64_t end) {
  std::vector<Sound> sounds;
  for (std::size_t arrival = 0; arrival < packets.size(); ++arrival) {
    if (packets[arrival].stream != stream) continue;
    const std::int64_t position = SamplesOf(packets[arrival].time_ns - start_ns, rate);
    if (position < end) sounds.push_back({&packets[arrival], arrival, position});
  }
  auto begin = std::find_if(sounds.begin(), sounds.end(), [](const Sound& sound) {
    return sound.position + kSamplesPerPacket > 0;
  });
  if (begin != sounds.begin() && begin != sounds.end() &&
      begin->position - std::prev(begin)->position < std::int64_t{2} * kSamplesPerPacket) {
    --begin;
  }
  sounds.erase(sounds.begin(), begin);
  return sounds;
}

// Adds packets end to end, from the position at which it is told to begin.
struct Track {
  Clip& clip;
  std::size_t stream;
  std::int64_t rate;
  std::int64_t end;       // of the clip, as a position
  std::int64_t position;  // of the next packet
  std::size_t arrival;    // of the last packet that is not silence

  void Add(const Sound* sound) {
    ClipPacket packet{.stream = stream, .key_frame = true};
    const std::int64_t samples = std::min<std::int64_t>(kSamplesPerPacket, end - position);
    packet.time_ns = TimeOf(position, rate);
    packet.duration_ns = TimeOf(position + samples, rate) - packet.time_ns;
    if (sound != nullptr) {
      packet.stored = sound->packet->bytes;
      arrival = sound->arrival;
    }
    packet.arrival = arrival;
    clip.packets.push_back(packet);
    position += kSamplesPerPacket;
  }

  // Returns how many samples it added: whole packets, and none beyond `until`.
  std::int64_t AddSilenceUntil(std::int64_t until) {
    const std::int64_t begin = position;
    while (until - position >= kSamplesPerPacket) Add(nullptr);
    return position - begin;
  }
};

}  // namespace

void AddSound(std::size_t track_number, std::span<const StoredPacket> packets, Clip& clip) {
  const std::int64_t rate = clip.streams->audio[track_number].sample_rate;
  if (rate <= 0) return;
  const std::int64_t end = SamplesOf(clip.duration_ns, rate);
  const std::vector<Sound> sounds = Select(packets, 1 + track_number, clip.start_ns, rate, end);
  Track track{clip, 1 + track_number, rate, end, 0, 0};
  if (!sounds.empty()) {
    // Sound that begins later has silence before it in whole packets, too.
    const std::int64_t first = sounds.front().position;
    const std::int64_t before = first > 0 ? (first + kSamplesPerPacket - 1) / kSamplesPerPacket : 0;
    track.position = first - before * kSamplesPerPacket;
    track.AddSilenceUntil(first);
  }
  std::int64_t dropped_ns = 0;
  for (const Sound& sound : sounds) {
    if (track.position - sound.position >= kSamplesPerPacket) continue;
    const std::int64_t missing = track.AddSilenceUntil(sound.position);
    // What was lost before the clip's first picture is not missing from the clip.
    if (sound.position > 0) {
      dropped_ns += std::max(sound.packet->dropped_ns, TimeOf(missing, rate));
    }
    track.Add(&sound);
  }
  while (track.position < end) track.Add(nullptr);
  clip.audio_drop_ns = std::max(clip.audio_drop_ns, dropped_ns);
}

}  // namespace open_gsdk
