// Sizes of pictures: what is encoded for a source, and where a source of another size goes in it.
#pragma once

#include <cstdint>

namespace open_gsdk {

struct Size {
  int width = 0;
  int height = 0;

  bool operator==(const Size&) const = default;
};

// The smallest side that is encoded; a smaller source gets a border.
inline constexpr int kMinSide = 16;

// The size to encode a source at: even, no larger than the source (but for kMinSide), no larger
// than the limits and with the source's aspect ratio. A limit of 0 is none; other limits are at
// least kMinSide.
Size EncodedSize(Size source, std::uint32_t max_width, std::uint32_t max_height);

// How a source is drawn into a picture: `used` of it, from its top left corner, scaled to `drawn`
// at (`left`, `top`), all of them even. The rest of the picture is black.
struct Placement {
  Size used;
  Size drawn;
  int left = 0;
  int top = 0;

  bool operator==(const Placement&) const = default;
};

// A source that is one pixel too large for an even picture loses its last column or row instead of
// being scaled; any other is scaled to fit, in the middle.
Placement PlaceInside(Size source, Size picture);

}  // namespace open_gsdk
