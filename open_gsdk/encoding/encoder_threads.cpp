#include "open_gsdk/encoding/encoder_threads.h"

#include <algorithm>
#include <cstdint>

namespace open_gsdk {
namespace {

// More slices cost more bytes than they save time: with sixteen a clip is a third larger.
constexpr std::int64_t kMaxThreads = 4;
// What one thread is to encode: 1280x720 at 60, for which a server's processor of 2024 needs a
// third of the time.
constexpr std::int64_t kPixelsASecond = std::int64_t{1280} * 720 * 60;

}  // namespace

int EncoderThreads(const VideoEncoding& encoding, unsigned processors) {
  const std::int64_t pixels_a_second =
      std::int64_t{encoding.size.width} * encoding.size.height * encoding.frame_rate;
  const std::int64_t needed = (pixels_a_second + kPixelsASecond - 1) / kPixelsASecond;
  const std::int64_t available = std::clamp<std::int64_t>(processors, 1, kMaxThreads);
  return static_cast<int>(std::clamp<std::int64_t>(needed, 1, available));
}

}  // namespace open_gsdk
