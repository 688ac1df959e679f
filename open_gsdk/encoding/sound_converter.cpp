#include "open_gsdk/encoding/sound_converter.h"

#include <array>
#include <bit>
#include <new>

#include "open_gsdk/support/failure.h"

namespace open_gsdk {
namespace {

AVSampleFormat FormatOf(SampleKind kind) {
  switch (kind) {
    case SampleKind::kInt16:
      return AV_SAMPLE_FMT_S16;
    case SampleKind::kInt24:
    case SampleKind::kInt32:
      return AV_SAMPLE_FMT_S32;
    default:
      return AV_SAMPLE_FMT_FLT;
  }
}

// FFmpeg numbers the speakers as Windows does.
AVChannelLayout LayoutOf(const SoundFormat& format) {
  AVChannelLayout layout{};
  if (std::popcount(format.channel_mask) == format.channels) {
    av_channel_layout_from_mask(&layout, format.channel_mask);
  } else {
    av_channel_layout_default(&layout, format.channels);
  }
  return layout;
}

void Check(int result) {
  if (result >= 0) return;
  throw Failure(ErrorCode::kCaptureFailed, "converting sound failed: " + FfmpegErrorText(result));
}

Resampler OpenResampler(const SoundFormat& from, int sample_rate) {
  const AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
  const AVChannelLayout layout = LayoutOf(from);
  SwrContext* raw = nullptr;
  Check(swr_alloc_set_opts2(&raw, &stereo, AV_SAMPLE_FMT_FLTP, sample_rate, &layout,
                            FormatOf(from.kind), from.sample_rate, 0, nullptr));
  Resampler resampler(raw);
  // Resampled also at equal rates, since the length is corrected all the time.
  Check(av_opt_set_int(raw, "flags", SWR_FLAG_RESAMPLE, 0));
  Check(av_opt_set_double(raw, "rematrix_maxval", 1.0, 0));
  if (from.channels == 1) {
    constexpr std::array<double, 2> kBothSides = {1.0, 1.0};
    Check(swr_set_matrix(raw, kBothSides.data(), 1));
  }
  Check(swr_init(raw));
  return resampler;
}

// FFmpeg has no samples of three bytes.
void Widen(const std::uint8_t* bytes, std::size_t samples, std::vector<std::uint8_t>& wide) {
  wide.resize(samples * 4);
  for (std::size_t sample = 0; sample < samples; ++sample) {
    wide[sample * 4] = 0;
    for (std::size_t byte = 0; byte < 3; ++byte) {
      wide[sample * 4 + 1 + byte] = bytes[sample * 3 + byte];
    }
  }
}

}  // namespace

SoundConverter::SoundConverter(const SoundFormat& from, int sample_rate)
    : from_(from), sample_rate_(sample_rate), resampler_(OpenResampler(from, sample_rate)) {}

std::int64_t SoundConverter::Delay() const { return swr_get_delay(resampler_.get(), sample_rate_); }

void SoundConverter::Stretch(int more, int distance) {
  Check(swr_set_compensation(resampler_.get(), more, distance));
}

void SoundConverter::Convert(const std::uint8_t* bytes, std::size_t frames, StereoSamples& to) {
  if (from_.kind == SampleKind::kInt24) {
    Widen(bytes, frames * static_cast<std::size_t>(from_.channels), widened_);
    bytes = widened_.data();
  }
  Take(bytes, static_cast<int>(frames), to);
}

void SoundConverter::Drain(StereoSamples& to) { Take(nullptr, 0, to); }

void SoundConverter::Take(const std::uint8_t* bytes, int frames, StereoSamples& to) {
  const int room = swr_get_out_samples(resampler_.get(), frames);
  Check(room);
  const std::size_t before = to.size();
  to.AddSilence(static_cast<std::size_t>(room));
  std::array<std::uint8_t*, 2> out = {reinterpret_cast<std::uint8_t*>(to.left.data() + before),
                                      reinterpret_cast<std::uint8_t*>(to.right.data() + before)};
  std::array<const std::uint8_t*, 1> in = {bytes};
  const int count = swr_convert(resampler_.get(), out.data(), room,
                                bytes == nullptr ? nullptr : in.data(), frames);
  Check(count);
  const std::size_t end = before + static_cast<std::size_t>(count);
  to.Remove(end, to.size() - end);
}

}  // namespace open_gsdk
