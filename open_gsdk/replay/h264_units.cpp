#include "open_gsdk/replay/h264_units.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace open_gsdk {
namespace {

constexpr std::array<std::uint8_t, 3> kStartCode = {0, 0, 1};

using Unit = std::span<const std::uint8_t>;

bool BeginsWithStartCode(Unit bytes) {
  const auto first = std::find_if(bytes.begin(), bytes.end(), [](auto byte) { return byte != 0; });
  return first != bytes.end() && *first == 1 && first - bytes.begin() >= 2;
}

std::vector<Unit> UnitsOf(Unit bytes) {
  std::vector<Unit> units;
  auto start = std::search(bytes.begin(), bytes.end(), kStartCode.begin(), kStartCode.end());
  while (start != bytes.end()) {
    const auto begin = start + kStartCode.size();
    start = std::search(begin, bytes.end(), kStartCode.begin(), kStartCode.end());
    // No unit ends with a zero: they belong to the next start code.
    auto end = start;
    while (end != begin && *(end - 1) == 0) --end;
    if (end != begin) units.emplace_back(begin, end);
  }
  return units;
}

void AppendNumber(std::vector<std::uint8_t>& bytes, std::size_t number, int width) {
  for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<std::uint8_t>(number >> shift & 0xFF));
  }
}

void AppendSets(std::vector<std::uint8_t>& bytes, const std::vector<Unit>& units, int type) {
  for (const Unit unit : units) {
    if ((unit.front() & 0x1F) != type) continue;
    AppendNumber(bytes, unit.size(), 2);
    bytes.insert(bytes.end(), unit.begin(), unit.end());
  }
}

}  // namespace

std::vector<std::uint8_t> UnitsWithLengths(std::span<const std::uint8_t> access_unit) {
  if (!BeginsWithStartCode(access_unit)) return {access_unit.begin(), access_unit.end()};
  std::vector<std::uint8_t> bytes;
  bytes.reserve(access_unit.size() + 16);
  for (const Unit unit : UnitsOf(access_unit)) {
    AppendNumber(bytes, unit.size(), 4);
    bytes.insert(bytes.end(), unit.begin(), unit.end());
  }
  return bytes;
}

std::vector<std::uint8_t> DecoderConfiguration(std::span<const std::uint8_t> parameter_sets) {
  constexpr int kSequence = 7;
  constexpr int kPicture = 8;
  const std::vector<Unit> units = UnitsOf(parameter_sets);
  const auto count = [&](int type) {
    return static_cast<std::size_t>(std::count_if(
        units.begin(), units.end(), [&](Unit unit) { return (unit.front() & 0x1F) == type; }));
  };
  const auto sequence = std::find_if(units.begin(), units.end(), [](Unit unit) {
    return (unit.front() & 0x1F) == kSequence && unit.size() >= 4;
  });
  if (sequence == units.end() || count(kPicture) == 0) return {};

  const std::uint8_t profile = (*sequence)[1];
  // Version 1, the profile with what restricts it and the level, lengths of four bytes.
  std::vector<std::uint8_t> bytes = {1, profile, (*sequence)[2], (*sequence)[3], 0xFF};
  bytes.push_back(static_cast<std::uint8_t>(0xE0 | count(kSequence)));
  AppendSets(bytes, units, kSequence);
  bytes.push_back(static_cast<std::uint8_t>(count(kPicture)));
  AppendSets(bytes, units, kPicture);
  // The profiles from High on say which colours they have: 4:2:0, of 8 bits each.
  if (profile >= 100) bytes.insert(bytes.end(), {0xFD, 0xF8, 0xF8, 0});
  return bytes;
}

}  // namespace open_gsdk
