// What a player has to know of an H.264 stream, found within the stream.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace open_gsdk {

// The sequence and picture parameter sets of an access unit whose parts begin with 00 00 01, each
// with 00 00 00 01 before it; empty when there are none.
std::vector<std::uint8_t> ParameterSets(std::span<const std::uint8_t> access_unit);

}  // namespace open_gsdk
