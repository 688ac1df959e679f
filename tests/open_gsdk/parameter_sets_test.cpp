#include "open_gsdk/encoding/parameter_sets.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace open_gsdk {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(ParameterSets, AreTakenOutOfAnAccessUnit) {
  const Bytes unit = {0, 0, 0, 1,    0x09, 0xF0,                    // delimiter
                      0, 0, 0, 1,    0x67, 0x64, 0x00, 0x1F, 0x80,  // sequence
                      0, 0, 1, 0x68, 0xEB, 0x8F,                    // picture
                      0, 0, 1, 0x65, 0x88, 0x00, 0x00, 0x03};       // the coded picture
  EXPECT_EQ(ParameterSets(unit), (Bytes{0, 0, 0, 1, 0x67, 0x64, 0x00, 0x1F, 0x80,  //
                                        0, 0, 0, 1, 0x68, 0xEB, 0x8F}));
}

TEST(ParameterSets, MayBeTheLastPart) {
  const Bytes unit = {0, 0, 1, 0x27, 0x42, 0, 0, 1, 0x28, 0xCE, 0, 0};
  EXPECT_EQ(ParameterSets(unit), (Bytes{0, 0, 0, 1, 0x27, 0x42, 0, 0, 0, 1, 0x28, 0xCE}));
}

TEST(ParameterSets, AreNoneInWhatHasNone) {
  EXPECT_EQ(ParameterSets({}), Bytes());
  EXPECT_EQ(ParameterSets(Bytes{0, 0, 1}), Bytes());
  EXPECT_EQ(ParameterSets(Bytes{0, 0, 1, 0x41, 0x9A, 0x67}), Bytes());
  EXPECT_EQ(ParameterSets(Bytes{0x67, 0x64, 0x68}), Bytes());
}

}  // namespace
}  // namespace open_gsdk
