#include "open_gsdk/encoding/tone_map.h"

#include <gtest/gtest.h>

#include <array>

namespace open_gsdk {
namespace {

// Halves by their bits.
constexpr std::size_t kQuarter = 0x3400;
constexpr std::size_t kOne = 0x3C00;
constexpr std::size_t kTwo = 0x4000;
constexpr std::size_t kSmallest = 0x0001;
constexpr std::size_t kLargest = 0x7BFF;
constexpr std::size_t kInfinity = 0x7C00;
constexpr std::size_t kNotANumber = 0x7E00;
constexpr std::size_t kMinusOne = 0xBC00;

TEST(ToneMap, AtTheUnitsBrightnessIsTheTransferFunctionOfSrgb) {
  const auto map = MakeToneMap(80.0F);
  ASSERT_EQ(map.size(), 65536U);
  EXPECT_EQ(map[0], 0);
  EXPECT_EQ(map[kSmallest], 0);
  EXPECT_EQ(map[kQuarter], 137);  // 1.055 * 0.25 ^ (1 / 2.4) - 0.055
  EXPECT_EQ(map[0x3800], 188);    // a half
  EXPECT_EQ(map[kOne], 255);
}

TEST(ToneMap, WhatIsBrighterThanWhiteIsWhiteAndWhatIsNoLightBlack) {
  const auto map = MakeToneMap(80.0F);
  for (const std::size_t bright : {kTwo, kLargest, kInfinity}) EXPECT_EQ(map[bright], 255);
  for (const std::size_t dark : {kMinusOne, std::size_t{0x8000}, kNotANumber}) {
    EXPECT_EQ(map[dark], 0);
  }
}

TEST(ToneMap, ABrighterWhiteMakesThePictureDarker) {
  const auto map = MakeToneMap(160.0F);
  EXPECT_EQ(map[kOne], 188);
  EXPECT_EQ(map[kTwo], 255);
}

TEST(ToneMap, NeverFallsAsTheLightGrows) {
  const auto map = MakeToneMap(203.0F);
  for (std::size_t half = 1; half <= kInfinity; ++half) ASSERT_GE(map[half], map[half - 1]) << half;
}

TEST(ToneMap, TurnsRedGreenBlueIntoBlueGreenRed) {
  const auto map = MakeToneMap(80.0F);
  const std::array<std::uint16_t, 8> halves = {kOne, kQuarter, 0, 0, 0, 0, kOne, kOne};
  std::array<std::uint8_t, 8> pixels{};
  MapTones(map, halves, pixels.data());
  EXPECT_EQ(pixels, (std::array<std::uint8_t, 8>{0, 137, 255, 255, 255, 0, 0, 255}));
}

}  // namespace
}  // namespace open_gsdk
