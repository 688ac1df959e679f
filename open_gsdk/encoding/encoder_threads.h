// How many threads encode a picture.
#pragma once

#include "open_gsdk/encoding/video_encoding.h"

namespace open_gsdk {

// As few as can keep up with what is to be encoded, since each one more costs processor time and
// bytes; at most four, and no more than there are processors (0 where that is not known). Any
// thread.
int EncoderThreads(const VideoEncoding& encoding, unsigned processors);

}  // namespace open_gsdk
