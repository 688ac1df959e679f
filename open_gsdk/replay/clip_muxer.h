// Puts the packets of a clip into an MP4 file.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "open_gsdk/replay/clip.h"

namespace open_gsdk {

// Stores bytes at a position of the file that is made; false when that fails.
using ByteSink = std::function<bool(std::int64_t position, std::span<const std::uint8_t> bytes)>;

// `clip` has packets. kSuccess, kBadAudioStream, kBadVideoStream, or kCannotWrite once the sink has
// failed.
DumpStatus WriteMp4(const Clip& clip, const ByteSink& sink);

}  // namespace open_gsdk
