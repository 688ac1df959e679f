#include "open_gsdk/replay/h264_units.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace open_gsdk {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(H264Units, HaveTheirLengthsInsteadOfStartCodes) {
  EXPECT_EQ(UnitsWithLengths(Bytes{0, 0, 0, 1, 0x65, 7}), (Bytes{0, 0, 0, 2, 0x65, 7}));
  EXPECT_EQ(UnitsWithLengths(Bytes{0, 0, 1, 0x65, 7, 0, 0, 1, 0x65, 8, 9}),
            (Bytes{0, 0, 0, 2, 0x65, 7, 0, 0, 0, 3, 0x65, 8, 9}));
}

TEST(H264Units, DoNotKeepTheZerosOfTheNextStartCode) {
  EXPECT_EQ(UnitsWithLengths(Bytes{0, 0, 0, 0, 1, 0x06, 5, 0, 0, 0, 1, 0x65, 8, 0, 0}),
            (Bytes{0, 0, 0, 2, 0x06, 5, 0, 0, 0, 2, 0x65, 8}));
}

TEST(H264Units, LongUnitsHaveLengthsOfFourBytes) {
  Bytes unit = {0, 0, 1};
  unit.insert(unit.end(), 0x01'02'03, 0x41);
  const Bytes converted = UnitsWithLengths(unit);
  EXPECT_EQ(Bytes(converted.begin(), converted.begin() + 5), (Bytes{0, 1, 2, 3, 0x41}));
  EXPECT_EQ(converted.size(), 4u + 0x01'02'03);
}

TEST(H264Units, BytesWithoutAStartCodeStayAsTheyAre) {
  for (const Bytes& bytes : {Bytes{}, Bytes{0}, Bytes{1, 2, 3}, Bytes{0, 1, 2},
                             Bytes{0, 0, 0, 2, 0x65, 7}, Bytes{9, 0, 0, 1, 0x65}}) {
    EXPECT_EQ(UnitsWithLengths(bytes), bytes);
  }
}

TEST(H264Units, ConfigurationHoldsTheParameterSets) {
  EXPECT_EQ(DecoderConfiguration(Bytes{0, 0, 0, 1, 0x67, 66, 0xC0, 31, 5, 0, 0, 0, 1, 0x68, 6}),
            (Bytes{1, 66, 0xC0, 31, 0xFF, 0xE1, 0, 5, 0x67, 66, 0xC0, 31, 5, 1, 0, 2, 0x68, 6}));
}

TEST(H264Units, ConfigurationOfTheHighProfileSaysItsColours) {
  const Bytes configuration =
      DecoderConfiguration(Bytes{0, 0, 1, 0x67, 100, 0, 42, 0, 0, 1, 0x68, 6, 0, 0, 1, 0x68, 7});
  EXPECT_EQ(configuration, (Bytes{1, 100, 0,    42, 0xFF, 0xE1, 0,    4, 0x67, 100,  0,    42, 2,
                                  0, 2,   0x68, 6,  0,    2,    0x68, 7, 0xFD, 0xF8, 0xF8, 0}));
}

TEST(H264Units, NoConfigurationWithoutBothSets) {
  EXPECT_TRUE(DecoderConfiguration(Bytes{}).empty());
  EXPECT_TRUE(DecoderConfiguration(Bytes{0, 0, 1, 0x67, 66, 0xC0, 31}).empty());
  EXPECT_TRUE(DecoderConfiguration(Bytes{0, 0, 1, 0x68, 6}).empty());
  EXPECT_TRUE(DecoderConfiguration(Bytes{0, 0, 1, 0x67, 66, 0, 0, 1, 0x68, 6}).empty());
}

}  // namespace
}  // namespace open_gsdk
