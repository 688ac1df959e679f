// Puts the packets of a clip into an MP4 file.
#pragma once

#include "open_gsdk/replay/clip.h"
#include "open_gsdk/replay/mux_output.h"

namespace open_gsdk {

// `clip` has packets. kSuccess, kBadAudioStream, kBadVideoStream, or kCannotWrite once the sink has
// failed.
DumpStatus WriteMp4(const Clip& clip, const ByteSink& sink);

}  // namespace open_gsdk
