#include "open_gsdk/encoding/frame_geometry.h"

#include <algorithm>

namespace open_gsdk {
namespace {

int EvenBelow(double value) { return static_cast<int>(value + 1e-6) / 2 * 2; }

double Limit(std::uint32_t limit, int side) {
  return limit == 0 ? 1.0 : static_cast<double>(limit) / std::max(side, 1);
}

}  // namespace

Size EncodedSize(Size source, std::uint32_t max_width, std::uint32_t max_height) {
  const double scale =
      std::min({1.0, Limit(max_width, source.width), Limit(max_height, source.height)});
  return {std::max(kMinSide, EvenBelow(source.width * scale)),
          std::max(kMinSide, EvenBelow(source.height * scale))};
}

Placement PlaceInside(Size source, Size picture) {
  const int extra_width = source.width - picture.width;
  const int extra_height = source.height - picture.height;
  if ((extra_width == 0 || extra_width == 1) && (extra_height == 0 || extra_height == 1)) {
    return {picture, picture, 0, 0};
  }
  const double scale = std::min(static_cast<double>(picture.width) / std::max(source.width, 1),
                                static_cast<double>(picture.height) / std::max(source.height, 1));
  // A rounding of the encoded size is no reason for a border of a few pixels.
  const auto side = [](double scaled, int whole) {
    return whole - scaled <= std::max(2.0, whole / 256.0) ? whole : std::max(2, EvenBelow(scaled));
  };
  const Size drawn = {side(source.width * scale, picture.width),
                      side(source.height * scale, picture.height)};
  return {source, drawn, (picture.width - drawn.width) / 4 * 2,
          (picture.height - drawn.height) / 4 * 2};
}

}  // namespace open_gsdk
