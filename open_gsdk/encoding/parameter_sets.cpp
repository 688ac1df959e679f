#include "open_gsdk/encoding/parameter_sets.h"

#include <algorithm>
#include <array>

namespace open_gsdk {
namespace {

constexpr std::array<std::uint8_t, 3> kStartCode = {0, 0, 1};
constexpr int kSequenceParameterSet = 7;
constexpr int kPictureParameterSet = 8;

}  // namespace

std::vector<std::uint8_t> ParameterSets(std::span<const std::uint8_t> access_unit) {
  std::vector<std::uint8_t> sets;
  const auto end = access_unit.end();
  auto start = std::search(access_unit.begin(), end, kStartCode.begin(), kStartCode.end());
  while (start != end) {
    const auto part = start + kStartCode.size();
    start = std::search(part, end, kStartCode.begin(), kStartCode.end());
    if (part == end) break;
    const int type = *part & 0x1F;
    if (type != kSequenceParameterSet && type != kPictureParameterSet) continue;
    // A longer start code of the next part begins with a zero, which no set ends with.
    auto last = start;
    while (last != part && *(last - 1) == 0) --last;
    sets.insert(sets.end(), {0, 0, 0, 1});
    sets.insert(sets.end(), part, last);
  }
  return sets;
}

}  // namespace open_gsdk
