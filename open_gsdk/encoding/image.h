// A picture in memory as Windows draws it.
#pragma once

#include <cstdint>

#include "open_gsdk/encoding/frame_geometry.h"

namespace open_gsdk {

// A view of 32-bit pixels, blue first, top row first. Valid until its owner draws again.
struct Image {
  const std::uint8_t* pixels = nullptr;
  Size size;

  [[nodiscard]] int Stride() const { return size.width * 4; }
};

}  // namespace open_gsdk
