// The two forms of an H.264 stream: encoders put a start code before each of its units, a file has
// the units' lengths there.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace open_gsdk {

// The units of an access unit, each with its length in four bytes before it instead of the start
// code (00 00 01, and zeros before that). Bytes that do not begin with a start code stay as they
// are.
std::vector<std::uint8_t> UnitsWithLengths(std::span<const std::uint8_t> access_unit);

// What a file says of a stream with these parameter sets (start codes before them), of 8 bits and
// 4:2:0: the box `avcC`. Empty when a sequence or a picture parameter set is missing.
std::vector<std::uint8_t> DecoderConfiguration(std::span<const std::uint8_t> parameter_sets);

}  // namespace open_gsdk
