#include "open_gsdk/encoding/encoder_threads.h"

#include <gtest/gtest.h>

namespace open_gsdk {
namespace {

TEST(EncoderThreads, AreAsFewAsKeepUpAndNoMoreThanThereAreProcessors) {
  struct Case {
    Size size;
    int frame_rate;
    unsigned processors;
    int expected;
  };
  const Case cases[] = {
      {{16, 16}, 1, 8, 1},       {{1280, 720}, 30, 8, 1},
      {{1280, 720}, 60, 8, 1},  // exactly what one is good for
      {{1282, 720}, 60, 8, 2},   {{1920, 1080}, 30, 8, 2},
      {{1920, 1080}, 60, 8, 3},  {{1920, 1080}, 60, 2, 2},    // there are no more processors
      {{2560, 1440}, 60, 8, 4},  {{7680, 4320}, 240, 64, 4},  // more cost bytes
      {{7680, 4320}, 240, 1, 1}, {{7680, 4320}, 240, 0, 1},   // nobody knows how many there are
  };
  for (const Case& row : cases) {
    const VideoEncoding encoding = {row.size, row.frame_rate, 23};
    EXPECT_EQ(EncoderThreads(encoding, row.processors), row.expected)
        << row.size.width << "x" << row.size.height << " at " << row.frame_rate << " on "
        << row.processors;
  }
}

}  // namespace
}  // namespace open_gsdk
