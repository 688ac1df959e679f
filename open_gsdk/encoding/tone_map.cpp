#include "open_gsdk/encoding/tone_map.h"

#include <algorithm>
#include <cmath>

namespace open_gsdk {
namespace {

constexpr float kUnitNits = 80.0F;
constexpr std::size_t kHalfValues = 65536;

// Half floats have a sign, 5 bits of exponent and 10 bits of fraction.
float FromHalf(std::uint32_t half) {
  constexpr int kBias = 15;
  constexpr int kFractionBits = 10;
  const int exponent = static_cast<int>(half >> kFractionBits & 0x1FU);
  const auto fraction = static_cast<float>(half & 0x3FFU) / (1U << kFractionBits);
  if ((half & 0x8000U) != 0) return 0.0F;
  if (exponent == 0x1F) return fraction == 0.0F ? HUGE_VALF : 0.0F;
  return exponent == 0 ? std::ldexp(fraction, 1 - kBias)
                       : std::ldexp(1.0F + fraction, exponent - kBias);
}

// The transfer function of sRGB, IEC 61966-2-1.
float EncodeSrgb(float light) {
  return light <= 0.0031308F ? 12.92F * light : 1.055F * std::pow(light, 1.0F / 2.4F) - 0.055F;
}

}  // namespace

std::vector<std::uint8_t> MakeToneMap(float white_nits) {
  std::vector<std::uint8_t> map(kHalfValues);
  for (std::size_t half = 0; half < map.size(); ++half) {
    const float light =
        std::min(FromHalf(static_cast<std::uint32_t>(half)) * kUnitNits / white_nits, 1.0F);
    map[half] = static_cast<std::uint8_t>(std::lround(EncodeSrgb(light) * 255.0F));
  }
  return map;
}

void MapTones(std::span<const std::uint8_t> map, std::span<const std::uint16_t> halves,
              std::uint8_t* pixels) {
  for (std::size_t i = 0; i + 3 < halves.size(); i += 4) {
    pixels[i] = map[halves[i + 2]];
    pixels[i + 1] = map[halves[i + 1]];
    pixels[i + 2] = map[halves[i]];
    pixels[i + 3] = 0xFF;
  }
}

}  // namespace open_gsdk
