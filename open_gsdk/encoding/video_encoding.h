// How pictures are to be encoded.
#pragma once

#include "open_gsdk/encoding/frame_geometry.h"

namespace open_gsdk {

struct VideoEncoding {
  Size size;
  int frame_rate = 0;  // per second
  int crf = 0;         // x264's constant rate factor, 0 to 51
};

}  // namespace open_gsdk
