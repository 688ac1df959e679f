// Decides when a source has outgrown the size that it is encoded at.
#pragma once

#include <cstdint>

#include "open_gsdk/encoding/frame_geometry.h"

namespace open_gsdk {

// A launcher that became the game is worth a new size; a window that is dragged larger is not. Not
// synchronised.
class GrowthWatch {
 public:
  // `size` is the source's for which the encoded size is chosen.
  void Chose(Size size);

  // The source was seen at this size; times are in nanoseconds on one clock. True when its area has
  // been larger than the chosen size's by half or more, at one and the same size, for two seconds.
  bool Saw(Size size, std::int64_t time_ns);

  // There is nothing to be seen of the source; a size has to last again.
  void SawNothing() { candidate_ = {}; }

 private:
  Size chosen_;
  Size candidate_;
  std::int64_t since_ns_ = 0;
};

}  // namespace open_gsdk
