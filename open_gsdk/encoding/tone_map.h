// From the light of an HDR monitor to the bytes of an ordinary picture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace open_gsdk {

// For each half float, taken as its 16 bits, the byte of an sRGB picture. The halves are linear,
// 1.0 being 80 candelas per square metre, as the desktop is composed on an HDR monitor; what is as
// bright as `white_nits` or brighter becomes white, what is darker than black or no number black.
std::vector<std::uint8_t> MakeToneMap(float white_nits);

// Maps pixels of four halves (red, green, blue, opacity) to pixels of four bytes, blue first.
// `pixels` has room for as many as there are in `halves`.
void MapTones(std::span<const std::uint8_t> map, std::span<const std::uint16_t> halves,
              std::uint8_t* pixels);

}  // namespace open_gsdk
