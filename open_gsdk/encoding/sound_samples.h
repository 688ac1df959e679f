// Sound as devices give it, and as the encoder takes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace open_gsdk {

enum class SampleKind { kFloat32, kInt16, kInt24, kInt32 };

struct SoundFormat {
  int sample_rate = 0;
  int channels = 0;
  std::uint64_t channel_mask = 0;  // one bit for each speaker, as Windows numbers them; 0: usual
  SampleKind kind = SampleKind::kFloat32;

  bool operator==(const SoundFormat&) const = default;
};

// The bytes of one sample of one channel.
inline std::size_t SampleBytes(SampleKind kind) {
  switch (kind) {
    case SampleKind::kInt16:
      return 2;
    case SampleKind::kInt24:
      return 3;
    default:
      return 4;
  }
}

// The bytes of one sample of all channels.
inline std::size_t FrameBytes(const SoundFormat& format) {
  return static_cast<std::size_t>(format.channels) * SampleBytes(format.kind);
}

// Two channels of equal length, at the rate of the track.
struct StereoSamples {
  std::vector<float> left{};
  std::vector<float> right{};

  [[nodiscard]] std::size_t size() const { return left.size(); }

  void AddSilence(std::size_t count) {
    left.resize(left.size() + count);
    right.resize(right.size() + count);
  }

  // Leaves out `count` samples from number `first` on; there are so many.
  void Remove(std::size_t first, std::size_t count) {
    const auto begin = static_cast<std::ptrdiff_t>(first);
    const auto end = static_cast<std::ptrdiff_t>(first + count);
    left.erase(left.begin() + begin, left.begin() + end);
    right.erase(right.begin() + begin, right.begin() + end);
  }
};

}  // namespace open_gsdk
