// Makes of pixels the planes that a picture is encoded from: BT.709, limited range, one colour for
// each square of four pixels. Only for pictures that are not scaled.
#pragma once

#include <cstddef>
#include <cstdint>

#include "open_gsdk/encoding/image.h"

namespace open_gsdk {

// Where the planes are written to. Not owned.
struct ColourPlanes {
  std::uint8_t* luma = nullptr;
  std::uint8_t* blue = nullptr;
  std::uint8_t* red = nullptr;
  std::ptrdiff_t luma_stride = 0;
  std::ptrdiff_t colour_stride = 0;  // of the blue and of the red one
};

// Fills the planes with the upper left part of `image`, of which both sides of `size` are even and
// no larger than the image's. Uses the vector instructions that every x64 processor has. Any
// thread.
void FillPlanes(const Image& image, Size size, const ColourPlanes& planes);

}  // namespace open_gsdk
