#include "open_gsdk/session/session_properties.h"

#include <algorithm>
#include <array>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/support/failure.h"

namespace open_gsdk {
namespace {

constexpr std::uint32_t kDefaultFrameRate = 30;
constexpr std::uint32_t kMaxFrameRate = 240;
constexpr std::uint32_t kDefaultCrf = 23;
constexpr std::uint32_t kMaxCrf = 51;
constexpr std::uint32_t kDefaultSampleRate = 48'000;
constexpr std::uint32_t kDefaultBitRate = 128'000;
constexpr std::array<std::uint32_t, 12> kSampleRates = {
    8'000, 11'025, 12'000, 16'000, 22'050, 24'000, 32'000, 44'100, 48'000, 64'000, 88'200, 96'000};

void CheckLimit(std::uint32_t limit, const char* name) {
  if (limit == 0 || limit >= static_cast<std::uint32_t>(kMinSide)) return;
  throw Failure(ErrorCode::kNoEncoder, std::string("no H.264 encoder takes a maximum ") + name +
                                           " of " + std::to_string(limit) + " pixels");
}

std::uint32_t OrDefault(std::uint32_t value, std::uint32_t fallback) {
  return value == 0 ? fallback : value;
}

}  // namespace

VideoEncoding ChooseVideoEncoding(const SessionProperties& properties, Size source) {
  if (OrDefault(properties.rate_control, kGsdkRateControl) != kGsdkRateControl) {
    throw Failure(ErrorCode::kInvalidArgument,
                  "rate control " + std::to_string(properties.rate_control) +
                      " is not offered, only " + std::to_string(kGsdkRateControl) +
                      " (constant quality)");
  }
  if (OrDefault(properties.connection_type, kGsdkConnectionType) != kGsdkConnectionType) {
    throw Failure(ErrorCode::kInvalidArgument,
                  "connection type " + std::to_string(properties.connection_type) +
                      " is not offered, only " + std::to_string(kGsdkConnectionType) +
                      " (packet callback)");
  }
  const std::uint32_t frame_rate = OrDefault(properties.frame_rate, kDefaultFrameRate);
  if (frame_rate > kMaxFrameRate) {
    throw Failure(ErrorCode::kNoEncoder,
                  "no H.264 encoder takes " + std::to_string(frame_rate) + " frames per second");
  }
  CheckLimit(properties.max_width, "width");
  CheckLimit(properties.max_height, "height");
  const std::uint32_t crf =
      OrDefault(OrDefault(properties.max_quality, properties.min_quality), kDefaultCrf);
  return {EncodedSize(source, properties.max_width, properties.max_height),
          static_cast<int>(frame_rate), static_cast<int>(std::min(crf, kMaxCrf))};
}

AudioEncoding ChooseAudioEncoding(const SessionProperties& properties) {
  const std::uint32_t wanted = OrDefault(properties.audio_sample_rate, kDefaultSampleRate);
  const std::uint32_t sample_rate = *std::min_element(
      kSampleRates.begin(), kSampleRates.end(), [wanted](std::uint32_t left, std::uint32_t right) {
        const auto distance = [wanted](std::uint32_t rate) {
          return rate > wanted ? rate - wanted : wanted - rate;
        };
        return distance(left) < distance(right);
      });
  std::uint32_t bit_rate = OrDefault(properties.audio_bit_rate, kDefaultBitRate);
  // Nobody means less than a thousand bits per second: such a number is in kilobits.
  if (bit_rate < 1'000) bit_rate *= 1'000;
  return {static_cast<int>(sample_rate),
          static_cast<int>(std::clamp<std::uint32_t>(bit_rate, 16'000, 512'000))};
}

}  // namespace open_gsdk
