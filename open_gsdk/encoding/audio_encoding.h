// How the sound of a track is to be encoded.
#pragma once

namespace open_gsdk {

struct AudioEncoding {
  int sample_rate = 0;  // one that AAC has
  int bit_rate = 0;     // per second
};

}  // namespace open_gsdk
